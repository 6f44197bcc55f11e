#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

// An NZB file: the Message-IDs of every segment of every file of a post, as
// indexers publish them and as "Save Selected as NZB..." writes them.

struct NzbSegment {
    int number = 0;       // from 1, the order the file is put together in
    qint64 bytes = 0;     // the article's size on the server
    QByteArray messageId; // without the angle brackets
};

struct NzbFile {
    QString poster;
    qint64 date = 0; // seconds since 1970, UTC
    QString subject;
    QStringList groups;
    QList<NzbSegment> segments; // sorted by number, no number twice
};

struct NzbDocument {
    QList<QPair<QString, QString>> meta; // <head><meta type="...">value</meta>
    QList<NzbFile> files;
};

// Limits past which an NZB is refused rather than read: nothing an indexer
// publishes comes near them, and each keeps a hostile file from costing more
// than a few hundred megabytes.
namespace NzbLimits {
constexpr qint64 kMaxFileBytes = 64LL << 20;
constexpr int kMaxFiles = 10000;
constexpr int kMaxSegments = 500000; // over the whole document
constexpr int kMaxSegmentNumber = 100000;
constexpr qint64 kMaxSegmentBytes = 64LL << 20;
constexpr int kMaxMessageIdLength = 250; // what a server takes in a command line
constexpr int kMaxTextLength = 4096;     // subject, poster, group, meta, any attribute
constexpr int kMaxGroups = 100;          // per file
constexpr int kMaxMeta = 100;
constexpr int kMaxDepth = 8;
} // namespace NzbLimits

struct NzbParse {
    NzbDocument nzb;
    QString error; // empty when the document was read
    bool ok() const { return error.isEmpty(); }
};

// Reads an NZB from its bytes. Unknown elements, entity declarations, a
// file or segment count past the limits and malformed XML are refused with
// a message that says what was wrong and where; nothing is read in part.
NzbParse parseNzb(QByteArrayView bytes);
// The same from a file, refused before it is read when it is too large.
NzbParse readNzbFile(const QString& path);

// The document in the common format (namespace, DOCTYPE, UTF-8).
QByteArray writeNzb(const NzbDocument& nzb);

// The name a post's subject gives its file: the part in double quotes, else
// the subject up to its part counter. Empty when there is nothing usable.
QString nzbFileName(const QString& subject);
