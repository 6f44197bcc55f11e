// From a row of the message list to a decoded file, against a real INN:
// posts in uuencode, MIME base64 and yEnc, single and in parts, fetched
// through cmdDownload and compared byte for byte with what was posted.
#include "attachments/decoder.h"
#include "attachments/download.h"
#include "attachments/download_drivers.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_prompter.h"
#include "fixtures/yenc_encoder.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/app.h"
#include "shell/list_view_widget.h"
#include "shell/main_window.h"
#include "shell/startup.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <random>

namespace {

QByteArray randomBytes(qsizetype size, unsigned seed) {
    std::mt19937 gen(seed);
    QByteArray data(size, Qt::Uninitialized);
    for (auto& c : data)
        c = char(gen());
    return data;
}

// uuencode as sharutils writes it, one CR LF line each.
QList<QByteArray> uuencode(const QByteArray& data, const QByteArray& name) {
    auto enc = [](unsigned v) { return char(v ? (v & 63) + 32 : '`'); };
    QList<QByteArray> lines{"begin 644 " + name};
    for (qsizetype at = 0; at < data.size(); at += 45) {
        const QByteArray chunk = data.mid(at, 45);
        QByteArray line(1, enc(unsigned(chunk.size())));
        for (qsizetype i = 0; i < chunk.size(); i += 3) {
            const unsigned char a = chunk[i], b = i + 1 < chunk.size() ? chunk[i + 1] : 0,
                                c = i + 2 < chunk.size() ? chunk[i + 2] : 0;
            line += enc(a >> 2);
            line += enc(((a << 4) | (b >> 4)) & 63);
            line += enc(((b << 2) | (c >> 6)) & 63);
            line += enc(c & 63);
        }
        lines << line;
    }
    lines << "`"
          << "end";
    return lines;
}

QByteArray joined(const QList<QByteArray>& lines) {
    QByteArray out;
    for (const QByteArray& l : lines)
        out += l + "\r\n";
    return out;
}

// Cuts lines into n runs of nearly equal length.
QList<QByteArray> splitLines(const QList<QByteArray>& lines, int n) {
    QList<QByteArray> parts;
    for (int i = 0; i < n; ++i)
        parts << joined(
            lines.mid(lines.size() * i / n, lines.size() * (i + 1) / n - lines.size() * i / n));
    return parts;
}

const HeaderList kMime = {{"MIME-Version", "1.0"},
                          {"Content-Type", "multipart/mixed; boundary=\"zf-boundary\""}};

// A MIME message: a text part, then the file in base64 and the closing boundary.
QList<QByteArray> mimeBody(const QByteArray& data, const QByteArray& filename) {
    QList<QByteArray> lines = {"This is a multi-part message in MIME format.",
                               "",
                               "--zf-boundary",
                               "Content-Type: text/plain",
                               "",
                               "Have a look.",
                               "--zf-boundary",
                               "Content-Type: application/octet-stream; name=\"x\"",
                               "Content-Transfer-Encoding: base64",
                               "Content-Disposition: attachment; filename=\"" + filename + "\"",
                               ""};
    const QByteArray b64 = data.toBase64();
    for (qsizetype at = 0; at < b64.size(); at += 76)
        lines << b64.mid(at, 76);
    lines << ""
          << "--zf-boundary--"
          << "";
    return lines;
}

// Changes one data character of a yEnc body, away from any escape.
void corruptYencData(QByteArray& body) {
    qsizetype i = body.indexOf("\r\n", body.indexOf("=ypart")) + 40;
    while (!std::isalnum(static_cast<unsigned char>(body[i])) || body[i - 1] == '=')
        ++i;
    body[i] = body[i] == 'a' ? 'b' : 'a';
}

class Download : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        app.ExeDir = dir.path();
        app.AppPath = dir.path() + "/";
        app.DestDir = dir.path() + "/download/";
        app.SettingsFile = dir.filePath("settings.ini");
        QDir().mkpath(app.DestDir);
        QDir(dir.path()).mkdir("Cache");
        app.Timer1.start();
        app.CurrentServer = inn.address();
        MakeTempFile(app);
        group = InnServer::uniqueGroup("alt.binaries.zf.download");
        ASSERT_TRUE(inn.newGroup(group));
        QObject::connect(&app, &App::statusChanged, [this](int panel) {
            if (panel == 2) shown << app.statbar[2];
        });
    }
    void TearDown() override { cmdDisconnect(app); }

    void post(const QString& subject, const QByteArray& body, const HeaderList& headers = {}) {
        ASSERT_TRUE(inn.post(group, subject, body, headers)) << inn.lastError().toStdString();
    }
    // Connects and lists the group's subjects.
    void openGroup() {
        cmdConnect(app, false);
        ASSERT_TRUE(app.IsConnected) << app.ErrorText.toStdString();
        app.CurrentGroup = group;
        app.HeaderField = "Subject";
        ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    }
    int rowOf(const QString& subject) const {
        for (int i = 0; i < app.lstMessages.count(); ++i)
            if (app.lstMessages.text(i) == subject) return i;
        return -1;
    }
    // What a double click on the row does beneath the window.
    void download(const QString& subject) {
        qint32 row = rowOf(subject);
        ASSERT_GE(row, 0) << subject.toStdString();
        app.StopRequested = false;
        app.HeaderField = "Subject";
        shown.clear();
        cmdDownload(app, row);
        EXPECT_FALSE(app.BatchRun);
        EXPECT_FALSE(app.lstMessages.selected(rowOf(subject)));
    }
    QByteArray file(const QString& name) const {
        QFile f(app.DestDir + name);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QStringList listed() const {
        QStringList names;
        for (int i = 0; i < app.lstFiles.count(); ++i)
            names << app.lstFiles.text(i);
        return names;
    }
    // Files in DestDir apart from the ones named.
    QStringList inDestDir() const { return QDir(app.DestDir).entryList(QDir::Files); }

    QTemporaryDir dir;
    App app;
    QString group;
    QStringList shown; // texts of status panel 2 during the last download
};

TEST_F(Download, UuencodedSingleArticle) {
    const QByteArray data = randomBytes(30000, 1);
    post("one.bin - have a look", "Some words first.\r\n\r\n" + joined(uuencode(data, "one.bin")) +
                                      "\r\n-- \r\nsignature\r\n");
    openGroup();
    download("one.bin - have a look");
    EXPECT_EQ(file("one.bin"), data);
    EXPECT_EQ(listed(), QStringList{"one.bin"});
    EXPECT_EQ(app.lstFiles.tag(0), "0");
    EXPECT_EQ(app.frame(Frame::Files).title, "Decoded Files (1)");
    EXPECT_EQ(inDestDir(), QStringList{"one.bin"}) << "no temporary file is left";
    EXPECT_EQ(app.statbar[1], "File Decoded");
    EXPECT_EQ(app.statbar[2], "Looking for attachments..");
    EXPECT_TRUE(shown.contains("one.bin"));
    EXPECT_EQ(app.PartIndex, 1);
}

TEST_F(Download, UuencodedPostOfThreePartsWithHeadersAmongTheData) {
    const QByteArray data = randomBytes(40000, 2);
    const QList<QByteArray> parts = splitLines(uuencode(data, "three.bin"), 3);
    for (int p : {2, 3, 1}) // rows out of order
        post(QStringLiteral("three.bin (%1/3)").arg(p), parts[p - 1] + "-- \r\nposted by me\r\n");
    openGroup();
    download("three.bin (2/3)");
    EXPECT_EQ(file("three.bin"), data);
    EXPECT_EQ(listed(), QStringList{"three.bin"});
    for (int p = 1; p <= 3; ++p)
        EXPECT_EQ(app.lstMessages.tag(rowOf(QStringLiteral("three.bin (%1/3)").arg(p))), "256");

    // The tagged rows are done with until the list is filled anew.
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    download("three.bin (1/3)");
    EXPECT_EQ(documents.count(), 0);
}

TEST_F(Download, MimeBase64ArticleFollowedByItsClosingBoundary) {
    const QByteArray data = randomBytes(20000, 3);
    post("mime.bin - attached", joined(mimeBody(data, "mime.bin")), kMime);
    openGroup();
    download("mime.bin - attached");
    EXPECT_EQ(file("mime.bin"), data);
    EXPECT_EQ(listed(), QStringList{"mime.bin"});
    EXPECT_TRUE(shown.contains("mime.bin"));
}

TEST_F(Download, Base64PostOfSeveralParts) {
    const QByteArray data = randomBytes(60000, 4);
    const QList<QByteArray> parts = splitLines(mimeBody(data, "four.bin"), 3);
    for (int p = 1; p <= 3; ++p)
        post(QStringLiteral("four.bin (%1/3)").arg(p), parts[p - 1], p == 1 ? kMime : HeaderList());
    openGroup();
    download("four.bin (3/3)");
    EXPECT_EQ(file("four.bin"), data);
    EXPECT_EQ(listed(), QStringList{"four.bin"});
}

// Parts of different sizes, so that placing them by index times a size fails.
const QList<qsizetype> kTenSizes = {30000, 25000, 41000, 12345, 30000, 1, 29999, 64000, 700, 16955};

TEST_F(Download, YencPostOfTenParts) {
    const QByteArray data = randomBytes(250000, 5);
    const QList<QByteArray> bodies = yencEncodeParts(data, kTenSizes, "ten parts.bin");
    QList<int> order = {7, 1, 10, 4, 2, 9, 3, 6, 8, 5};
    for (int p : order)
        post(QStringLiteral("\"ten parts.bin\" yEnc (%1/10)").arg(p, 2, 10, QLatin1Char('0')),
             bodies[p - 1]);
    openGroup();
    download("\"ten parts.bin\" yEnc (04/10)");
    EXPECT_EQ(file("ten parts.bin"), data);
    EXPECT_EQ(listed(), QStringList{"ten parts.bin"});
    EXPECT_EQ(app.PartIndex, 10);
    EXPECT_EQ(app.statbar[3], "[10/10]");
}

TEST_F(Download, ACorruptYencPartFailsListsNothingAndLeavesNoFile) {
    const QByteArray data = randomBytes(90000, 6);
    QList<QByteArray> bodies = yencEncodeParts(data, {30000, 30000, 30000}, "bad.bin");
    corruptYencData(bodies[1]);
    for (int p = 1; p <= 3; ++p)
        post(QStringLiteral("\"bad.bin\" yEnc (%1/3)").arg(p), bodies[p - 1]);
    openGroup();
    download("\"bad.bin\" yEnc (1/3)");
    EXPECT_EQ(app.LastError, int(DecodeResult::CrcError));
    EXPECT_TRUE(shown.contains(QString::number(int(DecodeResult::CrcError))));
    EXPECT_EQ(app.statbar[1], "File Decoded");
    EXPECT_TRUE(listed().isEmpty());
    EXPECT_TRUE(inDestDir().isEmpty()) << inDestDir().join(' ').toStdString();
}

TEST_F(Download, AnExistingFileIsNeitherOverwrittenNorListed) {
    const QByteArray data = randomBytes(600000, 7); // long enough to be cut off mid-way
    post("dup.bin (1/2)", joined(uuencode(data, "dup.bin").mid(0, 6000)));
    post("dup.bin (2/2)", joined(uuencode(data, "dup.bin").mid(6000)));
    const QByteArray other = randomBytes(5000, 8);
    post("next.bin", joined(uuencode(other, "next.bin")));
    QDir().mkpath(app.DestDir);
    QFile mine(app.DestDir + "dup.bin");
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly));
    mine.write("mine");
    mine.close();
    openGroup();

    download("dup.bin (1/2)");
    EXPECT_EQ(app.statbar[2], "Duplicate File");
    EXPECT_EQ(file("dup.bin"), "mine");
    EXPECT_TRUE(listed().isEmpty());

    // The rest of the dropped article doesn't reach the next one.
    download("next.bin");
    EXPECT_EQ(file("next.bin"), other);
    EXPECT_EQ(listed(), QStringList{"next.bin"});
    EXPECT_FALSE(app.MessageText.contains("dup.bin"));
}

TEST_F(Download, AMissingPartFetchesNothing) {
    const QList<QByteArray> parts = splitLines(uuencode(randomBytes(20000, 9), "gap.bin"), 4);
    for (int p : {1, 2, 4})
        post(QStringLiteral("gap.bin (%1/4)").arg(p), parts[p - 1]);
    openGroup();
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    download("gap.bin (1/4)");
    EXPECT_EQ(app.statbar[2], "Incomplete");
    EXPECT_EQ(documents.count(), 0);
    EXPECT_TRUE(listed().isEmpty());
    EXPECT_TRUE(inDestDir().isEmpty());
}

TEST_F(Download, NamesWithPathsLandInsideTheDownloadDirectory) {
    const QByteArray a = randomBytes(3000, 10), b = randomBytes(3000, 11),
                     c = randomBytes(3000, 12);
    post("escape one", joined(uuencode(a, "../escape.bin")));
    post("escape two", joined(uuencode(b, "/tmp/sub/abs.bin")));
    post("escape three", joined(mimeBody(c, "..\\\\..\\\\C:mime.bin")), kMime);
    openGroup();
    for (const char* s : {"escape one", "escape two", "escape three"})
        download(s);
    EXPECT_EQ(file(".._escape.bin"), a);
    EXPECT_EQ(file("_tmp_sub_abs.bin"), b);
    EXPECT_EQ(file("mime.bin"), c);
    EXPECT_FALSE(QFile::exists(dir.filePath("escape.bin")));
    EXPECT_EQ(QDir(dir.path()).entryList({"*.bin"}, QDir::Files), QStringList());
}

TEST_F(Download, AllRowsFetchEachPostOnceAndReconnectWhenTheLinkIsDown) {
    const QByteArray one = randomBytes(9000, 13), two = randomBytes(70000, 14);
    post("text only", "Nothing attached here.\r\n");
    post("single.bin", joined(uuencode(one, "single.bin")));
    const QList<QByteArray> bodies = yencEncodeParts(two, {35000, 35000}, "pair.bin");
    post("\"pair.bin\" yEnc (1/2)", bodies[0]);
    post("\"pair.bin\" yEnc (2/2)", bodies[1]);
    openGroup();

    // The connection is gone before the run: the first fetch rebuilds it and
    // reloads the list from this run's list file.
    app.NNTP->cancel();
    ASSERT_EQ(app.NNTP->state(), "Disconnected");
    QSignalSpy requests(app.NNTP.get(), &NntpControl::document);
    qint32 all = -1;
    cmdDownload(app, all);
    EXPECT_TRUE(app.IsConnected);
    EXPECT_EQ(app.lstMessages.count(), 4);
    EXPECT_EQ(file("single.bin"), one);
    EXPECT_EQ(file("pair.bin"), two);
    EXPECT_EQ(listed(), QStringList({"single.bin", "pair.bin"}));
    int begins = 0;
    for (const auto& args : requests)
        begins += args.at(0).toInt() == NntpControl::DocumentBegin;
    EXPECT_EQ(begins, 4) << "four articles, each fetched once";
}

TEST_F(Download, DoubleClickAndDownloadButtonInTheWindow) {
    const QByteArray data = randomBytes(8000, 15), more = randomBytes(8000, 16);
    post("clicked.bin", joined(uuencode(data, "clicked.bin")));
    post("button.bin", joined(uuencode(more, "button.bin")));
    QSettings s(app.SettingsFile, QSettings::IniFormat);
    s.setValue("Settings/NNTPServer", inn.address());
    s.setValue("Settings/DestDir", app.DestDir);
    s.sync();
    MainWindow window(app);
    Form_Load(app);
    window.applyGeometry();
    window.show();
    openGroup();

    ListView* messages = window.view(app.lstMessages);
    const QModelIndex row = app.lstMessages.index(rowOf("clicked.bin"));
    app.lstMessages.clearSelection();
    messages->setCurrentIndex(row);
    // A double click as the window system delivers it: press, release, double click.
    const QPoint at = messages->visualRect(row).center();
    QTest::mouseClick(messages->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(messages->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(file("clicked.bin"), data);
    EXPECT_EQ(app.statbar[1], "Finished Downloading");

    app.lstMessages.clearSelection();
    app.lstMessages.setSelected(rowOf("button.bin"), true);
    window.toolButton(8)->trigger();
    EXPECT_EQ(file("button.bin"), more);
    EXPECT_EQ(listed(), QStringList({"clicked.bin", "button.bin"}));
    EXPECT_EQ(window.frameBox(Frame::Files)->title(), "Decoded Files (2)");
}

// Articles whose transfer began while the spy listened.
int fetches(const QSignalSpy& requests) {
    int begins = 0;
    for (const auto& args : requests)
        begins += args.at(0).toInt() == NntpControl::DocumentBegin;
    return begins;
}

TEST_F(Download, DoubleClickFetchesEachSelectedPostOnce) {
    QList<QByteArray> singles;
    for (int i = 0; i < 3; ++i) {
        singles << randomBytes(5000 + i, 20 + i);
        post(QString("single%1.bin").arg(i),
             joined(uuencode(singles[i], QString("single%1.bin").arg(i).toUtf8())));
    }
    const QByteArray five = randomBytes(50000, 30);
    const QList<QByteArray> bodies =
        yencEncodeParts(five, {10000, 10000, 10000, 10000, 10000}, "five.bin");
    for (int p = 0; p < 5; ++p)
        post(QString("\"five.bin\" yEnc (%1/5)").arg(p + 1), bodies[p]);
    post("unselected.bin", joined(uuencode(randomBytes(900, 31), "unselected.bin")));
    openGroup();

    app.lstMessages.selectAll();
    app.lstMessages.setSelected(rowOf("unselected.bin"), false);
    QSignalSpy requests(app.NNTP.get(), &NntpControl::document);
    app.BatchRun = true; // a run is going on: refused, nothing fetched
    lstMessages_DblClick(app);
    EXPECT_EQ(app.statbar[2], "Please wait until current transaction is finished");
    EXPECT_EQ(fetches(requests), 0);
    app.BatchRun = false;

    lstMessages_DblClick(app);
    EXPECT_EQ(fetches(requests), 8) << "three single articles and the five parts, once each";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(file(QString("single%1.bin").arg(i)), singles[i]);
    EXPECT_EQ(file("five.bin"), five);
    EXPECT_EQ(listed().size(), 4);
    EXPECT_EQ(app.statbar[1], "Finished Downloading");
    EXPECT_EQ(app.statbar[3], "Connected");
}

TEST_F(Download, F2FetchesEveryCompletePostOnce) {
    const QByteArray a = randomBytes(7000, 40), b = randomBytes(20000, 41);
    post("a.bin", joined(uuencode(a, "a.bin")));
    const QList<QByteArray> pair = yencEncodeParts(b, {10000, 10000}, "b.bin");
    post("\"b.bin\" yEnc (1/2)", pair[0]);
    post("\"b.bin\" yEnc (2/2)", pair[1]);
    const QList<QByteArray> torn =
        yencEncodeParts(randomBytes(300, 42), {100, 100, 100}, "torn.bin");
    post("\"torn.bin\" yEnc (1/3)", torn[0]);
    post("\"torn.bin\" yEnc (3/3)", torn[2]);
    openGroup();

    QSignalSpy requests(app.NNTP.get(), &NntpControl::document);
    lstMessages_DownloadAll(app);
    EXPECT_EQ(fetches(requests), 3);
    EXPECT_EQ(file("a.bin"), a);
    EXPECT_EQ(file("b.bin"), b);
    EXPECT_EQ(inDestDir(), QStringList({"a.bin", "b.bin"}));
    EXPECT_EQ(app.statbar[1], "Finished Downloading");
    EXPECT_TRUE(app.frame(Frame::Favorites).enabled);
}

// Three favourites on two servers; the walk is stopped as the first file
// arrives, then run again over the rows that are left.
TEST_F(Download, FavouritesWalkAcrossTwoServersAndAStopLeavesTheRowsNotDone) {
    auto second = InnServer::startPrivate();
    ASSERT_TRUE(second && second->available());
    const QString other = InnServer::uniqueGroup("alt.binaries.zf.walk");
    const QString third = InnServer::uniqueGroup("alt.binaries.zf.walk");
    ASSERT_TRUE(second->newGroup(other));
    ASSERT_TRUE(inn.newGroup(third));
    const QByteArray x = randomBytes(3000, 50), y = randomBytes(3000, 51),
                     z = randomBytes(3000, 52);
    post("x.bin", joined(uuencode(x, "x.bin")));
    ASSERT_TRUE(second->post(other, "y.bin", joined(uuencode(y, "y.bin"))));
    ASSERT_TRUE(inn.post(third, "z.bin", joined(uuencode(z, "z.bin"))));
    app.lstFavorites.addItem(group + " (" + inn.address() + ")");
    app.lstFavorites.addItem(other + " (" + second->address() + ")");
    app.lstFavorites.addItem(third + " (" + inn.address() + ")");
    app.lstFavorites.selectAll();
    ScriptedPrompter prompter;
    app.prompter = &prompter;

    QMetaObject::Connection stop =
        QObject::connect(&app, &App::fileAdded, [this] { app.StopRequested = true; });
    menuDowloadAllF_Click(app);
    QObject::disconnect(stop);
    EXPECT_EQ(file("x.bin"), x);
    EXPECT_EQ(inDestDir(), QStringList({"x.bin"}));
    EXPECT_FALSE(app.lstFavorites.selected(0));
    EXPECT_TRUE(app.lstFavorites.selected(1));
    EXPECT_TRUE(app.lstFavorites.selected(2));
    EXPECT_FALSE(app.IsConnected);
    EXPECT_EQ(app.lstMessages.count(), 0);

    // Connected, the walk refuses to start.
    app.StopRequested = false;
    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected);
    menuDowloadAllF_Click(app);
    EXPECT_EQ(prompter.messages(), QStringList({"Please Disconnect First"}));
    EXPECT_TRUE(app.lstFavorites.selected(1));
    cmdDisconnect(app);

    menuDowloadAllF_Click(app);
    EXPECT_EQ(file("y.bin"), y);
    EXPECT_EQ(file("z.bin"), z);
    EXPECT_EQ(app.lstFavorites.selCount(), 0);
    EXPECT_FALSE(app.IsConnected);
    EXPECT_EQ(app.statbar[1], "Finished Downloading From Favorites");
}

} // namespace
