#include "attachments/decode_stream.h"
#include "attachments/crc32.h"
#include "support/atomic_file.h"

#include <QFileInfo>
#include <QIODevice>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
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
    : device_(device), buffer_(new char[std::size_t(bufferSize)]), capacity_(bufferSize),
      maxLine_(std::size_t(maxLineLength)) {
    carry_.reserve(maxLine_);
}

bool LineReader::fill() {
    if (eof_) return false;
    const qint64 n = device_.read(buffer_.get(), capacity_);
    pos_ = 0;
    end_ = 0;
    if (n <= 0) {
        readFailed_ = n < 0;
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
        const char* start = buffer_.get() + pos_;
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
    return std::string_view(buffer_.get() + pos_, std::min(std::size_t(end_ - pos_), limit));
}

OutputSink::OutputSink(std::size_t bufferSize)
    : buffer_(new unsigned char[bufferSize]), capacity_(bufferSize) {}

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
    errorText_ = file_.errorString();
    failed_ = true;
    return false;
}

unsigned char* OutputSink::reserve(std::size_t bytes) {
    Q_ASSERT(bytes <= capacity_);
    if (capacity_ - used_ < bytes) flush();
    return buffer_.get() + used_;
}

void OutputSink::updateCrc() {
    if (crcEnabled_ && used_ > crcFrom_)
        crc_ = crc32Update(crc_, buffer_.get() + crcFrom_, used_ - crcFrom_);
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

bool OutputSink::flush() {
    updateCrc();
    if (used_ > 0 && !failed_) {
        if (!writeWhole(file_, QByteArrayView(buffer_.get(), qsizetype(used_)))) {
            failed_ = true;
            errorText_ = file_.errorString();
        }
    }
    flushedTo_ += qint64(used_);
    used_ = 0;
    crcFrom_ = 0;
    return !failed_;
}

bool OutputSink::seek(qint64 position) {
    if (position == this->position()) return !failed_;
    flush();
    highWater_ = std::max(highWater_, flushedTo_);
    if (!failed_ && !file_.seek(position)) {
        failed_ = true;
        errorText_ = file_.errorString();
    }
    flushedTo_ = position;
    return !failed_;
}

OutputSink::~OutputSink() {
    finish(false);
}

bool OutputSink::finish(bool keep) {
    if (done_ || !file_.isOpen()) return false;
    done_ = true;
    if (keep) flush();
    file_.close();
    if (keep && !failed_) {
        const int error = renameWithoutReplacing(file_.fileName(), target_);
        if (error == 0) return true;
        targetExists_ = error == EEXIST;
        errorText_ = QString::fromLocal8Bit(std::strerror(error));
    }
    file_.remove();
    return !keep;
}
