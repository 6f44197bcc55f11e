#include "news/group_list.h"

#include <algorithm>
#include <charconv>

#include "favorites/markers.h"
#include "news/connection.h"
#include "news/nntp_control.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSet>
#include <cstring>

namespace {

// The eight digits at p as a number, or -1 when they are not all digits.
// A server pads its article numbers to ten digits, so most numbers of a
// group list take this way: three multiplications instead of a chain of eight.
inline qint64 eightDigits(const char* p) {
    quint64 w;
    std::memcpy(&w, p, 8);
    constexpr quint64 ones = 0x0101010101010101ull;
    // Each byte from '0' to '9': its high nibble is 3, and adding 6 keeps it so.
    if ((w & (ones * 0xF0)) != ones * 0x30 || ((w + ones * 0x06) & (ones * 0xF0)) != ones * 0x30)
        return -1;
    w -= ones * 0x30;
    // Pairs, fours, then all eight; the first digit is the lowest byte.
    w = (w * 10 + (w >> 8)) & 0x00FF00FF00FF00FFull;
    w = (w * 100 + (w >> 16)) & 0x0000FFFF0000FFFFull;
    w = (w * 10000 + (w >> 32)) & 0xFFFFFFFFull;
    return qint64(w);
}

} // namespace

qint64 leadingNumber(QByteArrayView text, qsizetype* digitsEnd) {
    // Every line of a listing starts with a number or two: eighteen digits
    // cannot overflow, so only a longer number is checked digit by digit.
    const char* p = text.data();
    const qsizetype size = text.size();
    const qsizetype quick = std::min<qsizetype>(size, 18);
    qint64 n = 0;
    qsizetype i = 0;
    for (qint64 eight; i + 8 <= quick && (eight = eightDigits(p + i)) >= 0; i += 8)
        n = n * 100000000 + eight;
    for (; i < quick; ++i) {
        const unsigned digit = unsigned(uchar(p[i])) - '0';
        if (digit > 9) break;
        n = n * 10 + digit;
    }
    if (i == quick) {
        for (; i < size; ++i) {
            const unsigned digit = unsigned(uchar(p[i])) - '0';
            if (digit > 9) break;
            // Past 2^63 no article has this number: none is taken for it.
            if (__builtin_mul_overflow(n, 10, &n) || __builtin_add_overflow(n, qint64(digit), &n)) {
                n = -1;
                break;
            }
        }
    }
    if (digitsEnd) *digitsEnd = i;
    return n;
}

GroupRowParts groupRowParts(qint64 last, qint64 first) {
    GroupRowParts parts;
    char* p = parts.tail;
    *p++ = ' ';
    *p++ = '(';
    // A first number past 2^63 (-1) counts nothing, and the difference of
    // any two others fits.
    if (first < 0 || last <= first) {
        *p++ = '0';
    } else {
        parts.head = QLatin1StringView("\xFF"
                                       "1");
        p = std::to_chars(p, parts.tail + sizeof parts.tail - 1, last - first).ptr;
    }
    *p++ = ')';
    parts.tailSize = p - parts.tail;
    return parts;
}

QString cleanNewsGroup(QString& newsgroup) {
    if (!newsgroup.isEmpty() && newsgroup[0] == QChar(0xFF)) newsgroup.remove(0, 2);
    const qsizetype bracket = newsgroup.indexOf(u'(');
    if (bracket >= 0) newsgroup.truncate(bracket);
    return newsgroup.trimmed();
}

QString GetServerName(const QString& temp) {
    QString s = temp;
    const qsizetype open = s.indexOf(u'(');
    if (open < 0) return s;
    s.remove(0, open + 1);
    const qsizetype close = s.indexOf(u')');
    if (close >= 0) s.truncate(close);
    return s;
}

QString ServerCacheName(const App& app) {
    // A plain "host:port" keeps the name it always had; "/" (of "nntps://"),
    // "\\" and control characters would make a path of the name or none at all.
    QString s = app.CurrentServer;
    for (QChar& c : s)
        if (c == u'.' || c == u'/' || c == u'\\' || c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = u'_';
    // A name the file system cannot hold keeps its head and a digest of the whole.
    if (s.toUtf8().size() > 150)
        s = s.left(100) + u'_' +
            QString::fromLatin1(
                QCryptographicHash::hash(app.CurrentServer.toUtf8(), QCryptographicHash::Sha1)
                    .toHex());
    return s;
}

QString groupCachePath(const App& app) {
    return app.AppPath + QStringLiteral("Cache/") + ServerCacheName(app);
}

int GetGroupFromDisk(App& app) {
    if (app.Busy) return -1;
    app.lstGroups.clear();
    const QString path = groupCachePath(app);
    if (!QFile::exists(path)) {
        UpdateListTitles(app, QStringLiteral("2"));
        return -1;
    }
    if (!app.AutoLoadGroups && !app.prompter->askYesNo(QStringLiteral("Load Saved Group List?"),
                                                       QStringLiteral("Zanderfell!"))) {
        UpdateListTitles(app, QStringLiteral("2"));
        return -1;
    }
    app.setStatus(1, QStringLiteral("Loading Groups from Disk"));
    LoadListFile(app, app.lstGroups, path, -1);
    UpdateListTitles(app, QStringLiteral("2"));
    return 0;
}

void SaveGroupsToDisk(App& app) {
    app.setStatus(1, QStringLiteral("Saving Groups"));
    app.lstGroups.save(groupCachePath(app), ListModel::SaveMode::Cache);
    if (app.lstTempServ.count() == 0) LoadListFile(app, app.lstTempServ, serverListPath(app), -1);
    const int row = app.lstTempServ.find(app.CurrentServer, FindMode::Contains, 0);
    if (row >= 0) {
        const int n = app.lstGroups.count();
        app.lstTempServ.setText(row, ZeroPad(n) + QString::number(n) + QStringLiteral("     ") +
                                         app.CurrentServer);
        app.lstTempServ.save(serverListPath(app));
    }
    app.setStatus(1, QString());
}

void RemoveNonBinary(App& app) {
    app.setStatus(1, QStringLiteral("Removing Non Binary Groups"));
    const QString key = QStringLiteral(".binar");
    // Keep the binary rows, in order, each text once.
    QVector<ListRow> kept;
    QSet<QString> seen;
    for (int i = 0; i < app.lstGroups.count(); ++i) {
        const QString& t = app.lstGroups.text(i);
        if (t.contains(key, Qt::CaseInsensitive) && !seen.contains(t)) {
            seen.insert(t);
            kept.append(ListRow{t, QString(), 0, -1, false});
        }
    }
    app.lstGroups.setVisible(false);
    app.lstGroups.setEnabled(false);
    app.lstGroups.setRedraw(false);
    app.lstGroups.clear();
    app.lstGroups.appendRows(std::move(kept));
    UpdateListTitles(app, QStringLiteral("2"));
    if (app.LastError == 0) app.setStatus(1, QStringLiteral("Done Retreiving Group List"));
    app.lstGroups.setVisible(true);
    app.lstGroups.setEnabled(true);
    app.lstGroups.setRedraw(true);
}

void cmdGroup(App& app, bool cache) {
    HourGlass(app, true);
    app.GroupsDone = false;
    app.GroupSeen = false;
    app.lstGroups.setEnabled(false);
    FavoritesOnOff(app, false);
    MessagesOnOff(app, false);
    if (!app.Busy) {
        for (int item : {53, 5, 6, 4, 8, 9, 10})
            SetMenuItem(app, item, false);
        for (const char* code : {"CG", "SM", "FA"})
            MenuOnOff(app, QLatin1String(code), false);
    }
    bool fromServer = true;
    if (cache) {
        if (app.lstGroups.count() > 0) {
            app.GroupsDone = true;
            fromServer = false;
        } else if (GetGroupFromDisk(app) != -1 || app.StopRequested) {
            app.GroupsDone = true;
            if (app.BinariesOnly) RemoveNonBinary(app);
            fromServer = false;
        }
    }
    if (fromServer) {
        // Redraw off first: the list keeps its room for the rows to come.
        app.lstGroups.setRedraw(false);
        app.lstGroups.clear();
        app.ErrorText = QStringLiteral("Timeout Getting Groups");
        app.setStatus(1, QStringLiteral("Waiting for Group List"));
        app.HeaderField = QStringLiteral("Subject");
        app.LastError = 0;
        app.TickCount = 0;
        app.GroupsDone = false;
        app.NNTP->setDeliveryMode(1);
        app.TransferMode = 1;
        if (!app.Busy) SetMenuItem(app, 5, true); // Stop, while the list comes
        app.NNTP->listGroups();
        while (app.LastError == 0 && !app.GroupsDone && !app.StopRequested && !app.ending) {
            app.DoEvents();
            if (app.TickCount > 2 * app.Timeout) app.LastError = -1;
        }
        while (app.NNTP->busy() && app.LastError == 0 && !app.StopRequested && !app.ending) {
            app.DoEvents();
            if (app.TickCount > 2 * app.Timeout) app.LastError = -1;
        }
        // A list given up is dropped with its connection: left running, it
        // would keep the control busy and refuse every request after it.
        if (app.NNTP->busy()) app.NNTP->cancel();
        if (app.GroupsDone && !app.ending) {
            SaveGroupsToDisk(app);
            updatePostMarker(app);
        }
        if (!app.Busy) SetMenuItem(app, 5, false);
    }
    if (app.GroupsDone && !app.StopRequested) {
        updateGroupMarker(app);
        if (app.LastError == 0) app.setStatus(1, QStringLiteral("Done Retreiving Group List"));
        if (!app.Busy) MenuOnOff(app, QStringLiteral("SG"), true);
        if (app.lstGroups.count() > 0 && app.LastError == 0 && app.SweepScope == -1)
            app.setStatus(2, QString());
    }
    if (!app.Busy) {
        SetMenuItem(app, 6, true);
        SetMenuItem(app, 53, true);
    }
    app.setProgressValue(0);
    MessagesOnOff(app, false);
    GroupsOnOff(app, true);
    FavoritesOnOff(app, true);
    HourGlass(app, false);
}
