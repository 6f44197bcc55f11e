#pragma once

#include <QString>

class App;

// Opens the main connection to CurrentServer; with groupRetr the group list follows.
void cmdConnect(App& app, bool groupRetr);
// Closes the connection (safe when closed) and empties both lists.
void cmdDisconnect(App& app);
// Asks the running operation to end at its next pass.
void cmdStop(App& app);
void menuConnect_Click(App& app);

// Handlers of the news control's events.
void NNTP_StateChanged(App& app);
void NNTP_Error(App& app, int code, const QString& description);
void NNTP_AuthenticateRequest(App& app, QString& user, QString& password);
void NNTP_AuthenticateResponse(App& app, bool accepted);

// True while the news connection is up; warns when asked to.
bool DisconnectFirst(App& app, bool warn);

// The control's two state texts form the open or the closed pair.
bool connectionOpen(const App& app);
bool connectionClosed(const App& app);
