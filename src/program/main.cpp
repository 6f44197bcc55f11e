#include "program/assembly.h"
#include "program/main_window.h"
#include "program/startup.h"
#include "shell/app.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Zanderfell!"));
    QApplication::setApplicationName(QStringLiteral("Zanderfell!"));
    App app;
    AssembleControls(app);
    MainWindow frmMain(app);
    Form_Load(app);
    frmMain.applyGeometry();
    frmMain.show();
    return QApplication::exec();
}
