// The settings store: defaults, the round trip through SaveSettings and
// LoadSettings, and stored values that are odd or wrong.
#include "fixtures/test_app.h"
#include "shell/settings.h"
#include "shell/startup.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

// Values unlike every default, so that a key that is not read shows.
void scramble(App& app) {
    app.LastFind = "old find";
    app.SaveHTTP = false;
    app.FavoritesFile = "/nowhere/old.fav";
    app.ConfirmFileDelete = false;
    app.AutoLoadGroups = false;
    app.BinariesOnly = true;
    app.SpawnVideo = 0;
    app.RemoveSpam = true;
    app.ShowMNumbers = true;
    app.CurrentServer = "old.example.net";
    app.Timeout = 999;
    app.Password = "old pass";
    app.UserID = "old user";
    app.EmailAddress = "old@example.net";
    app.UserName = "Old Name";
    app.MinGroups = 99;
    app.PreviewOn = 0;
    app.AutoTime = "01:00";
    app.AutoAMPM = 0;
    app.AutoDays = "1111111";
    app.FormWidth = 1;
    app.FormHeight = 2;
    app.FormTop = 3;
    app.FormLeft = 4;
}

TEST(Settings, AnEmptyStoreGivesEveryDefault) {
    TestApp t;
    scramble(t.app);
    t.app.ScreenWidth = 30000;
    t.app.ScreenHeight = 20000;
    t.load();
    const App& a = t.app;
    const QString appPath = QDir(t.dir.path()).absolutePath() + "/";

    EXPECT_EQ(a.AppPath, appPath);
    EXPECT_EQ(a.DestDir, appPath + "Download/");
    EXPECT_EQ(a.LastFind, "");
    EXPECT_TRUE(a.SaveHTTP);
    EXPECT_EQ(a.FavoritesFile, appPath + "ZanderfellFavorites.fav");
    EXPECT_EQ(a.FavoritesTitle, "ZanderfellFavorites");
    EXPECT_TRUE(a.ConfirmFileDelete);
    EXPECT_TRUE(a.AutoLoadGroups);
    EXPECT_FALSE(a.BinariesOnly);
    EXPECT_EQ(a.SpawnVideo, 1);
    EXPECT_FALSE(a.RemoveSpam);
    EXPECT_FALSE(a.ShowMNumbers);
    EXPECT_EQ(a.CurrentServer, "");
    EXPECT_EQ(a.Timeout, 30);
    EXPECT_EQ(a.Password, "");
    EXPECT_EQ(a.UserID, "");
    EXPECT_EQ(a.EmailAddress, "");
    EXPECT_EQ(a.UserName, "");
    EXPECT_EQ(a.MinGroups, 1);
    EXPECT_EQ(a.PreviewOn, 1);
    EXPECT_EQ(a.AutoTime, "");
    EXPECT_EQ(a.AutoAMPM, 1);
    EXPECT_EQ(a.AutoDays, "0000000");
    EXPECT_DOUBLE_EQ(a.FormWidth, 1000);
    EXPECT_DOUBLE_EQ(a.FormHeight, 1000);
    EXPECT_DOUBLE_EQ(a.FormTop, 20000.0 / 2 - 1000.0 / 2);
    EXPECT_DOUBLE_EQ(a.FormLeft, 30000.0 / 2 - 1000.0 / 2);
    EXPECT_EQ(a.Caption, "Zanderfell! v2.5 () ");
    EXPECT_EQ(a.frame(Frame::Favorites).title, "Favorite Groups [ZanderfellFavorites] (0)");
    EXPECT_EQ(a.frame(Frame::NNTP).title, "NNTP Servers (0)");
    EXPECT_FALSE(t.hasSetting("Timeout")) << "loading writes nothing";
}

TEST(Settings, WhatSaveSettingsWritesLoadSettingsGivesBack) {
    TestApp t;
    t.load();
    ASSERT_TRUE(QDir().mkpath(t.path("my downloads")));
    ASSERT_TRUE(t.writeFile("lists/mine.fav", "alt.test news.example.net\n"));

    App& a = t.app;
    a.SaveHTTP = false;
    a.FavoritesFile = t.path("lists/mine.fav");
    a.ConfirmFileDelete = false;
    a.AutoLoadGroups = false;
    a.BinariesOnly = true;
    a.SpawnVideo = 0;
    a.RemoveSpam = true;
    a.ShowMNumbers = true;
    a.CurrentServer = "news.example.net";
    a.Timeout = 45;
    a.Password = QString::fromUtf8("  pa ss=wörd;#\"x ");
    a.UserID = "me";
    a.EmailAddress = "me@example.net";
    a.UserName = "Me, Myself";
    a.MinGroups = 7;
    a.PreviewOn = 0;
    a.AutoTime = "11:30";
    a.AutoAMPM = 0;
    a.AutoDays = "1 0 1  ";
    a.DestDir = t.path("my downloads") + "/";
    a.FormLeft = 150.5;
    a.FormTop = 220;
    a.FormWidth = 10005.25;
    a.FormHeight = 7000;
    SaveSettings(a);

    App b;
    b.ExeDir = a.ExeDir;
    b.SettingsFile = a.SettingsFile;
    b.prompter = &t.prompter;
    LoadDestDir(b);
    LoadSettings(b);

    EXPECT_EQ(b.SaveHTTP, a.SaveHTTP);
    EXPECT_EQ(b.FavoritesFile, a.FavoritesFile);
    EXPECT_EQ(b.FavoritesTitle, "mine");
    EXPECT_EQ(b.ConfirmFileDelete, a.ConfirmFileDelete);
    EXPECT_EQ(b.AutoLoadGroups, a.AutoLoadGroups);
    EXPECT_EQ(b.BinariesOnly, a.BinariesOnly);
    EXPECT_EQ(b.SpawnVideo, a.SpawnVideo);
    EXPECT_EQ(b.RemoveSpam, a.RemoveSpam);
    EXPECT_EQ(b.ShowMNumbers, a.ShowMNumbers);
    EXPECT_EQ(b.CurrentServer, a.CurrentServer);
    EXPECT_EQ(b.Timeout, a.Timeout);
    EXPECT_EQ(b.Password, a.Password);
    EXPECT_EQ(b.UserID, a.UserID);
    EXPECT_EQ(b.EmailAddress, a.EmailAddress);
    EXPECT_EQ(b.UserName, a.UserName);
    EXPECT_EQ(b.MinGroups, a.MinGroups);
    EXPECT_EQ(b.PreviewOn, a.PreviewOn);
    EXPECT_EQ(b.AutoTime, a.AutoTime);
    EXPECT_EQ(b.AutoAMPM, a.AutoAMPM);
    EXPECT_EQ(b.AutoDays, a.AutoDays);
    EXPECT_EQ(b.DestDir, a.DestDir);
    EXPECT_DOUBLE_EQ(b.FormLeft, a.FormLeft);
    EXPECT_DOUBLE_EQ(b.FormTop, a.FormTop);
    EXPECT_DOUBLE_EQ(b.FormWidth, a.FormWidth);
    EXPECT_DOUBLE_EQ(b.FormHeight, a.FormHeight);
    EXPECT_EQ(b.Caption, "Zanderfell! v2.5 (news.example.net) ");
    ASSERT_EQ(b.lstFavorites.count(), 1);
    EXPECT_EQ(b.lstFavorites.text(0), "alt.test news.example.net");
}

TEST(Settings, ANumberThatCannotBeReadKeepsThePreviousValue) {
    struct Case {
        const char* stored;
        qint32 expected;
    };
    const Case cases[] = {{"12", 12}, {" 12 ", 12}, {"abc", 77}, {"4x5", 77}, {"", 77}};
    for (const Case& c : cases) {
        TestApp t;
        t.setSetting("Timeout", c.stored);
        t.setSetting("Minimum Groups", c.stored);
        t.app.Timeout = 77;
        t.app.MinGroups = 77;
        t.load();
        EXPECT_EQ(t.app.Timeout, c.expected) << '"' << c.stored << '"';
        EXPECT_EQ(t.app.MinGroups, c.expected) << '"' << c.stored << '"';
        // Loading went on with the keys behind it.
        EXPECT_EQ(t.app.AutoDays, "0000000");
    }
}

TEST(Settings, FlagsReadTrueFalseAndNumbers) {
    struct Case {
        const char* stored;
        bool before;
        bool expected;
    };
    const Case cases[] = {
        {"1", false, true},       {"0", true, false},     {"-1", false, true},
        {"2", false, true},       {"True", false, true},  {"TRUE", false, true},
        {"false", true, false},   {"False", true, false}, {"banana", true, true},
        {"banana", false, false},
    };
    for (const Case& c : cases) {
        TestApp t;
        t.setSetting("BinariesOnly", c.stored);
        t.setSetting("Remove SPAM", c.stored);
        t.app.BinariesOnly = c.before;
        t.app.RemoveSpam = c.before;
        t.load();
        EXPECT_EQ(t.app.BinariesOnly, c.expected) << c.stored << " over " << c.before;
        EXPECT_EQ(t.app.RemoveSpam, c.expected) << c.stored << " over " << c.before;
    }
}

TEST(Settings, DaysArePaddedWithBlanksOrCutToSeven) {
    const std::pair<const char*, const char*> cases[] = {
        {"101", "101    "}, {"1010101999", "1010101"}, {"0110110", "0110110"}, {"", "       "}};
    for (auto [stored, expected] : cases) {
        TestApp t;
        t.setSetting("Days", stored);
        t.load();
        EXPECT_EQ(t.app.AutoDays, expected) << '"' << stored << '"';
    }
}

TEST(Settings, AnEmptyFavouritesPathGivesTheDefault) {
    TestApp t;
    t.setSetting("FavoritesFile", "");
    t.load();
    EXPECT_EQ(t.app.FavoritesFile, t.app.AppPath + "ZanderfellFavorites.fav");
    EXPECT_EQ(t.app.FavoritesTitle, "ZanderfellFavorites");
}

TEST(Settings, PreviewZeroTakesTheTickOffTheMenu) {
    for (auto [stored, ticked] : {std::pair{"0", false}, {"1", true}}) {
        TestApp t;
        t.setSetting("Preview", stored);
        t.load();
        EXPECT_EQ(t.app.menuPreviewChecked, ticked) << stored;
        EXPECT_EQ(t.app.PreviewOn, ticked ? 1 : 0) << stored;
        EXPECT_EQ(t.app.menuPreviewLEnabled, ticked) << stored;
    }
}

TEST(Settings, AStoredDownloadDirectoryThatIsGoneFallsBackToAppPath) {
    TestApp t;
    t.setSetting("DestDir", t.path("gone") + "/");
    t.load();
    EXPECT_EQ(t.app.DestDir, t.app.AppPath);
    EXPECT_FALSE(QFileInfo::exists(t.path("Download")))
        << "a stored directory is not replaced by the default";
    // Loading went on behind it.
    EXPECT_EQ(t.app.FavoritesFile, t.app.AppPath + "ZanderfellFavorites.fav");
    SaveSettings(t.app);
    EXPECT_EQ(t.setting("DestDir").toString(), t.app.AppPath);
}

} // namespace
