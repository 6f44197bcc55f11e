#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslCertificate>
#include <QString>
#include <QStringList>

class QSslSocket;

// The posting connection (NNTP2): one server at a time, on a socket of its
// own, never the main connection's. Every operation returns at once; the
// connected, disconnected and error events tell what came of it.
//
// An article is posted as begin post (POST, answered 340), any number of
// pieces (a length, then text of that length), and end post (the final ".",
// answered 240). The pieces go out as they come, with their line ends made
// CR LF and lines that start with "." doubled.
class NewsClient : public QObject {
    Q_OBJECT

public:
    explicit NewsClient(QObject* parent = nullptr);
    ~NewsClient() override;

    // Kept for callers that set it: nothing here ever blocks.
    bool blocking() const { return blocking_; }
    void setBlocking(bool on) { blocking_ = on; }
    QString serverName() const { return serverName_; }
    void setServerName(const QString& name) { serverName_ = name; }
    // True from the connected event until the connection ends.
    bool isConnected() const;
    // A command waits for its reply (the connect included).
    bool busy() const;
    // The server's last status line; in the connected event, its greeting
    // (the answer to MODE READER where the server gives one).
    QString lastReply() const { return lastReply_; }
    // The current moment in the form of a news article's Date header.
    QString currentDate() const;

    // Certificates trusted in addition to the system's, for the next connect.
    void setExtraCaCertificates(const QList<QSslCertificate>& certificates);

    // Each of these raises the error event, before it returns, when it
    // cannot start; the ones with a result then return false.
    void connectToServer();
    // Ends the connection (with QUIT when it is up); the disconnected event
    // follows at once when there was one.
    void disconnectFromServer();
    bool beginPost();
    void setSendLength(qsizetype length) { sendLength_ = length; }
    bool sendText(const QString& text);
    bool endPost();

signals:
    void connected();
    void disconnected();
    void error(int code, const QString& description);
    // The handler writes user and password; an empty user means no login.
    void authenticateRequest(QString& user, QString& pass);

private:
    enum class Step {
        Closed,
        Greeting,
        ModeReader,
        AuthUser,
        AuthPass,
        Ready,
        PostCommand, // POST sent, 340 awaited
        Article,     // the article is being sent
        ArticleEnd,  // "." sent, 240 awaited
    };

    void onReadyRead();
    void onSocketError();
    void onPeerClosed();
    void handleLine(const QByteArray& line);
    void handleLogin(int code, const QByteArray& line);
    void askLogin(const QByteArray& refusal, bool forPost);
    void becomeReady();
    void refusePost(int code, const QByteArray& line);
    bool refuse(int code, const QString& detail);
    void failConnection(int code, const QString& description);
    void send(const QByteArray& bytes);
    void retireSocket(bool graceful);

    QSslSocket* socket_ = nullptr;
    quint64 epoch_ = 0; // changes whenever the connection is torn down
    Step step_ = Step::Closed;
    bool blocking_ = false;
    QString serverName_;
    QString lastReply_;
    QString greeting_;
    QList<QSslCertificate> extraCaCertificates_;
    QStringList sslErrors_;
    QByteArray lineBuffer_;

    bool loginTried_ = false;
    bool loginForPost_ = false; // after the login, POST again
    QString authPass_;          // held between AUTHINFO USER and PASS only

    qsizetype sendLength_ = 0;
    bool lineStart_ = true; // the next article byte starts a line
    bool afterCr_ = false;  // the last article byte was a CR
};
