// The test server itself: groups, posts and logins reach a real INN, and what
// a reader sees on the wire is what the other integration tests rely on.

#include "fixtures/inn_server.h"

#include <gtest/gtest.h>

namespace {

using InnFixture = InnTest;

TEST_F(InnFixture, PostedArticlesAreListedAndServedDotStuffed) {
    const QString group = InnServer::uniqueGroup(QStringLiteral("zf.fixture"));
    ASSERT_TRUE(inn.newGroup(group)) << inn.lastError().toStdString();

    const QStringList subjects{QStringLiteral("first post"), QStringLiteral("pic.png (1/2)"),
                               QStringLiteral("\"pic.png\" yEnc (2/2)")};
    // The last body has lines that would end the article or be eaten by
    // dot-stuffing if either side got it wrong.
    const QByteArray tricky = "before\n.\n.starts with a dot\n..two dots\nafter\n";
    for (const QString& subject : subjects) {
        const QByteArray body = subject == subjects.last() ? tricky : QByteArray("plain body\n");
        ASSERT_TRUE(inn.post(group, subject, body, {{"X-Test", "fixture"}}))
            << inn.lastError().toStdString();
    }
    const QByteArray lastId = inn.lastMessageId();
    ASSERT_TRUE(lastId.startsWith('<') && lastId.endsWith('>')) << lastId.toStdString();

    NntpProbe nntp;
    ASSERT_EQ(NntpProbe::code(nntp.connectTo(inn.port())), 200);

    const QList<QByteArray> group211 = nntp.command("GROUP " + group.toUtf8()).split(' ');
    ASSERT_GE(group211.size(), 5);
    EXPECT_EQ(group211[0], "211");
    EXPECT_EQ(group211[1], "3");
    const QByteArray first = group211[2];
    const QByteArray last = group211[3];
    EXPECT_EQ(group211[4], group.toUtf8());

    ASSERT_EQ(NntpProbe::code(nntp.command("XHDR Subject " + first + "-" + last)), 221);
    bool complete = false;
    const QList<QByteArray> xhdr = nntp.readBlock(true, &complete);
    ASSERT_TRUE(complete);
    ASSERT_EQ(xhdr.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(xhdr[i], QByteArray::number(first.toLongLong() + i) + " " + subjects[i].toUtf8());
    }

    // HDR and XOVER give the same subjects; readers fall back to them.
    ASSERT_EQ(NntpProbe::code(nntp.command("HDR Subject " + first + "-" + last)), 225);
    EXPECT_EQ(nntp.readBlock(), xhdr);
    ASSERT_EQ(NntpProbe::code(nntp.command("XOVER " + first + "-" + last)), 224);
    const QList<QByteArray> over = nntp.readBlock();
    ASSERT_EQ(over.size(), 3);
    EXPECT_EQ(over[2].split('\t').value(1), subjects[2].toUtf8());
    EXPECT_EQ(over[2].split('\t').value(4), lastId);

    ASSERT_EQ(NntpProbe::code(nntp.command("ARTICLE " + last)), 220);
    const QList<QByteArray> raw = nntp.readBlock(false, &complete);
    ASSERT_TRUE(complete);
    const qsizetype blank = raw.indexOf(QByteArray());
    ASSERT_GT(blank, 0);
    const QList<QByteArray> headers = raw.mid(0, blank);
    EXPECT_TRUE(headers.contains("X-Test: fixture"));
    EXPECT_TRUE(headers.contains("Message-ID: " + lastId));
    // On the wire every line starting with "." carries one more.
    const QList<QByteArray> wireBody{"before", "..", "..starts with a dot", "...two dots", "after"};
    EXPECT_EQ(raw.mid(blank + 1), wireBody);

    ASSERT_EQ(NntpProbe::code(nntp.command("BODY " + last)), 222);
    const QList<QByteArray> body{"before", ".", ".starts with a dot", "..two dots", "after"};
    EXPECT_EQ(nntp.readBlock(true), body);
}

TEST_F(InnFixture, NoPostingGroupRefusesArticles) {
    const QString group = InnServer::uniqueGroup(QStringLiteral("zf.fixture.ro"));
    ASSERT_TRUE(inn.newGroup(group, false)) << inn.lastError().toStdString();
    EXPECT_FALSE(inn.post(group, QStringLiteral("refused"), "body\n"));
    EXPECT_TRUE(inn.lastError().contains(QStringLiteral("441"))) << inn.lastError().toStdString();

    NntpProbe nntp;
    ASSERT_EQ(NntpProbe::code(nntp.connectTo(inn.port())), 200);
    EXPECT_EQ(NntpProbe::code(nntp.command("LIST ACTIVE " + group.toUtf8())), 215);
    const QList<QByteArray> active = nntp.readBlock();
    ASSERT_EQ(active.size(), 1);
    EXPECT_TRUE(active[0].endsWith(" n")) << active[0].toStdString();
    EXPECT_TRUE(nntp.command("GROUP " + group.toUtf8()).startsWith("211 0 "));
}

// Logins change what every reader of an instance may do, so this runs on a
// server of its own and leaves the shared one anonymous.
TEST_F(InnFixture, LoginIsRequiredOnceSet) {
    std::unique_ptr<InnServer> own = InnServer::startPrivate();
    ASSERT_TRUE(own->available()) << own->lastError().toStdString();
    ASSERT_NE(own->port(), inn.port());
    const QString group = QStringLiteral("zf.fixture.login");
    ASSERT_TRUE(own->newGroup(group)) << own->lastError().toStdString();
    ASSERT_TRUE(own->setLogin(QStringLiteral("reader"), QStringLiteral("s3cret pass")))
        << own->lastError().toStdString();
    // post() now logs in itself.
    ASSERT_TRUE(own->post(group, QStringLiteral("members only"), "hello\n"))
        << own->lastError().toStdString();

    {
        NntpProbe anonymous;
        ASSERT_EQ(NntpProbe::code(anonymous.connectTo(own->port())), 200);
        EXPECT_EQ(NntpProbe::code(anonymous.command("GROUP " + group.toUtf8())), 480);
        const int wrong = NntpProbe::code(anonymous.authenticate("reader", "wrong"));
        EXPECT_TRUE(wrong == 481 || wrong == 502) << wrong;
        EXPECT_EQ(NntpProbe::code(anonymous.command("GROUP " + group.toUtf8())), 480);
    }
    {
        NntpProbe member;
        ASSERT_EQ(NntpProbe::code(member.connectTo(own->port())), 200);
        EXPECT_EQ(NntpProbe::code(member.authenticate("reader", "s3cret pass")), 281);
        EXPECT_TRUE(member.command("GROUP " + group.toUtf8()).startsWith("211 1 "));
    }

    // The shared server was not touched.
    NntpProbe shared;
    ASSERT_EQ(NntpProbe::code(shared.connectTo(inn.port())), 200);
    EXPECT_EQ(NntpProbe::code(shared.command("LIST ACTIVE zf.fixture.login")), 215);
    EXPECT_TRUE(shared.readBlock().isEmpty());

    ASSERT_TRUE(own->clearLogin()) << own->lastError().toStdString();
    NntpProbe again;
    ASSERT_EQ(NntpProbe::code(again.connectTo(own->port())), 200);
    EXPECT_TRUE(again.command("GROUP " + group.toUtf8()).startsWith("211 1 "));
}

} // namespace
