#pragma once

#include "news/nntp_errors.h"

#include <QByteArray>
#include <QString>
#include <utility>

// Status lines and commands, shared by the main connection and the posting
// client.

// A status line longer than this is not NNTP; stop before it eats memory.
inline constexpr qsizetype kMaxStatusLine = 64 * 1024;

// Server refusals keep their own code; anything else the command does not
// expect is ours.
inline int errorCodeFor(int code) {
    return code >= 400 && code <= 599 ? code : NntpError::UnexpectedReply;
}

// A user's text inside a command line: no line break may end it early.
inline QByteArray withoutLineBreaks(const QString& text) {
    QByteArray bytes = text.toUtf8();
    bytes.replace('\r', QByteArray()).replace('\n', QByteArray());
    return bytes;
}

enum class LineTake { Line, Partial, TooLong };

// Cuts the next line ending in LF off chunk from pos, joined to what buffer
// held from earlier blocks; the LF is dropped, a CR before it stays. Without
// an LF the rest of the chunk waits in buffer, up to kMaxStatusLine.
inline LineTake takeStatusLine(QByteArray& buffer, const QByteArray& chunk, qsizetype& pos,
                               QByteArray& line) {
    const qsizetype nl = chunk.indexOf('\n', pos);
    if (nl < 0) {
        buffer.append(chunk.constData() + pos, chunk.size() - pos);
        pos = chunk.size();
        return buffer.size() > kMaxStatusLine ? LineTake::TooLong : LineTake::Partial;
    }
    line = std::exchange(buffer, QByteArray());
    line.append(chunk.constData() + pos, nl - pos);
    pos = nl + 1;
    return LineTake::Line;
}
