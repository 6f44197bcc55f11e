// NZB files read, downloaded and written against a real INN, and hostile
// NZB files refused with their message.
#include "attachments/decoded_files.h"
#include "attachments/download_drivers.h"
#include "fixtures/encoders.h"
#include "fixtures/inn_app_test.h"
#include "fixtures/scripted_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "nzb/nzb_download.h"
#include "nzb/nzb_file.h"
#include "nzb/nzb_save.h"
#include "setup/setup_options.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>

namespace {

// Message-IDs unique to a group, so that tests never meet INN's history.
QByteArray idOf(const QString& group, const QByteArray& what) {
    return what + '.' + group.toLatin1() + "@zf.test";
}

class Nzb : public InnAppTest {
protected:
    void SetUp() override {
        InnAppTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        group = InnServer::uniqueGroup("alt.binaries.zf.nzb");
        ASSERT_TRUE(inn.newGroup(group));
    }
    // Posts the bodies as parts 1..n of subject (%1 the counter) with
    // Message-IDs <stem.N...>, leaving out the parts in `unposted`; the
    // first part gets firstHeaders too.
    void postParts(const QString& subject, const QByteArray& stem, const QList<QByteArray>& bodies,
                   const QList<int>& unposted = {}, const HeaderList& firstHeaders = {}) {
        for (int p = bodies.size(); p >= 1; --p) { // last part first: order is the NZB's job
            if (unposted.contains(p)) continue;
            HeaderList headers = {
                {"Message-ID", '<' + idOf(group, stem + '.' + QByteArray::number(p)) + '>'}};
            if (p == 1) headers += firstHeaders;
            ASSERT_TRUE(inn.post(group, subject.arg(p).arg(bodies.size()), bodies[p - 1], headers))
                << inn.lastError().toStdString();
        }
    }
    // A <file> element as indexers write it, segments in reverse order.
    QByteArray fileElement(const QString& subject, const QByteArray& stem, int parts) {
        QByteArray xml = "<file poster=\"Poster &lt;p@x.test&gt;\" date=\"1700000000\" subject=\"" +
                         subject.toHtmlEscaped().toUtf8() + "\">\n<groups><group>" +
                         group.toUtf8() + "</group></groups>\n<segments>\n";
        for (int p = parts; p >= 1; --p)
            xml += "  <segment bytes=\"1000\" number=\"" + QByteArray::number(p) + "\">" +
                   idOf(group, stem + '.' + QByteArray::number(p)) + "</segment>\n";
        return xml + "</segments>\n</file>\n";
    }
    // PAR2 recovery files for `data`, made by par2 beside it in a directory of
    // their own, with `blocks` recovery blocks of 5000 bytes; their names.
    QStringList par2Set(const QString& dir, const QString& name, const QByteArray& data,
                        int blocks) {
        EXPECT_TRUE(t.writeFile(dir + "/" + name, data));
        QProcess par2;
        par2.setWorkingDirectory(t.path(dir));
        par2.start("par2", {"create", "-q", "-s5000", "-c" + QString::number(blocks), "-n1",
                            QFileInfo(name).completeBaseName() + ".par2", name});
        EXPECT_TRUE(par2.waitForFinished(60000) && par2.exitCode() == 0)
            << par2.readAllStandardError().toStdString();
        return QDir(t.path(dir)).entryList({"*.par2"}, QDir::Files);
    }
    // Posts the files of a PAR2 set as single yEnc articles <stem.pN.1...>;
    // their NZB elements.
    QByteArray postPar2(const QString& dir, const QStringList& files, const QByteArray& stem) {
        QByteArray elements;
        for (int i = 0; i < files.size(); ++i) {
            const QByteArray fileStem = stem + ".p" + QByteArray::number(i);
            postParts("\"" + files[i] + "\" yEnc (%1/%2)", fileStem,
                      {yencEncodeSingle(t.readFile(dir + "/" + files[i]), files[i].toLatin1())});
            elements += fileElement("\"" + files[i] + "\" yEnc (1/1)", fileStem, 1);
        }
        return elements;
    }
    QByteArray file(const QString& name) const { return t.readFile("download/" + name); }
    QStringList inDestDir() const { return QDir(app.DestDir).entryList(QDir::Files); }

    QString group;
};

const QByteArray kHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
    "<!DOCTYPE nzb PUBLIC \"-//newzBin//DTD NZB 1.1//EN\" "
    "\"http://www.newzbin.com/DTD/nzb/nzb-1.1.dtd\">\n"
    "<nzb xmlns=\"http://www.newzbin.com/DTD/2003/nzb\">\n"
    "<head>\n <meta type=\"title\">A Test Set</meta>\n <meta type=\"category\">Misc</meta>\n"
    "</head>\n";

TEST_F(Nzb, IndexerNzbDownloadsEveryFileAndReportsAMissingSegment) {
    const QByteArray a = randomBytes(70000, 21), b = randomBytes(9000, 22),
                     c = randomBytes(30000, 23);
    postParts("\"a.bin\" yEnc (%1/%2)", "a", yencEncodeParts(a, {25000, 25000, 20000}, "a.bin"));
    postParts("b.bin (%1/%2)", "b", splitLines(uuencode(b, "b.bin"), 2));
    postParts("\"c.bin\" yEnc (%1/%2)", "c", yencEncodeParts(c, {10000, 10000, 10000}, "c.bin"),
              {2});
    // A separator in the name stays in it, as in any download.
    const QByteArray d = randomBytes(3000, 24);
    postParts("\"dir/d.bin\" yEnc (%1/%2)", "d", {yencEncodeSingle(d, "dir/d.bin")});
    // A MIME post in two parts: the name and the boundary that ends the data
    // are in the first part's body, behind a text part.
    const QByteArray e = randomBytes(12000, 25);
    postParts(
        "e.bin (%1/%2)", "e", splitLines(mimeBase64Body(e, "e.bin"), 2), {},
        {{"MIME-Version", "1.0"}, {"Content-Type", "multipart/mixed; boundary=\"zf-boundary\""}});
    // The message list of a group is open and stays as it is.
    cmdConnect(app, false);
    app.lstMessages.addItem(-1, "a row of the group", "", 7);

    const QByteArray nzb = kHead + fileElement("\"a.bin\" yEnc (1/3)", "a", 3) +
                           fileElement("b.bin (1/2)", "b", 2) +
                           fileElement("\"c.bin\" yEnc (1/3)", "c", 3) +
                           fileElement("\"dir/d.bin\" yEnc (1/1)", "d", 1) +
                           fileElement("e.bin (1/2)", "e", 2) + "</nzb>\n";
    ASSERT_TRUE(t.writeFile("set.nzb", nzb));
    // The progress bar runs over the segments of the whole NZB.
    int progressEnd = 0;
    QObject::connect(&app, &App::progressChanged, [&] {
        if (app.progMax == 11) progressEnd = std::max(progressEnd, app.progValue);
    });
    OpenNzbFile(app, t.path("set.nzb"));
    EXPECT_EQ(progressEnd, 11);

    EXPECT_EQ(t.prompter.messages(), QStringList());
    EXPECT_EQ(file("a.bin"), a);
    EXPECT_EQ(file("b.bin"), b);
    EXPECT_EQ(file("dir_d.bin"), d);
    EXPECT_EQ(file("e.bin"), e);
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.bin", "b.bin", "dir_d.bin", "e.bin"}));
    // Without PAR2 files in the set, a damaged file is neither kept nor listed.
    EXPECT_EQ(inDestDir(), QStringList({"a.bin", "b.bin", "dir_d.bin", "e.bin"}))
        << "no temporary file is left";
    EXPECT_EQ(app.statbar[2], "c.bin: 1 of 3 segments missing");
    EXPECT_TRUE(app.IsConnected);
    EXPECT_EQ(app.lstMessages.count(), 1);
    EXPECT_FALSE(app.BatchRun);

    // The files that are there already are neither fetched nor listed twice.
    QSignalSpy documents(app.NNTP.get(), &NntpControl::document);
    OpenNzbFile(app, t.path("set.nzb"));
    int begun = 0;
    for (const auto& args : documents)
        begun += args.at(0).toInt() == NntpControl::DocumentBegin;
    EXPECT_EQ(begun, 2) << "the two segments of c.bin the server has";
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.bin", "b.bin", "dir_d.bin", "e.bin"}));
    EXPECT_EQ(app.statbar[2], "c.bin: 1 of 3 segments missing");

    // Stop once the first file is in: it stays, nothing half-fetched is left.
    app.DestDir = t.path("stopped/");
    QDir().mkpath(app.DestDir);
    app.lstFiles.clear();
    QObject::connect(&app, &App::progressChanged, [&] {
        if (app.progMax == 11 && app.progValue == 4 && !app.StopRequested) cmdStop(app);
    });
    OpenNzbFile(app, t.path("set.nzb"));
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.bin"}));
    EXPECT_EQ(inDestDir(), QStringList({"a.bin"}));
    EXPECT_FALSE(app.BatchRun);
}

// Posts in INN, saved as an NZB from the message list, read back into the
// same bytes from another download directory.
TEST_F(Nzb, SavedNzbOfSelectedPostsDownloadsThemByteForByte) {
    const QByteArray y = randomBytes(60000, 31), u = randomBytes(8000, 32),
                     other = randomBytes(500, 33);
    postParts("\"y.bin\" yEnc (%1/%2)", "y", yencEncodeParts(y, {20000, 30000, 10000}, "y.bin"));
    postParts("u.bin (%1/%2)", "u", splitLines(uuencode(u, "u.bin"), 2));
    postParts("other.bin (%1/%2)", "o", {joined(uuencode(other, "other.bin"))});
    cmdConnect(app, false);
    app.CurrentGroup = group;
    app.HeaderField = "Subject";
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    // A row of each of two posts, one of them twice over: two files.
    for (const QString row : {"\"y.bin\" yEnc (2/3)", "u.bin (1/2)", "u.bin (2/2)"})
        app.lstMessages.setSelected(app.lstMessages.find(row, FindMode::Exact, 0), true);

    const QString path = t.path("saved.nzb");
    t.prompter.answerFileName(path);
    menuSaveNzb_Click(app);
    const NzbParse saved = readNzbFile(path);
    ASSERT_TRUE(saved.ok()) << saved.error.toStdString();
    ASSERT_EQ(saved.nzb.files.size(), 2);
    const NzbFile& first = saved.nzb.files[0];
    EXPECT_EQ(first.subject, "\"y.bin\" yEnc (1/3)");
    EXPECT_EQ(first.groups, QStringList{group});
    ASSERT_EQ(first.segments.size(), 3);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(first.segments[p].messageId, idOf(group, "y." + QByteArray::number(p + 1)));
        EXPECT_GT(first.segments[p].bytes, 10000);
    }
    EXPECT_EQ(saved.nzb.files[1].segments.size(), 2);
    // Collation for the NZB leaves the rows as they were: a download still takes them.
    for (int r = 0; r < app.lstMessages.count(); ++r)
        EXPECT_NE(app.lstMessages.tag(r), "256");

    // An existing file is replaced only when the user says so.
    t.prompter.answerFileName(path).answerYesNo(false);
    app.lstMessages.setSelected(app.lstMessages.find("other.bin (1/1)", FindMode::Exact, 0), true);
    menuSaveNzb_Click(app);
    EXPECT_EQ(readNzbFile(path).nzb.files.size(), 2);

    app.DestDir = t.path("again/");
    QDir().mkpath(app.DestDir);
    OpenNzbFile(app, path);
    EXPECT_EQ(t.readFile("again/y.bin"), y);
    EXPECT_EQ(t.readFile("again/u.bin"), u);
    EXPECT_EQ(texts(app.lstFiles), QStringList({"y.bin", "u.bin"}));
}

// A set posted with PAR2 recovery files and one segment never posted: the
// damaged file is repaired when the blocks suffice, reported beyond repair
// when they don't, and with the option off it is neither checked nor kept.
TEST_F(Nzb, ASegmentLeftUnpostedIsRepairedFromThePar2FilesWhenTheyHoldEnoughBlocks) {
    struct Case {
        QString stem;
        int recoveryBlocks; // of 5000 bytes; the missing segment is 5 blocks
        bool par2On;
        QString verdict; // of the lstFiles row and the status line; empty for none
    };
    const Case cases[] = {
        {"enough", 8, true, "repaired"},
        {"short", 3, true, "beyond repair"},
        {"off", 8, false, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stem.toStdString());
        const QString name = c.stem + ".bin", dir = "par2-" + c.stem;
        const QByteArray data = randomBytes(100000, 40 + c.recoveryBlocks + c.par2On);
        const QStringList par2Files = par2Set(dir, name, data, c.recoveryBlocks);
        ASSERT_EQ(par2Files.size(), 2);

        const QByteArray stem = c.stem.toLatin1();
        postParts("\"" + name + "\" yEnc (%1/%2)", stem,
                  yencEncodeParts(data, {25000, 25000, 25000, 25000}, name.toLatin1()), {2});
        ASSERT_TRUE(t.writeFile(c.stem + ".nzb",
                                kHead + fileElement("\"" + name + "\" yEnc (1/4)", stem, 4) +
                                    postPar2(dir, par2Files, stem) + "</nzb>\n"));

        setOption(app, SetupOption::Par2, c.par2On);
        app.lstFiles.clear();
        OpenNzbFile(app, t.path(c.stem + ".nzb"));

        const QString row = "PAR2 " + c.stem + ".par2: " + c.verdict;
        if (c.verdict == "repaired") {
            EXPECT_EQ(file(name), data);
            EXPECT_EQ(texts(app.lstFiles), par2Files + QStringList({name, row}));
            EXPECT_FALSE(QFile::exists(app.DestDir + name + ".1")) << "no backup is left";
        } else if (!c.verdict.isEmpty()) {
            EXPECT_EQ(texts(app.lstFiles), par2Files + QStringList({row}));
            EXPECT_TRUE(QFile::exists(app.DestDir + name)) << "kept for a later repair";
        } else {
            EXPECT_EQ(texts(app.lstFiles), par2Files);
            EXPECT_FALSE(QFile::exists(app.DestDir + name));
        }
        EXPECT_EQ(app.statbar[2], c.verdict.isEmpty() ? name + ": 1 of 4 segments missing" : row);
    }
}

// A download of selected rows that brings ".par2" files checks the set: a
// post whose part came out damaged (CRC mismatch, so no file) is rebuilt.
TEST_F(Nzb, ASelectionWithPar2FilesRepairsThePostThatCameOutDamaged) {
    const QByteArray data = randomBytes(40000, 61);
    const QStringList par2Files = par2Set("par2-sel", "sel.bin", data, 10);
    ASSERT_EQ(par2Files.size(), 2);

    QList<QByteArray> parts = yencEncodeParts(data, {10000, 10000, 10000, 10000}, "sel.bin");
    // A data byte of part 3 changed in transit.
    const qsizetype at = parts[2].indexOf("\r\n", parts[2].indexOf("=ypart")) + 12;
    parts[2][at] = parts[2][at] == 'a' ? 'b' : 'a';
    postParts("\"sel.bin\" yEnc (%1/%2)", "sel", parts);
    postPar2("par2-sel", par2Files, "sel");
    cmdConnect(app, false);
    app.CurrentGroup = group;
    app.HeaderField = "Subject";
    ASSERT_EQ(cmdGetMessageHeaders(app, false), 0);
    for (int r = 0; r < app.lstMessages.count(); ++r)
        app.lstMessages.setSelected(r, true);

    lstMessages_DblClick(app);
    const QString row = "PAR2 sel.par2: repaired";
    EXPECT_EQ(file("sel.bin"), data);
    EXPECT_EQ(texts(app.lstFiles), par2Files + QStringList({"sel.bin", row}));
    EXPECT_EQ(app.statbar[2], row);
    EXPECT_FALSE(app.BatchRun);
}

// A connection dropped inside a segment: the segment is fetched again on a
// new connection, and only the whole one goes into the file.
TEST(NzbScripted, ASegmentCutOffByADroppedConnectionIsFetchedAgainWhole) {
    TestApp t;
    App& app = t.app;
    t.load();
    app.DestDir = t.path("download/");
    QDir().mkpath(app.DestDir);
    ScriptedNntpServer server;
    ASSERT_TRUE(server.listen());
    app.CurrentServer = server.address();
    const QByteArray data = randomBytes(40000, 51);
    const QList<QByteArray> parts = yencEncodeParts(data, {20000, 20000}, "cut.bin");
    auto article = [&](int p) {
        return "220 0 <s" + QByteArray::number(p) + "@x> article\r\nSubject: s\r\n\r\n" +
               parts[p - 1] + ".\r\n";
    };
    const QByteArray greeting = "200 ready\r\n";
    server.send(greeting).expect("MODE READER").send("200 reader\r\n");
    server.expect("ARTICLE <s1@x>").send(article(1).left(parts[0].size() / 2)).drop();
    server.send(greeting).expect("MODE READER").send("200 reader\r\n");
    server.expect("ARTICLE <s1@x>").send(article(1)).expect("ARTICLE <s2@x>").send(article(2));
    server.silence();

    NzbDocument nzb;
    nzb.files.append({"p", 0, "\"cut.bin\" yEnc (1/2)", {"g"}, {{1, 0, "s1@x"}, {2, 0, "s2@x"}}});
    EXPECT_EQ(cmdDownloadNzb(app, nzb), 1);
    EXPECT_EQ(t.readFile("download/cut.bin"), data);
    EXPECT_EQ(server.errors(), QStringList());
    EXPECT_EQ(server.connectionCount(), 2);
}

// What is wrong with each hostile or broken file, as the message says it.
TEST(NzbParse, RefusesHostileAndMalformedFilesWithTheirReason) {
    const QByteArray ns = "<nzb xmlns=\"http://www.newzbin.com/DTD/2003/nzb\">";
    const QByteArray seg = "<segments><segment bytes=\"10\" number=\"1\">a@b</segment></segments>";
    const QByteArray file = "<file subject=\"s\">" + seg + "</file>";
    QByteArray manySegments = ns + "<file subject=\"s\"><segments>";
    for (int i = 0; i <= NzbLimits::kMaxSegments; ++i)
        manySegments += "<segment number=\"1\">a@b</segment>";
    manySegments += "</segments></file></nzb>";
    QByteArray manyFiles = ns;
    for (int i = 0; i <= NzbLimits::kMaxFiles; ++i)
        manyFiles += file;
    manyFiles += "</nzb>";

    struct Case {
        const char* what;
        QByteArray input;
        const char* message; // contained in the error
    };
    const Case cases[] = {
        {"empty", "", "malformed XML"},
        {"not XML", "hello", "malformed XML"},
        {"cut short", ns + "<file subject=\"s\"><segments>", "malformed XML"},
        {"another document", "<html><body/></html>", "not an NZB file"},
        {"entity declared", "<!DOCTYPE nzb [<!ENTITY x \"xxxxxxxxxx\">]>" + ns + file + "</nzb>",
         "declares entities"},
        {"external entity",
         "<!DOCTYPE nzb [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + ns +
             "<file subject=\"&x;\">" + seg + "</file></nzb>",
         "declares entities"},
        {"undeclared entity",
         ns + "<file subject=\"s\"><segments><segment number=\"1\">&x;"
              "</segment></segments></file></nzb>",
         "Entity 'x' not declared"},
        {"unknown element", ns + "<file subject=\"s\"><script/>" + seg + "</file></nzb>",
         "unknown element <script> in <file>"},
        {"unknown namespace", "<nzb xmlns=\"urn:other\">" + file + "</nzb>", "unknown namespace"},
        {"no files", ns + "</nzb>", "lists no files"},
        {"file without segments", ns + "<file subject=\"s\"><segments/></file></nzb>",
         "has no segments"},
        {"segment number zero",
         ns + "<file subject=\"s\"><segments><segment number=\"0\">a@b</segment></segments>"
              "</file></nzb>",
         "segment number \"0\" out of range"},
        {"absurd size",
         ns + "<file subject=\"s\"><segments><segment bytes=\"99999999999999\" number=\"1\">a@b"
              "</segment></segments></file></nzb>",
         "segment size \"99999999999999\" out of range"},
        {"Message-ID with a line break",
         ns + "<file subject=\"s\"><segments><segment number=\"1\">a@b&#13;&#10;QUIT</segment>"
              "</segments></file></nzb>",
         "no usable Message-ID"},
        {"long subject",
         ns + "<file subject=\"" + QByteArray(5000, 'x') + "\">" + seg + "</file></nzb>",
         "attribute \"subject\" too long"},
        {"a million segments", manySegments, "more than 500000 segments"},
        {"too many files", manyFiles, "more than 10000 files"},
        {"too large", QByteArray(NzbLimits::kMaxFileBytes + 1, ' '), "larger than 64 MB"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const NzbParse parsed = parseNzb(c.input);
        EXPECT_FALSE(parsed.ok());
        EXPECT_TRUE(parsed.error.contains(QLatin1String(c.message))) << parsed.error.toStdString();
        EXPECT_TRUE(parsed.nzb.files.isEmpty());
    }
}

} // namespace
