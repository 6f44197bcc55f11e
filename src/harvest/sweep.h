#pragma once

#include <QString>

class App;
class ListModel;

// One sweep over a scope of the main window, harvesting one kind of thing.
// lgetWhich: 0 current group, 1 selected groups, 2 selected favourites,
// 3 selected messages. getWhat: 0 Web/FTP addresses, 1 e-mail addresses,
// 2 new servers.
void menuGetSub(App& app, int lgetWhich, int getWhat, ListModel& lstb, bool isConn,
                const QString& bmsg, const QString& fmsg);

// The questions before an e-mail sweep: output file, then search text.
bool AskEmailSweep(App& app);
bool ChooseOutputFile(App& app);
// The group to look for on the selected servers, or an empty text.
QString AskGroupName(App& app);

void menuWebC_Click(App& app);
void menuWebG_Click(App& app);
void menuWebF_Click(App& app);
void menuWebM_Click(App& app);
void menuEmailC_Click(App& app);
void menuEmailG_Click(App& app);
void menuEmailF_Click(App& app);
void menuServC_Click(App& app);
void menuServG_Click(App& app);
void menuServF_Click(App& app);
