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
