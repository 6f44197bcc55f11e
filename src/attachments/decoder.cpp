#include "attachments/decoder.h"

#include "attachments/part_feed.h"

#include <QThread>
#include <algorithm>

namespace {

// Turns byte counts into at most `steps` distinct progress values, so a long
// decode posts a few dozen events, not one per read.
class ProgressSteps {
public:
    explicit ProgressSteps(int steps) : steps_(steps) {}
    // The value to report, or -1 when it has not moved.
    int advance(qint64 done, qint64 total) {
        if (steps_ <= 0 || total <= 0) return -1;
        const int value = int(std::min(done, total) * steps_ / total);
        if (value == last_) return -1;
        last_ = value;
        return value;
    }

private:
    int steps_;
    int last_ = -1;
};

} // namespace

Decoder::Decoder(QObject* parent) : QObject(parent) {}

Decoder::~Decoder() {
    if (worker_) {
        cancel_ = true;
        if (feed_) feed_->abandon(); // a read waiting for a part ends
        worker_->wait();
        delete worker_;
    }
}

void Decoder::setKeepDamaged(bool keep) {
    keepDamaged_ = keep;
}
void Decoder::setSourcePath(const QString& path) {
    sourcePath_ = path;
}
void Decoder::setTargetPath(const QString& path) {
    targetPath_ = path;
}
void Decoder::setProgressSteps(int steps) {
    progressSteps_ = steps;
}
void Decoder::setEncoding(const QString& name) {
    encoding_ = encodingFromName(name);
}

void Decoder::setMimePart(const QByteArray& boundary, qint64 announcedSize) {
    mimeBoundary_ = boundary;
    announcedSize_ = announcedSize;
}

void Decoder::setAction(int code) {
    if (code == ActionDecode) start();
}

void Decoder::cancel() {
    cancel_ = true;
}

DecodeOptions Decoder::runOptions() {
    DecodeOptions options;
    options.encoding = *encoding_;
    options.readBufferSize = readBufferSize_;
    options.keepDamaged = keepDamaged_;
    options.mimeBoundary = mimeBoundary_;
    options.announcedSize = announcedSize_;
    options.cancel = &cancel_;
    return options;
}

bool Decoder::start() {
    if (worker_) return false;
    cancel_ = false;
    if (sourcePath_.isEmpty() || targetPath_.isEmpty() || !encoding_) {
        DecodeOutcome bad;
        bad.result = DecodeResult::BadSetup;
        bad.detail = !encoding_ ? QStringLiteral("unknown encoding")
                                : QStringLiteral("no source or target path");
        finishRun(bad);
        return true;
    }
    DecodeOptions options = runOptions();
    const int maximum = progressSteps_;
    if (!threaded_) {
        options.progress = [this, steps = ProgressSteps(maximum), maximum](qint64 done,
                                                                           qint64 total) mutable {
            const int value = steps.advance(done, total);
            if (value >= 0) emit progress(value, maximum);
        };
        finishRun(decodeFile(sourcePath_, targetPath_, options));
        return true;
    }
    // The worker posts its progress to this object's thread; the events are
    // dropped with the object if it goes first.
    options.progress = [this, steps = ProgressSteps(maximum), maximum](qint64 done,
                                                                       qint64 total) mutable {
        const int value = steps.advance(done, total);
        if (value >= 0)
            QMetaObject::invokeMethod(
                this, [this, value, maximum] { emit progress(value, maximum); },
                Qt::QueuedConnection);
    };
    worker_ = QThread::create([this, options, in = sourcePath_, out = targetPath_] {
        workerOutcome_ = decodeFile(in, out, options);
    });
    connect(worker_, &QThread::finished, this, &Decoder::onWorkerFinished, Qt::QueuedConnection);
    worker_->start();
    return true;
}

bool Decoder::startFeed(std::shared_ptr<PartFeed> feed) {
    if (worker_ || feed_ || targetPath_.isEmpty() || !encoding_ || !feed) return false;
    cancel_ = false;
    quiet_ = false;
    feed_ = std::move(feed);
    feedOpen_ = true;
    DecodeOptions options = runOptions();
    // The data may end before the post does (a uuencode "end" in a part
    // before the last): the file waits until the download has all parts,
    // and goes if it gives the post up. Parts handed over meanwhile are
    // dropped unread.
    options.mayPlace = [feed = feed_.get()] {
        feed->readerDone();
        return feed->waitForEnd();
    };
    // The articles are decoded where they lie, not copied out first.
    options.borrow = [feed = feed_.get()](qint64 max) { return feed->borrow(max); };
    worker_ = QThread::create([this, options, feed = feed_, out = targetPath_] {
        workerOutcome_ = decodeDevice(*feed, -1, out, options);
        feed->readerDone(); // a run that failed early
    });
    connect(worker_, &QThread::finished, this, &Decoder::onWorkerFinished, Qt::QueuedConnection);
    worker_->start();
    return true;
}

void Decoder::endFeed(bool abandon) {
    if (!feed_ || !feedOpen_) return;
    feedOpen_ = false;
    if (abandon) {
        cancel_ = true;
        quiet_ = true;
        feed_->abandon();
    } else {
        feed_->finish();
    }
    if (!worker_) finishRun(workerOutcome_); // it ended before the last part
}

void Decoder::onWorkerFinished() {
    if (!worker_) return;
    worker_->wait();
    delete worker_;
    worker_ = nullptr;
    if (feed_ && feedOpen_) return; // reported at endFeed()
    finishRun(workerOutcome_);
}

void Decoder::finishRun(const DecodeOutcome& outcome) {
    outcome_ = outcome;
    feed_.reset();
    if (quiet_) {
        quiet_ = false;
    } else if (outcome.result != DecodeResult::Ok) {
        QString text = decodeResultText(outcome.result);
        if (!outcome.detail.isEmpty()) text += QStringLiteral(": ") + outcome.detail;
        emit failure(int(outcome.result), text);
    }
    emit end();
}
