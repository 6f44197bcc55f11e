#pragma once

#include <QString>

class App;

// Makes AttachName, a name found in an article, fit to stand in DestDir:
// too long a name is dropped, path separators and "*" become "_", quotes
// around it go, the first "|" becomes "-". Empty means no attachment.
void CleanAttachName(App& app);

// Lists a file that now exists in DestDir in lstFiles, unless a row holds
// its name already, and updates the list's title.
void AddaFile(App& app, QString& tmp);
