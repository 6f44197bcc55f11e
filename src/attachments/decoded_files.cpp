#include "attachments/decoded_files.h"

#include "shell/app.h"
#include "shell/layout.h"

namespace {

constexpr qsizetype kMaxNameLength = 120;

} // namespace

void CleanAttachName(App& app) {
    QString& name = app.AttachName;
    if (name.size() > kMaxNameLength) name.clear();
    if (name.isEmpty()) return;
    // A name never reaches outside DestDir: every separator stays in the name.
    for (QChar& c : name)
        if (c == u'/' || c == u'\\' || c == u'*') c = u'_';
    if (name.startsWith(u'"')) name.remove(0, 1);
    if (name.endsWith(u'"')) name.chop(1);
    const qsizetype bar = name.indexOf(u'|');
    if (bar >= 0) name[bar] = u'-';
}

void AddaFile(App& app, QString& tmp) {
    int row = -1;
    if (app.lstFiles.find(tmp, FindMode::Contains, 0) < 0) {
        app.lstFiles.addItem(-1, tmp, QStringLiteral("0"), 0);
        row = app.lstFiles.count() - 1;
    }
    emit app.fileAdded(tmp, row);
    UpdateListTitles(app, QStringLiteral("3"));
}
