#include "favorites/markers.h"

#include "news/nntp_control.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "support/routines.h"

namespace {

QString postColumn(bool allowed) {
    return allowed ? QStringLiteral("  OK    ") : QStringLiteral("  NO    ");
}

QString countText(int n) {
    return ZeroPad(n) + QString::number(n);
}

const QChar kMark(0xFF);

} // namespace

void updateGroupMarker(App& app) {
    if (app.lstGroups.count() == 0) return;
    const int row = findServer(app, app.CurrentServer);
    if (row < 0) return;
    app.txtNNTPServ.setText(row, countText(app.lstGroups.count()) + postColumn(app.PostAllowed) +
                                     app.CurrentServer);
}

void updatePostMarker(App& app) {
    const int row = findServer(app, app.CurrentServer);
    if (row < 0) return;
    const QString text = app.txtNNTPServ.text(row);
    const qsizetype blank = text.indexOf(u' ');
    const QString first = (blank < 0 ? text : text.left(blank)).trimmed();
    app.PostAllowed = app.NNTP->postingAllowed();
    app.menuPostVisible = app.PostAllowed;
    app.toolbar[11].visible = app.PostAllowed;
    emit app.toolbarChanged(11);
    emit app.menuChanged(11);
    app.txtNNTPServ.setText(row, first + postColumn(app.PostAllowed) + app.CurrentServer);
}

void updateGroupMarkerNFavs(App& app, QString groupname, int groups) {
    groupname = groupname.trimmed();
    if (app.lstFavorites.count() > 0) {
        const QString key = groupname + QStringLiteral(" (") + app.CurrentServer + u')';
        const int row = app.lstFavorites.find(key, FindMode::Contains, 0);
        if (row >= 0) {
            QString t;
            if (app.LastError != 0)
                t = kMark + QStringLiteral("2") + key;
            else if (groups < 1)
                t = kMark + QStringLiteral("4") + key + QStringLiteral(" (0)");
            else
                t = kMark + QStringLiteral("1") + key + QStringLiteral(" (") +
                    QString::number(groups) + u')';
            app.lstFavorites.setText(row, t);
        }
    }
    const int row = app.lstGroups.find(groupname, FindMode::Contains, 0);
    if (row >= 0) {
        QString t;
        if (app.LastError != 0)
            t = kMark + QStringLiteral("2") + groupname;
        else if (groups < 1)
            t = groupname + QStringLiteral(" (0)");
        else
            t = kMark + QStringLiteral("1") + groupname + QStringLiteral(" (") +
                QString::number(groups) + u')';
        app.lstGroups.setText(row, t);
    }
}
