#pragma once

#include <QDateTime>
#include <QString>
#include <QTime>

class App;

// The time of day that AutoTime and AutoAMPM stand for: "h:mm", "h.mm" or a
// bare hour, hours 1 to 12 taken as AM or PM (12 AM midnight, 12 PM noon),
// hours 0 and 13 to 23 read on the 24-hour clock whatever the half of the day.
// Any other text gives an invalid time, and a schedule with it never runs.
QTime ReadAutoTime(const QString& text, quint8 ampm);

// Whether the scheduled download is due at now: the main window minimised,
// no sweep or check Busy, a readable AutoTime in the minute of now, and the
// weekday of now switched on in AutoDays (position 1 Monday to 7 Sunday).
bool ScheduleDue(const App& app, const QDateTime& now);

// timerAuto, every five seconds: when due by the app's clock, downloads every
// favourite group with the timer off, then pauses a minute so that one
// scheduled minute gives one run.
void timerAuto_Timer(App& app);
