// Downloading an NZB of 100 files of 10 yEnc segments each (50 MB in all)
// through cmdDownloadNzb, against a bare client that fetches the same
// Message-IDs from the same server in the same run and does nothing with
// them; and the peak resident memory of the download above the process's
// size before it. First from a private INN on loopback, then from a server
// in this process that answers with INN's own article bytes from memory
// (INN's pace on loopback is the same for any reader; see download_bench).
// Prints "name: value unit" lines.
//
// Usage: nzb_bench [MB in all, default 50]
#include "fixtures/encoders.h"
#include "news/connection.h"
#include "nzb/nzb_download.h"
#include "nzb/nzb_file.h"
#include "program/assembly.h"
#include "shell/app.h"
#include "shell/temp_files.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <arpa/inet.h>
#include <cstdio>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

const QString kGroup = QStringLiteral("alt.binaries.zf.nzbbench");
constexpr int kFiles = 100;
constexpr int kSegments = 10;

void print(const QByteArray& name, double value, const char* unit) {
    std::printf("%s: %.3g %s\n", name.constData(), value, unit);
    std::fflush(stdout);
}

bool newsServer(const QStringList& args, QByteArray* out = nullptr) {
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

// A blocking client: posts the set, and is the reference reader.
class Wire {
public:
    bool open(quint16 port) {
        s_.connectToHost(QStringLiteral("127.0.0.1"), port);
        return s_.waitForConnected(10000) && line().startsWith("20") &&
               command("MODE READER").startsWith("20");
    }
    QByteArray line() {
        while (!s_.canReadLine())
            if (!s_.waitForReadyRead(30000)) return {};
        return s_.readLine();
    }
    QByteArray command(const QByteArray& c) {
        send(c + "\r\n");
        return line();
    }
    void send(const QByteArray& data) {
        s_.write(data);
        while (s_.bytesToWrite() > 0)
            if (!s_.waitForBytesWritten(30000)) return;
    }
    bool post(const QString& subject, const QByteArray& id, const QByteArray& body) {
        if (!command("POST").startsWith("340")) return false;
        QByteArray article =
            "From: bench <bench@zanderfell.test>\r\nNewsgroups: " + kGroup.toUtf8() +
            "\r\nSubject: " + subject.toUtf8() + "\r\nMessage-ID: <" + id + ">\r\n\r\n";
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
    // One article by Message-ID to its terminator; the bytes are counted and
    // dropped, or kept in *keep, status line included.
    qint64 article(const QByteArray& id, QByteArray* keep = nullptr) {
        send("ARTICLE <" + id + ">\r\n");
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

private:
    QTcpSocket s_;
};

// Answers MODE READER and ARTICLE <id> from a table of whole responses, one
// thread per connection.
class MemoryServer {
public:
    std::map<QByteArray, QByteArray> articles;

    quint16 start() {
        listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        if (::bind(listen_, reinterpret_cast<sockaddr*>(&a), len) != 0 ||
            ::listen(listen_, 4) != 0 ||
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
    ~MemoryServer() {
        ::shutdown(listen_, SHUT_RDWR);
        ::close(listen_);
        if (acceptor_.joinable()) acceptor_.join();
        for (std::thread& t : sessions_)
            t.join();
    }

private:
    static bool sendAll(int fd, const QByteArray& data) {
        for (qsizetype at = 0; at < data.size();) {
            const ssize_t n =
                ::send(fd, data.constData() + at, size_t(data.size() - at), MSG_NOSIGNAL);
            if (n <= 0) return false;
            at += n;
        }
        return true;
    }
    void serve(int fd) {
        QByteArray in;
        char buf[4096];
        bool open = sendAll(fd, "200 bench server ready\r\n");
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
            const QList<QByteArray> words = line.split(' ');
            const QByteArray verb = words[0].toUpper();
            if (verb == "ARTICLE" && words.size() > 1) {
                const auto it = articles.find(words[1].mid(1).chopped(1));
                open = sendAll(fd, it == articles.end() ? QByteArray("430 no such article\r\n")
                                                        : it->second);
            } else if (verb == "QUIT") {
                sendAll(fd, "205 bye\r\n");
                break;
            } else {
                open = sendAll(fd, verb == "MODE" ? "200 reading\r\n" : "500 what?\r\n");
            }
        }
        ::close(fd);
    }

    int listen_ = -1;
    std::thread acceptor_;
    std::mutex mutex_;
    std::vector<std::thread> sessions_;
};

// Resident memory now and its peak since the last reset, in KiB.
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

struct Set {
    NzbDocument nzb;
    QList<QByteArray> ids;
    QList<QByteArray> data; // of each file
};

bool runSet(App& app, quint16 port, const Set& set, const QByteArray& label, int rounds) {
    double bare = 1e99, ours = 1e99;
    qint64 peakKb = 0, bytes = 0;
    for (int round = 0; round < rounds; ++round) {
        Wire w;
        if (!w.open(port)) return false;
        QElapsedTimer t;
        t.start();
        bytes = 0;
        for (const QByteArray& id : set.ids) {
            const qint64 b = w.article(id);
            if (b < 0) return false;
            bytes += b;
        }
        bare = std::min(bare, t.nsecsElapsed() / 1e6);

        for (int f = 0; f < kFiles; ++f)
            QFile::remove(app.DestDir + QStringLiteral("f%1.bin").arg(f));
        app.lstFiles.clear();
        const qint64 idleKb = statusKb("VmRSS:");
        resetPeak();
        t.restart();
        const int whole = cmdDownloadNzb(app, set.nzb);
        ours = std::min(ours, t.nsecsElapsed() / 1e6);
        peakKb = std::max(peakKb, statusKb("VmHWM:") - idleKb);
        if (whole != kFiles) {
            std::fprintf(stderr, "%d files of %d (%s)\n", whole, kFiles,
                         qPrintable(app.statbar[2]));
            return false;
        }
        for (int f = 0; f < kFiles; ++f) {
            QFile out(app.DestDir + QStringLiteral("f%1.bin").arg(f));
            if (!out.open(QIODevice::ReadOnly) || out.readAll() != set.data[f]) {
                std::fprintf(stderr, "f%d.bin differs\n", f);
                return false;
            }
        }
    }
    const QByteArray name = "nzb_100x10" + label;
    print(name + "_ms", ours, "ms");
    print(name + "_bare_ms", bare, "ms");
    print(name + "_ratio", ours / bare, "x");
    print(name + "_mb_per_s", bytes / 1e6 / (ours / 1000), "MB/s");
    print(name + "_bare_mb_per_s", bytes / 1e6 / (bare / 1000), "MB/s");
    print(name + "_peak_rss_above_idle_mb", peakKb / 1024.0, "MB");
    return true;
}

bool connectApp(App& app, quint16 port) {
    cmdDisconnect(app);
    app.CurrentServer = QStringLiteral("127.0.0.1:%1").arg(port);
    cmdConnect(app, false);
    if (!app.IsConnected) std::fprintf(stderr, "no connection: %s\n", qPrintable(app.statbar[2]));
    return app.IsConnected;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    const qint64 totalMb = argc > 1 ? QByteArray(argv[1]).toLongLong() : 50;

    QTemporaryDir serverDir(QDir::tempPath() + QStringLiteral("/zfbench-XXXXXX"));
    QByteArray started;
    if (!newsServer({QStringLiteral("start"), serverDir.path()}, &started)) return 1;
    const quint16 port = quint16(started.trimmed().split('\n').last().toUInt());
    struct Stop {
        QString dir;
        ~Stop() { newsServer({QStringLiteral("stop"), dir}); }
    } stop{serverDir.path()};
    if (!newsServer({QStringLiteral("newgroup"), serverDir.path(), kGroup, QStringLiteral("y")}))
        return 1;

    Set set;
    {
        Wire w;
        if (!w.open(port)) return 1;
        const qint64 fileSize = (totalMb << 20) / kFiles;
        for (int f = 0; f < kFiles; ++f) {
            const QByteArray name = "f" + QByteArray::number(f) + ".bin";
            set.data << randomBytes(fileSize, unsigned(f + 1));
            QList<qsizetype> sizes;
            for (int s = 0; s < kSegments; ++s)
                sizes << fileSize * (s + 1) / kSegments - fileSize * s / kSegments;
            const QList<QByteArray> parts = yencEncodeParts(set.data.last(), sizes, name);
            NzbFile file;
            file.subject =
                QStringLiteral("\"%1\" yEnc (1/%2)").arg(QString::fromLatin1(name)).arg(kSegments);
            file.groups << kGroup;
            for (int s = 0; s < kSegments; ++s) {
                const QByteArray id = name + ".part" + QByteArray::number(s + 1) + "@zf.bench";
                const QString subject = QStringLiteral("\"%1\" yEnc (%2/%3)")
                                            .arg(QString::fromLatin1(name))
                                            .arg(s + 1)
                                            .arg(kSegments);
                if (!w.post(subject, id, parts[s])) return 1;
                file.segments.append({s + 1, parts[s].size(), id});
                set.ids << id;
            }
            set.nzb.files << file;
        }
    }

    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.ExeDir = dir.path();
    app.AppPath = dir.path() + "/";
    app.DestDir = dir.path() + "/download/";
    app.menuPreviewChecked = false; // pictures aren't what is measured
    QDir().mkpath(app.DestDir);
    app.Timer1.start();
    MakeTempFile(app);
    bool ok = connectApp(app, port) && runSet(app, port, set, "_inn", 1);

    MemoryServer memory;
    {
        Wire w;
        if (!ok || !w.open(port)) return 1;
        for (const QByteArray& id : set.ids)
            if (w.article(id, &memory.articles[id]) < 0) return 1;
    }
    const quint16 memoryPort = memory.start();
    ok = memoryPort != 0 && connectApp(app, memoryPort) &&
         runSet(app, memoryPort, set, "_memory", 3);
    cmdDisconnect(app);
    return ok ? 0 : 1;
}
