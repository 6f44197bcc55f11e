#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

class PartFeed;
class QIODevice;
class QThread;

// What a decode run came to. The number is what the failure event carries and
// what the main window shows in its status line, so the values stay fixed.
enum class DecodeResult {
    Ok = 0,
    NoBinaryData = 1, // no begin line, no base64 data, no "=ybegin"
    Incomplete = 2,   // data cut short: no "end"/"=yend", a part missing
    CrcError = 3,     // a part's or the whole file's CRC32 differs
    SizeMismatch = 4, // sizes or part offsets that don't add up
    ReadError = 5,    // the input could not be opened or read
    WriteError = 6,   // the target could not be written or put in place
    BadSetup = 7,     // no source, no target or an unknown encoding
    Cancelled = 8,
    TargetExists = 9, // a file of the target's name is there; it is never replaced
};

QString decodeResultText(DecodeResult result);

// uuencode input may also hold yEnc: the line receiver takes "=ybegin" for a
// begin line, and the caller names no third encoding. Whichever begin line
// comes first decides.
enum class Encoding { Uuencode, Base64, Yenc };

// "x-uuencode" (or "uuencode"), "base64", "x-yenc" (or "yenc"), any case.
std::optional<Encoding> encodingFromName(const QString& name);

struct DecodeOptions {
    Encoding encoding = Encoding::Uuencode;
    // Reads go through a buffer of this size; tests shrink it to a few bytes
    // to put every line and marker across a read boundary.
    qsizetype readBufferSize = 256 * 1024;
    // A line longer than this is handed to the decoders in pieces, so a
    // hostile input cannot make memory grow. Never below 1 KiB.
    qsizetype maxLineLength = 64 * 1024;
    // Keep what was decoded when the run fails. By default a failed run
    // leaves no file at the target path.
    bool keepDamaged = false;
    // Called after each read with the bytes of input consumed and the input's
    // size, on the thread that decodes.
    std::function<void(qint64 done, qint64 total)> progress;
    // Called on the decoding thread before a file is put in place; false
    // drops it (the run ends Cancelled). A fed run waits here for the
    // download to say the post is whole.
    std::function<bool()> mayPlace;
    // Base64 in a MIME part: the boundary that closes the part (without the
    // leading "--"), and the size its headers announce, -1 when none.
    QByteArray mimeBoundary;
    qint64 announcedSize = -1;
    // Set from any thread to stop the run at its next read.
    const std::atomic<bool>* cancel = nullptr;
    // Takes the input in place instead of reading it (LineReader::borrow).
    std::function<std::string_view(qint64 max)> borrow;
};

struct DecodeOutcome {
    DecodeResult result = DecodeResult::Ok;
    qint64 bytesWritten = 0; // decoded bytes written to the target
    QByteArray name;         // the name the data gives itself (begin line, "name=")
    QString detail;          // what failed, for the failure event's text
};

// Decodes `inPath` into `outPath` in one pass with fixed buffers. The target
// is written under a temporary name in its directory and put in place only
// when the run succeeds (or keepDamaged is set), so a failed run never leaves
// a damaged file behind. Safe to call from any thread.
DecodeOutcome decodeFile(const QString& inPath, const QString& outPath,
                         const DecodeOptions& options = {});
// The same from an open device of `total` bytes (-1: not known, no progress).
DecodeOutcome decodeDevice(QIODevice& input, qint64 total, const QString& outPath,
                           const DecodeOptions& options = {});

// The decoder control (MDEC): set up by six steps, started by the action code,
// reporting by failure, progress and end events. By default the work runs on
// a worker thread and the events arrive as queued signals on the thread that
// owns the control; in blocking mode start() returns after the end event.
class Decoder : public QObject {
    Q_OBJECT
public:
    static constexpr int ActionDecode = 5;

    explicit Decoder(QObject* parent = nullptr);
    ~Decoder() override;

    // The set-up steps, in the order the download calls them.
    void setKeepDamaged(bool keep);
    void setSourcePath(const QString& path);
    void setTargetPath(const QString& path);
    // How many progress steps a run reports at most (the download uses 34).
    void setProgressSteps(int steps);
    void setEncoding(const QString& name);
    // ActionDecode starts a run; other codes are ignored.
    void setAction(int code);
    // For base64 from a MIME part: the part's boundary and announced size
    // (DecodeOptions). Kept until set again; the download sets both for
    // every base64 post.
    void setMimePart(const QByteArray& boundary, qint64 announcedSize);

    // A run whose source is a feed the download fills while the decoder
    // reads it. Its failure and end events wait for endFeed(): a decode that
    // fails early does not break into the fetching of the parts. Abandoned,
    // the run is cancelled, leaves no file and reports no failure.
    bool startFeed(std::shared_ptr<PartFeed> feed);
    void endFeed(bool abandon);
    bool feedRunning() const { return feed_ != nullptr; }
    PartFeed* feed() const { return feed_.get(); }

    // Starts a run. Returns false, doing nothing, while a run is under way.
    // A set-up that cannot run gives its failure and end events at once.
    bool start();
    // Asks a running decode to stop; it ends with DecodeResult::Cancelled.
    void cancel();

    void setThreaded(bool threaded) { threaded_ = threaded; }
    void setReadBufferSize(qsizetype bytes) { readBufferSize_ = bytes; }
    bool isRunning() const { return worker_ != nullptr; }
    // The outcome of the last run, complete once the end event has come.
    const DecodeOutcome& lastOutcome() const { return outcome_; }

signals:
    void failure(int number, const QString& text);
    void progress(int value, int maximum);
    void end();

private:
    DecodeOptions runOptions();
    void finishRun(const DecodeOutcome& outcome);
    void onWorkerFinished();

    bool keepDamaged_ = false;
    QString sourcePath_;
    QString targetPath_;
    int progressSteps_ = 0;
    std::optional<Encoding> encoding_ = Encoding::Uuencode;
    QByteArray mimeBoundary_;
    qint64 announcedSize_ = -1;
    bool threaded_ = true;
    qsizetype readBufferSize_ = DecodeOptions{}.readBufferSize;

    std::shared_ptr<PartFeed> feed_;
    bool feedOpen_ = false; // the download still hands over parts
    bool quiet_ = false;    // an abandoned run: no failure event

    QThread* worker_ = nullptr;
    DecodeOutcome workerOutcome_; // written by the worker, read after it has joined
    DecodeOutcome outcome_;
    std::atomic<bool> cancel_ = false;
};
