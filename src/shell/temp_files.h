#pragma once

class App;

// all: every "*.tmp" in AppPath and DestDir; otherwise only our own TempFile.
void KillTempFiles(App& app, bool all);
// A fresh name for this process's temporary file.
void MakeTempFile(App& app);
