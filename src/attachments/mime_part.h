#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

// A base64 attachment in a MIME post, as its first article shows it: the
// decoder sees only the data lines, so what the headers say goes with them.
struct Base64Part {
    bool named = false;      // a "filename=" was found
    QString name;            // its value, as an article name (nameFromArticle)
    QByteArray boundary;     // closes the part; empty when no delimiter opens it
    qint64 size = -1;        // what a "size=" parameter announces, -1 when none
    qsizetype dataStart = 0; // where the first data line starts in the text
};

// Whether the text of an article (headers and body) announces base64 data.
bool isBase64Article(QStringView text);
bool isBase64Article(QLatin1StringView text);

// The attachment in text, the whole first article of a base64 post (or its
// body alone): the name from "filename=", the data from the first line
// behind the blank line that follows it.
Base64Part findBase64Part(QStringView text);
