#pragma once

class App;

// Startup of the main window, in its fixed order of steps.
void Form_Load(App& app);
// Saves servers, favourites and settings, removes temporary files, ends.
void cmdExit(App& app);
void cmdSetup(App& app);
