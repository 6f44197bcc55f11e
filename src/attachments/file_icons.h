#pragma once

#include <QString>

class App;

// Row pictures from this number on are file-type icons: picture
// kFileIconBase + i is the theme icon named App::fileIconNames[i].
constexpr int kFileIconBase = 1000;

// The icon theme's name of the small icon for files with this extension
// (".jpg", ".tar.gz"), from the MIME database; "" when the extension is
// unknown or the theme has no icon for its type.
QString FindIconSource(const QString& extension);

// Draws the icon of an extension into Picture2 (item 0 is the only one): a
// row added now gets it. When no icon is found Picture2 keeps the one drawn
// last.
void GetFileIcon(App& app, const QString& extension, int index);
