#pragma once

#include <QByteArray>
#include <QString>

class App;

// The article branch of the line receiver (TransferMode 2): a block of the
// article in work, and its end.
void ArticleData(App& app, const QByteArray& block);
void ArticleEnd(App& app);

// A file name read out of an article, where each character is one byte:
// decoded as UTF-8 when the bytes are UTF-8, else taken as they are.
QString nameFromArticle(QStringView bytes);
