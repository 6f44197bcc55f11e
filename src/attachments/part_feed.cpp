#include "attachments/part_feed.h"

#include <chrono>
#include <cstring>

namespace {
constexpr std::size_t kSpares = 2;
}

PartFeed::PartFeed() {
    // Unbuffered: every read goes straight to readData, on the reader's thread.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

void PartFeed::push(QByteArray&& bytes) {
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
    return changed_.wait_for(lock, std::chrono::milliseconds(ms),
                             [&] { return held_ <= bytes || readerDone_; });
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

void PartFeed::abandon() {
    std::lock_guard lock(mutex_);
    abandoned_ = true;
    parts_.clear();
    held_ = 0;
    changed_.notify_all();
}

void PartFeed::readerDone() {
    std::lock_guard lock(mutex_);
    readerDone_ = true;
    parts_.clear();
    held_ = 0;
    changed_.notify_all();
}

qint64 PartFeed::readData(char* data, qint64 maxSize) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !parts_.empty() || finished_ || abandoned_; });
    if (abandoned_ || parts_.empty()) return 0; // the end of the stream
    qint64 copied = 0;
    while (copied < maxSize && !parts_.empty()) {
        QByteArray& front = parts_.front();
        const qint64 n = std::min<qint64>(maxSize - copied, front.size() - offset_);
        std::memcpy(data + copied, front.constData() + offset_, std::size_t(n));
        copied += n;
        offset_ += n;
        if (offset_ == front.size()) {
            // Enough drained buffers are kept for the download to reuse:
            // one on its way in, the ones the feed may hold.
            if (spares_.size() < kSpares && front.isDetached()) spares_.push_back(std::move(front));
            parts_.pop_front();
            offset_ = 0;
        }
    }
    held_ -= copied;
    changed_.notify_all();
    return copied;
}
