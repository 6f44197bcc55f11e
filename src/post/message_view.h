#pragma once

#include <QString>

class App;

// What the viewer shows and does, apart from its window.

// The article as a reader expects it: bytes read as UTF-8 (Latin-1 where
// they aren't), no CR, and encoded words of the header ("=?UTF-8?B?...?=")
// decoded. messageText holds one character per byte, as received.
QString readableArticle(const QString& messageText);

// The part of MessageText the viewer shows, at most this many characters.
inline constexpr int kViewerLimit = 32000;

// The article number of a row of lstMessages: the row text begins with it
// when ShowMNumbers is on, otherwise it is the row's data.
qint64 viewerArticleNumber(const App& app, int row);

// The text of a reply: two line ends, the signature, a line of 40 hyphens
// and the first 100 characters of the message, unquoted.
QString replyMessage(const QString& signature, const QString& body);

// The main window's commands that the open viewer keeps off.
void viewerCommandsOff(App& app);
void viewerCommandsOn(App& app);
