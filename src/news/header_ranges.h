#pragma once

#include <QString>

class App;

// Selects the group and lists HeaderField over its range (only the newest
// NewestHeaders articles when that is set) in requests of at most
// HeaderChunk articles, as the receiver of TransferMode 3 takes them. The
// rows are those one request over the range would give. Stop is honoured
// between chunks; a chunk refused or left unanswered is asked once more,
// then the listing ends with the reason on the status line and the rows so
// far kept. True when every chunk was listed.
bool listGroupHeaders(App& app, const QString& group);

// The first article to list of first..last: the newest `newest` of them
// when newest > 0.
qint64 firstToList(qint64 first, qint64 last, qint64 newest);
// The last article of the chunk that starts at `from`, never past last.
qint64 chunkEnd(qint64 from, qint64 last, qint64 chunk);
