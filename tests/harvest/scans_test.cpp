// The address scans as the character walks they are: what counts as an
// address, what is thrown out, and the same rows however the text is cut.
#include "fixtures/test_app.h"
#include "harvest/address_scans.h"
#include "harvest/harvest_state.h"
#include "news/line_receiver.h"
#include "setup/server_list.h"

#include <QFile>

namespace {

class Scans : public ::testing::Test {
protected:
    void SetUp() override { app.AppPath = t.dir.path() + "/"; }

    // The text as header blocks of the given field, cut at the given places.
    void feed(const QString& field, const QByteArray& text, QList<qsizetype> cuts = {}) {
        app.HeaderField = field;
        app.TransferMode = 3;
        app.LastError = 0;
        NNTP_Document(app, 1, {});
        qsizetype from = 0;
        cuts << text.size();
        for (qsizetype cut : cuts) {
            NNTP_Document(app, 3, text.mid(from, cut - from));
            from = cut;
        }
        NNTP_Document(app, 5, {});
    }
    // Rows of lstHTTP and of the server list after the text, fed whole.
    QStringList rowsOf(const QString& field, const QByteArray& text) {
        reset();
        feed(field, text);
        return texts(app.lstHTTP) + texts(app.txtNNTPServ);
    }
    void reset() {
        app.lstHTTP.clear();
        app.txtNNTPServ.clear();
        for (const QString& row : knownServers)
            app.txtNNTPServ.addItem(row);
        ResetHeaderHarvest(app);
    }
    QByteArray page() const { return t.readFile("UsenetHTTP.htm"); }
    static QByteArray pageLine(const QByteArray& a) {
        return "<a href = \"" + a + "\">" + a + "</a><br>\r\n";
    }

    TestApp t;
    App& app = t.app;
    QStringList knownServers;
};

// Web sweep of an article: every address in the order of the text, the
// "HTTP://" ones first, each cut at the first character outside the class.
TEST_F(Scans, ArticleAddressesInTheirOrderHttpFirstCutAtTheClass) {
    const std::pair<const char*, QStringList> cases[] = {
        {"see http://a.example/x and ftp://f.example/y then HTTP://B.example/Z?q=1&r=2 end",
         {"http://a.example/x", "HTTP://B.example/Z?q"}},
        // An FTP address before an HTTP one is passed over, one behind the last is found.
        {"ftp://before.example/, hTtP://mixed.Example/A_b~c-d.html\"q\" ftp://after.example/f",
         {"hTtP://mixed.Example/A_b~c-d.html", "ftp://after.example/f"}},
        {"nothing here", {}},
        {"http://x.example/a%20b#frag+c", {"http://x.example/a"}}};
    app.HarvestBody = true;
    for (const auto& [text, expected] : cases) {
        app.lstHTTP.clear();
        app.MessageText = text;
        HarvestArticle(app);
        EXPECT_EQ(texts(app.lstHTTP), expected) << text;
    }
    // Outside a Web sweep only the viewer's article is harvested.
    app.HarvestBody = false;
    app.lstHTTP.clear();
    app.MessageText = "http://viewer.example/";
    app.HeaderField = "Subject";
    HarvestArticle(app);
    EXPECT_EQ(app.lstHTTP.count(), 0);
    app.HeaderField = "SubjectDL";
    HarvestArticle(app);
    EXPECT_EQ(texts(app.lstHTTP), QStringList{"http://viewer.example/"});
}

// Titles: the address runs to the end of the title or behind its first blank;
// the list holds an address once, the page once across runs.
TEST_F(Scans, TitleAddressesKeepTheirBlankAndTheLinkPageGrowsOnlyByNewOnes) {
    t.writeFile("UsenetHTTP.htm", pageLine("http://old.example/"));
    SaveHTTPs(app, "12 Pics at http://a.example/pics here");
    SaveHTTPs(app, "13 more at http://a.example/pics");
    SaveHTTPs(app, "14 at FTP://files.example/x,y");
    SaveHTTPs(app, "15 again http://old.example/");
    SaveHTTPs(app, "16 no address");
    EXPECT_EQ(texts(app.lstHTTP), (QStringList{"http://a.example/pics ", "FTP://files.example/x,y",
                                               "http://old.example/"}));
    EXPECT_EQ(page(), pageLine("http://old.example/") + pageLine("http://a.example/pics ") +
                          pageLine("FTP://files.example/x,y"));
    // A new run: the list is empty, the page is not written twice.
    app.lstHTTP.clear();
    SaveHTTPs(app, "17 at http://a.example/pics here");
    EXPECT_EQ(app.lstHTTP.count(), 1);
    EXPECT_EQ(page().count("http://a.example/pics"), 2); // the line holds it twice
}

TEST(EmailAddress, TheWalkCutsAtTheClassAndThrowsOutWhatItMust) {
    const std::pair<const char*, const char*> cases[] = {
        {"1 ann@example.com (Ann Example)", "ann@example.com"},
        {"2 Ann Example <ann@example.com>", "ann@example.com"},
        {"3 first.last@example.com", "last@example.com"},
        {"4 a@example.com (Ann)", "a@example.com (Ann)"}, // "@" in position 2: no cut
        {"5 bob@mail-host.example", "bob@mail"},
        {"6 bob@example.com.", "bob@example.com."},
        {"7 broken@", ""},
        {"8 no address here", ""},
        {"9 @example.com", ""},
        {"10 NoSpamPlease@example.com", ""},
        {"11 x@remove.example", ""},
        {"12 Fake@example.com", ""},
        {"13 me*@example.com", ""},
        {"14 <x_y@example.com>", "y@example.com"},
        {"15 .@example.com", ".@example.com"}};
    for (const auto& [line, address] : cases)
        EXPECT_EQ(cutEmailAddress(QString::fromLatin1(line)), QString::fromLatin1(address)) << line;
}

// "From" lines cut anywhere give the rows of the whole text: the filter, the
// list's own duplicates and the leading dot decide, nothing else.
TEST_F(Scans, FromLinesGiveTheSameRowsHoweverTheBlocksAreCut) {
    const QByteArray text = "1 Ann <ann@example.com>\r\n2 bob@other.example (Bob)\r\n"
                            "3 ANN@example.com\r\n4 .@example.com\r\n5 x.y.z@example.com\r\n";
    app.EmailFilter = "EXAMPLE.COM";
    const QStringList whole = rowsOf("From", text);
    EXPECT_EQ(whole, (QStringList{"ann@example.com", "z@example.com"}));
    for (qsizetype cut = 1; cut < text.size(); ++cut) {
        reset();
        feed("From", text, {cut});
        ASSERT_EQ(texts(app.lstHTTP), whole) << "cut at " << cut;
    }
    app.EmailFilter.clear();
    EXPECT_EQ(rowsOf("From", text),
              (QStringList{"ann@example.com", "bob@other.example", "z@example.com"}));
}

// Path headers: every name a "!" ends, unless it has no dot, says POSTED or
// MISMATCH, or a row of the server list or of lstHTTP holds it.
TEST_F(Scans, PathNamesBecomeServerRowsHoweverTheBlocksAreCut) {
    knownServers = {"00120     news.known.example:119"};
    const QByteArray text = "1 hub.example!relay.example!poster-host\r\n"
                            "2 news.known.example!nodot!a.POSTED.b!two.example!hub.example!x\r\n"
                            "3 MISMATCH.example!known.example!last.example\r\n";
    const QStringList expected = {"hub.example",
                                  "relay.example",
                                  "two.example",
                                  "00120     news.known.example:119",
                                  "????? ???    hub.example",
                                  "????? ???    relay.example",
                                  "????? ???    two.example"};
    EXPECT_EQ(rowsOf("Path", text), expected);
    for (qsizetype cut = 1; cut < text.size(); ++cut)
        for (qsizetype second : {cut + 1, cut + 7}) {
            if (second >= text.size()) continue;
            reset();
            feed("Path", text, {cut, second});
            ASSERT_EQ(texts(app.lstHTTP) + texts(app.txtNNTPServ), expected)
                << "cuts at " << cut << ", " << second;
        }
}

// A stranger who sends no line end or "!" costs a bounded buffer, and what
// follows is scanned as before.
TEST_F(Scans, TextWithoutSeparatorsIsHeldOnlyUpToABound) {
    app.HeaderField = "Path";
    app.TransferMode = 3;
    const QByteArray junk(64 * 1024, 'x');
    for (int i = 0; i < 64; ++i)
        NNTP_Document(app, 3, junk);
    EXPECT_LE(harvestState(app).pending.size(), 1 << 20);
    feed("Path", "\r\n7 fresh.example!end.example\r\n");
    EXPECT_EQ(texts(app.lstHTTP), QStringList{"fresh.example"});
}

} // namespace
