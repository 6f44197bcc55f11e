// Saves pictures of the schedule dialog, the quick help and the about window,
// each as it opens over a schedule of weekday evenings.
//
// Usage: dialog_screenshots OUTDIR      (under xvfb-run for a headless machine)
#include "program/assembly.h"
#include "schedule/auto_dialog.h"
#include "shell/app.h"
#include "support/about_window.h"
#include "support/quick_help_window.h"

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QTabWidget>
#include <QTemporaryDir>
#include <cstdio>

namespace {

bool save(QWidget* w, const QString& path) {
    w->show();
    QApplication::processEvents();
    const bool ok = w->grab().save(path);
    std::printf("%s %s\n", ok ? "saved" : "failed", qPrintable(path));
    return ok;
}

} // namespace

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: dialog_screenshots OUTDIR\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    QDir().mkpath(out.path());
    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.ExeDir = dir.path();
    app.SettingsFile = dir.filePath(QStringLiteral("settings.ini"));
    app.AutoTime = QStringLiteral("11:30");
    app.AutoAMPM = 1;
    app.AutoDays = QStringLiteral("1111100");

    bool ok = true;
    AutoDialog frmAuto(app);
    ok &= save(&frmAuto, out.filePath(QStringLiteral("frmAuto.png")));
    QuickHelpWindow frmQuickHelp;
    ok &= save(&frmQuickHelp, out.filePath(QStringLiteral("frmQuickHelp.png")));
    frmQuickHelp.tabs()->setCurrentIndex(4);
    ok &= save(&frmQuickHelp, out.filePath(QStringLiteral("frmQuickHelp-advanced.png")));
    AboutWindow frmAbout;
    ok &= save(&frmAbout, out.filePath(QStringLiteral("frmAbout.png")));
    return ok ? 0 : 1;
}
