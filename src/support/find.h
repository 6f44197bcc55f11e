#pragma once

#include <QString>

class App;

// Searches the list on view for a row containing txt, from the row after the
// current one round to the current row itself, and selects the row found.
// False, with "Not Found", when no row has it; false at once for an empty txt.
bool FindText(App& app, const QString& txt);
// Find Next and F3: the last search again.
void menuFindNext_Click(App& app);
// The search field's text, kept in LastFind and in its setting at once.
void StoreLastFind(App& app, const QString& txt);
