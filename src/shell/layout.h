#pragma once

#include <QString>

class App;

// Lays out the main window's frames in twips from the window's size and
// keeps the window at a usable size and on the screen.
void Form_Resize(App& app);
// Rebuilds the one title that code names ("0" to "9"); other codes do nothing.
void UpdateListTitles(App& app, const QString& code);
