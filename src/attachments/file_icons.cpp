#include "attachments/file_icons.h"

#include "shell/app.h"

#include <QIcon>
#include <QMimeDatabase>
#include <QStandardPaths>

namespace {

// Outside a desktop session Qt's theme is bare "hicolor", which holds no
// icons of file types; Adwaita, when installed, fills the gaps.
void prepareIconTheme() {
    static bool done = false;
    if (done) return;
    done = true;
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString& dir :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        const QString icons = dir + QStringLiteral("/icons");
        if (!paths.contains(icons)) paths << icons;
    }
    QIcon::setThemeSearchPaths(paths);
    // The fallback is consulted only for what the user's theme lacks.
    const QString fallback = QIcon::fallbackThemeName();
    if (fallback.isEmpty() || fallback == QLatin1String("hicolor"))
        QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    if (QIcon::themeName().isEmpty()) QIcon::setThemeName(QStringLiteral("hicolor"));
}

} // namespace

QString FindIconSource(const QString& extension) {
    if (extension.isEmpty()) return {};
    prepareIconTheme();
    static const QMimeDatabase db;
    // Any stem will do: the database matches the name's ending.
    const QMimeType type =
        db.mimeTypeForFile(QStringLiteral("x") + extension, QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault()) return {};
    for (const QString& name : {type.iconName(), type.genericIconName()})
        if (QIcon::hasThemeIcon(name)) return name;
    return {};
}

void GetFileIcon(App& app, const QString& extension, int index) {
    Q_UNUSED(index); // Picture2 has one item
    const QString name = FindIconSource(extension);
    if (name.isEmpty()) return;
    qsizetype at = app.fileIconNames.indexOf(name);
    if (at < 0) {
        app.fileIconNames << name;
        at = app.fileIconNames.size() - 1;
    }
    app.Picture2 = kFileIconBase + int(at);
}
