// The shared clock and waits, the gating of menus and toolbar, startup and
// exit.
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/nntp_control.h"
#include "setup/server_list.h"
#include "shell/gating.h"
#include "shell/settings.h"
#include "shell/startup.h"
#include "shell/waits.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <gtest/gtest.h>

#include <set>

namespace {

using Kind = ScriptedPrompter::Kind;

std::vector<int> spiedNumbers(const QSignalSpy& spy) {
    std::vector<int> out;
    for (const QList<QVariant>& args : spy)
        out.push_back(args.at(0).toInt());
    return out;
}

std::array<bool, 15> toolbarEnabled(const App& app) {
    std::array<bool, 15> out{};
    for (int b = 1; b <= 14; ++b)
        out[b] = app.toolbar[b].enabled;
    return out;
}

// ---- clock and waits ----

TEST(Clock, TimerTickCountsUpAndWrapsAfter32767) {
    App app;
    const std::pair<qint32, qint32> steps[] = {{0, 1}, {41, 42}, {32766, 32767}, {32767, 0}};
    for (auto [before, after] : steps) {
        app.TickCount = before;
        Timer1_Timer(app);
        EXPECT_EQ(app.TickCount, after) << "from " << before;
    }
}

TEST(Waits, WaitTicksRunsUntilTheCountPassesN) {
    for (auto [n, ticks] : {std::pair{0, 1}, {1, 2}, {5, 6}}) {
        TestApp t;
        t.useFakeClock();
        t.app.TickCount = 1234; // a wait starts its own count
        WaitTicks(t.app, n);
        EXPECT_EQ(t.passes, ticks) << "WaitTicks(" << n << ")";
        EXPECT_EQ(t.app.TickCount, ticks);
    }
}

TEST(Waits, WaitTicksReturnsAtOnceWhenAStopIsAlreadyRequested) {
    TestApp t;
    t.useFakeClock();
    t.app.StopRequested = true;
    WaitTicks(t.app, 10);
    EXPECT_EQ(t.passes, 0);
    EXPECT_EQ(t.app.TickCount, 0);
}

TEST(Waits, AStopRequestedInsideTheWaitEndsItAtTheNextPass) {
    TestApp t;
    t.useFakeClock([&](int pass) {
        if (pass == 3) t.app.StopRequested = true;
    });
    WaitTicks(t.app, 100);
    EXPECT_EQ(t.passes, 3);
}

TEST(Waits, AWaitAcrossTheWrapCountsOnAndEnds) {
    TestApp t;
    // The first tick of the wait finds the clock at its top, as when it was
    // moved there by a handler that ran inside the pass.
    t.app.DoEvents = [&] {
        if (++t.passes == 1) t.app.TickCount = 32767;
        Timer1_Timer(t.app);
        if (t.passes == 100) {
            ADD_FAILURE() << "the wait does not end";
            t.app.StopRequested = true;
        }
    };
    WaitTicks(t.app, 5);
    EXPECT_EQ(t.passes, 7); // 32767 -> 0, then 1 .. 6
    EXPECT_EQ(t.app.TickCount, 6);
}

// ---- menu and toolbar gating ----

TEST(Gating, MenuOnOffSwitchesEachScopeInItsOrder) {
    const std::pair<const char*, std::vector<int>> scopes[] = {
        {"CG", {39, 35, 11, 43}},
        {"SG", {40, 36, 33, 44}},
        {"FA", {41, 37, 34, 46, 32, 51}},
        {"SM", {42}},
        {"SS", {38, 45}},
        {"SR", {47, 48, 49, 50}},
    };
    for (const auto& [code, items] : scopes) {
        for (bool on : {true, false}) {
            App app;
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            MenuOnOff(app, code, on);
            EXPECT_EQ(spiedNumbers(menus), items) << code << " " << on;
            for (int item : items)
                EXPECT_EQ(app.menuEnabled.value(item), on) << code << " item " << item;
            // Only item 11 of all scopes has a toolbar button.
            const bool hasPost = std::find(items.begin(), items.end(), 11) != items.end();
            EXPECT_EQ(spiedNumbers(buttons), hasPost ? std::vector<int>{11} : std::vector<int>{})
                << code;
            if (hasPost) {
                EXPECT_EQ(app.toolbar[11].enabled, on);
            }
        }
    }
}

TEST(Gating, SetMenuItemBelow30SwitchesTheToolbarButtonOfTheSameNumber) {
    for (int item : {2, 4, 5, 6, 8, 9, 10, 11}) {
        for (bool on : {false, true}) {
            App app;
            app.toolbar[item].enabled = !on;
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            QSignalSpy repaints(&app, &App::toolbarRepaint);
            SetMenuItem(app, item, on);
            EXPECT_EQ(app.menuEnabled.value(item), on) << item;
            EXPECT_EQ(app.toolbar[item].enabled, on) << item;
            EXPECT_EQ(spiedNumbers(menus), std::vector<int>{item});
            EXPECT_EQ(spiedNumbers(buttons), std::vector<int>{item});
            EXPECT_EQ(repaints.count(), 1) << item;
        }
    }
}

TEST(Gating, SetMenuItemWithANumberNoItemHasChangesNothingButBelow30Repaints) {
    for (int item : {0, 1, 3, 7, 12, 13, 14, 16, 29, 54, 100, 255}) {
        for (bool on : {false, true}) {
            App app;
            for (int b = 1; b <= 14; ++b)
                app.toolbar[b].enabled = !on;
            const auto menusBefore = app.menuEnabled;
            const auto buttonsBefore = toolbarEnabled(app);
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            QSignalSpy repaints(&app, &App::toolbarRepaint);
            SetMenuItem(app, item, on);
            EXPECT_EQ(app.menuEnabled, menusBefore) << item;
            EXPECT_EQ(toolbarEnabled(app), buttonsBefore) << "item " << item << " on " << on;
            EXPECT_EQ(menus.count(), 0) << item;
            EXPECT_EQ(buttons.count(), 0) << item;
            EXPECT_EQ(repaints.count(), item < 30 ? 1 : 0) << item;
        }
    }
}

TEST(Gating, ListSwitchesSetEnabledAndVisibility) {
    App app;
    MessagesOnOff(app, false);
    GroupsOnOff(app, true);
    EXPECT_FALSE(app.lstMessages.enabled());
    EXPECT_FALSE(app.lstMessages.visible());
    EXPECT_FALSE(app.frame(Frame::Messages).enabled);
    EXPECT_FALSE(app.frame(Frame::Messages).visible);
    EXPECT_TRUE(app.lstGroups.enabled());
    EXPECT_TRUE(app.lstGroups.visible());
    EXPECT_TRUE(app.frame(Frame::Groups).enabled);
    EXPECT_TRUE(app.frame(Frame::Groups).visible);

    MessagesOnOff(app, true);
    GroupsOnOff(app, false);
    EXPECT_TRUE(app.lstMessages.enabled());
    EXPECT_TRUE(app.lstMessages.visible());
    EXPECT_TRUE(app.frame(Frame::Messages).visible);
    EXPECT_FALSE(app.lstGroups.enabled());
    EXPECT_FALSE(app.lstGroups.visible());
    EXPECT_FALSE(app.frame(Frame::Groups).enabled);
    EXPECT_FALSE(app.frame(Frame::Groups).visible);

    // Favourites are only disabled, never hidden.
    FavoritesOnOff(app, false);
    EXPECT_FALSE(app.lstFavorites.enabled());
    EXPECT_FALSE(app.frame(Frame::Favorites).enabled);
    EXPECT_TRUE(app.lstFavorites.visible());
    EXPECT_TRUE(app.frame(Frame::Favorites).visible);
    FavoritesOnOff(app, true);
    EXPECT_TRUE(app.lstFavorites.enabled());
    EXPECT_TRUE(app.frame(Frame::Favorites).enabled);
}

TEST(Gating, DisconnectFirstWarnsOnlyWhileConnectedAndWhenAsked) {
    TestApp t;
    EXPECT_FALSE(DisconnectFirst(t.app, true));
    EXPECT_TRUE(t.prompter.shown().empty());

    ScriptedNntpServer server;
    server.send("200 ready\r\n").expect("MODE READER").send("200 reader\r\n").silence();
    ASSERT_TRUE(server.listen());
    ASSERT_TRUE(t.app.NNTP->connectTo(server.address()));
    ASSERT_TRUE(ScriptedNntpServer::pumpUntil(
        [&] { return t.app.NNTP->state() == "Connected" && !t.app.NNTP->busy(); }));

    EXPECT_TRUE(DisconnectFirst(t.app, false));
    EXPECT_TRUE(t.prompter.shown().empty());
    EXPECT_TRUE(DisconnectFirst(t.app, true));
    ASSERT_EQ(t.prompter.shown().size(), 1u);
    const auto& shown = t.prompter.shown()[0];
    EXPECT_EQ(shown.kind, Kind::Message);
    EXPECT_EQ(shown.text, "Please Disconnect First");
    EXPECT_EQ(shown.title, "Zanderfell!");
    EXPECT_EQ(shown.icon, Prompter::Icon::Exclamation);
    t.app.NNTP->cancel();
    EXPECT_TRUE(server.errors().isEmpty()) << server.errors().join('\n').toStdString();
}

// ---- temporary files ----

TEST(TempFiles, TempFileIsASixDigitNumberInItsRangeWithTmp) {
    App app;
    const QRegularExpression form(QStringLiteral("^(\\d{6})\\.tmp$"));
    for (int i = 0; i < 2000; ++i) {
        MakeTempFile(app);
        const auto m = form.match(app.TempFile);
        ASSERT_TRUE(m.hasMatch()) << app.TempFile.toStdString();
        const int n = m.captured(1).toInt();
        EXPECT_GE(n, 100000);
        EXPECT_LE(n, 355995);
    }
}

TEST(TempFiles, KillTempFilesRemovesAllOrOnlyOurOwn) {
    for (bool all : {true, false}) {
        TestApp t;
        t.app.AppPath = t.path("app") + "/";
        t.app.DestDir = t.path("dest") + "/";
        t.app.TempFile = "123456.tmp";
        for (const char* d : {"app/", "dest/"})
            for (const char* f : {"123456.tmp", "200000.tmp", "notes.txt", "tmp", "Cache/1.tmp"})
                ASSERT_TRUE(t.writeFile(QString(d) + f));
        KillTempFiles(t.app, all);
        for (const char* d : {"app/", "dest/"}) {
            const QString dir(d);
            EXPECT_FALSE(QFileInfo::exists(t.path(dir + "123456.tmp"))) << d << all;
            EXPECT_EQ(QFileInfo::exists(t.path(dir + "200000.tmp")), !all) << d << all;
            EXPECT_TRUE(QFileInfo::exists(t.path(dir + "notes.txt")));
            EXPECT_TRUE(QFileInfo::exists(t.path(dir + "tmp")));
            EXPECT_TRUE(QFileInfo::exists(t.path(dir + "Cache/1.tmp")));
        }
    }
}

// ---- startup ----

TEST(Startup, FirstRunCreatesDirectoriesAndEmptyFilesBesideTheExecutable) {
    TestApp t;
    t.load();
    EXPECT_EQ(t.app.AppPath, QDir(t.dir.path()).absolutePath() + "/");
    EXPECT_EQ(t.app.DestDir, t.app.AppPath + "Download/");
    EXPECT_TRUE(QFileInfo(t.path("Download")).isDir());
    EXPECT_TRUE(QFileInfo(t.path("Cache")).isDir());
    for (const char* name : {"ZanderfellFavorites.fav", "NNTP_NET.INI"}) {
        const QFileInfo f(t.path(name));
        EXPECT_TRUE(f.isFile()) << name;
        EXPECT_EQ(f.size(), 0) << name;
    }
    EXPECT_FALSE(QFileInfo::exists(QDir(t.workDir()).filePath("ZanderfellFavorites.fav")))
        << "the favourites file went to the working directory";
    EXPECT_EQ(t.app.SweepScope, -1);
    EXPECT_FALSE(t.app.TempFile.isEmpty());
    EXPECT_TRUE(t.prompter.shown().empty());
}

TEST(Startup, LoadsFavouritesWithTheirPictureAndSelectsTheCurrentServer) {
    TestApp t;
    ListModel favs;
    favs.addItem("alt.binaries.test news.example.net");
    favs.addItem("alt.test news.example.org");
    ASSERT_TRUE(favs.save(t.path("ZanderfellFavorites.fav")));
    ListModel servers;
    servers.addItem("00012 OK    news.example.org");
    servers.addItem("????? ???    news.example.net");
    servers.addItem("????? ???    news.example.net.invalid");
    ASSERT_TRUE(servers.save(t.path("NNTP_NET.INI")));
    t.setSetting("NNTPServer", "news.example.net");

    t.load();
    ASSERT_EQ(t.app.lstFavorites.count(), 2);
    EXPECT_EQ(t.app.lstFavorites.picture(0), 12);
    EXPECT_EQ(t.app.lstFavorites.picture(1), 12);
    EXPECT_EQ(t.app.frame(Frame::Favorites).title, "Favorite Groups [ZanderfellFavorites] (2)");
    ASSERT_EQ(t.app.txtNNTPServ.count(), 3);
    EXPECT_EQ(t.app.txtNNTPServ.listIndex(), 1);
    EXPECT_EQ(t.app.txtNNTPServ.selCount(), 0);
    EXPECT_EQ(t.app.frame(Frame::NNTP).title, "NNTP Servers (3)");
}

TEST(Startup, LinksButtonIsEnabledOnlyWhenTheLinkPageExists) {
    {
        TestApp t;
        t.load();
        EXPECT_FALSE(t.app.toolbar[13].enabled);
    }
    {
        TestApp t;
        ASSERT_TRUE(t.writeFile("UsenetHTTP.htm")); // empty still counts
        t.load();
        EXPECT_TRUE(t.app.toolbar[13].enabled);
    }
}

// ---- exit ----

TEST(Exit, SavesServersFavouritesAndSettingsThenEndsTheProcess) {
    TestApp t;
    t.load();
    t.app.txtNNTPServ.addItem("????? ???    news.example.net");
    t.app.lstFavorites.addItem("alt.test news.example.net");
    t.app.Timeout = 45;
    t.app.WindowState = 2;
    ASSERT_TRUE(t.writeFile("Download/" + t.app.TempFile));

    cmdExit(t.app);

    EXPECT_TRUE(t.app.StopRequested);
    EXPECT_EQ(t.app.WindowState, 0);
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_EQ(t.readFile("NNTP_NET.INI"), "????? ???    news.example.net\n");
    EXPECT_EQ(t.readFile("ZanderfellFavorites.fav"), "alt.test news.example.net\n");
    EXPECT_EQ(t.setting("Timeout").toString(), "45");
    EXPECT_FALSE(QFileInfo::exists(t.path("Download/" + t.app.TempFile)));
}

TEST(Exit, ExitFromInsideAWaitEndsTheWaitAndStillSaves) {
    TestApp t;
    t.load();
    t.app.lstFavorites.addItem("alt.test news.example.net");
    t.useFakeClock([&](int pass) {
        if (pass == 3) cmdExit(t.app); // the window is closed during a transfer
    });
    WaitTicks(t.app, 1000);
    EXPECT_EQ(t.passes, 3);
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_EQ(t.readFile("ZanderfellFavorites.fav"), "alt.test news.example.net\n");
    EXPECT_TRUE(t.hasSetting("Version"));
}

} // namespace
