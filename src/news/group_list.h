#pragma once

#include <QByteArray>
#include <QString>

class App;

// Fills lstGroups from the server or, when cache is true, from memory or the cache file.
void cmdGroup(App& app, bool cache);
// -1 when nothing was loaded, 0 when the cache filled the list.
int GetGroupFromDisk(App& app);
void SaveGroupsToDisk(App& app);
void RemoveNonBinary(App& app);
// The group name of a row: mark and count taken off. The caller's text
// loses mark and count too, but keeps its blanks.
QString cleanNewsGroup(QString& newsgroup);
// The server named in brackets in a row, or the text itself.
QString GetServerName(const QString& temp);
QString ServerCacheName(const App& app);
QString groupCachePath(const App& app);

// What stands around a group's name in its row: the mark when
// last - first >= 1, and the count. A long list stages each row from these
// and the received name, without a string per group.
struct GroupRowParts {
    QLatin1StringView head;
    char tail[24];
    qsizetype tailSize = 0;
    QLatin1StringView tailView() const { return QLatin1StringView(tail, tailSize); }
};
GroupRowParts groupRowParts(qint64 last, qint64 first);
// Leading decimal number of a text, 0 when it has no digit, -1 past 2^63.
// digitsEnd, if given, is where reading stopped: the end of the digits.
qint64 leadingNumber(QByteArrayView text, qsizetype* digitsEnd = nullptr);
