#include "post/post_engine.h"

#include "news/connection.h"
#include "news/group_list.h"
#include "post/news_client.h"
#include "shell/app.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QFile>
#include <QLocale>

namespace {

const QString kCrLf = QStringLiteral("\r\n");
const QString kVersion = QStringLiteral("2.5");

enum class Pass { Next, Leave };

void appendPostLog(const App& app, const QString& text) {
    QFile log(postLogPath(app));
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append)) return;
    log.write((QLocale::system().toString(app.Now(), QLocale::ShortFormat) + QStringLiteral(" - ") +
               text + kCrLf)
                  .toUtf8());
}

// Waits for the server's answer to the command just sent. An article in
// work is finished first, so a stop does not end this wait; silence does,
// and then the connection is given up.
bool awaitReply(App& app) {
    NewsClient& c = *app.NNTP2;
    app.TickCount = 0;
    while (c.busy() && app.LastError == 0 && app.TickCount < app.Timeout && !app.ending)
        app.DoEvents();
    if (c.busy()) {
        c.disconnectFromServer();
        if (app.LastError == 0) app.LastError = -1;
    }
    return app.LastError == 0;
}

bool sendPiece(App& app, const QString& text) {
    app.NNTP2->setSendLength(text.size());
    return app.NNTP2->sendText(text);
}

// Connects NNTP2 to CurrentServer unless it stands there already.
bool connectPoster(App& app, PostForm& form) {
    NewsClient& c = *app.NNTP2;
    if (c.serverName() != app.CurrentServer || !c.isConnected()) {
        if (c.isConnected()) c.disconnectFromServer();
        c.setBlocking(false);
        c.setServerName(app.CurrentServer);
        app.LastError = 0;
        app.TickCount = 0;
        app.PostConnected = false;
        app.setStatus(1, QStringLiteral("Connecting"));
        form.setStatus(QStringLiteral("Connecting"));
        c.connectToServer();
        form.setProgress(0, app.Timeout + 1, 0);
        while (!app.PostConnected && !app.StopRequested && app.LastError == 0 &&
               app.TickCount < app.Timeout && !app.ending) {
            form.setProgressValue(app.TickCount);
            app.DoEvents();
        }
    }
    if (c.isConnected() && app.LastError == 0) return true;
    // A connect still in work when the wait gave up is abandoned.
    if (!c.isConnected()) c.disconnectFromServer();
    return false;
}

void deselectServerRows(App& app, ListModel& list, bool letEventsRun) {
    for (int r = 0; r < list.count(); ++r) {
        if (list.text(r).contains(app.CurrentServer)) list.setSelected(r, false);
        if (letEventsRun) LetEventsRun(app);
    }
}

// Begin post, the header lines, the message, end post. False when any step
// failed; answered tells whether the whole article went out and its answer
// was awaited.
bool sendArticle(App& app, PostForm& form, bool& answered) {
    NewsClient& c = *app.NNTP2;
    answered = false;
    app.setStatus(1, QStringLiteral("Attempting to Post"));
    app.setStatus(2, app.CurrentGroup);
    form.setStatus(QStringLiteral("Attempting to Post"));
    if (!c.beginPost() || !awaitReply(app)) return false;

    const QString headers[] = {
        QStringLiteral("From: ") + form.txtEmail().trimmed() + kCrLf,
        QStringLiteral("Newsgroups: ") + app.CurrentGroup.trimmed() + kCrLf,
        QStringLiteral("Date: ") + c.currentDate() + kCrLf,
        QStringLiteral("Subject: ") + form.txtSubject().trimmed() + kCrLf,
        QStringLiteral("Organization: Corvanet - Zanderfell! ") + kVersion + kCrLf,
        kCrLf,
    };
    for (const QString& h : headers)
        if (!sendPiece(app, h) || app.LastError != 0) return false;

    const bool sent = sendPiece(app, form.txtMessage());
    app.setStatus(1, QStringLiteral("Sending Message"));
    form.setStatus(QStringLiteral("Sending Message"));
    const bool ended = c.endPost();
    if (!sent || !ended) return false;
    answered = true;
    return awaitReply(app);
}

Pass postRow(App& app, PostForm& form, ListModel& list, int mode, int i) {
    if (mode != 2 && !list.selected(i)) return Pass::Next;
    if (app.StopRequested || app.ending) return Pass::Leave;
    if (mode != 2) {
        const QString row = list.text(i).trimmed();
        if (mode == 1) {
            const qsizetype blank = row.indexOf(u' ');
            QString group = blank < 0 ? row : row.left(blank);
            app.CurrentGroup = cleanNewsGroup(group);
            app.CurrentServer = GetServerName(row);
        } else {
            QString group = row;
            app.CurrentGroup = cleanNewsGroup(group);
        }
    }
    if (!connectPoster(app, form)) {
        // The error event has shown what went wrong; no log line.
        deselectServerRows(app, list, false);
        return Pass::Next;
    }

    bool answered = false;
    const bool posted = sendArticle(app, form, answered);
    if (answered && mode != 2) list.setSelected(i, false);
    if (posted && app.LastError == 0) {
        app.setStatus(1, QStringLiteral("Posted Message"));
        form.setStatus(QStringLiteral("Posted:") + app.CurrentServer + QStringLiteral(" (") +
                       app.CurrentGroup + u')');
        appendPostLog(app, QStringLiteral("Posted:") + app.CurrentServer + QStringLiteral(" (") +
                               app.CurrentGroup + QStringLiteral(") ") + form.txtSubject());
        return Pass::Next;
    }
    app.setStatus(2, QStringLiteral("Unable to Post"));
    form.setStatus(QStringLiteral("Could not post to ") + app.CurrentServer);
    appendPostLog(app, QStringLiteral("Unable to Post to ") + app.CurrentServer + u' ' +
                           form.txtSubject());
    if (mode == 1)
        deselectServerRows(app, list, true);
    else if (mode == 0)
        list.clearSelection();
    return Pass::Next;
}

} // namespace

QString postLogPath(const App& app) {
    return app.AppPath + QStringLiteral("POST.LOG");
}

void cmdPostMessage(App& app, PostForm& form, int mode) {
    app.StopRequested = false;
    ListModel& list = mode == 1 ? app.lstFavorites : app.lstGroups;
    list.setEnabled(false);
    // Mode 2 leaves after its first pass whatever the list holds.
    const int last = mode == 2 ? 1 : list.count() - 1;
    form.setTxtMessage(form.txtMessage() + kCrLf + form.txtSig());
    form.disableForRun();
    form.setProgress(0, last + 1, 0);

    for (int i = 0; i <= last; ++i) {
        app.LastError = 0;
        if (postRow(app, form, list, mode, i) == Pass::Next) {
            app.setStatus(1, QStringLiteral("Please Wait"));
            form.setProgressValue(i);
        }
        if (mode == 2 || app.StopRequested || app.ending) break;
    }

    list.setEnabled(true);
    app.setStatus(1, QStringLiteral("Finished Posting"));
    app.setStatus(2, QString());
    form.setProgressValue(0);
    // No second run from the same dialog: OK stays off.
    form.setCancelCaption(QStringLiteral("&Close"));
}

bool CheckWindows(App& app, int postMode) {
    switch (postMode) {
    case 0:
        return HasSelection(app, app.lstGroups, true);
    case 1:
        return HasSelection(app, app.lstFavorites, true) && !DisconnectFirst(app, true);
    case 2:
        if (app.lstMessages.visible() && app.lstMessages.enabled()) return true;
        app.prompter->message(QStringLiteral("Must Be in Message Listing to Use This Function"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
        return false;
    default:
        return false;
    }
}
