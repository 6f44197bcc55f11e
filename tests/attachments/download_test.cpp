// From a row of the message list to a decoded file, against a real INN:
// posts in uuencode, MIME base64 and yEnc, single and in parts, fetched by
// the message list's commands and the favourites walk and compared byte for
// byte with what was posted.
#include "attachments/decoder.h"
#include "attachments/download.h"
#include "attachments/download_drivers.h"
#include "fixtures/encoders.h"
#include "fixtures/inn_app_test.h"
#include "fixtures/inn_server.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "program/main_window.h"
#include "program/startup.h"
#include "shell/list_view_widget.h"
#include "shell/temp_files.h"
#include "test_data.h"

#include <QAction>
#include <QDir>
#include <QMap>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <csignal>
#include <cstring>
#include <random>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const HeaderList kMime = {{"MIME-Version", "1.0"},
                          {"Content-Type", "multipart/mixed; boundary=\"zf-boundary\""}};

// Transfers (articles or subject listings) begun while the spy listened.
int fetches(const QSignalSpy& requests) {
    int begins = 0;
    for (const auto& args : requests)
        begins += args.at(0).toInt() == NntpControl::DocumentBegin;
    return begins;
}

class Download : public InnAppTest {
protected:
    void SetUp() override {
        InnAppTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        group = InnServer::uniqueGroup("alt.binaries.zf.download");
        ASSERT_TRUE(inn.newGroup(group));
        QObject::connect(&app, &App::statusChanged, [this](int panel) {
            if (panel == 2) shown << app.statbar[2];
        });
    }
    void post(const QString& subject, const QByteArray& body, const HeaderList& headers = {}) {
        ASSERT_TRUE(inn.post(group, subject, body, headers)) << inn.lastError().toStdString();
    }
    // The parts in the given order (all by default); subject has %1 for the
    // part number, padded to the width of the count as posters do.
    void postParts(const QString& subject, const QList<QByteArray>& bodies, QList<int> order = {},
                   const HeaderList& firstHeaders = {}) {
        if (order.isEmpty())
            for (int p = 1; p <= bodies.size(); ++p)
                order << p;
        const int width = int(QString::number(bodies.size()).size());
        for (int p : order)
            post(subject.arg(p, width, 10, QLatin1Char('0')), bodies[p - 1],
                 p == 1 ? firstHeaders : HeaderList());
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
        return app.lstMessages.find(subject, FindMode::Exact, 0);
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
    QByteArray file(const QString& name) const { return t.readFile("download/" + name); }
    QStringList listed() const { return texts(app.lstFiles); }
    QStringList inDestDir() const {
        return QDir(app.DestDir).entryList(QDir::Files | QDir::Hidden);
    }

    QString group;
    QStringList shown; // texts of status panel 2 during the last download
};

TEST_F(Download, PostsInEveryEncodingComeOutByteForByte) {
    const QByteArray one = randomBytes(30000, 1), three = randomBytes(40000, 2),
                     mime = randomBytes(20000, 3), ten = randomBytes(250000, 5),
                     up = randomBytes(3000, 10), rooted = randomBytes(3000, 11),
                     deep = randomBytes(3000, 12);
    post("one.bin - have a look", "Some words first.\r\n\r\n" + joined(uuencode(one, "one.bin")) +
                                      "\r\n-- \r\nsignature\r\n");
    QList<QByteArray> threeParts = splitLines(uuencode(three, "three.bin"), 3);
    for (QByteArray& part : threeParts)
        part += "-- \r\nposted by me\r\n";
    postParts("three.bin (%1/3)", threeParts, {2, 3, 1});
    // Multi-part base64 with signatures between parts is the decoder test's.
    post("mime.bin - attached", joined(mimeBase64Body(mime, "mime.bin")), kMime);
    // Parts of different sizes, so that placing them by index times a size fails.
    postParts("\"ten parts.bin\" yEnc (%1/10)",
              yencEncodeParts(ten, {30000, 25000, 41000, 12345, 30000, 1, 29999, 64000, 700, 16955},
                              "ten parts.bin"),
              {7, 1, 10, 4, 2, 9, 3, 6, 8, 5});
    post("escape one", joined(uuencode(up, "../escape.bin")));
    post("escape two", joined(uuencode(rooted, "/tmp/sub/abs.bin")));
    post("escape three", joined(mimeBase64Body(deep, "..\\\\..\\\\C:deep.bin")), kMime);
    openGroup();

    struct Case {
        QString row, name;
        QByteArray data;
        int parts;
    };
    const Case cases[] = {
        {"one.bin - have a look", "one.bin", one, 1},
        {"three.bin (2/3)", "three.bin", three, 3},
        {"mime.bin - attached", "mime.bin", mime, 1},
        {"\"ten parts.bin\" yEnc (04/10)", "ten parts.bin", ten, 10},
        // Separators in a name stay in it: nothing lands outside DestDir.
        {"escape one", ".._escape.bin", up, 1},
        {"escape two", "_tmp_sub_abs.bin", rooted, 1},
        {"escape three", "deep.bin", deep, 1},
    };
    QStringList names;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.row.toStdString());
        download(c.row);
        EXPECT_EQ(file(c.name), c.data);
        names << c.name;
        EXPECT_EQ(listed(), names);
        // Shown while fetched, as the article spells it.
        EXPECT_FALSE(shown.filter(c.name).isEmpty()) << shown.join('|').toStdString();
        EXPECT_EQ(app.statbar[3], QString("[%1/%1]").arg(c.parts));
    }
    names.sort();
    EXPECT_EQ(inDestDir(), names) << "no temporary file is left";
    EXPECT_EQ(QDir(t.dir.path()).entryList({"*.bin"}, QDir::Files), QStringList());

    // The other rows of a post are done with until the list is filled anew.
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    download("three.bin (1/3)");
    download("three.bin (3/3)");
    EXPECT_EQ(documents.count(), 0);
}

TEST_F(Download, PostsThatCantBeDecodedLeaveNeitherFileNorRow) {
    postParts("gap.bin (%1/4)", splitLines(uuencode(randomBytes(20000, 9), "gap.bin"), 4),
              {1, 2, 4});
    QList<QByteArray> bad =
        yencEncodeParts(randomBytes(90000, 6), {30000, 30000, 30000}, "bad.bin");
    corruptYencData(bad[1]);
    postParts("\"bad.bin\" yEnc (%1/3)", bad);
    // Long enough to be still arriving when it is given up.
    const QList<QByteArray> dup = uuencode(randomBytes(600000, 7), "dup.bin");
    postParts("dup.bin (%1/2)", {joined(dup.mid(0, 6000)), joined(dup.mid(6000))});
    const QByteArray next = randomBytes(5000, 8);
    post("next.bin", joined(uuencode(next, "next.bin")));
    post("mine again", joined(mimeBase64Body(randomBytes(3000, 14), "C:mine.bin")), kMime);
    post("lies.bin", joined(mimeBase64Body(randomBytes(3000, 19), "lies.bin", 3001)), kMime);
    openGroup();

    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    download("gap.bin (1/4)");
    EXPECT_EQ(app.statbar[2], "Incomplete");
    EXPECT_EQ(documents.count(), 0) << "a post with a part missing is not fetched";

    download("\"bad.bin\" yEnc (1/3)");
    EXPECT_EQ(app.LastError, int(DecodeResult::CrcError));
    // The number, and words a user can read.
    EXPECT_FALSE(shown.filter(QRegularExpression("^3: CRC error: part 2")).isEmpty())
        << shown.join('|').toStdString();
    EXPECT_TRUE(listed().isEmpty());
    EXPECT_TRUE(inDestDir().isEmpty()) << inDestDir().join(' ').toStdString();

    ASSERT_TRUE(t.writeFile("download/dup.bin", "mine"));
    download("dup.bin (1/2)");
    EXPECT_EQ(app.statbar[2], "Duplicate File");
    EXPECT_EQ(file("dup.bin"), "mine");
    EXPECT_TRUE(listed().isEmpty());
    // The rest of the dropped article doesn't reach the next one.
    download("next.bin");
    EXPECT_EQ(file("next.bin"), next);
    EXPECT_EQ(listed(), QStringList{"next.bin"});
    EXPECT_FALSE(app.MessageText.contains("dup.bin"));

    // The name the file would get decides, and a file is never replaced.
    ASSERT_TRUE(t.writeFile("download/mine.bin", "mine"));
    download("mine again");
    EXPECT_TRUE(shown.contains("Duplicate File")) << shown.join('|').toStdString();
    EXPECT_EQ(file("mine.bin"), "mine");
    // A size announced and not met is a failure, not a short file.
    download("lies.bin");
    EXPECT_EQ(app.LastError, int(DecodeResult::SizeMismatch));
    EXPECT_EQ(inDestDir(), QStringList({"dup.bin", "mine.bin", "next.bin"}));
    EXPECT_EQ(listed(), QStringList{"next.bin"});
}

// Faults of the user's machine in the middle of a download: the disk fills
// up while the fetched article or the decoded file is written, or the
// download directory is removed or made read-only. The post fails with the
// system's reason, leaves no file (partial, decoded or temporary) and no
// listed row, and once the fault is gone the next post comes out whole.
//
// A full disk is a file-size limit (RLIMIT_FSIZE, with SIGXFSZ ignored): a
// write past it is cut short and the next fails, as on a disk that fills
// up, for root and any user alike. Root ignores permission bits, so a
// read-only directory is a read-only bind mount when the test runs in a
// private mount namespace (tests/scripts/with_private_mounts), else a mode
// without write bits for a user other than root.
TEST_F(Download, DiskFullOrDirectoryGoneOrReadOnlyFailsThePostWithItsReason) {
    enum Case { FullFetching, FullDecoding, Removed, ReadOnly };
    const bool privateMounts = qEnvironmentVariableIsSet("ZANDERFELL_PRIVATE_MOUNTS");
    QMap<QString, QByteArray> sent;
    for (int c = FullFetching; c <= ReadOnly; ++c) {
        for (const QString& name : {QString("full%1.bin").arg(c), QString("next%1.bin").arg(c)}) {
            sent[name] = randomBytes(40000, 40 + unsigned(sent.size()));
            post(name, joined(uuencode(sent[name], name.toLatin1())));
        }
    }
    openGroup();
    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
    const QString dest = app.DestDir;
    const QString destPath = QDir::cleanPath(dest);

    for (Case c : {FullFetching, FullDecoding, Removed, ReadOnly}) {
        SCOPED_TRACE(c);
        if (c == ReadOnly && !privateMounts && geteuid() == 0) {
            std::signal(SIGXFSZ, oldSignal);
            GTEST_SKIP() << "root ignores permission bits: a read-only directory needs the "
                            "private mount namespace of tests/scripts/with_private_mounts";
        }
        bool readOnlyMount = false;
        auto fault = [&] {
            if (c == FullFetching || c == FullDecoding) {
                rlimit small = unlimited;
                small.rlim_cur = 20000;
                EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
            } else if (c == Removed) {
                EXPECT_TRUE(QDir(dest).removeRecursively());
            } else if (privateMounts) {
                const QByteArray d = destPath.toLocal8Bit();
                readOnlyMount =
                    mount(d.constData(), d.constData(), nullptr, MS_BIND, nullptr) == 0 &&
                    mount(nullptr, d.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY,
                          nullptr) == 0;
                EXPECT_TRUE(readOnlyMount) << std::strerror(errno);
            } else {
                EXPECT_TRUE(QFile::setPermissions(destPath, QFile::ReadOwner | QFile::ExeOwner));
            }
        };
        auto lift = [&] {
            EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
            if (c == Removed) QDir().mkpath(dest);
            if (readOnlyMount) {
                EXPECT_EQ(umount(destPath.toLocal8Bit().constData()), 0);
            }
            QFile::setPermissions(destPath, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        };
        // The fault comes while the article is fetched, or for the decoded
        // file once the decoding starts.
        bool faulted = false;
        const QString when = c == FullDecoding ? "Decoding File" : "Retrieving Msg #";
        const auto hook = QObject::connect(&app, &App::statusChanged, [&](int panel) {
            if (panel == 1 && !faulted && app.statbar[1].startsWith(when)) {
                faulted = true;
                fault();
            }
        });
        const QString name = QString("full%1.bin").arg(c);
        download(name);
        QObject::disconnect(hook);
        const QStringList seen = shown;
        lift();

        EXPECT_TRUE(faulted);
        const QString reason = c == Removed    ? "No such file or directory"
                               : c != ReadOnly ? "File too large"
                               : readOnlyMount ? "Read-only file system"
                                               : "Permission denied";
        // The parts go to the decoder as they come, so a fault while they
        // are fetched meets the decoded file too.
        const QString message = "6: Cannot write the decoded file: " + reason;
        EXPECT_TRUE(seen.contains(message)) << seen.join('|').toStdString();
        EXPECT_TRUE(inDestDir().isEmpty()) << inDestDir().join(' ').toStdString();
        EXPECT_TRUE(listed().isEmpty());

        const QString next = QString("next%1.bin").arg(c);
        download(next);
        EXPECT_EQ(file(next), sent[next]);
        EXPECT_EQ(listed(), QStringList{next});
        app.lstFiles.clear();
        QFile::remove(dest + next);
    }
    std::signal(SIGXFSZ, oldSignal);
}

// Whatever starts it, a download takes the selected rows: each post once.
TEST_F(Download, DoubleClickAndDownloadButtonFetchEachSelectedPostOnce) {
    QMap<QString, QByteArray> sent;
    unsigned seed = 15;
    for (const char* name : {"clicked.bin", "button.bin", "one.bin", "two.bin", "three.bin"}) {
        sent[name] = randomBytes(5000, seed++);
        post(name, joined(uuencode(sent[name], name)));
    }
    sent["five.bin"] = randomBytes(50000, 30);
    postParts("\"five.bin\" yEnc (%1/5)",
              yencEncodeParts(sent["five.bin"], {10000, 10000, 10000, 10000, 10000}, "five.bin"));
    t.setSetting("NNTPServer", inn.address());
    t.setSetting("DestDir", app.DestDir);
    const auto window = t.openWindow();
    app.Timer1.start(); // the waits' timeouts run on it
    openGroup();

    ListView* messages = window->view(app.lstMessages);
    const QModelIndex row = app.lstMessages.index(rowOf("clicked.bin"));
    app.lstMessages.clearSelection();
    messages->setCurrentIndex(row);
    // A double click as the window system delivers it: press, release, double click.
    const QPoint at = messages->visualRect(row).center();
    QTest::mouseClick(messages->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(messages->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(file("clicked.bin"), sent["clicked.bin"]);

    app.lstMessages.clearSelection();
    for (const char* name : {"one.bin", "two.bin", "three.bin"})
        app.lstMessages.setSelected(rowOf(name), true);
    for (int p = 1; p <= 5; ++p)
        app.lstMessages.setSelected(rowOf(QString("\"five.bin\" yEnc (%1/5)").arg(p)), true);
    QSignalSpy requests(app.NNTP.get(), &NntpControl::document);
    app.BatchRun = true; // a run is going on: refused, nothing fetched
    lstMessages_DblClick(app);
    EXPECT_EQ(app.statbar[2], "Please wait until current transaction is finished");
    EXPECT_EQ(fetches(requests), 0);
    app.BatchRun = false;
    // With the link found down, the first fetch rebuilds it and reloads the
    // list from this run's list file.
    app.NNTP->cancel();
    ASSERT_EQ(app.NNTP->state(), "Disconnected");
    lstMessages_DblClick(app);
    EXPECT_TRUE(app.IsConnected);
    EXPECT_EQ(app.lstMessages.count(), 10);
    EXPECT_EQ(fetches(requests), 8) << "three single articles and the five parts, once each";

    app.lstMessages.setSelected(rowOf("button.bin"), true);
    window->toolButton(8)->trigger();
    const QStringList names = {"clicked.bin", "one.bin",  "two.bin",
                               "three.bin",   "five.bin", "button.bin"};
    EXPECT_EQ(listed(), names);
    for (const QString& name : names)
        EXPECT_EQ(file(name), sent[name]) << name.toStdString();
}

// Part counters as today's posters write them: "(1/25)" without padding, and
// a bracket group behind the counter. Off, the old rule holds: the first post
// is incomplete and each part of the second is a single article.
TEST_F(Download, ModernPartCountersCollateOnlyWithTheOption) {
    const QByteArray many = randomBytes(25 * 400, 60), two = randomBytes(2 * 3000, 61);
    const QList<QByteArray> manyParts =
        yencEncodeParts(many, QList<qsizetype>(25, 400), "many.bin");
    for (int p = 1; p <= 25; ++p)
        post(QStringLiteral("\"many.bin\" yEnc (%1/25)").arg(p), manyParts[p - 1]);
    const QList<QByteArray> twoParts = yencEncodeParts(two, {3000, 3000}, "two.bin");
    for (int p = 1; p <= 2; ++p)
        post(QStringLiteral("two.bin (%1/2) 6 kB yEnc - test (2)").arg(p), twoParts[p - 1]);
    openGroup();

    app.ModernParts = false;
    download("\"many.bin\" yEnc (1/25)");
    EXPECT_EQ(app.statbar[2], "Incomplete");
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    download("two.bin (1/2) 6 kB yEnc - test (2)");
    EXPECT_EQ(fetches(documents), 1) << "one article, taken as a single post";
    EXPECT_TRUE(listed().isEmpty());

    app.ModernParts = true;
    for (int row = 0; row < app.lstMessages.count(); ++row)
        app.lstMessages.setTag(row, QString());
    download("\"many.bin\" yEnc (1/25)");
    download("two.bin (1/2) 6 kB yEnc - test (2)");
    EXPECT_EQ(file("many.bin"), many);
    EXPECT_EQ(file("two.bin"), two);
}

// F2 over three favourites on two servers; the walk is stopped as the second
// one's file arrives, then run again over the row that is left.
TEST_F(Download, FavouritesWalkFetchesEveryCompletePostOnceAndAStopLeavesTheRowsNotDone) {
    auto second = InnServer::startPrivate();
    ASSERT_TRUE(second && second->available());
    const QString other = InnServer::uniqueGroup("alt.binaries.zf.walk");
    const QString third = InnServer::uniqueGroup("alt.binaries.zf.walk");
    ASSERT_TRUE(second->newGroup(other));
    ASSERT_TRUE(inn.newGroup(third));
    const QByteArray a = randomBytes(7000, 40), b = randomBytes(20000, 41),
                     y = randomBytes(3000, 51), z = randomBytes(3000, 52);
    post("text only", "Nothing attached here.\r\n");
    post("a.bin", joined(uuencode(a, "a.bin")));
    postParts("\"b.bin\" yEnc (%1/2)", yencEncodeParts(b, {10000, 10000}, "b.bin"));
    postParts("\"torn.bin\" yEnc (%1/3)",
              yencEncodeParts(randomBytes(300, 42), {100, 100, 100}, "torn.bin"), {1, 3});
    ASSERT_TRUE(second->post(other, "y.bin", joined(uuencode(y, "y.bin"))));
    ASSERT_TRUE(inn.post(third, "z.bin", joined(uuencode(z, "z.bin"))));
    app.lstFavorites.addItem(group + " (" + inn.address() + ")");
    app.lstFavorites.addItem(other + " (" + second->address() + ")");
    app.lstFavorites.addItem(third + " (" + inn.address() + ")");
    app.lstFavorites.selectAll();

    QSignalSpy requests(app.NNTP.get(), &NntpControl::document);
    QMetaObject::Connection stop =
        QObject::connect(&app, &App::fileAdded, [this](const QString& name) {
            if (name == "y.bin") app.StopRequested = true;
        });
    menuDowloadAllF_Click(app);
    QObject::disconnect(stop);
    EXPECT_EQ(fetches(requests), 7)
        << "two subject listings, the text, a.bin, both parts of b.bin and y.bin";
    EXPECT_EQ(file("a.bin"), a);
    EXPECT_EQ(file("b.bin"), b);
    EXPECT_EQ(file("y.bin"), y);
    EXPECT_EQ(inDestDir(), QStringList({"a.bin", "b.bin", "y.bin"}));
    EXPECT_EQ(app.lstFavorites.selCount(), 1);
    EXPECT_TRUE(app.lstFavorites.selected(2));
    EXPECT_FALSE(app.IsConnected);

    // Connected, the walk refuses to start.
    app.StopRequested = false;
    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected);
    menuDowloadAllF_Click(app);
    EXPECT_EQ(t.prompter.messages(), QStringList({"Please Disconnect First"}));
    EXPECT_TRUE(app.lstFavorites.selected(2));
    cmdDisconnect(app);

    menuDowloadAllF_Click(app);
    EXPECT_EQ(file("z.bin"), z);
    EXPECT_EQ(app.lstFavorites.selCount(), 0);
    EXPECT_FALSE(app.IsConnected);
}

// Article numbers past 2^32, as today's big groups have them, listed in
// chunks across the boundary, collated and downloaded. INN stops numbering
// a group at 2^31 - 1 ("full newsgroup"), so a scripted server serves them.
TEST(DownloadPastTwoToThe32, PartsNumberedAcrossTheBoundaryListCollateAndDownload) {
    TestApp t;
    t.load();
    App& app = t.app;
    app.Timer1.start();
    app.DestDir = t.path("download/");
    QDir().mkpath(app.DestDir);
    MakeTempFile(app);
    app.HeaderChunk = 2;
    const QByteArray data = randomBytes(3 * 2000, 70);
    const QList<QByteArray> parts = yencEncodeParts(data, {2000, 2000, 2000}, "three.bin");
    auto article = [&](const QByteArray& number, const QByteArray& body) {
        QByteArray stuffed;
        for (const QByteArray& line : body.split('\n')) {
            if (line.isEmpty()) continue;
            stuffed += (line.startsWith('.') ? "." : "") + line + '\n';
        }
        return "220 " + number + " <" + number + "@x>\r\nSubject: three\r\n\r\n" + stuffed +
               ".\r\n";
    };

    ScriptedNntpServer s;
    ASSERT_TRUE(s.listen());
    app.CurrentServer = s.address();
    s.send("200 ready\r\n").expect("MODE READER").send("200 reader\r\n");
    s.expect("GROUP alt.binaries.big").send("211 4 4294967294 4294967297 alt.binaries.big\r\n");
    s.expect("XHDR Subject 4294967294-4294967295")
        .send("221 ok\r\n4294967294 \"three.bin\" yEnc (2/3)\r\n"
              "4294967295 \"three.bin\" yEnc (1/3)\r\n.\r\n");
    s.expect("XHDR Subject 4294967296-4294967297")
        .send("221 ok\r\n4294967296 hello\r\n4294967297 \"three.bin\" yEnc (3/3)\r\n.\r\n");
    s.expect("ARTICLE 4294967295").send(article("4294967295", parts[0]));
    s.expect("ARTICLE 4294967294").send(article("4294967294", parts[1]));
    s.expect("ARTICLE 4294967297").send(article("4294967297", parts[2]));

    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected);
    app.CurrentGroup = "alt.binaries.big";
    app.HeaderField = "Subject";
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    ASSERT_EQ(app.lstMessages.count(), 4);
    EXPECT_EQ(app.lstMessages.number(3), 4294967297);
    qint32 row = app.lstMessages.find("\"three.bin\" yEnc (1/3)", FindMode::Exact, 0);
    ASSERT_EQ(row, 1);
    cmdDownload(app, row);

    EXPECT_TRUE(s.errors().isEmpty()) << s.errors().join('\n').toStdString();
    EXPECT_TRUE(s.scriptDone());
    EXPECT_EQ(t.readFile("download/three.bin"), data);
    cmdDisconnect(app);
}

} // namespace
