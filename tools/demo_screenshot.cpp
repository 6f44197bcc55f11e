// Downloads the picture posts of a news server's picture group the way a
// user would (connect, open the group, F2) and saves a picture of the main
// window, preview included. scripts/screenshot runs it on the demo server.
//
// Usage: demo_screenshot SERVER GROUP OUT.png
#include "attachments/download_drivers.h"
#include "news/connection.h"
#include "news/headers.h"
#include "post/message_window.h"
#include "program/assembly.h"
#include "program/main_window.h"
#include "program/startup.h"
#include "shell/app.h"

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QSettings>
#include <QTemporaryDir>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    // With "view", the message viewer on the group's first post is saved
    // instead of the main window after F2.
    const bool viewer = argc == 5 && qstrcmp(argv[4], "view") == 0;
    if (argc != 4 && !viewer) {
        std::fprintf(stderr, "usage: demo_screenshot SERVER GROUP OUT.png [view]\n");
        return 2;
    }
    const QString server = QString::fromLocal8Bit(argv[1]);
    const QString group = QString::fromLocal8Bit(argv[2]);
    const QString out = QString::fromLocal8Bit(argv[3]);

    // A program of its own: its files and settings in a directory of its own.
    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.ExeDir = dir.path();
    app.AppPath = dir.path() + "/";
    app.DestDir = dir.path() + "/download/";
    app.SettingsFile = dir.filePath(QStringLiteral("settings.ini"));
    QDir().mkpath(app.DestDir);
    {
        QSettings s(app.SettingsFile, QSettings::IniFormat);
        s.setValue(QStringLiteral("Settings/NNTPServer"), server);
        s.setValue(QStringLiteral("Settings/DestDir"), app.DestDir);
    }
    MainWindow window(app);
    Form_Load(app);
    window.applyGeometry();
    window.show();
    window.resize(1024, 768); // the minimum size leaves the lists a row or two

    cmdConnect(app, true);
    if (!app.IsConnected) {
        std::fprintf(stderr, "cannot connect to %s: %s\n", argv[1], qPrintable(app.ErrorText));
        return 1;
    }
    app.CurrentGroup = group;
    app.HeaderField = QStringLiteral("Subject");
    if (cmdGetMessageHeaders(app, true) != 0 || app.lstMessages.count() == 0) {
        std::fprintf(stderr, "no messages in %s\n", argv[2]);
        return 1;
    }
    if (viewer) {
        app.lstMessages.selectOnly(0);
        app.lstMessages.setListIndex(0);
        lstMessages_MouseDown(app);
        for (int i = 0; i < 20; ++i)
            QApplication::processEvents();
        const bool saved = window.viewer() && window.viewer()->grab().save(out);
        std::printf("%s: viewer on \"%s\"\n", argv[3], qPrintable(app.lstMessages.text(0)));
        cmdDisconnect(app);
        return saved ? 0 : 1;
    }
    menuDownloadAll_Click(app);
    for (int i = 0; i < 20; ++i)
        QApplication::processEvents();

    if (!window.grab().save(out)) {
        std::fprintf(stderr, "cannot write %s\n", argv[3]);
        return 1;
    }
    std::printf("%s: %d decoded files, status \"%s\"\n", argv[3], int(app.lstFiles.count()),
                qPrintable(app.statbar[1]));
    cmdDisconnect(app);
    return 0;
}
