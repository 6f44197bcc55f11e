// The connection procedures against a scripted server: what INN won't do
// (cut blocks, silence, refused logins, errors, drops) and the exact texts
// and flags the user sees.
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/app.h"
#include "shell/waits.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// An App on a temporary directory. Tests of timeouts run its clock a
// hundred times faster than the wall: timeouts still count silence, they
// just come sooner.
struct NewsApp {
    QTemporaryDir dir;
    App app;
    ScriptedNntpServer server;

    explicit NewsApp(bool fastClock = false) {
        app.ExeDir = dir.path();
        app.AppPath = dir.path() + "/";
        app.DestDir = app.AppPath;
        app.SettingsFile = dir.filePath("settings.ini");
        QDir(dir.path()).mkdir("Cache");
        app.Timer1.setInterval(fastClock ? 10 : 1000);
        app.Timer1.start();
    }
    void listen() {
        ASSERT_TRUE(server.listen());
        app.CurrentServer = server.address();
    }
    void expectNoScriptErrors() const {
        EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
    }
};

const QByteArray kGreeting = "200 scripted server ready\r\n";
const QByteArray kReader = "200 reader mode, posting ok\r\n";

void scriptConnect(ScriptedNntpServer& s) {
    s.send(kGreeting).expect("MODE READER").send(kReader);
}

TEST(Connection, ConnectListsGroupsFromBlocksCutAnywhereAndWritesTheCache) {
    NewsApp t;
    scriptConnect(t.server);
    t.server.expect("LIST").sendBlocks({
        "215 list follows\r\nalt.binaries.pictures 0000000105 0000000100 y\r\nalt.te",
        "xt 0000000007 0000000007 y\r",
        "\ncomp.lang.c 12 3 m\r\n\r\n.",
        "\r\n",
    });
    t.listen();

    cmdConnect(t.app, true);

    t.expectNoScriptErrors();
    EXPECT_TRUE(t.app.IsConnected);
    EXPECT_EQ(t.app.statbar[3], "Connected");
    EXPECT_EQ(texts(t.app.lstGroups), (QStringList{mark(1) + "alt.binaries.pictures (5)",
                                                   "alt.text (0)", mark(1) + "comp.lang.c (9)"}));
    EXPECT_TRUE(t.app.GroupsDone);
    EXPECT_EQ(t.app.statbar[1], "Done Retreiving Group List");
    EXPECT_EQ(t.app.frame(Frame::Groups).title,
              "Available Groups : " + t.app.CurrentServer + " (3)");
    // The first line with articles was the first row.
    EXPECT_TRUE(t.app.GroupSeen);
    EXPECT_EQ(t.app.GroupsBeforeLive, 0);

    // The cache holds the list exactly, marks included.
    ListModel cached;
    ASSERT_TRUE(cached.load(groupCachePath(t.app)));
    EXPECT_EQ(texts(cached), texts(t.app.lstGroups));

    // A list in memory serves without the server (the script has no more steps).
    cmdGroup(t.app, true);
    EXPECT_EQ(t.app.lstGroups.count(), 3);
    EXPECT_EQ(t.server.received().count("LIST"), 1);
}

TEST(Connection, SilenceBeyondTwiceTheTimeoutKeepsTheRowsSoFar) {
    NewsApp t(true);
    t.app.Timeout = 3;
    scriptConnect(t.server);
    t.server.expect("LIST").send("215 list\r\nalt.one 2 1 y\r\nalt.two 3 1 y\r\nalt.thr").silence();
    t.listen();

    cmdConnect(t.app, true);

    EXPECT_EQ(t.app.LastError, -1);
    EXPECT_FALSE(t.app.GroupsDone);
    EXPECT_EQ(texts(t.app.lstGroups),
              (QStringList{mark(1) + "alt.one (1)", mark(1) + "alt.two (2)"}));
    EXPECT_EQ(t.app.ErrorText, "Timeout Getting Groups");
    EXPECT_FALSE(QFile::exists(groupCachePath(t.app))) << "nothing is saved after a timeout";
}

TEST(Connection, RefusedLoginSaysNotAuthenticatedThenUnableToConnect) {
    NewsApp t;
    t.app.UserID = "joe";
    t.app.Password = "wrong";
    t.server.send(kGreeting).expect("MODE READER").send("480 authentication required\r\n");
    t.server.expect("AUTHINFO USER joe").send("381 password please\r\n");
    t.server.expect("AUTHINFO PASS wrong").send("481 no\r\n").silence();
    t.listen();

    QStringList panel2;
    QObject::connect(&t.app, &App::statusChanged, [&](int p) {
        if (p == 2 && !t.app.statbar[2].isEmpty()) panel2 << t.app.statbar[2];
    });
    cmdConnect(t.app, true);

    t.expectNoScriptErrors();
    EXPECT_FALSE(t.app.IsConnected);
    EXPECT_EQ(t.app.ErrorText, "Can't Authenticate");
    ASSERT_GE(panel2.size(), 2);
    EXPECT_TRUE(panel2.contains("Not Authenticated"));
    EXPECT_EQ(panel2.last(), "Unable to Connect");
    EXPECT_EQ(t.app.statbar[1], "Click on CONNECT to connect to Server");
    EXPECT_EQ(t.app.statbar[3], "Disconnected");
    EXPECT_TRUE(connectionClosed(t.app));
    EXPECT_TRUE(t.app.menuEnabled[6]);
    EXPECT_FALSE(t.app.menuEnabled[5]);
}

TEST(Connection, TimeoutWhileConnectingAndNoServerConfigured) {
    NewsApp t(true);
    t.app.Timeout = 2;
    t.server.silence(); // accepts, never greets
    t.listen();
    cmdConnect(t.app, false);
    EXPECT_EQ(t.app.ErrorText, "Timeout Connecting");
    EXPECT_EQ(t.app.statbar[2], "Unable to Connect");
    EXPECT_TRUE(connectionClosed(t.app));

    t.app.CurrentServer.clear();
    bool setupShown = false;
    t.app.showSetup = [&] { setupShown = true; };
    cmdConnect(t.app, true);
    EXPECT_TRUE(setupShown);
    EXPECT_FALSE(t.app.hourGlass);
}

TEST(Connection, ErrorReplyOnAnOpenConnectionIsAServerErrorAndEmptiesBothLists) {
    NewsApp t;
    scriptConnect(t.server);
    t.server.expect("LIST").send("215 list\r\nalt.x 9 1 y\r\n.\r\n");
    t.server.expect("GROUP alt.missing").send("411 no such group\r\n").silence();
    t.listen();
    cmdConnect(t.app, true);
    ASSERT_EQ(t.app.lstGroups.count(), 1);

    t.app.CurrentGroup = "alt.missing";
    t.app.HeaderField = "Subject";
    EXPECT_EQ(cmdGetMessageHeaders(t.app, true), -1);

    EXPECT_EQ(t.app.LastError, 411);
    EXPECT_EQ(t.app.statbar[2], "Server Error");
    EXPECT_EQ(t.app.ErrorText, "Error Connecting. (411)");
    EXPECT_EQ(t.app.lstGroups.count(), 0);
    EXPECT_EQ(t.app.lstMessages.count(), 0);
    EXPECT_TRUE(connectionClosed(t.app));
}

TEST(Connection, DroppedInTheMiddleOfAListEndsTheWaitWithTheRowsSoFar) {
    NewsApp t;
    scriptConnect(t.server);
    t.server.expect("LIST").send("215 list\r\nalt.one 2 1 y\r\nalt.tw").drop();
    t.listen();
    cmdConnect(t.app, true);
    EXPECT_NE(t.app.LastError, 0);
    EXPECT_FALSE(t.app.GroupsDone);
    EXPECT_TRUE(connectionClosed(t.app));
    // The disconnect empties the list the drop interrupted.
    EXPECT_EQ(t.app.lstGroups.count(), 0);
    EXPECT_EQ(t.app.statbar[3], "Disconnected");
}

TEST(Connection, StopDuringTheConnectWaitTakesTheFailedPath) {
    NewsApp t;
    t.server.silence();
    t.listen();
    int passes = 0;
    auto pass = t.app.DoEvents;
    t.app.DoEvents = [&] {
        pass();
        if (++passes == 3) cmdStop(t.app);
    };
    cmdConnect(t.app, true);
    EXPECT_FALSE(t.app.IsConnected);
    EXPECT_EQ(t.app.statbar[1], "Click on CONNECT to connect to Server");
    EXPECT_EQ(t.app.statbar[2], "Unable to Connect");
    EXPECT_TRUE(connectionClosed(t.app));
}

TEST(Headers, RowsFromBlocksCutAnywhereSkipLinesWithoutNumbers) {
    NewsApp t;
    scriptConnect(t.server);
    t.server.expect("LIST").send("215 list\r\nalt.binaries.x 5 1 y\r\n.\r\n");
    t.server.expect("GROUP alt.binaries.x").send("211 5 1 5 alt.binaries.x\r\n");
    t.server.expect("XHDR Subject 1-5")
        .sendBlocks({"221 Subject follows\r\n1 first (1/2)\r\n2 ",
                     "\r\n3 FREE stuff\r\nnoblank\r\n0 zero\r\n5 last one\r\n.\r\n"});
    t.listen();
    cmdConnect(t.app, true);

    t.app.CurrentGroup = "alt.binaries.x";
    t.app.HeaderField = "Subject";
    EXPECT_EQ(cmdGetMessageHeaders(t.app, true), 0);
    t.expectNoScriptErrors();
    EXPECT_EQ(texts(t.app.lstMessages), (QStringList{"first (1/2)", "", "FREE stuff", "last one"}));
    EXPECT_EQ(t.app.lstMessages.tag(0), "1 Subject");
    EXPECT_EQ(t.app.lstMessages.number(3), 5);
    EXPECT_TRUE(t.app.lstMessages.selected(0));
    EXPECT_TRUE(t.app.frame(Frame::Messages).visible);
    EXPECT_FALSE(t.app.frame(Frame::Groups).visible);
    // The group row learnt the real count.
    EXPECT_EQ(t.app.lstGroups.text(0), mark(1) + "alt.binaries.x (4)");
}

TEST(Headers, JunkOnlyListingEndsSorryWithShowMNumbersRows) {
    NewsApp t;
    t.app.RemoveSpam = true;
    t.app.ShowMNumbers = true;
    scriptConnect(t.server);
    t.server.expect("LIST").send("215 list\r\nalt.y 5 1 y\r\n.\r\n");
    t.server.expect("GROUP alt.y").send("211 2 1 2 alt.y\r\n");
    t.server.expect("XHDR Subject 1-2")
        .send("221 ok\r\n1 Visit my SITE\r\n2 ~~ wow ~~\r\n.\r\n")
        .silence();
    t.listen();
    cmdConnect(t.app, true);
    t.app.CurrentGroup = "alt.y";
    t.app.HeaderField = "Subject";
    EXPECT_EQ(cmdGetMessageHeaders(t.app, true), -1);
    EXPECT_EQ(t.app.lstMessages.count(), 0);
    EXPECT_EQ(t.app.statbar[1], "Sorry, No Messages in This Group");
    EXPECT_FALSE(QFile::exists(messageListPath(t.app)));
}

} // namespace
