#include "news/line_receiver.h"

#include "attachments/article_receiver.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "news/nntp_errors.h"
#include "shell/app.h"
#include "shell/layout.h"
#include "shell/waits.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// How often a long block lets the interface breathe. Running the queue for
// every one of a million lines would cost more than the lines themselves.
constexpr qint64 kPassIntervalMs = 40;
constexpr qsizetype kKeptBufferBytes = 1 << 20;

// The first blank of a line; inlined, as QByteArrayView::indexOf is not.
// The blank after a number is searched for where the digits stop, so one
// right there is found without a library call.
qsizetype blankIn(QByteArrayView line) {
    if (line.isEmpty()) return -1;
    if (line.front() == ' ') return 0;
    const void* at = std::memchr(line.data(), ' ', size_t(line.size()));
    return at ? static_cast<const char*>(at) - line.data() : -1;
}

QString lineText(QByteArrayView bytes) {
    return QString::fromUtf8(bytes);
}

// When the rows gathered so far go to the list and the queue runs once
// without waiting.
struct Pacer {
    QElapsedTimer clock;
    unsigned lines = 0;
    Pacer() { clock.start(); }
    bool due() {
        // Reading the clock for every line costs more than the line does.
        if (++lines % 64 != 0 || clock.elapsed() < kPassIntervalMs) return false;
        clock.restart();
        return true;
    }
};

// The staged rows join the list, and the count in hundreds is shown once a
// hundred more are in: at each commit, as nothing can show it sooner.
void commitWithProgress(App& app, ListModel& list, const char* what) {
    const int before = list.count();
    list.commitRows();
    const int rows = list.count();
    if (rows / 100 > before / 100)
        app.setStatus(2, u'~' + QString::number(rows / 100 * 100) + QLatin1String(what));
}

// Where the CR LF that ends the first line of p[0, n) is: the index of its
// LF, or -1; and in *blank the first blank of that line, or -1. Every line
// of a listing is searched for both, so one pass looks for the two, sixteen
// bytes at a time; a line holds few LFs, so the CR is checked behind each.
// crBefore: the byte before p[0] was a CR.
qsizetype lineEnd(const char* p, qsizetype n, bool crBefore, qsizetype* blank) {
    qsizetype firstBlank = -1;
    auto endsLine = [&](qsizetype at) { return at > 0 ? p[at - 1] == '\r' : crBefore; };
    auto found = [&](qsizetype at) {
        *blank = firstBlank < at ? firstBlank : -1;
        return at;
    };
    qsizetype i = 0;
#if defined(__SSE2__)
    const __m128i lf = _mm_set1_epi8('\n'), space = _mm_set1_epi8(' ');
    for (; i + 16 <= n; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        if (firstBlank < 0) {
            const unsigned blanks = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(v, space)));
            if (blanks) firstBlank = i + std::countr_zero(blanks);
        }
        for (unsigned lfs = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(v, lf))); lfs;
             lfs &= lfs - 1) {
            const qsizetype at = i + std::countr_zero(lfs);
            if (endsLine(at)) return found(at);
        }
    }
#endif
    for (; i < n; ++i) {
        if (p[i] == ' ' && firstBlank < 0) firstBlank = i;
        if (p[i] == '\n' && endsLine(i)) return found(i);
    }
    *blank = firstBlank;
    return -1;
}

// Hands each complete line of the block to handle(line, first blank or -1),
// read in place;
// only a line still waiting for its end is kept, in LineBuffer, and finished
// from the next block. flush() runs before every pass of the queue and at
// the end. Returns false when the line waiting for its end is past the limit.
template <typename Handle, typename Flush>
bool eachCompleteLine(App& app, const QByteArray& block, Handle handle, Flush flush,
                      bool stopOnRequest) {
    // Lines a stop left behind are read again, with the block behind them.
    QByteArray data =
        app.linesLeftByStop ? std::exchange(app.LineBuffer, QByteArray()) + block : block;
    const char* const p = data.constData();
    const qsizetype n = data.size();
    qsizetype from = 0;
    bool stopped = false;
    auto keepRest = [&] {
        app.LineBuffer.append(p + from, n - from);
        from = n;
    };
    qsizetype blank = -1;
    if (!app.LineBuffer.isEmpty()) {
        const qsizetype lf = lineEnd(p, n, app.LineBuffer.endsWith('\r'), &blank);
        if (lf < 0) {
            keepRest();
        } else if (stopOnRequest && app.StopRequested) {
            stopped = true;
            keepRest();
        } else {
            app.LineBuffer.append(p, lf + 1);
            const QByteArrayView line = QByteArrayView(app.LineBuffer).chopped(2);
            handle(line, blankIn(line));
            app.LineBuffer.resize(0);
            from = lf + 1;
        }
    }
    Pacer pacer;
    while (from < n) {
        if (stopOnRequest && app.StopRequested) {
            stopped = true;
            keepRest();
            break;
        }
        // p[from - 1], if any, is the LF that ended the line before.
        const qsizetype lf = lineEnd(p + from, n - from, false, &blank);
        if (lf < 0) {
            keepRest();
            break;
        }
        handle(QByteArrayView(p + from, lf - 1), blank);
        from += lf + 1;
        if (pacer.due()) {
            flush();
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            // A failure or the end of the program in that pass ends the transfer.
            if (app.LastError != 0 || app.ending) {
                app.LineBuffer.clear();
                app.linesLeftByStop = false;
                return true;
            }
        }
    }
    // A line that came in a burst of blocks gives its room back once used.
    if (app.LineBuffer.isEmpty() && app.LineBuffer.capacity() > kKeptBufferBytes)
        app.LineBuffer = QByteArray();
    flush();
    app.linesLeftByStop = stopped;
    return stopped || app.LineBuffer.size() <= kMaxLineBytes;
}

void receiveGroupLines(App& app, const QByteArray& block) {
    ListModel& list = app.lstGroups;
    bool tooMany = false;
    int staged = 0;
    qint64 last = 0, first = 0;
    auto flush = [&] {
        commitWithProgress(app, list, " Groups So Far");
        staged = 0;
    };
    auto handle = [&](QByteArrayView line, qsizetype s1) {
        // name, last, first, flags; a short line keeps last and first of the line before.
        const QByteArrayView nameBytes = s1 < 0 ? line : line.first(s1);
        if (s1 >= 0) {
            const QByteArrayView rest = line.sliced(s1 + 1);
            // The second blank is searched for from where the digits stop.
            qsizetype digits = 0;
            last = leadingNumber(rest, &digits);
            const qsizetype s2 = blankIn(rest.sliced(digits));
            if (s2 >= 0) first = leadingNumber(rest.sliced(digits + s2 + 1));
        }
        if (first >= 0 && last > first && !app.GroupSeen) {
            app.GroupsBeforeLive = list.count() + staged;
            app.GroupSeen = true;
        }
        if (line.isEmpty() || line.startsWith('.') || tooMany) return;
        if (++app.replyRows > app.MaxGroupRows) {
            tooMany = true;
            return;
        }
        const GroupRowParts parts = groupRowParts(last, first);
        list.stageRow(parts.head, nameBytes, parts.tailView());
        ++staged;
    };
    if (!eachCompleteLine(app, block, handle, flush, true))
        failLongLine(app);
    else if (tooMany)
        failTransfer(app, QStringLiteral("more groups than a server carries"),
                     QStringLiteral("Server Error: Too Many Groups"));
}

void receiveHeaderLines(App& app, const QByteArray& block) {
    // Rows go from the received bytes into the list without a string each.
    ListModel& list = app.lstMessages;
    bool tooMany = false;
    auto flush = [&] { commitWithProgress(app, list, " Messages So Far"); };
    auto handle = [&](QByteArrayView line, qsizetype blank) {
        if (blank < 0) return;
        const qint64 number = leadingNumber(line);
        if (number < app.headerRangeFirst || number > app.headerRangeLast) return;
        if (number < 1 || line.startsWith('.') || tooMany) return;
        if (++app.replyRows > app.headerRangeLast - app.headerRangeFirst + 1) {
            tooMany = true;
            return;
        }
        if (!(app.RemoveSpam && IsJunkSubject(lineText(line)))) {
            if (app.ShowMNumbers)
                list.stageRow(line, number, u"Subject", false);
            else
                list.stageRow(line.sliced(blank + 1), number, u" Subject", true);
        }
    };
    if (!eachCompleteLine(app, block, handle, flush, false))
        failLongLine(app);
    else if (tooMany)
        failTransfer(app, QStringLiteral("more header lines than articles asked for"),
                     QStringLiteral("Server Error: More Headers Than Articles"));
}

void dataPath(App& app, const QByteArray& data) {
    app.TickCount = 0;
    switch (app.TransferMode) {
    case 1:
        receiveGroupLines(app, data);
        break;
    case 2:
        ArticleData(app, data);
        break;
    case 3:
        if (app.HeaderField == QLatin1String("Path") || app.HeaderField == QLatin1String("From")) {
            if (app.harvestData) app.harvestData(data);
        } else {
            receiveHeaderLines(app, data);
        }
        break;
    default:
        break;
    }
}

void endPath(App& app) {
    const bool clearDetail = app.LastError == 0 && app.SweepScope == -1;
    switch (app.TransferMode) {
    case 1:
        app.GroupsDone = true;
        if (clearDetail) app.setStatus(2, QString());
        if (app.ScanMode.isEmpty()) app.lstGroups.setRedraw(true);
        UpdateListTitles(app, QStringLiteral("2"));
        break;
    case 2:
        ArticleEnd(app);
        break;
    case 3:
        app.HeadersDone = true;
        if (clearDetail) app.setStatus(2, QString());
        app.lstMessages.setRedraw(true);
        if ((app.HeaderField == QLatin1String("Path") ||
             app.HeaderField == QLatin1String("From")) &&
            app.SweepScope == -1) {
            app.setStatus(2, QString());
            if (app.HeaderField == QLatin1String("From"))
                UpdateListTitles(app, QStringLiteral("9"));
        }
        break;
    default:
        break;
    }
}

} // namespace

void failTransfer(App& app, const QString& detail, const QString& status) {
    app.LineBuffer.clear();
    app.linesLeftByStop = false;
    app.MessageText.clear();
    app.NNTP->cancel();
    NNTP_Error(app, NntpError::ProtocolViolation,
               NntpError::describe(NntpError::ProtocolViolation, detail));
    app.setStatus(2, status);
}

void failLongLine(App& app) {
    failTransfer(app, QStringLiteral("a line longer than 1 MiB"),
                 QStringLiteral("Server Error: Line Too Long"));
}

void NNTP_Document(App& app, int state, const QByteArray& data) {
    if (app.TransferMode == 1 || app.TransferMode == 3) app.TickCount = 0;
    if (app.LastError != 0) return;
    switch (state) {
    case 1:
        app.LineBuffer.clear();
        app.linesLeftByStop = false;
        app.replyRows = 0;
        break;
    case 3:
        if (app.SkipArticle) return;
        dataPath(app, data);
        break;
    case 4:
        app.LastError = -1;
        break;
    case 5:
        endPath(app);
        break;
    default:
        break;
    }
    // A fast server sends an article in hundreds of blocks a second; the
    // interface needs a pass only every few dozen milliseconds. Anything
    // else (an end, a failure) gets its pass at once.
    if (state == 3 && app.TransferMode == 2 && app.LastError == 0)
        LetEventsRun(app);
    else
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}
