// The shared clock and waits, the gating of menus and toolbar, startup and exit.
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "program/startup.h"
#include "shell/gating.h"
#include "shell/temp_files.h"
#include "shell/waits.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

// The numbers a spied signal carried, as "39 35 11".
QString spiedNumbers(const QSignalSpy& spy) {
    QStringList out;
    for (const QList<QVariant>& args : spy)
        out << args.at(0).toString();
    return out.join(' ');
}

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

// ---- menu and toolbar gating ----

TEST(Gating, MenuOnOffSwitchesEachScopeInItsOrder) {
    // A scope's code, then its items in order.
    for (const QString scope : {"CG 39 35 11 43", "SG 40 36 33 44", "FA 41 37 34 46 32 51", "SM 42",
                                "SS 38 45", "SR 47 48 49 50", "XX"}) {
        const QString code = scope.left(2), items = scope.mid(3);
        for (bool on : {true, false}) {
            App app;
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            MenuOnOff(app, code, on);
            SCOPED_TRACE(testing::Message() << code.toStdString() << " " << on);
            EXPECT_EQ(spiedNumbers(menus), items);
            for (const QString& item : items.split(' ', Qt::SkipEmptyParts))
                EXPECT_EQ(app.menuEnabled.value(item.toInt()), on) << item.toStdString();
            // Of all scopes' items only 11 has a toolbar button.
            EXPECT_EQ(spiedNumbers(buttons), items.contains("11") ? "11" : "");
        }
    }
}

// A number switches its menu item and the button of the same number, when
// they exist; every number below 30 repaints the toolbar, even one with neither.
TEST(Gating, SetMenuItemSwitchesTheItemAndTheButtonOfTheSameNumber) {
    // Number, whether it has a menu item, and a button that it switches.
    const std::tuple<int, bool, bool> cases[] = {
        {0, false, false},  {1, false, false},  {2, true, true},    {3, false, false},
        {11, true, true},   {12, false, false}, {13, false, false}, {14, false, false},
        {15, true, false},  {29, false, false}, {30, true, false},  {54, false, false},
        {255, false, false}};
    for (auto [item, menu, button] : cases) {
        for (bool on : {false, true}) {
            App app;
            for (ToolButtonState& b : app.toolbar)
                b.enabled = !on;
            auto menusAfter = app.menuEnabled;
            if (menu) menusAfter[item] = on;
            QSignalSpy menus(&app, &App::menuChanged);
            QSignalSpy buttons(&app, &App::toolbarChanged);
            QSignalSpy repaints(&app, &App::toolbarRepaint);
            SetMenuItem(app, item, on);
            SCOPED_TRACE(testing::Message() << "item " << item << " on " << on);
            EXPECT_EQ(app.menuEnabled, menusAfter);
            for (int b = 1; b <= 14; ++b)
                EXPECT_EQ(app.toolbar[b].enabled, button && b == item ? on : !on) << "button " << b;
            EXPECT_EQ(spiedNumbers(menus), menu ? QString::number(item) : "");
            EXPECT_EQ(spiedNumbers(buttons), button ? QString::number(item) : "");
            EXPECT_EQ(repaints.count(), item < 30 ? 1 : 0);
        }
    }
}

// Each switch turns its own list and frame off and on again, and no other;
// favourites are only disabled, never hidden.
TEST(Gating, ListSwitchesSetEnabledAndVisibility) {
    auto state = [](App& app, Frame f) {
        const ListModel& l = f == Frame::Messages ? app.lstMessages
                             : f == Frame::Groups ? app.lstGroups
                                                  : app.lstFavorites;
        return std::tuple(l.enabled(), l.visible(), app.frame(f).enabled, app.frame(f).visible);
    };
    const auto on = std::tuple(true, true, true, true);
    for (auto [set, frame, hides] : {std::tuple{&MessagesOnOff, Frame::Messages, true},
                                     {&GroupsOnOff, Frame::Groups, true},
                                     {&FavoritesOnOff, Frame::Favorites, false}}) {
        App app;
        set(app, false);
        for (Frame f : {Frame::Messages, Frame::Groups, Frame::Favorites})
            EXPECT_EQ(state(app, f), f != frame ? on : std::tuple(false, !hides, false, !hides))
                << "frame " << int(frame) << ", looking at " << int(f);
        set(app, true);
        EXPECT_EQ(state(app, frame), on) << "frame " << int(frame);
    }
}

TEST(Gating, DisconnectFirstWarnsOnlyWhileConnectedAndWhenAsked) {
    TestApp t;
    EXPECT_FALSE(DisconnectFirst(t.app, true));
    ScriptedNntpServer server;
    ASSERT_TRUE(server.silence().listen());
    ASSERT_TRUE(t.app.NNTP->connectTo(server.address()));
    ASSERT_TRUE(ScriptedNntpServer::pumpUntil([&] { return t.app.NNTP->state() == "Connected"; }));
    EXPECT_TRUE(DisconnectFirst(t.app, false));
    EXPECT_TRUE(t.prompter.shown().empty());
    EXPECT_TRUE(DisconnectFirst(t.app, true));
    EXPECT_EQ(t.prompter.shown(), (std::vector<ScriptedPrompter::Shown>{
                                      {ScriptedPrompter::Kind::Message, "Please Disconnect First",
                                       "Zanderfell!", Prompter::Icon::Exclamation}}));
    t.app.NNTP->cancel();
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
    EXPECT_EQ(t.app.frame(Frame::Favorites).title, "Favorite Groups [ZanderfellFavorites] (1)");
    EXPECT_EQ(t.app.txtNNTPServ.listIndex(), 1);
    EXPECT_EQ(t.app.txtNNTPServ.selCount(), 0);
    EXPECT_EQ(t.app.frame(Frame::NNTP).title, "NNTP Servers (2)");
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
