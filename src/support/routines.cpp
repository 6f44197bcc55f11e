#include "support/routines.h"

#include "shell/app.h"
#include "shell/gating.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

void ShellLaunch(App& app, const QString& path) {
    HourGlass(app, true);
    // A plain path is a document; anything with a scheme is an address.
    const QUrl url = QFileInfo(path).isAbsolute() || !path.contains(u':')
                         ? QUrl::fromLocalFile(path)
                         : QUrl::fromUserInput(path);
    const bool ok = app.openUrl ? app.openUrl(url) : QDesktopServices::openUrl(url);
    HourGlass(app, false);
    if (!ok)
        app.prompter->message(QStringLiteral("Error Executing Application or File Not Found"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::None);
}

QString ZeroPad(qint32 n) {
    if (n < 10) return QStringLiteral("0000");
    if (n < 100) return QStringLiteral("000");
    if (n < 1000) return QStringLiteral("00");
    if (n < 10000) return QStringLiteral("0");
    return QString();
}

bool HasSelection(App& app, const ListModel& list, bool warn) {
    if (list.selCount() > 0) return true;
    if (warn)
        app.prompter->message(QStringLiteral("Please Select Item(s) First"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
    return false;
}

QString& AddBackslash(QString& path) {
    if (!path.endsWith(u'/')) path += u'/';
    return path;
}
