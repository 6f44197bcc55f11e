#include "attachments/part_feed.h"

#include <chrono>
#include <cstring>

namespace {
// Drained buffers kept for the download to reuse. Only a post's first part
// is handed over whole (the later ones stream in blocks), so one is enough.
constexpr std::size_t kSpares = 1;
} // namespace

PartFeed::PartFeed() {
    // Unbuffered: every read goes straight to readData, on the reader's thread.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

void PartFeed::push(QByteArray&& bytes) {
    // A small part of a large block (an article's last bytes) would keep the
    // whole block alive while the bound counts only the part: such a part
    // is held as a copy of its own, so what is kept stays within twice what
    // is counted.
    if (bytes.capacity() > 2 * bytes.size()) bytes = QByteArray(bytes.constData(), bytes.size());
    std::lock_guard lock(mutex_);
    if (readerDone_ || abandoned_ || finished_ || bytes.isEmpty()) return;
    held_ += bytes.size();
    parts_.push_back(std::move(bytes));
    changed_.notify_all();
}

QByteArray PartFeed::takeSpare() {
    std::lock_guard lock(mutex_);
    if (spares_.empty()) return QByteArray();
    QByteArray spare = std::move(spares_.back());
    spares_.pop_back();
    spare.resize(0);
    return spare;
}

qint64 PartFeed::held() const {
    std::lock_guard lock(mutex_);
    return held_;
}

bool PartFeed::waitHeldAtMost(qint64 bytes, int ms) {
    std::unique_lock lock(mutex_);
    roomAt_ = bytes;
    const bool reached = room_.wait_for(lock, std::chrono::milliseconds(ms),
                                        [&] { return held_ <= bytes || readerDone_; });
    roomAt_.reset();
    return reached;
}

// Under the lock: held_ changed or the reader stopped.
void PartFeed::wakeWaiter() {
    if (roomAt_ && (held_ <= *roomAt_ || readerDone_)) room_.notify_all();
}

void PartFeed::finish() {
    std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

bool PartFeed::waitForEnd() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return finished_ || abandoned_; });
    return !abandoned_;
}

// The parts go, but the one the reader has a view of stays as long as the
// feed, counted as read.
void PartFeed::dropParts() {
    if (lent_ > 0) {
        parts_.erase(parts_.begin() + 1, parts_.end());
        offset_ = parts_.front().size();
        lent_ = 0;
    } else {
        parts_.clear();
        offset_ = 0;
    }
    held_ = 0;
    changed_.notify_all();
    room_.notify_all();
}

void PartFeed::abandon() {
    std::lock_guard lock(mutex_);
    abandoned_ = true;
    dropParts();
}

void PartFeed::readerDone() {
    std::lock_guard lock(mutex_);
    readerDone_ = true;
    dropParts();
}

// Under the lock: what the reader had a view of is read.
void PartFeed::releaseLent() {
    if (lent_ == 0) return;
    offset_ += lent_;
    held_ -= lent_;
    lent_ = 0;
    QByteArray& front = parts_.front();
    if (offset_ == front.size()) {
        if (spares_.size() < kSpares && front.isDetached()) spares_.push_back(std::move(front));
        parts_.pop_front();
        offset_ = 0;
    }
    wakeWaiter();
}

std::string_view PartFeed::borrow(qint64 maxSize) {
    std::unique_lock lock(mutex_);
    releaseLent();
    changed_.wait(lock, [&] { return !parts_.empty() || finished_ || abandoned_ || readerDone_; });
    if (abandoned_ || readerDone_ || parts_.empty() || maxSize <= 0) return {};
    const QByteArray& front = parts_.front();
    lent_ = qsizetype(std::min<qint64>(maxSize, front.size() - offset_));
    return {front.constData() + offset_, std::size_t(lent_)};
}

// A read is a view taken and copied out; it counts as read at the next call.
qint64 PartFeed::readData(char* data, qint64 maxSize) {
    const std::string_view lent = borrow(maxSize);
    if (!lent.empty()) std::memcpy(data, lent.data(), lent.size());
    return qint64(lent.size());
}
