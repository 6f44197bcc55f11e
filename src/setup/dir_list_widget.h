#pragma once

#include <QListWidget>

// A directory chooser as a list: the directories from the root down to the
// open one, then the subdirectories of the open one. Double click or Enter
// opens an entry; Delete removes the highlighted directory from the disk,
// without a question, when it is empty. There are no drives to pick here.
class DirListBox : public QListWidget {
    Q_OBJECT
public:
    explicit DirListBox(QWidget* parent = nullptr);

    // The open directory, without a trailing separator (except "/").
    QString path() const { return path_; }
    // Opens dir; false, and the chooser stays where it was, when it is no directory.
    bool setPath(const QString& dir);
    // The directory of the highlighted entry; empty when none is.
    QString highlighted() const;
    // Reads the disk again. When the open directory is gone, the nearest
    // directory above it that still exists is opened.
    void refresh();

signals:
    // The open directory changed, by the user or by setPath.
    void pathChanged(const QString& path);

protected:
    void keyPressEvent(QKeyEvent* e) override;

private:
    void fill(const QString& highlight);

    QString path_;
};
