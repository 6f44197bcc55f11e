#pragma once

#include <QString>

class App;

// Makes AttachName, a name found in an article, fit to stand in DestDir:
// too long a name is dropped, path separators and "*" become "_", quotes
// around it go, the first "|" becomes "-"; then it becomes the name the file
// will be written under (fileNameToWrite). Empty means no attachment.
void CleanAttachName(App& app);

// The name a decoded file is written under, from a name an article gives:
// the last element of any path (whichever separator the poster's system
// used), up to a line end, without control characters or blanks around it,
// and no longer than a file system takes, the extension kept when it is
// cut. Empty when nothing usable is left ("." and ".." included). Applying
// it twice changes nothing, so every test of a file's existence can use it.
QString fileNameToWrite(QStringView name);

// Lists a file that now exists in DestDir in lstFiles with the icon of its
// type, unless a row holds its name already; previews it when it isn't a
// video and the preview is on; updates the list's title.
void AddaFile(App& app, QString& tmp);

// The tag of a row of lstFiles that reports on a set of files (what PAR2
// made of it) rather than naming one: the handlers open nothing for it, and
// Delete drops the row alone.
inline constexpr char kReportRowTag[] = "PAR2";

// Handlers of lstFiles. Click previews the current row's file; double click
// (and Enter) opens it with the desktop's application; Space makes row 0
// current when no row is; Delete deletes the current row's file and row.
// Key codes are Qt's.
void lstFiles_Click(App& app);
void lstFiles_DblClick(App& app);
void lstFiles_KeyPress(App& app, int key);
// Runs for every key, after the list has moved its current row.
void lstFiles_KeyDown(App& app, int key);
