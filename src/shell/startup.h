#pragma once

class App;

// Startup of the main window, in its fixed order of steps.
void Form_Load(App& app);
// Saves servers, favourites and settings, removes temporary files, ends.
void cmdExit(App& app);
// all: every "*.tmp" in AppPath and DestDir; otherwise only our own TempFile.
void KillTempFiles(App& app, bool all);
// A fresh name for this process's temporary file.
void MakeTempFile(App& app);
void cmdSetup(App& app);
