#include "harvest/server_check.h"

#include "favorites/markers.h"
#include "harvest/address_scans.h"
#include "harvest/server_scans.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QTimer>

namespace {

const QString kTitle = QStringLiteral("Zanderfell!");

// One server may take this many ticks of Timer1 in all. The waits below
// end on silence, but a server that drips a byte at a time is never
// silent: a check of hundreds of servers must not stay with it.
int serverBudget(const App& app) {
    return 8 * std::max(app.Timeout, 1);
}

void appendLogLine(const App& app, const QString& line) {
    QFile log(checkLogPath(app));
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append)) return;
    log.write(line.toUtf8() + "\r\n");
}

void setUp(App& app, const QString& mode, QString& remembered) {
    app.ScanMode = mode;
    app.Busy = true;
    app.StopRequested = false;
    app.lstHTTP.clear();
    app.lstGroups.setEnabled(false);
    remembered = app.CurrentServer;
    SetMenuItem(app, 6, false);
    SetMenuItem(app, 5, true);
    UpdateListTitles(app, QStringLiteral("6"));
    app.setStatus(1, QStringLiteral("Loading Servers to Check"));
    app.lstFavorites.clear();
    app.favoritesBorrowed = true;
    app.lstFavorites.setRedraw(false);
    FavoritesOnOff(app, false);
    for (const char* code : {"SR", "FA", "SS"})
        MenuOnOff(app, QLatin1String(code), false);
    const int rows = app.txtNNTPServ.count();
    app.setProgress(0, std::max(rows, 1), 0);
    QVector<ListRow> work;
    for (int i = 0; i < rows && !app.StopRequested; ++i) {
        if (app.txtNNTPServ.selected(i))
            work.append(ListRow{app.txtNNTPServ.text(i), QString(), 0, -1, false});
        app.setProgressValue(i);
        LetEventsRun(app);
    }
    app.lstFavorites.appendRows(std::move(work));
    app.setProgressValue(0);
    FavoritesOnOff(app, true);
    app.lstFavorites.setRedraw(true);
    UpdateListTitles(app, QStringLiteral("7"));
    if (!mode.isEmpty()) {
        app.lstTemp.clear();
        LoadListFile(app, app.lstTemp, app.FavoritesFile, -1);
    }
    if (mode == QLatin1String("@EMAIL") || mode == QLatin1String("@NEWS")) {
        app.setStatus(1, QStringLiteral("Finding ") + (mode == QLatin1String("@EMAIL")
                                                           ? QStringLiteral("Email Addresses")
                                                           : QStringLiteral("New Servers")));
        app.setProgress(0, app.progMax, app.progValue);
    }
}

// The check of one connected server; false when it was removed.
bool checkServer(App& app, int i) {
    if (!app.GroupsDone || !app.IsConnected) {
        RemoveServer(app, i);
        LetEventsRun(app);
        return false;
    }
    if (app.StopRequested) return true;
    const int groups = app.lstGroups.count();
    if (groups < app.MinGroups) {
        app.ErrorText = QStringLiteral("Not Enough Groups");
        RemoveServer(app, i);
        return false;
    }
    if (app.GroupSeen) {
        app.CurrentGroup = app.lstGroups.text(app.GroupsBeforeLive);
        cmdGetMessageHeaders(app, true);
        LetEventsRun(app);
        if (app.LastError != 0) app.GroupSeen = false;
    }
    if (!app.GroupSeen) {
        app.ErrorText = QStringLiteral("No Readable Messages");
        RemoveServer(app, i);
        return false;
    }
    updatePostMarker(app);
    const QString line = app.CurrentServer + QStringLiteral(" , ") + QString::number(groups) +
                         (app.PostAllowed ? QStringLiteral(" Groups (Posting OK) ")
                                          : QStringLiteral(" Groups (NO Posting) ")) +
                         QString::number(app.LastError);
    app.lstHTTP.addItem(line);
    appendLogLine(app, line);
    app.lstFavorites.setText(
        i, ZeroPad(groups) + QString::number(groups) +
               (app.PostAllowed ? QStringLiteral("  OK    ") : QStringLiteral("  NO    ")) +
               app.CurrentServer);
    UpdateListTitles(app, QStringLiteral("6"));
    return true;
}

// Step 4 of the loop: the groups of the server, from it or from its cache.
void getGroups(App& app, const QString& mode) {
    if (!mode.isEmpty() && scanGroupsFromCache(app)) return;
    if (!app.StopRequested) cmdConnect(app, true);
}

// Ends the waits of a server that has used up its time: the request is
// dropped and the step that waited fails with the reason.
class ServerWatch {
public:
    explicit ServerWatch(App& app) : app_(app) {
        QObject::connect(&app.Timer1, &QTimer::timeout, &guard_, [this] {
            if (++ticks_ <= serverBudget(app_) || fired_) return;
            fired_ = true;
            app_.ErrorText = !app_.IsConnected  ? QStringLiteral("Timeout Connecting")
                             : !app_.GroupsDone ? QStringLiteral("Timeout Getting Groups")
                                                : app_.ErrorText;
            app_.LastError = -1;
            app_.NNTP->cancel();
        });
    }

private:
    App& app_;
    QObject guard_;
    int ticks_ = 0;
    bool fired_ = false;
};

void cleanUp(App& app, const QString& mode, const QString& remembered) {
    finishScan(app);
    app.lstTemp.clear();
    app.lstGroups.clear();
    app.lstMessages.clear();
    app.lstHTTP.clear();
    app.lstHTTP.setSorted(false);
    UpdateListTitles(app, QStringLiteral("4"));
    app.setStatus(1, QStringLiteral("Loading Favorites"));
    app.lstFavorites.clearSelection();
    app.lstFavorites.clear();
    app.CurrentServer = remembered;
    UpdateListTitles(app, QStringLiteral("2"));
    UpdateListTitles(app, QStringLiteral("5"));
    MessagesOnOff(app, false);
    GroupsOnOff(app, true);
    if (mode.isEmpty()) {
        app.txtNNTPServ.clear();
        LoadListFile(app, app.txtNNTPServ, serverListPath(app), -1);
        UpdateListTitles(app, QStringLiteral("8"));
    }
    app.Busy = false;
    LoadListFile(app, app.lstFavorites, app.FavoritesFile, 12);
    app.favoritesBorrowed = false;
    app.lstFavorites.setRedraw(true);
    UpdateListTitles(app, QStringLiteral("0"));
    app.setProgressValue(0);
    for (const char* code : {"SR", "FA", "SS"})
        MenuOnOff(app, QLatin1String(code), true);
    SetMenuItem(app, 5, false);
    SetMenuItem(app, 6, true);
    app.ScanMode.clear();
    app.StopRequested = false;
    cmdDisconnect(app);
    app.setStatus(1, QStringLiteral("Click on CONNECT to connect to Server"));
}

} // namespace

QString checkLogPath(const App& app) {
    return app.AppPath + QStringLiteral("CHECK.LOG");
}

void RemoveServer(App& app, int& b) {
    if (app.StopRequested) return;
    // The exact row: a part of a row could be another server whose address
    // begins with this one.
    const int row = findServer(app, app.CurrentServer);
    if (row < 0)
        app.prompter->message(QStringLiteral("Error!"), kTitle, Prompter::Icon::Exclamation);
    else
        app.txtNNTPServ.removeItem(row);
    if (b >= 0 && b < app.lstFavorites.count()) app.lstFavorites.removeItem(b);
    app.lstHTTP.addItem(app.CurrentServer + QStringLiteral(" REMOVED:") + app.ErrorText);
    UpdateListTitles(app, QStringLiteral("6"));
    UpdateListTitles(app, QStringLiteral("7"));
    appendLogLine(
        app, app.CurrentServer + u'\t' +
                 QLocale::system().toString(QDateTime::currentDateTime(), QLocale::ShortFormat) +
                 u'\t' + QStringLiteral(" REMOVED:") + app.ErrorText);
    QFile::remove(groupCachePath(app));
}

void cmdCheckAll(App& app, QString& mode) {
    QString remembered;
    setUp(app, mode, remembered);
    const bool check = mode.isEmpty();
    int i = 0;
    while (i < app.lstFavorites.count() && !app.StopRequested && !app.ending) {
        QString row = app.lstFavorites.text(i);
        app.CurrentServer = row;
        if (check) app.lstFavorites.selectOnly(i);
        app.setProgress(0, app.lstFavorites.count(), i);
        const qsizetype blanks = row.indexOf(QLatin1String("    "));
        if (blanks >= 0) {
            app.PostAllowed = row.left(blanks).contains(QLatin1String("OK"));
            app.CurrentServer = row.mid(blanks).trimmed();
        }
        app.lstGroups.clear();
        bool kept = true;
        {
            ServerWatch watch(app);
            getGroups(app, mode);
            if (check)
                kept = checkServer(app, i);
            else if (mode == QLatin1String("@EMAIL") || mode == QLatin1String("@NEWS"))
                scanHeaders(app);
            else if (mode == QLatin1String("@GENLIST"))
                scanGroupList(app);
            else if (mode == QLatin1String("@RANDOM"))
                scanRandom(app);
            else
                scanForGroup(app);
        }
        if (kept) ++i;
        if (app.ending) break;
        if (check || mode == QLatin1String("@NEWS")) {
            SaveServerList(app);
            UpdateListTitles(app, QStringLiteral("8"));
        }
        cmdDisconnect(app);
    }
    // Closing the window ends the run where it is: the exit has saved the
    // server list, and no file is written after it.
    if (app.ending) return;
    cleanUp(app, mode, remembered);
}

void menuCheck_Click(App& app) {
    if (DisconnectFirst(app, true)) return;
    if (!HasSelection(app, app.txtNNTPServ, true)) return;
    QString mode;
    cmdCheckAll(app, mode);
}
