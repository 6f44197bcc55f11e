// Posting from the compose dialog through NNTP2: articles read back from a
// real INN byte for byte, one connection per run of rows on a server,
// refusals that skip exactly that server, and POST.LOG.
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "post/news_client.h"
#include "post/post_dialog.h"
#include "post/post_engine.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSslSocket>

namespace {

const QString kSubject = QStringLiteral("  Test post, please ignore  ");
// Lines that start with "." must come back as they were typed.
const QString kMessage = QStringLiteral("Hello group,\n.a line with a dot\n..two dots\n.\nend");
const QString kSig = QStringLiteral("-- \nposter");
const QByteArray kBody = "Hello group,\r\n.a line with a dot\r\n..two dots\r\n.\r\nend\r\n"
                         "-- \r\nposter\r\n";

struct Article {
    QList<QByteArray> headers;
    QByteArray body;
    QByteArray whole;
    QByteArray header(const QByteArray& name) const {
        for (const QByteArray& h : headers)
            if (h.startsWith(name + ": ")) return h.mid(name.size() + 2);
        return {};
    }
};

// The articles of a group, read back over NNTP with dot-stuffing undone.
QList<Article> articlesOf(quint16 port, const QString& group) {
    NntpProbe probe;
    QList<Article> out;
    if (NntpProbe::code(probe.connectTo(port)) / 100 != 2) return out;
    const QList<QByteArray> g = probe.command("GROUP " + group.toUtf8()).split(' ');
    if (g.value(0) != "211") return out;
    for (qint64 n = g.value(2).toLongLong(); n <= g.value(3).toLongLong() && n > 0; ++n) {
        if (NntpProbe::code(probe.command("ARTICLE " + QByteArray::number(n))) != 220) continue;
        Article a;
        bool inBody = false;
        for (QByteArray line = probe.readLine(); !line.isNull() && line != ".";
             line = probe.readLine()) {
            if (line.startsWith('.')) line.remove(0, 1);
            a.whole += line + "\r\n";
            if (inBody)
                a.body += line + "\r\n";
            else if (line.isEmpty())
                inBody = true;
            else
                a.headers << line;
        }
        out << a;
    }
    return out;
}

// The entries of POST.LOG, each without its date; a line without one gives "".
QStringList logEntries(const TestApp& t) {
    QStringList entries;
    for (const QString& line : QString::fromUtf8(t.readFile("POST.LOG")).split("\r\n")) {
        const qsizetype at = line.indexOf(QLatin1String(" - "));
        entries << (at < 0 ? QString() : line.mid(at + 3));
    }
    entries.removeLast(); // behind the last line end
    return entries;
}

QString posted(const QString& server, const QString& group) {
    return "Posted:" + server + " (" + group + ") " + kSubject;
}

struct Poster {
    explicit Poster(TestApp& t) : t(t), app(t.app) {
        app.AppPath = t.dir.path() + "/";
        app.Timer1.start();
        app.EmailAddress = QStringLiteral("poster@zanderfell.test");
        dialog = std::make_unique<PostDialog>(app);
        dialog->txtSubjectField()->setText(kSubject);
        dialog->txtMessageField()->setPlainText(kMessage);
        dialog->txtSigField()->setPlainText(kSig);
        dialog->show();
        spy = std::make_unique<QSignalSpy>(app.NNTP2.get(), &NewsClient::connected);
        QObject::connect(&app, &App::statusChanged, [this](int panel) {
            if (panel == 2) shown << app.statbar[2];
        });
    }
    void run(int mode) {
        dialog->PostMode = static_cast<quint8>(mode);
        dialog->cmdOK_Click();
        EXPECT_EQ(app.statbar[1], "Finished Posting");
    }
    // A favourite row: group and server, as a listing leaves it.
    void favorite(const QString& group, const QString& server, bool selected = true) {
        app.lstFavorites.addItem(mark(1) + group + " (" + server + ") (3)");
        app.lstFavorites.setSelected(app.lstFavorites.count() - 1, selected);
    }
    TestApp& t;
    App& app;
    std::unique_ptr<PostDialog> dialog;
    std::unique_ptr<QSignalSpy> spy; // connections NNTP2 made
    QStringList shown;               // texts of the main status panel 2
};

class Posting : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        p = std::make_unique<Poster>(t);
    }
    QString newGroup(const QString& prefix = QStringLiteral("zf.post")) {
        const QString g = InnServer::uniqueGroup(prefix);
        EXPECT_TRUE(inn.newGroup(g));
        return g;
    }
    void expectPosted(const QString& group) {
        const QList<Article> a = articlesOf(inn.port(), group);
        ASSERT_EQ(a.size(), 1) << group.toStdString();
        EXPECT_EQ(a[0].header("Newsgroups"), group.toUtf8());
        EXPECT_EQ(a[0].body, kBody);
    }

    TestApp t;
    App& app = t.app;
    std::unique_ptr<Poster> p;
};

TEST_F(Posting, CurrentGroupGetsOneArticleWithTheFiveHeaderLinesAndTheBodyAsTyped) {
    const QString group = newGroup();
    app.CurrentServer = inn.address();
    app.CurrentGroup = group;
    app.lstGroups.addItem("other.group (5)");
    app.lstGroups.selectAll();
    p->run(2);

    const QList<Article> a = articlesOf(inn.port(), group);
    ASSERT_EQ(a.size(), 1);
    EXPECT_EQ(a[0].header("From"), "poster@zanderfell.test");
    EXPECT_EQ(a[0].header("Newsgroups"), group.toUtf8());
    EXPECT_EQ(a[0].header("Subject"), "Test post, please ignore");
    EXPECT_EQ(a[0].header("Organization"), "Corvanet - Zanderfell! 2.5");
    EXPECT_TRUE(
        QRegularExpression(R"(^[A-Z][a-z]{2}, \d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d [+-]\d{4}$)")
            .match(QString::fromLatin1(a[0].header("Date")))
            .hasMatch())
        << a[0].header("Date").toStdString();
    EXPECT_EQ(a[0].body, kBody);
    // The signature went into the message box itself.
    EXPECT_EQ(p->dialog->txtMessage(), QString(kMessage + "\n" + kSig).replace("\n", "\r\n"));
    EXPECT_TRUE(app.lstGroups.selected(0)); // mode 2 leaves the list alone
    EXPECT_EQ(logEntries(t), QStringList{posted(inn.address(), group)});
}

TEST_F(Posting, SelectedGroupsArePostedOnOneConnection) {
    const QStringList groups = {newGroup(), newGroup(), newGroup()};
    const QString skipped = newGroup();
    app.CurrentServer = inn.address();
    app.lstGroups.addItem(mark(1) + groups[0] + " (12)");
    app.lstGroups.addItem(skipped);
    app.lstGroups.addItem(groups[1]);
    app.lstGroups.addItem(mark(4) + groups[2] + " (0)");
    for (int r : {0, 2, 3})
        app.lstGroups.setSelected(r, true);
    p->run(0);

    EXPECT_EQ(p->spy->count(), 1);
    QStringList expectedLog;
    for (const QString& g : groups) {
        expectPosted(g);
        expectedLog << posted(inn.address(), g);
    }
    EXPECT_TRUE(articlesOf(inn.port(), skipped).isEmpty());
    EXPECT_EQ(app.lstGroups.selCount(), 0);
    EXPECT_EQ(logEntries(t), expectedLog);
}

TEST_F(Posting, FavoritesOnTwoServersArePostedInRowOrderOnTwoConnections) {
    std::unique_ptr<InnServer> second = InnServer::startPrivate();
    ASSERT_TRUE(second->available()) << second->lastError().toStdString();
    const QString a = newGroup(), b = newGroup(), c = InnServer::uniqueGroup("zf.post");
    ASSERT_TRUE(second->newGroup(c));
    p->favorite(a, inn.address());
    p->favorite(b, inn.address());
    p->favorite(c, second->address());
    p->favorite(newGroup(), second->address(), false);
    p->run(1);

    EXPECT_EQ(p->spy->count(), 2);
    expectPosted(a);
    expectPosted(b);
    const QList<Article> onSecond = articlesOf(second->port(), c);
    ASSERT_EQ(onSecond.size(), 1);
    EXPECT_EQ(onSecond[0].body, kBody);
    EXPECT_EQ(logEntries(t), QStringList({posted(inn.address(), a), posted(inn.address(), b),
                                          posted(second->address(), c)}));
    EXPECT_EQ(app.CurrentServer, second->address());
    EXPECT_EQ(app.lstFavorites.selCount(), 0);
}

// A server that refuses the post, in each of the ways it can: the failed
// line, that server's rows skipped, the other server still posted.
TEST_F(Posting, ARefusingServerLosesItsRowsAndTheOthersStillPost) {
    const QByteArray refusals[] = {"440 Posting not permitted", "480 Authentication required"};
    for (const QByteArray& refusal : refusals) {
        SCOPED_TRACE(refusal.toStdString());
        TestApp t2;
        Poster q(t2);
        ScriptedNntpServer refusing;
        refusing.send("200 scripted server ready (posting ok)\r\n")
            .expect("MODE READER")
            .send("200 scripted server ready (posting ok)\r\n")
            .expect("POST")
            .send(refusal + "\r\n")
            // However late the QUIT comes, it is part of the script.
            .expect("QUIT")
            .send("205 bye\r\n");
        ASSERT_TRUE(refusing.listen());
        const QString g1 = newGroup(), g2 = newGroup();
        q.favorite("zf.refused.one", refusing.address());
        q.favorite(g1, inn.address());
        q.favorite("zf.refused.two", refusing.address());
        q.favorite(g2, inn.address(), false);
        q.run(1);
        // One post only, and the connection closed when the next server came.
        EXPECT_TRUE(ScriptedNntpServer::pumpUntil([&] { return refusing.received().size() == 3; }));
        EXPECT_EQ(refusing.received(), QList<QByteArray>({"MODE READER", "POST", "QUIT"}));

        EXPECT_TRUE(refusing.errors().isEmpty()) << refusing.errors().join("; ").toStdString();
        EXPECT_EQ(refusing.connectionCount(), 1);
        EXPECT_TRUE(q.shown.contains(QString::fromLatin1(refusal)))
            << q.shown.join("|").toStdString();
        expectPosted(g1);
        EXPECT_TRUE(articlesOf(inn.port(), g2).isEmpty());
        EXPECT_EQ(logEntries(t2),
                  QStringList({"Unable to Post to " + refusing.address() + " " + kSubject,
                               posted(inn.address(), g1)}));
        EXPECT_EQ(q.app.lstFavorites.selCount(), 0);
    }
}

// The posting connection logs in and speaks TLS as the main one does. The
// article goes out stuffed; a server that never answers it is a failure.
TEST(PostingScripted, LoginOverTlsAndAnArticleThatIsNeverAnswered) {
    if (!QSslSocket::supportsSsl()) GTEST_SKIP() << "no TLS backend";
    const QString certificate = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/server.crt");
    TestApp t;
    Poster p(t);
    ScriptedNntpServer server;
    ASSERT_TRUE(server.listenTls(certificate, ZANDERFELL_FIXTURES_DIR "/tls/server.key"));
    server.send("200 ready\r\n")
        .expect("MODE READER")
        .send("480 Login first\r\n")
        .expect("AUTHINFO USER poster")
        .send("381 more\r\n")
        .expect("AUTHINFO PASS secret")
        .send("281 ok\r\n")
        .expect("MODE READER")
        .send("200 Posting Allowed\r\n")
        .expect("POST")
        .send("340 go ahead\r\n")
        .silence();
    t.app.NNTP2->setExtraCaCertificates(QSslCertificate::fromPath(certificate));
    t.app.UserID = QStringLiteral("poster");
    t.app.Password = QStringLiteral("secret");
    t.app.Timeout = 3;
    t.app.CurrentServer = QStringLiteral("nntps://127.0.0.1:%1").arg(server.port());
    t.app.CurrentGroup = QStringLiteral("alt.test");
    p.run(2);

    EXPECT_TRUE(t.app.PostAllowed);
    EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join("; ").toStdString();
    QList<QByteArray> wire = server.received();
    ASSERT_GT(wire.size(), 7);
    EXPECT_TRUE(wire[7].startsWith("Date: ")) << wire[7].toStdString();
    wire[7] = "Date: ...";
    EXPECT_EQ(wire, QList<QByteArray>(
                        {"MODE READER", "AUTHINFO USER poster", "AUTHINFO PASS secret",
                         "MODE READER", "POST", "From: poster@zanderfell.test",
                         "Newsgroups: alt.test", "Date: ...", "Subject: Test post, please ignore",
                         "Organization: Corvanet - Zanderfell! 2.5", "", "Hello group,",
                         "..a line with a dot", "...two dots", "..", "end", "-- ", "poster", "."}));
    EXPECT_FALSE(t.app.NNTP2->isConnected());
    EXPECT_EQ(logEntries(t),
              QStringList{"Unable to Post to " + t.app.CurrentServer + " " + kSubject});
}

// In selected groups a refusal clears the whole selection: no further post.
TEST(PostingScripted, ARefusalAmongSelectedGroupsEndsTheRun) {
    TestApp t;
    Poster p(t);
    ScriptedNntpServer server;
    server.send("200 ready (posting ok)\r\n")
        .expect("MODE READER")
        .send("200 ready (posting ok)\r\n")
        .expect("POST")
        .send("441 Posting failed: group is moderated\r\n");
    ASSERT_TRUE(server.listen());
    t.app.CurrentServer = server.address();
    for (const char* g : {"zf.one (3)", "zf.two (4)", "zf.three (5)"})
        t.app.lstGroups.addItem(QString::fromLatin1(g));
    t.app.lstGroups.setSelected(1, true);
    t.app.lstGroups.setSelected(2, true);
    p.run(0);

    EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join("; ").toStdString();
    EXPECT_EQ(server.received(), QList<QByteArray>({"MODE READER", "POST"}));
    EXPECT_TRUE(p.shown.contains("441 Posting failed: group is moderated"));
    EXPECT_EQ(t.app.lstGroups.selCount(), 0);
    EXPECT_EQ(t.app.CurrentGroup, "zf.two");
    EXPECT_EQ(logEntries(t), QStringList{"Unable to Post to " + server.address() + " " + kSubject});
}

TEST(PostingStop, AStopWhileConnectingEndsTheRunWithoutALogLine) {
    TestApp t;
    Poster p(t);
    ScriptedNntpServer silent, unused;
    silent.silence();
    ASSERT_TRUE(silent.listen());
    ASSERT_TRUE(unused.listen());
    p.favorite("zf.silent", silent.address());
    p.favorite("zf.unused", unused.address());
    // Cancel is pressed on the fourth pass of the wait for the greeting.
    t.useFakeClock([&](int pass) {
        QCoreApplication::processEvents();
        if (pass == 4) p.dialog->cmdCancel()->click();
    });
    p.run(1);

    EXPECT_FALSE(t.app.NNTP2->isConnected());
    EXPECT_FALSE(t.app.NNTP2->busy());
    EXPECT_FALSE(QFile::exists(postLogPath(t.app)));
    EXPECT_FALSE(t.app.lstFavorites.selected(0));
    EXPECT_TRUE(t.app.lstFavorites.selected(1));
    EXPECT_EQ(unused.connectionCount(), 0);
}

} // namespace
