#include "shell/list_model.h"

#include "shell/app.h"
#include <QColor>
#include <QFile>
#include <QFont>
#include <QMimeData>
#include <QSaveFile>
#include <QStringDecoder>
#include <QTemporaryFile>
#include <QThreadPool>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

constexpr QChar kMark(0xFF);

#if defined(__SSE2__)
// Copies n >= 16 bytes sixteen at a time, the last piece overlapping, while
// every piece passes `ok` (a test of a vector): false at the first that does
// not, with the pieces before it copied. A row is some forty bytes, so each
// piece is written as it is checked rather than checked and then copied.
template <typename Ok> bool copyPiecesWhile(char* to, const char* from, qsizetype n, Ok ok) {
    qsizetype k = 0;
    for (; k + 16 <= n; k += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + k));
        if (!ok(v)) return false;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + k), v);
    }
    if (k < n) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + n - 16));
        if (!ok(v)) return false;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + n - 16), v);
    }
    return true;
}
#endif

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

ListModel::ListModel(QObject* parent) : QAbstractListModel(parent) {
    resetStore();
}

qsizetype ListModel::textSize(const Slot& s) const {
    if (s.textLength != kLongText) return qsizetype(s.textLength);
    qsizetype n = 0;
    std::memcpy(&n, store_.constData() + s.textAt - 4, sizeof n);
    return n;
}

QStringView ListModel::view(const Slot& s) const {
    return QStringView(store_).sliced(qsizetype(s.textAt), textSize(s));
}

QLatin1StringView ListModel::narrowView(const Slot& s) const {
    return QLatin1StringView(narrowStore_.data() + s.textAt, qsizetype(s.textLength));
}

QString ListModel::textOf(const Slot& s) const {
    return narrow_ ? QString(narrowView(s)) : view(s).toString();
}

void ListModel::ByteStore::reserve(qsizetype n) {
    if (n <= capacity_) return;
    void* const grown = std::realloc(data_, size_t(n));
    Q_CHECK_PTR(grown);
    data_ = static_cast<char*>(grown);
    capacity_ = n;
}

void ListModel::ByteStore::squeeze() {
    if (size_ == capacity_) return;
    if (size_ == 0) {
        release();
        return;
    }
    // Shrinking in place does not fail; if it did, the old room would do.
    if (void* const shrunk = std::realloc(data_, size_t(size_))) {
        data_ = static_cast<char*>(shrunk);
        capacity_ = size_;
    }
}

void ListModel::widen() const {
    if (!narrow_) return;
    store_ = QString::fromLatin1(narrowStore_.data(), narrowStore_.size());
    narrowStore_.release();
    narrow_ = false;
}

namespace {

bool fitsLatin1(QStringView text) {
    char16_t wide = 0;
    for (const QChar c : text)
        wide |= c.unicode() & 0xFF00;
    return wide == 0;
}

} // namespace

QString ListModel::tagOf(const Slot& s) const {
    if (s.numberFirst) return QString::number(s.number) + tags_[s.tag];
    return tags_[s.tag];
}

void ListModel::putText(Slot& s, QStringView text) {
    if (narrow_) {
        if (quint64(text.size()) < kLongText && fitsLatin1(text)) {
            const qsizetype at = narrowStore_.size();
            char* p = narrowStore_.grow(text.size());
            for (qsizetype i = 0; i < text.size(); ++i)
                p[i] = char(text[i].unicode());
            s.textAt = quint64(at);
            s.textLength = quint64(text.size());
            return;
        }
        widen();
    }
    if (quint64(text.size()) >= kLongText) {
        // Four units in front of a text too long for the slot hold its length.
        const qsizetype n = text.size();
        char16_t units[4];
        std::memcpy(units, &n, sizeof n);
        store_.append(QStringView(units, 4));
        s.textLength = kLongText;
    } else {
        s.textLength = quint64(text.size());
    }
    s.textAt = quint64(store_.size());
    store_.append(text);
}

quint32 ListModel::internTag(QStringView tag) {
    if (tag.isEmpty()) return 0;
    // Rows that come together mostly share their tag.
    if (tags_[lastTag_] == tag) return lastTag_;
    const QString key = tag.toString();
    auto it = tagIndex_.constFind(key);
    if (it == tagIndex_.constEnd()) {
        it = tagIndex_.insert(key, quint32(tags_.size()));
        tags_.append(key);
    }
    lastTag_ = *it;
    return lastTag_;
}

ListModel::Slot ListModel::makeSlot(QStringView text, QStringView tag, qint64 number) {
    Slot s;
    s.number = number;
    putText(s, text);
    // A tag that starts with the row's number keeps only what follows it.
    if (number != 0 && !tag.isEmpty() && (tag[0].isDigit() || tag[0] == u'-')) {
        const QString digits = QString::number(number);
        if (tag.startsWith(digits)) {
            s.numberFirst = 1;
            tag = tag.sliced(digits.size());
        }
    }
    s.tag = internTag(tag);
    return s;
}

void ListModel::resetStore() {
    // A list emptied to be filled again (redraw off) keeps the room of its
    // texts: its new rows go into memory the system has given already
    // instead of being faulted in anew, which costs more than writing them.
    // Emptied for good, it gives the room back.
    if (redraw_) {
        store_.clear();
        narrowStore_.release();
    } else {
        store_.resize(0);
        narrowStore_.truncate(0);
    }
    narrow_ = false;
    garbage_ = 0;
    tags_ = {QString()};
    tagIndex_.clear();
    lastTag_ = 0;
}

// Rewritten and removed rows leave their old texts in the store; once those
// are most of it, the store is rebuilt from the rows that are left.
void ListModel::compactIfWasteful() {
    if (garbage_ < 4096 || garbage_ < (narrow_ ? narrowStore_.size() : store_.size()) / 2) return;
    if (narrow_) {
        const ByteStore old = std::exchange(narrowStore_, ByteStore());
        narrowStore_.reserve(old.size() - garbage_);
        auto move = [&](Slot& s) {
            const qsizetype at = narrowStore_.size();
            if (s.textLength > 0)
                std::memcpy(narrowStore_.grow(qsizetype(s.textLength)), old.data() + s.textAt,
                            size_t(s.textLength));
            s.textAt = quint64(at);
        };
        for (Slot& s : rows_)
            move(s);
        for (Slot& s : staged_)
            move(s);
        garbage_ = 0;
        return;
    }
    QString old = std::exchange(store_, QString());
    store_.reserve(old.size() - garbage_);
    auto move = [&](Slot& s) {
        QStringView text(old);
        if (s.textLength == kLongText) {
            qsizetype n = 0;
            std::memcpy(&n, old.constData() + s.textAt - 4, sizeof n);
            text = text.sliced(qsizetype(s.textAt), n);
        } else {
            text = text.sliced(qsizetype(s.textAt), qsizetype(s.textLength));
        }
        putText(s, text);
    };
    for (Slot& s : rows_)
        move(s);
    for (Slot& s : staged_)
        move(s);
    garbage_ = 0;
}

int ListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 || index.row() >= count()) return {};
    const Slot& r = rows_[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return displayText(textOf(r));
    case Qt::EditRole:
        return textOf(r);
    case TagRole:
        return tagOf(r);
    case NumberRole:
        return r.number;
    case PictureRole:
        return r.picture;
    case MarkRole:
        return markOf(textOf(r));
    case Qt::DecorationRole:
        if (r.picture >= 0 && pictureProvider) return pictureProvider(r.picture);
        return {};
    case Qt::ForegroundRole:
        // "2": the last listing failed; "4": nothing in it.
        switch (markOf(textOf(r))) {
        case 2:
            return QColor(Qt::red);
        case 4:
            return QColor(Qt::gray);
        default:
            return {};
        }
    case Qt::FontRole:
        if (markOf(textOf(r)) == 1) {
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
    const QString text = textOf(rows_[row]);
    data->setData(QLatin1String(kRowMimeType), text.toUtf8());
    data->setText(displayText(text));
    return data;
}

void ListModel::clear() {
    staged_.clear();
    if (rows_.empty() && current_ == -1) {
        resetStore();
        return;
    }
    beginResetModel();
    if (redraw_)
        rows_ = std::vector<Slot>();
    else
        rows_.clear(); // the room stays, as the texts' does
    resetStore();
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
    insertSlotAt(at, makeSlot(text, tag, number));
}

void ListModel::insertSlotAt(int at, const Slot& s) {
    beginInsertRows(QModelIndex(), at, at);
    rows_.insert(rows_.begin() + at, s);
    ++textRevision_;
    endInsertRows();
    if (current_ >= at) {
        ++current_;
        emit currentChanged(current_);
    }
}

void ListModel::insertSlots(std::vector<Slot>& added) {
    if (added.empty()) return;
    if (sorted_) {
        widen();
        for (const Slot& s : std::exchange(added, {}))
            insertSlotAt(sortedPosition(view(s)), s);
        return;
    }
    beginInsertRows(QModelIndex(), count(), count() + static_cast<int>(added.size()) - 1);
    // An empty list takes the rows as they are, and leaves `added` the room
    // it had, unless that room is the larger (a list being refilled keeps
    // its room: see clear()).
    if (rows_.empty() && added.capacity() >= rows_.capacity())
        rows_.swap(added);
    else
        rows_.insert(rows_.end(), added.begin(), added.end());
    added.clear();
    ++textRevision_;
    endInsertRows();
}

void ListModel::appendRows(QVector<ListRow> rows) {
    std::vector<Slot> added;
    added.reserve(rows.size());
    for (const ListRow& r : rows) {
        Slot s = makeSlot(r.text, r.tag, r.number);
        s.picture = r.picture;
        s.selected = r.selected;
        added.push_back(s);
    }
    insertSlots(added);
}

namespace {

// Bytes below 0x80 only: such text goes into the store as Latin-1, which is
// much cheaper than decoding UTF-8.
bool isAscii(QByteArrayView bytes) {
    const char* p = bytes.data();
    qsizetype n = bytes.size();
    for (; n >= 8; p += 8, n -= 8) {
        quint64 word;
        std::memcpy(&word, p, 8);
        if (word & 0x8080808080808080ull) return false;
    }
    for (; n > 0; ++p, --n)
        if (static_cast<unsigned char>(*p) >= 0x80) return false;
    return true;
}

// A mark or a count of a few bytes: copied in fixed-size moves the compiler
// writes out, as a library call costs more than such a copy. from may be
// null when n is 0.
inline void copySmall(char* to, const char* from, qsizetype n) {
    if (n >= 8 && n <= 16) {
        quint64 a, b;
        std::memcpy(&a, from, 8);
        std::memcpy(&b, from + n - 8, 8);
        std::memcpy(to, &a, 8);
        std::memcpy(to + n - 8, &b, 8);
    } else if (n >= 4 && n < 8) {
        quint32 a, b;
        std::memcpy(&a, from, 4);
        std::memcpy(&b, from + n - 4, 4);
        std::memcpy(to, &a, 4);
        std::memcpy(to + n - 4, &b, 4);
    } else if (n > 16) {
        std::memcpy(to, from, size_t(n));
    } else {
        for (qsizetype i = 0; i < n; ++i)
            to[i] = from[i];
    }
}

// Copies the n bytes at from to to while they are below 0x80: false at the
// first that is not, with some of them copied.
bool copyIfAscii(char* to, const char* from, qsizetype n) {
#if defined(__SSE2__)
    if (n >= 16)
        return copyPiecesWhile(to, from, n, [](__m128i v) { return _mm_movemask_epi8(v) == 0; });
#endif
    if (!isAscii(QByteArrayView(from, n))) return false;
    if (n > 0) std::memcpy(to, from, size_t(n));
    return true;
}

} // namespace

void ListModel::stageRow(QByteArrayView utf8Text, qint64 number, QStringView tag,
                         bool numberFirst) {
    widen();
    Slot s;
    s.number = number;
    if (utf8Text.size() < qsizetype(kLongText) && isAscii(utf8Text)) {
        s.textAt = quint64(store_.size());
        s.textLength = quint64(utf8Text.size());
        store_.append(QLatin1StringView(utf8Text.data(), utf8Text.size()));
    } else {
        putText(s, QString::fromUtf8(utf8Text));
    }
    s.tag = internTag(tag);
    s.numberFirst = numberFirst;
    staged_.push_back(s);
}

namespace {
// A store past this many characters while rows are staged around names is
// a long list coming in, and takes room for kLongListReserve at once.
constexpr qsizetype kLongListStore = qsizetype(1) << 18;
constexpr qsizetype kLongListReserve = qsizetype(1) << 24;
} // namespace

void ListModel::stageRow(QLatin1StringView head, QByteArrayView utf8Text, QLatin1StringView tail) {
    const qsizetype n = head.size() + utf8Text.size() + tail.size();
    // A list that starts with such a row is kept one byte a character until
    // a text that is not Latin-1 comes: half the memory to write.
    const bool empty = rows_.empty() && staged_.empty() && store_.isEmpty();
    if (n < qsizetype(kLongText) && (narrow_ || empty)) {
        // The row is written in place, its text checked as it is copied. A
        // store that outgrows its first room here is a long list coming in:
        // it takes room for millions of characters at once, which the
        // system maps only as it is written, rather than being copied and
        // faulted in again at every doubling. Redraw coming back on gives
        // back what is unused.
        const qsizetype at = narrowStore_.size();
        if (at + n > narrowStore_.capacity() && at >= kLongListStore)
            narrowStore_.reserve(kLongListReserve);
        char* p = narrowStore_.grow(n);
        if (copyIfAscii(p + head.size(), utf8Text.data(), utf8Text.size())) {
            copySmall(p, head.data(), head.size());
            copySmall(p + n - tail.size(), tail.data(), tail.size());
            narrow_ = true;
            // Written whole, in place: a slot built on the stack field by
            // field and then copied stalls on its partly written bit fields.
            staged_.emplace_back(Slot{.textAt = quint64(at), .textLength = quint64(n)});
            return;
        }
        narrowStore_.truncate(at);
    }
    const bool ascii = n < qsizetype(kLongText) && isAscii(utf8Text);
    const QByteArrayView parts[] = {QByteArrayView(head.data(), head.size()), utf8Text,
                                    QByteArrayView(tail.data(), tail.size())};
    Slot s;
    if (ascii) {
        const qsizetype at = store_.size();
        if (at + n > store_.capacity() && at >= kLongListStore) store_.reserve(kLongListReserve);
        store_.resize(at + n);
        char16_t* p = reinterpret_cast<char16_t*>(store_.data()) + at;
        for (const QByteArrayView part : parts) {
            const char* b = part.data();
            for (qsizetype i = 0; i < part.size(); ++i)
                p[i] = uchar(b[i]);
            p += part.size();
        }
        s.textAt = quint64(at);
        s.textLength = quint64(n);
    } else {
        putText(s, QString(head) + QString::fromUtf8(utf8Text) + QString(tail));
    }
    staged_.push_back(s);
}

void ListModel::stageRow(QStringView text, qint64 number, QStringView tag, bool numberFirst) {
    Slot s;
    s.number = number;
    putText(s, text);
    s.tag = internTag(tag);
    s.numberFirst = numberFirst;
    staged_.push_back(s);
}

void ListModel::commitRows() {
    // Staging goes on in the room the rows leave.
    insertSlots(staged_);
}

void ListModel::removeItem(int index) {
    if (index < 0 || index >= count()) return;
    const bool wasSelected = rows_[index].selected;
    beginRemoveRows(QModelIndex(), index, index);
    garbage_ += textSize(rows_[index]);
    rows_.erase(rows_.begin() + index);
    ++textRevision_;
    endRemoveRows();
    compactIfWasteful();
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
    return index >= 0 && index < count() ? textOf(rows_[index]) : QString();
}

ListRow ListModel::row(int index) const {
    if (index < 0 || index >= count()) return {};
    const Slot& s = rows_[index];
    return {textOf(s), tagOf(s), s.number, s.picture, bool(s.selected)};
}

QStringView ListModel::textView(int index) const {
    if (index < 0 || index >= count()) return QStringView();
    widen();
    return view(rows_[index]);
}

void ListModel::setText(int index, const QString& text) {
    if (index < 0 || index >= count()) return;
    garbage_ += textSize(rows_[index]);
    putText(rows_[index], text);
    compactIfWasteful();
    ++textRevision_;
    rowChanged(index);
}

QString ListModel::tag(int index) const {
    return index >= 0 && index < count() ? tagOf(rows_[index]) : QString();
}

void ListModel::setTag(int index, const QString& tag) {
    if (index < 0 || index >= count()) return;
    rows_[index].numberFirst = 0;
    rows_[index].tag = internTag(tag);
    rowChanged(index);
}

qint64 ListModel::number(int index) const {
    return index >= 0 && index < count() ? rows_[index].number : 0;
}

void ListModel::setNumber(int index, qint64 number) {
    if (index < 0 || index >= count()) return;
    Slot& s = rows_[index];
    // The tag is kept as it reads, whatever the number becomes.
    if (s.numberFirst) {
        s.numberFirst = 0;
        s.tag = internTag(tagOf(s));
    }
    s.number = number;
    rowChanged(index);
}

int ListModel::picture(int index) const {
    return index >= 0 && index < count() ? rows_[index].picture : -1;
}

void ListModel::setPicture(int index, int picture) {
    if (index < 0 || index >= count()) return;
    rows_[index].picture = picture;
    // Only the picture changed: views redraw it, and what watches the texts
    // (the substring index) need not start over.
    const QModelIndex i = this->index(index);
    emit dataChanged(i, i, {Qt::DecorationRole});
}

bool ListModel::selected(int index) const {
    return index >= 0 && index < count() && rows_[index].selected;
}

void ListModel::setSelected(int index, bool on) {
    if (index < 0 || index >= count() || bool(rows_[index].selected) == on) return;
    rows_[index].selected = on;
    emit selectionChanged();
}

int ListModel::selCount() const {
    return static_cast<int>(
        std::count_if(rows_.begin(), rows_.end(), [](const Slot& r) { return bool(r.selected); }));
}

void ListModel::clearSelection() {
    bool any = false;
    for (Slot& r : rows_) {
        any = any || r.selected;
        r.selected = 0;
    }
    if (any) emit selectionChanged();
}

void ListModel::selectOnly(int index) {
    clearSelection();
    setSelected(index, true);
    setListIndex(index);
}

void ListModel::selectAll() {
    for (Slot& r : rows_)
        r.selected = 1;
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
    auto matches = [&](auto t) {
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
    auto search = [&](auto textAt) {
        for (int i = start; i < n; ++i)
            if (matches(textAt(rows_[i]))) return i;
        for (int i = 0; i < start; ++i)
            if (matches(textAt(rows_[i]))) return i;
        return -1;
    };
    if (narrow_) return search([this](const Slot& s) { return narrowView(s); });
    return search([this](const Slot& s) { return view(s); });
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

// Printable ASCII but the backslash: a unit the file form takes as it is.
template <typename Unit> bool plainUnit(Unit c) {
    return c >= 0x20 && c < 0x80 && c != '\\';
}

// Writes the n units at u to p as bytes when every one is plain; false,
// with p left as it was, otherwise. Check and copy are separate loops
// without branches, which the compiler vectorizes; together they cost less
// than one loop that does both.
template <typename Unit>
bool copyIfPlain(char* __restrict p, const Unit* __restrict u, qsizetype n) {
    unsigned other = 0;
    for (qsizetype k = 0; k < n; ++k) {
        const unsigned c = u[k];
        other |= unsigned(c - 0x20 >= 0x60) | unsigned(c == 0x5C);
    }
    if (other != 0) return false;
    for (qsizetype k = 0; k < n; ++k)
        p[k] = char(u[k]);
    return true;
}

// Whether any of the eight bytes of w is not plain: below 0x20, from 0x80
// on, or the backslash. Exact, as the tests for a zero byte are.
inline bool anyOtherByte(quint64 w) {
    constexpr quint64 ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
    const quint64 below20 = (w - ones * 0x20) & ~w;
    const quint64 slash = w ^ (ones * 0x5C);
    const quint64 isSlash = (slash - ones) & ~slash;
    return ((w | below20 | isSlash) & highs) != 0;
}

// copyIfPlain for a list kept one byte a character, a group list's rows
// sixteen bytes at a time. A false return leaves bytes at p, which the
// caller writes again.
bool copyIfPlain(char* p, const uchar* u, qsizetype n) {
#if defined(__SSE2__)
    if (n >= 16) {
        const __m128i below = _mm_set1_epi8(0x20), slash = _mm_set1_epi8('\\');
        // Signed, bytes from 0x80 on are below 0x20 too.
        return copyPiecesWhile(p, reinterpret_cast<const char*>(u), n, [&](__m128i v) {
            return _mm_movemask_epi8(
                       _mm_or_si128(_mm_cmplt_epi8(v, below), _mm_cmpeq_epi8(v, slash))) == 0;
        });
    }
#endif
    if (n < 8) return copyIfPlain<uchar>(p, u, n);
    quint64 w;
    qsizetype k = 0;
    for (; k + 8 <= n; k += 8) {
        std::memcpy(&w, u + k, 8);
        if (anyOtherByte(w)) return false;
    }
    std::memcpy(&w, u + n - 8, 8);
    if (anyOtherByte(w)) return false;
    std::memcpy(p, u, size_t(n));
    return true;
}

// One unit below 0x800 that is not plain, escaped or in UTF-8; false for a
// wider one.
bool putOtherUnit(char*& q, char16_t c) {
    if (c >= 0x800) return false;
    if (c >= 0x80) {
        *q++ = char(0xC0 | (c >> 6));
        *q++ = char(0x80 | (c & 0x3F));
        return true;
    }
    const char escape = c == u'\\'   ? '\\'
                        : c == u'\t' ? 't'
                        : c == u'\n' ? 'n'
                        : c == u'\r' ? 'r'
                                     : 0;
    if (escape) *q++ = '\\';
    *q++ = escape ? escape : char(c);
    return true;
}

// The file form of the n units at u as UTF-8, escaping as appendEscaped
// does, written at p, which has room for 3 bytes a unit; *done is how many
// units were written (fewer than n at a unit of 0x800 or more). Header lists
// run to a million rows and group lists to a hundred thousand, so the units
// in front that are not plain (the mark of a group's row) are written on
// their own, and the rest goes through copyIfPlain; a field that has more
// in it is written unit by unit.
template <typename Unit> char* putUnits(char* p, const Unit* u, qsizetype n, qsizetype* done) {
    qsizetype i = 0;
    for (; i < n && !plainUnit(u[i]); ++i)
        if (!putOtherUnit(p, u[i])) break;
    if (i < n && plainUnit(u[i]) && copyIfPlain(p, u + i, n - i)) {
        *done = n;
        return p + (n - i);
    }
    for (; i < n; ++i) {
        if (plainUnit(u[i]))
            *p++ = char(u[i]);
        else if (!putOtherUnit(p, u[i]))
            break;
    }
    *done = i;
    return p;
}

char* putField(char* p, QLatin1StringView s) {
    qsizetype done = 0;
    return putUnits(p, reinterpret_cast<const uchar*>(s.data()), s.size(), &done);
}

char* putField(char* p, QStringView s, QByteArray& spill) {
    qsizetype done = 0;
    p = putUnits(p, s.utf16(), s.size(), &done);
    if (done == s.size()) return p;
    // Wider text (surrogates included) goes the general way, from a code
    // point boundary on.
    QString escaped;
    appendEscaped(escaped, s.sliced(done));
    spill = escaped.toUtf8();
    std::memcpy(p, spill.constData(), size_t(spill.size()));
    return p + spill.size();
}

// An article number in decimal; digits must hold 20 characters.
qsizetype formatNumber(char* digits, qint64 n) {
    return std::to_chars(digits, digits + 20, n).ptr - digits;
}

// The list file is written in pieces of this size rather than built whole.
constexpr qsizetype kWriteChunk = 1 << 20;

} // namespace

bool ListModel::save(const QString& path, SaveMode mode) const {
    if (mode == SaveMode::Synced) {
        QSaveFile f(path);
        if (!f.open(QIODevice::WriteOnly)) return false;
        if (!writeRows(f)) {
            f.cancelWriting();
            return false;
        }
        return f.commit();
    }
    // Written whole under a name of its own and renamed over the old file,
    // so a crash leaves one or the other; not waited for on the disk.
    QTemporaryFile f(path + QStringLiteral(".XXXXXX"));
    if (!f.open() || !writeRows(f) || !f.flush()) return false;
    const QByteArray target = QFile::encodeName(path);
#ifdef Q_OS_UNIX
    // The old file's pages are given back when its last name and handle go:
    // a handle held over the rename and closed on another thread keeps that
    // (half a millisecond for a big group list) off this one.
    const int old = ::open(target.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
#endif
    const bool renamed =
        std::rename(QFile::encodeName(f.fileName()).constData(), target.constData()) == 0;
#ifdef Q_OS_UNIX
    if (old >= 0) QThreadPool::globalInstance()->start([old] { ::close(old); });
#endif
    if (!renamed) return false;
    f.setAutoRemove(false);
    return true;
}

bool ListModel::writeRows(QIODevice& f) const {
    QByteArray out(kWriteChunk, Qt::Uninitialized);
    QByteArray spill;
    qsizetype used = 0;
    auto flush = [&] {
        const bool ok = f.write(out.constData(), used) == used;
        used = 0;
        return ok;
    };
    for (const Slot& r : rows_) {
        // A row of text alone in a list kept one byte a character: a
        // group list's every row.
        if (narrow_ && r.tag == 0 && r.number == 0 && !r.numberFirst &&
            2 * qsizetype(r.textLength) < kWriteChunk) {
            if (used + 2 * qsizetype(r.textLength) + 1 > out.size() && !flush()) return false;
            char* const p = putField(out.data() + used, narrowView(r));
            *p = '\n';
            used = p + 1 - out.constData();
            continue;
        }
        const QStringView tag = tags_[r.tag];
        // UTF-8 takes at most 3 bytes a unit, an escape 2; then the tabs,
        // two numbers and the line end.
        const qsizetype most = 3 * (textSize(r) + tag.size()) + 48;
        if (used + most > out.size()) {
            if (!flush()) return false;
            if (most > out.size()) out.resize(most);
        }
        char* const begin = out.data() + used;
        char* p = narrow_ ? putField(begin, narrowView(r)) : putField(begin, view(r), spill);
        char digits[20];
        const qsizetype length =
            r.number != 0 || r.numberFirst ? formatNumber(digits, r.number) : 0;
        if (r.tag != 0 || r.numberFirst || r.number != 0) {
            *p++ = '\t';
            if (r.numberFirst) p = std::copy_n(digits, length, p);
            p = putField(p, tag, spill);
        }
        if (r.number != 0) {
            *p++ = '\t';
            p = std::copy_n(digits, length, p);
        }
        *p++ = '\n';
        used += p - begin;
    }
    return flush();
}

bool ListModel::load(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    const QByteArray bytes = f.readAll();
    if (f.error() != QFileDevice::NoError) return false;
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString all = utf8(bytes);
    beginResetModel();
    staged_.clear();
    rows_.clear();
    resetStore();
    QStringView text(all);
    qsizetype from = 0;
    while (from < text.size()) {
        qsizetype nl = text.indexOf(u'\n', from);
        if (nl < 0) nl = text.size();
        QStringView line = text.mid(from, nl - from);
        // A person editing the file may have saved it with CR LF.
        if (line.endsWith(u'\r')) line.chop(1);
        const ListRow r = decodeRow(line);
        rows_.push_back(makeSlot(r.text, r.tag, r.number));
        from = nl + 1;
    }
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
    // Redraw comes back on when a bulk of rows is in: give back what the
    // store and the rows grew ahead of need.
    if (on) {
        store_.squeeze();
        narrowStore_.squeeze();
        rows_.shrink_to_fit();
        staged_.shrink_to_fit();
    }
    emit flagsChanged();
}

void ListModel::setSorted(bool on) {
    if (sorted_ == on) return;
    sorted_ = on;
    if (on && count() > 1) {
        widen();
        beginResetModel();
        std::stable_sort(rows_.begin(), rows_.end(), [this](const Slot& a, const Slot& b) {
            return view(a).compare(view(b), Qt::CaseInsensitive) < 0;
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

int ListModel::sortedPosition(QStringView text) const {
    widen();
    auto it =
        std::upper_bound(rows_.begin(), rows_.end(), text, [this](QStringView t, const Slot& r) {
            return t.compare(view(r), Qt::CaseInsensitive) < 0;
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
