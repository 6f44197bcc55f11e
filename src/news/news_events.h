#pragma once

class App;

// Connects the news control's events to their handlers.
void connectNewsEvents(App& app);
