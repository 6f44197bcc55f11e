#pragma once

#include "news/nntp_stream.h"

#include <QAbstractSocket>
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslCertificate>
#include <QString>
#include <QStringList>

class QSslSocket;

// The main news connection: an asynchronous NNTP client for one server at a
// time. Every operation returns at once; results arrive as events while the
// event queue runs. Nothing here blocks the calling thread.
//
// Handlers may call back into the control from inside any event (cancel from
// an error, a new request from the end of a document, even run the event
// queue): the control checks after each event whether the connection it was
// serving still exists. Destroying the control from inside one of its events
// is not supported; use deleteLater.
class NntpControl : public QObject {
    Q_OBJECT

public:
    // States of the document event.
    enum DocumentState {
        DocumentBegin = 1,
        DocumentHeaders = 2, // the reply's status line, before any data
        DocumentData = 3,
        DocumentError = 4,
        DocumentEnd = 5,
    };

    explicit NntpControl(QObject* parent = nullptr);
    ~NntpControl() override;

    // "Disconnected", "Resolving", "Connecting", "Negotiating" (TLS
    // handshake), "Connected", "Disconnecting".
    QString state() const;
    // "Base" while closed, "Authorization" from the connect until the server
    // accepts commands, then "Transaction".
    QString protocolState() const;
    // True from a request until its last event, including connect and quit.
    bool busy() const { return busy_; }
    // Kept for callers that set it; data are always delivered block by block.
    int deliveryMode() const { return deliveryMode_; }
    void setDeliveryMode(int mode) { deliveryMode_ = mode; }
    // From the greeting, corrected by the reply to MODE READER.
    bool postingAllowed() const { return postingAllowed_; }

    // Certificates trusted in addition to the system's, for the next connect.
    void setExtraCaCertificates(const QList<QSslCertificate>& certificates);

    // Each returns false, and raises the error event once the queue runs,
    // when the request cannot start (wrong state, busy, bad argument).
    bool connectTo(const QString& server);
    bool listGroups();
    bool selectGroup(const QString& name);
    // Header field for the article range first..last; an empty last means
    // "to the end". Uses XHDR, then HDR, then the overview, remembering per
    // connection which of them the server lacks.
    bool getHeaders(const QString& field, const QString& first, const QString& last);
    bool getArticle(qint64 number);
    // The article of that Message-ID, with or without its angle brackets,
    // from any group: ARTICLE <id>.
    bool getArticleById(const QByteArray& messageId);
    // Sends QUIT. Fails while a request is running, before the connection is
    // up, or from inside an event raised while a reply is being read (the
    // reply to QUIT could not be read before that event returns); the caller
    // then cancels.
    bool quit();
    // Drops the connection at once, whatever runs on it. Raises no error.
    void cancel();

signals:
    void error(int code, const QString& description);
    void stateChanged();
    void protocolStateChanged();
    void document(int state, const QByteArray& data);
    // The handler writes user and password; both may stay empty.
    void authenticateRequest(QString& user, QString& pass);
    void authenticateResponse(bool ok);
    void groupSelected(const QString& name, qint64 first, qint64 last, qint64 count);

private:
    enum class Link { Disconnected, Resolving, Connecting, Negotiating, Connected, Disconnecting };
    enum class Session { Base, Authorization, Transaction };
    enum class Await { Nothing, Greeting, ModeReader, AuthUser, AuthPass, Reply, Body, Quit };
    enum class Request { None, List, Group, Headers, Article };
    enum class HeaderMethod { Xhdr, Hdr, Xover };

    // Socket events.
    void onSocketStateChanged(QAbstractSocket::SocketState socketState);
    void onEncrypted();
    void onReadyRead();
    void onSocketError(QAbstractSocket::SocketError socketError);
    void onDisconnected();

    // Incoming bytes.
    void consume(QByteArray chunk);
    void handleLine(const QByteArray& line);
    void handleRequestReply(int code, const QByteArray& line);
    void handleHeadersReply(int code, const QByteArray& line);
    void deliverData(const QByteArray& data);
    void handlePeerClosed();

    // Steps of a conversation.
    bool refuse(int code, const QString& detail = QString());
    bool startRequest(Request request, const QByteArray& command);
    void sendCommand(const QByteArray& command);
    QByteArray headerCommand() const;
    bool advanceHeaderMethod();
    void beginAuthentication();
    void authenticationSucceeded();
    void modeReaderAnswered();
    void authenticationFailed(const QByteArray& line);
    void becomeReady();
    void beginDocument(const QByteArray& statusLine);
    void finishDocument();
    void failRequest(int code, const QString& description);
    void failConnection(int code, const QString& description);

    // Connection bookkeeping.
    void setStates(Link link, Session session);
    void tearDown();
    void announceStates(Link oldLink, Session oldSession);
    void closeConnection();
    void retireSocket();
    void reapSockets();
    struct SocketScope;

    QSslSocket* socket_ = nullptr;
    QList<QSslSocket*> retired_; // sockets whose signals may still be on the stack
    int socketDepth_ = 0;        // socket event handlers currently on the stack
    quint64 epoch_ = 0;          // changes whenever the connection is torn down
    bool reading_ = false;
    bool peerClosedPending_ = false;
    bool tls_ = false;
    QList<QSslCertificate> extraCaCertificates_;
    QStringList sslErrors_;

    Link link_ = Link::Disconnected;
    Session session_ = Session::Base;
    Await await_ = Await::Nothing;
    bool busy_ = false;
    bool postingAllowed_ = false;
    int deliveryMode_ = 0;

    // The running request.
    Request request_ = Request::None;
    QByteArray command_; // for a resend after a late login
    bool authTried_ = false;
    bool resumeRequest_ = false; // after login: resend command_ (else: connection ready)
    bool authenticated_ = false; // a login succeeded on this connection
    QByteArray groupName_;
    QByteArray headerField_;
    QByteArray headerRange_;
    HeaderMethod headerMethod_ = HeaderMethod::Xhdr;
    QString authPass_; // held between AUTHINFO USER and PASS only

    // What the server lacks, learnt on this connection.
    bool noXhdr_ = false;
    bool noHdr_ = false;
    bool noXover_ = false;

    QByteArray lineBuffer_;
    // Blocks are read into this one buffer, so a download does not take
    // fresh pages from the system for every block. A receiver that keeps a
    // block shares it, and the next read goes to a new buffer.
    QByteArray readBuffer_;
    bool lfOnlyLine_ = false; // the last reply line ended with LF alone
    NntpBodyDecoder bodyDecoder_;
    NntpOverviewPicker overviewPicker_;
    bool pickingOverview_ = false;
};
