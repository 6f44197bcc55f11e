#include "news/headers.h"

#include "favorites/markers.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/header_ranges.h"
#include "news/nntp_control.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"

#include <QFile>

bool IsJunkSubject(QStringView text) {
    static const char* const marks[] = {".htm", "~~", "==", "^^", "@@",   "##", "((",  "[[",
                                        "+-",   "++", "--", "!!", "FREE", "$$", "SITE"};
    for (const char* m : marks)
        if (text.contains(QLatin1String(m), Qt::CaseInsensitive)) return true;
    return false;
}

QString messageListPath(const App& app) {
    QString group = app.CurrentGroup;
    return app.AppPath + ServerCacheName(app) + u'-' + cleanNewsGroup(group) +
           QStringLiteral(".tmp");
}

void NNTP_GroupSelected(App& app, const QString&, qint64 first, qint64 last, qint64) {
    // The listing asks for the range itself, chunk by chunk.
    app.selectedFirst = first;
    app.selectedLast = last;
    app.groupSelectedSeen = true;
}

int cmdGetMessageHeaders(App& app, bool cache) {
    HourGlass(app, true);
    if (app.SweepScope == -1) app.setStatus(2, QString());
    // Redraw off first: the list keeps its room for the rows to come.
    app.lstMessages.setRedraw(false);
    app.lstMessages.clear();
    FavoritesOnOff(app, false);
    app.HeadersDone = false;
    app.StopRequested = false;
    QString group = app.CurrentGroup;
    const QString groupName = cleanNewsGroup(group);

    bool fromFile = false;
    if (!app.Busy) {
        SetMenuItem(app, 52, false);
        if (cache && QFile::exists(messageListPath(app)) &&
            LoadListFile(app, app.lstMessages, messageListPath(app), -1)) {
            // Selecting makes the group current on the server; without a
            // connection there is nothing to select.
            if (connectionOpen(app)) app.NNTP->selectGroup(groupName);
            app.HeadersDone = true;
            fromFile = true;
        }
    }
    if (!fromFile) {
        app.LastError = 0;
        if (!connectionOpen(app) && !app.StopRequested) cmdConnect(app, false);
        if (!app.Busy) {
            for (int item : {53, 6, 8, 9, 10, 4})
                SetMenuItem(app, item, false);
            for (const char* code : {"SG", "CG", "SM", "FA"})
                MenuOnOff(app, QLatin1String(code), false);
        }
        if (!connectionOpen(app) || app.LastError != 0 || app.StopRequested) {
            app.LastError = -1;
        } else {
            app.setStatus(1, QStringLiteral("Retreiving Message Headers"));
            app.LastError = 0;
            app.HeadersDone = false;
            app.TickCount = 0;
            app.NNTP->setDeliveryMode(1);
            app.TransferMode = 3;
            if (!app.Busy) SetMenuItem(app, 5, true); // Stop, while the headers come
            listGroupHeaders(app, groupName);
        }
        app.setStatus(1, QStringLiteral("Done Retreiving Message Headers"));
        if (app.HeaderField == QLatin1String("Subject") && !app.Busy)
            updateGroupMarkerNFavs(app, app.CurrentGroup, app.lstMessages.count());
    }

    int result = app.HeadersDone ? 0 : -1;
    app.lstMessages.setRedraw(true);
    UpdateListTitles(app, QStringLiteral("1"));
    MessagesOnOff(app, true);
    GroupsOnOff(app, false);
    if (!app.Busy) {
        SetMenuItem(app, 5, false);
        SetMenuItem(app, 4, true);
    }
    if (app.lstMessages.count() == 0) {
        result = -1;
        if (!app.Busy && app.LastError == 0)
            app.setStatus(1, QStringLiteral("Sorry, No Messages in This Group"));
    } else {
        if (!app.Busy) {
            for (int item : {8, 9, 10})
                SetMenuItem(app, item, true);
            MenuOnOff(app, QStringLiteral("SG"), false);
            MenuOnOff(app, QStringLiteral("CG"), true);
            MenuOnOff(app, QStringLiteral("SM"), true);
            if (!app.ending) app.lstMessages.save(messageListPath(app), ListModel::SaveMode::Cache);
        }
        app.lstMessages.setSelected(0, true);
        app.lstMessages.setListIndex(0);
    }
    if (!app.Busy) {
        SetMenuItem(app, 6, true);
        if (!app.IsConnected) {
            MenuOnOff(app, QStringLiteral("FA"), true);
            MenuOnOff(app, QStringLiteral("SS"), true);
        }
        SetMenuItem(app, 52, true);
    }
    if (app.LastError == 0) app.setStatus(2, QString());
    app.setProgressValue(0);
    FavoritesOnOff(app, true);
    HourGlass(app, false);
    return result;
}
