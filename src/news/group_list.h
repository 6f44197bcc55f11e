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

// Appends the row text of a group to out: with the mark and count when
// last - first >= 1. A reused out spares a string per group of a long list.
void appendGroupRow(QString& out, QStringView name, qint64 last, qint64 first);
// Leading decimal number of a text, 0 when it has no digit.
qint64 leadingNumber(QByteArrayView text);
