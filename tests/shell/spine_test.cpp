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

TEST(Clock, TickCountWrapsAfter32767AndAWaitCountsItsOwnTicks) {
    App app;
    for (auto [before, after] : {std::pair{0, 1}, {32766, 32767}, {32767, 0}}) {
        app.TickCount = before;
        Timer1_Timer(app);
        EXPECT_EQ(app.TickCount, after) << "from " << before;
    }
    for (auto [n, ticks] : {std::pair{0, 1}, {1, 2}, {5, 6}}) {
        TestApp t;
        t.useFakeClock();
        t.app.TickCount = 1234;
        WaitTicks(t.app, n);
        EXPECT_EQ(t.passes, ticks) << "WaitTicks(" << n << ")";
        EXPECT_EQ(t.app.TickCount, ticks);
    }
}

TEST(Waits, AStopRequestedBeforeOrInsideTheWaitEndsIt) {
    for (int stopAt : {0, 3}) {
        TestApp t;
        t.useFakeClock([&](int pass) {
            if (pass == stopAt) t.app.StopRequested = true;
        });
        t.app.StopRequested = stopAt == 0;
        WaitTicks(t.app, 100);
        EXPECT_EQ(t.passes, stopAt);
    }
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
            EXPECT_TRUE(!hasPost || app.toolbar[11].enabled == on) << code;
        }
    }
}

// Every number below 30 repaints the toolbar, even one that no item has.
TEST(Gating, SetMenuItemSwitchesTheItemAndTheButtonOfTheSameNumber) {
    const std::set<int> items = {2, 4, 5, 6, 8, 9, 10, 11};
    for (int item : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 29, 54, 100, 255}) {
        for (bool on : {false, true}) {
            App app;
            for (int b = 1; b <= 14; ++b)
                app.toolbar[b].enabled = !on;
            auto menusAfter = app.menuEnabled;
            auto buttonsAfter = toolbarEnabled(app);
            const bool exists = items.count(item);
            if (exists) menusAfter[item] = buttonsAfter[item] = on;
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            QSignalSpy repaints(&app, &App::toolbarRepaint);
            SetMenuItem(app, item, on);
            SCOPED_TRACE(testing::Message() << "item " << item << " on " << on);
            EXPECT_EQ(app.menuEnabled, menusAfter);
            EXPECT_EQ(toolbarEnabled(app), buttonsAfter);
            const std::vector<int> changed = exists ? std::vector<int>{item} : std::vector<int>{};
            EXPECT_EQ(spiedNumbers(menus), changed);
            EXPECT_EQ(spiedNumbers(buttons), changed);
            EXPECT_EQ(repaints.count(), item < 30 ? 1 : 0);
        }
    }
}

// Each switch touches its own list and frame only; favourites are only
// disabled, never hidden.
TEST(Gating, ListSwitchesSetEnabledAndVisibility) {
    struct Switch {
        void (*set)(App&, bool);
        ListModel App::*list;
        Frame frame;
        bool hides;
    };
    const Switch switches[] = {{MessagesOnOff, &App::lstMessages, Frame::Messages, true},
                               {GroupsOnOff, &App::lstGroups, Frame::Groups, true},
                               {FavoritesOnOff, &App::lstFavorites, Frame::Favorites, false}};
    App app;
    bool state[] = {true, true, true};
    for (int s : {0, 1, 2, 0, 1, 2}) {
        state[s] = !state[s];
        switches[s].set(app, state[s]);
        for (int i = 0; i < 3; ++i) {
            const Switch& w = switches[i];
            const bool shown = state[i] || !w.hides;
            SCOPED_TRACE(testing::Message() << "after switch " << s << ", list " << i);
            EXPECT_EQ((app.*w.list).enabled(), state[i]);
            EXPECT_EQ((app.*w.list).visible(), shown);
            EXPECT_EQ(app.frame(w.frame).enabled, state[i]);
            EXPECT_EQ(app.frame(w.frame).visible, shown);
        }
    }
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
    EXPECT_EQ(t.prompter.shown(),
              (std::vector<ScriptedPrompter::Shown>{{Kind::Message, "Please Disconnect First",
                                                     "Zanderfell!", Prompter::Icon::Exclamation}}));
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
        const std::pair<const char*, bool> kept[] = {{"123456.tmp", false},
                                                     {"200000.tmp", !all},
                                                     {"notes.txt", true},
                                                     {"tmp", true},
                                                     {"Cache/1.tmp", true}};
        for (const char* d : {"app/", "dest/"})
            for (auto [f, stays] : kept)
                EXPECT_EQ(QFileInfo::exists(t.path(QString(d) + f)), stays) << d << f << all;
    }
}

// ---- startup ----

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
    for (bool page : {false, true}) {
        TestApp t;
        ASSERT_TRUE(!page || t.writeFile("UsenetHTTP.htm")); // empty still counts
        t.load();
        EXPECT_EQ(t.app.toolbar[13].enabled, page);
    }
}

// ---- exit ----

// The window may be closed during a transfer: the wait ends, and all is saved.
TEST(Exit, ExitFromInsideAWaitEndsItSavesAndEndsTheProcess) {
    TestApp t;
    t.load();
    t.app.txtNNTPServ.addItem("????? ???    news.example.net");
    t.app.lstFavorites.addItem("alt.test news.example.net");
    t.app.Timeout = 45;
    t.app.WindowState = 2;
    ASSERT_TRUE(t.writeFile("Download/" + t.app.TempFile));
    t.useFakeClock([&](int pass) {
        if (pass == 3) cmdExit(t.app);
    });
    WaitTicks(t.app, 1000);

    EXPECT_EQ(t.passes, 3);
    EXPECT_TRUE(t.app.StopRequested);
    EXPECT_EQ(t.app.WindowState, 0);
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_EQ(t.readFile("NNTP_NET.INI"), "????? ???    news.example.net\n");
    EXPECT_EQ(t.readFile("ZanderfellFavorites.fav"), "alt.test news.example.net\n");
    EXPECT_EQ(t.setting("Timeout").toString(), "45");
    EXPECT_TRUE(t.hasSetting("Version"));
    EXPECT_FALSE(QFileInfo::exists(t.path("Download/" + t.app.TempFile)));
}

} // namespace
