#include "setup/setup_options.h"

#include "shell/app.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QDir>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr double kFieldMax = 32767;

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// The number that starts at pos: sign, digits with a decimal point, an
// exponent with E or D when digits follow it. Returns the end, pos when
// nothing there is a number.
qsizetype scanNumber(QStringView s, qsizetype pos, double* value) {
    qsizetype i = pos;
    std::string ascii;
    if (i < s.size() && (s[i] == u'+' || s[i] == u'-')) ascii += char(s[i++].unicode());
    qsizetype digits = 0;
    for (; i < s.size() && isDigit(s[i]); ++i, ++digits)
        ascii += char(s[i].unicode());
    if (i < s.size() && s[i] == u'.') {
        ascii += '.';
        ++i;
        for (; i < s.size() && isDigit(s[i]); ++i, ++digits)
            ascii += char(s[i].unicode());
    }
    if (digits == 0) return pos;
    if (i < s.size() && QStringLiteral("eEdD").contains(s[i])) {
        qsizetype j = i + 1;
        std::string exp = "e";
        if (j < s.size() && (s[j] == u'+' || s[j] == u'-')) exp += char(s[j++].unicode());
        const qsizetype expDigits = j;
        for (; j < s.size() && isDigit(s[j]); ++j)
            exp += char(s[j].unicode());
        if (j > expDigits) {
            ascii += exp;
            i = j;
        }
    }
    *value = std::strtod(ascii.c_str(), nullptr);
    return i;
}

// A whole number as the variables take it: halves go to the even neighbour;
// none when it does not fit.
std::optional<qint32> wholeNumber(double v) {
    const double r = std::nearbyint(v);
    if (!(r >= std::numeric_limits<qint32>::min() && r <= std::numeric_limits<qint32>::max()))
        return std::nullopt;
    return static_cast<qint32>(r);
}

// A count field: the text when it is a whole number of at least min, which
// var takes; otherwise var as it was.
QString countField(qint32& var, const QString& text, qint32 min) {
    const std::optional<double> v = numericValue(text);
    if (v && *v == std::floor(*v))
        if (const auto n = wholeNumber(*v); n && *n >= min) var = *n;
    return QString::number(var);
}

} // namespace

bool optionValue(const App& app, SetupOption option) {
    switch (option) {
    case SetupOption::SPAM:
        return app.RemoveSpam;
    case SetupOption::HTTP:
        return app.SaveHTTP;
    case SetupOption::Binary:
        return app.BinariesOnly;
    case SetupOption::AutoLoad:
        return app.AutoLoadGroups;
    case SetupOption::FileDelete:
        return app.ConfirmFileDelete;
    case SetupOption::Video:
        return app.SpawnVideo != 0;
    case SetupOption::Show:
        return app.ShowMNumbers;
    case SetupOption::ModernParts:
        return app.ModernParts;
    case SetupOption::Par2:
        return app.Par2Check;
    }
    return false;
}

void setOption(App& app, SetupOption option, bool ticked) {
    switch (option) {
    case SetupOption::SPAM:
        app.RemoveSpam = ticked;
        break;
    case SetupOption::HTTP:
        app.SaveHTTP = ticked;
        break;
    case SetupOption::Binary:
        app.BinariesOnly = ticked;
        break;
    case SetupOption::AutoLoad:
        app.AutoLoadGroups = ticked;
        break;
    case SetupOption::FileDelete:
        app.ConfirmFileDelete = ticked;
        break;
    case SetupOption::Video:
        app.SpawnVideo = ticked ? 1 : 0;
        break;
    case SetupOption::Show:
        app.ShowMNumbers = ticked;
        break;
    case SetupOption::ModernParts:
        app.ModernParts = ticked;
        break;
    case SetupOption::Par2:
        app.Par2Check = ticked;
        break;
    }
}

bool numberFieldAccepts(char16_t c) {
    return c == 8 || c == 13 || c == u'.' || (c >= u'0' && c <= u'K');
}

std::optional<double> numericValue(const QString& text) {
    const QStringView s = QStringView(text).trimmed();
    double v = 0;
    if (s.isEmpty() || scanNumber(s, 0, &v) != s.size()) return std::nullopt;
    return v;
}

double leadingValue(const QString& text) {
    const QStringView s = QStringView(text).trimmed();
    double v = 0;
    return scanNumber(s, 0, &v) > 0 ? v : 0;
}

QString txtTimeout_LostFocus(App& app, const QString& text) {
    QString shown = text;
    const std::optional<double> v = numericValue(text);
    if (!v || *v > kFieldMax) shown = QStringLiteral("255");
    if (const auto n = wholeNumber(numericValue(shown).value_or(255))) app.Timeout = *n;
    return shown;
}

QString txtMinGroups_LostFocus(App& app, const QString& text) {
    QString shown = text;
    if (leadingValue(text) > kFieldMax) shown = QStringLiteral("32767");
    if (const std::optional<double> v = numericValue(shown))
        if (const auto n = wholeNumber(*v)) app.MinGroups = *n;
    return shown;
}

QString txtHeaderChunk_LostFocus(App& app, const QString& text) {
    return countField(app.HeaderChunk, text, 1);
}

QString txtNewestHeaders_LostFocus(App& app, const QString& text) {
    return countField(app.NewestHeaders, text, 0);
}

void SetDestDir(App& app, const QString& path) {
    QString dir = QDir::fromNativeSeparators(path);
    app.DestDir = AddBackslash(dir);
}

bool cmdDir(App& app, const QString& chooserPath) {
    const std::optional<QString> answer = app.prompter->input(
        QStringLiteral("Enter Directory Name:"), QStringLiteral("Create Directory:"), QString());
    if (!answer || answer->isEmpty()) return false;
    QString path = QDir::fromNativeSeparators(chooserPath);
    // At the root the path already ends in the separator: no second one.
    if (!path.endsWith(u'/')) path += u'/';
    path += *answer;
    if (QDir().mkdir(path)) return true;
    app.prompter->message(QStringLiteral("Could not create directory"),
                          QStringLiteral("Zanderfell!"), Prompter::Icon::Critical);
    return false;
}

void cmdOK_Click(App& app) {
    UpdateListTitles(app, QStringLiteral("5"));
    if (app.saveSettings) app.saveSettings();
}

bool setupConnected(const App& app) {
    return app.toolbar[6].caption == QLatin1String("Disconnect");
}
