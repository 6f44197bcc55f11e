#pragma once

#include <QList>
#include <QSslCertificate>
#include <QString>

class QSslSocket;

// Where and how to reach a news server, read from the text the user typed.
struct NntpAddress {
    QString host;
    quint16 port = 119;
    bool tls = false;
    bool valid = false;
};

// Accepts "host", "host:port", "nntp://host[:port]", "nntps://host[:port]"
// and bracketed IPv6 literals ("[::1]:119"). nntps defaults to port 563, and
// port 563 always means TLS, since nothing else is served there.
NntpAddress parseNntpAddress(const QString& server);

// Starts the connection on socket: plain, or TLS that verifies the server's
// certificate against the system's roots and the extra ones.
void openNntpSocket(QSslSocket& socket, const NntpAddress& address,
                    const QList<QSslCertificate>& extraCaCertificates);
