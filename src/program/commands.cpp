#include "program/commands.h"

#include "attachments/download_drivers.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "program/startup.h"
#include "shell/app.h"
#include "support/routines.h"

void Toolbar1_ButtonClick(App& app, int number) {
    if (number < 1 || number > 14) return;
    app.StopRequested = false;
    const QString& caption = app.toolbar[number].caption;
    if (caption == QLatin1String("Setup"))
        cmdSetup(app);
    else if (caption == QLatin1String("Groups"))
        cmdGroup(app, true);
    else if (caption == QLatin1String("Download"))
        lstMessages_DblClick(app);
    else if (caption == QLatin1String("All"))
        lstMessages_DownloadAll(app);
    else if (caption == QLatin1String("View"))
        lstMessages_MouseDown(app);
    else if (caption == QLatin1String("Stop"))
        cmdStop(app);
    else if (caption == QLatin1String("Connect"))
        cmdConnect(app, true);
    else if (caption == QLatin1String("Disconnect")) {
        cmdDisconnect(app);
        app.setStatus(1, QStringLiteral("Click on CONNECT to connect to Server"));
    } else if (caption == QLatin1String("Post")) {
        if (app.postToCurrentGroup) app.postToCurrentGroup();
    } else if (caption == QLatin1String("Links"))
        ShellLaunch(app, app.AppPath + QStringLiteral("UsenetHTTP.htm"));
}
