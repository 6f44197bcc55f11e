// The settings store: a first run, the round trip through SaveSettings and
// LoadSettings, and stored values that are odd or wrong.
#include "fixtures/test_app.h"
#include "program/settings.h"
#include "program/startup.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>

#include <tuple>

namespace {

// The values of App that the store keeps, to compare or set whole sets at once.
template <typename A> auto stored(A& a) {
    return std::tie(a.SaveHTTP, a.FavoritesFile, a.ConfirmFileDelete, a.AutoLoadGroups,
                    a.BinariesOnly, a.SpawnVideo, a.RemoveSpam, a.ShowMNumbers, a.CurrentServer,
                    a.Timeout, a.Password, a.UserID, a.EmailAddress, a.UserName, a.MinGroups,
                    a.PreviewOn, a.AutoTime, a.AutoAMPM, a.AutoDays, a.DestDir, a.FormLeft,
                    a.FormTop, a.FormWidth, a.FormHeight, a.HeaderChunk, a.NewestHeaders,
                    a.Par2Check);
}

// Values unlike every default, so that a key that is not read or written shows.
void setUnusual(TestApp& t) {
    t.app.LastFind = "old find";
    stored(t.app) = std::make_tuple(
        false, t.path("lists/mine.fav"), false, false, true, 0, true, true, "news.example.net", 45,
        QString::fromUtf8("  pa ss=wörd;#\"x "), "me", "me@example.net", "Me, Myself", 7, 0,
        "11:30", 0, "1 0 1  ", t.path("my downloads") + "/", 150.5, 220.0, 10005.25, 7000.0, 5000,
        1500, false);
}

TEST(Settings, AFirstRunGivesEveryDefaultAndMakesItsFilesBesideTheExecutable) {
    TestApp t;
    setUnusual(t);
    t.app.ScreenWidth = 30000;
    t.app.ScreenHeight = 20000;
    t.load();
    const App& a = t.app;
    const QString appPath = QDir(t.dir.path()).absolutePath() + "/";

    EXPECT_EQ(stored(a),
              std::make_tuple(true, appPath + "ZanderfellFavorites.fav", true, true, false, 1,
                              false, false, QString(), 30, QString(), QString(), QString(),
                              QString(), 1, 1, QString(), 1, QString("0000000"),
                              appPath + "Download/", 30000.0 / 2 - 1000.0 / 2,
                              20000.0 / 2 - 1000.0 / 2, 1000.0, 1000.0, 20000, 0, true));
    EXPECT_EQ(a.LastFind, "");
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
    EXPECT_TRUE(t.prompter.shown().empty());
}

// An executable with its desktop entry installed beside it (bin/ next to
// share/applications/) writes nothing beside itself, even where it could:
// root's /usr/bin is writable.
TEST(Settings, AnInstalledProgramKeepsItsFilesInTheUsersDataDirectory) {
    TestApp t;
    ASSERT_TRUE(QDir().mkpath(t.path("usr/bin")));
    ASSERT_TRUE(t.writeFile("usr/share/applications/zanderfell.desktop", "[Desktop Entry]\n"));
    t.app.ExeDir = t.path("usr/bin");
    const QByteArray oldDataHome = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", t.path("home/data").toUtf8());
    const QString data =
        QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + "/";
    t.load();
    qputenv("XDG_DATA_HOME", oldDataHome);

    EXPECT_TRUE(data.startsWith(t.path("home/data") + "/")) << data.toStdString();
    EXPECT_EQ(t.app.AppPath, data);
    EXPECT_EQ(t.app.DestDir, data + "Download/");
    EXPECT_TRUE(QFileInfo(data + "NNTP_NET.INI").isFile());
    EXPECT_EQ(QDir(t.path("usr/bin")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList());
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
    EXPECT_EQ(texts(b.lstFavorites), QStringList{"alt.test news.example.net"});
}

// What LoadSettings made of a key, as text.
QString loaded(const App& a, const QString& key) {
    if (key == "Timeout") return QString::number(a.Timeout);
    if (key == "Minimum Groups") return QString::number(a.MinGroups);
    if (key == "BinariesOnly") return QString::number(a.BinariesOnly);
    if (key == "Remove SPAM") return QString::number(a.RemoveSpam);
    if (key == "Days") return a.AutoDays;
    // A stored directory that is gone falls back to AppPath; no default is made.
    if (key == "DestDir")
        return a.DestDir != a.AppPath                      ? a.DestDir
               : QFileInfo::exists(a.AppPath + "Download") ? "AppPath, Download made"
                                                           : "AppPath";
    // The preview flag also sets the menu's tick and the item below it.
    if (key == "Preview")
        return QString::number(a.PreviewOn) + QString::number(a.menuPreviewChecked) +
               QString::number(a.menuPreviewLEnabled);
    return a.FavoritesFile == a.AppPath + "ZanderfellFavorites.fav" ? a.FavoritesTitle
                                                                    : a.FavoritesFile;
}

// Numbers and flags that cannot be read keep the value they had (77 and the
// flag's "before"); Days are padded with blanks or cut to seven; a download
// directory that is gone falls back to AppPath.
TEST(Settings, OddStoredTextsAreReadOrKeepTheValueBefore) {
    // Keys, the text stored under each, what is read from it, the flags' value before.
    const QString numbers = "Timeout,Minimum Groups", flags = "BinariesOnly,Remove SPAM";
    const std::tuple<QString, const char*, const char*, bool> cases[] = {
        {"DestDir", "x/", "AppPath", false}, {numbers, " 12 ", "12", false},
        {numbers, "4x5", "77", false},       {numbers, "", "77", false},
        {flags, "-1", "1", false},           {flags, "0", "0", true},
        {flags, "TRUE", "1", false},         {flags, "false", "0", true},
        {flags, "banana", "1", true},        {flags, "banana", "0", false},
        {"Days", "101", "101    ", false},   {"Days", "1010101999", "1010101", false},
        {"Days", "", "       ", false},      {"Preview", "0", "000", false},
        {"Preview", "1", "111", false},      {"FavoritesFile", "", "ZanderfellFavorites", false}};
    for (const auto& [keys, stored, expected, before] : cases) {
        TestApp t;
        for (const QString& key : keys.split(','))
            t.setSetting(key, stored);
        t.app.Timeout = t.app.MinGroups = 77;
        t.app.BinariesOnly = t.app.RemoveSpam = before;
        t.load();
        for (const QString& key : keys.split(','))
            EXPECT_EQ(loaded(t.app, key), expected) << key.toStdString() << " \"" << stored << '"';
        // Loading went on with the keys behind it.
        EXPECT_EQ(t.app.FormWidth, 1000);
    }
}

} // namespace
