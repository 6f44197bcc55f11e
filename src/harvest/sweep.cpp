#include "harvest/sweep.h"

#include "attachments/collation.h"
#include "attachments/download.h"
#include "attachments/download_drivers.h"
#include "harvest/address_scans.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/header_ranges.h"
#include "news/headers.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QFile>

namespace {

const QString kTitle = QStringLiteral("Zanderfell!");

const char* scopeCode(int lgetWhich) {
    static const char* codes[] = {"CG", "SG", "FA", "SM"};
    return lgetWhich >= 0 && lgetWhich < 4 ? codes[lgetWhich] : "";
}

void threeListsOn(App& app, bool on) {
    app.lstFavorites.setEnabled(on);
    app.lstMessages.setEnabled(on);
    app.lstGroups.setEnabled(on);
}

void warn(App& app, const QString& text) {
    app.prompter->message(text, kTitle, Prompter::Icon::Exclamation);
}

// The "From" or "Path" headers of the current group, listed again whatever
// the message list shows.
void listHeaderField(App& app) {
    app.TransferMode = 3;
    QString group = app.CurrentGroup;
    listGroupHeaders(app, cleanNewsGroup(group));
}

// Scope 3: the article of row i, whose title begins with its number either way.
void harvestMessageRow(App& app, int row) {
    const QString text = app.ShowMNumbers ? app.lstMessages.text(row)
                                          : QString::number(app.lstMessages.number(row)) + u' ' +
                                                app.lstMessages.text(row);
    qint64 number = numericPrefix(QStringView(text).left(text.indexOf(u' '))).value_or(0);
    cmdDownloadMessage(app, number);
}

// One item of the walk; -1 when there was nothing to do for it.
int sweepItem(App& app, int lgetWhich, int getWhat, ListModel& lstb, int i, const QString& fmsg) {
    if (lgetWhich == 0) return 0;
    if (!lstb.selected(i)) return -1;
    if (lgetWhich == 1) {
        QString row = lstb.text(i).trimmed();
        app.CurrentGroup = cleanNewsGroup(row);
        app.setStatus(2, app.CurrentGroup);
        return cmdGetMessageHeaders(app, true);
    }
    if (lgetWhich == 2) {
        QString row = lstb.text(i);
        app.CurrentServer = GetServerName(row);
        app.CurrentGroup = cleanNewsGroup(row);
        if (!app.IsConnected) cmdConnect(app, false);
        const int r = cmdGetMessageHeaders(app, true);
        app.setStatus(2, QStringLiteral("Finding ") + fmsg);
        if (getWhat == 1 || getWhat == 2) cmdDisconnect(app);
        return r;
    }
    harvestMessageRow(app, i);
    return 0;
}

void harvestItem(App& app, int lgetWhich, int getWhat, const QString& fmsg) {
    threeListsOn(app, false);
    if (getWhat == 0) {
        if (lgetWhich == 3) return;
        app.Busy = false;
        DownloadAllRows(app);
    } else {
        app.Busy = false;
        listHeaderField(app);
    }
    app.setStatus(2, QStringLiteral("Finding ") + fmsg);
    if (lgetWhich == 2) cmdDisconnect(app);
    app.Busy = true;
}

void writeOutputFile(App& app) {
    app.setStatus(1, QStringLiteral("Saving to Disk"));
    QFile out(app.OutputFile);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) return;
    for (int i = 0; i < app.lstHTTP.count(); ++i)
        out.write(app.lstHTTP.text(i).toUtf8() + '\n');
}

} // namespace

void menuGetSub(App& app, int lgetWhich, int getWhat, ListModel& lstb, bool isConn,
                const QString& bmsg, const QString& fmsg) {
    const QString code = QLatin1String(scopeCode(lgetWhich));
    threeListsOn(app, false);
    app.SweepScope = lgetWhich;
    app.StopRequested = false;
    bool run = true;
    const bool connected = DisconnectFirst(app, isConn);
    if (lgetWhich == 2) {
        run = !connected;
    } else if (!connected) {
        warn(app, QStringLiteral("Must be connected to use this function"));
        run = false;
    }
    if (run && !lstb.visible()) {
        warn(app, QStringLiteral("Must be in ") + bmsg +
                      QStringLiteral(" listing to use this function"));
        run = false;
    }
    if (run && lgetWhich != 0 && !HasSelection(app, lstb, true)) run = false;

    if (run) {
        app.BatchRun = true;
        SetMenuItem(app, 5, true);
        MenuOnOff(app, code, false);
        app.lstHTTP.clear();
        UpdateListTitles(app, QStringLiteral("4"));
        static const char* fields[] = {"Subject", "From", "Path"};
        static const char* titles[] = {"4", "9", "6"};
        app.HeaderField = QLatin1String(fields[getWhat]);
        if (getWhat == 0)
            app.HarvestBody = true;
        else
            app.Busy = true;
        ResetHeaderHarvest(app);
        UpdateListTitles(app, QLatin1String(titles[getWhat]));
        lstb.setEnabled(false);

        const int rows = lstb.count();
        for (int i = 0; i < rows; ++i) {
            threeListsOn(app, false);
            lstb.setListIndex(i);
            app.setStatus(2, QStringLiteral("Finding ") + fmsg);
            if (sweepItem(app, lgetWhich, getWhat, lstb, i, fmsg) != -1)
                harvestItem(app, lgetWhich, getWhat, fmsg);
            if (lgetWhich == 0 || app.StopRequested || app.ending) break;
            lstb.setSelected(i, false);
        }
    }
    // Closing the window ends the sweep where it is: no file or box after it.
    if (run && !app.ending) {
        lstb.setEnabled(true);
        app.setStatus(2, QStringLiteral("Finding ") + fmsg);
        threeListsOn(app, false);
        if (getWhat == 0) {
            app.HarvestBody = false;
            if (lgetWhich == 1) cmdGroup(app, true);
        } else if (getWhat == 2) {
            app.Busy = false;
            SaveServerList(app);
            if (lgetWhich == 1) cmdGroup(app, true);
        } else {
            app.Busy = false;
            writeOutputFile(app);
            if (lgetWhich == 1 && !app.StopRequested) {
                cmdGroup(app, true);
                MenuOnOff(app, QStringLiteral("CG"), false);
            }
        }
        app.setStatus(1, QStringLiteral("Finished finding ") + fmsg);
        MenuOnOff(app, code, true);
        app.prompter->message(QString::number(app.lstHTTP.count()) + u' ' + fmsg +
                                  QStringLiteral(" found and saved."),
                              kTitle, Prompter::Icon::Information);
        if (getWhat != 0) {
            app.lstHTTP.clear();
            UpdateListTitles(app, QStringLiteral("4"));
        }
    }

    threeListsOn(app, true);
    app.HarvestBody = false;
    app.setStatus(2, QString());
    SetMenuItem(app, 5, false);
    app.Busy = false;
    app.BatchRun = false;
    app.SweepScope = -1;
}

bool ChooseOutputFile(App& app) {
    const QString name =
        app.prompter->saveFileName(kTitle, QStringLiteral("Text (*.txt)"), app.AppPath);
    if (name.isEmpty()) return false;
    app.OutputFile = name;
    return true;
}

bool AskEmailSweep(App& app) {
    app.prompter->message(QStringLiteral("Please Specify Output File"), kTitle,
                          Prompter::Icon::Exclamation);
    if (!ChooseOutputFile(app)) return false;
    app.EmailFilter = app.prompter
                          ->input(QStringLiteral("Enter search string for email address (Press "
                                                 "ENTER for ALL addresses)"),
                                  QStringLiteral("Enter Search String"), QString())
                          .value_or(QString());
    app.HeaderField = QStringLiteral("From");
    return true;
}

QString AskGroupName(App& app) {
    if (DisconnectFirst(app, true)) return QString();
    if (!HasSelection(app, app.txtNNTPServ, true)) return QString();
    return app.prompter->input(QStringLiteral("Input Group Name to Look for : "), kTitle, QString())
        .value_or(QString());
}

namespace {

const QString kWeb = QStringLiteral("Web Addresses");
const QString kEmail = QStringLiteral("Email Addresses");
const QString kServers = QStringLiteral("New Servers");
const QString kMessages = QStringLiteral("Messages");
const QString kGroups = QStringLiteral("Groups");
const QString kFavorites = QStringLiteral("Favorites");

} // namespace

void menuWebC_Click(App& app) {
    menuGetSub(app, 0, 0, app.lstMessages, false, kMessages, kWeb);
}
void menuWebG_Click(App& app) {
    menuGetSub(app, 1, 0, app.lstGroups, false, kGroups, kWeb);
}
void menuWebF_Click(App& app) {
    menuGetSub(app, 2, 0, app.lstFavorites, true, kFavorites, kWeb);
}
void menuWebM_Click(App& app) {
    menuGetSub(app, 3, 0, app.lstMessages, false, kMessages, kWeb);
}
void menuEmailC_Click(App& app) {
    if (AskEmailSweep(app)) menuGetSub(app, 0, 1, app.lstMessages, false, kMessages, kEmail);
}
void menuEmailG_Click(App& app) {
    if (AskEmailSweep(app)) menuGetSub(app, 1, 1, app.lstGroups, false, kGroups, kEmail);
}
void menuEmailF_Click(App& app) {
    if (AskEmailSweep(app)) menuGetSub(app, 2, 1, app.lstFavorites, true, kFavorites, kEmail);
}
void menuServC_Click(App& app) {
    menuGetSub(app, 0, 2, app.lstMessages, false, kMessages, kServers);
    SaveServerList(app);
}
void menuServG_Click(App& app) {
    menuGetSub(app, 1, 2, app.lstGroups, false, kGroups, kServers);
}
void menuServF_Click(App& app) {
    menuGetSub(app, 2, 2, app.lstFavorites, true, kFavorites, kServers);
}
