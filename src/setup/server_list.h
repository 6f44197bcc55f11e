#pragma once

#include <QString>

class App;

// The live server list in txtNNTPServ and its file "NNTP_NET.INI".
QString serverListPath(const App& app);
void LoadServerList(App& app);
void SaveServerList(App& app);
// Row whose address (the text after the last blank) is exactly serv; -1 if none.
int findServer(const App& app, const QString& serv);
