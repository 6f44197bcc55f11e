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

using Shown = ScriptedPrompter::Shown;
using Kind = ScriptedPrompter::Kind;

// Short texts over a small alphabet, so that delimiters, near misses and
// shared suffixes are common.
template <size_t N>
QString randomText(QRandomGenerator& rng, const char16_t (&alphabet)[N], int minLen, int maxLen) {
    QString s;
    for (int n = minLen + rng.bounded(maxLen - minLen); n > 0; --n)
        s += QChar(alphabet[rng.bounded(int(N))]);
    return s;
}

TEST(ImportFields, CommasLineEndsBlanksAndQuotes) {
    const std::pair<const char*, QStringList> cases[] = {
        {"", {}},
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
        {"\ta.com", {"\ta.com"}}, // a tab is no blank
        // Quotes keep commas and line ends; what follows the closing quote goes.
        {"\"a.com, b.com\"", {"a.com, b.com"}},
        {"\"a.com\r\nb.com\",c.com", {"a.com\r\nb.com", "c.com"}},
        {"\"a.com\" junk,b.com", {"a.com", "b.com"}},
        {"  \"q.com\"\nx.com", {"q.com", "x.com"}},
        {"\"\",a", {"", "a"}},
        {"\"open.com,\nrest", {"open.com,\nrest"}}, // unclosed: runs to the end
        {"a\"b\".com,c", {"a\"b\".com", "c"}},      // a quote inside is a character
    };
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
        {"    ", ""},
    };
    for (auto [field, address] : cases)
        EXPECT_EQ(cleanImportField(QString::fromLatin1(field)), address) << field;
}

// The answer the list itself gives.
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
    const QStringList probes =
        QString("news.example.com|NEWS.EXAMPLE.COM|xample.co|example.comx|STRASSE.DE|straße.de|"
                "STRAẞE.DE|kelvin.org|KELVIN.ORG|σίσυφος.gr|ς.gr|emoji\U0001F600.net|"
                "\U0001F600.net|e.org|???|00012  OK|K    n|marked.example.net|\u00ff1marked||"
                "OK    straße|s.com |.")
            .split(u'|');
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

TEST(RowContainsIndex, AgreesWithTheListOnRandomRows) {
    QRandomGenerator rng(11);
    const char16_t alphabet[] = {u'a', u'B', u'b', u'.',      u'c',
                                 u'?', u'0', u' ', u'\u00c9', u'\u00e9'};
    for (int round = 0; round < 20; ++round) {
        ListModel list;
        for (int i = 0; i < 30; ++i)
            list.addItem(randomText(rng, alphabet, 1, 13));
        RowContainsIndex index(list);
        for (int q = 0; q < 400; ++q) {
            const QString probe = randomText(rng, alphabet, 1, 6);
            ASSERT_EQ(index.anyRowContains(probe), reference(list, probe))
                << "round " << round << " probe \"" << probe.toStdString() << '"';
            if (q % 7 == 0) {
                index.append(randomText(rng, alphabet, 1, 13));
                index.flush();
            }
        }
    }
}

struct Import : ::testing::Test {
    TestApp t;
    App& app = t.app;
    ListModel& list = app.txtNNTPServ;

    void SetUp() override { t.load(); }
    void import(const QByteArray& content) {
        ASSERT_TRUE(t.writeFile("servers.txt", content));
        t.prompter.answerFileName(t.path("servers.txt"));
        cmdImport(app);
    }
    Shown chooser(Kind kind) const {
        return {kind, "", "", Prompter::Icon::None, "", "Text (*.txt)", app.AppPath};
    }
};

// The first word of each field; a name without a dot, or one that a row
// already contains in any case, is left out.
TEST_F(Import, AddsTheAddressesOfATextFileThatNoRowContains) {
    list.addItem("00012  OK    news.example.org");
    list.addItem("123456  OK    big.example.com");
    import("news.first.com   the best one\r\na.example.net, b.example.net\nlocalhost\n\n"
           "news.first.com\nexample.org\nEXAMPLE.ORG\nnews.example.org\nbig.example.com\n"
           "news.example.org.uk\norg.news\n");
    EXPECT_EQ(texts(list),
              (QStringList{"00012  OK    news.example.org", "123456  OK    big.example.com",
                           "????? ???    news.first.com", "????? ???    a.example.net",
                           "????? ???    b.example.net", "????? ???    news.example.org.uk",
                           "????? ???    org.news"}));
    EXPECT_EQ(t.prompter.shown(), std::vector<Shown>{chooser(Kind::OpenFile)})
        << "an import says nothing";
    EXPECT_TRUE(t.readFile("NNTP_NET.INI").endsWith("\n????? ???    org.news\n"));
    EXPECT_EQ(app.frame(Frame::NNTP).title, "NNTP Servers (7)");

    // No file chosen, or one that cannot be read, adds nothing; the list is saved as usual.
    QFile::remove(t.path("NNTP_NET.INI"));
    t.prompter.answerFileName("").answerFileName(t.path("missing.txt"));
    cmdImport(app);
    cmdImport(app);
    EXPECT_EQ(list.count(), 7);
    EXPECT_TRUE(QFileInfo::exists(t.path("NNTP_NET.INI")));
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
    EXPECT_TRUE(app.setupEnabled && list.enabled() && list.visible() && list.redraw());
    EXPECT_FALSE(app.hourGlass);
    EXPECT_EQ(list.count(), 250);
    EXPECT_EQ(titles,
              (QStringList{"NNTP Servers (100)", "NNTP Servers (200)", "NNTP Servers (250)"}));
}

TEST_F(Import, ExportWritesEveryRowAsItStandsWithCrLfAndSaysWhetherItCould) {
    list.addItem("00012  OK    news.example.org");
    list.addItem("????? ???    news.example.net");
    ASSERT_TRUE(t.writeFile("out.txt", "an older and longer content than the new one\n"));
    t.prompter.answerFileName(t.path("out.txt"));
    cmdExport(app);
    EXPECT_EQ(t.readFile("out.txt"), "00012  OK    news.example.org\r\n"
                                     "????? ???    news.example.net\r\n");
    EXPECT_EQ(t.prompter.shown(),
              (std::vector<Shown>{chooser(Kind::SaveFile),
                                  {Kind::Message, "File Saved", "Zanderfell!"}}));

    t.prompter.answerFileName(t.path("no/such/dir/out.txt")).answerFileName("");
    cmdExport(app);
    EXPECT_EQ(t.prompter.messages(), (QStringList{"File Saved", "Error Saving File"}));
    cmdExport(app); // no file chosen: nothing happens
    EXPECT_EQ(t.prompter.messages().size(), 2);
    EXPECT_TRUE(app.setupEnabled);
    EXPECT_FALSE(app.hourGlass);

    // The first word of each exported line is a status column, not an address.
    list.clear();
    t.prompter.answerFileName(t.path("out.txt"));
    cmdImport(app);
    EXPECT_EQ(list.count(), 0);
}

} // namespace
