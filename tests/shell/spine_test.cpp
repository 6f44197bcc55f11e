// The shared clock and waits, temporary files, startup and exit.
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "program/startup.h"
#include "shell/temp_files.h"
#include "shell/waits.h"

#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

// ---- clock and waits ----

// A wait counts its own ticks from 0 and ends once it has passed n, or at a
// stop asked for before it (pass 0) or inside it.
TEST(Waits, AWaitCountsItsOwnTicksAndAStopEndsIt) {
    const std::tuple<int, int, int> cases[] = {
        {0, -1, 1}, {1, -1, 2}, {5, -1, 6}, {100, 0, 0}, {100, 3, 3}}; // n, stop at, passes
    for (auto [n, stopAt, passes] : cases) {
        TestApp t;
        t.useFakeClock([&, stopAt = stopAt](int pass) {
            if (pass == stopAt) t.app.StopRequested = true;
        });
        t.app.StopRequested = stopAt == 0;
        t.app.TickCount = 1234;
        WaitTicks(t.app, n);
        EXPECT_EQ(t.passes, passes) << "WaitTicks(" << n << "), stop at " << stopAt;
        EXPECT_EQ(t.app.TickCount, passes) << "WaitTicks(" << n << "), stop at " << stopAt;
    }

    // The clock wraps after 32767; a handler inside the first pass moved it
    // to its top, and the wait goes on across the wrap.
    TestApp t;
    t.app.TickCount = 32766;
    Timer1_Timer(t.app);
    EXPECT_EQ(t.app.TickCount, 32767);
    t.app.DoEvents = [&] {
        if (++t.passes == 1) t.app.TickCount = 32767;
        Timer1_Timer(t.app);
        t.app.StopRequested = t.passes == 100; // a wait that does not end
    };
    WaitTicks(t.app, 5);
    EXPECT_EQ(t.passes, 7); // 32767 -> 0, then 1 .. 6
    EXPECT_EQ(t.app.TickCount, 6);
}

// ---- temporary files ----

TEST(TempFiles, KillTempFilesRemovesAllOrOnlyOurOwn) {
    const QStringList dirs = {"app/", "dest/"};
    const QStringList names = {"123456.tmp", "200000.tmp", "notes.txt", "tmp", "Cache/1.tmp"};
    for (bool all : {true, false}) {
        TestApp t;
        t.app.AppPath = t.path("app") + "/";
        t.app.DestDir = t.path("dest") + "/";
        t.app.TempFile = "123456.tmp";
        for (const QString& d : dirs)
            for (const QString& f : names)
                ASSERT_TRUE(t.writeFile(d + f));
        KillTempFiles(t.app, all);
        const bool kept[] = {false, !all, true, true, true};
        for (const QString& d : dirs)
            for (int i = 0; i < names.size(); ++i)
                EXPECT_EQ(QFileInfo::exists(t.path(d + names[i])), kept[i])
                    << (d + names[i]).toStdString() << " all " << all;
    }
}

// ---- startup and exit ----

// Startup gives favourites their picture, makes the current server's row the
// current one and turns on Links for a link page, even an empty one. Exit may
// come inside a wait, as when the window is closed during a transfer: the wait
// ends, and all is saved.
TEST(Lifetime, StartupLoadsTheListsAndExitFromInsideAWaitSavesThemAndEnds) {
    TestApp t;
    ASSERT_TRUE(t.writeFile("ZanderfellFavorites.fav", "alt.binaries.test news.example.net\n"));
    ASSERT_TRUE(t.writeFile("NNTP_NET.INI", "00012 OK    news.example.org\n"
                                            "????? ???    news.example.net\n"));
    ASSERT_TRUE(t.writeFile("UsenetHTTP.htm"));
    t.setSetting("NNTPServer", "news.example.net");
    t.load();
    ASSERT_EQ(t.app.lstFavorites.count(), 1);
    EXPECT_EQ(t.app.lstFavorites.picture(0), 12);
    EXPECT_EQ(t.app.txtNNTPServ.listIndex(), 1);
    EXPECT_EQ(t.app.txtNNTPServ.selCount(), 0);
    EXPECT_TRUE(t.app.toolbar[13].enabled);

    t.app.txtNNTPServ.removeItem(0);
    t.app.lstFavorites.addItem("alt.test news.example.net");
    t.app.Timeout = 45;
    t.app.WindowState = 2;
    ASSERT_TRUE(t.writeFile("Download/" + t.app.TempFile));
    t.useFakeClock([&](int pass) {
        if (pass == 3) cmdExit(t.app);
    });
    WaitTicks(t.app, 1000);

    EXPECT_EQ(t.passes, 3) << "the wait ends at the exit";
    EXPECT_EQ(t.app.WindowState, 0);
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_EQ(t.readFile("NNTP_NET.INI"), "????? ???    news.example.net\n");
    EXPECT_EQ(t.readFile("ZanderfellFavorites.fav"),
              "alt.binaries.test news.example.net\nalt.test news.example.net\n");
    EXPECT_EQ(t.setting("Timeout").toString(), "45");
    EXPECT_TRUE(t.hasSetting("Version"));
    EXPECT_FALSE(QFileInfo::exists(t.path("Download/" + t.app.TempFile)));
}

} // namespace
