#pragma once

#include <QString>

class App;

// Connects the events of the posting connection (NNTP2) to their handlers.
void connectPostEvents(App& app);

void NNTP2_Connected(App& app);
void NNTP2_Disconnected(App& app);
void NNTP2_Error(App& app, int code, const QString& description);
