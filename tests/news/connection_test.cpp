// The connection procedures against a scripted server: what INN won't do
// (cut blocks, silence, refused logins, errors, drops) and what the user sees.
#include "attachments/article_receiver.h"
#include "attachments/decoder.h"
#include "attachments/download.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/app.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

namespace {

// Tests of timeouts run the clock a hundred times faster than the wall.
struct NewsApp : TestApp {
    ScriptedNntpServer server;

    // Passes of the event queue, and those a disconnect made between its
    // start and the closed pair (-1 before the first disconnect).
    int waitPasses = 0;
    int disconnectPasses = -1;
    // Whether Stop was on in every pass of the wait for a transfer.
    bool stopOnInTransfers = true;
    QStringList panel2; // what status panel 2 said, blanks left out

    explicit NewsApp(bool fastClock = false) {
        load();
        app.Timer1.start(fastClock ? 10 : 1000);
        EXPECT_TRUE(server.listen());
        app.CurrentServer = server.address();
        app.DoEvents = [this, pass = app.DoEvents] {
            ++waitPasses;
            const bool inTransfer = app.statbar[1] == "Waiting for Group List" ||
                                    app.statbar[1] == "Retreiving Message Headers";
            if (inTransfer && !app.menuEnabled[5]) stopOnInTransfers = false;
            pass();
        };
        QObject::connect(&app, &App::statusChanged, [this](int panel) {
            if (panel == 1 && app.statbar[1] == "Disconnecting") disconnectStart_ = waitPasses;
            if (panel == 2 && !app.statbar[2].isEmpty()) panel2 << app.statbar[2];
        });
        QObject::connect(app.NNTP.get(), &NntpControl::stateChanged, [this] {
            if (disconnectStart_ >= 0 && connectionClosed(app)) {
                disconnectPasses = waitPasses - disconnectStart_;
                disconnectStart_ = -1;
            }
        });
    }
    void greet(const QByteArray& modeReply = "200 reader mode\r\n") {
        server.send("200 scripted server ready\r\n").expect("MODE READER").send(modeReply);
    }
    void greetAndList(const QList<QByteArray>& blocks) {
        greet();
        server.expect("LIST").sendBlocks(blocks);
    }
    void expectNoScriptErrors() const {
        EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
    }
    // A list of one group, then its select, for the test to script the reply.
    ScriptedNntpServer& listOneGroup(const QByteArray& group, const QByteArray& lastFirst) {
        greetAndList({"215 list\r\n" + group + " " + lastFirst + " y\r\n.\r\n"});
        return server.expect("GROUP " + group);
    }
    int headersOf(const QString& group) {
        cmdConnect(app, true);
        EXPECT_EQ(app.lstGroups.count(), 1);
        app.CurrentGroup = group;
        app.HeaderField = "Subject";
        return cmdGetMessageHeaders(app, true);
    }

private:
    int disconnectStart_ = -1;
};

TEST(Connection, ConnectListsGroupsFromBlocksCutAnywhereAndWritesTheCache) {
    NewsApp t;
    t.greetAndList({
        "215 list follows\r\nalt.binaries.pictures 0000000105 0000000100 y\r\nalt.te",
        "xt 0000000007 0000000007 y\r",
        "\ncomp.lang.c 12 3 m\r\nalt.odd 3 9 y\r\n\r\n"
        "alt.wide 9223372036854775807 99999999999999999999 y\r\n"
        "alt.caf\xC3\xA9 12 3 y\r\nalt.bad\xFF 5 1 y\r\nalt.\xE6\x97\xA5 1 1 y\r\n.",
        "\r\n",
    });

    cmdConnect(t.app, true);

    t.expectNoScriptErrors();
    EXPECT_EQ(texts(t.app.lstGroups),
              (QStringList{mark(1) + "alt.binaries.pictures (5)", "alt.text (0)",
                           mark(1) + "comp.lang.c (9)", "alt.odd (0)", "alt.wide (0)",
                           mark(1) + QString::fromUtf8("alt.café (9)"),
                           mark(1) + QString::fromUtf8("alt.bad\xEF\xBF\xBD (4)"),
                           QString::fromUtf8("alt.日 (0)")}));

    // The cache: UTF-8, the mark as its two bytes, one group a line.
    QFile file(groupCachePath(t.app));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "\xC3\xBF"
                              "1alt.binaries.pictures (5)\nalt.text (0)\n"
                              "\xC3\xBF"
                              "1comp.lang.c (9)\nalt.odd (0)\nalt.wide (0)\n"
                              "\xC3\xBF"
                              "1alt.caf\xC3\xA9 (9)\n"
                              "\xC3\xBF"
                              "1alt.bad\xEF\xBF\xBD (4)\nalt.\xE6\x97\xA5 (0)\n");

    // A list in memory serves without the server (the script has no more steps).
    cmdGroup(t.app, true);
    EXPECT_EQ(t.app.lstGroups.count(), 8);
    EXPECT_EQ(t.server.received().count("LIST"), 1);
}

// A list that stops inside a line. Silence past the timeout keeps the rows
// so far and gives the request up with its connection, so that nothing is
// left busy; a drop is a server error, whose disconnect empties the list.
// Stop stays on while the list comes.
TEST(Connection, ListCutShortBySilenceOrADrop) {
    for (bool drop : {false, true}) {
        SCOPED_TRACE(drop ? "drop" : "silence");
        NewsApp t(!drop);
        t.app.Timeout = 3;
        t.greetAndList({"215 list\r\nalt.one 2 1 y\r\nalt.two 3 1 y\r\nalt.thr"});
        drop ? t.server.drop() : t.server.silence();

        cmdConnect(t.app, true);

        EXPECT_EQ(t.app.LastError, drop ? 1006 : -1);
        EXPECT_FALSE(QFile::exists(groupCachePath(t.app))) << "an unfinished list is not saved";
        EXPECT_EQ(t.app.ErrorText, drop ? "Error Connecting. (1006)" : "Timeout Getting Groups");
        const QStringList rowsSoFar{mark(1) + "alt.one (1)", mark(1) + "alt.two (2)"};
        EXPECT_EQ(texts(t.app.lstGroups), drop ? QStringList() : rowsSoFar);
        EXPECT_TRUE(connectionClosed(t.app));
        EXPECT_FALSE(t.app.NNTP->busy());
        EXPECT_TRUE(t.stopOnInTransfers);
        EXPECT_FALSE(t.app.menuEnabled[5]) << "off again after the list";
    }
}

// A refused login, a server that never greets until the timeout or the Stop
// button, and one that greets with garbage or with a line that never ends:
// all take the same failed path.
TEST(Connection, FailedConnectsEndUnableToConnect) {
    enum Case { Login, Timeout, Stop, Garbage, Endless };
    for (Case c : {Login, Timeout, Stop, Garbage, Endless}) {
        SCOPED_TRACE(c);
        NewsApp t(c == Timeout);
        t.app.Timeout = 2;
        if (c == Login) { // no user or password set: both still go out, empty
            t.greet("480 authentication required\r\n");
            t.server.expect("AUTHINFO USER ").send("381 password please\r\n");
            t.server.expect("AUTHINFO PASS ").send("481 no\r\n");
        }
        if (c == Garbage) t.server.send("hello there\r\n");
        if (c == Endless) t.server.sendBlocks(QList<QByteArray>(3, QByteArray(40000, '2')));
        t.server.silence();
        int passes = 0;
        auto pass = t.app.DoEvents;
        t.app.DoEvents = [&] {
            pass();
            if (++passes == 3 && c == Stop) cmdStop(t.app);
        };

        cmdConnect(t.app, true);

        t.expectNoScriptErrors();
        EXPECT_FALSE(t.app.IsConnected);
        EXPECT_EQ(t.app.ErrorText, c == Login     ? "Can't Authenticate"
                                   : c >= Garbage ? "Error Connecting. (1010)"
                                                  : "Timeout Connecting");
        EXPECT_EQ(t.panel2.contains("Not Authenticated"), c == Login);
        EXPECT_EQ(t.panel2.value(t.panel2.size() - 1), "Unable to Connect");
        EXPECT_TRUE(connectionClosed(t.app));
        EXPECT_FALSE(t.app.menuEnabled[5]);
        EXPECT_TRUE(c != Stop || passes == 3) << "the wait ends at the stop, not " << passes;
    }
}

// A server that ends its lines with LF alone is read like any other. A line
// past the limit fails the list with its reason and drops the connection.
// Neither leaves a cache that lacks what the server has.
TEST(Connection, ListFromAServerOfBareLineFeedsOrWithAnEndlessLineOrEndlessGroups) {
    for (int c : {0, 1, 2}) {
        const bool lfOnly = c == 0;
        SCOPED_TRACE(lfOnly ? "LF alone" : c == 1 ? "endless line" : "endless groups");
        NewsApp t(true);
        t.app.MaxGroupRows = 2;
        ListModel cached;
        cached.addItem("alt.cached (0)");
        ASSERT_TRUE(cached.save(groupCachePath(t.app)));
        if (lfOnly) {
            t.server.send("200 ready\n").expect("MODE READER").send("200 reader\n");
            t.server.expect("LIST").sendBlocks({"215 list\nalt.a 5 1 y\n", "alt.b 2 2 y\n.", "\n"});
        } else if (c == 1) {
            const QByteArray third(400 * 1024, 'x');
            t.greetAndList({"215 list\r\nalt.a 5 1 y\r\nalt.", third, third, third});
            t.server.silence();
        } else {
            t.greetAndList({"215 list\r\nalt.a 5 1 y\r\nalt.b 2 2 y\r\n", "alt.c 3 1 y\r\n"});
            t.server.silence();
        }

        cmdConnect(t.app, false);
        ASSERT_TRUE(t.app.IsConnected);
        cmdGroup(t.app, false);

        t.expectNoScriptErrors();
        ASSERT_TRUE(cached.load(groupCachePath(t.app)));
        if (lfOnly) {
            const QStringList rows{mark(1) + "alt.a (4)", "alt.b (0)"};
            EXPECT_EQ(texts(t.app.lstGroups), rows);
            EXPECT_EQ(texts(cached), rows);
            EXPECT_TRUE(connectionOpen(t.app));
        } else {
            EXPECT_EQ(t.app.LastError, 1010);
            EXPECT_EQ(t.app.statbar[2],
                      c == 1 ? "Server Error: Line Too Long" : "Server Error: Too Many Groups");
            EXPECT_EQ(t.app.lstGroups.count(), 0);
            EXPECT_EQ(texts(cached), QStringList{"alt.cached (0)"});
            EXPECT_TRUE(connectionClosed(t.app));
            EXPECT_TRUE(t.app.LineBuffer.isEmpty());
        }
    }
}

TEST(Connection, NoServerConfiguredOpensTheSetup) {
    NewsApp t;
    t.app.CurrentServer.clear();
    bool setupShown = false;
    t.app.showSetup = [&] { setupShown = true; };
    cmdConnect(t.app, true);
    EXPECT_TRUE(setupShown);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Please Configure Zanderfell!"});
    EXPECT_FALSE(t.app.hourGlass);
}

// Subjects from blocks cut anywhere; then a group the server lacks, whose
// error reply is a server error: the disconnect empties both lists. It closes
// at once from inside the error event, where no reply to a QUIT could be
// read, and so does the disconnect of a login refused in mid-session.
TEST(Headers, RowsFromBlocksCutAnywhereThenAnErrorReplyOrARefusedLoginDisconnectAtOnce) {
    NewsApp t;
    t.listOneGroup("alt.binaries.x", "5 1")
        .send("211 5 3000000119 3000000123 alt.binaries.x\r\n")
        .expect("XHDR Subject 3000000119-3000000123")
        .sendBlocks({"221 Subject follows\r\n3000000119 first (1/2)\r\n3000000120 ",
                     "\r\n3000000121 FREE stuff\r\nnoblank\r\n0 zero\r\n3000000122 past 2^31\r\n"
                     "99999999999999999999 past 2^63\r\n3000000123 last one\r\n.\r\n"});
    t.server.expect("GROUP alt.missing").send("411 no such group\r\n").drop();
    t.greet();
    t.server.expect("GROUP alt.locked").send("480 login first\r\n");
    t.server.expect("AUTHINFO USER ").send("481 no\r\n").silence();
    EXPECT_EQ(t.headersOf("alt.binaries.x"), 0);
    // An article number past 2^31 is kept whole; one past 2^63 names no
    // article, and its line is dropped rather than given another's number.
    EXPECT_EQ(texts(t.app.lstMessages),
              (QStringList{"first (1/2)", "", "FREE stuff", "past 2^31", "last one"}));
    EXPECT_EQ(t.app.lstMessages.number(3), 3000000122);
    EXPECT_EQ(t.app.lstMessages.tag(0), "3000000119 Subject");
    // The group row learnt the real count.
    EXPECT_EQ(t.app.lstGroups.text(0), mark(1) + "alt.binaries.x (5)");

    t.app.CurrentGroup = "alt.missing";
    t.disconnectPasses = -1;
    EXPECT_EQ(cmdGetMessageHeaders(t.app, true), -1);
    EXPECT_EQ(t.app.LastError, 411);
    EXPECT_EQ(t.app.lstGroups.count(), 0);
    EXPECT_EQ(t.app.lstMessages.count(), 0);
    EXPECT_TRUE(connectionClosed(t.app));
    EXPECT_EQ(t.disconnectPasses, 0);
    ASSERT_TRUE(ScriptedNntpServer::pumpUntil([&] { return !t.server.clientConnected(); }));

    t.app.CurrentGroup = "alt.locked";
    t.disconnectPasses = -1;
    EXPECT_EQ(cmdGetMessageHeaders(t.app, true), -1);
    t.expectNoScriptErrors();
    EXPECT_EQ(t.app.ErrorText, "Can't Authenticate");
    EXPECT_TRUE(connectionClosed(t.app));
    EXPECT_EQ(t.disconnectPasses, 0);
}

// A header listing that falls silent past twice the timeout, or is stopped,
// keeps its rows so far and gives the request up with its connection; the
// next command connects afresh. 420 for the range is an empty group, and so
// is a group reply whose numbers make no range of articles (negative, past
// 2^63, last below first, no numbers at all): nothing is asked for it.
TEST(Headers, SilenceOrStopGiveTheListingUpAnd420OrAbsurdCountsAreAnEmptyGroup) {
    enum Case { Silence, Stop, Empty, Negative, Huge, Backwards, NoNumbers };
    const QByteArray absurd[] = {"211 -3 -5 -1 alt.x",
                                 "211 9223372036854775808 1 99999999999999999999",
                                 "211 2 10 3 alt.x", "211 many"};
    for (Case c : {Silence, Stop, Empty, Negative, Huge, Backwards, NoNumbers}) {
        SCOPED_TRACE(c);
        const bool empty = c >= Empty;
        NewsApp t(true);
        ScriptedNntpServer& s = t.listOneGroup("alt.x", "5 1");
        if (c > Empty)
            s.send(absurd[c - Negative] + "\r\n");
        else
            s.send("211 5 1 5 alt.x\r\n").expect("XHDR Subject 1-5");
        if (empty)
            (c == Empty ? s.send("420 no current article\r\n") : s)
                .expect("LIST")
                .send("215 list\r\n.\r\n");
        else
            s.send("221 ok\r\n1 first\r\n2 sec").silence();
        // A wait that never gives up is stopped here, far beyond its limit.
        bool hung = false;
        t.app.DoEvents = [&, pass = t.app.DoEvents] {
            pass();
            if (c == Stop && t.app.lstMessages.count() == 1 && !t.app.StopRequested) cmdStop(t.app);
            if (t.waitPasses > 1000 && !t.app.StopRequested) {
                hung = true;
                cmdStop(t.app);
            }
        };

        EXPECT_EQ(t.headersOf("alt.x"), -1);

        EXPECT_FALSE(hung);
        EXPECT_TRUE(t.stopOnInTransfers);
        EXPECT_FALSE(t.app.NNTP->busy());
        EXPECT_EQ(connectionClosed(t.app), !empty);
        EXPECT_EQ(t.app.LastError, c == Silence ? -1 : 0);
        EXPECT_EQ(texts(t.app.lstMessages), empty ? QStringList() : QStringList{"first"});
        EXPECT_EQ(t.app.statbar[1],
                  empty ? "Sorry, No Messages in This Group" : "Done Retreiving Message Headers");
        if (empty) { // the connection goes on
            cmdGroup(t.app, false);
            EXPECT_EQ(t.app.statbar[1], "Done Retreiving Group List");
        }
        t.expectNoScriptErrors();
    }
}

// The range is asked in chunks of HeaderChunk articles. A chunk refused is
// asked again on the same connection; one left unanswered, again on a new
// connection with the group selected anew, its rows so far taken back. A
// chunk refused twice ends the listing: the reason on the status line, the
// rows of the chunks before kept, the connection open.
TEST(Headers, ChunksAreAskedInTurnAndAFailedChunkOnceMore) {
    for (const bool refusedTwice : {false, true}) {
        SCOPED_TRACE(refusedTwice ? "refused twice" : "retried");
        NewsApp t(true);
        t.app.HeaderChunk = 2;
        ScriptedNntpServer& s = t.listOneGroup("alt.x", "5 1").send("211 5 1 5 alt.x\r\n");
        // Lines outside the range asked for are not listed: a server that
        // answers every chunk with its whole group must not multiply rows.
        // More lines than the chunk has articles: given up and asked again.
        if (!refusedTwice) {
            s.expect("XHDR Subject 1-2").send("221 ok\r\n1 a\r\n2 b\r\n2 b\r\n");
            t.greet();
            s.expect("GROUP alt.x").send("211 5 1 5 alt.x\r\n");
        }
        s.expect("XHDR Subject 1-2").send("221 ok\r\n1 a\r\n2 b\r\n3 c\r\n4 x\r\n.\r\n");
        s.expect("XHDR Subject 3-4").send("403 internal fault\r\n");
        s.expect("XHDR Subject 3-4");
        if (refusedTwice) {
            s.send("403 internal fault\r\n");
        } else {
            s.send("221 ok\r\n3 c\r\n4 d\r\n.\r\n");
            s.expect("XHDR Subject 5-5").send("221 ok\r\n5 partial\r\n").stall();
            t.greet();
            s.expect("GROUP alt.x").send("211 5 1 5 alt.x\r\n");
            s.expect("XHDR Subject 5-5").send("221 ok\r\n5 e\r\n.\r\n");
        }

        EXPECT_EQ(t.headersOf("alt.x"), refusedTwice ? -1 : 0);

        t.expectNoScriptErrors();
        EXPECT_TRUE(t.server.scriptDone());
        EXPECT_TRUE(connectionOpen(t.app));
        EXPECT_EQ(t.server.connectionCount(), refusedTwice ? 1 : 3);
        const QStringList rows =
            refusedTwice ? QStringList{"a", "b"} : QStringList{"a", "b", "c", "d", "e"};
        EXPECT_EQ(texts(t.app.lstMessages), rows);
        EXPECT_EQ(t.app.lstGroups.count(), 1);
        if (refusedTwice) {
            EXPECT_EQ(t.app.statbar[2], "Headers 3-4 Not Received: 403 internal fault");
            EXPECT_NE(t.app.LastError, 0);
        } else {
            EXPECT_EQ(t.app.lstMessages.number(4), 5);
            EXPECT_EQ(t.app.LastError, 0);
        }
    }
}

// Junk is judged the same with ShowMNumbers on.
TEST(Headers, JunkOnlyListingEndsSorryAndSavesNothing) {
    NewsApp t;
    t.app.RemoveSpam = t.app.ShowMNumbers = true;
    t.listOneGroup("alt.y", "5 1")
        .send("211 2 1 2 alt.y\r\n")
        .expect("XHDR Subject 1-2")
        .send("221 ok\r\n1 Visit my SITE\r\n2 ~~ wow ~~\r\n.\r\n")
        .silence();
    EXPECT_EQ(t.headersOf("alt.y"), -1);
    EXPECT_EQ(t.app.lstMessages.count(), 0);
    EXPECT_EQ(t.app.statbar[1], "Sorry, No Messages in This Group");
    EXPECT_FALSE(QFile::exists(messageListPath(t.app)));
}

// An article from a server that drops the connection in the middle of it,
// answers with garbage or sends an article that never ends: the download
// gives the post up with the connection, says why, and leaves neither a file
// nor a listed row. A server that drips the article a byte at a time to the
// viewer, outside a download, is given up at Stop.
// Each fault meets the first part of a post, which is gathered whole, and
// the second of two, which goes to the decoder block by block as it comes.
TEST(Article, HostileServersGiveThePostUpAndLeaveNothingBehind) {
    enum Case { Drop, Garbage, Endless, Drip };
    const char* const names[] = {"drop", "garbage", "endless", "drip"};
    for (const bool secondPart : {false, true})
        for (Case c : {Drop, Garbage, Endless, Drip}) {
            SCOPED_TRACE(std::string(names[c]) + (secondPart ? ", second part" : ", first part"));
            NewsApp t(c != Drip);
            t.app.Timeout = c == Drip ? 3 : 300;
            t.app.DestDir = t.path("download/");
            ASSERT_TRUE(QDir().mkpath(t.app.DestDir));
            const QByteArray line = "M" + QByteArray(60, 'A') + "\r\n";
            ScriptedNntpServer& s =
                secondPart ? t.listOneGroup("alt.x", "2 1")
                                 .send("211 2 1 2 alt.x\r\n")
                                 .expect("XHDR Subject 1-2")
                                 .send("221 ok\r\n1 a.bin (1/2)\r\n2 a.bin (2/2)\r\n.\r\n")
                                 .expect("ARTICLE 1")
                                 .send("220 1 <a@b>\r\n\r\nbegin 644 a.bin\r\n" +
                                       line.repeated(20) + ".\r\n")
                                 .expect("ARTICLE 2")
                           : t.listOneGroup("alt.x", "1 1")
                                 .send("211 1 1 1 alt.x\r\n")
                                 .expect("XHDR Subject 1-1")
                                 .send("221 ok\r\n1 a.bin\r\n.\r\n")
                                 .expect("ARTICLE 1");
            const QByteArray head =
                secondPart ? QByteArray("220 2 <c@d>\r\n\r\n")
                           : "220 1 <a@b>\r\nSubject: a.bin\r\n\r\nbegin 644 a.bin\r\n";
            if (c == Drop) {
                s.send(head + line.repeated(20)).drop();
            } else if (c == Garbage) {
                s.send("hello, what would you like?\r\n");
            } else if (c == Endless) {
                s.send(head);
                const QByteArray block = line.repeated(1 << 14); // 1 MiB
                for (qsizetype sent = 0; sent <= kMaxArticleBytes; sent += block.size())
                    s.send(block);
            } else {
                s.send(head);
                for (char byte : line.repeated(3))
                    s.send(QByteArray(1, byte));
            }
            t.server.silence();
            t.app.DoEvents = [&, pass = t.app.DoEvents] {
                pass();
                const qint64 got = secondPart ? t.app.articleBytes : t.app.MessageText.size();
                if (c == Drip && got > head.size() + 3 && !t.app.StopRequested) cmdStop(t.app);
            };
            ASSERT_EQ(t.headersOf("alt.x"), 0);

            if (c == Drip && !secondPart) {
                t.app.HeaderField = "SubjectDL";
                qint64 number = 1;
                cmdDownloadMessage(t.app, number);
                EXPECT_FALSE(t.server.scriptDone()) << "the drip was still going";
                EXPECT_FALSE(t.app.MessageDone);
            } else {
                qint32 row = 0;
                cmdDownload(t.app, row);
                const QString why = c == Endless ? "Server Error: Article Too Large"
                                                 : "Timeout/Error Getting Message";
                if (c != Drip)
                    EXPECT_EQ(t.panel2.value(t.panel2.size() - 1), why)
                        << t.panel2.join('|').toStdString();
                else
                    EXPECT_FALSE(t.server.scriptDone()) << "the drip was still going";
            }
            t.expectNoScriptErrors();
            EXPECT_TRUE(connectionClosed(t.app));
            EXPECT_FALSE(t.app.NNTP->busy());
            EXPECT_TRUE(t.app.MessageText.isEmpty() || c != Endless);
            EXPECT_FALSE(t.app.menuEnabled[5]) << "Stop is off again";
            EXPECT_EQ(t.app.lstFiles.count(), 0);
            EXPECT_FALSE(t.app.MDEC->feedRunning());
            EXPECT_EQ(QDir(t.app.DestDir).entryList(QDir::Files | QDir::Hidden), QStringList());
        }
}

} // namespace
