#include "post/news_client.h"

#include "news/nntp_address.h"
#include "news/nntp_errors.h"
#include "news/nntp_lines.h"
#include "news/nntp_stream.h"

#include <QDateTime>
#include <QLocale>
#include <QSslError>
#include <QSslSocket>

NewsClient::NewsClient(QObject* parent) : QObject(parent) {}

NewsClient::~NewsClient() {
    retireSocket(false);
}

bool NewsClient::isConnected() const {
    return step_ == Step::Ready || step_ == Step::PostCommand || step_ == Step::Article ||
           step_ == Step::ArticleEnd;
}

bool NewsClient::busy() const {
    return step_ != Step::Closed && step_ != Step::Ready && step_ != Step::Article;
}

QString NewsClient::currentDate() const {
    const QDateTime now = QDateTime::currentDateTime();
    const int minutes = now.offsetFromUtc() / 60;
    const int off = minutes < 0 ? -minutes : minutes;
    return QLocale::c().toString(now, QStringLiteral("ddd, dd MMM yyyy hh:mm:ss ")) +
           QString::asprintf("%c%02d%02d", minutes < 0 ? '-' : '+', off / 60, off % 60);
}

void NewsClient::setExtraCaCertificates(const QList<QSslCertificate>& certificates) {
    extraCaCertificates_ = certificates;
}

// ---------------------------------------------------------------- operations

void NewsClient::connectToServer() {
    if (step_ != Step::Closed) {
        refuse(NntpError::InvalidState, QStringLiteral("already connected"));
        return;
    }
    const NntpAddress address = parseNntpAddress(serverName_);
    if (!address.valid) {
        refuse(NntpError::BadAddress, serverName_);
        return;
    }
    if (address.tls && !QSslSocket::supportsSsl()) {
        refuse(NntpError::TlsUnavailable, QString());
        return;
    }
    ++epoch_;
    lineBuffer_.clear();
    sslErrors_.clear();
    lastReply_.clear();
    greeting_.clear();
    loginTried_ = false;
    step_ = Step::Greeting;
    socket_ = new QSslSocket(this);
    connect(socket_, &QIODevice::readyRead, this, &NewsClient::onReadyRead);
    connect(socket_, &QAbstractSocket::errorOccurred, this, &NewsClient::onSocketError);
    connect(socket_, &QAbstractSocket::disconnected, this, &NewsClient::onPeerClosed);
    connect(socket_, &QSslSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        for (const QSslError& e : errors)
            sslErrors_ << e.errorString();
    });
    openNntpSocket(*socket_, address, extraCaCertificates_);
}

void NewsClient::disconnectFromServer() {
    if (step_ == Step::Closed) return;
    if (step_ == Step::Ready) send(QByteArrayLiteral("QUIT"));
    retireSocket(true);
    emit disconnected();
}

bool NewsClient::beginPost() {
    if (step_ != Step::Ready)
        return refuse(NntpError::InvalidState, isConnected() ? QStringLiteral("an article is open")
                                                             : QStringLiteral("not connected"));
    loginTried_ = false;
    step_ = Step::PostCommand;
    send(QByteArrayLiteral("POST"));
    return true;
}

bool NewsClient::sendText(const QString& text) {
    if (step_ != Step::Article)
        return refuse(NntpError::InvalidState, QStringLiteral("no article"));
    if (text.size() != sendLength_)
        return refuse(
            NntpError::BadArgument,
            QStringLiteral("length %1 for a text of %2").arg(sendLength_).arg(text.size()));
    const QByteArray bytes = text.toUtf8();
    QByteArray out;
    out.reserve(bytes.size() + bytes.size() / 32 + 2);
    for (const char c : bytes) {
        if (c == '\n' && afterCr_) {
            afterCr_ = false; // the LF of a CR LF already written
            continue;
        }
        afterCr_ = c == '\r';
        if (c == '\r' || c == '\n') {
            out += "\r\n";
            lineStart_ = true;
            continue;
        }
        if (lineStart_ && c == '.') out += '.';
        out += c;
        lineStart_ = false;
    }
    if (socket_) socket_->write(out);
    return true;
}

bool NewsClient::endPost() {
    if (step_ != Step::Article)
        return refuse(NntpError::InvalidState, QStringLiteral("no article"));
    if (!lineStart_) send(QByteArray());
    send(QByteArrayLiteral("."));
    step_ = Step::ArticleEnd;
    return true;
}

// ------------------------------------------------------------------ replies

void NewsClient::handleLine(const QByteArray& line) {
    const int code = nntpReplyCode(line);
    if (code < 0) {
        if (step_ == Step::Ready || step_ == Step::Article) return; // stray text between replies
        failConnection(NntpError::ProtocolViolation,
                       NntpError::describe(NntpError::ProtocolViolation, QString::fromUtf8(line)));
        return;
    }
    lastReply_ = QString::fromUtf8(line);
    switch (step_) {
    case Step::Greeting:
        if (code == 200 || code == 201) {
            greeting_ = lastReply_;
            step_ = Step::ModeReader;
            send(QByteArrayLiteral("MODE READER"));
        } else if (code == 480) {
            askLogin(line, false);
        } else {
            failConnection(errorCodeFor(code), lastReply_);
        }
        break;
    case Step::ModeReader:
        if (code == 200 || code == 201) {
            greeting_ = lastReply_;
            becomeReady();
        } else if (code == 500 || code == 501) {
            becomeReady(); // a server without MODE READER is a reader already
        } else if (code == 480 && !loginTried_) {
            askLogin(line, false);
        } else {
            failConnection(errorCodeFor(code), lastReply_);
        }
        break;
    case Step::AuthUser:
    case Step::AuthPass:
        handleLogin(code, line);
        break;
    case Step::PostCommand:
        if (code == 340) {
            step_ = Step::Article;
            lineStart_ = true;
            afterCr_ = false;
        } else if (code == 480 && !loginTried_) {
            askLogin(line, true);
        } else {
            refusePost(code, line);
        }
        break;
    case Step::ArticleEnd:
        if (code == 240)
            step_ = Step::Ready;
        else
            refusePost(code, line);
        break;
    case Step::Ready:
    case Step::Article:
        // An idle server says 400 just before it hangs up; anything else is noise.
        if (code == 400) failConnection(code, lastReply_);
        break;
    case Step::Closed:
        break;
    }
}

void NewsClient::handleLogin(int code, const QByteArray& line) {
    if (code == 381 && step_ == Step::AuthUser) {
        step_ = Step::AuthPass;
        send("AUTHINFO PASS " + withoutLineBreaks(authPass_));
        authPass_.clear();
        return;
    }
    authPass_.clear();
    if (code != 281) {
        const QString text =
            NntpError::describe(NntpError::AuthenticationFailed, QString::fromUtf8(line));
        if (loginForPost_) {
            step_ = Step::Ready;
            emit error(NntpError::AuthenticationFailed, text);
        } else {
            failConnection(NntpError::AuthenticationFailed, text);
        }
        return;
    }
    // A login may grant what the greeting did not, posting above all.
    if (loginForPost_) {
        step_ = Step::PostCommand;
        send(QByteArrayLiteral("POST"));
    } else {
        step_ = Step::ModeReader;
        send(QByteArrayLiteral("MODE READER"));
    }
}

void NewsClient::askLogin(const QByteArray& refusal, bool forPost) {
    QString user;
    QString pass;
    const quint64 epoch = epoch_;
    emit authenticateRequest(user, pass);
    if (epoch != epoch_) return;
    loginTried_ = true;
    loginForPost_ = forPost;
    if (user.isEmpty()) {
        // Nothing to log in with: the refusal stands, in the server's words.
        if (forPost)
            refusePost(480, refusal);
        else
            failConnection(480, QString::fromUtf8(refusal));
        return;
    }
    authPass_ = pass;
    step_ = Step::AuthUser;
    send("AUTHINFO USER " + withoutLineBreaks(user));
}

void NewsClient::becomeReady() {
    step_ = Step::Ready;
    lastReply_ = greeting_;
    emit connected();
}

void NewsClient::refusePost(int code, const QByteArray& line) {
    step_ = Step::Ready;
    emit error(errorCodeFor(code), QString::fromUtf8(line));
}

// ------------------------------------------------------------ socket events

void NewsClient::onReadyRead() {
    const quint64 epoch = epoch_;
    while (epoch == epoch_ && socket_ && socket_->bytesAvailable() > 0) {
        const QByteArray chunk = socket_->readAll();
        qsizetype pos = 0;
        while (epoch == epoch_ && pos < chunk.size()) {
            QByteArray line;
            const LineTake took = takeStatusLine(lineBuffer_, chunk, pos, line);
            if (took != LineTake::Line) {
                if (took == LineTake::TooLong)
                    failConnection(NntpError::ProtocolViolation,
                                   NntpError::describe(NntpError::ProtocolViolation,
                                                       QStringLiteral("reply line too long")));
                break;
            }
            if (line.endsWith('\r')) line.chop(1);
            handleLine(line);
        }
    }
}

void NewsClient::onSocketError() {
    if (!socket_) return;
    const QAbstractSocket::SocketError e = socket_->error();
    if (e == QAbstractSocket::RemoteHostClosedError) {
        onPeerClosed();
        return;
    }
    const int code = NntpError::fromSocketError(e);
    QString detail = socket_->errorString();
    if (code == NntpError::TlsFailed && !sslErrors_.isEmpty())
        detail = sslErrors_.join(QLatin1String("; "));
    failConnection(code, NntpError::describe(code, detail));
}

void NewsClient::onPeerClosed() {
    if (!socket_) return;
    // What the server said before it closed (a 400, a refusal) comes first.
    const quint64 epoch = epoch_;
    onReadyRead();
    if (epoch != epoch_) return;
    failConnection(NntpError::ConnectionClosed,
                   QString::fromLatin1(NntpError::text(NntpError::ConnectionClosed)));
}

// ------------------------------------------------------------------ helpers

bool NewsClient::refuse(int code, const QString& detail) {
    emit error(code, NntpError::describe(code, detail));
    return false;
}

void NewsClient::failConnection(int code, const QString& description) {
    const bool wasUp = step_ != Step::Closed;
    retireSocket(false);
    const quint64 epoch = epoch_;
    emit error(code, description);
    if (epoch == epoch_ && wasUp) emit disconnected();
}

void NewsClient::send(const QByteArray& bytes) {
    if (socket_) socket_->write(bytes + "\r\n");
}

void NewsClient::retireSocket(bool graceful) {
    ++epoch_;
    step_ = Step::Closed;
    authPass_.clear();
    lineBuffer_.clear();
    if (!socket_) return;
    QSslSocket* old = socket_;
    socket_ = nullptr;
    disconnect(old, nullptr, this, nullptr);
    // Deleted later: one of its signals may be on the stack right now.
    if (graceful && old->state() == QAbstractSocket::ConnectedState) {
        connect(old, &QAbstractSocket::disconnected, old, &QObject::deleteLater);
        old->disconnectFromHost(); // QUIT still goes out
    } else {
        old->abort();
        old->deleteLater();
    }
}
