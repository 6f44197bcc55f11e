#include "fixtures/scripted_server.h"
#include "news/nntp_control.h"
#include "news/nntp_errors.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSslCertificate>
#include <QSslSocket>

#include <functional>

namespace {

const QString kCertificate = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/server.crt");
const QString kKey = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/server.key");
// Issued by the test CA, as a real server's certificate is issued by a public one.
const QString kIssuedCertificate = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/issued.crt");
const QString kIssuedKey = QStringLiteral(ZANDERFELL_FIXTURES_DIR "/tls/issued.key");

QString err(int code) {
    return QStringLiteral("error %1").arg(code);
}

// Every event of the control in order, as short texts; a run of data events
// counts once. pairs collects each new "link/session" state pair.
struct Recorder {
    explicit Recorder(NntpControl& control) : nntp(control) {
        NntpControl* n = &nntp;
        QObject::connect(n, &NntpControl::error, n, [this](int code, const QString& text) {
            events << err(code);
            errorTexts << text;
        });
        QObject::connect(n, &NntpControl::stateChanged, n, [this] { notePair(); });
        QObject::connect(n, &NntpControl::protocolStateChanged, n, [this] { notePair(); });
        QObject::connect(n, &NntpControl::document, n, [this](int state, const QByteArray& block) {
            static const QStringList names{"?", "begin", "headers", "data", "doc-error", "end"};
            const QString name = names.value(state, QStringLiteral("doc %1").arg(state));
            if (state == NntpControl::DocumentHeaders) statusLine = block;
            if (state == NntpControl::DocumentData) data += block;
            if (name != "data" || events.value(events.size() - 1) != name) events << name;
        });
        QObject::connect(n, &NntpControl::authenticateRequest, n, [this](QString& u, QString& p) {
            events << "auth?";
            u = user;
            p = pass;
        });
        QObject::connect(n, &NntpControl::authenticateResponse, n,
                         [this](bool ok) { events << (ok ? "auth ok" : "auth refused"); });
        QObject::connect(n, &NntpControl::groupSelected, n,
                         [this](const QString& g, qint64 f, qint64 l, qint64 c) {
                             events
                                 << QStringLiteral("group %1 %2 %3 %4").arg(g).arg(f).arg(l).arg(c);
                         });
    }
    QString now() const { return nntp.state() + '/' + nntp.protocolState(); }
    void notePair() {
        if (pairs.isEmpty() || pairs.last() != now()) pairs << now();
    }
    bool has(const QString& event) const { return events.contains(event); }
    void clear() {
        events = errorTexts = {};
        data = statusLine = {};
    }

    NntpControl& nntp;
    QStringList events, errorTexts, pairs;
    QByteArray data, statusLine;
    QString user, pass;
};

const QStringList kWholeDocument = {"begin", "headers", "data", "end"};
const QString kOpen = "Connected/Transaction", kClosed = "Disconnected/Base";

bool pump(const std::function<bool()>& condition, int limitMs = 10000) {
    return ScriptedNntpServer::pumpUntil(condition, limitMs);
}

class NntpControlTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.listen()); }
    void TearDown() override {
        EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
    }

    void greet(const QByteArray& greeting = "200 ready\r\n",
               const QByteArray& modeReply = "200 posting ok\r\n") {
        server.send(greeting).expect("MODE READER").send(modeReply);
    }
    void open(const QString& address = QString()) {
        ASSERT_TRUE(nntp.connectTo(address.isEmpty() ? server.address() : address));
        ASSERT_TRUE(pump([&] { return rec.now() == kOpen && !nntp.busy(); }))
            << rec.events.join(", ").toStdString() << rec.errorTexts.join('\n').toStdString();
    }
    // Runs a request that has started until its document is over.
    void fetch(bool started) {
        ASSERT_TRUE(started);
        ASSERT_TRUE(pump([&] { return rec.has("end") || rec.has("doc-error"); }));
    }

    ScriptedNntpServer server;
    NntpControl nntp;
    Recorder rec{nntp};
};

// MODE READER has the last word on posting; a server without it keeps the
// greeting's. The session opens only on its reply, whatever it says.
TEST(NntpControlConnect, ModeReaderReplyOpensTheSessionAndDecidesPosting) {
    // Greeting, reply to MODE READER, posting allowed.
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"200 ok\r\n", "201 no\r\n", false},
        {"201 no\r\n", "200 ok\r\n", true},
        {"201 no\r\n", "500 what?\r\n", false}};
    for (const auto& [greeting, modeReply, posting] : cases) {
        SCOPED_TRACE(std::string(greeting) + " / " + modeReply);
        ScriptedNntpServer server;
        ASSERT_TRUE(server.listen());
        server.send(greeting).expect("MODE READER").send(modeReply);
        NntpControl nntp;
        Recorder rec(nntp);
        ASSERT_TRUE(nntp.connectTo(server.address()));
        ASSERT_TRUE(pump([&] { return nntp.protocolState() == "Transaction" && !nntp.busy(); }));
        EXPECT_EQ(nntp.postingAllowed(), posting);
        EXPECT_EQ(server.received(), QList<QByteArray>{"MODE READER"});
        // Authorization until the reply, then Transaction once and for good.
        EXPECT_EQ(rec.pairs.filter("Connected/"),
                  (QStringList{"Connected/Authorization", "Connected/Transaction"}));
        EXPECT_TRUE(rec.errorTexts.isEmpty());
    }
}

TEST_F(NntpControlTest, RefusingGreetingOrNobodyListeningRaisesTheCodeAndCloses) {
    server.send("502 you have no permission to talk\r\n").silence();
    ASSERT_TRUE(nntp.connectTo(server.address()));
    ASSERT_TRUE(pump([&] { return rec.has("error 502"); }));
    EXPECT_EQ(rec.errorTexts.value(0), "502 you have no permission to talk");
    EXPECT_EQ(rec.pairs.last(), kClosed);
    EXPECT_FALSE(nntp.busy());

    rec.clear();
    const QString address = server.address();
    server.close();
    ASSERT_TRUE(nntp.connectTo(address));
    ASSERT_TRUE(pump([&] { return !rec.errorTexts.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{err(NntpError::ConnectionRefused)});
    EXPECT_EQ(rec.now(), kClosed);
}

// Asked for by the MODE READER reply and later by a command, which then
// goes out again. A login may grant posting that the anonymous greeting did
// not, so the server is asked again after each.
TEST_F(NntpControlTest, LoginSendsUserAndPassWhenAskedThenGoesOn) {
    greet("201 no posting\r\n", "480 authentication required\r\n");
    for (int i = 0; i < 2; ++i) {
        if (i == 1) server.expect("LIST").send("480 login first\r\n");
        server.expect("AUTHINFO USER bob").send("381 password please\r\n");
        server.expect("AUTHINFO PASS s3cret").send("281 welcome\r\n");
        server.expect("MODE READER").send("200 posting allowed\r\n");
    }
    server.expect("LIST").send("215 list follows\r\nalt.test 3 1 y\r\n.\r\n");
    rec.user = "bob";
    rec.pass = "s3cret";
    open();
    EXPECT_EQ(rec.events, (QStringList{"auth?", "auth ok"}));
    EXPECT_TRUE(nntp.postingAllowed());

    rec.clear();
    fetch(nntp.listGroups());
    EXPECT_EQ(rec.events, (QStringList{"auth?", "auth ok"} + kWholeDocument));
    EXPECT_EQ(rec.data, QByteArray("alt.test 3 1 y\r\n"));
}

// An article's dots are unstuffed wherever the blocks cut them (an error
// reply is Connection's Headers test). Cancelling is the caller's own
// decision: no error, no document event.
TEST_F(NntpControlTest, RequestsOnOneConnectionThenCancelAbandonsARunningOne) {
    greet();
    server.expect("GROUP alt.test").send("211 42 100 141 alt.test\r\n");
    server.expect("ARTICLE 7")
        .sendBlocks({"220 7 <a@b> article\r\nSubject: dots\r\n\r\n.", ".starts with dot\r\n.",
                     ".\r\n..", ".\r\nlast\r\n.", "\r\n"});
    server.expect("LIST").send("215 list follows\r\nalt.a 1 1 y\r\n").silence();
    open();
    ASSERT_TRUE(nntp.selectGroup("alt.test"));
    ASSERT_TRUE(pump([&] { return !rec.events.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{"group alt.test 100 141 42"});

    rec.clear();
    fetch(nntp.getArticle(7));
    EXPECT_EQ(rec.events, kWholeDocument);
    EXPECT_EQ(rec.statusLine, QByteArray("220 7 <a@b> article"));
    EXPECT_EQ(rec.data, QByteArray("Subject: dots\r\n\r\n.starts with dot\r\n.\r\n..\r\nlast\r\n"));

    rec.clear();
    ASSERT_TRUE(nntp.listGroups());
    ASSERT_TRUE(pump([&] { return rec.has("data"); }));
    EXPECT_FALSE(nntp.quit());
    nntp.cancel();
    EXPECT_EQ(rec.pairs.last(), kClosed);
    EXPECT_FALSE(nntp.busy());
    pump([] { return false; }, 100);
    EXPECT_EQ(rec.events, (QStringList{"begin", "headers", "data"}));
}

// A server that sends faster than the blocks are handled, by a handler that
// runs the event queue meanwhile as the program's does: the blocks still come
// no larger than the socket's read buffer, and none of the listing is lost.
TEST_F(NntpControlTest, AListingSentFasterThanItIsHandledComesInBoundedBlocks) {
    greet();
    const QByteArray lines =
        QByteArray("12345 a subject of the usual length (1/1)\r\n").repeated(200000); // 8.6 MB
    server.expect("LIST").send("215 list\r\n" + lines + ".\r\n").silence();
    open();
    qsizetype largest = 0;
    bool first = true;
    QObject::connect(&nntp, &NntpControl::document, &nntp, [&](int state, const QByteArray& block) {
        if (state != NntpControl::DocumentData) return;
        largest = std::max(largest, block.size());
        if (std::exchange(first, false))
            for (int pass = 0; pass < 500; ++pass)
                QCoreApplication::processEvents();
    });
    fetch(nntp.listGroups());
    EXPECT_TRUE(rec.data == lines);
    EXPECT_LE(largest, 1 << 20);
}

// Each connection finds out afresh which of XHDR, HDR and the overview
// works, and keeps using it. The drop keeps the second greeting for the
// next connection.
TEST_F(NntpControlTest, HeadersFallBackFromXhdrToHdrToTheOverview) {
    const QByteArray unknown = "500 unknown command\r\n";
    greet();
    server.expect("XHDR Subject 1-3").send(unknown).expect("HDR Subject 1-3").send(unknown);
    server.expect("XOVER 1-3")
        .sendBlocks({"224 overview follows\r\n1\tfirst post\tann@x\td\t<1@x>\t\t10\t1\r\n2\tsec",
                     "ond\tbob@x\td\t<2@x>\t\t10\t1\r\n.\r\n"});
    server.expect("XOVER 4-5").send("224 overview follows\r\n4\tfourth\tcid@x\r\n.\r\n").drop();
    greet();
    server.expect("XHDR Subject 1-3").send(unknown);
    server.expect("HDR Subject 1-3").send("225 headers follow\r\n1 first\r\n3 third\r\n.\r\n");
    server.expect("HDR From 4-").send("225 headers follow\r\n4 ann@example.com\r\n.\r\n");
    auto headers = [&](const char* field, const char* first, const char* last) {
        rec.clear();
        fetch(nntp.getHeaders(field, first, last));
        EXPECT_EQ(rec.events, kWholeDocument);
        return rec.data;
    };

    open();
    EXPECT_EQ(headers("Subject", "1", "3"), QByteArray("1 first post\r\n2 second\r\n"));
    // Path is not in the overview: nothing left to ask.
    rec.clear();
    EXPECT_FALSE(nntp.getHeaders("Path", "1", "5"));
    ASSERT_TRUE(pump([&] { return !rec.events.isEmpty(); }));
    EXPECT_EQ(rec.events, QStringList{err(NntpError::FieldUnavailable)});
    EXPECT_EQ(headers("From", "4", "5"), QByteArray("4 cid@x\r\n"));

    nntp.cancel();
    ASSERT_TRUE(pump([&] { return !server.clientConnected(); }));
    rec.clear();
    open();
    EXPECT_EQ(headers("Subject", "1", "3"), QByteArray("1 first\r\n3 third\r\n"));
    EXPECT_EQ(headers("From", "4", ""), QByteArray("4 ann@example.com\r\n"));
    EXPECT_EQ(server.connectionCount(), 2);
    EXPECT_TRUE(server.scriptDone());
}

// The overview line in work is held until its end comes; one that doesn't
// come within the limit is a broken server, not a line to wait for.
TEST_F(NntpControlTest, AnOverviewLinePastTheLimitDropsTheConnection) {
    const QByteArray unknown = "500 unknown command\r\n";
    const QByteArray quarter(kMaxLineBytes / 4, 'x');
    greet();
    server.expect("XHDR Subject 1-3").send(unknown).expect("HDR Subject 1-3").send(unknown);
    server.expect("XOVER 1-3")
        .sendBlocks({"224 overview follows\r\n1\tfirst\r\n2\t", quarter, quarter, quarter, quarter,
                     quarter})
        .silence();
    open();
    fetch(nntp.getHeaders("Subject", "1", "3"));
    EXPECT_EQ(rec.events, (QStringList{"begin", "headers", "data",
                                       err(NntpError::ProtocolViolation), "doc-error"}));
    EXPECT_EQ(rec.data, QByteArray("1 first\r\n"));
    EXPECT_EQ(rec.now(), kClosed);
}

class NntpControlTlsTest : public NntpControlTest {
protected:
    void SetUp() override {
        if (!QSslSocket::supportsSsl()) GTEST_SKIP() << "no TLS backend";
        ASSERT_TRUE(server.listenTls(kCertificate, kKey))
            << server.errors().join('\n').toStdString();
    }
    QString tlsAddress() const { return QStringLiteral("nntps://127.0.0.1:%1").arg(server.port()); }
};

// A certificate issued by a root of the system's store, and no extra list:
// how every public nntps server is met. tests/scripts/with_test_ca puts the
// test CA among the system's roots in a private mount namespace and runs this
// test there.
TEST_F(NntpControlTlsTest, IssuedCertificateIsTrustedThroughTheSystemStore) {
    if (qEnvironmentVariableIsEmpty("ZANDERFELL_TEST_CA_TRUSTED"))
        GTEST_SKIP() << "runs under tests/scripts/with_test_ca";
    ScriptedNntpServer issued;
    ASSERT_TRUE(issued.listenTls(kIssuedCertificate, kIssuedKey));
    issued.send("200 ready\r\n").expect("MODE READER").send("200 posting ok\r\n");
    issued.expect("LIST").sendBlocks({"215 list follows\r\nalt.tls 2 1 y\r\n.\r\n"});
    open(QStringLiteral("nntps://127.0.0.1:%1").arg(issued.port()));
    fetch(nntp.listGroups());
    EXPECT_EQ(rec.data, QByteArray("alt.tls 2 1 y\r\n"));
    EXPECT_TRUE(rec.errorTexts.isEmpty()) << rec.errorTexts.join('\n').toStdString();
    EXPECT_TRUE(issued.errors().isEmpty()) << issued.errors().join('\n').toStdString();
}

// An untrusted certificate goes no further than the handshake; trusted, the
// same server carries a list.
TEST_F(NntpControlTlsTest, CertificateIsRefusedWithTheReasonUntilTrusted) {
    ASSERT_TRUE(nntp.connectTo(tlsAddress()));
    ASSERT_TRUE(pump([&] { return !rec.errorTexts.isEmpty() && rec.now() == kClosed; }));
    EXPECT_EQ(rec.events.value(0), err(NntpError::TlsFailed));
    EXPECT_TRUE(rec.errorTexts.value(0).contains("self-signed", Qt::CaseInsensitive))
        << rec.errorTexts.value(0).toStdString();
    EXPECT_TRUE(server.received().isEmpty());

    rec.clear();
    rec.pairs.clear();
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
