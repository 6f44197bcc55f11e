// The main window offscreen: how it keeps its size across a restart, and
// closing it in the middle of a transfer.
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

// The minimum size holds, and the normal rectangle, kept though the window
// closed maximised, is where the next start puts it.
TEST(Window, KeepsItsMinimumSizeAndItsGeometryForTheNextStart) {
    TestApp t;
    const auto window = t.openWindow();
    const double k = window->pxPerTwip();
    window->resize(100, 100);
    EXPECT_GE(window->geometry().width(), qRound(9000 * k) - 1);
    EXPECT_GE(window->geometry().height(), qRound(6000 * k) - 1);

    window->move(qRound(300 * k / 15 * 15), qRound(200 * k / 15 * 15));
    window->resize(qRound(12000 * k), qRound(8000 * k));
    const QRect before = window->geometry();
    const QPoint beforePos = window->pos();
    // Closed maximised, the normal rectangle is what is kept.
    window->showMaximized();
    QCoreApplication::processEvents();
    ASSERT_NE(window->geometry(), before);
    window->close();
    EXPECT_EQ(t.endProcessCalls, 1);

    // A new start on the saved settings comes back at the same place and size.
    TestApp again;
    for (const char* key : {"Width", "Height", "Top", "Left"})
        again.setSetting(QLatin1String(key), t.setting(QLatin1String(key)));
    const auto second = again.openWindow();
    EXPECT_NEAR(second->geometry().width(), before.width(), 1.5);
    EXPECT_NEAR(second->geometry().height(), before.height(), 1.5);
    EXPECT_NEAR(second->pos().x(), beforePos.x(), 1.5);
    EXPECT_NEAR(second->pos().y(), beforePos.y(), 1.5);
}

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
