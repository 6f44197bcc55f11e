#pragma once

#include <QByteArray>

class App;

// The one place where everything the main connection receives comes in:
// the document event of the news control (states 1 begin to 5 end).
void NNTP_Document(App& app, int state, const QByteArray& data);
