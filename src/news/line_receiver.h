#pragma once

#include <QByteArray>
#include <QString>

class App;

// The one place where everything the main connection receives comes in:
// the document event of the news control (states 1 begin to 5 end).
void NNTP_Document(App& app, int state, const QByteArray& data);

// A line of the transfer grew past kMaxLineBytes without its end: the
// transfer fails as a server error, with its reason on the status line, the
// connection is dropped and what came of the transfer is let go.
void failLongLine(App& app);
// The same for any transfer that must be given up: detail goes into the
// error's description, status onto the status line.
void failTransfer(App& app, const QString& detail, const QString& status);
