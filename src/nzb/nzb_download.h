#pragma once

#include <QString>
#include <QStringList>

class App;
struct NzbDocument;

// Fetches every file of an NZB from the current server, connecting first
// when the connection is down: each segment by its Message-ID, in segment
// order, into the temporary file, which the decoder turns into a file of
// DestDir under the name the data gives (the same hygiene and duplicate rule
// as a download from the message list). The progress bar runs over all
// segments of the NZB; Stop ends the run after the article in work.
//
// A file with segments the server doesn't have (430) is reported in the
// status line; it is kept for PAR2 to repair when the NZB holds ".par2"
// files, and removed otherwise. When it does and Par2Check is on, the set is
// verified and repaired once every file is in, and lstFiles gets a row that
// says what came of it. Returns the number of files written whole.
int cmdDownloadNzb(App& app, const NzbDocument& nzb);

// "Open NZB...", a dropped ".nzb" file and a name on the command line: reads
// the file, says in a message box why when it can't be had, else downloads.
void OpenNzbFile(App& app, const QString& path);
// The menu item: asks for the file, then OpenNzbFile.
void menuOpenNzb_Click(App& app);
// Whether a path names an NZB file by its ending.
bool isNzbPath(const QString& path);
// The NZB files among paths (the files of a drop, the command line's
// arguments), opened one after the other once the event queue runs: a drop
// must return before the download starts.
void OpenNzbFilesLater(App& app, const QStringList& paths);
