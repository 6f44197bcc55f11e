#pragma once

class App;

// The server-wide scans of cmdCheckAll, one server at a time, its groups in
// lstGroups.

// Loads the groups of CurrentServer from its cache when it has one; true
// when it did (and, for the header scans, a connection stands if it could).
bool scanGroupsFromCache(App& app);
void scanHeaders(App& app);   // "@EMAIL", "@NEWS"
void scanGroupList(App& app); // "@GENLIST"
void scanForGroup(App& app);  // a group name
void scanRandom(App& app);    // "@RANDOM"
// The end of a scan run: favourites and output file.
void finishScan(App& app);

void menuScan_Click(App& app);
void menuScanE_Click(App& app);
void menuScanRandom_Click(App& app);
void menuEmailS_Click(App& app);
void menuServS_Click(App& app);
void menuGen_Click(App& app);
