// The favourites in the main window: the File menu; then across two real
// news servers.
#include "favorites/favorites_list.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "program/main_window.h"

#include <QAction>
#include <QGroupBox>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

struct Favorites : WindowTest {
    void SetUp() override {
        WindowTest::SetUp();
        app.CurrentServer = "news.test";
    }
    QStringList rows() const { return texts(app.lstFavorites); }
    QString title() const { return window->frameBox(Frame::Favorites)->title(); }
    QByteArray saved() const { return t.readFile("ZanderfellFavorites.fav"); }
};

TEST_F(Favorites, FileMenuAsksBeforeOverwritingSavesTheListInHandAndRetitles) {
    lstFavorites_Drop(app, "alt.keep");
    const QString original = app.FavoritesFile;
    ASSERT_TRUE(t.writeFile("other.fav", "alt.other\n"));
    auto choose = [&](const char* item, const QString& file) {
        t.prompter.answerFileName(file);
        window->action(item)->trigger();
    };

    // New onto an existing name, answered No: nothing changes.
    t.prompter.answerYesNo(false);
    choose("menuNew", t.path("other.fav"));
    EXPECT_EQ(app.FavoritesFile, original);
    EXPECT_EQ(t.readFile("other.fav"), "alt.other\n");
    EXPECT_EQ(t.prompter.texts(ScriptedPrompter::Kind::YesNo),
              QStringList{"OverWrite Existing File?"});

    // Save under a name with two dots: the title is cut at the first.
    choose("menuSave", t.path("my.best.fav"));
    EXPECT_EQ(title(), "Favorite Groups [my] (1)");

    // New answered Yes: an empty list under that name, the old file untouched.
    t.prompter.answerYesNo(true);
    choose("menuNew", t.path("other.fav"));
    EXPECT_EQ(app.lstFavorites.count(), 0);
    EXPECT_EQ(t.readFile("other.fav"), "");
    EXPECT_EQ(t.readFile("my.best.fav"), (mark(4) + "alt.keep (news.test) \n").toUtf8());

    // Load saves the list in hand first; a name without a dot is the title whole.
    lstFavorites_Drop(app, "alt.fresh");
    ASSERT_TRUE(t.writeFile("nodot", "alt.loaded (x) (3)\n"));
    choose("menuLoad", t.path("nodot"));
    EXPECT_EQ(t.readFile("other.fav"), (mark(4) + "alt.fresh (news.test) \n").toUtf8());
    EXPECT_EQ(rows(), QStringList{"alt.loaded (x) (3)"});
    EXPECT_EQ(title(), "Favorite Groups [nodot] (1)");

    // A cancelled chooser or a missing file changes nothing.
    choose("menuLoad", QString());
    choose("menuLoad", t.path("missing.fav"));
    EXPECT_EQ(title(), "Favorite Groups [nodot] (1)");
}

class FavoritesInn : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        t.load();
        app.Timer1.start();
    }
    void TearDown() override { cmdDisconnect(app); }
    // Selects one favourite and double-clicks it.
    void open(int row) {
        app.lstFavorites.selectOnly(row);
        lstFavorites_DblClick(app);
    }
    void postSome(InnServer& server, const QString& group, int n) {
        for (int i = 1; i <= n; ++i)
            ASSERT_TRUE(server.post(group, QStringLiteral("pic%1.jpg (1/1)").arg(i), "x\n"))
                << server.lastError().toStdString();
    }
    TestApp t;
    App& app = t.app;
};

TEST_F(FavoritesInn, OneGroupOnTwoServersOpensOnEachAndAFailedListingRecovers) {
    auto second = InnServer::startPrivate();
    ASSERT_TRUE(second && second->available());
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.fav");
    ASSERT_TRUE(second->newGroup(group));
    postSome(*second, group, 3);

    // The group is not on the first server yet; on the second its listed row is dropped.
    app.CurrentServer = inn.address();
    lstFavorites_Drop(app, group);
    app.CurrentServer = second->address();
    cmdConnect(app, true);
    ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
    const int at = app.lstGroups.find(group + " (", FindMode::Contains, 0);
    ASSERT_GE(at, 0);
    lstFavorites_Drop(app, app.lstGroups.text(at));
    cmdDisconnect(app);
    ASSERT_EQ(app.lstFavorites.count(), 2);

    // The first server refuses the group; once it is there, the count comes back.
    open(0);
    EXPECT_EQ(app.lstFavorites.text(0), mark(2) + group + " (" + inn.address() + ")");
    ASSERT_TRUE(inn.newGroup(group));
    postSome(inn, group, 17);
    open(0);
    EXPECT_EQ(app.lstMessages.count(), 17);
    EXPECT_EQ(app.lstFavorites.text(0), mark(1) + group + " (" + inn.address() + ") (17)");

    // The other server's favourite drops this connection and opens there.
    open(1);
    EXPECT_EQ(app.lstMessages.count(), 3);
    EXPECT_EQ(app.lstFavorites.text(1), mark(1) + group + " (" + second->address() + ") (3)");

    // The same server's favourite again keeps the connection.
    QSignalSpy states(app.NNTP.get(), &NntpControl::stateChanged);
    open(1);
    EXPECT_EQ(states.count(), 0) << "no reconnect for the server already connected";
    EXPECT_FALSE(app.BatchRun);
}

} // namespace
