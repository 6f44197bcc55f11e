#pragma once

#include <QSettings>
#include <QString>

// Numbers are stored as text, the way they are read back.
inline void storeNumber(QSettings& s, const char* key, double v) {
    s.setValue(QLatin1String(key), QString::number(v, 'g', 15));
}

// Reads stored text into typed variables. A value that is missing takes its
// default; one that can't be turned into its type leaves the variable as it
// was, so a letter in a number never stops the start.
class SettingsReader {
public:
    explicit SettingsReader(QSettings& s) : s_(s) {}

    void text(const char* key, QString& var, const QString& def) {
        const QVariant v = s_.value(QLatin1String(key));
        var = v.isValid() ? v.toString() : def;
    }
    template <typename Int> void integer(const char* key, Int& var, Int def) {
        const QVariant v = s_.value(QLatin1String(key));
        if (!v.isValid()) {
            var = def;
            return;
        }
        bool ok = false;
        const double d = v.toString().trimmed().toDouble(&ok);
        if (ok && d >= -2147483648.0 && d <= 2147483647.0) var = static_cast<Int>(d);
    }
    void real(const char* key, double& var, double def) {
        const QVariant v = s_.value(QLatin1String(key));
        if (!v.isValid()) {
            var = def;
            return;
        }
        bool ok = false;
        const double d = v.toString().trimmed().toDouble(&ok);
        if (ok) var = d;
    }
    void flag(const char* key, bool& var, bool def) {
        const QVariant v = s_.value(QLatin1String(key));
        if (!v.isValid()) {
            var = def;
            return;
        }
        parseFlag(v.toString(), var);
    }
    void byteFlag(const char* key, quint8& var, quint8 def) {
        bool on = var != 0;
        const QVariant v = s_.value(QLatin1String(key));
        if (!v.isValid()) {
            var = def;
            return;
        }
        if (parseFlag(v.toString(), on)) var = on ? 1 : 0;
    }
    void byteValue(const char* key, quint8& var, quint8 def) {
        const QVariant v = s_.value(QLatin1String(key));
        if (!v.isValid()) {
            var = def;
            return;
        }
        bool ok = false;
        const int n = v.toString().trimmed().toInt(&ok);
        if (ok && n >= 0 && n <= 255) var = static_cast<quint8>(n);
    }

    // "True"/"False" in any case, or a number: anything but 0 is true.
    static bool parseFlag(const QString& stored, bool& var) {
        const QString t = stored.trimmed();
        if (t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
            var = true;
            return true;
        }
        if (t.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) {
            var = false;
            return true;
        }
        bool ok = false;
        const double d = t.toDouble(&ok);
        if (!ok) return false;
        var = d != 0;
        return true;
    }

private:
    QSettings& s_;
};
