#include "nzb/nzb_save.h"

#include "attachments/collation.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "nzb/nzb_file.h"
#include "shell/app.h"
#include "support/atomic_file.h"
#include "support/routines.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QMetaObject>
#include <QSet>
#include <algorithm>

namespace {

// Article numbers closer than this are asked for in one range: a few
// unwanted lines cost less than another command.
constexpr qint64 kRangeGap = 100;

// ":bytes" is the article's size as the server counts it; servers that
// keep an overview give it from there, as they do the others.
const char* const kFields[] = {"Subject", "From", "Date", "Message-ID", ":bytes"};
enum Field { Subject, From, Date, MessageId, Bytes, FieldCount };

using FieldValues = QHash<qint64, QString>;

// One header field for a range of articles, "number value" per line, read
// off the news control's events; the line receiver leaves them alone while
// TransferMode is 0. False when the request failed or timed out.
bool readField(App& app, const char* field, qint64 first, qint64 last, FieldValues& values) {
    QByteArray data;
    bool done = false, failed = false;
    NntpControl* c = app.NNTP.get();
    const auto doc =
        QObject::connect(c, &NntpControl::document, &app, [&](int state, const QByteArray& block) {
            app.TickCount = 0;
            if (state == NntpControl::DocumentData) data += block;
            if (state == NntpControl::DocumentEnd) done = true;
            if (state == NntpControl::DocumentError) failed = true;
        });
    const auto err =
        QObject::connect(c, &NntpControl::error, &app, [&](int, const QString&) { failed = true; });
    app.LastError = 0;
    c->getHeaders(QString::fromLatin1(field), QString::number(first), QString::number(last));
    app.TickCount = 0;
    while (!done && !failed && !app.StopRequested && !app.ending && app.TickCount < app.Timeout)
        app.DoEvents();
    QObject::disconnect(doc);
    QObject::disconnect(err);
    if (!done) {
        if (c->busy()) c->cancel();
        return false;
    }
    for (const QByteArray& line : data.split('\n')) {
        const qsizetype blank = line.indexOf(' ');
        if (blank < 1) continue;
        bool ok = false;
        const qint64 number = line.left(blank).toLongLong(&ok);
        if (ok) values.insert(number, QString::fromUtf8(line.mid(blank + 1).trimmed()));
    }
    return true;
}

struct Post {
    QList<qint64> parts; // article numbers, part 1 first
};

// The posts of the selected rows, each once, as the download collates them.
// Collation tags the rows it takes; the tags are put back, since nothing was
// downloaded.
QList<Post> selectedPosts(App& app) {
    ListModel& list = app.lstMessages;
    QStringList tags;
    for (int r = 0; r < list.count(); ++r)
        tags << list.tag(r);
    QList<Post> posts;
    QSet<qint64> seen;
    for (qint32 row = 0; row < list.count() && posts.size() < NzbLimits::kMaxFiles; ++row) {
        if (!list.selected(row)) continue;
        QString title = app.ShowMNumbers
                            ? list.text(row)
                            : QString::number(list.number(row)) + u' ' + list.text(row);
        app.PartIndex = 0;
        qint32 current = row;
        if (!msgMultipart(app, title, current) && app.PartIndex != -1) {
            app.PartIndex = 1;
            app.PartNumbers[1] = list.number(row);
        }
        if (app.PartIndex < 1) continue;
        Post post;
        for (qint32 p = 1; p <= std::min(app.PartIndex, qint32(kMaxParts)); ++p)
            post.parts << app.PartNumbers[p];
        if (seen.contains(post.parts.first())) continue;
        seen.insert(post.parts.first());
        posts << post;
    }
    for (int r = 0; r < list.count() && r < tags.size(); ++r)
        list.setTag(r, tags[r]);
    return posts;
}

// Article numbers as ranges that leave out long gaps.
QList<QPair<qint64, qint64>> rangesOf(QList<qint64> numbers) {
    std::sort(numbers.begin(), numbers.end());
    QList<QPair<qint64, qint64>> ranges;
    for (qint64 n : numbers) {
        if (!ranges.isEmpty() && n - ranges.last().second <= kRangeGap)
            ranges.last().second = std::max(ranges.last().second, n);
        else
            ranges.append({n, n});
    }
    return ranges;
}

QString stripBrackets(QString id) {
    id = id.trimmed();
    if (id.startsWith(u'<') && id.endsWith(u'>')) id = id.mid(1, id.size() - 2);
    return id;
}

} // namespace

NzbDocument nzbOfSelection(App& app) {
    NzbDocument nzb;
    if (!connectionOpen(app)) return nzb;
    const QList<Post> posts = selectedPosts(app);
    QList<qint64> numbers;
    for (const Post& p : posts)
        numbers += p.parts;
    FieldValues values[FieldCount];
    const qint32 mode = app.TransferMode;
    app.TransferMode = 0;
    bool ok = true;
    for (const auto& [first, last] : rangesOf(numbers))
        for (int f = 0; f < FieldCount && ok; ++f)
            ok = readField(app, kFields[f], first, last, values[f]);
    app.TransferMode = mode;
    if (!ok) return nzb;

    for (const Post& post : posts) {
        NzbFile file;
        const qint64 first = post.parts.first();
        file.subject = values[Subject].value(first);
        file.poster = values[From].value(first);
        // "Wed, 25 Nov 2026 06:22:39 -0000 (UTC)": the comment isn't RFC 2822 to Qt.
        QString dateText = values[Date].value(first);
        if (dateText.endsWith(u')') && dateText.lastIndexOf(u'(') > 0)
            dateText.truncate(dateText.lastIndexOf(u'('));
        const QDateTime date = QDateTime::fromString(dateText.trimmed(), Qt::RFC2822Date);
        file.date = date.isValid() ? date.toSecsSinceEpoch() : 0;
        file.groups << app.CurrentGroup;
        for (int i = 0; i < post.parts.size(); ++i) {
            const QString id = stripBrackets(values[MessageId].value(post.parts[i]));
            if (id.isEmpty()) break;
            file.segments.append(
                {i + 1, values[Bytes].value(post.parts[i]).toLongLong(), id.toLatin1()});
        }
        // A part the server no longer lists leaves the post out.
        if (file.segments.size() == post.parts.size()) nzb.files.append(std::move(file));
    }
    return nzb;
}

void menuSaveNzb_Click(App& app) {
    if (app.BatchRun || app.Busy) {
        app.setStatus(2, QStringLiteral("Please wait until current transaction is finished"));
        return;
    }
    if (!HasSelection(app, app.lstMessages, true)) return;
    QString path = app.prompter->saveFileName(QStringLiteral("Save Selected as NZB"),
                                              QStringLiteral("NZB (*.nzb)"), app.DestDir);
    if (path.isEmpty()) return;
    if (!path.endsWith(QLatin1String(".nzb"), Qt::CaseInsensitive)) path += QLatin1String(".nzb");
    if (QFile::exists(path) && !app.prompter->askYesNo(QStringLiteral("OverWrite Existing File?"),
                                                       QStringLiteral("Zanderfell!")))
        return;
    app.BatchRun = true;
    app.StopRequested = false;
    app.setStatus(1, QStringLiteral("Reading Message Headers"));
    const NzbDocument nzb = nzbOfSelection(app);
    app.BatchRun = false;
    if (nzb.files.isEmpty()) {
        app.setStatus(1, QStringLiteral("No NZB Saved"));
        app.setStatus(2, QStringLiteral("No post of the selection could be had"));
        return;
    }
    if (!writeFileAtomically(path, writeNzb(nzb))) {
        app.prompter->message(QStringLiteral("Could not write ") + path, QStringLiteral("Error!"),
                              Prompter::Icon::Exclamation);
        return;
    }
    app.setStatus(1, QStringLiteral("NZB Saved"));
    app.setStatus(2, QString::number(nzb.files.size()) + QStringLiteral(" posts in ") + path);
}
