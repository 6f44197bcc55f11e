#pragma once

class App;

// Menu items and list actions of the news connection.
void menuGroup_Click(App& app);
void menuRefreshG_Click(App& app);
void menuRefreshM_Click(App& app);
void menuStop_Click(App& app);
// Double click or Enter on a row of lstGroups: opens that group.
void lstGroups_DblClick(App& app);
