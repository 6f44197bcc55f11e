// The settings store: what a first run gives and makes, the round trip
// through SaveSettings and LoadSettings, and stored values that are odd or
// wrong.
#include "fixtures/test_app.h"
#include "shell/settings.h"
#include "shell/startup.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

// The values of App that the store keeps, to compare whole sets at once.
auto stored(const App& a) {
    return std::make_tuple(a.SaveHTTP, a.FavoritesFile, a.ConfirmFileDelete, a.AutoLoadGroups,
                           a.BinariesOnly, a.SpawnVideo, a.RemoveSpam, a.ShowMNumbers,
                           a.CurrentServer, a.Timeout, a.Password, a.UserID, a.EmailAddress,
                           a.UserName, a.MinGroups, a.PreviewOn, a.AutoTime, a.AutoAMPM, a.AutoDays,
                           a.DestDir, a.FormLeft, a.FormTop, a.FormWidth, a.FormHeight);
}

// Values unlike every default, so that a key that is not read or written shows.
void setUnusual(TestApp& t) {
    App& a = t.app;
    a.LastFind = "old find";
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
}

TEST(Settings, AFirstRunGivesEveryDefaultAndMakesItsFilesBesideTheExecutable) {
    TestApp t;
    setUnusual(t);
    t.app.ScreenWidth = 30000;
    t.app.ScreenHeight = 20000;
    t.load();
    const App& a = t.app;
    const QString appPath = QDir(t.dir.path()).absolutePath() + "/";

    EXPECT_EQ(a.AppPath, appPath);
    EXPECT_EQ(stored(a), std::make_tuple(
                             true, appPath + "ZanderfellFavorites.fav", true, true, false, 1, false,
                             false, QString(), 30, QString(), QString(), QString(), QString(), 1, 1,
                             QString(), 1, QString("0000000"), appPath + "Download/",
                             30000.0 / 2 - 1000.0 / 2, 20000.0 / 2 - 1000.0 / 2, 1000.0, 1000.0));
    EXPECT_EQ(a.LastFind, "");
    EXPECT_EQ(a.FavoritesTitle, "ZanderfellFavorites");
    EXPECT_EQ(a.Caption, "Zanderfell! v2.5 () ");
    EXPECT_EQ(a.frame(Frame::Favorites).title, "Favorite Groups [ZanderfellFavorites] (0)");
    EXPECT_EQ(a.frame(Frame::NNTP).title, "NNTP Servers (0)");
    EXPECT_FALSE(t.hasSetting("Timeout")) << "loading writes nothing";

    EXPECT_TRUE(QFileInfo(t.path("Download")).isDir());
    EXPECT_TRUE(QFileInfo(t.path("Cache")).isDir());
    for (const char* name : {"ZanderfellFavorites.fav", "NNTP_NET.INI"}) {
        const QFileInfo f(t.path(name));
        EXPECT_TRUE(f.isFile()) << name;
        EXPECT_EQ(f.size(), 0) << name;
    }
    EXPECT_FALSE(QFileInfo::exists(QDir(t.workDir()).filePath("ZanderfellFavorites.fav")))
        << "the favourites file went to the working directory";
    EXPECT_EQ(a.SweepScope, -1);
    EXPECT_FALSE(a.TempFile.isEmpty());
    EXPECT_TRUE(t.prompter.shown().empty());
}

TEST(Settings, WhatSaveSettingsWritesLoadSettingsGivesBack) {
    TestApp t;
    t.load();
    ASSERT_TRUE(QDir().mkpath(t.path("my downloads")));
    ASSERT_TRUE(t.writeFile("lists/mine.fav", "alt.test news.example.net\n"));
    setUnusual(t);
    SaveSettings(t.app);

    App b;
    b.ExeDir = t.app.ExeDir;
    b.SettingsFile = t.app.SettingsFile;
    b.prompter = &t.prompter;
    LoadDestDir(b);
    LoadSettings(b);
    EXPECT_EQ(stored(b), stored(t.app));
    EXPECT_EQ(b.FavoritesTitle, "mine");
    EXPECT_EQ(b.Caption, "Zanderfell! v2.5 (news.example.net) ");
    ASSERT_EQ(b.lstFavorites.count(), 1);
    EXPECT_EQ(b.lstFavorites.text(0), "alt.test news.example.net");
}

// Numbers and flags that cannot be read keep the value they had (77 and the
// flag's "before"); Days are padded with blanks or cut to seven.
TEST(Settings, OddStoredTextsAreReadOrKeepTheValueBefore) {
    struct Case {
        std::vector<const char*> keys;
        const char* stored;
        const char* expected;
        bool before = false;
    };
    const Case cases[] = {
        {{"Timeout", "Minimum Groups"}, "12", "12"},
        {{"Timeout", "Minimum Groups"}, " 12 ", "12"},
        {{"Timeout", "Minimum Groups"}, "abc", "77"},
        {{"Timeout", "Minimum Groups"}, "4x5", "77"},
        {{"Timeout", "Minimum Groups"}, "", "77"},
        {{"BinariesOnly", "Remove SPAM"}, "1", "1"},
        {{"BinariesOnly", "Remove SPAM"}, "0", "0", true},
        {{"BinariesOnly", "Remove SPAM"}, "-1", "1"},
        {{"BinariesOnly", "Remove SPAM"}, "2", "1"},
        {{"BinariesOnly", "Remove SPAM"}, "True", "1"},
        {{"BinariesOnly", "Remove SPAM"}, "TRUE", "1"},
        {{"BinariesOnly", "Remove SPAM"}, "false", "0", true},
        {{"BinariesOnly", "Remove SPAM"}, "False", "0", true},
        {{"BinariesOnly", "Remove SPAM"}, "banana", "1", true},
        {{"BinariesOnly", "Remove SPAM"}, "banana", "0", false},
        {{"Days"}, "101", "101    "},
        {{"Days"}, "1010101999", "1010101"},
        {{"Days"}, "0110110", "0110110"},
        {{"Days"}, "", "       "},
        // The preview flag also sets the menu's tick and the item below it.
        {{"Preview"}, "0", "0"},
        {{"Preview"}, "1", "1"},
        {{"FavoritesFile"}, "", "ZanderfellFavorites.fav ZanderfellFavorites"},
    };
    const std::map<QString, std::function<QString(const App&)>> read = {
        {"Timeout", [](const App& a) { return QString::number(a.Timeout); }},
        {"Minimum Groups", [](const App& a) { return QString::number(a.MinGroups); }},
        {"BinariesOnly", [](const App& a) { return QString::number(a.BinariesOnly); }},
        {"Remove SPAM", [](const App& a) { return QString::number(a.RemoveSpam); }},
        {"Days", [](const App& a) { return a.AutoDays; }},
        {"Preview",
         [](const App& a) {
             const bool on = a.PreviewOn == 1;
             return QString::number(on && a.menuPreviewChecked && a.menuPreviewLEnabled      ? 1
                                    : !on && !a.menuPreviewChecked && !a.menuPreviewLEnabled ? 0
                                                                                             : -1);
         }},
        {"FavoritesFile",
         [](const App& a) {
             return a.FavoritesFile.mid(a.AppPath.size()) + ' ' + a.FavoritesTitle;
         }},
    };
    for (const Case& c : cases) {
        TestApp t;
        for (const char* key : c.keys)
            t.setSetting(key, c.stored);
        t.app.Timeout = t.app.MinGroups = 77;
        t.app.BinariesOnly = t.app.RemoveSpam = c.before;
        t.load();
        for (const char* key : c.keys)
            EXPECT_EQ(read.at(key)(t.app), c.expected) << key << " \"" << c.stored << '"';
        // Loading went on with the keys behind it.
        EXPECT_EQ(t.app.FormWidth, 1000);
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
