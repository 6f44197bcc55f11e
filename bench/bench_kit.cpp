#include "bench_kit.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

void print(const QByteArray& name, double value, const char* unit) {
    std::printf("%s: %.3g %s\n", name.constData(), value, unit);
    std::fflush(stdout);
}

bool newsServer(const QStringList& args, QByteArray* out) {
    QProcess p;
    p.start(QStringLiteral(ZANDERFELL_SOURCE_DIR "/scripts/news-server"), args);
    if (!p.waitForFinished(120000) || p.exitCode() != 0) {
        std::fprintf(stderr, "news-server %s: %s\n", qPrintable(args.join(' ')),
                     p.readAllStandardError().constData());
        return false;
    }
    if (out) *out = p.readAllStandardOutput();
    return true;
}

BenchInn::BenchInn(const QString& group) {
    QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/zfbench-XXXXXX"));
    dir.setAutoRemove(false); // removed once the server has stopped
    dir_ = dir.path();
    QByteArray started;
    if (!newsServer({QStringLiteral("start"), dir_}, &started)) return;
    port = quint16(started.trimmed().split('\n').last().toUInt());
    if (!newsServer({QStringLiteral("newgroup"), dir_, group, QStringLiteral("y")})) port = 0;
}

BenchInn::~BenchInn() {
    newsServer({QStringLiteral("stop"), dir_});
    QDir(dir_).removeRecursively();
}

bool sendAll(int fd, const QByteArray& data) {
    for (qsizetype at = 0; at < data.size();) {
        const ssize_t n = ::send(fd, data.constData() + at, size_t(data.size() - at), MSG_NOSIGNAL);
        if (n <= 0) return false;
        at += n;
    }
    return true;
}

qint64 statusKb(const char* field) {
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qsizetype(std::strlen(field))).trimmed().split(' ')[0].toLongLong();
    return -1;
}

void resetPeak() {
    QFile f(QStringLiteral("/proc/self/clear_refs"));
    if (f.open(QIODevice::WriteOnly)) f.write("5");
}

quint16 LoopbackServer::start() {
    listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (::bind(listen_, reinterpret_cast<sockaddr*>(&a), len) != 0 || ::listen(listen_, 4) != 0 ||
        ::getsockname(listen_, reinterpret_cast<sockaddr*>(&a), &len) != 0)
        return 0;
    acceptor_ = std::thread([this] {
        for (;;) {
            const int fd = ::accept(listen_, nullptr, nullptr);
            if (fd < 0) return;
            std::lock_guard lock(mutex_);
            sessions_.emplace_back([this, fd] { serve(fd); });
        }
    });
    return ntohs(a.sin_port);
}

LoopbackServer::~LoopbackServer() {
    ::shutdown(listen_, SHUT_RDWR);
    ::close(listen_);
    if (acceptor_.joinable()) acceptor_.join();
    for (std::thread& t : sessions_)
        t.join();
}

void LoopbackServer::serve(int fd) {
    QByteArray in;
    char buf[4096];
    bool open = greet(fd);
    while (open) {
        const qsizetype eol = in.indexOf("\r\n");
        if (eol < 0) {
            const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) break;
            in.append(buf, n);
            continue;
        }
        const QByteArray line = in.left(eol);
        in.remove(0, eol + 2);
        if (line.toUpper() == "MODE READER") {
            open = sendAll(fd, "200 reading\r\n");
        } else if (line.toUpper() == "QUIT") {
            sendAll(fd, "205 bye\r\n");
            break;
        } else {
            open = reply ? reply(line, fd) : sendAll(fd, "500 what?\r\n");
        }
    }
    ::close(fd);
}

bool Wire::open(quint16 port) {
    s_.connectToHost(QStringLiteral("127.0.0.1"), port);
    return s_.waitForConnected(10000) && line().startsWith("20") &&
           command("MODE READER").startsWith("20");
}

QByteArray Wire::line() {
    while (!s_.canReadLine())
        if (!s_.waitForReadyRead(30000)) return {};
    return s_.readLine();
}

QByteArray Wire::command(const QByteArray& c) {
    send(c + "\r\n");
    return line();
}

void Wire::send(const QByteArray& data) {
    s_.write(data);
    while (s_.bytesToWrite() > 0)
        if (!s_.waitForBytesWritten(30000)) return;
}

bool Wire::post(const QString& group, const QString& subject, const QByteArray& body,
                const QByteArray& extraHeaders) {
    if (!command("POST").startsWith("340")) return false;
    QByteArray article = "From: bench <bench@zanderfell.test>\r\nNewsgroups: " + group.toUtf8() +
                         "\r\nSubject: " + subject.toUtf8() + "\r\n" + extraHeaders + "\r\n";
    article.reserve(article.size() + body.size() + body.size() / 64);
    for (qsizetype at = 0; at < body.size();) {
        qsizetype end = body.indexOf("\r\n", at);
        end = end < 0 ? body.size() : end + 2;
        if (body[at] == '.') article += '.';
        article += QByteArrayView(body).sliced(at, end - at);
        at = end;
    }
    send(article + ".\r\n");
    return line().startsWith("240");
}

qint64 Wire::article(const QByteArray& which, QByteArray* keep) {
    send("ARTICLE " + which + "\r\n");
    qint64 bytes = 0;
    QByteArray tail;
    for (;;) {
        if (s_.bytesAvailable() == 0 && !s_.waitForReadyRead(30000)) return -1;
        const QByteArray chunk = s_.readAll();
        bytes += chunk.size();
        if (keep) *keep += chunk;
        tail = (tail + chunk.right(5)).right(5);
        if (tail == "\r\n.\r\n") return bytes;
    }
}
