#pragma once

class App;

// Where the program keeps its files: the executable's directory when it is
// writable, otherwise the per-user data directory. Ends in a separator.
void InitAppPath(App& app);
// Sets AppPath and DestDir; a stored directory that is gone falls back to AppPath.
void LoadDestDir(App& app);
void LoadSettings(App& app);
void SaveSettings(App& app);
