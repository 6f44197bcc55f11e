#include "attachments/download_drivers.h"

#include "attachments/download.h"
#include "favorites/favorites_list.h"
#include "news/connection.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QVector>

namespace {

constexpr int kMaxSelectedRows = 200;

// Groups (item 4) stays off afterwards: the messages are on show.
void menusForDownload(App& app, bool on) {
    for (int item : {8, 9, 10, 6})
        SetMenuItem(app, item, on);
    if (!on) SetMenuItem(app, 4, false);
    MenuOnOff(app, QStringLiteral("CG"), on);
    MenuOnOff(app, QStringLiteral("SM"), on);
}

// The message list's handlers may be re-entered while a run lets events in.
bool refuseWhileRunning(App& app) {
    if (!app.BatchRun) return false;
    app.setStatus(2, QStringLiteral("Please wait until current transaction is finished"));
    return true;
}

} // namespace

void lstMessages_DblClick(App& app) {
    const bool selected = HasSelection(app, app.lstMessages, true);
    if (app.SweepScope != -1 || !selected || app.Busy) return;
    if (refuseWhileRunning(app)) return;
    HourGlass(app, true);
    app.setStatus(1, QStringLiteral("Looking for attachments"));
    menusForDownload(app, false);
    app.StopRequested = false;
    app.HeaderField = QStringLiteral("Subject");

    // The selection is frozen before the first fetch; rows are deselected
    // one by one as they are done.
    QVector<qint32> rows;
    for (int i = 0; i < app.lstMessages.count() && !app.StopRequested; ++i) {
        if (app.lstMessages.selected(i) && rows.size() < kMaxSelectedRows) rows.append(i);
        LetEventsRun(app);
    }
    // The files of the run, for the PAR2 step over them.
    QStringList written;
    const QMetaObject::Connection added = QObject::connect(
        &app, &App::fileAdded, &app, [&written](const QString& name) { written << name; });
    for (qint32 row : rows) {
        if (app.StopRequested) break;
        cmdDownload(app, row);
    }
    QObject::disconnect(added);

    if (app.LastError == 0) {
        app.setStatus(1, QStringLiteral("Finished Downloading"));
        // The last refusal stays readable after the run.
        if (app.statbar[2] != QLatin1String("Incomplete") &&
            app.statbar[2] != QLatin1String("Duplicate File"))
            app.setStatus(2, QString());
    }
    if (app.checkPar2Set) app.checkPar2Set(written);
    HourGlass(app, false);
    app.setStatus(3, QStringLiteral("Connected"));
    menusForDownload(app, true);
}

namespace {

bool canDownloadAll(const App& app) {
    return !app.Busy && app.frame(Frame::Messages).enabled && app.lstMessages.count() > 0;
}

} // namespace

void lstMessages_DownloadAll(App& app) {
    if (!canDownloadAll(app)) return;
    // A second F2 while one runs would nest a run inside the first.
    if (refuseWhileRunning(app)) return;
    DownloadAllRows(app);
}

void DownloadAllRows(App& app) {
    if (!canDownloadAll(app)) return;
    menusForDownload(app, false);
    FavoritesOnOff(app, false);
    qint32 all = -1;
    cmdDownload(app, all);
    if (app.LastError == 0) app.setStatus(1, QStringLiteral("Finished Downloading"));
    SetMenuItem(app, 4, true);
    menusForDownload(app, true);
    FavoritesOnOff(app, true);
}

void menuDownloadAll_Click(App& app) {
    app.StopRequested = false;
    lstMessages_DownloadAll(app);
}

void lstMessages_MouseDown(App& app) {
    if (!HasSelection(app, app.lstMessages, true)) return;
    if (refuseWhileRunning(app)) return;
    // Until a viewer is installed the right button has nothing to open.
    if (!app.showViewer) return;
    for (int item : {8, 9, 10, 4, 6})
        SetMenuItem(app, item, false);
    MenuOnOff(app, QStringLiteral("CG"), false);
    MenuOnOff(app, QStringLiteral("SM"), false);
    app.showViewer(app.lstMessages.listIndex());
}

void menuDowloadAllF_Click(App& app) {
    if (DisconnectFirst(app, true) || app.Busy) return;
    if (!HasSelection(app, app.lstFavorites, true)) return;
    app.StopRequested = false;
    FavoritesOnOff(app, false);
    for (int i = 0; i < app.lstFavorites.count(); ++i) {
        app.setStatus(1, app.HarvestBody ? QStringLiteral("Scanning for Web Addresses")
                                         : QStringLiteral("Downloading From Favorites"));
        if (app.StopRequested) break;
        if (!app.lstFavorites.selected(i)) continue;
        app.lstFavorites.setListIndex(i);
        lstFavorites_DblClick(app);
        lstMessages_DownloadAll(app);
        // Done rows leave the selection, so a stop leaves the rows still to do.
        app.lstFavorites.setSelected(i, false);
        WaitTicks(app, 5);
    }
    app.lstMessages.clear();
    cmdDisconnect(app);
    app.setStatus(1, app.HarvestBody ? QStringLiteral("Finished Scanning for Web Addresses")
                                     : QStringLiteral("Finished Downloading From Favorites"));
    FavoritesOnOff(app, true);
}
