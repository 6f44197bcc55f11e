// Favourites across two real news servers, and the markers after real
// listings; the posting right comes from a scripted server that refuses it.
#include "favorites/favorites_list.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "setup/server_list.h"

#include <QSignalSpy>

namespace {

const QString kMark = QString(QChar(0xFF));

class FavoritesInn : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        t = std::make_unique<TestApp>();
        t->load();
        t->app.Timer1.start();
    }
    void TearDown() override {
        if (t) cmdDisconnect(t->app);
    }
    // Selects one favourite and double-clicks it.
    void open(int row) {
        App& app = t->app;
        app.lstFavorites.clearSelection();
        app.lstFavorites.setSelected(row, true);
        app.lstFavorites.setListIndex(row);
        lstFavorites_DblClick(app);
    }
    void postSome(InnServer& server, const QString& group, int n) {
        for (int i = 1; i <= n; ++i)
            ASSERT_TRUE(server.post(group, QStringLiteral("pic%1.jpg (1/1)").arg(i), "x\n"))
                << server.lastError().toStdString();
    }
    std::unique_ptr<TestApp> t;
};

TEST_F(FavoritesInn, OneGroupOnTwoServersIsTwoFavouritesAndEachOpensOnItsServer) {
    auto second = InnServer::startPrivate();
    ASSERT_TRUE(second && second->available());
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.fav");
    ASSERT_TRUE(inn.newGroup(group));
    ASSERT_TRUE(second->newGroup(group));
    postSome(inn, group, 17);
    postSome(*second, group, 3);
    App& app = t->app;

    // Drop the group row while connected to each server.
    for (InnServer* server : {&inn, second.get()}) {
        app.CurrentServer = server->address();
        cmdConnect(app, true);
        ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
        QString row;
        for (int i = 0; i < app.lstGroups.count(); ++i) {
            QString text = app.lstGroups.text(i);
            if (cleanNewsGroup(text) == group) row = app.lstGroups.text(i);
        }
        ASSERT_FALSE(row.isEmpty());
        lstFavorites_Drop(app, row);
        lstFavorites_Drop(app, row); // twice: still one row per server
        cmdDisconnect(app);
    }
    ASSERT_EQ(app.lstFavorites.count(), 2);

    // The first server's favourite: connects there and lists 17.
    QSignalSpy states(app.NNTP.get(), &NntpControl::stateChanged);
    open(0);
    EXPECT_EQ(app.CurrentServer, inn.address());
    EXPECT_EQ(app.lstMessages.count(), 17);
    EXPECT_EQ(app.lstFavorites.text(0), kMark + "1" + group + " (" + inn.address() + ") (17)");

    // The other server's favourite drops this connection and opens there.
    open(1);
    EXPECT_EQ(app.CurrentServer, second->address());
    EXPECT_TRUE(app.IsConnected);
    EXPECT_EQ(app.lstMessages.count(), 3);
    EXPECT_EQ(app.lstFavorites.text(1), kMark + "1" + group + " (" + second->address() + ") (3)");

    // The same server's favourite again keeps the connection.
    const int before = states.count();
    open(1);
    EXPECT_EQ(states.count(), before) << "no reconnect for the server already connected";
    EXPECT_FALSE(app.BatchRun);
}

TEST_F(FavoritesInn, AFailedListingMarksTheFavouriteAndTheNextGoodOneGivesItsCountBack) {
    App& app = t->app;
    app.CurrentServer = inn.address();
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.later");
    lstFavorites_Drop(app, group);
    ASSERT_EQ(app.lstFavorites.count(), 1);

    // The group does not exist yet: the server refuses it.
    open(0);
    EXPECT_NE(app.LastError, 0);
    EXPECT_EQ(app.lstFavorites.text(0), kMark + "2" + group + " (" + inn.address() + ")");

    ASSERT_TRUE(inn.newGroup(group));
    postSome(inn, group, 2);
    open(0);
    EXPECT_EQ(app.LastError, 0);
    EXPECT_EQ(app.lstFavorites.text(0), kMark + "1" + group + " (" + inn.address() + ") (2)");
}

TEST(FavoritesPosting, AServerWithoutPostingRightHidesPostAndMarksItsRow) {
    TestApp t;
    t.load();
    t.app.Timer1.start();
    ScriptedNntpServer server;
    server.send("200 hello\r\n").expect("MODE READER").send("201 reader, no posting\r\n");
    server.expect("LIST").send("215 list\r\nalt.x 3 1 y\r\n.\r\n").silence();
    ASSERT_TRUE(server.listen());
    App& app = t.app;
    app.CurrentServer = server.address();
    app.txtNNTPServ.addItem("????? ???    " + server.address());

    cmdConnect(app, true);
    ASSERT_TRUE(app.GroupsDone);
    EXPECT_FALSE(app.PostAllowed);
    EXPECT_FALSE(app.menuPostVisible);
    EXPECT_FALSE(app.toolbar[11].visible);
    EXPECT_EQ(app.txtNNTPServ.text(0), "00001  NO    " + server.address());

    // A disconnect shows Post again for the next server.
    cmdDisconnect(app);
    EXPECT_TRUE(app.menuPostVisible);
    EXPECT_TRUE(app.toolbar[11].visible);
}

} // namespace
