// The server list: the address of a row, its commands New, Find, Delete,
// Sort, Import and Export, and its file; for Import the field reader, the
// cleaning of a field and the index behind the contains-rule for duplicates.
#include "fixtures/save_loop/save_loop.h"
#include "fixtures/test_app.h"
#include "news/group_list.h"
#include "setup/server_import.h"
#include "setup/server_index.h"
#include "setup/server_list.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <gtest/gtest.h>

#include <QProcess>
#include <csignal>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

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
    QStringList fileRows() const {
        ListModel onDisk;
        EXPECT_TRUE(onDisk.load(t.path("NNTP_NET.INI")));
        return texts(onDisk);
    }
};

TEST_F(ServerList, RowsGiveTheirAddressAndFindServerMatchesItExactly) {
    // New, Status and Count forms, with five or six digits.
    for (const char* form : {"????? ???    ", "00012     ", "123456  OK    "})
        EXPECT_EQ(serverRowAddress(QString(form) + "nntps://a.example.net:563"),
                  "nntps://a.example.net:563")
            << '"' << form << '"';
    EXPECT_EQ(serverRowAddress("news.example.net"), "news.example.net") << "no blank: all of it";

    fill({"????? ???    news.example.net", "123456  NO    big.example.com", "bare.example.com",
          "????? ???    news.example.net.invalid"});
    // Not a part of an address, not another case, not a row without a blank.
    const std::pair<const char*, int> cases[] = {
        {"big.example.com", 1},   {"news.example.net.invalid", 3}, {"example.net", -1},
        {"News.Example.Net", -1}, {"bare.example.com", -1},        {"", -1}};
    for (auto [address, row] : cases)
        EXPECT_EQ(findServer(app, address), row) << address;
}

TEST_F(ServerList, NewAddsTheAddressAsTypedUnlessItIsThereOrEmpty) {
    fill({"00012  OK    news.example.org"});
    QFile::remove(t.path("NNTP_NET.INI"));
    t.prompter.answerInput(QString("")).answerInput(std::nullopt);
    t.prompter.answerInput(QString("news.example.org"));
    cmdNewServ(app);
    cmdNewServ(app);
    EXPECT_FALSE(QFileInfo::exists(t.path("NNTP_NET.INI"))) << "empty or Cancel saves nothing";
    cmdNewServ(app);
    // Another case is another address.
    t.prompter.answerInput(QString("NEWS.example.org"));
    cmdNewServ(app);
    const Shown ask{Kind::Input, "Enter NNTP Server Address :", "Zanderfell!"},
        duplicate{Kind::Message, "Duplicate Address", "Zanderfell!", Icon::Exclamation};
    EXPECT_EQ(t.prompter.shown(), (std::vector<Shown>{ask, ask, ask, duplicate, ask}));
    EXPECT_EQ(texts(list),
              (QStringList{"00012  OK    news.example.org", "????? ???    NEWS.example.org"}));
    EXPECT_EQ(app.CurrentServer, "NEWS.example.org");
    EXPECT_EQ(fileRows(), texts(list));
}

TEST_F(ServerList, DeleteRemovesSelectedRowsSavesAndDropsOnlyTheCurrentServersCache) {
    fill({"00001  OK    a.example.com", "00002  OK    b.example.com", "00003  OK    c.example.com",
          "00004  OK    d.example.com"});
    cmdDeleteServ(app);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Please Select Item(s) First"});

    app.CurrentServer = "b.example.com";
    ASSERT_TRUE(t.writeFile("Cache/b_example_com", "alt.test 1 2 y\n"));
    ASSERT_TRUE(t.writeFile("Cache/c_example_com", "alt.test 1 2 y\n"));
    list.setSelected(1, true);
    list.setSelected(2, true);
    cmdDeleteServ(app);
    EXPECT_EQ(texts(list),
              (QStringList{"00001  OK    a.example.com", "00004  OK    d.example.com"}));
    EXPECT_EQ(fileRows(), texts(list));
    EXPECT_FALSE(QFileInfo::exists(t.path("Cache/b_example_com")));
    EXPECT_TRUE(QFileInfo::exists(t.path("Cache/c_example_com")));
    EXPECT_EQ(app.CurrentServer, "b.example.com") << "the current server stays though its row went";

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

// The process killed while it saves the server list, the favourites or a
// group cache: a helper saves the file over and over, alternating between two
// versions, and is killed while it has a file of the target's directory open
// (the target itself, or a temporary file beside it). The target is always
// one whole version, the one saved before.
TEST(Saves, AProcessKilledInTheMiddleOfASaveLeavesThePreviousFileWhole) {
    const struct {
        const char* kind;
        QString file;
    } cases[] = {{"servers", "NNTP_NET.INI"},
                 {"favorites", "ZanderfellFavorites.fav"},
                 {"groups", "Cache/news_example_com:119"}};
    std::mt19937 rng(7);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.kind);
        QTemporaryDir dir;
        const QString target = dir.filePath(c.file);
        const QString targetDir = QFileInfo(target).absolutePath();
        QProcess saver;
        saver.start(ZANDERFELL_SAVE_LOOP, {c.kind, dir.path()});
        ASSERT_TRUE(saver.waitForReadyRead(30000)) << "the first save is through";
        const pid_t pid = pid_t(saver.processId());
        // Stopped at random moments until one finds it writing.
        auto writing = [&] {
            const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
            for (const QString& fd :
                 fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
                char link[4096];
                const ssize_t n =
                    readlink(fds.filePath(fd).toLocal8Bit().constData(), link, sizeof link - 1);
                if (n <= 0) continue;
                const QString open = QString::fromLocal8Bit(link, n);
                if (open.startsWith(targetDir + u'/')) return true;
            }
            return false;
        };
        bool caught = false;
        for (int attempt = 0; attempt < 5000 && !caught; ++attempt) {
            usleep(std::uniform_int_distribution<useconds_t>(0, 3000)(rng));
            ASSERT_EQ(kill(pid, SIGSTOP), 0);
            caught = writing();
            if (!caught) kill(pid, SIGCONT);
        }
        kill(pid, SIGKILL);
        ASSERT_TRUE(saver.waitForFinished(30000));
        ASSERT_TRUE(caught) << "never stopped in the middle of a save";

        ListModel saved;
        ASSERT_TRUE(saved.load(target));
        const int version = saved.count() == saveLoopRows(1) ? 1 : 0;
        ASSERT_EQ(saved.count(), saveLoopRows(version));
        for (int n = 0; n < saved.count(); ++n)
            ASSERT_EQ(saved.text(n), saveLoopRow(n, version)) << n;
    }
}

// Short texts over a small alphabet, so that delimiters, near misses and
// shared suffixes are common.
template <size_t N>
QString randomText(QRandomGenerator& rng, const char16_t (&alphabet)[N], int minLen, int maxLen) {
    QString s;
    for (int n = minLen + rng.bounded(maxLen - minLen); n > 0; --n)
        s += QChar(alphabet[rng.bounded(int(N))]);
    return s;
}

TEST(ImportFields, SplitAtCommasAndLineEndsKeepQuotedTextAndCleanToTheFirstWord) {
    const std::pair<const char*, QStringList> cases[] = {
        // CR LF is one line end; a lone CR and a lone LF one each.
        {"a\r\n\r\nb", {"a", "", "b"}},
        {"a\r\rb", {"a", "", "b"}},
        // Blanks before a field go; blanks after it stay for the cleaning.
        {"   a.com  , b.com", {"a.com  ", "b.com"}},
        {"a,,b,", {"a", "", "b"}},
        {"   ", {}},
        {"\ta.com", {"\ta.com"}}, // a tab is no blank
        // Quotes keep commas and line ends; what follows the closing quote goes.
        {"\"a, b\r\nc\",d", {"a, b\r\nc", "d"}},
        {"\"a.com\" junk,b.com", {"a.com", "b.com"}},
        {"\"open.com,\nrest", {"open.com,\nrest"}}, // unclosed: runs to the end
        {"a\"b\".com,c", {"a\"b\".com", "c"}}};     // a quote inside is a character
    for (const auto& [text, fields] : cases)
        EXPECT_EQ(readImportFields(QString::fromLatin1(text)), fields)
            << '"' << QByteArray(text).toPercentEncoding(" ,\"").toStdString() << '"';

    // Whatever the text, the reader moves forward at every field and ends.
    QRandomGenerator rng(7);
    const char16_t alphabet[] = {u'a', u'.', u',', u'"', u' ', u'\t', u'\r', u'\n', u'\xe9'};
    for (int round = 0; round < 2000; ++round) {
        const QString text = randomText(rng, alphabet, 0, 40);
        QString field;
        int fields = 0;
        for (qsizetype pos = 0, next; (next = nextImportField(text, pos, field)) >= 0; pos = next) {
            ASSERT_GT(next, pos) << text.toStdString();
            ASSERT_LE(next, text.size());
            ++fields;
        }
        const qsizetype delimiters = text.count(u',') + text.count(u'\r') + text.count(u'\n');
        EXPECT_LE(fields, delimiters + 1) << text.toStdString();
    }

    // Cleaning keeps the first word before any line end or tab.
    const std::pair<const char*, const char*> cleaned[] = {
        {"  news.example.com the best", "news.example.com"},
        {"news.example.com\tcomment", "news.example.com"},
        {"\tnews.example.com", ""}, // a tab first leaves nothing
        {"a.com\nb.com", "a.com"},
        {"a.com\rb.com", "a.com\rb.com"}}; // a lone CR is not cut
    for (auto [field, address] : cleaned)
        EXPECT_EQ(cleanImportField(QString::fromLatin1(field)), address) << field;
}

TEST(RowContainsIndex, AnswersAsTheListsContainsFindIncludingCaseFolding) {
    auto reference = [](const ListModel& l, const QString& s) {
        return l.find(s, FindMode::Contains, 0) >= 0;
    };
    ListModel list;
    for (const QString& r :
         {QString("????? ???    news.Example.com"), QString("00012  OK    straße.de"),
          QString("????? ???    \u212Aelvin.org"), QString("????? ???    ΣΊΣΥΦΟΣ.gr"),
          QString("????? ???    emoji\U0001F600.net"), QString("bare.example.org"),
          QString("\u00ff1marked.example.net")})
        list.addItem(r);
    RowContainsIndex index(list);
    const QStringList probes =
        QString("NEWS.EXAMPLE.COM|example.comx|STRASSE.DE|STRAẞE.DE|KELVIN.ORG|σίσυφος.gr|"
                "\U0001F600.net|K    n|\u00ff1marked||s.com ")
            .split(u'|');
    for (const QString& p : probes)
        EXPECT_EQ(index.anyRowContains(p), reference(list, p)) << p.toStdString();

    // Random rows over a small alphabet share many suffixes, which the index
    // must split correctly, also while rows are appended between questions.
    QRandomGenerator rng(11);
    const char16_t alphabet[] = {u'a', u'B', u'b', u'.',      u'c',
                                 u'?', u'0', u' ', u'\u00c9', u'\u00e9'};
    for (int round = 0; round < 20; ++round) {
        ListModel random;
        for (int i = 0; i < 30; ++i)
            random.addItem(randomText(rng, alphabet, 1, 13));
        RowContainsIndex grown(random);
        for (int q = 0; q < 400; ++q) {
            const QString probe = randomText(rng, alphabet, 1, 6);
            ASSERT_EQ(grown.anyRowContains(probe), reference(random, probe))
                << "round " << round << " probe \"" << probe.toStdString() << '"';
            if (q % 7 == 0) {
                grown.append(randomText(rng, alphabet, 1, 13));
                grown.flush();
            }
        }
    }
}

TEST(RowContainsIndex, FollowsRowsAddedChangedAndRemovedMeanwhile) {
    ListModel list;
    list.addItem("????? ???    one.example.com");
    RowContainsIndex index(list);
    index.append("????? ???    two.example.com");
    EXPECT_TRUE(index.anyRowContains("two.example"));
    EXPECT_EQ(list.count(), 1) << "appended rows wait for flush";
    index.flush();

    list.addItem("????? ???    three.example.com"); // someone else adds a row
    EXPECT_TRUE(index.anyRowContains("three.example.com"));
    list.setText(0, "00005  OK    four.example.com"); // and rewrites one
    EXPECT_FALSE(index.anyRowContains("one.example.com"));
    EXPECT_TRUE(index.anyRowContains("four.example.com"));
    index.append("????? ???    five.example.com");
    list.removeItem(1);
    EXPECT_FALSE(index.anyRowContains("two.example.com"));
    EXPECT_TRUE(index.anyRowContains("five.example.com"));
    list.clear();
    EXPECT_TRUE(index.anyRowContains("five.example.com")) << "still waiting to be added";
    index.flush();
    EXPECT_EQ(list.count(), 1);
    EXPECT_FALSE(index.anyRowContains("four.example.com"));
}

// The first word of each field; a name without a dot, or one that a row
// already contains in any case, is left out.
TEST_F(ServerList, ImportAddsTheAddressesNoRowContainsAndExportWritesEveryRowAsItStands) {
    fill({"00012  OK    news.example.org", "123456  OK    big.example.com"});
    ASSERT_TRUE(
        t.writeFile("servers.txt",
                    "news.first.com   the best one\r\na.example.net, b.example.net\nlocalhost\n\n"
                    "news.first.com\nexample.org\nEXAMPLE.ORG\nnews.example.org\nbig.example.com\n"
                    "news.example.org.uk\norg.news\n"));
    t.prompter.answerFileName(t.path("servers.txt"));
    cmdImport(app);
    const QStringList rows{"00012  OK    news.example.org", "123456  OK    big.example.com",
                           "????? ???    news.first.com",   "????? ???    a.example.net",
                           "????? ???    b.example.net",    "????? ???    news.example.org.uk",
                           "????? ???    org.news"};
    EXPECT_EQ(texts(list), rows);
    EXPECT_TRUE(t.prompter.messages().isEmpty()) << "an import says nothing";
    EXPECT_TRUE(t.readFile("NNTP_NET.INI").endsWith("\n????? ???    org.news\n"));

    // Export replaces a longer file with the rows as they stand, in CR LF lines.
    ASSERT_TRUE(t.writeFile("out.txt", QByteArray(1000, 'x')));
    t.prompter.answerFileName(t.path("out.txt"));
    cmdExport(app);
    EXPECT_EQ(t.readFile("out.txt"), (rows.join("\r\n") + "\r\n").toUtf8());
    t.prompter.answerFileName(t.path("no/such/dir/out.txt")).answerFileName("");
    cmdExport(app);
    cmdExport(app); // no file chosen: nothing happens
    EXPECT_EQ(t.prompter.messages(), (QStringList{"File Saved", "Error Saving File"}));

    // The first word of each exported line is a status column, not an address.
    list.clear();
    t.prompter.answerFileName(t.path("out.txt"));
    cmdImport(app);
    EXPECT_EQ(list.count(), 0);
}

} // namespace
