#include "program/startup.h"

#include "program/settings.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "shell/temp_files.h"

#include <QDir>
#include <QFile>

void Form_Load(App& app) {
    LoadDestDir(app);
    app.SweepScope = -1;
    KillTempFiles(app, true);
    MakeTempFile(app);
    LoadSettings(app);
    for (const char* code : {"1", "2", "3", "4"})
        UpdateListTitles(app, QLatin1String(code));
    if (QFile::exists(app.AppPath + QStringLiteral("UsenetHTTP.htm"))) {
        app.toolbar[13].enabled = true;
        emit app.toolbarChanged(13);
    }
    app.Timer1.start();
    app.timerAuto.start();
    const QString cache = app.AppPath + QStringLiteral("Cache");
    if (!QDir::setCurrent(cache)) {
        // First run: make the cache; the window's first resize lays it out.
        QDir().mkpath(cache);
        return;
    }
    Form_Resize(app);
}

void cmdExit(App& app) {
    // Closing may come from inside a wait; it must not go on behind the exit.
    app.ending = true;
    app.StopRequested = true;
    if (app.WindowState == 2) {
        app.WindowState = 0;
        emit app.geometryChanged();
    }
    SaveServerList(app);
    if (!app.favoritesBorrowed) app.lstFavorites.save(app.FavoritesFile);
    SaveSettings(app);
    KillTempFiles(app, true);
    app.EndProcess();
}

void cmdSetup(App& app) {
    SetMenuItem(app, 2, false);
    if (app.showSetup) app.showSetup();
    SetMenuItem(app, 2, true);
}
