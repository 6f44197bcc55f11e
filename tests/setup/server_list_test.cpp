// The server list: the address of a row, the commands New, Find, Delete and
// Sort, and its file.
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

using Shown = ScriptedPrompter::Shown;
using Kind = ScriptedPrompter::Kind;
using Icon = Prompter::Icon;

struct ServerList : ::testing::Test {
    TestApp t;
    App& app = t.app;
    ListModel& list = app.txtNNTPServ;

    void SetUp() override { t.load(); }
    void fill(const QStringList& rows) {
        for (const QString& r : rows)
            list.addItem(r);
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
        return texts(onDisk);
    }
};

TEST_F(ServerList, RowsGiveTheirAddressAndFindServerMatchesItExactly) {
    // New, Status and Count forms, with five or six digits.
    for (const char* form : {"????? ???    ", "00000  NO    ", "?????  OK    ", "00012     ",
                             "123456  OK    ", "123456     "})
        EXPECT_EQ(serverRowAddress(QString(form) + "nntps://a.example.net:563"),
                  "nntps://a.example.net:563")
            << '"' << form << '"';
    EXPECT_EQ(serverRowAddress("news.example.net"), "news.example.net") << "no blank: all of it";
    EXPECT_EQ(serverRowAddress(""), "");

    fill({"????? ???    news.example.net", "00012  OK    news.example.org",
          "00012     cached.example.com", "123456  NO    big.example.com", "bare.example.com",
          "????? ???    news.example.net.invalid"});
    // Not a part of an address, not another case, not a row without a blank.
    const std::pair<const char*, int> cases[] = {
        {"news.example.net", 0},  {"news.example.org", 1},         {"cached.example.com", 2},
        {"big.example.com", 3},   {"news.example.net.invalid", 5}, {"example.net", -1},
        {"News.Example.Net", -1}, {"bare.example.com", -1},        {"", -1}};
    for (auto [address, row] : cases)
        EXPECT_EQ(findServer(app, address), row) << address;
}

TEST_F(ServerList, NewAddsTheAddressAsTypedUnlessItIsThereOrEmpty) {
    fill({"00012  OK    news.example.org"});
    app.CurrentServer = "news.example.org";
    QFile::remove(t.path("NNTP_NET.INI"));
    t.prompter.answerInput(QString("")).answerInput(std::nullopt);
    t.prompter.answerInput(QString("news.example.org"));
    cmdNewServ(app);
    cmdNewServ(app);
    EXPECT_FALSE(QFileInfo::exists(t.path("NNTP_NET.INI"))) << "empty or Cancel saves nothing";
    cmdNewServ(app);
    EXPECT_EQ(t.prompter.shown().front(),
              (Shown{Kind::Input, "Enter NNTP Server Address :", "Zanderfell!"}));
    EXPECT_EQ(t.prompter.shown().back(),
              (Shown{Kind::Message, "Duplicate Address", "Zanderfell!", Icon::Exclamation}));
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(app.CurrentServer, "news.example.org");

    // Another case is another address.
    t.prompter.answerInput(QString("NEWS.example.org"));
    cmdNewServ(app);
    EXPECT_EQ(texts(list),
              (QStringList{"00012  OK    news.example.org", "????? ???    NEWS.example.org"}));
    EXPECT_EQ(app.CurrentServer, "NEWS.example.org");
    EXPECT_EQ(fileRows(), texts(list));
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (2)");
    EXPECT_EQ(t.prompter.messages().size(), 1);
}

TEST_F(ServerList, FindSelectsOnlyTheRowOfTheExactAddressAndPicksIt) {
    fill({"????? ???    news.example.net", "00012  OK    news.example.org",
          "????? ???    news.example.org.invalid"});
    app.CurrentServer = "keep.example.com";
    list.setSelected(0, true);
    list.setSelected(2, true);
    t.prompter.answerInput(QString("example.org"))
        .answerInput(QString("NEWS.EXAMPLE.ORG"))
        .answerInput(QString(""));
    cmdFind(app);
    cmdFind(app);
    cmdFind(app); // empty: ends without a word
    EXPECT_EQ(t.prompter.shown().front(),
              (Shown{Kind::Input, "Enter Server Name: ", "Enter Server Name"}));
    EXPECT_EQ(t.prompter.shown()[1],
              (Shown{Kind::Message, "Not Found", "Zanderfell!", Icon::Exclamation}));
    EXPECT_EQ(t.prompter.messages(), (QStringList{"Not Found", "Not Found"}));
    EXPECT_EQ(app.CurrentServer, "keep.example.com");
    EXPECT_EQ(list.selCount(), 2);

    t.prompter.answerInput(QString("news.example.org"));
    cmdFind(app);
    EXPECT_EQ(selectedRows(), QStringList{"00012  OK    news.example.org"});
    EXPECT_EQ(list.listIndex(), 1);
    EXPECT_EQ(app.CurrentServer, "news.example.org");
}

TEST_F(ServerList, DeleteRemovesSelectedRowsSavesAndDropsOnlyTheCurrentServersCache) {
    fill({"00001  OK    a.example.com", "00002  OK    b.example.com", "00003  OK    c.example.com",
          "00004  OK    d.example.com"});
    cmdDeleteServ(app);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Please Select Item(s) First"});
    EXPECT_EQ(list.count(), 4);

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
    EXPECT_TRUE(app.setupEnabled && list.visible() && list.redraw());
    EXPECT_FALSE(app.hourGlass);
    EXPECT_EQ(texts(list),
              (QStringList{"00001  OK    a.example.com", "00004  OK    d.example.com"}));
    EXPECT_EQ(fileRows(), texts(list));
    EXPECT_FALSE(QFileInfo::exists(t.path("Cache/b_example_com")));
    EXPECT_TRUE(QFileInfo::exists(t.path("Cache/c_example_com")));
    EXPECT_EQ(app.CurrentServer, "b.example.com") << "the current server stays though its row went";
    EXPECT_EQ(list.listIndex(), 0);
    EXPECT_EQ(selectedRows(), QStringList{"00001  OK    a.example.com"});
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (2)");

    // The last rows going leave an empty list and an empty file.
    list.selectAll();
    cmdDeleteServ(app);
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(list.listIndex(), -1);
    EXPECT_TRUE(QFileInfo(t.path("NNTP_NET.INI")).isFile());
    EXPECT_EQ(t.readFile("NNTP_NET.INI"), "");
}

TEST_F(ServerList, SortOrdersByWholeRowTextKeepingCountsInNumericOrder) {
    fill({"????? ???    z.example.com", "00120  OK    b.example.com", "00003  NO    c.example.com",
          "????? ???    a.example.com", "00120  OK    B.example.com", "00120  OK    a.example.com",
          "01000     d.example.com"});
    list.setSelected(1, true);
    list.setListIndex(1);
    serverToolbarCommand(app, "Sort");
    // Digits come before "?"; equal rows, here equal but for case, keep their order.
    const QStringList sorted{"00003  NO    c.example.com", "00120  OK    a.example.com",
                             "00120  OK    b.example.com", "00120  OK    B.example.com",
                             "01000     d.example.com",    "????? ???    a.example.com",
                             "????? ???    z.example.com"};
    EXPECT_EQ(texts(list), sorted);
    EXPECT_EQ(fileRows(), sorted);
    EXPECT_EQ(list.selCount(), 0);
    EXPECT_EQ(list.listIndex(), -1);
    EXPECT_TRUE(list.enabled() && list.visible());
}

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
