#pragma once

#include <QString>

class App;

// Toggles the preview of incoming pictures.
void menuPreview_Click(App& app);
// Shows a file of DestDir in Picture1, and in the large window when open.
void ShowPreview(App& app, const QString& name);
// Empties Picture1, and the large window's picture when it is open.
void ClearPreviews(App& app);

// Opens the large window (menu item); an open one takes Picture1's file.
void menuPreviewL_Click(App& app);
// Double click on Picture1: opens the large window.
void Picture1_DblClick(App& app);

// frmMaxPrev opening: its picture takes Picture1's, its rectangle comes from
// the settings. The window calls it and then places itself at PLeft, PTop.
void frmMaxPrev_Load(App& app);
// frmMaxPrev closing: the window has put its normal rectangle in PLeft,
// PTop, PWidth and PHeight; they are saved.
void frmMaxPrev_Unload(App& app);
// A key in the large window: Delete, Enter and Space act on lstFiles, the
// up and down arrows walk it.
void SetlPicture(App& app, int key);
