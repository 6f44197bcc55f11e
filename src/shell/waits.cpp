#include "shell/waits.h"

#include "shell/app.h"

#include <QCoreApplication>

namespace {

constexpr qint64 kEventPassMs = 40;

} // namespace

void Timer1_Timer(App& app) {
    app.TickCount = app.TickCount + 1 > 32767 ? 0 : app.TickCount + 1;
}

void WaitTicks(App& app, int n) {
    app.TickCount = 0;
    while (app.TickCount <= n && !app.StopRequested && !app.ending)
        app.DoEvents();
}

void LetEventsRun(App& app) {
    if (app.eventPassClock.isValid() && app.eventPassClock.elapsed() < kEventPassMs) return;
    app.eventPassClock.start();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}
