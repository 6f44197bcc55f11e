#include "setup/dir_list_widget.h"

#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QStyle>

namespace {

constexpr int kPathRole = Qt::UserRole + 1;

QString clean(const QString& dir) {
    return QDir::cleanPath(QDir(QDir::fromNativeSeparators(dir)).absolutePath());
}

} // namespace

DirListBox::DirListBox(QWidget* parent) : QListWidget(parent) {
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setUniformItemSizes(true);
    connect(this, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { setPath(item->data(kPathRole).toString()); });
}

bool DirListBox::setPath(const QString& dir) {
    if (dir.isEmpty() || !QFileInfo(dir).isDir()) return false;
    const QString target = clean(dir);
    const bool changed = target != path_;
    path_ = target;
    fill(path_);
    if (changed) emit pathChanged(path_);
    return true;
}

QString DirListBox::highlighted() const {
    const QListWidgetItem* item = currentItem();
    return item ? item->data(kPathRole).toString() : QString();
}

void DirListBox::refresh() {
    QString dir = path_;
    while (!dir.isEmpty() && !QFileInfo(dir).isDir()) {
        const QString up = QFileInfo(dir).absolutePath();
        if (up == dir) break;
        dir = up;
    }
    if (dir != path_) {
        setPath(dir);
        return;
    }
    fill(highlighted());
}

void DirListBox::fill(const QString& highlight) {
    clear();
    if (path_.isEmpty()) return;
    QStringList chain;
    for (QDir d(path_);;) {
        chain.prepend(d.absolutePath());
        if (d.isRoot() || !d.cdUp()) break;
    }
    const QIcon open = style()->standardIcon(QStyle::SP_DirOpenIcon);
    const QIcon closed = style()->standardIcon(QStyle::SP_DirClosedIcon);
    QListWidgetItem* current = nullptr;
    auto add = [&](const QString& dir, const QString& name, int depth, const QIcon& icon) {
        auto* item = new QListWidgetItem(icon, QString(depth * 2, u' ') + name, this);
        item->setData(kPathRole, dir);
        if (dir == highlight || (!current && dir == path_)) current = item;
    };
    for (int i = 0; i < chain.size(); ++i) {
        const QString& dir = chain[i];
        add(dir, i == 0 ? dir : QFileInfo(dir).fileName(), i, open);
    }
    const QDir here(path_);
    const QStringList subdirs =
        here.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase);
    for (const QString& name : subdirs)
        add(here.filePath(name), name, static_cast<int>(chain.size()), closed);
    if (current) setCurrentItem(current);
}

void DirListBox::keyPressEvent(QKeyEvent* e) {
    if (e->key() == Qt::Key_Delete) {
        // An entry that is not empty or is in use stays; nothing is said.
        const QString dir = highlighted();
        if (!dir.isEmpty()) QDir().rmdir(dir);
        refresh();
        return;
    }
    if (e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) {
        if (const QString dir = highlighted(); !dir.isEmpty()) setPath(dir);
        return;
    }
    QListWidget::keyPressEvent(e);
}
