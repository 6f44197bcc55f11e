#pragma once

#include <QAbstractSocket>
#include <QString>

// Every error code that NntpControl raises through its error event.
//
// Codes 400 to 599 are not listed here: when the server refuses a command,
// the event carries the server's own reply code and the reply line as the
// description (411 no such group, 430 no such article, 502 no permission...).
// The control's own codes start at 1001 so they can never be mistaken for a
// reply code.
namespace NntpError {

enum Code : int {
    InvalidState = 1001,      // request while not connected, or connect while connected
    Busy = 1002,              // request while another one is in work
    BadAddress = 1003,        // server address that cannot be parsed
    HostNotFound = 1004,      // name lookup failed
    ConnectionRefused = 1005, // nobody listens on that port
    ConnectionClosed = 1006,  // the server closed the connection unasked
    SocketFailure = 1007,     // any other network failure
    TlsFailed = 1008,         // TLS handshake or certificate check failed
    TlsUnavailable = 1009,    // this build of Qt has no TLS backend
    ProtocolViolation = 1010, // a reply line that is not "ddd text", or one far too long
    UnexpectedReply = 1011,   // a success code that the command does not allow
    FieldUnavailable = 1012,  // no XHDR, no HDR, and the field is not in the overview
    BadArgument = 1013,       // group, field or range that would break the command line
    AuthenticationFailed = 1014,
};

struct Entry {
    int code;
    const char* text;
};

inline constexpr Entry kAll[] = {
    {InvalidState, "Operation not allowed in the current connection state"},
    {Busy, "Another request is in progress"},
    {BadAddress, "Invalid server address"},
    {HostNotFound, "Server not found"},
    {ConnectionRefused, "Connection refused"},
    {ConnectionClosed, "Connection closed by the server"},
    {SocketFailure, "Network error"},
    {TlsFailed, "Secure connection failed"},
    {TlsUnavailable, "Secure connections are not supported on this system"},
    {ProtocolViolation, "Malformed reply from the server"},
    {UnexpectedReply, "Unexpected reply from the server"},
    {FieldUnavailable, "The server cannot list this header field"},
    {BadArgument, "Invalid argument for the command"},
    {AuthenticationFailed, "Authentication failed"},
};

// The fixed text of one of the codes above; empty for any other code.
inline const char* text(int code) {
    for (const Entry& e : kAll) {
        if (e.code == code) return e.text;
    }
    return "";
}

// The description of an error event: the fixed text, then what went wrong.
inline QString describe(int code, const QString& detail) {
    QString description = QString::fromLatin1(text(code));
    if (!detail.isEmpty()) description += QLatin1String(": ") + detail;
    return description;
}

// The code of a failure the socket reports.
inline int fromSocketError(QAbstractSocket::SocketError error) {
    switch (error) {
    case QAbstractSocket::HostNotFoundError:
        return HostNotFound;
    case QAbstractSocket::ConnectionRefusedError:
        return ConnectionRefused;
    case QAbstractSocket::SslHandshakeFailedError:
    case QAbstractSocket::SslInternalError:
    case QAbstractSocket::SslInvalidUserDataError:
        return TlsFailed;
    default:
        return SocketFailure;
    }
}

} // namespace NntpError
