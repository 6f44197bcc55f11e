// Import and export of the server list: the field reader, the cleaning of a
// field, the contains-rule for duplicates and its index, and the export form.
#include "fixtures/test_app.h"
#include "setup/server_import.h"
#include "setup/server_index.h"
#include "setup/server_list.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

using Kind = ScriptedPrompter::Kind;

// ---- the field reader ----

TEST(ImportFields, CommasLineEndsBlanksAndQuotes) {
    struct Case {
        const char* text;
        QStringList fields;
    };
    const Case cases[] = {
        {"", {}},
        {"a.com", {"a.com"}},
        {"a.com,b.com\n", {"a.com", "b.com"}},
        {"a.com\r\nb.com\rc.com\nd.com", {"a.com", "b.com", "c.com", "d.com"}},
        // CR LF is one line end; a lone CR and a lone LF one each.
        {"a\r\n\r\nb", {"a", "", "b"}},
        {"a\n\r\nb", {"a", "", "b"}},
        {"a\r\rb", {"a", "", "b"}},
        // Blanks before a field go; blanks after it stay for the cleaning.
        {"   a.com  , b.com", {"a.com  ", "b.com"}},
        {"a,,b,", {"a", "", "b"}},
        {"  \n", {""}},
        {"   ", {}},
        // A tab is no blank.
        {"\ta.com", {"\ta.com"}},
        // Quotes keep commas and line ends; what follows the closing quote goes.
        {"\"a.com, b.com\"", {"a.com, b.com"}},
        {"\"a.com\r\nb.com\",c.com", {"a.com\r\nb.com", "c.com"}},
        {"\"a.com\" junk,b.com", {"a.com", "b.com"}},
        {"  \"q.com\"\nx.com", {"q.com", "x.com"}},
        {"\"\",a", {"", "a"}},
        // An unclosed quote runs to the end of the text.
        {"\"open.com,\nrest", {"open.com,\nrest"}},
        // A quote inside a field is just a character.
        {"a\"b\".com,c", {"a\"b\".com", "c"}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(readImportFields(QString::fromLatin1(c.text)), c.fields)
            << '"' << QByteArray(c.text).toPercentEncoding(" ,\"").toStdString() << '"';
}

// Whatever the input, the reader ends, moves forward at every field and
// never gives more fields than there are delimiters plus one.
TEST(ImportFields, AlwaysEndsOnArbitraryText) {
    QRandomGenerator rng(7);
    const char16_t alphabet[] = {u'a', u'.', u',', u'"', u' ', u'\t', u'\r', u'\n', u'\xe9'};
    for (int round = 0; round < 2000; ++round) {
        QString text;
        const int n = rng.bounded(40);
        for (int i = 0; i < n; ++i)
            text += QChar(alphabet[rng.bounded(int(std::size(alphabet)))]);
        QString field;
        qsizetype pos = 0;
        int fields = 0;
        while (true) {
            const qsizetype next = nextImportField(text, pos, field);
            if (next < 0) break;
            ASSERT_GT(next, pos) << text.toStdString();
            ASSERT_LE(next, text.size());
            pos = next;
            ++fields;
        }
        const qsizetype delimiters = text.count(u',') + text.count(u'\r') + text.count(u'\n');
        EXPECT_LE(fields, delimiters + 1) << text.toStdString();
    }
}

TEST(ImportFields, CleaningKeepsTheFirstWordBeforeAnyLineEndOrTab) {
    const std::pair<const char*, const char*> cases[] = {
        {"  news.example.com  ", "news.example.com"},
        {"news.example.com the best server", "news.example.com"},
        {"news.example.com\tcomment", "news.example.com"},
        {"\tnews.example.com", ""}, // a tab first leaves nothing
        {"a.com\r\nb.com", "a.com"},
        {"a.com\nb.com", "a.com"},
        {"a.com\rb.com", "a.com\rb.com"}, // a lone CR is not cut
        {"", ""},
        {"    ", ""},
    };
    for (auto [field, address] : cases)
        EXPECT_EQ(cleanImportField(QString::fromLatin1(field)), address) << field;
}

// ---- the contains index ----

// The answer the list itself gives, row by row.
bool reference(const ListModel& list, const QString& text) {
    return list.find(text, FindMode::Contains, 0) >= 0;
}

TEST(RowContainsIndex, AnswersAsTheListsContainsFindIncludingCaseFolding) {
    ListModel list;
    for (const QString& r :
         {QString("????? ???    news.Example.com"), QString("00012  OK    straße.de"),
          QString("????? ???    \u212Aelvin.org"), QString("????? ???    ΣΊΣΥΦΟΣ.gr"),
          QString("????? ???    emoji\U0001F600.net"), QString("bare.example.org"),
          QString("\u00ff1marked.example.net")})
        list.addItem(r);
    RowContainsIndex index(list);
    const QStringList probes{
        "news.example.com",
        "NEWS.EXAMPLE.COM",
        "example.com",
        "xample.co",
        "example.comx",
        "STRASSE.DE",
        "straße.de",
        "STRAẞE.DE",
        "kelvin.org",
        "KELVIN.ORG",
        "σίσυφος.gr",
        "ς.gr",
        "emoji\U0001F600.net",
        "\U0001F600.net",
        "bare.example.org",
        "e.org",
        "???",
        "00012  OK",
        "K    n",
        "marked.example.net",
        "\u00ff1marked",
        "",
        "OK    straße",
        "s.com ",
        ".",
    };
    for (const QString& p : probes)
        EXPECT_EQ(index.anyRowContains(p), reference(list, p)) << p.toStdString();
}

TEST(RowContainsIndex, FollowsRowsAddedChangedAndRemovedMeanwhile) {
    ListModel list;
    list.addItem("????? ???    one.example.com");
    RowContainsIndex index(list);
    index.append("????? ???    two.example.com");
    EXPECT_TRUE(index.anyRowContains("two.example"));
    EXPECT_EQ(list.count(), 1) << "appended rows wait for flush";
    EXPECT_EQ(index.count(), 2);
    index.flush();
    EXPECT_EQ(list.count(), 2);

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

// Random rows and questions over a small alphabet, so that near misses and
// shared suffixes are common, against the list's own answer.
TEST(RowContainsIndex, AgreesWithTheListOnRandomRows) {
    QRandomGenerator rng(11);
    const char16_t alphabet[] = {u'a', u'B', u'b', u'.',      u'c',
                                 u'?', u'0', u' ', u'\u00c9', u'\u00e9'};
    auto word = [&](int maxLen) {
        QString s;
        const int n = 1 + rng.bounded(maxLen);
        for (int i = 0; i < n; ++i)
            s += QChar(alphabet[rng.bounded(int(std::size(alphabet)))]);
        return s;
    };
    for (int round = 0; round < 20; ++round) {
        ListModel list;
        for (int i = 0; i < 30; ++i)
            list.addItem(word(12));
        RowContainsIndex index(list);
        for (int q = 0; q < 400; ++q) {
            const QString probe = word(5);
            ASSERT_EQ(index.anyRowContains(probe), reference(list, probe))
                << "round " << round << " probe \"" << probe.toStdString() << '"';
            if (q % 7 == 0) {
                index.append(word(12));
                index.flush();
            }
        }
    }
}

// ---- import ----

struct Import : ::testing::Test {
    TestApp t;
    App& app = t.app;
    ListModel& list = app.txtNNTPServ;

    void SetUp() override { t.load(); }
    QStringList rows() const {
        QStringList out;
        for (int i = 0; i < list.count(); ++i)
            out << list.text(i);
        return out;
    }
    void import(const QByteArray& content) {
        ASSERT_TRUE(t.writeFile("servers.txt", content));
        t.prompter.answerFileName(t.path("servers.txt"));
        cmdImport(app);
    }
};

TEST_F(Import, AddsTheAddressesOfATextFileAsNewRows) {
    list.addItem("00012  OK    news.example.org");
    import("news.first.com   the best one\r\n"
           "a.example.net, b.example.net\n"
           "localhost\n"
           "\n"
           "news.tabbed.com\tsecond column\n"
           "\t  tab.first.com\n"
           "\"quoted.example.com\r\nsecond.example.com\", last.example.com\n"
           "news.first.com\n");
    EXPECT_EQ(rows(),
              (QStringList{"00012  OK    news.example.org", "????? ???    news.first.com",
                           "????? ???    a.example.net", "????? ???    b.example.net",
                           "????? ???    news.tabbed.com", "????? ???    quoted.example.com",
                           "????? ???    last.example.com"}));
    const auto& chooser = t.prompter.shown().front();
    EXPECT_EQ(chooser.kind, Kind::OpenFile);
    EXPECT_EQ(chooser.filter, "Text (*.txt)");
    EXPECT_TRUE(t.prompter.messages().isEmpty()) << "an import says nothing";
    ListModel onDisk;
    ASSERT_TRUE(onDisk.load(t.path("NNTP_NET.INI")));
    EXPECT_EQ(onDisk.count(), 7);
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (7)");
    EXPECT_TRUE(app.setupEnabled);
    EXPECT_TRUE(list.enabled() && list.visible() && list.redraw());
    EXPECT_FALSE(app.hourGlass);
}

TEST_F(Import, ANameThatARowAlreadyContainsIsADuplicate) {
    list.addItem("00012  OK    news.example.org");
    list.addItem("123456  OK    big.example.com");
    import("example.org\n"         // inside a longer address
           "EXAMPLE.ORG\n"         // and in another case
           "news.example.org\n"    // the same
           "big.example.com\n"     // behind a six-digit count
           "news.example.org.uk\n" // longer than a row: new
           "org.news\n");
    EXPECT_EQ(rows(), (QStringList{"00012  OK    news.example.org", "123456  OK    big.example.com",
                                   "????? ???    news.example.org.uk", "????? ???    org.news"}));
}

TEST_F(Import, AnExportedFileDoesNotImport) {
    list.addItem("00012  OK    news.example.org");
    list.addItem("????? ???    news.example.net");
    list.addItem("00012     cached.example.com");
    t.prompter.answerFileName(t.path("export.txt"));
    cmdExport(app);
    list.clear();
    t.prompter.answerFileName(t.path("export.txt"));
    cmdImport(app);
    EXPECT_EQ(list.count(), 0) << "the first word of each line is a status column";
}

TEST_F(Import, NoFileChosenOrAFileThatCannotBeReadAddsNothing) {
    list.addItem("00012  OK    news.example.org");
    t.prompter.answerFileName("");
    cmdImport(app);
    EXPECT_EQ(list.count(), 1);
    EXPECT_FALSE(app.hourGlass);
    EXPECT_TRUE(app.setupEnabled);
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (1)");

    QFile::remove(t.path("NNTP_NET.INI"));
    t.prompter.answerFileName(t.path("missing.txt"));
    cmdImport(app);
    EXPECT_EQ(list.count(), 1);
    EXPECT_TRUE(QFileInfo::exists(t.path("NNTP_NET.INI"))) << "the list is saved as usual";
    EXPECT_TRUE(t.prompter.messages().isEmpty());
}

TEST_F(Import, TheDialogIsOffAndTheTitleCountsByHundredsWhileItRuns) {
    QByteArray content;
    for (int i = 0; i < 250; ++i)
        content += "host" + QByteArray::number(i) + ".example.com\n";
    bool offDuring = false;
    QStringList titles;
    QObject::connect(&app, &App::frameChanged, &app, [&](Frame f) {
        if (f == Frame::NNTP) titles << app.frame(f).title;
    });
    QTimer::singleShot(0, &app, [&] {
        offDuring = !app.setupEnabled && !list.enabled() && !list.visible() && !list.redraw() &&
                    app.hourGlass;
    });
    import(content);
    EXPECT_TRUE(offDuring);
    EXPECT_EQ(list.count(), 250);
    EXPECT_EQ(titles,
              (QStringList{"NNTP Servers (100)", "NNTP Servers (200)", "NNTP Servers (250)"}));
}

// ---- export ----

TEST_F(Import, ExportWritesEveryRowAsItStandsWithCrLfAndSaysWhetherItCould) {
    list.addItem("00012  OK    news.example.org");
    list.addItem("????? ???    news.example.net");
    t.prompter.answerFileName(t.path("out.txt"));
    ASSERT_TRUE(t.writeFile("out.txt", "an older and longer content than the new one\n"));
    cmdExport(app);
    EXPECT_EQ(t.readFile("out.txt"), "00012  OK    news.example.org\r\n"
                                     "????? ???    news.example.net\r\n");
    const auto& chooser = t.prompter.shown().front();
    EXPECT_EQ(chooser.kind, Kind::SaveFile);
    EXPECT_EQ(chooser.filter, "Text (*.txt)");
    EXPECT_EQ(t.prompter.messages(), QStringList{"File Saved"});
    EXPECT_EQ(t.prompter.shown().back().title, "Zanderfell!");
    EXPECT_EQ(t.prompter.shown().back().icon, Prompter::Icon::None);

    t.prompter.answerFileName(t.path("no/such/dir/out.txt")).answerFileName("");
    cmdExport(app);
    EXPECT_EQ(t.prompter.messages(), (QStringList{"File Saved", "Error Saving File"}));
    cmdExport(app); // no file chosen: nothing happens
    EXPECT_EQ(t.prompter.messages().size(), 2);
    EXPECT_TRUE(app.setupEnabled);
    EXPECT_FALSE(app.hourGlass);
}

} // namespace
