#pragma once

#include "setup/server_index.h"

#include <QSet>
#include <QString>
#include <memory>

class App;

// What the header scans keep between blocks: the text not consumed yet and
// indexes that answer "does a row hold this?" for lstHTTP and the server
// list without a walk over every row per line.
struct HarvestState {
    // Received header text not yet cut into lines or tokens (MessageText of
    // the scans). Bytes are held one per character, as the article text is.
    QString pending;
    // Where the search for the next line end or "!" goes on.
    qsizetype searchFrom = 0;
    // A scan is at work: a block that arrives in one of its passes of the
    // event queue is only appended, and the running scan consumes it.
    bool scanning = false;
    std::unique_ptr<RowContainsIndex> httpRows;
    // The rows of lstHTTP whole, folded to one case, as of httpRevision: most
    // lines of a group repeat an address that a row already is.
    QSet<QString> httpExact;
    quint64 httpRevision = ~quint64(0);
    // Path tokens that a row held when last asked. Rows only come in during
    // a scan, so a held token stays held until someone else edits a list.
    QSet<QString> knownTokens;
    quint64 tokensServerRevision = ~quint64(0), tokensHttpRevision = ~quint64(0);
    std::unique_ptr<RowContainsIndex> serverRows;
};

HarvestState& harvestState(App& app);
