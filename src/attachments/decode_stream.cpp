#include "attachments/decode_stream.h"
#include "attachments/crc32.h"

#include <QFileInfo>
#include <QIODevice>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>
#include <unistd.h>

namespace {

std::string_view withoutCr(std::string_view s) {
    if (!s.empty() && s.back() == '\r') s.remove_suffix(1);
    return s;
}

// Gives the file at `from` the name `to`, never over an existing file:
// rename(2) alone would replace it. Returns 0 or the errno value.
int renameWithoutReplacing(const QString& from, const QString& to) {
    const QByteArray f = QFile::encodeName(from), t = QFile::encodeName(to);
#ifdef __linux__
    if (::renameat2(AT_FDCWD, f.constData(), AT_FDCWD, t.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
#endif
    // A file system without that flag: a second name, which link(2) never
    // puts over a file, then the first name goes.
    if (::link(f.constData(), t.constData()) != 0) return errno;
    ::unlink(f.constData());
    return 0;
}

} // namespace

LineReader::LineReader(QIODevice& device, qsizetype bufferSize, qsizetype maxLineLength)
    : device_(device), buffer_(new char[std::size_t(bufferSize)]), data_(buffer_.get()),
      capacity_(bufferSize), maxLine_(std::size_t(maxLineLength)) {
    carry_.reserve(maxLine_);
}

LineReader::~LineReader() {
    unmap();
}

bool LineReader::mapFile(int fd) {
    struct stat st {};
    if (consumed_ > 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0)
        return false;
    mapFd_ = fd;
    mapEnd_ = st.st_size;
    return true;
}

void LineReader::unmap() {
    if (window_) ::munmap(window_, windowSize_);
    window_ = nullptr;
}

// The next piece of the mapping, as long as a read would be, so the line
// logic sees the same cuts either way; 0 once the mapping is done with, and
// the device then reads on from there.
qint64 LineReader::fillFromMap() {
    const qint64 at = consumed_;
    if (!window_ || at >= windowAt_ + qint64(windowSize_)) {
        unmap();
        // A mapped file cut shorter by someone else faults on access instead
        // of reading short. The inputs are the program's own temporary files,
        // which nothing else writes; the size is checked before each window
        // all the same, and a file that shrank is read to its end by read().
        struct stat st {};
        const qint64 size = ::fstat(mapFd_, &st) == 0 ? std::min<qint64>(st.st_size, mapEnd_) : 0;
        // Windows of a few reads each: large enough that mapping them costs
        // little, small enough to leave the memory of a decode as it was.
        const qint64 window = std::max<qint64>(4, (capacity_ * 4 + 4095) / 4096) * 4096;
        void* p = MAP_FAILED;
        if (at < size) {
            windowSize_ = std::size_t(std::min(window, size - at));
            p = ::mmap(nullptr, windowSize_, PROT_READ, MAP_SHARED, mapFd_, off_t(at));
        }
        if (p == MAP_FAILED) {
            mapFd_ = -1;
            if (!device_.seek(at)) readFailed_ = true;
            return 0;
        }
        window_ = static_cast<char*>(p);
        windowAt_ = at;
    }
    data_ = window_ + (at - windowAt_);
    return std::min<qint64>(capacity_, windowAt_ + qint64(windowSize_) - at);
}

bool LineReader::fill() {
    if (eof_) return false;
    pos_ = 0;
    end_ = 0;
    qint64 n = mapFd_ >= 0 ? fillFromMap() : 0;
    if (borrow) {
        const std::string_view lent = borrow(capacity_);
        data_ = lent.data();
        n = qint64(lent.size());
    } else if (mapFd_ < 0 && !readFailed_) {
        n = device_.read(buffer_.get(), capacity_);
        data_ = buffer_.get();
    }
    if (n <= 0) {
        readFailed_ = readFailed_ || n < 0;
        eof_ = true;
        return false;
    }
    consumed_ += n;
    if (onRead && !onRead(consumed_)) {
        stopped_ = true;
        eof_ = true;
        return false;
    }
    end_ = n;
    return true;
}

LinePiece LineReader::deliverCarry(bool last) {
    std::string_view text(carry_.data(), carry_.size());
    LinePiece piece{last ? withoutCr(text) : text, !midLine_, last};
    midLine_ = !last;
    clearCarry_ = true;
    return piece;
}

bool LineReader::next(LinePiece& piece) {
    if (clearCarry_) {
        carry_.clear();
        clearCarry_ = false;
    }
    for (;;) {
        if (pos_ == end_ && !fill()) {
            if (carry_.empty() && !midLine_) return false;
            piece = deliverCarry(true);
            return true;
        }
        const char* start = data_ + pos_;
        const auto avail = std::size_t(end_ - pos_);
        const auto* nl = static_cast<const char*>(std::memchr(start, '\n', avail));
        const std::size_t segment = nl ? std::size_t(nl - start) : avail;

        // The common case: a whole line inside the buffer goes out in place.
        if (carry_.empty() && nl && segment <= maxLine_) {
            pos_ += qsizetype(segment) + 1;
            piece = LinePiece{withoutCr(std::string_view(start, segment)), !midLine_, true};
            midLine_ = false;
            return true;
        }
        const std::size_t take = std::min(segment, maxLine_ - carry_.size());
        carry_.insert(carry_.end(), start, start + take);
        pos_ += qsizetype(take);
        if (take < segment) {
            piece = deliverCarry(false);
            return true;
        }
        if (nl) {
            ++pos_;
            piece = deliverCarry(true);
            return true;
        }
    }
}

std::string_view LineReader::buffered(std::size_t limit) {
    if (clearCarry_) {
        carry_.clear();
        clearCarry_ = false;
    }
    if (!carry_.empty() || midLine_) return {};
    return std::string_view(data_ + pos_, std::min(std::size_t(end_ - pos_), limit));
}

OutputSink::OutputSink(std::size_t bufferSize) : buffer_(nullptr), capacity_(bufferSize) {
    buffers_[0].reset(new unsigned char[bufferSize]);
    buffer_ = buffers_[0].get();
}

bool OutputSink::open(const QString& path) {
    target_ = path;
    const QString dir = QFileInfo(path).path();
    // Opened as a new file, so it gets the permissions any new file of the
    // user gets (a temporary-file class would make it private).
    for (int attempt = 0; attempt < 8; ++attempt) {
        file_.setFileName(
            dir + QStringLiteral("/.zf-%1.tmp")
                      .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0')));
        if (file_.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            return true;
        if (!file_.exists()) break;
    }
    fail(file_.errorString());
    return false;
}

// Writing into blocks set aside beforehand spares the file system its
// per-block bookkeeping on every write, about a third of the writer's time.
// The size stays as it is (KEEP_SIZE); a file system without the call, or
// without the room, simply goes without. The size may come from a post, so
// it may be anything: no more than half of the free room is ever set aside,
// and only once.
void OutputSink::preallocate(qint64 bytes) {
    if (failed() || preallocated_ || bytes < qint64(capacity_)) return;
#ifdef __linux__
    struct statvfs fs {};
    if (::fstatvfs(file_.handle(), &fs) != 0 || fs.f_frsize == 0 ||
        bytes / qint64(fs.f_frsize) > qint64(fs.f_bavail / 2))
        return;
    preallocated_ = ::fallocate(file_.handle(), FALLOC_FL_KEEP_SIZE, 0, off_t(bytes)) == 0;
#endif
}

void OutputSink::fail(const QString& text) {
    errorText_ = text;
    failed_.store(true, std::memory_order_release);
}

unsigned char* OutputSink::reserve(std::size_t bytes) {
    Q_ASSERT(bytes <= capacity_);
    if (capacity_ - used_ < bytes) flush();
    return buffer_ + used_;
}

void OutputSink::updateCrc() {
    if (crcEnabled_ && used_ > crcFrom_)
        crc_ = crc32Update(crc_, buffer_ + crcFrom_, used_ - crcFrom_);
    crcFrom_ = used_;
}

void OutputSink::resetCrc() {
    crc_ = 0;
    crcFrom_ = used_;
}

std::uint32_t OutputSink::crc() {
    updateCrc();
    return crc_;
}

// On the writer thread, or on the decoding thread once the writer has gone.
// Positioned writes need no seek, so the order of blocks is all that matters.
void OutputSink::writeBlock(const unsigned char* data, std::size_t size, qint64 at) {
    while (size > 0 && !failed()) {
        const ssize_t n = ::pwrite(file_.handle(), data, size, off_t(at));
        if (n < 0 && errno == EINTR) continue;
        // A write that takes nothing without an error is a full disk.
        if (n <= 0) {
            fail(qt_error_string(n < 0 ? errno : ENOSPC));
            return;
        }
        data += n;
        size -= std::size_t(n);
        at += n;
    }
}

void OutputSink::writerLoop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return pending_ || stopping_; });
        if (!pending_) return;
        lock.unlock();
        writeBlock(pending_, pendingSize_, pendingAt_);
        lock.lock();
        pending_ = nullptr;
        changed_.notify_all();
    }
}

// Hands the buffer to the writer and goes on with the other one; waits only
// while the writer is still busy with that one.
void OutputSink::flush() {
    updateCrc();
    if (used_ > 0 && !failed()) {
        if (!buffers_[1] && writerThread_) {
            buffers_[1].reset(new unsigned char[capacity_]);
            // Without a thread to be had, the blocks are written here.
            try {
                writer_ = std::thread([this] { writerLoop(); });
            } catch (const std::system_error&) {
            }
        }
        if (!writer_.joinable()) {
            writeBlock(buffer_, used_, flushedTo_);
        } else {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return !pending_; });
            pending_ = buffer_;
            pendingSize_ = used_;
            pendingAt_ = flushedTo_;
            changed_.notify_all();
            lock.unlock();
            buffer_ = buffer_ == buffers_[0].get() ? buffers_[1].get() : buffers_[0].get();
        }
    }
    flushedTo_ += qint64(used_);
    used_ = 0;
    crcFrom_ = 0;
}

void OutputSink::stopWriter() {
    if (!writer_.joinable()) return;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    writer_.join();
}

bool OutputSink::seek(qint64 position) {
    if (position == this->position()) return !failed();
    flush();
    highWater_ = std::max(highWater_, flushedTo_);
    flushedTo_ = position;
    return !failed();
}

OutputSink::~OutputSink() {
    finish(false);
    stopWriter();
}

bool OutputSink::finish(bool keep) {
    if (done_ || !file_.isOpen()) return false;
    done_ = true;
    // The writer finishes the block it holds; the last one, often the only
    // one of a small file, is written here.
    stopWriter();
    if (keep) {
        updateCrc();
        writeBlock(buffer_, used_, flushedTo_);
        // Blocks set aside beyond the end go back: a truncation to the
        // same size releases them. Should it fail, the file is whole all the
        // same, only larger on the disk.
        struct stat st {};
        if (preallocated_ && ::fstat(file_.handle(), &st) == 0)
            preallocated_ = ::ftruncate(file_.handle(), st.st_size) != 0;
    }
    file_.close();
    if (keep && !failed()) {
        const int error = renameWithoutReplacing(file_.fileName(), target_);
        if (error == 0) return true;
        targetExists_ = error == EEXIST;
        errorText_ = QString::fromLocal8Bit(std::strerror(error));
    }
    file_.remove();
    return !keep;
}
