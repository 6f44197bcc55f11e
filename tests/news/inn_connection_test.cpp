// Connecting, listing groups and reading a group's subjects against a real
// INN on loopback, through the procedures the menus call.
#include "fixtures/inn_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/news_commands.h"
#include "news/nntp_control.h"
#include "program/startup.h"
#include "shell/app.h"

#include <QSignalSpy>
#include <QTest>

namespace {

using Kind = ScriptedPrompter::Kind;

void prepare(TestApp& t, const QString& address) {
    t.load();
    t.app.Timer1.start();
    t.app.CurrentServer = address;
}

bool listed(const ListModel& list, const QString& group) {
    for (QString row : texts(list))
        if (cleanNewsGroup(row) == group) return true;
    return false;
}

class InnConnection : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) prepare(t, inn.address());
    }
    void TearDown() override { cmdDisconnect(app); }

    TestApp t;
    App& app = t.app;
};

TEST_F(InnConnection, ListsGroupsCachesThemAndFiltersBinaries) {
    const QString text = InnServer::uniqueGroup("zf.list");
    const QString binary = InnServer::uniqueGroup("alt.binaries.zf");
    ASSERT_TRUE(inn.newGroup(text));
    ASSERT_TRUE(inn.newGroup(binary));
    ASSERT_TRUE(inn.post(binary, "a (1/1)", "x\n"));

    cmdConnect(app, true);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    EXPECT_TRUE(listed(app.lstGroups, text));
    EXPECT_TRUE(listed(app.lstGroups, binary));

    // The next connection takes the cache, after asking when AutoLoadGroups
    // is off; with the binaries filter only binary groups stay.
    cmdDisconnect(app);
    app.AutoLoadGroups = false;
    app.BinariesOnly = true;
    t.prompter.answerYesNo(true).answerYesNo(false);
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    cmdConnect(app, true);
    EXPECT_EQ(t.prompter.texts(Kind::YesNo), QStringList{"Load Saved Group List?"});
    EXPECT_EQ(documents.count(), 0) << "the cache served, the server was not asked";
    EXPECT_TRUE(listed(app.lstGroups, binary));
    EXPECT_FALSE(listed(app.lstGroups, text));

    // Answering No asks the server again, for the whole list.
    cmdDisconnect(app);
    cmdConnect(app, true);
    EXPECT_GT(documents.count(), 0);
    EXPECT_TRUE(listed(app.lstGroups, text));
}

TEST_F(InnConnection, AThousandArticlesGiveAThousandRowsAndTheListFileServesTheSecondOpening) {
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.many");
    ASSERT_TRUE(inn.newGroup(group));
    // Over one connection; every tenth subject is junk.
    NntpProbe nntp;
    ASSERT_EQ(NntpProbe::code(nntp.connectTo(inn.port())), 200);
    for (int i = 0; i < 1000; ++i) {
        const QByteArray subject = i % 10 ? "picture " + QByteArray::number(i) + ".jpg (1/1)"
                                          : "FREE offer " + QByteArray::number(i);
        ASSERT_EQ(NntpProbe::code(nntp.command("POST")), 340);
        ASSERT_TRUE(nntp.send("From: p <p@zanderfell.test>\r\nNewsgroups: " + group.toUtf8() +
                              "\r\nSubject: " + subject + "\r\n\r\nbody\r\n.\r\n"));
        ASSERT_EQ(NntpProbe::code(nntp.readLine()), 240) << "article " << i;
    }

    cmdConnect(app, true);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    app.CurrentGroup = group;
    app.HeaderField = "Subject";
    EXPECT_EQ(cmdGetMessageHeaders(app, true), 0);
    ASSERT_EQ(app.lstMessages.count(), 1000);
    EXPECT_EQ(app.lstMessages.text(1), "picture 1.jpg (1/1)");

    // Again: the list file serves; the select goes out, no header request.
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    QSignalSpy selected(app.NNTP.get(), &NntpControl::groupSelected);
    EXPECT_EQ(cmdGetMessageHeaders(app, true), 0);
    EXPECT_EQ(app.lstMessages.count(), 1000);
    EXPECT_TRUE(selected.wait(10000));
    EXPECT_EQ(documents.count(), 0);

    // Refresh asks the server, and RemoveSpam drops the junk subjects.
    app.RemoveSpam = true;
    menuRefreshM_Click(app);
    EXPECT_EQ(app.lstMessages.count(), 900);
}

// A group of 200,000 articles listed in chunks gives the rows of one request
// over the whole range; the newest N are its last N rows; a stop between
// chunks keeps the chunks listed so far and the connection.
TEST_F(InnConnection, ABigGroupListsInChunksAsInOneRequest) {
    constexpr int kArticles = 200000;
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.bulk");
    ASSERT_TRUE(inn.newGroup(group));
    ASSERT_TRUE(inn.feed(group, kArticles, [](int i) {
        return "\"big" + QByteArray::number(i / 40) + ".bin\" yEnc (" +
               QByteArray::number(i % 40 + 1) + "/40)";
    })) << inn.lastError().toStdString();
    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    app.CurrentGroup = group;
    app.HeaderField = "Subject";
    int requests = 0;
    QObject::connect(app.NNTP.get(), &NntpControl::document, &app,
                     [&](int state) { requests += state == NntpControl::DocumentBegin; });
    auto rows = [&] {
        QList<QPair<qint64, QString>> out;
        for (int i = 0; i < app.lstMessages.count(); ++i)
            out.append({app.lstMessages.number(i), app.lstMessages.text(i)});
        return out;
    };
    const qint32 chunk = app.HeaderChunk;
    ASSERT_LT(chunk, kArticles) << "the default chunk covers the whole group";

    app.HeaderChunk = kArticles;
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    EXPECT_EQ(requests, 1);
    const auto whole = rows();
    ASSERT_EQ(whole.size(), kArticles);
    EXPECT_EQ(whole.last(), qMakePair(qint64(kArticles), QString("\"big5000.bin\" yEnc (1/40)")));

    requests = 0;
    app.HeaderChunk = chunk;
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    EXPECT_EQ(requests, (kArticles + chunk - 1) / chunk);
    EXPECT_TRUE(rows() == whole) << "chunked rows differ from one request's";

    requests = 0;
    app.NewestHeaders = 1500;
    app.HeaderChunk = 1000;
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    EXPECT_EQ(requests, 2);
    EXPECT_TRUE(rows() == whole.mid(kArticles - 1500)) << "not the newest 1500";

    // Stop as the progress bar moves after the first chunk.
    requests = 0;
    app.NewestHeaders = 0;
    app.HeaderChunk = chunk;
    QObject stopper;
    QObject::connect(&app, &App::progressChanged, &stopper, [&] {
        if (app.progValue > 0 && !app.StopRequested) cmdStop(app);
    });
    EXPECT_EQ(cmdGetMessageHeaders(app, false), -1);
    EXPECT_EQ(requests, 1);
    EXPECT_TRUE(rows() == whole.mid(0, chunk)) << app.lstMessages.count() << " rows";
    EXPECT_TRUE(connectionOpen(app));
}

TEST(InnLogin, ReaderLoginRightAndWrong) {
    if (!InnServer::configured()) GTEST_SKIP() << "no news server in this run";
    auto inn = InnServer::startPrivate();
    ASSERT_TRUE(inn && inn->available()) << (inn ? inn->lastError().toStdString() : "");
    ASSERT_TRUE(inn->setLogin("reader", "s3cret")) << inn->lastError().toStdString();
    const QString group = InnServer::uniqueGroup("zf.login");
    ASSERT_TRUE(inn->newGroup(group));
    TestApp t;
    prepare(t, inn->address());
    App& app = t.app;

    app.UserID = "reader";
    app.Password = "wrong";
    cmdConnect(app, true);
    EXPECT_EQ(app.ErrorText, "Can't Authenticate");
    // INN asks for the login at the first command after MODE READER, so the
    // refusal ends the group listing, not the connect.
    EXPECT_EQ(app.statbar[2], "Not Authenticated");
    EXPECT_EQ(app.lstGroups.count(), 0);

    app.Password = "s3cret";
    cmdConnect(app, true);
    EXPECT_TRUE(listed(app.lstGroups, group)) << app.statbar[2].toStdString();
    cmdDisconnect(app);
}

} // namespace
