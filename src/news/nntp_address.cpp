#include "news/nntp_address.h"

#include <QSslConfiguration>
#include <QSslSocket>

namespace {

constexpr quint16 kPlainPort = 119;
constexpr quint16 kTlsPort = 563;

bool parsePort(const QString& text, quint16& port) {
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value == 0 || value > 65535) return false;
    port = static_cast<quint16>(value);
    return true;
}

} // namespace

NntpAddress parseNntpAddress(const QString& server) {
    NntpAddress result;
    QString rest = server.trimmed();
    bool schemeTls = false;
    if (rest.startsWith(QLatin1String("nntps://"), Qt::CaseInsensitive)) {
        schemeTls = true;
        rest = rest.mid(8);
    } else if (rest.startsWith(QLatin1String("nntp://"), Qt::CaseInsensitive)) {
        rest = rest.mid(7);
    } else if (rest.contains(QLatin1String("://"))) {
        return result;
    }
    while (rest.endsWith(QLatin1Char('/')))
        rest.chop(1);

    QString host;
    QString portText;
    if (rest.startsWith(QLatin1Char('['))) {
        const qsizetype close = rest.indexOf(QLatin1Char(']'));
        if (close < 0) return result;
        host = rest.mid(1, close - 1);
        const QString tail = rest.mid(close + 1);
        if (!tail.isEmpty()) {
            if (!tail.startsWith(QLatin1Char(':'))) return result;
            portText = tail.mid(1);
        }
    } else if (rest.count(QLatin1Char(':')) == 1) {
        const qsizetype colon = rest.indexOf(QLatin1Char(':'));
        host = rest.left(colon);
        portText = rest.mid(colon + 1);
    } else {
        // No colon, or a bare IPv6 literal whose colons are not a port.
        host = rest;
    }

    if (host.isEmpty()) return result;
    for (const QChar c : host) {
        if (c.isSpace() || c == QLatin1Char('/') || c == QLatin1Char('@')) return result;
    }

    quint16 port = schemeTls ? kTlsPort : kPlainPort;
    if (!portText.isNull() && !parsePort(portText, port)) return result;

    result.host = host;
    result.port = port;
    result.tls = schemeTls || port == kTlsPort;
    result.valid = true;
    return result;
}

void openNntpSocket(QSslSocket& socket, const NntpAddress& address,
                    const QList<QSslCertificate>& extraCaCertificates) {
    if (!address.tls) {
        socket.connectToHost(address.host, address.port);
        return;
    }
    QSslConfiguration config = socket.sslConfiguration();
    // Any change to the CA list turns off Qt's on-demand lookup of the
    // system's roots, so the default is left alone unless there are extra
    // certificates, and then the system's roots go in with them.
    if (!extraCaCertificates.isEmpty())
        config.setCaCertificates(QSslConfiguration::systemCaCertificates() + extraCaCertificates);
    config.setPeerVerifyMode(QSslSocket::VerifyPeer);
    socket.setSslConfiguration(config);
    socket.connectToHostEncrypted(address.host, address.port);
}
