// The favourites in the main window: group rows dropped onto the list, the
// Delete key, the File menu and the markers of listings; then across two
// real news servers.
#include "favorites/favorites_list.h"
#include "favorites/markers.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "program/main_window.h"
#include "shell/list_view_widget.h"

#include <QAction>
#include <QDropEvent>
#include <QGroupBox>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
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
    // Drags a row of lstGroups onto the favourites as the mouse would.
    bool dragGroupRow(int row) {
        std::unique_ptr<QMimeData> mime(app.lstGroups.mimeData({app.lstGroups.index(row)}));
        if (!mime) return false;
        QWidget* target = window->view(app.lstFavorites)->viewport();
        const QPoint at = target->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        QDragMoveEvent move(at, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &move);
        QDropEvent drop(QPointF(at), Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
        return enter.isAccepted() && drop.isAccepted();
    }
};

TEST_F(Favorites, DroppedGroupRowsBecomeOneFavouritePerGroupAndServerAndDeleteRemovesThem) {
    app.lstGroups.addItem(mark(1) + "alt.binaries.pics (12)");
    app.lstGroups.addItem("alt.quiet (0)");
    for (int row : {0, 1, 0})
        EXPECT_TRUE(dragGroupRow(row));
    lstFavorites_Drop(app, "alt.plain"); // a bare name carries no count
    lstFavorites_Drop(app, "");
    app.CurrentServer = "news.two.test";
    EXPECT_TRUE(dragGroupRow(0));
    EXPECT_EQ(rows(),
              (QStringList{mark(1) + "alt.binaries.pics (news.test) (12)",
                           mark(4) + "alt.quiet (news.test) ", mark(4) + "alt.plain (news.test) ",
                           mark(1) + "alt.binaries.pics (news.two.test) (12)"}));
    EXPECT_EQ(saved(), (rows().join('\n') + '\n').toUtf8());

    ListView* favorites = window->view(app.lstFavorites);
    favorites->setFocus();
    favorites->selectionModel()->select(
        QItemSelection(app.lstFavorites.index(1), app.lstFavorites.index(2)),
        QItemSelectionModel::ClearAndSelect);
    // While a server check borrows the list, deletes and drops are refused.
    app.Busy = true;
    QTest::keyClick(favorites, Qt::Key_Delete);
    lstFavorites_Drop(app, "alt.new");
    EXPECT_EQ(app.lstFavorites.count(), 4);

    app.Busy = false;
    QTest::keyClick(favorites, Qt::Key_Delete);
    EXPECT_EQ(rows(), (QStringList{mark(1) + "alt.binaries.pics (news.test) (12)",
                                   mark(1) + "alt.binaries.pics (news.two.test) (12)"}));
    app.lstFavorites.selectAll();
    QTest::keyClick(favorites, Qt::Key_Delete);
    EXPECT_EQ(app.lstFavorites.count(), 0);
    EXPECT_EQ(saved(), "");
}

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

TEST_F(Favorites, MarkersWriteFailuresEmptyGroupsAndPostingRightIntoRows) {
    app.txtNNTPServ.addItem("????? ???    news.test");
    app.PostAllowed = true;
    updateGroupMarker(app); // nothing listed: a New row keeps its question marks
    EXPECT_EQ(app.txtNNTPServ.text(0), "????? ???    news.test");

    lstFavorites_Drop(app, "alt.pics");
    app.lstGroups.addItem(mark(1) + "alt.pics (40)");
    app.lstGroups.addItem("alt.pics.d (0)");
    app.LastError = -1;
    updateGroupMarkerNFavs(app, " alt.pics ", 17);
    EXPECT_EQ(rows(), QStringList{mark(2) + "alt.pics (news.test)"});
    EXPECT_EQ(app.lstGroups.text(0), mark(2) + "alt.pics");
    app.LastError = 0;
    updateGroupMarkerNFavs(app, "alt.pics", 0);
    EXPECT_EQ(rows(), QStringList{mark(4) + "alt.pics (news.test) (0)"});
    EXPECT_EQ(app.lstGroups.text(0), "alt.pics (0)");

    updateGroupMarker(app); // the server row learns the count and the posting right
    EXPECT_EQ(app.txtNNTPServ.text(0), "00002  OK    news.test");
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
