#pragma once

#include <QString>
#include <QStringList>

class App;

// What par2 made of a set.
enum class Par2Verdict {
    Verified,     // every file whole
    Repaired,     // damaged or missing files rebuilt from the recovery blocks
    BeyondRepair, // too few blocks
    Failed,       // par2 could not run, was stopped, or gave up without a verdict
};

QString par2VerdictText(Par2Verdict verdict);

// The file par2 is best started on among the ".par2" names of a set: the
// index file (no ".volNN+NN" in its name), else the first. Empty when the
// set has none.
QString par2IndexFile(const QStringList& names);

// Verifies the set of indexFile (a path) with "par2 verify" and repairs it
// with "par2 repair" when it needs and allows it. par2 runs as a separate
// process while the event queue runs; its progress is on the progress bar.
// A stop request ends it, so does par2 staying silent for Timeout seconds.
// Backups that repair leaves ("name.1") are removed.
Par2Verdict runPar2(App& app, const QString& indexFile);

// The verdict on the set of indexFile (its name in DestDir) in a row of
// lstFiles that names no file, and in the status line.
void reportPar2(App& app, const QString& indexFile, Par2Verdict verdict);

// The PAR2 step of a download of selected rows: when the files it wrote
// (names in DestDir) hold a ".par2" file and Par2Check is on, the set is
// verified and repaired, the files repair recreated are listed, and the
// verdict is reported.
void checkPar2Set(App& app, const QStringList& names);
