#pragma once

#include <QByteArrayView>
#include <QString>

class App;

// Fetches the attachments of one row of lstMessages (msgnum), or of every
// row from row 0 on (msgnum -1): collates the parts, fetches them into the
// temporary file and decodes it into DestDir.
void cmdDownload(App& app, qint32& msgnum);
// Fetches article number msgnum into MessageText; the outcome is in
// LastError and MessageDone. Reconnects first when the connection is down.
void cmdDownloadMessage(App& app, qint64& msgnum);
// Appends text and CR LF to DestDir + TempFile. A failure sets LastError
// and shows its reason, and false is returned.
bool AppendTempBody(App& app, QByteArrayView text);
