#include "favorites/favorites_file.h"

#include "shell/app.h"
#include "shell/layout.h"

#include <QFile>
#include <QFileInfo>

void SplitFavoritesPath(App& app) {
    const QString& path = app.FavoritesFile;
    const qsizetype slash = path.lastIndexOf(u'/');
    QString name = path.mid(slash + 1);
    const qsizetype dot = name.indexOf(u'.');
    if (dot >= 0) name.truncate(dot);
    app.FavoritesTitle = name;
    UpdateListTitles(app, QStringLiteral("0"));
}

void SaveFavMenu(App& app, bool clear) {
    const QString name = app.prompter->saveFileName(QString(), QStringLiteral("Text (*.fav)"),
                                                    QFileInfo(app.FavoritesFile).absolutePath());
    if (name.isEmpty()) return;
    if (QFile::exists(name) && !app.prompter->askYesNo(QStringLiteral("OverWrite Existing File?"),
                                                       QStringLiteral("Zanderfell!")))
        return;
    if (clear) app.lstFavorites.clear();
    app.lstFavorites.save(name);
    app.FavoritesFile = name;
    SplitFavoritesPath(app);
}

void menuNew_Click(App& app) {
    SaveFavMenu(app, true);
}

void menuSave_Click(App& app) {
    SaveFavMenu(app, false);
}

void menuLoad_Click(App& app) {
    const QString name =
        app.prompter->openFileName(QString(), QStringLiteral("Zanderfell! Favorites (*.fav)"),
                                   QFileInfo(app.FavoritesFile).absolutePath());
    if (name.isEmpty() || !QFile::exists(name)) return;
    app.lstFavorites.save(app.FavoritesFile);
    LoadListFile(app, app.lstFavorites, name, 12);
    app.FavoritesFile = name;
    SplitFavoritesPath(app);
}
