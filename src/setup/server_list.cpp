#include "setup/server_list.h"

#include "shell/app.h"
#include "shell/layout.h"

QString serverListPath(const App& app) {
    return app.AppPath + QStringLiteral("NNTP_NET.INI");
}

void LoadServerList(App& app) {
    if (!app.txtNNTPServ.load(serverListPath(app))) SaveServerList(app);
    UpdateListTitles(app, QStringLiteral("8"));
    app.txtNNTPServ.clearSelection();
    const int row = findServer(app, app.CurrentServer);
    if (row >= 0) app.txtNNTPServ.setListIndex(row);
}

void SaveServerList(App& app) {
    app.txtNNTPServ.save(serverListPath(app));
}

int findServer(const App& app, const QString& serv) {
    const ListModel& list = app.txtNNTPServ;
    for (int i = 0; i < list.count(); ++i) {
        const QString t = list.text(i);
        if (QStringView(t).mid(t.lastIndexOf(u' ') + 1) == serv) return i;
    }
    return -1;
}
