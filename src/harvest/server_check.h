#pragma once

#include <QString>

class App;

// Works through the selected rows of the server list: mode "" checks and
// verifies each server; "@EMAIL", "@NEWS", "@GENLIST", "@RANDOM" and a group
// name run the server-wide scans. Runs to its end inside the call.
void cmdCheckAll(App& app, QString& mode);
// Throws the server in CurrentServer out of the server list, the work list
// (row b of lstFavorites), and its group cache, and logs why.
void RemoveServer(App& app, int& b);

void menuCheck_Click(App& app);

QString checkLogPath(const App& app);
