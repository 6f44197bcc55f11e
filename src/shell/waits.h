#pragma once

class App;

// One second of the program's clock: the only clock of its timeouts.
void Timer1_Timer(App& app);
// Lets the event queue run until TickCount passes n or a stop is requested.
void WaitTicks(App& app, int n);
