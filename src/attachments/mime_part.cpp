#include "attachments/mime_part.h"

#include "attachments/article_receiver.h"

#include <QRegularExpression>

namespace {

// The boundary that closes the part, from the delimiter line just above its
// headers, and the size a "size=" parameter announces.
void readPartHeaders(QStringView text, qsizetype filename, Base64Part& part) {
    static const QRegularExpression sizeParameter(
        QStringLiteral("(?:^|[;\\s])size\\s*=\\s*\"?(\\d{1,18})\"?(?:[;\\s]|$)"),
        QRegularExpression::CaseInsensitiveOption);
    qsizetype headersEnd = text.indexOf(u"\r\n\r\n", filename);
    if (headersEnd < 0) headersEnd = text.size();
    qsizetype partStart = 0;
    const qsizetype delimiter = text.lastIndexOf(u"\n--", filename);
    // The delimiter opens this part only when no blank line ends a header
    // block between it and the name.
    if (delimiter >= 0 && text.indexOf(u"\r\n\r\n", delimiter) == headersEnd) {
        qsizetype lineEnd = delimiter + 3;
        while (lineEnd < text.size() && text[lineEnd] != u'\r' && text[lineEnd] != u'\n')
            ++lineEnd;
        part.boundary = text.sliced(delimiter + 3, lineEnd - delimiter - 3).trimmed().toLatin1();
        partStart = lineEnd;
    }
    const QRegularExpressionMatch m =
        sizeParameter.match(text.sliced(partStart, headersEnd - partStart).toString());
    if (m.hasMatch()) part.size = m.captured(1).toLongLong();
}

} // namespace

bool isBase64Article(QStringView text) {
    return text.contains(QLatin1String("CONTENT-TRANSFER-ENCODING: BASE64"), Qt::CaseInsensitive);
}

bool isBase64Article(QLatin1StringView text) {
    return text.contains(QLatin1String("CONTENT-TRANSFER-ENCODING: BASE64"), Qt::CaseInsensitive);
}

Base64Part findBase64Part(QStringView text) {
    Base64Part part;
    const qsizetype at = text.indexOf(QLatin1String("filename="));
    qsizetype from = 0;
    if (at >= 0) {
        readPartHeaders(text, at, part);
        from = at + 9;
        QStringView name = text.sliced(from);
        qsizetype quote = name.indexOf(u'"');
        if (quote >= 0) {
            name = name.sliced(quote + 1);
            quote = name.indexOf(u'"');
            if (quote >= 0) name.truncate(quote);
        }
        const qsizetype cr = name.indexOf(u'\r');
        if (cr >= 0) name.truncate(cr);
        part.named = true;
        part.name = nameFromArticle(name);
    }
    const qsizetype blank = text.indexOf(QLatin1String("\r\n\r\n"), from);
    part.dataStart = std::min(blank >= 0 ? blank + 4 : from + 3, text.size());
    return part;
}
