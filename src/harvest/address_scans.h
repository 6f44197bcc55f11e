#pragma once

#include <QByteArray>
#include <QString>

class App;

// Web and FTP addresses: the one of a title (or of an address cut out of an
// article) goes into lstHTTP unless a row holds it, and into the link page
// unless the page holds it from an earlier run.
void SaveHTTPs(App& app, const QString& msgTitle);
// Every address of the article in MessageText through SaveHTTPs, when a Web
// sweep runs or the viewer's article has addresses to keep. Runs at the end
// of an article, before MessageDone is set.
void HarvestArticle(App& app);

// The e-mail address of one "From" header line ("number text"), cut as the
// character walk cuts it, or an empty text when the line holds none that
// counts. The list and the filter are not consulted.
QString cutEmailAddress(QString line);
// lineBuffer in, the address or an empty text out; an address that is new
// and passes EmailFilter becomes a row of lstHTTP.
void ScanEmailAddress(App& app, QString& lineBuffer);

// A received block of "From" or "Path" header lines, cut anywhere.
void HarvestHeaderData(App& app, const QByteArray& block);
// Forgets the text still waiting for its line end or "!": a new sweep.
void ResetHeaderHarvest(App& app);

QString linkPagePath(const App& app);

// Events of lstHTTP.
void lstHTTP_DblClick(App& app);
