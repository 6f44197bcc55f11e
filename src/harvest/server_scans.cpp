#include "harvest/server_scans.h"

#include "favorites/markers.h"
#include "harvest/server_check.h"
#include "harvest/sweep.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "shell/app.h"
#include "shell/layout.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QSaveFile>

namespace {

const QString kTitle = QStringLiteral("Zanderfell!");
const QChar kMark(0xFF);

bool isHeaderScan(const App& app) {
    return app.ScanMode == QLatin1String("@EMAIL") || app.ScanMode == QLatin1String("@NEWS");
}

void saveFavouritesCopy(App& app, const QString& failure, Prompter::Icon icon) {
    if (!app.lstTemp.save(app.FavoritesFile)) app.prompter->message(failure, kTitle, icon);
}

// Rows of lstHTTP added in one go to a sorted list: one sort per server,
// not a shift of the list's tail per row.
void addSorted(App& app, QVector<ListRow> rows) {
    app.lstHTTP.setSorted(false);
    app.lstHTTP.appendRows(std::move(rows));
    app.lstHTTP.setSorted(true);
}

// The group of a row with the count moved behind the server: what
// lstHTTP and the favourites get. False for an empty group.
struct Hit {
    QString row, count;
};
std::optional<Hit> hitOf(const QString& raw) {
    if (raw.contains(QLatin1String("(0)"))) return std::nullopt;
    Hit h{raw, QString()};
    const qsizetype open = raw.indexOf(u'(');
    if (open >= 0) {
        h.count = raw.mid(open);
        h.row = raw.left(open);
    }
    return h;
}

// Adds a hit to lstHTTP and the favourites' working copy.
void takeHit(App& app, Hit h) {
    const QString server = QStringLiteral(" (") + app.CurrentServer + QStringLiteral(") ");
    app.lstHTTP.addItem(h.row.trimmed() + server + h.count);
    if (!h.row.startsWith(kMark)) h.row.prepend(QString(kMark) + u'4');
    app.lstTemp.addItem(h.row.trimmed() + server + h.count);
}

// The group name of row j, as favourites name it.
QString groupOf(const App& app, int j) {
    QString row = app.lstGroups.text(j);
    return cleanNewsGroup(row);
}

} // namespace

bool scanGroupsFromCache(App& app) {
    if (app.StopRequested || !QFile::exists(groupCachePath(app))) return false;
    LoadListFile(app, app.lstGroups, groupCachePath(app), -1);
    if (app.BinariesOnly) RemoveNonBinary(app);
    UpdateListTitles(app, QStringLiteral("2"));
    app.GroupsDone = true;
    app.HeadersDone = true;
    // The header scans read from the server all the same; with groups in
    // the list, the connect lists nothing.
    if (isHeaderScan(app) && !app.IsConnected) cmdConnect(app, true);
    return true;
}

void scanHeaders(App& app) {
    if (app.StopRequested || app.lstGroups.count() == 0 || !app.IsConnected) return;
    const bool email = app.ScanMode == QLatin1String("@EMAIL");
    app.setStatus(1, QStringLiteral("Looking for New News Servers"));
    for (int j = 0; j < app.lstGroups.count(); ++j) {
        app.lstGroups.selectOnly(j);
        LetEventsRun(app);
        app.setProgress(0, app.lstGroups.count() + 1, j);
        app.setStatus(1, QStringLiteral("Checking Group ") + app.lstGroups.text(j));
        app.HeaderField = email ? QStringLiteral("From") : QStringLiteral("Path");
        app.CurrentGroup = groupOf(app, j);
        if (app.StopRequested) break;
        cmdGetMessageHeaders(app, true);
        if (app.StopRequested) break;
        app.lstGroups.clearSelection();
        LetEventsRun(app);
        // The first group that fails ends the work on this server.
        if (app.LastError != 0) break;
    }
    UpdateListTitles(app, QStringLiteral("6"));
}

void scanGroupList(App& app) {
    app.setStatus(1, QStringLiteral("Generating Group List"));
    app.lstHTTP.setRedraw(false);
    const int n = app.lstGroups.count();
    app.setProgress(0, std::max(n, 1), 0);
    QVector<ListRow> rows;
    rows.reserve(n);
    for (int j = 0; j < n; ++j) {
        LetEventsRun(app);
        app.setProgressValue(j);
        QString row = app.lstGroups.text(j).trimmed();
        if (row.startsWith(kMark)) row.remove(0, 2);
        const qsizetype open = row.indexOf(u'(');
        if (open >= 0) row.truncate(open);
        rows.append(ListRow{row.trimmed() + QStringLiteral(" (") + app.CurrentServer + u')',
                            QString(), 0, -1, false});
        if (app.StopRequested) break;
    }
    addSorted(app, std::move(rows));
    app.lstHTTP.setRedraw(true);
    UpdateListTitles(app, QStringLiteral("6"));
    LetEventsRun(app);
}

void scanForGroup(App& app) {
    const QString& mode = app.ScanMode;
    const QString looking = QStringLiteral("Looking for Group : ") + mode;
    if (app.statbar[1] != looking) app.setStatus(1, looking);
    app.setStatus(2, QString());
    LetEventsRun(app);
    app.lstHTTP.setSorted(true);
    int j = app.lstGroups.find(mode, FindMode::Contains, 0);
    if (j < 0) return;
    for (;;) {
        const QString g = groupOf(app, j);
        const QString here = g + QStringLiteral(" (") + app.CurrentServer + u')';
        const QString raw = app.lstGroups.text(j);
        if (app.lstTemp.find(here, FindMode::Contains, 0) < 0) {
            if (std::optional<Hit> h = hitOf(raw)) {
                const QString elsewhere = h->row.mid(2).trimmed() + QStringLiteral(" (");
                if (!app.ScanExclusive || app.lstTemp.find(elsewhere, FindMode::Contains, 0) < 0)
                    takeHit(app, *h);
            }
        }
        // The find wraps to row 0 past the last row: the first hit met again ends it.
        const int next = app.lstGroups.find(mode, FindMode::Contains, j + 1);
        LetEventsRun(app);
        if (next <= j || app.StopRequested) break;
        j = next;
    }
    saveFavouritesCopy(app, QStringLiteral("Unable to Save Favorites"),
                       Prompter::Icon::Exclamation);
    UpdateListTitles(app, QStringLiteral("6"));
}

void scanRandom(App& app) {
    const QString looking = QStringLiteral("Looking for Group : ") + app.ScanMode;
    if (app.statbar[1] != looking) app.setStatus(1, looking);
    app.setStatus(2, QString());
    LetEventsRun(app);
    app.lstHTTP.setSorted(true);
    if (app.lstGroups.count() == 0) return;
    updatePostMarker(app);
    if (!app.PostAllowed) return;
    QRandomGenerator random(static_cast<quint32>(QDateTime::currentMSecsSinceEpoch()));
    // Draws until a group that is a favourite already, or an empty one. With
    // more than two rows the first and the last are never drawn; with two,
    // row 1; with one, row 0.
    for (int draws = 0; !app.StopRequested; ++draws) {
        const int n = app.lstGroups.count();
        const int j = std::clamp(
            static_cast<int>(std::floor((n - 2) * random.generateDouble())) + 1, 0, n - 1);
        const QString g = groupOf(app, j);
        if (app.lstTemp.find(g, FindMode::Contains, 0) >= 0) {
            // A favourite already: this server is done, with nothing to save.
            UpdateListTitles(app, QStringLiteral("6"));
            return;
        }
        const std::optional<Hit> h = hitOf(app.lstGroups.text(j));
        if (!h) break;
        takeHit(app, *h);
        // A server of many groups could go on for ever: one round of draws
        // per group is more than the rows can give.
        if (draws > n) break;
        LetEventsRun(app);
    }
    saveFavouritesCopy(app, QStringLiteral("Unable to Save Favorites"),
                       Prompter::Icon::Exclamation);
    UpdateListTitles(app, QStringLiteral("6"));
}

void finishScan(App& app) {
    const QString& mode = app.ScanMode;
    if (mode.isEmpty()) return;
    const bool email = mode == QLatin1String("@EMAIL");
    const bool genlist = mode == QLatin1String("@GENLIST");
    if (!genlist && mode != QLatin1String("@NEWS"))
        saveFavouritesCopy(app, QStringLiteral("Cannot Open Favorites File."),
                           Prompter::Icon::Critical);
    if ((email || (genlist && !app.StopRequested)) && app.lstHTTP.count() > 0) {
        app.setStatus(1, QStringLiteral("Saving Data"));
        // Replaces the file the user chose, whole or not at all.
        QSaveFile out(app.OutputFile);
        if (out.open(QIODevice::WriteOnly)) {
            for (int i = 0; i < app.lstHTTP.count(); ++i) {
                out.write(app.lstHTTP.text(i).toUtf8() + '\n');
                LetEventsRun(app);
            }
            if (out.commit())
                app.prompter->message(QStringLiteral("File Saved : (") + app.OutputFile + u')',
                                      kTitle, Prompter::Icon::Exclamation);
        }
    }
}

namespace {

// The output file of a scan is replaced: an existing one only when the user says so.
bool mayReplace(App& app) {
    if (!QFile::exists(app.OutputFile)) return true;
    return app.prompter->askYesNo(QStringLiteral("OverWrite Existing File?"), kTitle);
}

bool serversReady(App& app) {
    if (DisconnectFirst(app, true)) return false;
    return HasSelection(app, app.txtNNTPServ, true);
}

void runScan(App& app, const QString& text) {
    QString mode = text;
    cmdCheckAll(app, mode);
}

} // namespace

void menuScan_Click(App& app) {
    app.ScanExclusive = false;
    const QString group = AskGroupName(app);
    if (!group.isEmpty()) runScan(app, group);
}

void menuScanE_Click(App& app) {
    app.ScanExclusive = true;
    const QString group = AskGroupName(app);
    if (!group.isEmpty()) runScan(app, group);
}

void menuScanRandom_Click(App& app) {
    if (DisconnectFirst(app, true)) return;
    runScan(app, QStringLiteral("@RANDOM"));
}

void menuEmailS_Click(App& app) {
    if (!serversReady(app) || !AskEmailSweep(app) || !mayReplace(app)) return;
    app.HeaderField = QStringLiteral("From");
    runScan(app, QStringLiteral("@EMAIL"));
}

void menuServS_Click(App& app) {
    if (!serversReady(app)) return;
    app.HeaderField = QStringLiteral("Path");
    runScan(app, QStringLiteral("@NEWS"));
}

void menuGen_Click(App& app) {
    const QString name =
        app.prompter->saveFileName(kTitle, QStringLiteral("Text (*.txt)"), app.AppPath);
    if (name.isEmpty()) return;
    app.OutputFile = name;
    if (!mayReplace(app)) return;
    runScan(app, QStringLiteral("@GENLIST"));
}
