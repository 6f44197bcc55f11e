#include "favorites/favorites_file.h"

#include "shell/app.h"
#include "shell/layout.h"

void SplitFavoritesPath(App& app) {
    const QString& path = app.FavoritesFile;
    const qsizetype slash = path.lastIndexOf(u'/');
    QString name = path.mid(slash + 1);
    const qsizetype dot = name.indexOf(u'.');
    if (dot >= 0) name.truncate(dot);
    app.FavoritesTitle = name;
    UpdateListTitles(app, QStringLiteral("0"));
}
