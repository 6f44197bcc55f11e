#pragma once
// What the benches that talk NNTP share: a loopback server in the process,
// a blocking reference client, the project's news-server script, and the
// process's resident memory.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTcpSocket>

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

void print(const QByteArray& name, double value, const char* unit);

// Runs scripts/news-server with args; its standard output goes to *out.
bool newsServer(const QStringList& args, QByteArray* out = nullptr);

// A private INN on a loopback port, under a temporary directory, with one
// group; stopped when it goes. port is 0 when it could not be started.
class BenchInn {
public:
    explicit BenchInn(const QString& group);
    ~BenchInn();
    quint16 port = 0;

private:
    QString dir_;
};

bool sendAll(int fd, const QByteArray& data);

// Resident memory now and its peak since the last reset, in KiB.
qint64 statusKb(const char* field);
void resetPeak();

// A server on a loopback port, one thread per connection: greet(fd) opens
// each, MODE READER and QUIT are answered here, and reply(command, fd)
// answers the rest, returning false to hang up.
class LoopbackServer {
public:
    std::function<bool(int fd)> greet = [](int fd) {
        return sendAll(fd, "200 bench server ready\r\n");
    };
    std::function<bool(const QByteArray& command, int fd)> reply;

    quint16 start();
    ~LoopbackServer();

private:
    void serve(int fd);

    int listen_ = -1;
    std::thread acceptor_;
    std::mutex mutex_;
    std::vector<std::thread> sessions_;
};

// A blocking client, good enough for posting and for the reference reader.
class Wire {
public:
    bool open(quint16 port);
    QByteArray line();
    QByteArray command(const QByteArray& c);
    void send(const QByteArray& data);
    // Posts body to group, dot-stuffed, with extra header lines (CR LF each).
    bool post(const QString& group, const QString& subject, const QByteArray& body,
              const QByteArray& extraHeaders = {});
    // One article ("123" or "<id>") to its terminator; the bytes are counted
    // and dropped, or kept in *keep, status line included.
    qint64 article(const QByteArray& which, QByteArray* keep = nullptr);

private:
    QTcpSocket s_;
};
