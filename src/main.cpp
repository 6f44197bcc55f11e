#include "shell/app.h"
#include "shell/main_window.h"
#include "shell/startup.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Zanderfell!"));
    QApplication::setApplicationName(QStringLiteral("Zanderfell!"));
    App app;
    MainWindow frmMain(app);
    Form_Load(app);
    frmMain.applyGeometry();
    frmMain.show();
    return QApplication::exec();
}
