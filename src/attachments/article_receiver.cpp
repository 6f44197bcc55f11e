#include "attachments/article_receiver.h"

#include "attachments/decoded_files.h"
#include "attachments/decoder.h"
#include "attachments/part_feed.h"
#include "news/line_receiver.h"
#include "news/nntp_stream.h"
#include "shell/app.h"
#include "shell/waits.h"

#include <QFile>
#include <QStringDecoder>
#include <algorithm>

namespace {

const QLatin1String kBegin("BEGIN");
const QLatin1String kYbegin("=ybegin ");
const QLatin1String kYbeginLine("\n=ybegin ");
// A begin line is short. Only this much of one is read, so a line that never
// ends costs the same small search with every block; one longer than this
// has no usable name.
constexpr qsizetype kMaxBeginLine = 4096;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

struct BeginLine {
    qsizetype at = -1; // where it starts in MessageText, -1 none
    QLatin1StringView name;
};

// The uuencode begin line: the first "BEGIN" in any case whose sixth
// character on is a digit. Each "BEGIN" that fails moves the search seven
// characters on from its start. Only the text that arrived since the last
// block is new; the search resumes at the first place whose outcome could
// still change, so the result is the same as a search of the whole text.
BeginLine findUuBegin(App& app) {
    const QLatin1StringView t(app.MessageText);
    const qsizetype n = t.size();
    qsizetype from = app.beginScanFrom;
    for (;;) {
        const qsizetype p = t.indexOf(kBegin, from, Qt::CaseInsensitive);
        if (p < 0) {
            // A "BEGIN" may still start in the last four characters.
            app.beginScanFrom = std::max(from, n - 4);
            return {};
        }
        app.beginScanFrom = p;
        if (p + 6 >= n) return {}; // the character that decides hasn't come
        if (isDigit(t[p + 6].toLatin1())) {
            // The name: behind the first blank from the mode digits on, up to a CR.
            const QLatin1StringView head = t.mid(p + 6, kMaxBeginLine);
            const QLatin1StringView name = head.mid(head.indexOf(u' ') + 1);
            const qsizetype cr = name.indexOf(u'\r');
            if (cr >= 0) return {p, name.left(cr)};
            return {p, head.size() < kMaxBeginLine ? name : QLatin1StringView()};
        }
        from = p + 7;
    }
}

// A yEnc begin line: a line starting "=ybegin " whose "name=" ends it. It is
// taken once the whole line is there, since the name runs to the line's end.
BeginLine findYencBegin(App& app) {
    const QLatin1StringView t(app.MessageText);
    const qsizetype n = t.size();
    qsizetype from = app.ybeginScanFrom;
    for (;;) {
        qsizetype k = -1;
        if (from == 0 && t.startsWith(kYbegin)) {
            k = 0;
        } else {
            const qsizetype nl = t.indexOf(kYbeginLine, std::max<qsizetype>(from - 1, 0));
            if (nl >= 0) k = nl + 1;
        }
        if (k < 0) {
            app.ybeginScanFrom = std::max(from, n - qsizetype(kYbegin.size()) + 1);
            return {};
        }
        app.ybeginScanFrom = k;
        qsizetype end = k;
        const qsizetype limit = std::min(n, k + kMaxBeginLine);
        while (end < limit && t[end].toLatin1() != '\r' && t[end].toLatin1() != '\n')
            ++end;
        if (end == n) return {};
        if (end == limit) { // no begin line, however it goes on
            from = end;
            continue;
        }
        const QLatin1StringView line = t.mid(k, end - k);
        const qsizetype name = line.indexOf(QLatin1String(" name="));
        if (name >= 0) return {k, line.mid(name + 6)};
        from = end;
    }
}

// The begin-line search of a block: the earlier of the two wins.
void findBeginLine(App& app) {
    const qsizetype n = app.MessageText.size();
    if (app.beginScanFrom > n) app.beginScanFrom = 0;
    if (app.ybeginScanFrom > n) app.ybeginScanFrom = 0;
    const BeginLine uu = findUuBegin(app);
    const BeginLine y = findYencBegin(app);
    const BeginLine& found = uu.at < 0 || (y.at >= 0 && y.at < uu.at) ? y : uu;
    if (found.at < 0) return;

    app.AttachName = nameFromArticle(found.name);
    CleanAttachName(app);
    // An unusable name leaves the search where it is: the next block finds
    // the same line again, with more of its name perhaps.
    if (app.AttachName.isEmpty()) return;
    app.setStatus(2, app.AttachName);
    if (QFile::exists(app.DestDir + app.AttachName)) {
        app.setStatus(2, QStringLiteral("Duplicate File"));
        app.MessageDone = true;
        app.SkipArticle = true;
    }
}

} // namespace

QString nameFromArticle(QStringView bytes) {
    const QByteArray raw = bytes.toLatin1();
    return nameFromArticle(QLatin1StringView(raw));
}

QString nameFromArticle(QLatin1StringView bytes) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString name = utf8.decode(QByteArrayView(bytes.data(), bytes.size()));
    return utf8.hasError() ? QString(bytes) : name;
}

namespace {

// The part counter shows from the article's first block; it stays the same
// through the rest.
void showPartCounter(App& app) {
    app.setStatus(3, u'[' + QString::number(app.PartDone) + u'/' + QString::number(app.PartCount) +
                         u']');
    app.setProgress(0, app.PartCount, app.PartDone);
}

// A part after the first of a post being decoded: each block goes to the
// decoder as it comes, without a copy, and the decoder works on it while the
// rest arrives. Nothing else reads such a part, so it is not gathered.
void streamBlock(App& app, const QByteArray& block) {
    PartFeed* const feed = app.MDEC->feed();
    if (!feed) return;
    if (app.articleBytes == 0) showPartCounter(app);
    app.articleBytes += block.size();
    if (app.articleBytes > kMaxArticleBytes) {
        failTransfer(app, QStringLiteral("an article longer than 16 MiB"),
                     QStringLiteral("Server Error: Article Too Large"));
        return;
    }
    feed->push(QByteArray(block));
    // A decoder that falls behind (a slow disk) holds the download up
    // rather than letting what the feed holds grow. Once held up, the
    // download goes on when the decoder has read a block's worth, not at
    // each read it makes.
    if (feed->held() <= kStreamHeldBytes) return;
    while (!feed->waitHeldAtMost(kStreamResumeBytes, 20) && !app.StopRequested && !app.ending)
        LetEventsRun(app);
}

} // namespace

void ArticleData(App& app, const QByteArray& block) {
    if (app.streamArticle) {
        streamBlock(app, block);
        return;
    }
    const qsizetype before = app.MessageText.size();
    app.MessageText.append(block);
    if (app.articleLineStart > before) app.articleLineStart = 0; // a new article
    const qsizetype lf = block.lastIndexOf('\n');
    if (lf >= 0) app.articleLineStart = before + lf + 1;
    if (app.MessageText.size() - app.articleLineStart > kMaxLineBytes) {
        failLongLine(app);
        return;
    }
    if (app.MessageText.size() > kMaxArticleBytes) {
        failTransfer(app, QStringLiteral("an article longer than 16 MiB"),
                     QStringLiteral("Server Error: Article Too Large"));
        return;
    }
    if (app.HeaderField != QLatin1String("Subject")) return;
    if (before == 0) showPartCounter(app);
    if (app.AttachName.isEmpty() && app.SweepScope == -1) findBeginLine(app);
}

void ArticleEnd(App& app) {
    if (app.harvestArticle) app.harvestArticle();
    app.MessageDone = true;
}
