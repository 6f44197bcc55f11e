// Sweeps over the scopes of the main window against a real INN: Web
// addresses of messages and of a group, e-mail addresses of groups into an
// output file, news servers of favourites on two servers, and a stop.
#include "fixtures/inn_app_test.h"
#include "fixtures/inn_server.h"
#include "fixtures/test_app.h"
#include "harvest/sweep.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/temp_files.h"

#include <QDir>
#include <QFile>

namespace {

class Sweep : public InnAppTest {
protected:
    void SetUp() override {
        InnAppTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        app.AutoLoadGroups = true;
    }

    QString newGroup(InnServer& server, const char* prefix) {
        const QString g = InnServer::uniqueGroup(prefix);
        EXPECT_TRUE(server.newGroup(g));
        return g;
    }
    void post(const QString& group, const QString& subject, const QByteArray& body,
              const HeaderList& headers = {}, InnServer* server = nullptr) {
        InnServer& s = server ? *server : inn;
        ASSERT_TRUE(s.post(group, subject, body, headers)) << s.lastError().toStdString();
    }
    void openGroup(const QString& group) {
        cmdConnect(app, false);
        ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
        app.CurrentGroup = group;
        app.HeaderField = "Subject";
        ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    }
    void selectOnly(ListModel& list, const QStringList& containing) {
        list.clearSelection();
        for (const QString& text : containing) {
            const int row = list.find(text, FindMode::Contains, 0);
            ASSERT_GE(row, 0) << text.toStdString();
            list.setSelected(row, true);
        }
    }
    QStringList pageLines() const {
        QStringList lines = QString::fromUtf8(t.readFile("UsenetHTTP.htm")).split("\r\n");
        lines.removeAll(QString());
        return lines;
    }
    static QString pageLine(const QString& a) {
        return "<a href = \"" + a + "\">" + a + "</a><br>";
    }
    QString lastMessage() const {
        return t.prompter.messages().value(t.prompter.messages().size() - 1);
    }
};

// Selected messages give the addresses of their titles and articles; the
// current group gives those of every post. Nothing is decoded either way.
TEST_F(Sweep, WebAddressesOfSelectedMessagesAndOfTheCurrentGroup) {
    const QString group = newGroup(inn, "alt.zf.sweep.web");
    post(group, "Gallery http://pics.example/gallery here", "Also see ftp://files.example/pub\r\n");
    post(group, "Plain title", "Body with HTTP://Body.Example/a?b=c and more\r\n");
    post(group, "pic.bin (1/1)",
         "begin 644 pic.bin\r\n#86)C\r\n`\r\nend\r\n"
         "http://after-the-picture.example/\r\n");
    openGroup(group);
    selectOnly(app.lstMessages, {"Plain title", "Gallery"});

    // An article's addresses are cut at the class, the Subject line's too.
    menuWebM_Click(app);
    EXPECT_EQ(texts(app.lstHTTP),
              (QStringList{"http://pics.example/gallery", "ftp://files.example/pub",
                           "HTTP://Body.Example/a?b"}));
    EXPECT_EQ(lastMessage(), "3 Web Addresses found and saved.");
    EXPECT_EQ(app.lstMessages.selCount(), 0);
    EXPECT_EQ(app.SweepScope, -1);
    EXPECT_FALSE(app.BatchRun);

    // A title's address runs to its first blank, which it keeps: the page
    // holds the address without it, so this one is new there.
    menuWebC_Click(app);
    EXPECT_EQ(app.lstHTTP.count(), 4);
    EXPECT_EQ(app.lstHTTP.text(0), "http://pics.example/gallery ");
    EXPECT_TRUE(texts(app.lstHTTP).contains("http://after-the-picture.example/"));
    EXPECT_EQ(
        pageLines(),
        (QStringList{pageLine("http://pics.example/gallery"), pageLine("ftp://files.example/pub"),
                     pageLine("HTTP://Body.Example/a?b"), pageLine("http://pics.example/gallery "),
                     pageLine("http://after-the-picture.example/")}));
    EXPECT_TRUE(QDir(app.DestDir).entryList(QDir::Files).isEmpty()) << "nothing decoded";
    EXPECT_FALSE(app.HarvestBody);
}

// Two selected groups into an output file that a second sweep appends to; a
// filter that nothing passes still makes the file and reports 0.
TEST_F(Sweep, EmailAddressesOfSelectedGroupsAreAppendedToTheOutputFile) {
    const QString first = newGroup(inn, "alt.zf.sweep.mail");
    const QString second = newGroup(inn, "alt.zf.sweep.mail");
    post(first, "one", "x\r\n", {{"From", "Ann Example <ann@example.com>"}});
    post(first, "two", "x\r\n", {{"From", "bob@example.org (Bob)"}});
    post(second, "three", "x\r\n", {{"From", "carl@example.com"}});
    post(second, "four", "x\r\n", {{"From", "ann@example.com"}});
    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected);
    cmdGroup(app, false);
    selectOnly(app.lstGroups, {first, second});
    const QString out = t.path("mail.txt");

    t.prompter.answerFileName(out).answerInput(QString());
    menuEmailG_Click(app);
    EXPECT_EQ(t.readFile("mail.txt"), "ann@example.com\nbob@example.org\ncarl@example.com\n");
    EXPECT_EQ(lastMessage(), "3 Email Addresses found and saved.");
    EXPECT_EQ(app.lstHTTP.count(), 0);
    EXPECT_EQ(app.lstGroups.selCount(), 0);
    EXPECT_TRUE(app.lstGroups.count() > 2) << "the group list is listed again";

    selectOnly(app.lstGroups, {second});
    t.prompter.answerFileName(out).answerInput("example.com");
    menuEmailG_Click(app);
    EXPECT_EQ(t.readFile("mail.txt"),
              "ann@example.com\nbob@example.org\ncarl@example.com\ncarl@example.com\n"
              "ann@example.com\n");

    selectOnly(app.lstGroups, {first});
    t.prompter.answerFileName(t.path("none.txt")).answerInput("nobody");
    menuEmailG_Click(app);
    EXPECT_TRUE(QFile::exists(t.path("none.txt")));
    EXPECT_EQ(t.readFile("none.txt"), QByteArray());
    EXPECT_EQ(lastMessage(), "0 Email Addresses found and saved.");

    // No file chosen: no sweep.
    selectOnly(app.lstGroups, {first});
    t.prompter.answerFileName("");
    menuEmailG_Click(app);
    EXPECT_EQ(app.lstGroups.selCount(), 1);
}

// Favourites on two servers: each row brings its server, connects and
// disconnects; the new names go into the server file. A stop during the
// sweep leaves the rows not done selected and still saves what was found.
TEST_F(Sweep, ServersOfFavouritesOnTwoServersAndAStopKeepsTheRestSelected) {
    auto other = InnServer::startPrivate();
    ASSERT_TRUE(other && other->available());
    const QString here = newGroup(inn, "alt.zf.sweep.path");
    const QString there = InnServer::uniqueGroup("alt.zf.sweep.path");
    ASSERT_TRUE(other->newGroup(there));
    post(here, "a", "x\r\n", {{"Path", "one.example!two.example!not-for-mail"}});
    post(there, "b", "x\r\n", {{"Path", "three.example!four!not-for-mail"}}, other.get());
    app.lstFavorites.addItem(here + " (" + inn.address() + ")");
    app.lstFavorites.addItem(there + " (" + other->address() + ")");
    app.lstFavorites.addItem(here + " (" + inn.address() + ")");
    app.lstFavorites.selectAll();
    int connects = 0;
    QObject::connect(app.NNTP.get(), &NntpControl::stateChanged, [&] {
        if (app.NNTP->state() == "Connected") ++connects;
    });
    // Stop as the second favourite's listing ends.
    QObject::connect(&app, &App::statusChanged, [&](int panel) {
        if (panel == 1 && app.statbar[1] == "Done Retreiving Message Headers" && connects == 2)
            app.StopRequested = true;
    });

    menuServF_Click(app);
    const QStringList found = texts(app.txtNNTPServ).filter("????? ???    ");
    EXPECT_TRUE(found.contains("????? ???    one.example")) << found.join('|').toStdString();
    EXPECT_TRUE(found.contains("????? ???    three.example")) << found.join('|').toStdString();
    EXPECT_FALSE(found.contains("????? ???    four"));
    EXPECT_EQ(connects, 2);
    EXPECT_FALSE(app.IsConnected);
    EXPECT_EQ(app.lstFavorites.selCount(), 2) << "the stopped row and the one after it";
    EXPECT_TRUE(app.lstFavorites.selected(1) && app.lstFavorites.selected(2));
    const QByteArray file = t.readFile("NNTP_NET.INI");
    EXPECT_TRUE(file.contains("one.example") && file.contains("three.example"));
    EXPECT_EQ(app.lstHTTP.count(), 0);
    EXPECT_EQ(app.SweepScope, -1);
}

} // namespace
