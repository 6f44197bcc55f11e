#include "news/header_ranges.h"

#include "news/connection.h"
#include "news/nntp_control.h"
#include "shell/app.h"

#include <algorithm>
#include <limits>

namespace {

// The first article to list of first..last: the newest `newest` of them
// when newest > 0.
qint64 firstToList(qint64 first, qint64 last, qint64 newest) {
    if (newest <= 0 || last - first < newest) return first;
    return last - newest + 1;
}

// The last article of the chunk that starts at from, never past last.
qint64 chunkEnd(qint64 from, qint64 last, qint64 chunk) {
    chunk = std::max<qint64>(chunk, 1);
    return last - from < chunk ? last : from + chunk - 1;
}

enum class Outcome { Done, Failed, Silent, Stopped };

// Runs the queue until done() holds, an error came, Stop was pressed or the
// server stayed silent past twice the timeout (every block resets the clock).
template <typename Done> Outcome await(App& app, Done done) {
    for (;;) {
        if (done()) return Outcome::Done;
        if (app.LastError != 0) return Outcome::Failed;
        if (app.StopRequested || app.ending) return Outcome::Stopped;
        if (app.TickCount > 2 * app.Timeout) return Outcome::Silent;
        app.DoEvents();
    }
}

Outcome selectGroup(App& app, const QString& group) {
    app.groupSelectedSeen = false;
    app.TickCount = 0;
    app.NNTP->selectGroup(group);
    return await(app, [&] { return app.groupSelectedSeen; });
}

// A chunk left unanswered may still come down the wire; only a connection
// of its own, with the group selected again, can ask for it afresh.
Outcome reopen(App& app, const QString& group) {
    app.NNTP->cancel();
    app.LastError = 0;
    app.TickCount = 0;
    app.NNTP->connectTo(app.CurrentServer);
    const Outcome o = await(app, [&] { return connectionOpen(app) && !app.NNTP->busy(); });
    return o == Outcome::Done ? selectGroup(app, group) : o;
}

Outcome requestChunk(App& app, qint64 from, qint64 to) {
    app.HeadersDone = false;
    app.LastError = 0;
    app.TickCount = 0;
    // The end of each chunk lets the list draw; the rows of the next come faster unseen.
    app.lstMessages.setRedraw(false);
    app.headerRangeFirst = from;
    app.headerRangeLast = to;
    app.replyRows = 0;
    app.NNTP->getHeaders(app.HeaderField, QString::number(from), QString::number(to));
    return await(app, [&] { return app.HeadersDone; });
}

QString rangeText(qint64 from, qint64 to) {
    return QString::number(from) + u'-' + QString::number(to);
}

// One chunk, asked twice at most. Rows of an attempt that failed are taken
// back before the second, so none is listed twice.
Outcome listChunk(App& app, const QString& group, qint64 from, qint64 to) {
    for (int attempt = 1;; ++attempt) {
        const int rowsBefore = app.lstMessages.count();
        const Outcome o = requestChunk(app, from, to);
        if (o == Outcome::Done) return o;
        if (o == Outcome::Stopped) return o;
        const QString reason = o == Outcome::Silent ? QStringLiteral("No Answer") : app.statbar[2];
        if (o == Outcome::Silent || app.NNTP->busy()) app.NNTP->cancel();
        Outcome again = Outcome::Failed;
        if (attempt == 1) {
            app.LastError = 0;
            again = connectionOpen(app) ? Outcome::Done : reopen(app, group);
            if (again == Outcome::Done) {
                while (app.lstMessages.count() > rowsBefore)
                    app.lstMessages.removeItem(app.lstMessages.count() - 1);
                continue;
            }
            if (again == Outcome::Stopped) return again;
        }
        if (app.NNTP->busy()) app.NNTP->cancel();
        if (app.LastError == 0) app.LastError = -1;
        app.setStatus(2, QStringLiteral("Headers ") + rangeText(from, to) +
                             QStringLiteral(" Not Received: ") + reason);
        return o;
    }
}

} // namespace

bool listGroupHeaders(App& app, const QString& group) {
    app.LastError = 0;
    app.HeadersDone = false;
    Outcome o = selectGroup(app, group);
    if (o == Outcome::Silent) app.LastError = -1;
    if (o != Outcome::Done) {
        if (app.NNTP->busy()) app.NNTP->cancel();
        return false;
    }
    const qint64 last = app.selectedLast;
    const qint64 first = firstToList(app.selectedFirst, last, app.NewestHeaders);
    // No article lies between them: an empty group, with nothing to ask.
    // A request for "1-0" or "-5--1" would only be refused.
    if (last < first) {
        app.HeadersDone = true;
        return true;
    }
    const double span = std::max(double(last) - double(first) + 1, 1.0);
    // A run over many groups or servers (Busy) shows its own progress.
    const bool showProgress = !app.Busy;
    const bool redraw = app.lstMessages.redraw();
    if (showProgress) app.setProgress(0, 100, 0);
    app.listingInChunks = true;
    for (qint64 from = first;;) {
        if (app.StopRequested || app.ending) {
            o = Outcome::Stopped;
            break;
        }
        const qint64 to = chunkEnd(from, last, app.HeaderChunk);
        o = listChunk(app, group, from, to);
        if (o != Outcome::Done) break;
        if (showProgress)
            app.setProgressValue(
                int(std::clamp(100 * (double(to) - double(first) + 1) / span, 0.0, 100.0)));
        if (to == last) break;
        from = to + 1;
    }
    app.listingInChunks = false;
    app.headerRangeFirst = 1;
    app.headerRangeLast = std::numeric_limits<qint64>::max();
    app.lstMessages.setRedraw(redraw);
    // Given up or stopped inside a chunk: the request goes with its connection.
    if (app.NNTP->busy()) app.NNTP->cancel();
    // Done for the whole listing, not for the last chunk alone.
    app.HeadersDone = o == Outcome::Done;
    return app.HeadersDone;
}
