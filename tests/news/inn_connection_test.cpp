// Connecting, listing groups and reading a group's subjects against a real
// INN on loopback, through the same procedures the menus call.
#include "fixtures/inn_server.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/app.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

namespace {

// Answers every yes/no question with a fixed answer and remembers the texts.
class AnsweringPrompter : public SilentPrompter {
public:
    bool answer = true;
    QStringList asked;
    bool askYesNo(const QString& text, const QString&) override {
        asked << text;
        return answer;
    }
};

class InnConnection : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        app.ExeDir = dir.path();
        app.AppPath = dir.path() + "/";
        app.DestDir = app.AppPath;
        app.SettingsFile = dir.filePath("settings.ini");
        app.prompter = &prompter;
        QDir(dir.path()).mkdir("Cache");
        app.Timer1.start();
        app.CurrentServer = inn.address();
    }
    // Posts count articles to group over one connection.
    void postMany(const QString& group, int count, const std::function<QString(int)>& subject) {
        NntpProbe nntp;
        ASSERT_EQ(NntpProbe::code(nntp.connectTo(inn.port())), 200);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(NntpProbe::code(nntp.command("POST")), 340);
            QByteArray article =
                "From: poster <p@zanderfell.test>\r\nNewsgroups: " + group.toUtf8() +
                "\r\nSubject: " + subject(i).toUtf8() + "\r\n\r\nbody " + QByteArray::number(i) +
                "\r\n.\r\n";
            ASSERT_TRUE(nntp.send(article));
            ASSERT_EQ(NntpProbe::code(nntp.readLine()), 240) << "article " << i;
        }
    }
    bool hasGroupRow(const QString& group) const {
        for (int i = 0; i < app.lstGroups.count(); ++i) {
            QString t = app.lstGroups.text(i);
            if (cleanNewsGroup(t) == group) return true;
        }
        return false;
    }

    QTemporaryDir dir;
    AnsweringPrompter prompter;
    App app;
};

TEST_F(InnConnection, ListsGroupsCachesThemAndFiltersBinaries) {
    const QString text = InnServer::uniqueGroup("zf.list");
    const QString binary = InnServer::uniqueGroup("alt.binaries.zf");
    ASSERT_TRUE(inn.newGroup(text));
    ASSERT_TRUE(inn.newGroup(binary));
    ASSERT_TRUE(inn.post(binary, "a (1/1)", "x\n"));

    cmdConnect(app, true);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    EXPECT_TRUE(app.GroupsDone);
    EXPECT_TRUE(hasGroupRow(text));
    EXPECT_TRUE(hasGroupRow(binary));
    const int all = app.lstGroups.count();
    ASSERT_TRUE(QFile::exists(groupCachePath(app)));

    // A new connection starts empty and takes the cache, after asking when
    // AutoLoadGroups is off; with the binaries filter only binary groups stay.
    cmdDisconnect(app);
    EXPECT_EQ(app.lstGroups.count(), 0);
    app.AutoLoadGroups = false;
    app.BinariesOnly = true;
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    cmdConnect(app, true);
    EXPECT_EQ(prompter.asked, QStringList{"Load Saved Group List?"});
    EXPECT_EQ(documents.count(), 0) << "the cache served, the server was not asked";
    EXPECT_TRUE(hasGroupRow(binary));
    EXPECT_FALSE(hasGroupRow(text));
    EXPECT_LT(app.lstGroups.count(), all);
    for (int i = 0; i < app.lstGroups.count(); ++i)
        EXPECT_TRUE(app.lstGroups.text(i).contains(".binar"))
            << app.lstGroups.text(i).toStdString();

    // Answering No asks the server again.
    prompter.answer = false;
    cmdDisconnect(app);
    cmdConnect(app, true);
    EXPECT_GT(documents.count(), 0);
    // Other tests add groups meanwhile: the fresh list is the whole list again.
    EXPECT_TRUE(hasGroupRow(text));
    EXPECT_GE(app.lstGroups.count(), all);
    cmdDisconnect(app);
}

TEST_F(InnConnection, AThousandArticlesGiveAThousandRowsAndTheListFileServesTheSecondOpening) {
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.many");
    ASSERT_TRUE(inn.newGroup(group));
    // Every tenth subject is junk.
    postMany(group, 1000, [](int i) {
        return i % 10 == 0 ? QStringLiteral("FREE offer %1").arg(i)
                           : QStringLiteral("picture %1.jpg (1/1)").arg(i);
    });

    cmdConnect(app, true);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    app.CurrentGroup = group;
    app.HeaderField = "Subject";
    EXPECT_EQ(cmdGetMessageHeaders(app, true), 0);
    ASSERT_EQ(app.lstMessages.count(), 1000);
    EXPECT_EQ(app.lstMessages.text(1), "picture 1.jpg (1/1)");
    EXPECT_EQ(app.frame(Frame::Messages).title, "Available Messages (1000)  Group : " + group);
    ASSERT_TRUE(QFile::exists(messageListPath(app)));

    // Again in the same run: the list file serves; the select goes out but
    // no header request follows.
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    QSignalSpy selected(app.NNTP.get(), &NntpControl::groupSelected);
    EXPECT_EQ(cmdGetMessageHeaders(app, true), 0);
    EXPECT_EQ(app.lstMessages.count(), 1000);
    EXPECT_TRUE(selected.wait(10000));
    EXPECT_EQ(documents.count(), 0);

    // A refresh asks the server, and RemoveSpam drops the junk subjects.
    app.RemoveSpam = true;
    app.menuEnabled[52] = true;
    EXPECT_EQ(cmdGetMessageHeaders(app, false), 0);
    EXPECT_EQ(app.lstMessages.count(), 900);
    cmdDisconnect(app);
}

TEST(InnLogin, ReaderLoginRightAndWrong) {
    if (!InnServer::configured()) GTEST_SKIP() << "no news server in this run";
    auto inn = InnServer::startPrivate();
    ASSERT_TRUE(inn && inn->available()) << (inn ? inn->lastError().toStdString() : "");
    ASSERT_TRUE(inn->setLogin("reader", "s3cret")) << inn->lastError().toStdString();
    const QString group = InnServer::uniqueGroup("zf.login");
    ASSERT_TRUE(inn->newGroup(group));

    QTemporaryDir dir;
    App app;
    app.ExeDir = dir.path();
    app.AppPath = dir.path() + "/";
    QDir(dir.path()).mkdir("Cache");
    app.Timer1.start();
    app.CurrentServer = inn->address();

    app.UserID = "reader";
    app.Password = "wrong";
    cmdConnect(app, true);
    EXPECT_FALSE(app.GroupsDone);
    EXPECT_EQ(app.ErrorText, "Can't Authenticate");
    // INN asks for the login at the first command after MODE READER, so the
    // refusal ends the group listing, not the connect.
    EXPECT_EQ(app.statbar[2], "Not Authenticated");
    EXPECT_EQ(app.statbar[3], "Disconnected");
    EXPECT_EQ(app.lstGroups.count(), 0);

    app.Password = "s3cret";
    cmdConnect(app, true);
    EXPECT_TRUE(app.IsConnected);
    EXPECT_TRUE(app.GroupsDone) << app.statbar[2].toStdString();
    bool found = false;
    for (int i = 0; i < app.lstGroups.count(); ++i) {
        QString t = app.lstGroups.text(i);
        found = found || cleanNewsGroup(t) == group;
    }
    EXPECT_TRUE(found);
    cmdDisconnect(app);
}

} // namespace
