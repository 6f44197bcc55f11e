#pragma once

#include <QByteArray>
#include <QString>

class App;

// An article is held whole until its end. One longer than this is given up,
// so that a server that never ends one cannot make memory grow without bound;
// posts come in parts far smaller than this.
inline constexpr qsizetype kMaxArticleBytes = 16 * 1024 * 1024;
// What the decoder's feed may hold of a part streamed to it before the
// download waits for the decoder, and what it still holds when the download
// goes on. Between two articles nothing comes for a round trip to the
// server; the decoder lives on what is held meanwhile: with one block held
// it ran dry at every article, with two still at some.
inline constexpr qint64 kStreamHeldBytes = 1024 * 1024;
inline constexpr qint64 kStreamResumeBytes = 768 * 1024;

// The article branch of the line receiver (TransferMode 2): a block of the
// article in work, and its end.
void ArticleData(App& app, const QByteArray& block);
void ArticleEnd(App& app);

// A file name read out of an article, where each character is one byte:
// decoded as UTF-8 when the bytes are UTF-8, else taken as they are.
QString nameFromArticle(QStringView bytes);
QString nameFromArticle(QLatin1StringView bytes);
