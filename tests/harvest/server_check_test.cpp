// The check of selected servers and the scans across servers: a refused
// port, a silent server, a dripping one, scripted servers with exact group
// lists, and INN.
#include "fixtures/inn_app_test.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "harvest/server_check.h"
#include "harvest/server_scans.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "program/startup.h"
#include "setup/server_list.h"
#include "shell/temp_files.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTcpServer>

namespace {

// A scripted server that greets, lists groups and, when one has articles,
// serves its subjects; each connection ends with QUIT.
void scriptGoodServer(ScriptedNntpServer& s, const QByteArray& groups, bool readable,
                      const QByteArray& greeting = "200 posting ok\r\n") {
    s.send(greeting).expect("MODE READER").send(greeting);
    s.expect("LIST").send("215 list follows\r\n" + groups + ".\r\n");
    if (readable)
        s.expect("GROUP a.one")
            .send("211 3 1 3 a.one\r\n")
            .expect("XHDR Subject 1-3")
            .send("221 Subject\r\n1 a\r\n2 b\r\n3 c\r\n.\r\n");
    s.expect("QUIT").send("205 bye\r\n");
}

const QByteArray kThreeGroups = "a.one 3 1 y\r\na.two 0 1 y\r\na.three 0 1 y\r\n";

class ServerCheck : public InnAppTest {
protected:
    void SetUp() override {
        InnAppTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        app.FavoritesFile = t.path("favourites.fav");
        app.Timeout = 2;
        t.writeFile("favourites.fav", "alt.kept (news.example)\n");
    }
    // The server list as rows, the given ones selected. A bare address is
    // written in the form of a new row, as an import writes it.
    void servers(const QStringList& rows, const QList<int>& selected) {
        app.txtNNTPServ.clear();
        for (const QString& r : rows)
            app.txtNNTPServ.addItem(r.contains(' ') ? r : "????? ???    " + r);
        for (int i : selected)
            app.txtNNTPServ.setSelected(i, true);
        SaveServerList(app);
    }
    QStringList logLines() const {
        QStringList lines = QString::fromUtf8(t.readFile("CHECK.LOG")).split("\r\n");
        lines.removeAll(QString());
        return lines;
    }
    static quint16 closedPort() {
        QTcpServer s;
        s.listen(QHostAddress::LocalHost, 0);
        return s.serverPort(); // closed again when s goes
    }
    QString check() {
        QString mode;
        cmdCheckAll(app, mode);
        return mode;
    }
};

// A refused port and a silent server fail and go; the good one after them is
// still reached and stays with its Status row. Unselected rows keep their place.
TEST_F(ServerCheck, FailingServersGoAndTheLoopReachesTheGoodOne) {
    ScriptedNntpServer silent;
    ASSERT_TRUE(silent.listen());
    silent.silence();
    auto good = InnServer::startPrivate();
    ASSERT_TRUE(good && good->available());
    ASSERT_TRUE(good->newGroup("alt.zf.check") && good->post("alt.zf.check", "a", "b\r\n") &&
                good->post("alt.zf.check", "c", "d\r\n"));
    const QString refused = QStringLiteral("127.0.0.1:%1").arg(closedPort());
    servers({"00003     keep.one.example", refused, "keep.two.example", silent.address(),
             "????? ???    " + good->address()},
            {1, 3, 4});
    check();
    const QStringList rows = texts(app.txtNNTPServ);
    ASSERT_EQ(rows.size(), 3) << rows.join('|').toStdString();
    EXPECT_EQ(rows[0], "00003     keep.one.example");
    EXPECT_EQ(rows[1], "????? ???    keep.two.example");
    EXPECT_TRUE(rows[2].endsWith("  OK    " + good->address()) &&
                rows[2].contains(QRegularExpression("^\\d{5}")))
        << rows[2].toStdString();
    const QStringList log = logLines();
    ASSERT_EQ(log.size(), 3) << log.join('|').toStdString();
    EXPECT_TRUE(log[0].startsWith(refused + "\t") &&
                log[0].contains("\t REMOVED:Error Connecting"));
    EXPECT_TRUE(log[1].startsWith(silent.address() + "\t") &&
                log[1].endsWith(" REMOVED:Timeout Connecting"));
    EXPECT_TRUE(log[2].startsWith(good->address() + " , ") && log[2].endsWith(" 0"))
        << log[2].toStdString();
    EXPECT_TRUE(t.readFile("NNTP_NET.INI").contains("keep.two.example"));
    EXPECT_EQ(texts(app.lstFavorites), QStringList{"alt.kept (news.example)"});
    EXPECT_EQ(app.lstHTTP.count(), 0);
    EXPECT_FALSE(app.Busy || app.IsConnected);
}

// The order of the tests: group count against MinGroups, then a group with
// articles that can be read.
TEST_F(ServerCheck, MinGroupsAndAReadableGroupDecide) {
    const struct {
        int minGroups;
        bool readable;
        QByteArray groups;
        QString reason; // empty: passes
    } cases[] = {{3, true, kThreeGroups, {}},
                 {4, false, kThreeGroups, "Not Enough Groups"},
                 {0, false, "a.two 0 1 y\r\n", "No Readable Messages"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.minGroups);
        ScriptedNntpServer s;
        ASSERT_TRUE(s.listen());
        scriptGoodServer(s, c.groups, c.readable);
        QFile::remove(t.path("CHECK.LOG"));
        servers({s.address()}, {0});
        app.MinGroups = c.minGroups;
        check();
        const QStringList log = logLines();
        ASSERT_EQ(log.size(), 1);
        if (c.reason.isEmpty()) {
            EXPECT_EQ(log[0], s.address() + " , 3 Groups (Posting OK) 0");
            EXPECT_EQ(texts(app.txtNNTPServ), QStringList{"00003  OK    " + s.address()});
        } else {
            EXPECT_TRUE(log[0].endsWith(" REMOVED:" + c.reason)) << log[0].toStdString();
            EXPECT_EQ(app.txtNNTPServ.count(), 0);
        }
        EXPECT_TRUE(s.errors().isEmpty()) << s.errors().join('\n').toStdString();
    }
}

// A stop while a connection is being made throws nothing out; a server that
// drips bytes for ever is given up within its time and goes with its reason.
TEST_F(ServerCheck, AStopRemovesNothingAndADripIsGivenUp) {
    ScriptedNntpServer silent;
    ASSERT_TRUE(silent.listen());
    silent.silence();
    servers({silent.address()}, {0});
    QMetaObject::Connection stop = QObject::connect(&app, &App::statusChanged, [&](int panel) {
        if (panel == 1 && app.statbar[1] == "Connecting") app.StopRequested = true;
    });
    check();
    QObject::disconnect(stop);
    EXPECT_EQ(texts(app.txtNNTPServ), QStringList{"????? ???    " + silent.address()});
    EXPECT_FALSE(QFile::exists(t.path("CHECK.LOG")));
    EXPECT_EQ(texts(app.lstFavorites), QStringList{"alt.kept (news.example)"});

    ScriptedNntpServer drip;
    ASSERT_TRUE(drip.listen());
    drip.send("200 ok\r\n").expect("MODE READER").send("200 ok\r\n").expect("LIST");
    QList<QByteArray> bytes{"215 list follows\r\n"};
    for (char c : QByteArray(1000, 'x'))
        bytes << QByteArray(1, c);
    drip.sendBlocks(bytes);
    app.Timeout = 1;
    servers({drip.address()}, {0});
    check();
    EXPECT_EQ(app.txtNNTPServ.count(), 0);
    EXPECT_TRUE(logLines().value(0).endsWith(" REMOVED:Timeout Getting Groups"))
        << logLines().join('|').toStdString();
}

// Closing the window during a check writes the favourites file from the
// favourites, never from the server rows the check lent the list.
TEST_F(ServerCheck, ClosingDuringACheckKeepsTheFavouritesFile) {
    ScriptedNntpServer silent;
    ASSERT_TRUE(silent.listen());
    silent.silence();
    servers({silent.address()}, {0});
    QObject::connect(&app, &App::statusChanged, [&](int panel) {
        if (panel == 1 && app.statbar[1] == "Connecting" && !app.ending) cmdExit(app);
    });
    check();
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_EQ(t.readFile("favourites.fav"), "alt.kept (news.example)\n");
    EXPECT_TRUE(t.readFile("NNTP_NET.INI").contains(silent.address().toUtf8()));
}

class ServerScans : public ServerCheck {
protected:
    QString scan(const QString& text) {
        QString mode = text;
        cmdCheckAll(app, mode);
        return mode;
    }
    QStringList favourites() const {
        QStringList rows = QString::fromUtf8(t.readFile("favourites.fav")).split('\n');
        rows.removeAll(QString());
        return rows;
    }
};

// A group found on two servers becomes a favourite for each, or for the
// first only when exclusive, in a later run too; an empty group never; a
// second run adds nothing.
TEST_F(ServerScans, GroupSearchAddsFavouritesOncePerServerOrForTheFirstOnly) {
    auto other = InnServer::startPrivate();
    ASSERT_TRUE(other && other->available());
    const QString g = InnServer::uniqueGroup("alt.zf.scan");
    ASSERT_TRUE(inn.newGroup(g) && other->newGroup(g) && inn.newGroup(g + ".empty"));
    // Two articles: a group's count is its last number less its first.
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(inn.post(g, "x", "y\r\n") && other->post(g, "x", "y\r\n"));
    servers({inn.address(), other->address()}, {0, 1});
    const QString mark = QString(QChar(0xFF)) + "4";

    app.ScanExclusive = true;
    scan(g);
    QStringList rows = favourites().filter(g);
    ASSERT_EQ(rows.size(), 1) << rows.join('|').toStdString();
    EXPECT_TRUE(rows[0].contains("(" + inn.address() + ")")) << rows[0].toStdString();
    app.txtNNTPServ.selectAll();
    scan(g);
    EXPECT_EQ(favourites().filter(g).size(), 1) << "exclusive in a later run too";

    app.ScanExclusive = false;
    app.txtNNTPServ.selectAll();
    scan(g);
    rows = favourites().filter(g);
    EXPECT_EQ(rows.size(), 2) << rows.join('|').toStdString();
    EXPECT_TRUE(favourites().filter(g + ".empty").isEmpty());
    app.txtNNTPServ.selectAll();
    scan(g);
    EXPECT_EQ(favourites().filter(g).size(), 2);
    EXPECT_EQ(favourites().first(), "alt.kept (news.example)");
    EXPECT_EQ(texts(app.lstFavorites).filter(g).size(), 2) << "reloaded after the run";
}

// A server with a group cache is listed from it without a connection; a
// stopped run writes no file, a whole one replaces the output file.
TEST_F(ServerScans, GroupListComesFromTheCacheWithoutAConnection) {
    const QString server = QStringLiteral("127.0.0.1:%1").arg(closedPort());
    app.CurrentServer = server;
    t.writeFile("Cache/" + ServerCacheName(app), "b.group (3)\na.group (0)\n");
    servers({server}, {0});
    app.OutputFile = t.path("groups.txt");
    t.writeFile("groups.txt", "old\n");
    QMetaObject::Connection stop = QObject::connect(&app, &App::statusChanged, [&](int panel) {
        if (panel == 1 && app.statbar[1] == "Generating Group List") app.StopRequested = true;
    });
    scan("@GENLIST");
    QObject::disconnect(stop);
    EXPECT_EQ(t.readFile("groups.txt"), "old\n");

    servers({server}, {0});
    scan("@GENLIST");
    EXPECT_EQ(t.readFile("groups.txt"),
              ("a.group (" + server + ")\nb.group (" + server + ")\n").toUtf8());
    EXPECT_EQ(t.prompter.messages().last(), "File Saved : (" + app.OutputFile + ")");
    EXPECT_EQ(texts(app.txtNNTPServ), QStringList{"????? ???    " + server})
        << "scans remove nothing";
}

// A server of two groups that allows posting: row 1 is drawn, added once,
// drawn again and found, which ends the server. E-mail without a hit leaves
// an old output file as it was.
TEST_F(ServerScans, RandomDrawsRowOneOnceAndEmailWithoutHitsWritesNothing) {
    ScriptedNntpServer s;
    ASSERT_TRUE(s.listen());
    s.send("200 ok\r\n").expect("MODE READER").send("200 ok\r\n");
    s.expect("LIST").send("215 list\r\nr.zero 5 1 y\r\nr.one 9 1 y\r\n.\r\n");
    s.expect("QUIT").send("205 bye\r\n");
    servers({s.address()}, {0});
    scan("@RANDOM");
    // The group's row keeps its own mark; its count moves behind the server.
    EXPECT_EQ(favourites(), (QStringList{"alt.kept (news.example)",
                                         mark(1) + "r.one (" + s.address() + ") (8)"}));
    EXPECT_TRUE(s.errors().isEmpty()) << s.errors().join('\n').toStdString();

    ScriptedNntpServer m;
    ASSERT_TRUE(m.listen());
    m.send("200 ok\r\n").expect("MODE READER").send("200 ok\r\n");
    m.expect("LIST").send("215 list\r\nm.one 2 1 y\r\n.\r\n");
    m.expect("GROUP m.one").send("211 2 1 2 m.one\r\n").expect("XHDR From 1-2");
    m.send("221 From\r\n1 nobody\r\n2 @nothing\r\n.\r\n").expect("QUIT").send("205 bye\r\n");
    servers({m.address()}, {0});
    app.OutputFile = t.path("mail.txt");
    t.writeFile("mail.txt", "old@example.com\n");
    app.HeaderField = "From";
    scan("@EMAIL");
    EXPECT_EQ(t.readFile("mail.txt"), "old@example.com\n");
    EXPECT_TRUE(m.errors().isEmpty()) << m.errors().join('\n').toStdString();
}

} // namespace
