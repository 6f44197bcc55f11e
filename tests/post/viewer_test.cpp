// The message viewer on the main window, against INN and, for articles of
// an exact length, the scripted server.
#include "attachments/download_drivers.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "post/message_view.h"
#include "post/message_window.h"
#include "post/post_dialog.h"
#include "shell/temp_files.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

class Viewer : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        t.setSetting("NNTPServer", inn.address());
        t.setSetting("Signature", "-- \r\nAnn");
        window = t.openWindow();
        app.DestDir = t.path("download/");
        QDir().mkpath(app.DestDir);
        app.Timer1.start();
        group = InnServer::uniqueGroup("alt.zf.viewer");
        ASSERT_TRUE(inn.newGroup(group));
    }
    void TearDown() override { cmdDisconnect(app); }

    void openGroup() {
        cmdConnect(app, false);
        ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
        app.CurrentGroup = group;
        app.HeaderField = "Subject";
        ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    }
    // The right button on row of the message list.
    MessageWindow* view(int row) {
        app.lstMessages.selectOnly(row);
        app.lstMessages.setListIndex(row);
        lstMessages_MouseDown(app);
        return window->viewer();
    }

    TestApp t;
    App& app = t.app;
    std::unique_ptr<MainWindow> window;
    QString group;
};

// A text post shown as a reader expects it, the commands of the main window
// off while it is open, Next and Previous within the list only, Esc closes.
TEST_F(Viewer, ShowsTheArticleWalksTheListAndGivesTheCommandsBack) {
    ASSERT_TRUE(inn.post(group, "=?UTF-8?B?R3LDvMOfZQ==?= first", "Hello there,\r\n.dotted\r\n",
                         {{"MIME-Version", "1.0"}, {"Content-Type", "text/plain; charset=UTF-8"}}));
    ASSERT_TRUE(inn.post(group, "second", "Zwei Grüße\r\n"));
    app.ShowMNumbers = false;
    openGroup();
    ASSERT_EQ(app.lstMessages.count(), 2);

    MessageWindow* v = view(0);
    ASSERT_NE(v, nullptr);
    EXPECT_TRUE(v->isVisible());
    EXPECT_EQ(v->lblMsgContents->text(), app.lstMessages.text(0)) << "the row, unchanged";
    const QString body = v->txtMsgBody->toPlainText();
    EXPECT_TRUE(body.contains("Subject: Grüße first")) << body.toStdString();
    EXPECT_TRUE(body.contains("\nHello there,\n.dotted\n")) << body.toStdString();
    EXPECT_FALSE(body.contains(u'\r'));
    EXPECT_FALSE(window->toolButton(9)->isEnabled()) << "All is off while the viewer is open";

    QSignalSpy fetches(app.NNTP.get(), &NntpControl::document);
    v->menuPrevious_Click();
    EXPECT_TRUE(fetches.isEmpty()) << "nothing before the first row";
    v->menuNext_Click();
    EXPECT_EQ(app.lstMessages.listIndex(), 1);
    EXPECT_TRUE(v->txtMsgBody->toPlainText().contains("Zwei Grüße"));
    fetches.clear();
    v->menuNext_Click();
    EXPECT_TRUE(fetches.isEmpty()) << "nothing after the last row";

    QTest::keyClick(v->txtMsgBody, Qt::Key_Escape);
    EXPECT_FALSE(v->isVisible());
    EXPECT_TRUE(window->toolButton(9)->isEnabled());
}

// Reply end to end: the compose dialog comes up filled, posts to the current
// group through the posting client, and the reply on the server holds the
// title, the 40 hyphens, the first 100 characters and the signature twice.
TEST_F(Viewer, ReplyPostsThroughTheComposeDialog) {
    ASSERT_TRUE(inn.post(group, "original", QByteArray(150, 'q') + "\r\n"));
    openGroup();
    app.EmailAddress = "ann@example.com";
    MessageWindow* v = view(0);
    ASSERT_NE(v, nullptr);
    const QString quoted = v->txtMsgBody->toPlainText().left(100);
    bool posted = false;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<PostDialog*>(QApplication::activeModalWidget());
        if (!dialog) return;
        EXPECT_EQ(dialog->txtSubjectField()->text(), "Re : " + app.lstMessages.text(0));
        dialog->txtEmailField()->setText("ann@example.com");
        dialog->cmdOK_Click();
        posted = true;
        dialog->reject();
    });
    v->menuReply_Click();
    ASSERT_TRUE(posted) << "the compose dialog never came up";

    NntpProbe probe;
    ASSERT_EQ(NntpProbe::code(probe.connectTo(inn.port())) / 100, 2);
    ASSERT_TRUE(probe.command("GROUP " + group.toUtf8()).startsWith("211 2 "));
    ASSERT_EQ(NntpProbe::code(probe.command("ARTICLE 2")), 220);
    QByteArray reply;
    for (QByteArray line = probe.readLine(); !line.isNull() && line != "."; line = probe.readLine())
        reply += (line.startsWith('.') ? line.mid(1) : line) + "\n";
    EXPECT_TRUE(reply.contains("Subject: Re : original")) << reply.toStdString();
    EXPECT_TRUE(reply.contains("\n" + QByteArray(40, '-') + "\n" + quoted.toUtf8()));
    EXPECT_EQ(reply.count("-- \nAnn"), 2) << reply.toStdString();
    EXPECT_FALSE(reply.contains(QByteArray(101, 'q')));
    v->close();
}

// The viewer shows at most 32,000 characters; from there on the caption says so.
TEST(ViewerLimit, AnArticleOfExactly32000CharactersIsMarkedPartial) {
    for (int size : {31999, 32000}) {
        SCOPED_TRACE(size);
        TestApp t;
        App& app = t.app;
        ScriptedNntpServer s;
        ASSERT_TRUE(s.listen());
        const QByteArray head = "Subject: long\r\n\r\n";
        QByteArray article = head + QByteArray(size - head.size() - 2, 'x') + "\r\n";
        s.send("200 ok\r\n").expect("MODE READER").send("200 ok\r\n");
        // An article number past 2^31, as today's servers have them.
        s.expect("ARTICLE 3000000123").send("220 3000000123 <a@b>\r\n" + article + ".\r\n");
        s.expect("QUIT").send("205 bye\r\n");
        t.setSetting("NNTPServer", s.address());
        const auto window = t.openWindow();
        app.Timer1.start();
        cmdConnect(app, false);
        ASSERT_TRUE(app.IsConnected);
        app.lstMessages.addItem(0, "long", "3000000123 Subject", 3000000123);
        app.ShowMNumbers = false;
        app.lstMessages.selectOnly(0);
        app.lstMessages.setListIndex(0);
        lstMessages_MouseDown(app);
        MessageWindow* v = window->viewer();
        ASSERT_NE(v, nullptr);
        ASSERT_EQ(app.MessageText.size(), size) << "the script's article";
        EXPECT_EQ(v->windowTitle().endsWith(" (partial)"), size == 32000);
        EXPECT_EQ(v->txtMsgBody->toPlainText().size(), size - 3) << "without its three CRs";
        v->close();
        cmdDisconnect(app);
    }
}

} // namespace
