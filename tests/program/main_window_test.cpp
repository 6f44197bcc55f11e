// The main window offscreen, closed in the middle of a transfer.
#include "attachments/download.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "program/main_window.h"

#include <QCoreApplication>
#include <QDir>
#include <gtest/gtest.h>

namespace {

// The window closed while a header listing or an article is on its way: the
// wait in work ends at once and gives its request up, and nothing is written
// after the temporary files were removed.
TEST(Window, ClosingDuringATransferEndsTheWaitAndWritesNothingAfter) {
    for (bool article : {false, true}) {
        SCOPED_TRACE(article ? "article" : "headers");
        TestApp t;
        App& app = t.app;
        ScriptedNntpServer server;
        ASSERT_TRUE(server.listen());
        server.send("200 ready\r\n").expect("MODE READER").send("200 reader\r\n");
        if (article)
            server.expect("ARTICLE 5")
                .send("220 5 <a@b> article\r\nSubject: a\r\n\r\n"
                      "begin 644 a.jpg\r\nM86)C\r\n");
        else
            server.expect("GROUP alt.x")
                .send("211 5 1 5 alt.x\r\n")
                .expect("XHDR Subject 1-5")
                .send("221 ok\r\n1 first\r\n");
        server.silence();
        const auto window = t.openWindow();
        app.Timer1.start();
        app.CurrentServer = server.address();
        cmdConnect(app, false);
        ASSERT_TRUE(app.IsConnected);
        // Fast ticks, and a time-out long enough that a loaded machine still
        // delivers the first block before it.
        app.Timer1.start(10);
        app.Timeout = 200;

        int passesAfterClose = -1;
        app.DoEvents = [&, pass = app.DoEvents] {
            if (passesAfterClose >= 0) ++passesAfterClose;
            pass();
            const bool arrived = article ? !app.AttachName.isEmpty() : app.lstMessages.count() > 0;
            if (arrived && passesAfterClose < 0) {
                passesAfterClose = 0;
                window->close();
            }
        };
        app.CurrentGroup = "alt.x";
        app.HeaderField = "Subject";
        if (article) {
            app.lstMessages.addItem(-1, "a.jpg", "5 Subject", 5);
            qint32 row = 0;
            cmdDownload(app, row);
        } else {
            cmdGetMessageHeaders(app, false);
        }

        EXPECT_EQ(t.endProcessCalls, 1);
        EXPECT_EQ(passesAfterClose, 0);
        EXPECT_FALSE(app.NNTP->busy());
        EXPECT_TRUE(connectionClosed(app));
        EXPECT_FALSE(QFile::exists(messageListPath(app)));
        EXPECT_EQ(QDir(app.DestDir).entryList(QDir::Files), QStringList());
        EXPECT_EQ(QDir(app.AppPath).entryList({"*.tmp"}, QDir::Files), QStringList());
        EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
    }
}

} // namespace
