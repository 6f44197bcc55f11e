#include "post/message_view.h"

#include "shell/app.h"
#include "shell/gating.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QStringDecoder>

namespace {

QString decodeBytes(const QByteArray& bytes, const QByteArray& charset) {
    const QByteArray name = charset.isEmpty() ? QByteArray("UTF-8") : charset;
    QStringDecoder decoder(name.constData(), QStringDecoder::Flag::Stateless);
    if (!decoder.isValid()) return QString::fromLatin1(bytes);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : text;
}

// "=?charset?B|Q?text?=" of a header line.
QString decodeEncodedWords(const QString& line) {
    static const QRegularExpression word(
        QStringLiteral("=\\?([^?\\s]+)\\?([BbQq])\\?([^?\\s]*)\\?=(\\s+(?==\\?))?"));
    QString out;
    qsizetype from = 0;
    for (auto it = word.globalMatch(line); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += line.mid(from, m.capturedStart() - from);
        const QByteArray data = m.captured(3).toLatin1();
        QByteArray bytes;
        if (m.captured(2).compare(QLatin1String("B"), Qt::CaseInsensitive) == 0) {
            bytes = QByteArray::fromBase64(data);
        } else {
            QByteArray q = data;
            q.replace('_', ' ');
            bytes = QByteArray::fromPercentEncoding(q, '=');
        }
        out += decodeBytes(bytes, m.captured(1).toLatin1());
        from = m.capturedEnd();
    }
    return out + line.mid(from);
}

} // namespace

QString readableArticle(const QString& messageText) {
    const QByteArray bytes = messageText.toLatin1();
    QString text = decodeBytes(bytes, "UTF-8");
    text.remove(u'\r');
    const qsizetype headerEnd = text.indexOf(QLatin1String("\n\n"));
    if (headerEnd > 0 && text.left(headerEnd).contains(QLatin1String("=?")))
        text = decodeEncodedWords(text.left(headerEnd)) + text.mid(headerEnd);
    return text;
}

qint64 viewerArticleNumber(const App& app, int row) {
    if (row < 0 || row >= app.lstMessages.count()) return 0;
    if (!app.ShowMNumbers) return app.lstMessages.number(row);
    const QString text = app.lstMessages.text(row);
    return text.left(text.indexOf(u' ')).trimmed().toLongLong();
}

QString replyMessage(const QString& signature, const QString& body) {
    return QStringLiteral("\r\n\r\n") + signature + QStringLiteral("\r\n") + QString(40, u'-') +
           QStringLiteral("\r\n") + body.left(100);
}

void viewerCommandsOff(App& app) {
    for (int item : {8, 9, 10, 4, 6})
        SetMenuItem(app, item, false);
    MenuOnOff(app, QStringLiteral("CG"), false);
    MenuOnOff(app, QStringLiteral("SM"), false);
}

void viewerCommandsOn(App& app) {
    for (int item : {8, 9, 10, 4, 6})
        SetMenuItem(app, item, true);
    MenuOnOff(app, QStringLiteral("CG"), true);
    MenuOnOff(app, QStringLiteral("SM"), true);
}
