#include "shell/list_model.h"

#include "shell/app.h"
#include "support/atomic_file.h"

#include <QColor>
#include <QFile>
#include <QFont>
#include <QMimeData>
#include <QStringDecoder>
#include <algorithm>

namespace {

constexpr QChar kMark(0xFF);

// Escapes only what would break the one-row-per-line form, so a person can
// still read and edit the file: backslash, tab (the field separator), CR, LF.
void appendEscaped(QString& out, QStringView s) {
    for (QChar c : s) {
        switch (c.unicode()) {
        case '\\':
            out += QLatin1String("\\\\");
            break;
        case '\t':
            out += QLatin1String("\\t");
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        default:
            out += c;
        }
    }
}

QString unescape(QStringView s) {
    QString out;
    out.reserve(s.size());
    for (qsizetype i = 0; i < s.size(); ++i) {
        QChar c = s[i];
        if (c == u'\\' && i + 1 < s.size()) {
            QChar n = s[++i];
            switch (n.unicode()) {
            case 't':
                out += u'\t';
                break;
            case 'n':
                out += u'\n';
                break;
            case 'r':
                out += u'\r';
                break;
            case '\\':
                out += u'\\';
                break;
            default: // not one of ours: keep both characters as the person typed them
                out += c;
                out += n;
            }
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

std::function<QVariant(int)> ListModel::pictureProvider;

ListModel::ListModel(QObject* parent) : QAbstractListModel(parent) {}

int ListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 || index.row() >= count()) return {};
    const ListRow& r = rows_[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return displayText(r.text);
    case Qt::EditRole:
        return r.text;
    case TagRole:
        return r.tag;
    case NumberRole:
        return r.number;
    case PictureRole:
        return r.picture;
    case MarkRole:
        return markOf(r.text);
    case Qt::DecorationRole:
        if (r.picture >= 0 && pictureProvider) return pictureProvider(r.picture);
        return {};
    case Qt::ForegroundRole:
        // "2": the last listing failed; "4": nothing in it.
        switch (markOf(r.text)) {
        case 2:
            return QColor(Qt::red);
        case 4:
            return QColor(Qt::gray);
        default:
            return {};
        }
    case Qt::FontRole:
        if (markOf(r.text) == 1) {
            QFont f;
            f.setBold(true);
            return f;
        }
        return {};
    default:
        return {};
    }
}

Qt::ItemFlags ListModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::ItemIsDropEnabled;
    // A disabled list is disabled in its view; its rows stay enabled, since
    // Qt drops disabled items from a selection and the selection is data here.
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled |
           Qt::ItemNeverHasChildren;
}

QStringList ListModel::mimeTypes() const {
    return {QLatin1String(kRowMimeType)};
}

QMimeData* ListModel::mimeData(const QModelIndexList& indexes) const {
    // The row at the current index is the one the pointer went down on.
    int row = current_;
    if (row < 0 && !indexes.isEmpty()) row = indexes.first().row();
    if (row < 0 || row >= count()) return nullptr;
    auto* data = new QMimeData;
    data->setData(QLatin1String(kRowMimeType), rows_[row].text.toUtf8());
    data->setText(displayText(rows_[row].text));
    return data;
}

void ListModel::clear() {
    if (rows_.isEmpty() && current_ == -1) return;
    beginResetModel();
    rows_.clear();
    ++textRevision_;
    endResetModel();
    if (current_ != -1) {
        current_ = -1;
        emit currentChanged(-1);
    }
    emit selectionChanged();
}

void ListModel::addItem(const QString& text) {
    addItem(-1, text, QString(), 0);
}

void ListModel::addItem(int position, const QString& text, const QString& tag, qint64 number) {
    int at = position;
    if (sorted_)
        at = sortedPosition(text);
    else if (at < 0 || at > count())
        at = count();
    beginInsertRows(QModelIndex(), at, at);
    rows_.insert(at, ListRow{text, tag, number, -1, false});
    ++textRevision_;
    endInsertRows();
    if (current_ >= at) {
        ++current_;
        emit currentChanged(current_);
    }
}

void ListModel::appendRows(QVector<ListRow> rows) {
    if (rows.isEmpty()) return;
    if (sorted_) {
        for (ListRow& r : rows)
            addItem(-1, r.text, r.tag, r.number);
        return;
    }
    beginInsertRows(QModelIndex(), count(), count() + static_cast<int>(rows.size()) - 1);
    if (rows_.isEmpty())
        rows_ = std::move(rows);
    else
        rows_.append(rows);
    ++textRevision_;
    endInsertRows();
}

void ListModel::removeItem(int index) {
    if (index < 0 || index >= count()) return;
    const bool wasSelected = rows_[index].selected;
    beginRemoveRows(QModelIndex(), index, index);
    rows_.remove(index);
    ++textRevision_;
    endRemoveRows();
    if (current_ == index) {
        current_ = -1;
        emit currentChanged(-1);
    } else if (current_ > index) {
        --current_;
        emit currentChanged(current_);
    }
    if (wasSelected) emit selectionChanged();
}

QString ListModel::text(int index) const {
    return index >= 0 && index < count() ? rows_[index].text : QString();
}

void ListModel::setText(int index, const QString& text) {
    if (index < 0 || index >= count()) return;
    rows_[index].text = text;
    ++textRevision_;
    rowChanged(index);
}

QString ListModel::tag(int index) const {
    return index >= 0 && index < count() ? rows_[index].tag : QString();
}

void ListModel::setTag(int index, const QString& tag) {
    if (index < 0 || index >= count()) return;
    rows_[index].tag = tag;
    rowChanged(index);
}

qint64 ListModel::number(int index) const {
    return index >= 0 && index < count() ? rows_[index].number : 0;
}

void ListModel::setNumber(int index, qint64 number) {
    if (index < 0 || index >= count()) return;
    rows_[index].number = number;
    rowChanged(index);
}

int ListModel::picture(int index) const {
    return index >= 0 && index < count() ? rows_[index].picture : -1;
}

void ListModel::setPicture(int index, int picture) {
    if (index < 0 || index >= count()) return;
    rows_[index].picture = picture;
    rowChanged(index);
}

bool ListModel::selected(int index) const {
    return index >= 0 && index < count() && rows_[index].selected;
}

void ListModel::setSelected(int index, bool on) {
    if (index < 0 || index >= count() || rows_[index].selected == on) return;
    rows_[index].selected = on;
    emit selectionChanged();
}

int ListModel::selCount() const {
    return static_cast<int>(
        std::count_if(rows_.begin(), rows_.end(), [](const ListRow& r) { return r.selected; }));
}

void ListModel::clearSelection() {
    bool any = false;
    for (ListRow& r : rows_) {
        any = any || r.selected;
        r.selected = false;
    }
    if (any) emit selectionChanged();
}

void ListModel::selectOnly(int index) {
    clearSelection();
    setSelected(index, true);
    setListIndex(index);
}

void ListModel::selectAll() {
    for (ListRow& r : rows_)
        r.selected = true;
    emit selectionChanged();
}

void ListModel::setListIndex(int index) {
    if (index < -1 || index >= count()) index = -1;
    if (index == current_) return;
    current_ = index;
    emit currentChanged(index);
}

int ListModel::find(const QString& what, FindMode mode, int start) const {
    const int n = count();
    if (n == 0) return -1;
    if (start < 0 || start >= n) start = 0;
    auto matches = [&](const QString& t) {
        switch (mode) {
        case FindMode::Exact:
            return t.compare(what, Qt::CaseInsensitive) == 0;
        case FindMode::Prefix:
            return t.startsWith(what, Qt::CaseInsensitive);
        case FindMode::Contains:
            return t.contains(what, Qt::CaseInsensitive);
        }
        return false;
    };
    for (int i = start; i < n; ++i)
        if (matches(rows_[i].text)) return i;
    for (int i = 0; i < start; ++i)
        if (matches(rows_[i].text)) return i;
    return -1;
}

ListRow ListModel::decodeRow(QStringView line) {
    ListRow row;
    const qsizetype tab1 = line.indexOf(u'\t');
    if (tab1 < 0) {
        row.text = unescape(line);
        return row;
    }
    row.text = unescape(line.left(tab1));
    QStringView rest = line.mid(tab1 + 1);
    const qsizetype tab2 = rest.indexOf(u'\t');
    if (tab2 < 0) {
        row.tag = unescape(rest);
        return row;
    }
    row.tag = unescape(rest.left(tab2));
    bool ok = false;
    const qint64 n = rest.mid(tab2 + 1).trimmed().toLongLong(&ok);
    row.number = ok ? n : 0;
    return row;
}

namespace {

// The file form of one field straight into UTF-8, escaping as appendEscaped
// does. Header lists run to a million rows, so ASCII takes a short path.
void appendFieldUtf8(QByteArray& out, QStringView s) {
    for (qsizetype i = 0; i < s.size(); ++i) {
        const char16_t u = s[i].unicode();
        if (u >= 0x80) {
            QString rest;
            appendEscaped(rest, s.mid(i));
            out += rest.toUtf8();
            return;
        }
        switch (u) {
        case '\\':
            out += "\\\\";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += char(u);
        }
    }
}

} // namespace

bool ListModel::save(const QString& path) const {
    QByteArray out;
    qsizetype estimate = 0;
    for (const ListRow& r : rows_)
        estimate += r.text.size() + r.tag.size() + 16;
    out.reserve(estimate);
    for (const ListRow& r : rows_) {
        appendFieldUtf8(out, r.text);
        if (!r.tag.isEmpty() || r.number != 0) {
            out += '\t';
            appendFieldUtf8(out, r.tag);
        }
        if (r.number != 0) {
            out += '\t';
            out += QByteArray::number(r.number);
        }
        out += '\n';
    }
    return writeFileAtomically(path, out);
}

bool ListModel::load(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    const QByteArray bytes = f.readAll();
    if (f.error() != QFileDevice::NoError) return false;
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString all = utf8(bytes);
    QVector<ListRow> rows;
    QStringView view(all);
    qsizetype from = 0;
    while (from < view.size()) {
        qsizetype nl = view.indexOf(u'\n', from);
        if (nl < 0) nl = view.size();
        QStringView line = view.mid(from, nl - from);
        // A person editing the file may have saved it with CR LF.
        if (line.endsWith(u'\r')) line.chop(1);
        rows.append(decodeRow(line));
        from = nl + 1;
    }
    beginResetModel();
    rows_ = std::move(rows);
    ++textRevision_;
    endResetModel();
    if (current_ != -1) {
        current_ = -1;
        emit currentChanged(-1);
    }
    emit selectionChanged();
    return true;
}

void ListModel::setRedraw(bool on) {
    if (redraw_ == on) return;
    redraw_ = on;
    emit flagsChanged();
}

void ListModel::setSorted(bool on) {
    if (sorted_ == on) return;
    sorted_ = on;
    if (on && count() > 1) {
        beginResetModel();
        std::stable_sort(rows_.begin(), rows_.end(), [](const ListRow& a, const ListRow& b) {
            return a.text.compare(b.text, Qt::CaseInsensitive) < 0;
        });
        ++textRevision_;
        endResetModel();
    }
}

void ListModel::setEnabled(bool on) {
    if (enabled_ == on) return;
    enabled_ = on;
    emit flagsChanged();
}

void ListModel::setVisible(bool on) {
    if (visible_ == on) return;
    visible_ = on;
    emit flagsChanged();
}

int ListModel::markOf(const QString& text) {
    if (text.size() >= 2 && text[0] == kMark && text[1].isDigit()) return text[1].digitValue();
    return -1;
}

QString ListModel::displayText(const QString& text) {
    return markOf(text) >= 0 ? text.mid(2) : text;
}

int ListModel::sortedPosition(const QString& text) const {
    auto it =
        std::upper_bound(rows_.begin(), rows_.end(), text, [](const QString& t, const ListRow& r) {
            return t.compare(r.text, Qt::CaseInsensitive) < 0;
        });
    return static_cast<int>(it - rows_.begin());
}

void ListModel::rowChanged(int index) {
    const QModelIndex i = this->index(index);
    emit dataChanged(i, i);
}

bool LoadListFile(App& app, ListModel& list, const QString& path, int icon) {
    list.setRedraw(false);
    const bool ok = list.load(path);
    if (icon != -1 && !app.Busy) {
        for (int i = 0; i < list.count(); ++i)
            list.setPicture(i, icon);
    }
    if (!app.Busy) list.setRedraw(true);
    return ok;
}
