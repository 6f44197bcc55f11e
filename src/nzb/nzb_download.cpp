#include "nzb/nzb_download.h"

#include "attachments/article_receiver.h"
#include "attachments/decoded_files.h"
#include "attachments/decoder.h"
#include "attachments/mime_part.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "news/nntp_errors.h"
#include "nzb/nzb_file.h"
#include "nzb/par2_check.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/temp_files.h"

#include <QFile>
#include <QFileInfo>
#include <QMetaObject>
#include <QTimer>
#include <atomic>
#include <optional>
#include <thread>

namespace {

// More than this before the blank line is no article's header block.
constexpr qsizetype kMaxHeaderBytes = 1 << 20;

enum class Fetch { Ok, Missing, Failed, Stopped };

// Takes the news control's events while an NZB is fetched: the body of
// each article goes straight into the temporary file, its header block is
// dropped. The first article of a file is held until it is whole (or large)
// to see whether it is a base64 MIME post, whose part headers the decoder
// must not see. The line receiver sees the same events and leaves them alone,
// since TransferMode is 0.
class SegmentSink {
public:
    SegmentSink(App& app, QFile& out) : app_(app), out_(out) {
        NntpControl* c = app.NNTP.get();
        connections_[0] =
            QObject::connect(c, &NntpControl::document, &app,
                             [this](int state, const QByteArray& data) { document(state, data); });
        connections_[1] =
            QObject::connect(c, &NntpControl::error, &app, [this](int code, const QString&) {
                failed_ = true;
                errorCode_ = code;
            });
    }
    ~SegmentSink() {
        for (const QMetaObject::Connection& c : connections_)
            QObject::disconnect(c);
    }

    // first: the file's first segment, which may be a MIME post's start.
    Fetch fetch(const QByteArray& messageId, bool first) {
        done_ = failed_ = inBody_ = false;
        errorCode_ = 0;
        head_.clear();
        probe_.clear();
        probeBody_ = 0;
        probing_ = first;
        if (first) base64_.reset();
        app_.LastError = 0;
        app_.NNTP->getArticleById(messageId);
        app_.TickCount = 0;
        while (!done_ && !failed_ && !app_.StopRequested && !app_.ending &&
               app_.TickCount < app_.Timeout)
            app_.DoEvents();
        if (done_) {
            // Each body ends its last line, so the next one starts a line.
            if (lastByte_ != '\n') write("\r\n");
            return Fetch::Ok;
        }
        if (failed_ && (errorCode_ == 430 || errorCode_ == NntpError::BadArgument))
            return Fetch::Missing;
        app_.NNTP->cancel();
        return app_.StopRequested || app_.ending ? Fetch::Stopped : Fetch::Failed;
    }
    bool writeFailed() const { return writeFailed_; }
    // The base64 attachment the file's first segment announced.
    const std::optional<Base64Part>& base64() const { return base64_; }

private:
    void document(int state, const QByteArray& data) {
        app_.TickCount = 0;
        if (state == NntpControl::DocumentData) {
            if (inBody_) {
                probing_ ? probe(data) : write(data);
                return;
            }
            head_ += data;
            const qsizetype blank = head_.indexOf("\r\n\r\n");
            if (blank >= 0) {
                inBody_ = true;
                if (probing_) {
                    probeBody_ = blank + 4;
                    probe(head_);
                } else {
                    write(QByteArrayView(head_).sliced(blank + 4));
                }
                head_.clear();
            } else if (head_.size() > kMaxHeaderBytes) {
                app_.NNTP->cancel();
                failed_ = true;
            }
        } else if (state == NntpControl::DocumentEnd) {
            if (probing_) settle();
            done_ = true;
        } else if (state == NntpControl::DocumentError) {
            failed_ = true;
        }
    }
    void probe(const QByteArray& data) {
        probe_ += data;
        if (probe_.size() > kMaxHeaderBytes) settle();
    }
    // The whole article so far, headers included, as the message list's
    // download sees it: a base64 post's data starts behind its part headers.
    void settle() {
        probing_ = false;
        qsizetype from = probeBody_;
        const QString text = QString::fromLatin1(probe_);
        if (isBase64Article(text)) {
            base64_ = findBase64Part(text);
            from = base64_->dataStart;
        }
        write(QByteArrayView(probe_).sliced(std::min(from, probe_.size())));
        probe_.clear();
    }
    void write(QByteArrayView bytes) {
        if (bytes.isEmpty()) return;
        if (out_.write(bytes.data(), bytes.size()) != bytes.size()) writeFailed_ = true;
        lastByte_ = bytes.back();
    }

    App& app_;
    QFile& out_;
    QMetaObject::Connection connections_[2];
    QByteArray head_;
    QByteArray probe_;        // the first article, held until settle()
    qsizetype probeBody_ = 0; // where its body starts in probe_
    bool probing_ = false;
    std::optional<Base64Part> base64_;
    bool inBody_ = false, done_ = false, failed_ = false, writeFailed_ = false;
    int errorCode_ = 0;
    char lastByte_ = '\n';
};

// The decoder runs on a thread of its own while the event queue runs here.
DecodeOutcome decodeSegments(App& app, const QString& in, const QString& out, bool keepDamaged,
                             const std::optional<Base64Part>& base64) {
    std::atomic<bool> cancel = false, done = false;
    DecodeOptions options;
    options.encoding = Encoding::Uuencode; // which finds yEnc as well
    if (base64) {
        options.encoding = Encoding::Base64;
        options.mimeBoundary = base64->boundary;
        options.announcedSize = base64->size;
    }
    options.keepDamaged = keepDamaged;
    options.cancel = &cancel;
    DecodeOutcome outcome;
    std::thread worker([&] {
        outcome = decodeFile(in, out, options);
        done = true;
        // Wakes the wait below.
        QMetaObject::invokeMethod(
            &app, [] {}, Qt::QueuedConnection);
    });
    while (!done) {
        if (app.ending) cancel = true;
        app.DoEvents();
    }
    worker.join();
    return outcome;
}

struct FileResult {
    QString name; // in DestDir, empty when no file is there
    bool whole = false;
    bool damaged = false; // kept with holes for PAR2
};

class NzbRun {
public:
    NzbRun(App& app, const NzbDocument& nzb) : app_(app), nzb_(nzb) {
        for (const NzbFile& f : nzb.files) {
            total_ += int(f.segments.size());
            if (nzbFileName(f.subject).endsWith(QLatin1String(".par2"), Qt::CaseInsensitive))
                hasPar2_ = true;
        }
        repairable_ = hasPar2_ && app.Par2Check;
    }

    int run() {
        app_.setProgress(0, std::max(total_, 1), 0);
        for (const NzbFile& f : nzb_.files) {
            if (app_.StopRequested || app_.ending || aborted_) break;
            const FileResult r = fetchFile(f);
            if (r.whole) {
                ++whole_;
                QString name = r.name;
                AddaFile(app_, name);
            } else if (r.damaged) {
                damaged_ << r.name;
            }
            if (!r.name.isEmpty()) names_ << r.name;
        }
        if (!app_.StopRequested && !app_.ending && !aborted_) checkPar2();
        if (!damagedText_.isEmpty() && !par2Said_)
            app_.setStatus(2, damagedText_.join(QStringLiteral("; ")));
        return whole_;
    }

private:
    FileResult fetchFile(const NzbFile& f) {
        // A file that is there already isn't fetched again.
        const QString announced = cleanName(nzbFileName(f.subject));
        if (!announced.isEmpty() && QFile::exists(app_.DestDir + announced)) {
            app_.setStatus(2, QStringLiteral("Duplicate File"));
            done_ += int(f.segments.size());
            app_.setProgressValue(done_);
            return {announced};
        }
        app_.setStatus(2, announced.isEmpty() ? f.subject.left(120) : announced);
        const QString temp = app_.DestDir + app_.TempFile;
        QFile out(temp);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            app_.setStatus(2, QStringLiteral("Can't write ") + temp);
            aborted_ = true;
            return {};
        }
        int missing = 0;
        std::optional<Base64Part> base64;
        {
            SegmentSink sink(app_, out);
            for (const NzbSegment& s : f.segments) {
                app_.setStatus(3, u'[' + QString::number(s.number) + u'/' +
                                      QString::number(f.segments.size()) + u']');
                const qint64 segmentStart = out.pos();
                const bool first = &s == &f.segments.front();
                Fetch got = sink.fetch(s.messageId, first);
                if (got == Fetch::Failed) {
                    // The connection went: rebuilt once for this segment,
                    // whose bytes so far are dropped.
                    if (!connectionOpen(app_)) cmdConnect(app_, false);
                    if (connectionOpen(app_) && out.resize(segmentStart) && out.seek(segmentStart))
                        got = sink.fetch(s.messageId, first);
                }
                if (got == Fetch::Stopped || got == Fetch::Failed || sink.writeFailed()) {
                    if (got == Fetch::Failed)
                        app_.setStatus(2, QStringLiteral("Timeout/Error Getting Message"));
                    aborted_ = true;
                    out.close();
                    QFile::remove(temp);
                    return {};
                }
                if (got == Fetch::Missing) ++missing;
                app_.setProgressValue(++done_);
            }
            base64 = sink.base64();
        }
        out.close();
        return decodeInto(f, temp, missing, base64);
    }

    FileResult decodeInto(const NzbFile& f, const QString& temp, int missing,
                          const std::optional<Base64Part>& base64) {
        app_.setStatus(1, QStringLiteral("Decoding File"));
        const QString decoded =
            app_.DestDir + QFileInfo(app_.TempFile).completeBaseName() + QStringLiteral("-nzb.tmp");
        const DecodeOutcome outcome = decodeSegments(app_, temp, decoded, repairable_, base64);
        QFile::remove(temp);
        // The name the data gives, else the one of the subject; the same
        // hygiene as a name found in an article.
        QString name =
            cleanName(base64 && base64->named ? base64->name
                                              : nameFromArticle(QString::fromLatin1(outcome.name)));
        if (name.isEmpty()) name = cleanName(nzbFileName(f.subject));
        const bool kept = QFile::exists(decoded);
        const bool whole = outcome.result == DecodeResult::Ok && missing == 0;
        if (!kept || name.isEmpty() || (!whole && !repairable_)) {
            QFile::remove(decoded);
            app_.setStatus(
                2, describe(name.isEmpty() ? f.subject.left(80) : name, f, missing, outcome));
            damagedText_ << app_.statbar[2];
            return {};
        }
        if (QFile::exists(app_.DestDir + name)) {
            QFile::remove(decoded);
            app_.setStatus(2, QStringLiteral("Duplicate File"));
            return {};
        }
        if (!QFile::rename(decoded, app_.DestDir + name)) {
            QFile::remove(decoded);
            app_.setStatus(2, QStringLiteral("Can't write ") + name);
            return {};
        }
        app_.setStatus(1, QStringLiteral("File Decoded"));
        if (!whole) {
            app_.setStatus(2, describe(name, f, missing, outcome));
            damagedText_ << app_.statbar[2];
        }
        return {name, whole, !whole};
    }

    // A name as the message list's downloads clean one found in an article.
    QString cleanName(const QString& raw) {
        app_.AttachName = raw;
        CleanAttachName(app_);
        return app_.AttachName;
    }

    static QString describe(const QString& name, const NzbFile& f, int missing,
                            const DecodeOutcome& outcome) {
        if (missing > 0)
            return name + QStringLiteral(": %1 of %2 segments missing")
                              .arg(missing)
                              .arg(f.segments.size());
        return name + QStringLiteral(": ") + decodeResultText(outcome.result);
    }

    void checkPar2() {
        if (!repairable_) return;
        const QString index = par2IndexFile(names_);
        if (index.isEmpty()) return;
        const Par2Verdict verdict = runPar2(app_, app_.DestDir + index);
        if (verdict == Par2Verdict::Repaired) {
            for (QString name : damaged_) {
                ++whole_;
                AddaFile(app_, name);
            }
            damaged_.clear();
        }
        reportPar2(app_, index, verdict);
        par2Said_ = true;
    }

    App& app_;
    const NzbDocument& nzb_;
    int total_ = 0, done_ = 0, whole_ = 0;
    bool hasPar2_ = false, repairable_ = false, aborted_ = false, par2Said_ = false;
    QStringList names_;       // every file written, whole or not
    QStringList damaged_;     // written with holes, for PAR2
    QStringList damagedText_; // what the status line said of each
};

} // namespace

int cmdDownloadNzb(App& app, const NzbDocument& nzb) {
    if (app.BatchRun || app.Busy) {
        app.setStatus(2, QStringLiteral("Please wait until current transaction is finished"));
        return 0;
    }
    app.StopRequested = false;
    if (!connectionOpen(app)) cmdConnect(app, false);
    if (!connectionOpen(app)) return 0;
    app.BatchRun = true;
    const qint32 mode = app.TransferMode;
    app.TransferMode = 0;
    SetMenuItem(app, 5, true);
    app.setStatus(1, QStringLiteral("Downloading NZB"));

    const int whole = NzbRun(app, nzb).run();

    app.TransferMode = mode;
    KillTempFiles(app, false);
    SetMenuItem(app, 5, false);
    app.setProgressValue(app.progMin);
    if (!app.StopRequested && app.statbar[1] != QLatin1String("Finished Downloading"))
        app.setStatus(1, QStringLiteral("Finished Downloading"));
    app.BatchRun = false;
    return whole;
}

void OpenNzbFile(App& app, const QString& path) {
    const NzbParse parsed = readNzbFile(path);
    if (!parsed.ok()) {
        const QString text = QStringLiteral("Can't read the NZB file ") +
                             QFileInfo(path).fileName() + QStringLiteral(": ") + parsed.error;
        app.setStatus(2, text);
        app.prompter->message(text, QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
        return;
    }
    cmdDownloadNzb(app, parsed.nzb);
}

void menuOpenNzb_Click(App& app) {
    const QString path = app.prompter->openFileName(QStringLiteral("Open NZB"),
                                                    QStringLiteral("NZB (*.nzb)"), app.DestDir);
    if (!path.isEmpty()) OpenNzbFile(app, path);
}

bool isNzbPath(const QString& path) {
    return path.endsWith(QLatin1String(".nzb"), Qt::CaseInsensitive);
}

void OpenNzbFilesLater(App& app, const QStringList& paths) {
    QStringList files;
    for (const QString& p : paths)
        if (isNzbPath(p) && QFileInfo(p).isFile()) files << p;
    if (files.isEmpty()) return;
    QTimer::singleShot(0, &app, [&app, files] {
        for (const QString& f : files)
            if (!app.ending) OpenNzbFile(app, f);
    });
}
