#include "schedule/auto_schedule.h"

#include "attachments/download_drivers.h"
#include "news/connection.h"
#include "shell/app.h"
#include "shell/waits.h"

#include <QRegularExpression>

QTime ReadAutoTime(const QString& text, quint8 ampm) {
    static const QRegularExpression form(QStringLiteral("^\\s*(\\d{1,2})(?:[:.](\\d{2}))?\\s*$"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch()) return {};
    int hour = m.captured(1).toInt();
    const int minute = m.captured(2).isEmpty() ? 0 : m.captured(2).toInt();
    if (hour > 23 || minute > 59) return {};
    if (hour >= 1 && hour <= 12) hour = hour % 12 + (ampm ? 12 : 0);
    return QTime(hour, minute);
}

bool ScheduleDue(const App& app, const QDateTime& now) {
    if (app.WindowState != 1 || app.Busy || app.AutoTime.isEmpty()) return false;
    const QTime at = ReadAutoTime(app.AutoTime, app.AutoAMPM);
    if (!at.isValid()) return false;
    const QTime clock = now.time();
    if (clock.hour() != at.hour() || clock.minute() != at.minute()) return false;
    // dayOfWeek counts from Monday as 1, as the positions of AutoDays do.
    const int day = now.date().dayOfWeek();
    return app.AutoDays.size() >= day && app.AutoDays.at(day - 1) == u'1';
}

void timerAuto_Timer(App& app) {
    if (!ScheduleDue(app, app.Now())) return;
    // Off for the whole run: the waits inside let this timer's events run.
    app.timerAuto.stop();
    // The walk of the favourites refuses to start while connected.
    cmdDisconnect(app);
    app.lstFavorites.selectAll();
    menuDowloadAllF_Click(app);
    // Carries the clock out of the scheduled minute, however short the run.
    WaitTicks(app, 60);
    app.timerAuto.start();
}
