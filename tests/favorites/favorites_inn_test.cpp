// Favourites across two real news servers and their markers after real
// listings; the posting right comes from a scripted server that refuses it.
#include "favorites/favorites_list.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/nntp_control.h"

#include <QSignalSpy>

namespace {

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
        t->app.lstFavorites.clearSelection();
        t->app.lstFavorites.setSelected(row, true);
        t->app.lstFavorites.setListIndex(row);
        lstFavorites_DblClick(t->app);
    }
    void postSome(InnServer& server, const QString& group, int n) {
        for (int i = 1; i <= n; ++i)
            ASSERT_TRUE(server.post(group, QStringLiteral("pic%1.jpg (1/1)").arg(i), "x\n"))
                << server.lastError().toStdString();
    }
    std::unique_ptr<TestApp> t;
};

TEST_F(FavoritesInn, OneGroupOnTwoServersOpensOnEachAndAFailedListingRecovers) {
    auto second = InnServer::startPrivate();
    ASSERT_TRUE(second && second->available());
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.fav");
    ASSERT_TRUE(second->newGroup(group));
    postSome(*second, group, 3);
    App& app = t->app;

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
    EXPECT_FALSE(app.menuPostVisible);
    EXPECT_FALSE(app.toolbar[11].visible);
    EXPECT_EQ(app.txtNNTPServ.text(0), "00001  NO    " + server.address());

    // A disconnect shows Post again for the next server.
    cmdDisconnect(app);
    EXPECT_TRUE(app.menuPostVisible);
    EXPECT_TRUE(app.toolbar[11].visible);
}

} // namespace
