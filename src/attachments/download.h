#pragma once

#include <QString>

class App;

// Fetches the attachments of one row of lstMessages (msgnum), or of every
// row from row 0 on (msgnum -1): collates the parts, fetches them and
// decodes them into DestDir while they come.
void cmdDownload(App& app, qint32& msgnum);
// Fetches article number msgnum into MessageText; the outcome is in
// LastError and MessageDone. Reconnects first when the connection is down.
void cmdDownloadMessage(App& app, qint64& msgnum);
