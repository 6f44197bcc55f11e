#pragma once

#include <QByteArray>
#include <QIODevice>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

// The articles of a post on their way from the download to the decoder's
// thread: the download hands over each article as it completes, and the
// decoder reads them in turn as one stream, so decoding runs beside the
// fetching instead of after it. Reads block until bytes come, the feed is
// finished (the end of the stream) or abandoned (an end at once).
class PartFeed : public QIODevice {
public:
    PartFeed();

    // The download's side. push() takes the article's buffer; a drained one
    // comes back from takeSpare() (empty when none is), so the room is
    // allocated a few times per post, not once per article.
    void push(QByteArray&& bytes);
    QByteArray takeSpare();
    // Bytes handed over and not yet read.
    qint64 held() const;
    // Waits at most `ms` for held() to fall to `bytes` or below, or for the
    // reader to stop; true when it has. The reader wakes the waiter only then,
    // not at every read.
    bool waitHeldAtMost(qint64 bytes, int ms);
    void finish();
    void abandon();
    // The reader's wait for one of the two: true when finished.
    bool waitForEnd();

    // The reader's side: it stops reading (it ended early); what is pushed
    // after that is dropped.
    void readerDone();
    // The reader's side without a copy: a view of at most maxSize of the next
    // bytes, valid until the next call, which takes the bytes of the view
    // before as read. Waits as a read does; an empty view is the end.
    std::string_view borrow(qint64 maxSize);

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_; // for the reader: parts came, or the end
    std::condition_variable room_;    // for the download: held_ fell to roomAt_
    std::optional<qint64> roomAt_;    // what the download waits for, if it does
    void wakeWaiter();
    void releaseLent();
    void dropParts();

    std::deque<QByteArray> parts_;
    qsizetype offset_ = 0; // read so far of parts_.front()
    qsizetype lent_ = 0;   // of parts_.front() from offset_ on, in the reader's hands
    qint64 held_ = 0;
    std::vector<QByteArray> spares_; // drained buffers, at most kSpares
    bool finished_ = false;
    bool abandoned_ = false;
    bool readerDone_ = false;
};
