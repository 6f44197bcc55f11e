#pragma once

class App;

// One second of the program's clock: the only clock of its timeouts.
void Timer1_Timer(App& app);
// Lets the event queue run until TickCount passes n, a stop is requested or
// the process ends.
void WaitTicks(App& app, int n);
// A pass of the event queue inside a long loop that is not waiting for
// anything: it never sleeps, and runs at most every few dozen milliseconds,
// since a pass per row of a large list would cost more than the rows.
void LetEventsRun(App& app);
