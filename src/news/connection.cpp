#include "news/connection.h"

#include "attachments/preview.h"
#include "news/group_list.h"
#include "news/nntp_control.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "shell/waits.h"

namespace {

// cmdDisconnect repeats quit or cancel until the control reports the closed
// pair; a control that never gets there must not hold the program forever.
constexpr int kDisconnectRounds = 10;

void setConnectedForm(App& app, bool connected) {
    ToolButtonState& b = app.toolbar[6];
    b.caption = connected ? QStringLiteral("Disconnect") : QStringLiteral("Connect");
    b.image = connected ? 5 : 4;
    emit app.toolbarChanged(6);
    app.menuConnectCaption =
        connected ? QStringLiteral("&Disconnect") : QStringLiteral("&Connect to Server");
    emit app.menuChanged(6);
}

void showOkNotConnected(App& app) {
    app.setStatus(1, QStringLiteral("Click on CONNECT to connect to Server"));
    for (const char* code : {"FA", "SS", "SR"})
        MenuOnOff(app, QLatin1String(code), true);
    SetMenuItem(app, 5, false);
    SetMenuItem(app, 2, true);
    SetMenuItem(app, 6, true);
}

} // namespace

bool connectionOpen(const App& app) {
    return app.NNTP->state() == QLatin1String("Connected") &&
           app.NNTP->protocolState() == QLatin1String("Transaction");
}

bool connectionClosed(const App& app) {
    return app.NNTP->state() == QLatin1String("Disconnected") &&
           app.NNTP->protocolState() == QLatin1String("Base");
}

void cmdConnect(App& app, bool groupRetr) {
    if (app.CurrentServer.isEmpty()) {
        app.prompter->message(QStringLiteral("Please Configure Zanderfell!"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
        if (app.showSetup) app.showSetup();
        HourGlass(app, false);
        return;
    }
    HourGlass(app, true);
    app.SkipArticle = false;
    if (!app.Busy) {
        for (const char* code : {"FA", "SS", "SR"})
            MenuOnOff(app, QLatin1String(code), false);
        SetMenuItem(app, 2, false);
        SetMenuItem(app, 6, false);
    }
    UpdateListTitles(app, QStringLiteral("1"));
    UpdateListTitles(app, QStringLiteral("2"));
    if (!app.Busy) SetMenuItem(app, 5, true);
    app.setStatus(3, QString());
    app.IsConnected = false;
    app.LastError = 0;
    app.TickCount = 0;
    app.setProgress(0, app.Timeout + 1, 0);
    app.NNTP->setDeliveryMode(0);
    if (!connectionClosed(app)) cmdDisconnect(app);
    app.TickCount = 0;
    app.NNTP->connectTo(app.CurrentServer);
    app.setStatus(1, QStringLiteral("Connecting"));
    if (app.SweepScope == -1) app.setStatus(2, QString());

    while (app.LastError == 0 && !app.IsConnected && !app.StopRequested && !app.ending &&
           app.TickCount <= app.Timeout) {
        app.DoEvents();
        if (app.TickCount < app.Timeout) app.setProgressValue(app.TickCount);
    }
    if (app.IsConnected) {
        while (app.NNTP->busy() && app.LastError == 0 && !app.StopRequested && !app.ending)
            app.DoEvents();
    } else if (app.LastError == 0) {
        app.ErrorText = QStringLiteral("Timeout Connecting");
    }

    if (app.IsConnected) {
        app.lstFiles.setEnabled(true);
        app.lstHTTP.setEnabled(true);
        if (!app.Busy) {
            SetMenuItem(app, 5, false);
            SetMenuItem(app, 2, true);
            SetMenuItem(app, 6, true);
            MenuOnOff(app, QStringLiteral("FA"), false);
            MenuOnOff(app, QStringLiteral("SS"), false);
        }
        setConnectedForm(app, true);
        if (groupRetr) cmdGroup(app, true);
    } else {
        cmdDisconnect(app);
        app.setProgressValue(0);
        app.setStatus(2, QStringLiteral("Unable to Connect"));
        if (!app.Busy) showOkNotConnected(app);
    }
    HourGlass(app, false);
}

void cmdDisconnect(App& app) {
    app.SkipArticle = false;
    if (!connectionClosed(app)) {
        if (!app.Busy) {
            HourGlass(app, true);
            if (app.PreviewOn == 1) ClearPreviews(app);
            SetMenuItem(app, 6, false);
            UpdateListTitles(app, QStringLiteral("3"));
            UpdateListTitles(app, QStringLiteral("4"));
            for (int item : {5, 4, 8, 9, 53, 52, 10})
                SetMenuItem(app, item, false);
            MenuOnOff(app, QStringLiteral("CG"), false);
            MenuOnOff(app, QStringLiteral("FA"), true);
            MenuOnOff(app, QStringLiteral("SS"), true);
            MenuOnOff(app, QStringLiteral("SM"), false);
            MenuOnOff(app, QStringLiteral("SG"), false);
            MenuOnOff(app, QStringLiteral("SR"), true);
            app.menuPostVisible = true;
            app.toolbar[11].visible = true;
            emit app.toolbarChanged(11);
            emit app.menuChanged(11);
            app.BatchRun = false;
        }
        app.setStatus(1, QStringLiteral("Disconnecting"));
        app.setStatus(2, QString());
        for (int round = 0; !connectionClosed(app); ++round) {
            if (round >= kDisconnectRounds || app.ending) {
                app.NNTP->cancel();
                break;
            }
            if (connectionOpen(app)) {
                if (!app.NNTP->quit()) app.NNTP->cancel();
            } else {
                app.NNTP->cancel();
            }
            // WaitTicks(1), but done as soon as the closed pair is there.
            app.TickCount = 0;
            while (app.TickCount <= 1 && !app.StopRequested && !app.ending &&
                   !connectionClosed(app))
                app.DoEvents();
        }
    }
    app.setStatus(3, QStringLiteral("Disconnected"));
    app.lstGroups.clear();
    app.lstMessages.clear();
    if (!app.Busy) {
        setConnectedForm(app, false);
        MessagesOnOff(app, false);
        GroupsOnOff(app, true);
        SetMenuItem(app, 6, true);
        HourGlass(app, false);
    }
}

void cmdStop(App& app) {
    app.StopRequested = true;
    SetMenuItem(app, 5, false);
    app.setStatus(1, QStringLiteral("Stopped"));
    if (app.BatchRun) app.LastError = -1;
    app.setProgressValue(0);
}

void menuConnect_Click(App& app) {
    app.StopRequested = false;
    if (app.menuConnectCaption == QLatin1String("&Disconnect"))
        cmdDisconnect(app);
    else if (app.menuConnectCaption == QLatin1String("&Connect to Server"))
        cmdConnect(app, true);
}

void NNTP_StateChanged(App& app) {
    if (connectionOpen(app)) {
        app.IsConnected = true;
        app.setStatus(3, QStringLiteral("Connected"));
    } else if (connectionClosed(app)) {
        app.IsConnected = false;
        app.setStatus(3, QStringLiteral("Disconnected"));
    }
}

void NNTP_Error(App& app, int code, const QString& description) {
    QString text = description;
    // An article the server lacks (asked for by its Message-ID) leaves the
    // connection as good as it was.
    if (code != 1014 && code != 430 && !app.Busy && !app.listingInChunks) {
        text = QStringLiteral("Server Error");
        cmdDisconnect(app);
    }
    app.setStatus(2, text);
    app.LastError = code;
    app.ErrorText = QStringLiteral("Error Connecting. (") + QString::number(code) + u')';
}

void NNTP_AuthenticateRequest(App& app, QString& user, QString& password) {
    user = app.UserID;
    password = app.Password;
}

void NNTP_AuthenticateResponse(App& app, bool accepted) {
    if (accepted) {
        app.setStatus(2, QStringLiteral(" Authenticated"));
        return;
    }
    if (app.LastError == 0 || app.LastError == 1014) {
        app.LastError = -1;
        app.ErrorText = QStringLiteral("Can't Authenticate");
        cmdDisconnect(app);
    }
    app.TickCount = app.Timeout + 1;
    app.setStatus(2, QStringLiteral("Not Authenticated"));
}

bool DisconnectFirst(App& app, bool warn) {
    const bool connected = app.NNTP->state() == QLatin1String("Connected");
    if (connected && warn)
        app.prompter->message(QStringLiteral("Please Disconnect First"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
    return connected;
}
