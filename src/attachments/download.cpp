#include "attachments/download.h"

#include "attachments/article_receiver.h"
#include "attachments/collation.h"
#include "attachments/decode_step.h"
#include "attachments/decoded_files.h"
#include "attachments/decoder.h"
#include "attachments/mime_part.h"
#include "attachments/part_feed.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/temp_files.h"
#include "shell/waits.h"

#include <QFile>

namespace {

const QString kSubject = QStringLiteral("Subject");
const QString kSubjectDL = QStringLiteral("SubjectDL");

// The state a fetch starts from.
void clearArticle(App& app) {
    app.LastError = 0;
    // The room stays: the next part is about as big.
    app.MessageText.resize(0);
    app.beginScanFrom = 0;
    app.ybeginScanFrom = 0;
    app.SkipArticle = false;
    app.MessageDone = false;
    app.articleBytes = 0;
}

// A MIME base64 attachment, seen in the first part: the decoder learns how
// the part ends, the text keeps only its data.
void takeBase64Body(App& app) {
    const Base64Part part = findBase64Part(QString::fromLatin1(app.MessageText));
    app.MDEC->setMimePart(part.boundary, part.size);
    if (part.named) app.AttachName = part.name;
    if (app.SweepScope == -1) app.setStatus(2, app.AttachName);
    app.MessageText.remove(0, part.dataStart);
    app.IsBase64 = true;
}

// Hands the article in MessageText (a streamed part has gone already), and
// the CR LF that ends it, to the decoder; the post's first part starts the
// decoder. Only that part is handed over whole, to a feed that holds nothing
// yet; the later ones wait for the decoder as they stream (ArticleData). A
// name that gives no file starts nothing: the decoding step reports it.
bool feedPart(App& app) {
    Decoder& mdec = *app.MDEC;
    if (!mdec.feedRunning()) {
        const QString name = fileNameToWrite(app.AttachName);
        if (name.isEmpty()) return true;
        mdec.setKeepDamaged(false);
        mdec.setTargetPath(app.DestDir + name);
        mdec.setEncoding(app.IsBase64 ? QStringLiteral("base64") : QStringLiteral("x-uuencode"));
        if (!mdec.startFeed(std::make_shared<PartFeed>())) {
            app.LastError = -1;
            app.setStatus(2, QStringLiteral("Error Decoding"));
            return false;
        }
    }
    mdec.feed()->push(std::move(app.MessageText));
    mdec.feed()->push(QByteArray::fromRawData("\r\n", 2));
    app.MessageText = mdec.feed()->takeSpare();
    return true;
}

// A post given up: its decoder stops and leaves no file. The next post's
// decoder can start once this one has ended.
void abandonDecode(App& app) {
    Decoder& mdec = *app.MDEC;
    if (!mdec.feedRunning()) return;
    mdec.endFeed(true);
    while (mdec.feedRunning())
        app.DoEvents();
}

void menusForBatch(App& app, bool running) {
    if (app.Busy) return;
    for (int item : {2, 4, 8, 9, 10})
        SetMenuItem(app, item, !running);
    SetMenuItem(app, 5, running);
}

// How the work on a row ends: with the clean-up of the temporary file and
// the status line, or straight at the row's deselection.
enum class RowEnd { Tidy, Deselect };

// One row of cmdDownload: collate, fetch every part into the temporary file,
// decode.
RowEnd fetchRow(App& app, qint32& row, qint32 last) {
    ListModel& list = app.lstMessages;
    list.setSelected(row, true);
    list.setListIndex(row);
    // The minimum must stay below the new maximum.
    const int min = app.progMin >= last + 1 ? row : app.progMin;
    app.setProgress(min, last + 1, row < last + 1 ? row : app.progValue);

    QString title = app.ShowMNumbers ? list.text(row)
                                     : QString::number(list.number(row)) + u' ' + list.text(row);
    if ((app.SaveHTTP || app.HarvestBody) && app.harvestTitle) app.harvestTitle(title);
    const qsizetype blank = title.indexOf(u' ');
    if (blank < 1) return RowEnd::Deselect;
    const qint64 number = numericPrefix(QStringView(title).left(blank)).value_or(0);

    app.PartIndex = 0;
    if (!msgMultipart(app, title, row) && !app.StopRequested && app.PartIndex != -1) {
        app.PartIndex = 1;
        app.PartNumbers[1] = number;
    }
    app.AttachName.clear();
    app.IsBase64 = false;
    // Never past the table, whatever collation left.
    const qint32 parts = std::min(app.PartIndex, qint32(kMaxParts));
    for (qint32 part = 1; part <= parts && !app.StopRequested; ++part) {
        if (part == 2) {
            if (app.HarvestBody) return RowEnd::Deselect; // a harvest reads the first part only
            if (app.Busy) break;
        }
        if (app.HeaderField.isEmpty()) app.HeaderField = kSubject;
        app.SkipArticle = false;
        if (app.SweepScope == -1) app.setStatus(2, app.AttachName);
        app.PartDone = part;
        app.PartCount = app.PartIndex;
        // The first part is read whole (its name, a MIME header, a
        // duplicate); the decoder it starts takes the later ones as they come.
        app.streamArticle = part > 1 && app.MDEC->feedRunning() && app.HeaderField == kSubject;
        cmdDownloadMessage(app, app.PartNumbers[part]);
        app.streamArticle = false;
        if (app.HeaderField == kSubjectDL || app.SkipArticle) return RowEnd::Tidy;

        // Whatever follows the data (a signature behind a uuencode "end")
        // is the decoder's to pass over: it stops at its end line.
        if (part == 1 && isBase64Article(QLatin1StringView(app.MessageText))) takeBase64Body(app);
        if (!app.AttachName.isEmpty() && !app.HarvestBody) {
            if (app.LastError != 0 || !feedPart(app)) {
                app.PartIndex = -1;
                break;
            }
        }
        if (app.LastError != 0 || !app.MessageDone) {
            app.PartIndex = -1;
            break;
        }
        LetEventsRun(app);
    }
    if (app.HarvestBody || app.StopRequested || app.AttachName.isEmpty() || app.PartIndex == -1)
        return RowEnd::Deselect;
    // The test must see the name the file would be written under.
    app.AttachName = fileNameToWrite(app.AttachName);
    if (!app.AttachName.isEmpty() && QFile::exists(app.DestDir + app.AttachName))
        app.setStatus(2, QStringLiteral("Duplicate File"));
    else
        decodeAttachment(app);
    return RowEnd::Tidy;
}

} // namespace

void cmdDownloadMessage(App& app, qint64& msgnum) {
    if (app.StopRequested) return;
    clearArticle(app);
    app.setStatus(1, QStringLiteral("Retrieving Msg # ") + QString::number(msgnum));
    // A connection lost in mid-run is rebuilt, and the list reloaded, first.
    if (app.NNTP->state() == QLatin1String("Disconnected")) {
        cmdConnect(app, false);
        KillTempFiles(app, false);
        app.HeaderField = kSubject;
        cmdGetMessageHeaders(app, true);
    }
    if (!connectionOpen(app)) {
        app.LastError = -1;
        return;
    }
    app.TransferMode = 2;
    if (app.NNTP->busy()) {
        // The rest of an article given up as a duplicate is still coming:
        // it is dropped unread, and this fetch starts behind it. A control
        // that stays busy for a whole timeout is dropped with its connection.
        app.SkipArticle = true;
        app.TickCount = 0;
        while (app.NNTP->busy() && !app.StopRequested && !app.ending && app.TickCount < app.Timeout)
            app.DoEvents();
        if (app.NNTP->busy()) app.NNTP->cancel();
        clearArticle(app);
    }
    app.NNTP->getArticle(msgnum);
    app.TickCount = 0;
    // Every byte restarts the clock, so a server that drips an article is
    // waited for only until Stop (a batch run's Stop also sets LastError).
    while (app.LastError == 0 && !app.MessageDone && !app.ending && !app.StopRequested &&
           app.TickCount < app.Timeout)
        app.DoEvents();
    if (app.ending || (app.StopRequested && !app.MessageDone && app.LastError == 0)) {
        // The article, whole or not, is given up unwritten, and the rest of
        // it with the connection.
        app.LastError = -1;
        app.NNTP->cancel();
        return;
    }
    if (app.TickCount >= app.Timeout || app.LastError != 0) {
        // A reason the receiver gave (a line or the article too long) stays.
        if (!app.statbar[2].startsWith(QLatin1String("Server Error: ")))
            app.setStatus(2, QStringLiteral("Timeout/Error Getting Message"));
        app.NNTP->cancel();
    }
}

void cmdDownload(App& app, qint32& msgnum) {
    ListModel& list = app.lstMessages;
    app.BatchRun = true;
    app.IsBase64 = false;
    menusForBatch(app, true);
    FavoritesOnOff(app, false);

    qint32 row = msgnum;
    qint32 last = msgnum;
    if (msgnum == -1) {
        row = 0;
        last = list.count();
    }
    app.setProgress(0, app.progMax, app.progValue);
    if (app.SweepScope == -1) app.setStatus(2, QString());

    while (row >= 0 && row <= list.count() - 1 && !app.StopRequested) {
        // A row taken up as a part of a post already fetched passes.
        if (list.tag(row) != QLatin1String("256")) {
            const RowEnd end = fetchRow(app, row, last);
            abandonDecode(app); // a post that was not decoded to its end
            if (end == RowEnd::Tidy) {
                KillTempFiles(app, false);
                if (app.HeaderField != kSubjectDL && !app.SkipArticle)
                    app.setStatus(2, QStringLiteral("Looking for attachments.."));
            }
            if (row >= 0 && row < list.count()) list.setSelected(row, false);
        }
        ++row;
        LetEventsRun(app);
        if (msgnum != -1) row = -1;
        KillTempFiles(app, false);
    }

    menusForBatch(app, false);
    FavoritesOnOff(app, true);
    app.setProgressValue(app.progMin);
    app.BatchRun = false;
    app.SkipArticle = false;
}
