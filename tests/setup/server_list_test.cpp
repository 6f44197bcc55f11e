// The server list: its row forms, the address of a row, the toolbar commands
// New, Find, Delete and Sort, and its file.
#include "fixtures/test_app.h"
#include "setup/server_list.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

namespace {

using Kind = ScriptedPrompter::Kind;

struct ServerList : ::testing::Test {
    TestApp t;
    App& app = t.app;
    ListModel& list = app.txtNNTPServ;

    void SetUp() override { t.load(); }
    void fill(const QStringList& rows) {
        for (const QString& r : rows)
            list.addItem(r);
    }
    QStringList rows() const {
        QStringList out;
        for (int i = 0; i < list.count(); ++i)
            out << list.text(i);
        return out;
    }
    QStringList selectedRows() const {
        QStringList out;
        for (int i = 0; i < list.count(); ++i)
            if (list.selected(i)) out << list.text(i);
        return out;
    }
    QStringList fileRows() const {
        ListModel onDisk;
        EXPECT_TRUE(onDisk.load(t.path("NNTP_NET.INI")));
        QStringList out;
        for (int i = 0; i < onDisk.count(); ++i)
            out << onDisk.text(i);
        return out;
    }
};

// ---- rows and addresses ----

TEST(ServerRowAddress, EveryFormOfRowGivesItsAddress) {
    const std::pair<const char*, const char*> cases[] = {
        {"????? ???    news.example.net", "news.example.net"},  // New
        {"00012  OK    news.example.net", "news.example.net"},  // Status
        {"00000  NO    news.example.net", "news.example.net"},  // Status, nothing counted
        {"?????  OK    news.example.net", "news.example.net"},  // posting marker on a New row
        {"00012     news.example.net", "news.example.net"},     // Count form, column 11
        {"123456  OK    news.example.net", "news.example.net"}, // six digits from 100,000 on
        {"123456     news.example.net", "news.example.net"},    // six digits, Count form
        {"????? ???    nntps://news.example.net:563", "nntps://news.example.net:563"},
        {"news.example.net", "news.example.net"}, // no blank at all: all of it
        {"", ""},
    };
    for (auto [row, address] : cases)
        EXPECT_EQ(serverRowAddress(row), address) << '"' << row << '"';
}

TEST_F(ServerList, FindServerMatchesWholeAddressesExactlyInEveryForm) {
    fill({"????? ???    news.example.net", "00012  OK    news.example.org",
          "00012     cached.example.com", "123456  NO    big.example.com", "bare.example.com",
          "????? ???    news.example.net.invalid"});
    EXPECT_EQ(findServer(app, "news.example.net"), 0);
    EXPECT_EQ(findServer(app, "news.example.org"), 1);
    EXPECT_EQ(findServer(app, "cached.example.com"), 2);
    EXPECT_EQ(findServer(app, "big.example.com"), 3);
    EXPECT_EQ(findServer(app, "news.example.net.invalid"), 5);
    // Not a part of an address, not another case, not a row without a blank.
    EXPECT_EQ(findServer(app, "example.net"), -1);
    EXPECT_EQ(findServer(app, "News.Example.Net"), -1);
    EXPECT_EQ(findServer(app, "bare.example.com"), -1);
    EXPECT_EQ(findServer(app, ""), -1);
}

// ---- New ----

TEST_F(ServerList, NewAddsARowAsTypedMakesItCurrentAndSaves) {
    fill({"00012  OK    news.example.org"});
    t.prompter.answerInput(QString("news.Example.net"));
    cmdNewServ(app);

    const auto& asked = t.prompter.shown().front();
    EXPECT_EQ(asked.kind, Kind::Input);
    EXPECT_EQ(asked.text, "Enter NNTP Server Address :");
    EXPECT_EQ(asked.title, "Zanderfell!");
    EXPECT_EQ(asked.initial, "");
    EXPECT_EQ(rows(),
              (QStringList{"00012  OK    news.example.org", "????? ???    news.Example.net"}));
    EXPECT_EQ(app.CurrentServer, "news.Example.net");
    EXPECT_EQ(fileRows(), rows());
    EXPECT_EQ(list.selCount(), 0);
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (2)");
}

TEST_F(ServerList, NewRefusesTheSameAddressButNotTheSameInAnotherCase) {
    fill({"00012  OK    news.example.org"});
    SaveServerList(app);
    app.CurrentServer = "news.example.org";
    t.prompter.answerInput(QString("news.example.org"));
    cmdNewServ(app);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Duplicate Address"});
    EXPECT_EQ(t.prompter.shown().back().icon, Prompter::Icon::Exclamation);
    EXPECT_EQ(t.prompter.shown().back().title, "Zanderfell!");
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (1)");

    t.prompter.answerInput(QString("NEWS.example.org"));
    cmdNewServ(app);
    EXPECT_EQ(rows(),
              (QStringList{"00012  OK    news.example.org", "????? ???    NEWS.example.org"}));
    EXPECT_EQ(t.prompter.messages().size(), 1);
}

TEST_F(ServerList, NewWithAnEmptyAnswerOrCancelChangesNothing) {
    fill({"00012  OK    news.example.org"});
    app.CurrentServer = "news.example.org";
    QFile::remove(t.path("NNTP_NET.INI"));
    t.prompter.answerInput(QString("")).answerInput(std::nullopt);
    cmdNewServ(app);
    cmdNewServ(app);
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(app.CurrentServer, "news.example.org");
    EXPECT_FALSE(QFileInfo::exists(t.path("NNTP_NET.INI"))) << "nothing was saved";
    EXPECT_TRUE(t.prompter.messages().isEmpty());
}

// ---- Find ----

TEST_F(ServerList, FindSelectsOnlyTheRowOfTheExactAddressAndPicksIt) {
    fill({"????? ???    news.example.net", "00012  OK    news.example.org",
          "????? ???    news.example.org.invalid"});
    list.setSelected(0, true);
    list.setSelected(2, true);
    t.prompter.answerInput(QString("news.example.org"));
    cmdFind(app);

    const auto& asked = t.prompter.shown().front();
    EXPECT_EQ(asked.text, "Enter Server Name: ");
    EXPECT_EQ(asked.title, "Enter Server Name");
    EXPECT_EQ(selectedRows(), QStringList{"00012  OK    news.example.org"});
    EXPECT_EQ(list.listIndex(), 1);
    EXPECT_EQ(app.CurrentServer, "news.example.org");
    EXPECT_EQ(app.Caption, "Zanderfell! v2.5 (news.example.org) ");
}

TEST_F(ServerList, FindSaysNotFoundForAPartOrAnotherCase) {
    fill({"00012  OK    news.example.org"});
    app.CurrentServer = "keep.example.com";
    for (const char* answer : {"example.org", "NEWS.EXAMPLE.ORG"})
        t.prompter.answerInput(QString(answer));
    t.prompter.answerInput(QString("")); // empty: ends without a word
    cmdFind(app);
    cmdFind(app);
    cmdFind(app);
    EXPECT_EQ(t.prompter.messages(), (QStringList{"Not Found", "Not Found"}));
    EXPECT_EQ(t.prompter.shown()[1].icon, Prompter::Icon::Exclamation);
    EXPECT_EQ(app.CurrentServer, "keep.example.com");
    EXPECT_EQ(list.selCount(), 0);
}

// ---- Delete ----

TEST_F(ServerList, DeleteWithoutSelectionOnlyWarns) {
    fill({"00012  OK    news.example.org"});
    cmdDeleteServ(app);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Please Select Item(s) First"});
    EXPECT_EQ(list.count(), 1);
}

TEST_F(ServerList, DeleteRemovesSelectedRowsSavesAndDropsOnlyTheCurrentServersCache) {
    fill({"00001  OK    a.example.com", "00002  OK    b.example.com", "00003  OK    c.example.com",
          "00004  OK    d.example.com"});
    app.CurrentServer = "b.example.com";
    ASSERT_TRUE(t.writeFile("Cache/b_example_com", "alt.test 1 2 y\n"));
    ASSERT_TRUE(t.writeFile("Cache/c_example_com", "alt.test 1 2 y\n"));
    list.setSelected(1, true);
    list.setSelected(2, true);

    // The dialog is off while the rows go; an event that comes in meanwhile sees it so.
    bool seenOff = false;
    QTimer::singleShot(0, &app, [&] { seenOff = !app.setupEnabled && !list.visible(); });
    cmdDeleteServ(app);

    EXPECT_TRUE(seenOff);
    EXPECT_TRUE(app.setupEnabled);
    EXPECT_TRUE(list.visible());
    EXPECT_TRUE(list.redraw());
    EXPECT_EQ(rows(), (QStringList{"00001  OK    a.example.com", "00004  OK    d.example.com"}));
    EXPECT_EQ(fileRows(), rows());
    EXPECT_FALSE(QFileInfo::exists(t.path("Cache/b_example_com")));
    EXPECT_TRUE(QFileInfo::exists(t.path("Cache/c_example_com")));
    EXPECT_EQ(app.CurrentServer, "b.example.com") << "the current server stays though its row went";
    EXPECT_EQ(list.listIndex(), 0);
    EXPECT_EQ(selectedRows(), QStringList{"00001  OK    a.example.com"});
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (2)");
    EXPECT_FALSE(app.hourGlass);
}

TEST_F(ServerList, DeletingTheLastRowLeavesAnEmptyListAndAnEmptyFile) {
    fill({"????? ???    only.example.com"});
    list.setSelected(0, true);
    cmdDeleteServ(app);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.listIndex(), -1);
    EXPECT_EQ(list.selCount(), 0);
    EXPECT_EQ(t.readFile("NNTP_NET.INI"), "");
    EXPECT_TRUE(QFileInfo(t.path("NNTP_NET.INI")).isFile());
}

// ---- Sort ----

TEST_F(ServerList, SortOrdersByWholeRowTextKeepingCountsInNumericOrder) {
    fill({"????? ???    z.example.com", "00120  OK    b.example.com", "00003  NO    c.example.com",
          "????? ???    a.example.com", "00120  OK    B.example.com", "00120  OK    a.example.com",
          "01000     d.example.com"});
    list.setSelected(1, true);
    list.setListIndex(1);
    t.prompter.clearShown();
    serverToolbarCommand(app, "Sort");

    // Digits come before "?"; equal rows, here equal but for case, keep their order.
    const QStringList sorted{"00003  NO    c.example.com", "00120  OK    a.example.com",
                             "00120  OK    b.example.com", "00120  OK    B.example.com",
                             "01000     d.example.com",    "????? ???    a.example.com",
                             "????? ???    z.example.com"};
    EXPECT_EQ(rows(), sorted);
    EXPECT_EQ(fileRows(), sorted);
    EXPECT_EQ(list.selCount(), 0);
    EXPECT_EQ(list.listIndex(), -1);
    EXPECT_TRUE(list.enabled());
    EXPECT_TRUE(list.visible());
    // lstTemp keeps its copy, and is the sorted list.
    EXPECT_EQ(app.lstTemp.count(), 7);
    EXPECT_TRUE(app.lstTemp.sorted());
    EXPECT_EQ(app.lstTemp.text(0), sorted[0]);
}

// ---- the file ----

// A save that fails part way must not cost the user the list on disk.
TEST_F(ServerList, AFailingSaveLeavesTheOldFileIntact) {
    fill({"????? ???    old.example.com"});
    SaveServerList(app);
    const QByteArray before = t.readFile("NNTP_NET.INI");
    ASSERT_FALSE(before.isEmpty());
    for (int i = 0; i < 2000; ++i)
        list.addItem(QString("????? ???    new%1.example.com").arg(i));

    // Files may grow to 1 KiB only, which holds for root as well.
    struct rlimit saved {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    SaveServerList(app);
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(t.readFile("NNTP_NET.INI"), before);
    const QStringList left = QDir(t.dir.path()).entryList({"NNTP_NET.INI*"}, QDir::Files);
    EXPECT_EQ(left, QStringList{"NNTP_NET.INI"}) << "no temporary file stays behind";

    SaveServerList(app); // and the next save that can write does
    EXPECT_EQ(fileRows().size(), 2001);
}

} // namespace
