#pragma once

#include "setup/server_index.h"

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
    std::unique_ptr<RowContainsIndex> serverRows;
};

HarvestState& harvestState(App& app);
