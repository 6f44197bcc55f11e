#pragma once

class App;

// Makes the controls the context holds (the news connection, the decoder)
// and wires their events and the seams that reach up to the program. The
// program does it once at start; tests and benchmarks do it on their own App.
void AssembleControls(App& app);
