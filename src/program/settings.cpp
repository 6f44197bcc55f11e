#include "program/settings.h"

#include "attachments/preview.h"
#include "favorites/favorites_file.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/layout.h"
#include "shell/settings_values.h"
#include "support/routines.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {

const QString kSep = QStringLiteral("/");

// An installed program has its desktop entry under share/ beside bin/. It
// must not write beside itself even when it could (root's /usr/bin).
bool isInstalledDir(const QString& dir) {
    return QFileInfo::exists(dir + QStringLiteral("/../share/applications/zanderfell.desktop"));
}

} // namespace

void InitAppPath(App& app) {
    QString dir = app.ExeDir;
    QFileInfo info(dir);
    if (dir.isEmpty() || !info.isDir() || !info.isWritable() || isInstalledDir(dir)) {
        dir = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
        QDir().mkpath(dir);
    }
    app.AppPath = QDir::fromNativeSeparators(dir);
    AddBackslash(app.AppPath);
}

void LoadDestDir(App& app) {
    InitAppPath(app);
    auto s = app.openSettings();
    QString dest = QDir::fromNativeSeparators(s->value(QStringLiteral("DestDir")).toString());
    if (dest.isEmpty()) {
        QDir appDir(app.AppPath);
        if (!appDir.exists(QStringLiteral("Download"))) appDir.mkdir(QStringLiteral("Download"));
        dest = app.AppPath + QStringLiteral("Download") + kSep;
    }
    AddBackslash(dest);
    // The directory chooser of the setup dialog is pointed at DestDir; when
    // that fails, e.g. the stored directory is gone, fall back to AppPath.
    if (!QFileInfo(dest).isDir()) {
        app.DestDir = app.AppPath;
        return;
    }
    app.DestDir = dest;
}

void LoadSettings(App& app) {
    auto s = app.openSettings();
    SettingsReader r(*s);

    r.text("LastFind", app.LastFind, QString());
    r.flag("SaveHTTP", app.SaveHTTP, true);
    r.text("FavoritesFile", app.FavoritesFile, app.AppPath + "ZanderfellFavorites.fav");
    if (app.FavoritesFile.isEmpty()) app.FavoritesFile = app.AppPath + "ZanderfellFavorites.fav";
    SplitFavoritesPath(app);
    r.flag("ConfirmFileDelete", app.ConfirmFileDelete, true);
    r.flag("AutoLoadGroups", app.AutoLoadGroups, true);
    r.flag("BinariesOnly", app.BinariesOnly, false);
    r.byteFlag("SpawnVideo", app.SpawnVideo, 1);
    r.flag("Remove SPAM", app.RemoveSpam, false);
    r.flag("ShowMNumbers", app.ShowMNumbers, false);
    r.flag("ModernParts", app.ModernParts, false);
    r.integer("HeaderChunk", app.HeaderChunk, 20000);
    if (app.HeaderChunk < 1) app.HeaderChunk = 20000;
    r.integer("NewestHeaders", app.NewestHeaders, 0);
    r.flag("Par2Check", app.Par2Check, true);
    r.text("NNTPServer", app.CurrentServer, QString());
    UpdateListTitles(app, QStringLiteral("5"));
    r.integer("Timeout", app.Timeout, 30);
    r.text("Password", app.Password, QString());
    r.text("UserID", app.UserID, QString());
    r.text("Email Address", app.EmailAddress, QString());
    r.text("Name", app.UserName, QString());
    r.integer("Minimum Groups", app.MinGroups, 1);
    r.byteFlag("Preview", app.PreviewOn, 1);
    if (app.PreviewOn == 0) {
        // The menu item starts ticked; one toggle brings it in line.
        menuPreview_Click(app);
    }
    r.text("AutoDownloadTime", app.AutoTime, QString());
    r.byteValue("AMPM", app.AutoAMPM, 1);
    r.text("Days", app.AutoDays, QStringLiteral("0000000"));
    app.AutoDays = app.AutoDays.leftJustified(7, u' ', true);

    if (app.WindowState != 0) app.WindowState = 0;
    r.real("Width", app.FormWidth, 1000);
    r.real("Height", app.FormHeight, 1000);
    r.real("Top", app.FormTop, app.ScreenHeight / 2 - app.FormHeight / 2);
    r.real("Left", app.FormLeft, app.ScreenWidth / 2 - app.FormWidth / 2);
    emit app.geometryChanged();

    // No favourites file yet: start an empty one beside the program, where
    // the default name points, not in whatever directory we were started from.
    if (!LoadListFile(app, app.lstFavorites, app.FavoritesFile, 12))
        app.lstFavorites.save(app.AppPath + QStringLiteral("ZanderfellFavorites.fav"));
    UpdateListTitles(app, QStringLiteral("0"));

    if (app.loadSetup) app.loadSetup();
    LoadServerList(app);
}

void SaveSettings(App& app) {
    auto s = app.openSettings();
    auto flag = [&](const char* key, bool on) {
        s->setValue(QLatin1String(key), on ? QStringLiteral("1") : QStringLiteral("0"));
    };
    auto text = [&](const char* key, const QString& v) { s->setValue(QLatin1String(key), v); };
    auto number = [&](const char* key, double v) { storeNumber(*s, key, v); };
    flag("BinariesOnly", app.BinariesOnly);
    flag("SaveHTTP", app.SaveHTTP);
    flag("AutoLoadGroups", app.AutoLoadGroups);
    flag("ConfirmFileDelete", app.ConfirmFileDelete);
    flag("Remove SPAM", app.RemoveSpam);
    flag("SpawnVideo", app.SpawnVideo != 0);
    flag("ShowMNumbers", app.ShowMNumbers);
    flag("ModernParts", app.ModernParts);
    number("HeaderChunk", app.HeaderChunk);
    number("NewestHeaders", app.NewestHeaders);
    flag("Par2Check", app.Par2Check);
    text("Version", QStringLiteral("2.5"));
    number("Preview", app.PreviewOn);
    text("NNTPServer", app.CurrentServer);
    text("AutoDownloadTime", app.AutoTime);
    number("AMPM", app.AutoAMPM);
    text("Days", app.AutoDays);
    number("Timeout", app.Timeout);
    text("DestDir", app.DestDir);
    text("UserID", app.UserID);
    text("Password", app.Password);
    number("Top", app.FormTop);
    number("Left", app.FormLeft);
    number("Height", app.FormHeight);
    number("Width", app.FormWidth);
    text("Version", QStringLiteral("2.5"));
    number("Minimum Groups", app.MinGroups);
    text("Email Address", app.EmailAddress);
    text("Name", app.UserName);
    text("FavoritesFile", app.FavoritesFile);
    s->sync();
}
