#include "nzb/nzb_download.h"
#include "program/assembly.h"
#include "program/main_window.h"
#include "program/startup.h"
#include "shell/app.h"
#include "support/app_icon.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Zanderfell!"));
    QApplication::setApplicationName(QStringLiteral("Zanderfell!"));
    // Every window shows the icon; the desktop matches the program to its
    // menu entry (and so its icon) by this name.
    QApplication::setWindowIcon(AppIcon());
    QGuiApplication::setDesktopFileName(QStringLiteral("zanderfell"));
    App app;
    AssembleControls(app);
    MainWindow frmMain(app);
    Form_Load(app);
    frmMain.applyGeometry();
    frmMain.show();
    // The desktop opens ".nzb" files with the program.
    OpenNzbFilesLater(app, QApplication::arguments().mid(1));
    return QApplication::exec();
}
