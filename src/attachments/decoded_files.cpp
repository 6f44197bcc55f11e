#include "attachments/decoded_files.h"

#include "attachments/file_icons.h"
#include "attachments/preview.h"
#include "shell/app.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QFile>

namespace {

constexpr qsizetype kMaxNameLength = 120;
// What the usual file systems take for one name (NAME_MAX), in bytes of UTF-8.
constexpr qsizetype kMaxNameBytes = 255;
// A longer "extension" is a dot inside a long name, not a file type.
constexpr qsizetype kMaxExtensionBytes = 32;

// The longest start of `s` that takes at most `bytes` bytes in UTF-8,
// never ending inside a surrogate pair.
QStringView utf8Prefix(QStringView s, qsizetype bytes) {
    qsizetype i = 0;
    while (i < s.size()) {
        const char16_t c = s[i].unicode();
        const bool pair =
            QChar::isHighSurrogate(c) && i + 1 < s.size() && s[i + 1].isLowSurrogate();
        const qsizetype n = pair ? 4 : c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
        if (n > bytes) break;
        bytes -= n;
        i += pair ? 2 : 1;
    }
    return s.first(i);
}

// The row the handlers act on: the current one, or the first selected
// where the list has none current.
int actedRow(const ListModel& files) {
    const int current = files.listIndex();
    if (current >= 0 && current < files.count()) return current;
    for (int i = 0; i < files.count(); ++i)
        if (files.selected(i)) return i;
    return -1;
}

bool isReportRow(const ListModel& files, int row) {
    return files.tag(row) == QLatin1String(kReportRowTag);
}

void deleteFile(App& app) {
    ListModel& files = app.lstFiles;
    if (!HasSelection(app, files, true)) return;
    const int row = actedRow(files);
    if (row < 0) return;
    if (isReportRow(files, row)) {
        files.removeItem(row);
        return;
    }
    const QString name = files.text(row);
    if (app.ConfirmFileDelete &&
        !app.prompter->askOkCancel(QStringLiteral("Delete file : ") + name + QStringLiteral(" ?"),
                                   QStringLiteral("Delete")))
        return;
    if (!QFile::remove(app.DestDir + name)) {
        app.prompter->message(QStringLiteral("Could not remove file"), QStringLiteral("Error!"),
                              Prompter::Icon::Exclamation);
        return;
    }
    files.removeItem(row);
    if (files.count() > 0) files.setListIndex(0);
}

} // namespace

QString fileNameToWrite(QStringView name) {
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (name[i] == u'\r' || name[i] == u'\n') {
            name.truncate(i);
            break;
        }
    }
    for (qsizetype i = name.size(); i-- > 0;) {
        if (name[i] == u'\\' || name[i] == u'/' || name[i] == u':') {
            name = name.sliced(i + 1);
            break;
        }
    }
    QString kept;
    kept.reserve(name.size());
    for (const QChar c : name)
        if (c.category() != QChar::Other_Control) kept += c;
    kept = kept.trimmed();
    if (kept == u"." || kept == u"..") return QString();
    if (kept.toUtf8().size() <= kMaxNameBytes) return kept;
    const qsizetype dot = kept.lastIndexOf(u'.');
    QStringView extension;
    if (dot > 0) extension = QStringView(kept).sliced(dot);
    qsizetype extensionBytes = extension.toUtf8().size();
    if (extensionBytes > kMaxExtensionBytes) {
        extension = {};
        extensionBytes = 0;
    }
    const QStringView stem = QStringView(kept).first(kept.size() - extension.size());
    return (utf8Prefix(stem, kMaxNameBytes - extensionBytes).toString() + extension.toString())
        .trimmed();
}

void CleanAttachName(App& app) {
    QString& name = app.AttachName;
    // The name ends with its line. The receiver cuts at a CR; a bare LF
    // would bring the next line along.
    const qsizetype lf = name.indexOf(u'\n');
    if (lf >= 0) name.truncate(lf);
    if (name.size() > kMaxNameLength) name.clear();
    if (name.isEmpty()) return;
    // A name never reaches outside DestDir: every separator stays in the name.
    for (QChar& c : name)
        if (c == u'/' || c == u'\\' || c == u'*') c = u'_';
    if (name.startsWith(u'"')) name.remove(0, 1);
    if (name.endsWith(u'"')) name.chop(1);
    const qsizetype bar = name.indexOf(u'|');
    if (bar >= 0) name[bar] = u'-';
    // The duplicate test that follows must see the name the file will get.
    name = fileNameToWrite(name);
}

void AddaFile(App& app, QString& tmp) {
    int row = -1;
    if (app.lstFiles.find(tmp, FindMode::Contains, 0) < 0) {
        const qsizetype dot = tmp.indexOf(u'.');
        GetFileIcon(app, dot < 0 ? QString() : tmp.mid(dot), 0);
        app.lstFiles.addItem(-1, tmp, QStringLiteral("0"), 0);
        row = app.lstFiles.count() - 1;
        app.lstFiles.setPicture(row, app.Picture2);
    }
    if (app.menuPreviewChecked) {
        const QString ending = tmp.right(4).toUpper();
        if (ending != QLatin1String(".AVI") && ending != QLatin1String(".MOV"))
            ShowPreview(app, tmp);
    }
    UpdateListTitles(app, QStringLiteral("3"));
    emit app.fileAdded(tmp, row);
}

void lstFiles_Click(App& app) {
    const int row = app.lstFiles.listIndex();
    if (row < 0 || row >= app.lstFiles.count() || app.PreviewOn == 0) return;
    if (isReportRow(app.lstFiles, row)) return;
    ShowPreview(app, app.lstFiles.text(row));
}

void lstFiles_DblClick(App& app) {
    if (!HasSelection(app, app.lstFiles, true) || app.Busy) return;
    const int row = actedRow(app.lstFiles);
    if (row >= 0 && !isReportRow(app.lstFiles, row))
        ShellLaunch(app, app.DestDir + app.lstFiles.text(row));
}

void lstFiles_KeyPress(App& app, int key) {
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        lstFiles_DblClick(app);
    } else if (key == Qt::Key_Space) {
        ListModel& files = app.lstFiles;
        if (files.listIndex() < 0 && files.count() > 0) {
            files.setSelected(0, true);
            files.setListIndex(0);
        }
    }
}

void lstFiles_KeyDown(App& app, int key) {
    if (key == Qt::Key_Delete) deleteFile(app);
    UpdateListTitles(app, QStringLiteral("3"));
    lstFiles_Click(app);
}
