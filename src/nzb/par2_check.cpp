#include "nzb/par2_check.h"

#include "attachments/decoded_files.h"
#include "shell/app.h"
#include "shell/gating.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace {

// par2's exit codes, the same for verify and repair.
constexpr int kWhole = 0;
constexpr int kRepairable = 1;
constexpr int kTooFewBlocks = 2;

// "Scanning: 12.3%" and the like, each ended by a CR while it counts.
const QRegularExpression& progressLine() {
    static const QRegularExpression re(QStringLiteral("([A-Za-z]+): (\\d{1,3})\\.(\\d)%"));
    return re;
}

struct Run {
    bool finished = false;
    int exitCode = -1;
    QByteArray output;
};

// One par2 command over the set, in the directory of its files. The wait
// lets the event queue run; it ends with par2, at a stop request, at the
// process's end, or after Timeout seconds in which par2 said nothing.
Run runCommand(App& app, const QString& command, const QString& indexFile) {
    Run run;
    QProcess par2;
    par2.setWorkingDirectory(QFileInfo(indexFile).absolutePath());
    par2.setProcessChannelMode(QProcess::MergedChannels);
    QObject::connect(&par2, &QProcess::readyRead, &par2, [&] {
        app.TickCount = 0;
        const QByteArray chunk = par2.readAll();
        run.output += chunk.right(4096);
        if (run.output.size() > 65536) run.output = run.output.right(4096);
        QRegularExpressionMatchIterator it = progressLine().globalMatch(QString::fromLatin1(chunk));
        QRegularExpressionMatch last;
        while (it.hasNext())
            last = it.next();
        if (last.hasMatch()) {
            const int permille = last.captured(2).toInt() * 10 + last.captured(3).toInt();
            app.setProgress(0, 1000, std::min(permille, 1000));
            app.setStatus(2, QStringLiteral("PAR2 ") + last.captured(1));
        }
    });
    QObject::connect(&par2, &QProcess::finished, &par2, [&](int code, QProcess::ExitStatus st) {
        run.finished = true;
        run.exitCode = st == QProcess::NormalExit ? code : -1;
    });
    QObject::connect(&par2, &QProcess::errorOccurred, &par2, [&](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart) run.finished = true;
    });
    par2.start(QStringLiteral("par2"), {command, QStringLiteral("--"), indexFile});
    app.TickCount = 0;
    while (!run.finished && !app.StopRequested && !app.ending && app.TickCount < app.Timeout)
        app.DoEvents();
    if (!run.finished) {
        run.exitCode = -1;
        QObject::disconnect(&par2, nullptr, nullptr, nullptr);
        par2.kill();
        par2.waitForFinished(5000); // the process was killed: this is its reaping
    }
    return run;
}

// Backups par2 keeps of the files it replaced ("name.1"), in the set's directory.
QStringList backups(const QString& indexFile) {
    const QDir dir = QFileInfo(indexFile).absoluteDir();
    QStringList found;
    for (const QString& name : dir.entryList({QStringLiteral("*.1")}, QDir::Files))
        if (QFile::exists(dir.filePath(name.chopped(2)))) found << dir.filePath(name);
    return found;
}

} // namespace

QString par2VerdictText(Par2Verdict verdict) {
    switch (verdict) {
    case Par2Verdict::Verified:
        return QStringLiteral("verified");
    case Par2Verdict::Repaired:
        return QStringLiteral("repaired");
    case Par2Verdict::BeyondRepair:
        return QStringLiteral("beyond repair");
    case Par2Verdict::Failed:
        break;
    }
    return QStringLiteral("not checked");
}

QString par2IndexFile(const QStringList& names) {
    static const QRegularExpression volume(QStringLiteral("\\.vol\\d+[+-]\\d+\\.par2$"),
                                           QRegularExpression::CaseInsensitiveOption);
    QString first;
    for (const QString& n : names) {
        if (!n.endsWith(QLatin1String(".par2"), Qt::CaseInsensitive)) continue;
        if (!volume.match(n).hasMatch()) return n;
        if (first.isEmpty()) first = n;
    }
    return first;
}

Par2Verdict runPar2(App& app, const QString& indexFile) {
    app.setStatus(1, QStringLiteral("Verifying with PAR2"));
    const Run verify = runCommand(app, QStringLiteral("verify"), indexFile);
    if (verify.exitCode == kWhole) return Par2Verdict::Verified;
    if (verify.exitCode == kTooFewBlocks) return Par2Verdict::BeyondRepair;
    if (verify.exitCode != kRepairable) return Par2Verdict::Failed;
    app.setStatus(1, QStringLiteral("Repairing with PAR2"));
    const QStringList before = backups(indexFile);
    const Run repair = runCommand(app, QStringLiteral("repair"), indexFile);
    if (repair.exitCode == kWhole) {
        // The damaged copies repair set aside are of no further use.
        for (const QString& backup : backups(indexFile))
            if (!before.contains(backup)) QFile::remove(backup);
        return Par2Verdict::Repaired;
    }
    return repair.exitCode == kTooFewBlocks ? Par2Verdict::BeyondRepair : Par2Verdict::Failed;
}

void reportPar2(App& app, const QString& indexFile, Par2Verdict verdict) {
    const QString text =
        QStringLiteral("PAR2 ") + indexFile + QStringLiteral(": ") + par2VerdictText(verdict);
    app.lstFiles.addItem(-1, text, QLatin1String(kReportRowTag), 0);
    app.setStatus(1, QStringLiteral("Finished Downloading"));
    app.setStatus(2, text);
}

void checkPar2Set(App& app, const QStringList& names) {
    if (!app.Par2Check || app.StopRequested || app.ending) return;
    const QString index = par2IndexFile(names);
    if (index.isEmpty()) return;
    // A post that came out damaged left no file; repair writes it anew.
    const QDir dir(app.DestDir);
    const QStringList before = dir.entryList(QDir::Files);
    const bool batch = app.BatchRun;
    app.BatchRun = true; // the message list's handlers wait for the end
    SetMenuItem(app, 5, true);
    const Par2Verdict verdict = runPar2(app, app.DestDir + index);
    SetMenuItem(app, 5, false);
    app.BatchRun = batch;
    app.setProgressValue(app.progMin);
    if (verdict == Par2Verdict::Repaired) {
        for (QString name : dir.entryList(QDir::Files))
            if (!before.contains(name)) AddaFile(app, name);
    }
    reportPar2(app, index, verdict);
}
