#pragma once

#include <QString>

class App;

// Fills lstMessages with the articles of CurrentGroup; 0 when rows came, else -1.
int cmdGetMessageHeaders(App& app, bool cache);
// Reply to a group select: asks for the header range unless the list file served.
void NNTP_GroupSelected(App& app, const QString& name, qint64 first, qint64 last, qint64 count);
// True for subjects that carry one of the usual spam marks.
bool IsJunkSubject(QStringView text);
// The per-group list file of this run.
QString messageListPath(const App& app);
