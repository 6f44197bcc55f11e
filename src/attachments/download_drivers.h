#pragma once

class App;

// Double click (or Enter) on lstMessages, and the Download button: fetches
// the attachments of the selected rows, at most 200 of them, in row order,
// then hands the files written to checkPar2Set (a PAR2 set among them is
// verified and repaired).
void lstMessages_DblClick(App& app);
// F2 on lstMessages: fetches every post of the list, from row 0 on.
void lstMessages_DownloadAll(App& app);
// The F2 path itself, for a driver that runs it inside a run of its own (a
// Web sweep): the same conditions, without the refusal of a second run.
void DownloadAllRows(App& app);
// "&All Attachments": F2 after clearing a standing stop request.
void menuDownloadAll_Click(App& app);
// Right button on lstMessages: the current row goes to the message viewer.
void lstMessages_MouseDown(App& app);
// Walks the selected favourites across their servers, downloading every
// post of each group; used by the scheduler as well.
void menuDowloadAllF_Click(App& app);
