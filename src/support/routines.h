#pragma once

#include <QString>

class App;
class ListModel;

// Opens a document or an address with the desktop's default application.
void ShellLaunch(App& app, const QString& path);
// The zeros that bring n to five digits; the caller puts n behind them.
QString ZeroPad(qint32 n);
// True when the list has selected rows; otherwise warns when asked to.
bool HasSelection(App& app, const ListModel& list, bool warn);
// Appends the path separator unless the path already ends in one.
QString& AddBackslash(QString& path);
