#include "fixtures/scripted_server.h"
#include "news/nntp_control.h"
#include "news/nntp_errors.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSslCertificate>
#include <QSslSocket>

#include <functional>
#include <memory>

namespace {

const QString kCertificate = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/server.crt");
const QString kKey = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/server.key");

// Writes down every event of the control in order: errors as "error <code>",
// documents as "begin", "headers", "data" (a run of data events once),
// "doc-error", "end", logins as "auth?", "auth ok", "auth refused", groups as
// "group <name> <first> <last> <count>". pairs collects each new pair of
// link and session state texts.
struct Recorder {
    explicit Recorder(NntpControl& control) : nntp(control) {
        QObject::connect(&nntp, &NntpControl::error, &nntp, [this](int code, const QString& text) {
            events << QStringLiteral("error %1").arg(code);
            errorTexts << text;
            if (onError) onError(code);
        });
        QObject::connect(&nntp, &NntpControl::stateChanged, &nntp, [this] { notePair(); });
        QObject::connect(&nntp, &NntpControl::protocolStateChanged, &nntp, [this] { notePair(); });
        QObject::connect(
            &nntp, &NntpControl::document, &nntp, [this](int state, const QByteArray& block) {
                static const char* const names[] = {"?",    "begin",     "headers",
                                                    "data", "doc-error", "end"};
                const QString name = state >= 1 && state <= 5 ? QString(names[state])
                                                              : QStringLiteral("doc %1").arg(state);
                if (state == NntpControl::DocumentHeaders) statusLine = block;
                if (state == NntpControl::DocumentData) data += block;
                if (name != "data" || events.value(events.size() - 1) != name) events << name;
            });
        QObject::connect(&nntp, &NntpControl::authenticateRequest, &nntp,
                         [this](QString& u, QString& p) {
                             events << QStringLiteral("auth?");
                             u = user;
                             p = pass;
                         });
        QObject::connect(&nntp, &NntpControl::authenticateResponse, &nntp, [this](bool ok) {
            events << (ok ? QStringLiteral("auth ok") : QStringLiteral("auth refused"));
        });
        QObject::connect(&nntp, &NntpControl::groupSelected, &nntp,
                         [this](const QString& name, qint64 first, qint64 last, qint64 count) {
                             events << QStringLiteral("group %1 %2 %3 %4")
                                           .arg(name)
                                           .arg(first)
                                           .arg(last)
                                           .arg(count);
                         });
    }

    void notePair() {
        const QString pair = nntp.state() + QLatin1Char('/') + nntp.protocolState();
        if (pairs.isEmpty() || pairs.last() != pair) pairs << pair;
    }
    bool has(const QString& event) const { return events.contains(event); }
    void clear() {
        events.clear();
        errorTexts.clear();
        data.clear();
        statusLine.clear();
    }

    NntpControl& nntp;
    QStringList events, errorTexts, pairs;
    QByteArray data, statusLine;
    QString user, pass;
    std::function<void(int)> onError;
};

const QStringList kWholeDocument = {"begin", "headers", "data", "end"};

bool pump(const std::function<bool()>& condition, int limitMs = 10000) {
    return ScriptedNntpServer::pumpUntil(condition, limitMs);
}

class NntpControlTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.listen()); }
    void TearDown() override {
        EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
    }

    void greet(const QByteArray& greeting = "200 scripted news server ready\r\n",
               const QByteArray& modeReply = "200 posting ok\r\n") {
        server.send(greeting).expect("MODE READER").send(modeReply);
    }
    bool isOpen() const {
        return nntp.state() == "Connected" && nntp.protocolState() == "Transaction";
    }
    bool isClosed() const {
        return nntp.state() == "Disconnected" && nntp.protocolState() == "Base";
    }
    void open(const QString& address = QString()) {
        ASSERT_TRUE(nntp.connectTo(address.isEmpty() ? server.address() : address));
        ASSERT_TRUE(pump([&] { return isOpen() && !nntp.busy(); }))
            << rec.events.join(", ").toStdString() << rec.errorTexts.join('\n').toStdString();
    }
    // Starts a request afresh and runs it until its document is over.
    void fetch(bool started) {
        ASSERT_TRUE(started);
        ASSERT_TRUE(pump([&] { return rec.has("end") || rec.has("doc-error"); }));
    }

    ScriptedNntpServer server;
    NntpControl nntp;
    Recorder rec{nntp};
};

// ------------------------------------------------------------- connecting

TEST_F(NntpControlTest, ConnectSendsModeReaderAndOpensOnlyAfterItsReply) {
    greet();
    ASSERT_TRUE(nntp.connectTo(server.address()));
    EXPECT_TRUE(nntp.busy());
    ASSERT_TRUE(pump([&] { return isOpen(); }));
    EXPECT_FALSE(nntp.busy());
    EXPECT_EQ(server.received(), QList<QByteArray>{"MODE READER"});
    // The transport is up before the server has answered MODE READER, but
    // only the reply makes the pair the open one.
    ASSERT_GE(rec.pairs.size(), 2);
    EXPECT_EQ(rec.pairs.mid(rec.pairs.size() - 2),
              (QStringList{"Connected/Authorization", "Connected/Transaction"}));
    EXPECT_EQ(rec.pairs.count("Connected/Transaction"), 1);
    EXPECT_TRUE(rec.errorTexts.isEmpty());
}

TEST(NntpControlPosting, GreetingAndModeReaderDecidePostingAllowed) {
    // MODE READER has the last word; a server without it keeps the greeting's.
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"200 ok\r\n", "200 posting ok\r\n", true},
        {"201 no posting\r\n", "201 no posting\r\n", false},
        {"200 ok\r\n", "201 reader, no posting\r\n", false},
        {"201 no posting\r\n", "200 posting ok\r\n", true},
        {"200 ok\r\n", "500 what is MODE?\r\n", true},
        {"201 no posting\r\n", "500 what is MODE?\r\n", false},
    };
    for (const auto& [greeting, modeReply, posting] : cases) {
        SCOPED_TRACE(std::string(greeting) + " / " + modeReply);
        ScriptedNntpServer server;
        ASSERT_TRUE(server.listen());
        server.send(greeting).expect("MODE READER").send(modeReply);
        NntpControl nntp;
        ASSERT_TRUE(nntp.connectTo(server.address()));
        ASSERT_TRUE(pump([&] { return nntp.protocolState() == "Transaction" && !nntp.busy(); }));
        EXPECT_EQ(nntp.postingAllowed(), posting);
        EXPECT_TRUE(server.errors().isEmpty());
    }
}

TEST_F(NntpControlTest, RefusingGreetingOrNobodyListeningRaisesTheCodeAndCloses) {
    server.send("502 you have no permission to talk\r\n").silence();
    ASSERT_TRUE(nntp.connectTo(server.address()));
    ASSERT_TRUE(pump([&] { return rec.has("error 502"); }));
    EXPECT_EQ(rec.errorTexts.value(0), "502 you have no permission to talk");
    EXPECT_TRUE(isClosed());
    EXPECT_FALSE(nntp.busy());
    EXPECT_EQ(rec.pairs.last(), "Disconnected/Base");

    rec.clear();
    const QString address = server.address();
    server.close();
    ASSERT_TRUE(nntp.connectTo(address));
    ASSERT_TRUE(pump([&] { return !rec.errorTexts.isEmpty(); }));
    EXPECT_EQ(rec.events,
              QStringList{QStringLiteral("error %1").arg(NntpError::ConnectionRefused)});
    EXPECT_TRUE(isClosed());
}

// ---------------------------------------------------------- authentication

// Asked for by the MODE READER reply and later by a command, which then
// goes out again.
TEST_F(NntpControlTest, LoginSendsUserAndPassWhenAskedThenGoesOn) {
    greet("200 ok\r\n", "480 authentication required\r\n");
    for (int i = 0; i < 2; ++i) {
        if (i == 1) server.expect("LIST").send("480 login first\r\n");
        server.expect("AUTHINFO USER bob").send("381 password please\r\n");
        server.expect("AUTHINFO PASS s3cret").send("281 welcome\r\n");
    }
    server.expect("LIST").send("215 list follows\r\nalt.test 3 1 y\r\n.\r\n");
    rec.user = "bob";
    rec.pass = "s3cret";
    open();
    EXPECT_EQ(rec.events, (QStringList{"auth?", "auth ok"}));
    EXPECT_TRUE(nntp.postingAllowed()); // from the greeting; MODE READER never said otherwise

    rec.clear();
    fetch(nntp.listGroups());
    EXPECT_EQ(rec.events, (QStringList{"auth?", "auth ok"} + kWholeDocument));
    EXPECT_EQ(rec.data, QByteArray("alt.test 3 1 y\r\n"));
}

TEST_F(NntpControlTest, RefusedLoginRaises1014JustBeforeTheOutcome) {
    greet("200 ok\r\n", "480 authentication required\r\n");
    // Empty texts from the handler still go out as the two commands.
    server.expect("AUTHINFO USER ").send("381 password please\r\n");
    server.expect("AUTHINFO PASS ").send("481 authentication rejected\r\n").silence();
    ASSERT_TRUE(nntp.connectTo(server.address()));
    ASSERT_TRUE(pump([&] { return rec.has("auth refused"); }));
    EXPECT_EQ(rec.events, (QStringList{"auth?", "error 1014", "auth refused"}));
    EXPECT_TRUE(rec.errorTexts.value(0).contains("481 authentication rejected"));
    EXPECT_NE(nntp.protocolState(), "Transaction");
    EXPECT_FALSE(nntp.busy());
}

// ----------------------------------------------------------- documents

TEST_F(NntpControlTest, ListLinesSurviveBlocksCutInsideLinesAndTerminator) {
    greet();
    server.expect("LIST").sendBlocks({"215 Newsgroups follow\r\nalt.binaries.pict",
                                      "ures 120 100 y\r", "\ncomp.lang.c 5 5 n\r\n.", "\r", "\n"});
    // The parser must be back on reply lines right behind the terminator.
    server.expect("GROUP alt.binaries.pictures").send("211 20 100 120 alt.binaries.pictures\r\n");
    open();
    ASSERT_TRUE(nntp.listGroups());
    EXPECT_TRUE(nntp.busy());
    fetch(true);
    EXPECT_EQ(rec.events, kWholeDocument);
    EXPECT_EQ(rec.statusLine, QByteArray("215 Newsgroups follow"));
    EXPECT_EQ(rec.data, QByteArray("alt.binaries.pictures 120 100 y\r\ncomp.lang.c 5 5 n\r\n"));
    EXPECT_FALSE(nntp.busy());

    rec.clear();
    ASSERT_TRUE(nntp.selectGroup("alt.binaries.pictures"));
    ASSERT_TRUE(pump([&] { return !rec.events.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{"group alt.binaries.pictures 100 120 20"});
}

TEST_F(NntpControlTest, ArticleIsUnstuffedWhenTheDotsStraddleBlocks) {
    greet();
    server.expect("ARTICLE 7")
        .sendBlocks({"220 7 <a@b> article\r\nSubject: dots\r\n\r\n.", ".starts with dot\r\n.",
                     ".\r\n..", ".\r\nlast\r\n.", "\r\n"});
    open();
    fetch(nntp.getArticle(7));
    EXPECT_EQ(rec.events, kWholeDocument);
    EXPECT_EQ(rec.statusLine, QByteArray("220 7 <a@b> article"));
    EXPECT_EQ(rec.data, QByteArray("Subject: dots\r\n\r\n.starts with dot\r\n.\r\n..\r\nlast\r\n"));
    EXPECT_FALSE(nntp.busy());
}

// ------------------------------------------------------ header ranges

// Each connection finds out afresh which of XHDR, HDR and the overview
// works, and keeps using it.
TEST_F(NntpControlTest, HeadersFallBackFromXhdrToHdrToTheOverview) {
    greet();
    server.expect("XHDR Subject 1-3").send("500 unknown command\r\n");
    server.expect("HDR Subject 1-3").send("225 headers follow\r\n1 first\r\n3 third\r\n.\r\n");
    // Each drop keeps the next greeting off a connection the client has not
    // closed yet.
    server.expect("HDR From 4-").send("225 headers follow\r\n4 ann@example.com\r\n.\r\n").drop();
    greet();
    server.expect("XHDR Subject 1-3").send("500 unknown command\r\n");
    server.expect("HDR Subject 1-3").send("500 unknown command\r\n");
    server.expect("XOVER 1-3")
        .sendBlocks({"224 overview follows\r\n1\tfirst post\tann@x\td\t<1@x>\t\t10\t1\r\n2\tsec",
                     "ond\tbob@x\td\t<2@x>\t\t10\t1\r\n.\r\n"});
    server.expect("XOVER 4-5").send("224 overview follows\r\n4\tfourth\tcid@x\r\n.\r\n").drop();
    greet();
    server.expect("XHDR Subject 1-1").send("221 follows\r\n1 first post\r\n.\r\n");
    auto reconnect = [&] {
        nntp.cancel();
        ASSERT_TRUE(pump([&] { return !server.clientConnected(); }));
        rec.clear();
        open();
    };

    open();
    fetch(nntp.getHeaders("Subject", "1", "3"));
    EXPECT_EQ(rec.events, kWholeDocument);
    EXPECT_EQ(rec.data, QByteArray("1 first\r\n3 third\r\n"));
    rec.clear();
    fetch(nntp.getHeaders("From", "4", ""));
    EXPECT_EQ(rec.data, QByteArray("4 ann@example.com\r\n"));

    reconnect();
    fetch(nntp.getHeaders("Subject", "1", "3"));
    EXPECT_EQ(rec.events, kWholeDocument);
    EXPECT_EQ(rec.data, QByteArray("1 first post\r\n2 second\r\n"));
    // Path is not in the overview: nothing left to ask.
    rec.clear();
    EXPECT_FALSE(nntp.getHeaders("Path", "1", "5"));
    ASSERT_TRUE(pump([&] { return !rec.events.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{QStringLiteral("error %1").arg(NntpError::FieldUnavailable)});
    rec.clear();
    fetch(nntp.getHeaders("From", "4", "5"));
    EXPECT_EQ(rec.data, QByteArray("4 cid@x\r\n"));

    reconnect();
    fetch(nntp.getHeaders("Subject", "1", "1"));
    EXPECT_EQ(rec.data, QByteArray("1 first post\r\n"));
    EXPECT_EQ(server.connectionCount(), 3);
    EXPECT_TRUE(server.scriptDone());
}

// ------------------------------------------------------------- failures

TEST_F(NntpControlTest, ErrorReplyRaisesItsCodeThenDocumentErrorAndKeepsTheConnection) {
    greet();
    server.expect("GROUP no.such.group").send("411 no such group\r\n");
    server.expect("GROUP alt.test").send("211 42 100 141 alt.test\r\n");
    open();
    fetch(nntp.selectGroup("no.such.group"));
    EXPECT_EQ(rec.events, (QStringList{"error 411", "doc-error"}));
    EXPECT_EQ(rec.errorTexts.value(0), "411 no such group");
    EXPECT_TRUE(isOpen());
    EXPECT_FALSE(nntp.busy());

    rec.clear();
    ASSERT_TRUE(nntp.selectGroup("alt.test"));
    ASSERT_TRUE(pump([&] { return !rec.events.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{"group alt.test 100 141 42"});
}

TEST_F(NntpControlTest, ConnectionDroppedMidListRaisesErrorAndCloses) {
    greet();
    server.expect("LIST").send("215 list follows\r\nalt.a 1 1 y\r\nalt.b 2").drop();
    // The way the connection lifecycle reacts: quit, and cancel when quit fails.
    bool quitAccepted = true;
    rec.onError = [&](int) {
        quitAccepted = nntp.quit();
        if (!quitAccepted) nntp.cancel();
    };
    open();
    fetch(nntp.listGroups());
    EXPECT_EQ(rec.events, (QStringList{"begin", "headers", "data",
                                       QStringLiteral("error %1").arg(NntpError::ConnectionClosed),
                                       "doc-error"}));
    EXPECT_EQ(rec.data, QByteArray("alt.a 1 1 y\r\nalt.b 2"));
    EXPECT_FALSE(quitAccepted);
    EXPECT_TRUE(isClosed());
    EXPECT_EQ(rec.pairs.last(), "Disconnected/Base");
    EXPECT_FALSE(nntp.busy());
}

// ------------------------------------------------------------ closing

TEST_F(NntpControlTest, QuitFailsWhileARequestRunsAndCancelAbandonsIt) {
    greet();
    server.expect("LIST").send("215 list follows\r\nalt.a 1 1 y\r\n").silence();
    open();
    ASSERT_TRUE(nntp.listGroups());
    ASSERT_TRUE(pump([&] { return rec.has("data"); }));
    EXPECT_FALSE(nntp.quit());
    nntp.cancel();
    EXPECT_TRUE(isClosed());
    EXPECT_FALSE(nntp.busy());
    EXPECT_EQ(rec.pairs.last(), "Disconnected/Base");
    // Cancelling is the caller's own decision: no error, no document event.
    pump([] { return false; }, 100);
    EXPECT_EQ(rec.events, (QStringList{"begin", "headers", "data"}));
}

TEST_F(NntpControlTest, CancelAbandonsAConnectThatGetsNoGreeting) {
    server.silence();
    ASSERT_TRUE(nntp.connectTo(server.address()));
    ASSERT_TRUE(pump([&] { return nntp.state() == "Connected"; }));
    EXPECT_EQ(nntp.protocolState(), "Authorization");
    EXPECT_TRUE(nntp.busy());
    nntp.cancel();
    EXPECT_TRUE(isClosed());
    EXPECT_FALSE(nntp.busy());
    EXPECT_TRUE(rec.errorTexts.isEmpty());
}

// ---------------------------------------------------------------- TLS

class NntpControlTlsTest : public NntpControlTest {
protected:
    void SetUp() override {
        if (!QSslSocket::supportsSsl()) GTEST_SKIP() << "no TLS backend";
        ASSERT_TRUE(server.listenTls(kCertificate, kKey))
            << server.errors().join('\n').toStdString();
    }
    QString tlsAddress() const { return QStringLiteral("nntps://127.0.0.1:%1").arg(server.port()); }
};

TEST_F(NntpControlTlsTest, UntrustedCertificateIsRefusedWithTheReason) {
    ASSERT_TRUE(nntp.connectTo(tlsAddress()));
    ASSERT_TRUE(pump([&] { return !rec.errorTexts.isEmpty() && isClosed(); }));
    EXPECT_EQ(rec.events.value(0), QStringLiteral("error %1").arg(NntpError::TlsFailed));
    EXPECT_TRUE(rec.errorTexts.value(0).contains("self-signed", Qt::CaseInsensitive))
        << rec.errorTexts.value(0).toStdString();
    EXPECT_TRUE(server.received().isEmpty());
}

TEST_F(NntpControlTlsTest, TrustedCertificateConnectsAndCarriesAList) {
    const QList<QSslCertificate> ca = QSslCertificate::fromPath(kCertificate);
    ASSERT_EQ(ca.size(), 1);
    nntp.setExtraCaCertificates(ca);
    greet();
    server.expect("LIST").sendBlocks({"215 list follows\r\nalt.tls 2 1 y\r\n.", "\r\n"});
    open(tlsAddress());
    EXPECT_TRUE(rec.pairs.contains("Negotiating/Base"));
    fetch(nntp.listGroups());
    EXPECT_EQ(rec.data, QByteArray("alt.tls 2 1 y\r\n"));
    EXPECT_TRUE(rec.errorTexts.isEmpty());
}

} // namespace
