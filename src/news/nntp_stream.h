#pragma once

#include <QByteArray>

// The longest line a receiver holds while it waits for the line's end. No
// real reply comes near it; a longer line is a broken or hostile server.
inline constexpr qsizetype kMaxLineBytes = 1024 * 1024;

// The three-digit code of a status line, or -1 when the line has none.
inline int nntpReplyCode(const QByteArray& line) {
    if (line.size() < 3) return -1;
    for (int k = 0; k < 3; ++k) {
        if (line[k] < '0' || line[k] > '9') return -1;
    }
    if (line.size() > 3 && line[3] >= '0' && line[3] <= '9') return -1;
    return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

// Bytes [from, from + n) of whole as an array of their own that shares
// whole's storage instead of copying it, as whole itself does when copied.
// Unlike most arrays it is not followed by a '\0' unless whole ends there;
// like any shared array it is copied once either side writes to it.
QByteArray sharedPart(const QByteArray& whole, qsizetype from, qsizetype n);

// Undoes the dot-stuffing of a multi-line NNTP reply while it streams in, and
// finds its terminating "." line. Blocks may be cut anywhere: a stuffed ".."
// or the terminator split over two blocks is recognised all the same.
//
// Lines end with CR LF; a bare LF inside a line (articles carry them) ends
// nothing. A reply from a server that ends its lines with LF alone is read in
// LF mode, where every LF ends a line and comes out as CR LF, so that what
// follows sees one form only.
//
// Runs in one pass over the bytes. A block without a stuffed line comes
// back as the very same (shared) QByteArray, or a part of it before or after
// the terminator, so the common case costs no copy at all.
class NntpBodyDecoder {
public:
    struct Result {
        QByteArray data;        // payload of this block, unstuffed
        qsizetype consumed = 0; // bytes taken from the block, terminator included
        bool finished = false;  // the terminating line was reached
    };

    // Starts a new reply body: the next byte is the start of a line.
    void reset(bool lfOnly = false) {
        state_ = State::LineStart;
        lfOnly_ = lfOnly;
        lastWasCr_ = false;
    }

    // Takes the bytes of block from position from on. When the terminator is
    // found the bytes behind it are left alone (consumed tells where).
    Result feed(const QByteArray& block, qsizetype from = 0);

private:
    enum class State {
        LineStart, // at the first byte of a line
        InLine,    // inside a line
        Dot,       // a line began with "."; it is dropped whatever follows
        DotCr,     // ".\r" at a line start; a "\n" next makes it the terminator
    };
    State state_ = State::LineStart;
    bool lfOnly_ = false;
    bool lastWasCr_ = false; // the byte before the next block was a CR
};

// Turns unstuffed overview lines ("number TAB Subject TAB From ...") into the
// lines an XHDR reply would have given for one field: "number value\r\n".
// Lines may arrive cut anywhere; a partial line waits for the next block.
class NntpOverviewPicker {
public:
    // Field position in an overview line: 1 Subject, 2 From, 3 Date,
    // 4 Message-ID, 5 References, 6 Bytes, 7 Lines.
    explicit NntpOverviewPicker(int fieldIndex = 1) : fieldIndex_(fieldIndex) {}

    // The overview position of a header field, or -1 when the standard
    // overview does not hold it. The name is compared without case.
    static int fieldIndexOf(const QByteArray& field);

    QByteArray feed(const QByteArray& data);
    // What is left when the reply ended without a final CR LF.
    QByteArray finish();
    // Bytes of a line still waiting for its end.
    qsizetype pending() const { return partial_.size(); }

private:
    void pickLine(const char* begin, const char* end, QByteArray& out) const;

    int fieldIndex_;
    QByteArray partial_;
};
