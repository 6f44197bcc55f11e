// The line receiver fed directly with document events, and the small text
// routines of group rows.
#include "fixtures/test_app.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/line_receiver.h"

#include <QDir>
#include <gtest/gtest.h>

namespace {

TEST(GroupRows, NumbersJunkCachesAndTheBinariesFilter) {
    const struct {
        QString row, clean, callerAfter;
    } cases[] = {
        {mark(1) + "alt.pics (12)", "alt.pics", "alt.pics "},
        {"alt.pics (0)", "alt.pics", "alt.pics "},
        {"  alt.pics  ", "alt.pics", "  alt.pics  "},
        {mark(4) + "alt.fav (news.x) ", "alt.fav", "alt.fav "},
    };
    for (const auto& c : cases) {
        QString text = c.row;
        EXPECT_EQ(cleanNewsGroup(text), c.clean) << c.row.toStdString();
        EXPECT_EQ(text, c.callerAfter) << "the caller's text keeps its blanks";
    }
    // Leading numbers of LIST and XHDR lines, around the 18 digits that
    // cannot overflow and the 19 that may.
    const struct {
        const char* text;
        qint64 number;
    } numbers[] = {
        {"", 0},
        {"y", 0},
        {"0000000001 y", 1},
        {"12a", 12},
        {"999999999999999999", 999999999999999999},
        {"1000000000000000000 x", 1000000000000000000},
        {"9223372036854775807", 9223372036854775807},
        {"9223372036854775808", -1},
        {"99999999999999999999", -1},
        {"0000000000000000000000000000042", 42},
        // Eight digits at a time: a byte next to '0' and '9' ends the number.
        {"1234567/90", 1234567},
        {"1234567:90", 1234567},
        {"123456789012345:67", 123456789012345},
        {"9876543210987654 y", 9876543210987654},
        {"00000001\xff", 1},
    };
    for (const auto& n : numbers) {
        qsizetype end = -1;
        EXPECT_EQ(leadingNumber(n.text, &end), n.number) << n.text;
        const QByteArrayView text(n.text);
        qsizetype digits = 0;
        while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9')
            ++digits;
        if (n.number >= 0) {
            EXPECT_EQ(end, digits) << n.text;
        }
    }

    for (const char* junk : {"1 Visit my site", "2 see x.HTM", "3 ~~ wow", "4 free!", "5 a--b"})
        EXPECT_TRUE(IsJunkSubject(QString::fromLatin1(junk))) << junk;
    for (const char* fine : {"1 holiday.jpg (1/3)", "2 \"a.png\" yEnc (01/10)", "3 -x- y"})
        EXPECT_FALSE(IsJunkSubject(QString::fromLatin1(fine))) << fine;

    TestApp t;
    App& app = t.app;
    app.CurrentServer = "news.example.com:119";
    EXPECT_EQ(ServerCacheName(app), "news_example_com:119");
    // A TLS address has a cache file of its own like any other, read back whole.
    app.AutoLoadGroups = true;
    ASSERT_TRUE(QDir().mkpath(app.AppPath + "Cache"));
    for (const QString& server :
         {QStringLiteral("nntps://news.example.com"),
          QStringLiteral("nntps://news.example.com:563"), QString(300, u'x') + ".example.com"}) {
        app.CurrentServer = server;
        app.lstGroups.clear();
        app.lstGroups.addItem("alt.tls (4)");
        SaveGroupsToDisk(app);
        app.lstGroups.clear();
        EXPECT_EQ(GetGroupFromDisk(app), 0) << server.toStdString();
        EXPECT_EQ(texts(app.lstGroups), QStringList{"alt.tls (4)"});
        EXPECT_FALSE(ServerCacheName(app).contains(u'/'));
    }
    app.lstGroups.clear();
    app.CurrentServer = "news.example.com:119";
    for (const QString& g : {QString("alt.text (0)"), mark(1) + "alt.binaries.a (3)",
                             QString("comp.lang (0)"), QString("alt.Binaries.b (0)")})
        app.lstGroups.addItem(g);
    RemoveNonBinary(app);
    EXPECT_EQ(texts(app.lstGroups),
              (QStringList{mark(1) + "alt.binaries.a (3)", "alt.Binaries.b (0)"}));
}

TEST(Receiver, GroupLinesWholeOnlyWithProgressEveryHundredRows) {
    TestApp t;
    App& app = t.app;
    app.TransferMode = 1;
    QStringList progress;
    QObject::connect(&app, &App::statusChanged, [&](int p) {
        if (p == 2 && !app.statbar[2].isEmpty()) progress << app.statbar[2];
    });
    NNTP_Document(app, 1, {});
    QByteArray all;
    for (int i = 0; i < 250; ++i)
        all += "g" + QByteArray::number(i) + " 2 1 y\r\n";
    all += ".\r\n\r\n";
    // Cut into 7-byte blocks: inside lines and between CR and LF.
    for (qsizetype at = 0; at < all.size(); at += 7) {
        app.TickCount = 99;
        NNTP_Document(app, 3, all.mid(at, 7));
        EXPECT_EQ(app.TickCount, 0);
    }
    NNTP_Document(app, 5, {});
    ASSERT_EQ(app.lstGroups.count(), 250);
    EXPECT_EQ(app.lstGroups.text(249), mark(1) + "g249 (1)");
    EXPECT_EQ(progress, (QStringList{"~100 Groups So Far", "~200 Groups So Far"}));

    // Megabytes in one block, as a loaded machine reads them: every row, and
    // no buffer of that size kept once the lines are used up.
    app.lstGroups.clear();
    NNTP_Document(app, 1, {});
    QByteArray burst;
    for (int i = 0; i < 100000; ++i)
        burst += "alt.burst." + QByteArray::number(i) + " 5 1 y\r\n";
    NNTP_Document(app, 3, burst);
    ASSERT_EQ(app.lstGroups.count(), 100000);
    EXPECT_EQ(app.lstGroups.text(99999), mark(1) + "alt.burst.99999 (4)");
    EXPECT_LE(app.LineBuffer.capacity(), 1 << 20);

    // A stop holds the group lines back, whole or cut; once it is over they
    // come in order, each once.
    app.lstGroups.clear();
    NNTP_Document(app, 1, {});
    NNTP_Document(app, 3, "s.a 2 1 y\r\ns.b 3 1 y\r\ns.c 4");
    app.StopRequested = true;
    NNTP_Document(app, 3, " 1 y\r\ns.d 5 1 y\r\ns.e");
    EXPECT_EQ(app.lstGroups.count(), 2);
    app.StopRequested = false;
    NNTP_Document(app, 3, " 6 1 y\r\n");
    EXPECT_EQ(texts(app.lstGroups),
              (QStringList{mark(1) + "s.a (1)", mark(1) + "s.b (2)", mark(1) + "s.c (3)",
                           mark(1) + "s.d (4)", mark(1) + "s.e (5)"}));

    // A begin throws away the rest of an aborted transfer.
    app.LineBuffer = "half a li";
    NNTP_Document(app, 1, {});
    EXPECT_TRUE(app.LineBuffer.isEmpty());
}

TEST(Receiver, LinesEndAtCrLfOnlyAndKeepTheirOwnFirstBlank) {
    TestApp t;
    App& app = t.app;
    app.TransferMode = 3;
    app.HeaderField = "Subject";
    NNTP_Document(app, 1, {});
    // A line without a blank before one with it, in the same sixteen bytes;
    // a bare LF or CR inside a line; a blank past the first sixteen bytes;
    // a line that ends right at the end of the block.
    NNTP_Document(app, 3,
                  "7\r\n8 eight\r\n9 nine\nstill\r nine\r\n10\nx y\r\n"
                  "123456789012345678 long\r\n11 last\r\n");
    NNTP_Document(app, 5, {});
    EXPECT_EQ(texts(app.lstMessages),
              (QStringList{"eight", "nine\nstill\r nine", "y", "long", "last"}));
    EXPECT_EQ(app.lstMessages.number(2), 10);

    app.TransferMode = 1;
    NNTP_Document(app, 1, {});
    NNTP_Document(app, 3,
                  "alt.binaries.a.long.group.name 0000000009 0000000003 y\r\n"
                  "alt.binaries.x.y 0000000005 0000000001 y\r\n");
    NNTP_Document(app, 5, {});
    EXPECT_EQ(texts(app.lstGroups), (QStringList{mark(1) + "alt.binaries.a.long.group.name (6)",
                                                 mark(1) + "alt.binaries.x.y (4)"}));
}

TEST(Receiver, AfterAnErrorEventsAreNotReadButStillResetTheClock) {
    TestApp t;
    App& app = t.app;
    app.TransferMode = 3;
    app.HeaderField = "Subject";
    NNTP_Document(app, 1, {});
    NNTP_Document(app, 3, "1 first\r\n2 sec");
    NNTP_Document(app, 4, {});
    EXPECT_EQ(app.LastError, -1);
    app.TickCount = 50;
    NNTP_Document(app, 3, "ond\r\n3 third\r\n");
    NNTP_Document(app, 5, {});
    EXPECT_EQ(app.TickCount, 0);
    EXPECT_EQ(texts(app.lstMessages), QStringList{"first"});
    EXPECT_FALSE(app.HeadersDone);

    // Mode 2 data resets the clock, its begin and end do not.
    app.LastError = 0;
    app.TransferMode = 2;
    app.TickCount = 5;
    NNTP_Document(app, 1, {});
    NNTP_Document(app, 5, {});
    EXPECT_EQ(app.TickCount, 5);
}

} // namespace
