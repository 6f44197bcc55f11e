// The article branch of the line receiver: the begin-line search over the
// growing article, the duplicate test, and the names found in articles.
#include "attachments/article_receiver.h"
#include "attachments/decoded_files.h"
#include "fixtures/test_app.h"
#include "news/line_receiver.h"

#include <QDir>
#include <QRegularExpression>
#include <gtest/gtest.h>
#include <random>

namespace {

class ArticleReceiver : public ::testing::Test {
protected:
    void SetUp() override {
        app.DestDir = t.path("download/");
        QDir().mkpath(app.DestDir);
        app.TransferMode = 2;
        app.HeaderField = "Subject";
        app.SweepScope = -1;
    }
    void newArticle() {
        app.MessageText.clear();
        app.AttachName.clear();
        app.beginScanFrom = app.ybeginScanFrom = 0;
        app.MessageDone = app.SkipArticle = false;
    }
    void data(const QByteArray& block) { NNTP_Document(app, 3, block); }

    TestApp t;
    App& app = t.app;
};

QString cleaned(const QString& name) {
    TestApp scratch;
    scratch.app.AttachName = name;
    CleanAttachName(scratch.app);
    return scratch.app.AttachName;
}

// The search over the whole text at once. uuencode: the first "BEGIN" in any
// case whose seventh character is a digit, where one that fails moves the
// search seven characters on, as the matches of "BEGIN.." do. yEnc: the first
// whole line that starts "=ybegin " and holds " name=". The earlier wins.
QString nameInWholeText(const QString& text) {
    static const QRegularExpression uu("BEGIN(?s:..)", QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression y("(?<![^\n])=ybegin(?= )[^\r\n]*? name=([^\r\n]*)[\r\n]");
    qsizetype uuAt = -1;
    QString uuName;
    for (const QRegularExpressionMatch& m : uu.globalMatch(text)) {
        if (!m.captured().back().isDigit()) continue;
        uuAt = m.capturedStart();
        uuName = text.mid(uuAt + 6);
        uuName = uuName.mid(uuName.indexOf(' ') + 1).section('\r', 0, 0);
        break;
    }
    const QRegularExpressionMatch ym = y.match(text);
    if (ym.hasMatch() && (uuAt < 0 || ym.capturedStart() < uuAt)) return cleaned(ym.captured(1));
    return uuAt < 0 ? QString() : cleaned(uuName);
}

TEST_F(ArticleReceiver, FindsTheSameBeginLineHoweverTheBlocksAreCut) {
    const QList<QByteArray> pieces = {"begin",
                                      "BEGIN",
                                      "Begin ",
                                      "beginning",
                                      "begin 7",
                                      "begin 644 ",
                                      "begin 644 a.bin\r\n",
                                      "BEGINBEGIN 5 q\r\n",
                                      " ",
                                      "x",
                                      "\r\n",
                                      "=ybegin ",
                                      " name=",
                                      "\r\n=ybegin line=9 size=9\r\n",
                                      "\r\n=ybegin part=1 total=2 line=128 size=9 name=y b.bin\r\n",
                                      "begin 644 \"q|a*b/c.jpg\"\r\n",
                                      "begin 600 " + QByteArray(121, 'n') + "\r\n"};
    std::mt19937 gen(7);
    int named = 0;
    for (int round = 0; round < 400; ++round) {
        QByteArray article = "Subject: test\r\n\r\n";
        for (int i = 0, n = 1 + int(gen() % 12); i < n; ++i)
            article += pieces[gen() % pieces.size()];
        newArticle();
        for (qsizetype at = 0; at < article.size();) {
            const qsizetype len = 1 + qsizetype(gen() % 9);
            const bool searching = app.AttachName.isEmpty();
            data(article.mid(at, len));
            at += len;
            if (searching) {
                ASSERT_EQ(app.AttachName, nameInWholeText(QString::fromLatin1(article.left(at))))
                    << article.toStdString() << " cut at " << at;
            }
        }
        named += !app.AttachName.isEmpty();
    }
    EXPECT_GT(named, 100);
    EXPECT_LT(named, 400);
}

TEST_F(ArticleReceiver, NamesFromBeginLines) {
    const QList<QPair<QByteArray, QString>> cases = {
        {"the beginning of it\r\nbegin 644 pic.jpg\r\nM", "pic.jpg"},
        {"begin 644 ../../etc/evil\r\n", ".._.._etc_evil"},
        {"begin 644 \"a|b|c.jpg\"\r\n", "a-b|c.jpg"},
        {"=ybegin part=1 total=3 line=128 size=5 name=my file.bin\r\n", "my file.bin"},
        {"begin 644 caf\xc3\xa9.jpg\r\n", QString::fromUtf8("café.jpg")},
        {"begin 644 caf\xe9.jpg\r\n", QString::fromLatin1("caf\xe9.jpg")},
        {"begin 644 pa", "pa"}, // a name cut short by the block is taken as it came
        // Names stay inside the download directory, or are no names.
        {"begin 644 pics/a*b.jpg\r\n", "pics_a_b.jpg"},
        {"begin 644 ..\\..\\x.jpg\r\n", ".._.._x.jpg"},
        {"begin 644 \"\r\n", ""},
        {"begin 644 " + QByteArray(120, 'a') + "\r\n", QString(120, 'a')},
        {"begin 644 " + QByteArray(121, 'a') + "\r\n", ""},
        // The name the file will be written under: the last path element,
        // trimmed, without control characters or what a bare LF leaves.
        {"begin 644 C:pic.jpg\r\n", "pic.jpg"},
        {"=ybegin line=128 size=5 name=Show: ep1.rar  \t\r\n", "ep1.rar"},
        {"begin 644 a.bin\nM86)C\r\n", "a.bin"},
        {"begin 644 a\x01\x7f"
         "b.bin\r\n",
         "ab.bin"},
        {"begin 644 :\r\n", ""},
        // Under 120 characters but over 255 bytes: cut to fit, the extension kept.
        {"begin 644 " + QByteArray(100, 'x').replace("x", "\xe2\x82\xac") + ".jpg\r\n",
         QString(83, QChar(0x20ac)) + ".jpg"},
    };
    for (const auto& [text, name] : cases) {
        SCOPED_TRACE(text.toStdString());
        newArticle();
        app.setStatus(2, QString());
        data(text);
        EXPECT_EQ(app.AttachName, name);
        EXPECT_EQ(app.statbar[2], name);
    }
}

TEST_F(ArticleReceiver, AnExistingFileEndsTheArticleAndDropsTheRest) {
    ASSERT_TRUE(t.writeFile("download/there.jpg", "old"));
    app.PartDone = 2;
    app.PartCount = 5;
    // The test sees the name the file would be written under.
    for (const char* line :
         {"begin 644 C:there.jpg\r\n", "=ybegin size=3 name=x: there.jpg \r\n"}) {
        newArticle();
        data(QByteArray("Subject: x\r\n\r\n") + line);
        EXPECT_EQ(app.statbar[2], "Duplicate File") << line;
        EXPECT_TRUE(app.MessageDone) << line;
    }
    newArticle();
    data("Subject: x\r\n\r\nbegin 644 there.jpg\r\n");
    EXPECT_EQ(app.statbar[2], "Duplicate File");
    EXPECT_EQ(app.statbar[3], "[2/5]");
    EXPECT_EQ(app.progMax, 5);
    EXPECT_EQ(app.progValue, 2);
    EXPECT_TRUE(app.MessageDone);
    const QByteArray before = app.MessageText;
    data("M86)C\r\n");
    EXPECT_EQ(app.MessageText, before);
    EXPECT_EQ(t.readFile("download/there.jpg"), "old");
}

// Lines of any number add up to any size; one line past the limit fails the
// article with its reason, and nothing more of it is kept.
TEST_F(ArticleReceiver, OneLinePastTheLimitFailsTheArticle) {
    const QByteArray lines = QByteArray("M").append(60, 'x').append("\r\n").repeated(1100);
    for (int i = 0; i < 20; ++i)
        data(lines);
    EXPECT_EQ(app.LastError, 0);
    EXPECT_GT(app.MessageText.size(), 1 << 20);

    newArticle();
    data("Subject: x\r\n\r\n=ybegin line=128 size=9 name=");
    const QByteArray block(64 * 1024, 'n');
    for (int i = 0; i < 17; ++i)
        data(block);
    EXPECT_EQ(app.LastError, 1010);
    EXPECT_EQ(app.statbar[2], "Server Error: Line Too Long");
    EXPECT_EQ(app.AttachName, "");
    EXPECT_TRUE(app.MessageText.isEmpty());
    data("\r\nbegin 644 late.jpg\r\n");
    EXPECT_TRUE(app.MessageText.isEmpty());
}

} // namespace
