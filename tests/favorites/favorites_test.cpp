// The favourites: their file and list, drops of group rows, and the markers
// that write listing results back into the rows.
#include "favorites/favorites_file.h"
#include "favorites/favorites_list.h"
#include "favorites/markers.h"
#include "fixtures/test_app.h"
#include "setup/server_list.h"

#include <QFile>
#include <gtest/gtest.h>

namespace {

struct Favorites : ::testing::Test {
    TestApp t;
    App& app = t.app;
    void SetUp() override {
        t.load();
        app.CurrentServer = "news.one.test";
    }
    QStringList rows() const { return texts(app.lstFavorites); }
};

TEST_F(Favorites, DropsMakeOneRowPerGroupAndServerInTheirForms) {
    lstFavorites_Drop(app, mark(1) + "alt.binaries.pics (5)");
    lstFavorites_Drop(app, "alt.empty (0)"); // no mark: the form without count
    lstFavorites_Drop(app, "alt.plain");
    lstFavorites_Drop(app, mark(1) + "alt.binaries.pics (5)"); // again: nothing new
    app.CurrentServer = "news.two.test";
    lstFavorites_Drop(app, mark(1) + "alt.binaries.pics (5)"); // other server: a row of its own
    lstFavorites_Drop(app, "");

    EXPECT_EQ(rows(), (QStringList{mark(1) + "alt.binaries.pics (news.one.test) (5)",
                                   mark(4) + "alt.empty (news.one.test) ",
                                   mark(4) + "alt.plain (news.one.test) ",
                                   mark(1) + "alt.binaries.pics (news.two.test) (5)"}));
    EXPECT_EQ(app.lstFavorites.picture(0), 12);
    // Saved at once, and the title counts the rows.
    ListModel onDisk;
    ASSERT_TRUE(onDisk.load(app.FavoritesFile));
    EXPECT_EQ(onDisk.count(), 4);
    EXPECT_EQ(app.frame(Frame::Favorites).title, "Favorite Groups [ZanderfellFavorites] (4)");

    // While a server check borrows the list, drops and deletes are refused.
    app.Busy = true;
    lstFavorites_Drop(app, "alt.new");
    app.lstFavorites.setSelected(0, true);
    lstFavorites_DeleteSelected(app);
    EXPECT_EQ(app.lstFavorites.count(), 4);
}

TEST_F(Favorites, DeleteRemovesTheSelectedRowsAndSelectsTheFirst) {
    for (const char* g : {"a.one", "a.two", "a.three", "a.four"})
        lstFavorites_Drop(app, g);
    app.lstFavorites.setSelected(1, true);
    app.lstFavorites.setSelected(2, true);
    lstFavorites_DeleteSelected(app);
    EXPECT_EQ(rows(), (QStringList{mark(4) + "a.one (news.one.test) ",
                                   mark(4) + "a.four (news.one.test) "}));
    EXPECT_TRUE(app.lstFavorites.selected(0));
    EXPECT_EQ(app.lstFavorites.listIndex(), 0);

    lstFavorites_SelectAll(app);
    lstFavorites_DeleteSelected(app);
    EXPECT_EQ(app.lstFavorites.count(), 0);
    EXPECT_EQ(app.lstFavorites.listIndex(), -1);
    ListModel onDisk;
    ASSERT_TRUE(onDisk.load(app.FavoritesFile));
    EXPECT_EQ(onDisk.count(), 0);
}

TEST_F(Favorites, NewSaveAndLoadFollowTheOverwriteAnswerAndTheTitle) {
    lstFavorites_Drop(app, "alt.keep");
    const QString original = app.FavoritesFile;
    const QString other = t.path("other.fav");
    ASSERT_TRUE(t.writeFile("other.fav", "alt.other\n"));

    // New onto an existing name, answered No: nothing changes.
    t.prompter.answerFileName(other).answerYesNo(false);
    menuNew_Click(app);
    EXPECT_EQ(app.FavoritesFile, original);
    EXPECT_EQ(app.lstFavorites.count(), 1);
    EXPECT_EQ(t.readFile("other.fav"), "alt.other\n");
    EXPECT_EQ(t.prompter.texts(ScriptedPrompter::Kind::YesNo),
              QStringList{"OverWrite Existing File?"});

    // Save under a new name with two dots: the title is cut at the first.
    t.prompter.answerFileName(t.path("my.best.fav"));
    menuSave_Click(app);
    EXPECT_EQ(app.FavoritesFile, t.path("my.best.fav"));
    EXPECT_EQ(app.FavoritesTitle, "my");
    EXPECT_EQ(app.frame(Frame::Favorites).title, "Favorite Groups [my] (1)");

    // New answered Yes: an empty list under the name, the old file untouched.
    t.prompter.answerFileName(other).answerYesNo(true);
    menuNew_Click(app);
    EXPECT_EQ(app.lstFavorites.count(), 0);
    EXPECT_EQ(t.readFile("other.fav"), "");
    EXPECT_EQ(t.readFile("my.best.fav"), QByteArray("\xC3\xBF") + "4alt.keep (news.one.test) \n");

    // Load saves the list in hand first; a name without a dot is the title whole.
    lstFavorites_Drop(app, "alt.fresh");
    ASSERT_TRUE(t.writeFile("nodot", "alt.loaded (x) (3)\n"));
    t.prompter.answerFileName(t.path("nodot"));
    menuLoad_Click(app);
    EXPECT_EQ(t.readFile("other.fav"), QByteArray("\xC3\xBF") + "4alt.fresh (news.one.test) \n");
    EXPECT_EQ(rows(), QStringList{"alt.loaded (x) (3)"});
    EXPECT_EQ(app.lstFavorites.picture(0), 12);
    EXPECT_EQ(app.FavoritesTitle, "nodot");

    // A cancelled chooser or a missing file changes nothing.
    t.prompter.answerFileName(QString());
    menuLoad_Click(app);
    t.prompter.answerFileName(t.path("missing.fav"));
    menuLoad_Click(app);
    EXPECT_EQ(app.FavoritesTitle, "nodot");
}

TEST_F(Favorites, MarkersWriteCountsFailuresAndPostingRightIntoRows) {
    lstFavorites_Drop(app, "alt.pics");
    app.lstGroups.addItem(mark(1) + "alt.pics (40)");
    app.lstGroups.addItem("alt.pics.d (0)");

    updateGroupMarkerNFavs(app, " alt.pics ", 17);
    EXPECT_EQ(rows(), QStringList{mark(1) + "alt.pics (news.one.test) (17)"});
    EXPECT_EQ(app.lstGroups.text(0), mark(1) + "alt.pics (17)");

    app.LastError = -1;
    updateGroupMarkerNFavs(app, "alt.pics", 17);
    EXPECT_EQ(rows(), QStringList{mark(2) + "alt.pics (news.one.test)"});
    EXPECT_EQ(app.lstGroups.text(0), mark(2) + "alt.pics");

    app.LastError = 0;
    updateGroupMarkerNFavs(app, "alt.pics", 0);
    EXPECT_EQ(rows(), QStringList{mark(4) + "alt.pics (news.one.test) (0)"});
    EXPECT_EQ(app.lstGroups.text(0), "alt.pics (0)");

    // The server row learns count and posting right; a New row keeps its question marks.
    app.txtNNTPServ.addItem("????? ???    news.one.test");
    app.PostAllowed = true;
    updateGroupMarker(app);
    EXPECT_EQ(app.txtNNTPServ.text(0), "00002  OK    news.one.test");
    app.txtNNTPServ.setText(0, "????? ???    news.one.test");
    app.lstGroups.clear();
    updateGroupMarker(app); // no groups: nothing to say
    EXPECT_EQ(app.txtNNTPServ.text(0), "????? ???    news.one.test");
}

} // namespace
