#pragma once

// The streaming machinery behind decodeFile: a line reader and an output sink
// with fixed buffers, and the three format decoders that run between them.

#include "attachments/decoder.h"

#include <QFile>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

class QIODevice;

// A line, or a piece of a line longer than the reader's limit. `first` marks
// the piece that starts a line, `last` the one that ends it; a whole line has
// both. The line end (LF, or CR LF) is not part of the text. The text stays
// valid until the next call of next().
struct LinePiece {
    std::string_view text;
    bool first = true;
    bool last = true;
};

class LineReader {
public:
    LineReader(QIODevice& device, qsizetype bufferSize, qsizetype maxLineLength);
    ~LineReader();

    // Takes the bytes of `device`, a regular file at its start, from a
    // mapping instead of copying them out with read(): window by window, and
    // only up to the size it has now; anything beyond still comes by read().
    // Returns false, leaving the reader as it was, for anything else.
    bool mapFile(int fd);

    bool next(LinePiece& piece);

    // Between lines: the bytes already read from the start of the next line
    // on, at most `limit` of them; empty while a line is half delivered.
    // Decoders take whole lines from here in bulk and consume() them.
    std::string_view buffered(std::size_t limit);
    void consume(std::size_t bytes) { pos_ += qsizetype(bytes); }

    // Called after each read with the bytes consumed so far; returning false
    // stops the reader as if the input had ended.
    std::function<bool(qint64 consumed)> onRead;
    // When set, reads take the bytes in place from here instead of copying
    // them out of the device: a view of at most `max` bytes, valid until the
    // next call; an empty one is the end.
    std::function<std::string_view(qint64 max)> borrow;

    bool readFailed() const { return readFailed_; }
    bool stopped() const { return stopped_; }

private:
    bool fill();
    qint64 fillFromMap();
    void unmap();
    LinePiece deliverCarry(bool last);

    QIODevice& device_;
    std::unique_ptr<char[]> buffer_;
    const char* data_; // the bytes of the last read: buffer_, or in the mapping
    qsizetype capacity_;
    qsizetype pos_ = 0;
    qsizetype end_ = 0;
    qint64 consumed_ = 0;
    std::vector<char> carry_; // the start of a line that crosses a read
    std::size_t maxLine_;
    bool clearCarry_ = false;
    bool midLine_ = false; // a piece of the current line has gone out
    bool eof_ = false;
    bool readFailed_ = false;
    bool stopped_ = false;

    int mapFd_ = -1;         // while reading from the mapping
    qint64 mapEnd_ = 0;      // the file's size when mapping began
    char* window_ = nullptr; // the part of the file mapped now
    std::size_t windowSize_ = 0;
    qint64 windowAt_ = 0;
};

// The output buffer holds at least this much, and a run of lines taken in
// bulk is never longer than a quarter of it, so there is always room for
// what a run decodes to.
constexpr std::size_t kMinSinkCapacity = 256 * 1024;
constexpr std::size_t kMaxRun = kMinSinkCapacity / 4;

// Collects decoded bytes in a buffer and writes them in large blocks to a
// temporary file beside the target, which finish() puts into place or
// drops. Its name ends in ".tmp", so one left by a crash goes with the other
// temporary files at the next start, and it is short, so any target name the
// file system takes has a temporary one too. No fsync: a decoded file can be
// fetched again, and a forced flush of every download to disk would cost
// more than the decoding.
// A full buffer goes to a writer thread, which writes it at its own file
// offset while the decoders fill the other one: the kernel's copy into the
// page cache costs about as much as the decoding, and the two now overlap.
// The decoders write straight into the buffer: reserve(), then commit().
class OutputSink {
public:
    explicit OutputSink(std::size_t bufferSize);
    ~OutputSink();

    bool open(const QString& path);
    // Off: the blocks are written on the decoding thread, one buffer only.
    void setWriterThread(bool on) { writerThread_ = on; }
    // Sets aside room on the disk for about `bytes` of output; what is left
    // over is given back when the file is kept.
    void preallocate(qint64 bytes);
    unsigned char* reserve(std::size_t bytes);
    void commit(std::size_t bytes) { used_ += bytes; }
    // Moves the write position; yEnc places each part at its own offset.
    bool seek(qint64 position);
    qint64 position() const { return flushedTo_ + qint64(used_); }
    qint64 highWater() const { return std::max(highWater_, position()); }

    // CRC32 of the bytes written since the last resetCrc(); only yEnc needs it.
    void setCrcEnabled(bool enabled) { crcEnabled_ = enabled; }
    void resetCrc();
    std::uint32_t crc();

    // A failed write may show a block later than it happened; finish()
    // waits for every write, so its answer is final.
    bool failed() const { return failed_.load(std::memory_order_acquire); }
    // Flushes and puts the file in place when `keep` is set, else drops it.
    // A file already at the target is never replaced: finish fails and
    // targetExists() says so.
    bool finish(bool keep);
    bool targetExists() const { return targetExists_; }
    // Why opening, writing or placing the file failed, in the system's words.
    QString errorText() const { return errorText_; }

private:
    void flush();
    void updateCrc();
    void stopWriter();
    void writerLoop();
    void writeBlock(const unsigned char* data, std::size_t size, qint64 at);
    void fail(const QString& text);

    QFile file_;
    QString target_;
    bool done_ = false;
    std::unique_ptr<unsigned char[]> buffers_[2];
    unsigned char* buffer_; // the one the decoders fill
    std::size_t capacity_;
    std::size_t used_ = 0;
    std::size_t crcFrom_ = 0;
    std::uint32_t crc_ = 0;
    qint64 flushedTo_ = 0; // file position of buffer_[0]
    qint64 highWater_ = 0;
    bool crcEnabled_ = false;
    std::atomic<bool> failed_ = false;
    bool targetExists_ = false;
    bool preallocated_ = false;
    bool writerThread_ = true;
    QString errorText_; // set before failed_, by whichever thread failed

    // The hand-over to the writer thread: one block at a time.
    std::thread writer_;
    std::mutex mutex_;
    std::condition_variable changed_;
    const unsigned char* pending_ = nullptr; // set while the writer has a block
    std::size_t pendingSize_ = 0;
    qint64 pendingAt_ = 0;
    bool stopping_ = false;
};

DecodeResult decodeUuStream(LineReader& reader, OutputSink& sink, bool allowYenc,
                            DecodeOutcome& outcome);
DecodeResult decodeBase64Stream(LineReader& reader, OutputSink& sink, const DecodeOptions& options,
                                DecodeOutcome& outcome);
// `begin` is the "=ybegin" line when another decoder has already read it.
DecodeResult decodeYencStream(LineReader& reader, OutputSink& sink, const LinePiece* begin,
                              DecodeOutcome& outcome);
