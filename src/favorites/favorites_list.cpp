#include "favorites/favorites_list.h"

#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QCoreApplication>

namespace {

const QChar kMark(0xFF);

} // namespace

void lstFavorites_DblClick(App& app) {
    if (!HasSelection(app, app.lstFavorites, true) || app.SweepScope != -1 || app.Busy) return;
    app.BatchRun = true;
    app.StopRequested = false;
    FavoritesOnOff(app, false);
    const QString row = app.lstFavorites.text(app.lstFavorites.listIndex());
    const qsizetype blank = row.indexOf(u' ');
    QString group = blank < 0 ? row : row.left(blank);
    app.CurrentGroup = cleanNewsGroup(group);
    const QString server = GetServerName(row);
    if (server != app.CurrentServer) cmdDisconnect(app);
    app.CurrentServer = server;
    UpdateListTitles(app, QStringLiteral("5"));
    app.HeaderField = QStringLiteral("Subject");
    cmdGetMessageHeaders(app, true);
    app.BatchRun = false;
    FavoritesOnOff(app, true);
}

void lstFavorites_DeleteSelected(App& app) {
    // While a server check borrows the list it holds servers, not favourites.
    if (app.Busy) return;
    ListModel& list = app.lstFavorites;
    HourGlass(app, true);
    FavoritesOnOff(app, false);
    list.setRedraw(false);
    for (int i = 0; i < list.count();) {
        if (list.selected(i))
            list.removeItem(i);
        else
            ++i;
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
    list.setRedraw(true);
    list.save(app.FavoritesFile);
    UpdateListTitles(app, QStringLiteral("0"));
    FavoritesOnOff(app, true);
    if (list.count() > 0) {
        list.setSelected(0, true);
        list.setListIndex(0);
    }
    HourGlass(app, false);
}

void lstFavorites_SelectAll(App& app) {
    if (app.Busy) return;
    app.lstFavorites.selectAll();
}

void lstFavorites_Drop(App& app, const QString& carried) {
    if (app.Busy || carried.isEmpty()) return;
    QString group;
    QString count;
    const qsizetype bracket = carried.indexOf(u'(');
    if (bracket >= 0) {
        QString front = carried.left(bracket);
        group = cleanNewsGroup(front);
        if (carried[0] == kMark) count = carried.mid(bracket);
    } else {
        group = carried;
    }
    const QString key = group + QStringLiteral(" (") + app.CurrentServer + u')';
    if (app.lstFavorites.find(key.trimmed(), FindMode::Contains, 0) >= 0) return;
    const qint64 n = count.isEmpty() ? 0 : leadingNumber(QStringView(count).mid(1).toLatin1());
    const QString digit = !count.isEmpty() && n > 0 ? QStringLiteral("1") : QStringLiteral("4");
    app.lstFavorites.addItem(kMark + digit + group + QStringLiteral(" (") + app.CurrentServer +
                             QStringLiteral(") ") + count);
    app.lstFavorites.setPicture(app.lstFavorites.count() - 1, 12);
    app.lstFavorites.save(app.FavoritesFile);
    app.lstFavorites.setRedraw(true);
    UpdateListTitles(app, QStringLiteral("0"));
}
