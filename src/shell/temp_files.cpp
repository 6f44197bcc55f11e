#include "shell/temp_files.h"

#include "shell/app.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

namespace {

void removeTmpFiles(const QString& dir) {
    QDir d(dir);
    const QStringList names = d.entryList({QStringLiteral("*.tmp")}, QDir::Files | QDir::Hidden);
    for (const QString& n : names)
        QFile::remove(d.filePath(n));
}

} // namespace

void KillTempFiles(App& app, bool all) {
    if (all) {
        removeTmpFiles(app.AppPath);
        if (app.DestDir != app.AppPath) removeTmpFiles(app.DestDir);
        return;
    }
    if (app.TempFile.isEmpty()) return;
    QFile::remove(app.AppPath + app.TempFile);
    if (app.DestDir != app.AppPath) QFile::remove(app.DestDir + app.TempFile);
}

void MakeTempFile(App& app) {
    const double r = QRandomGenerator::global()->generateDouble();
    app.TempFile = QString::number(100000 + static_cast<int>(r * 255996)) + QStringLiteral(".tmp");
}
