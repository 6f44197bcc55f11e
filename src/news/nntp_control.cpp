#include "news/nntp_control.h"

#include "news/nntp_address.h"
#include "news/nntp_errors.h"
#include "news/nntp_lines.h"

#include <QMetaObject>
#include <QSslError>
#include <QSslSocket>
#include <algorithm>

// Connection, socket events and the cutting of incoming bytes into reply
// lines and body blocks. What each reply means is in nntp_control_replies.cpp.

namespace {

// The most the socket takes in before the program has read it: one block.
// More would only move bytes from the system's buffer, which grows as it
// needs and costs the program nothing, into the program's memory.
constexpr qint64 kReadBufferBytes = 256 * 1024;
// What one read takes from the socket's buffer: large enough that a block
// costs little per byte, small enough to stay in the cache.
constexpr qint64 kReadBlockBytes = 256 * 1024;

// Anything that would end the command line early or smuggle in a second one.
bool isToken(const QString& text) {
    if (text.isEmpty()) return false;
    for (const QChar c : text) {
        if (c.unicode() <= 0x20 || c.unicode() == 0x7f) return false;
    }
    return true;
}

bool isNumber(const QString& text) {
    if (text.isEmpty()) return false;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) return false;
    }
    return true;
}

} // namespace

// Marks a socket handler as running, so that sockets are never deleted while
// one of their signals is still on the stack.
struct NntpControl::SocketScope {
    explicit SocketScope(NntpControl* control) : control_(control) { ++control_->socketDepth_; }
    ~SocketScope() { --control_->socketDepth_; }
    SocketScope(const SocketScope&) = delete;
    SocketScope& operator=(const SocketScope&) = delete;
    NntpControl* control_;
};

NntpControl::NntpControl(QObject* parent) : QObject(parent) {}

NntpControl::~NntpControl() {
    // Children would be deleted after this part of the object is gone; cut
    // the signals first so a dying socket cannot call back into it.
    if (socket_) retireSocket();
    reapSockets();
}

QString NntpControl::state() const {
    switch (link_) {
    case Link::Disconnected:
        return QStringLiteral("Disconnected");
    case Link::Resolving:
        return QStringLiteral("Resolving");
    case Link::Connecting:
        return QStringLiteral("Connecting");
    case Link::Negotiating:
        return QStringLiteral("Negotiating");
    case Link::Connected:
        return QStringLiteral("Connected");
    case Link::Disconnecting:
        return QStringLiteral("Disconnecting");
    }
    return QString();
}

QString NntpControl::protocolState() const {
    switch (session_) {
    case Session::Base:
        return QStringLiteral("Base");
    case Session::Authorization:
        return QStringLiteral("Authorization");
    case Session::Transaction:
        return QStringLiteral("Transaction");
    }
    return QString();
}

void NntpControl::setExtraCaCertificates(const QList<QSslCertificate>& certificates) {
    extraCaCertificates_ = certificates;
}

// ---------------------------------------------------------------- operations

bool NntpControl::connectTo(const QString& server) {
    if (link_ != Link::Disconnected)
        return refuse(NntpError::InvalidState, QStringLiteral("already connected"));
    const NntpAddress address = parseNntpAddress(server);
    if (!address.valid) return refuse(NntpError::BadAddress, server);
    if (address.tls && !QSslSocket::supportsSsl()) return refuse(NntpError::TlsUnavailable);

    if (socketDepth_ == 0) reapSockets();
    ++epoch_;
    tls_ = address.tls;
    sslErrors_.clear();
    lineBuffer_.clear();
    noXhdr_ = noHdr_ = noXover_ = false;
    authenticated_ = false;
    postingAllowed_ = false;
    request_ = Request::None;
    await_ = Await::Greeting;
    busy_ = true;

    socket_ = new QSslSocket(this);
    // While a block is handled the event queue runs, and the socket would
    // take in all the server sends meanwhile, to be delivered as one block
    // as large as a whole listing. Bounded, the rest waits in the kernel
    // and the server is held back.
    socket_->setReadBufferSize(kReadBufferBytes);
    connect(socket_, &QAbstractSocket::stateChanged, this, &NntpControl::onSocketStateChanged);
    connect(socket_, &QIODevice::readyRead, this, &NntpControl::onReadyRead);
    connect(socket_, &QAbstractSocket::errorOccurred, this, &NntpControl::onSocketError);
    connect(socket_, &QAbstractSocket::disconnected, this, &NntpControl::onDisconnected);
    connect(socket_, &QSslSocket::encrypted, this, &NntpControl::onEncrypted);
    connect(socket_, &QSslSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        SocketScope scope(this);
        for (const QSslError& e : errors)
            sslErrors_ << e.errorString();
    });

    openNntpSocket(*socket_, address, extraCaCertificates_);
    return true;
}

bool NntpControl::listGroups() {
    return startRequest(Request::List, QByteArrayLiteral("LIST"));
}

bool NntpControl::selectGroup(const QString& name) {
    if (!isToken(name)) return refuse(NntpError::BadArgument, name);
    groupName_ = name.toUtf8();
    return startRequest(Request::Group, "GROUP " + groupName_);
}

bool NntpControl::getHeaders(const QString& field, const QString& first, const QString& last) {
    const QString from = first.trimmed();
    const QString to = last.trimmed();
    if (!isToken(field) || !isNumber(from) || (!to.isEmpty() && !isNumber(to)))
        return refuse(NntpError::BadArgument,
                      field + QLatin1Char(' ') + first + QLatin1Char('-') + last);

    headerField_ = field.toLatin1();
    headerRange_ = from.toLatin1() + '-' + to.toLatin1();
    const bool inOverview = NntpOverviewPicker::fieldIndexOf(headerField_) > 0;
    if (!noXhdr_) {
        headerMethod_ = HeaderMethod::Xhdr;
    } else if (!noHdr_) {
        headerMethod_ = HeaderMethod::Hdr;
    } else if (!noXover_ && inOverview) {
        headerMethod_ = HeaderMethod::Xover;
    } else {
        return refuse(NntpError::FieldUnavailable, field);
    }
    return startRequest(Request::Headers, headerCommand());
}

bool NntpControl::getArticle(qint64 number) {
    if (number < 1) return refuse(NntpError::BadArgument, QString::number(number));
    return startRequest(Request::Article, "ARTICLE " + QByteArray::number(number));
}

bool NntpControl::getArticleById(const QByteArray& messageId) {
    QByteArray id = messageId;
    if (!id.startsWith('<')) id = '<' + id + '>';
    // Anything that could end the command line or split its argument.
    const bool bad = id.size() < 3 || id.size() > 250 || !id.endsWith('>') ||
                     std::any_of(id.cbegin(), id.cend(), [](char c) {
                         return static_cast<unsigned char>(c) <= ' ' || c == 0x7f;
                     });
    if (bad) return refuse(NntpError::BadArgument, QString::fromLatin1(messageId.left(80)));
    return startRequest(Request::Article, "ARTICLE " + id);
}

bool NntpControl::quit() {
    if (!socket_ || link_ != Link::Connected || busy_ || reading_) return false;
    await_ = Await::Quit;
    busy_ = true;
    sendCommand(QByteArrayLiteral("QUIT"));
    setStates(Link::Disconnecting, session_);
    return true;
}

void NntpControl::cancel() {
    if (link_ == Link::Disconnected && !socket_) return;
    closeConnection();
}

// ------------------------------------------------------------- socket events

void NntpControl::onSocketStateChanged(QAbstractSocket::SocketState socketState) {
    SocketScope scope(this);
    switch (socketState) {
    case QAbstractSocket::HostLookupState:
        setStates(Link::Resolving, Session::Base);
        break;
    case QAbstractSocket::ConnectingState:
        setStates(Link::Connecting, Session::Base);
        break;
    case QAbstractSocket::ConnectedState:
        if (tls_)
            setStates(Link::Negotiating, Session::Base);
        else
            setStates(Link::Connected, Session::Authorization);
        break;
    default:
        break; // closing is ours to announce, after any error
    }
}

void NntpControl::onEncrypted() {
    SocketScope scope(this);
    setStates(Link::Connected, Session::Authorization);
}

void NntpControl::onReadyRead() {
    SocketScope scope(this);
    // A handler that runs the event queue inside one of our events brings us
    // here again; the outer pass reads on, so blocks keep their order.
    if (reading_) return;
    reading_ = true;
    const quint64 epoch = epoch_;
    while (epoch == epoch_ && socket_ && socket_->bytesAvailable() > 0) {
        const qsizetype want = qsizetype(std::min(socket_->bytesAvailable(), kReadBlockBytes));
        // A buffer still kept by a receiver, or too small, is replaced, not
        // grown: growing would copy the last block's bytes for nothing.
        if (!readBuffer_.isDetached() || readBuffer_.capacity() < want)
            readBuffer_ = QByteArray(want, Qt::Uninitialized);
        readBuffer_.resize(want);
        const qint64 n = socket_->read(readBuffer_.data(), readBuffer_.size());
        if (n <= 0) break;
        readBuffer_.resize(qsizetype(n));
        consume(readBuffer_);
    }
    if (epoch != epoch_) return;
    reading_ = false;
    if (peerClosedPending_) {
        peerClosedPending_ = false;
        handlePeerClosed();
    }
}

void NntpControl::onSocketError(QAbstractSocket::SocketError socketError) {
    SocketScope scope(this);
    if (!socket_) return;
    if (socketError == QAbstractSocket::RemoteHostClosedError) {
        handlePeerClosed();
        return;
    }
    if (await_ == Await::Quit) {
        closeConnection();
        return;
    }
    const int code = NntpError::fromSocketError(socketError);
    QString detail = socket_->errorString();
    if (code == NntpError::TlsFailed && !sslErrors_.isEmpty())
        detail = sslErrors_.join(QLatin1String("; "));
    failConnection(code, NntpError::describe(code, detail));
}

void NntpControl::onDisconnected() {
    SocketScope scope(this);
    handlePeerClosed();
}

void NntpControl::handlePeerClosed() {
    if (!socket_) return;
    if (reading_) {
        peerClosedPending_ = true;
        return;
    }
    // What the server sent before it closed is still ours to deliver.
    const quint64 epoch = epoch_;
    reading_ = true;
    while (epoch == epoch_ && socket_ && socket_->bytesAvailable() > 0)
        consume(socket_->readAll());
    if (epoch != epoch_) return;
    reading_ = false;
    if (await_ == Await::Quit) {
        closeConnection();
        return;
    }
    failConnection(NntpError::ConnectionClosed,
                   QString::fromLatin1(NntpError::text(NntpError::ConnectionClosed)));
}

// ------------------------------------------------------------ incoming bytes

void NntpControl::consume(QByteArray chunk) {
    const quint64 epoch = epoch_;
    qsizetype pos = 0;
    while (pos < chunk.size()) {
        if (await_ == Await::Body) {
            const NntpBodyDecoder::Result r = bodyDecoder_.feed(chunk, pos);
            pos += r.consumed;
            if (!r.data.isEmpty()) {
                deliverData(r.data);
                if (epoch != epoch_) return;
            }
            if (r.finished) {
                finishDocument();
                if (epoch != epoch_) return;
            }
            continue;
        }
        QByteArray line;
        const LineTake took = takeStatusLine(lineBuffer_, chunk, pos, line);
        if (took != LineTake::Line) {
            if (took == LineTake::TooLong)
                failConnection(NntpError::ProtocolViolation,
                               NntpError::describe(NntpError::ProtocolViolation,
                                                   QStringLiteral("reply line too long")));
            return;
        }
        lfOnlyLine_ = !line.endsWith('\r');
        if (!lfOnlyLine_) line.chop(1);
        handleLine(line);
        if (epoch != epoch_) return;
    }
}

// ---------------------------------------------------- connection bookkeeping

void NntpControl::setStates(Link link, Session session) {
    const Link oldLink = link_;
    const Session oldSession = session_;
    link_ = link;
    session_ = session;
    announceStates(oldLink, oldSession);
}

void NntpControl::announceStates(Link oldLink, Session oldSession) {
    // Both texts are set before either event, so each handler sees the final pair.
    const quint64 epoch = epoch_;
    const bool sessionChanged = oldSession != session_;
    if (oldLink != link_) {
        emit stateChanged();
        if (epoch != epoch_) return;
    }
    if (sessionChanged) emit protocolStateChanged();
}

void NntpControl::tearDown() {
    ++epoch_;
    retireSocket();
    link_ = Link::Disconnected;
    session_ = Session::Base;
    await_ = Await::Nothing;
    request_ = Request::None;
    busy_ = false;
    reading_ = false;
    peerClosedPending_ = false;
    pickingOverview_ = false;
    authPass_.clear();
    lineBuffer_.clear();
}

void NntpControl::closeConnection() {
    const Link oldLink = link_;
    const Session oldSession = session_;
    tearDown();
    announceStates(oldLink, oldSession);
}

void NntpControl::retireSocket() {
    if (!socket_) return;
    QSslSocket* old = socket_;
    socket_ = nullptr;
    disconnect(old, nullptr, this, nullptr);
    old->abort();
    retired_.append(old);
}

void NntpControl::reapSockets() {
    qDeleteAll(retired_);
    retired_.clear();
}
