// Downloading whole posts through cmdDownload from a private INN on loopback,
// against a bare client that fetches the same articles from the same server
// in the same run and does nothing with them: a 100-part, 50 MB yEnc post and
// a 20-part uuencoded post. Also the peak resident memory of a download above
// the process's size before it. Prints "name: value unit" lines.
//
// On loopback INN is slow to serve big articles: its sockets keep 48 KiB
// buffers, less than one 64 KiB loopback segment, so every segment waits for
// the reader's delayed ACK (about 1.7 MB/s, whoever reads). Both clients are
// then measured a second time against a server in this process that answers
// with INN's own article bytes from memory, which shows what the client
// itself costs ("_memory_" figures).
//
// Usage: download_bench [MB of the yEnc post, default 50] [--memory-only]
//                       [--rounds N] [--saved DIR]
// --memory-only leaves out the timed runs against INN (a minute or more),
// for profiling the client; --rounds sets how often the memory server's
// posts are fetched (ten times by default). --saved keeps INN's article
// bytes and the subjects in DIR, and a later run with the same DIR and size
// serves them without INN (posting 60 MB to it takes most of a minute), so
// that two builds can be compared in turns.
//
// For the fastest round of ours it also prints the CPU time the whole
// process spent (the in-process server's included), and that of the
// program's own thread and of the server's: what the download's decoding
// thread costs is the difference.
#include "attachments/download.h"
#include "bench_kit.h"
#include "fixtures/encoders.h"
#include "news/connection.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "program/assembly.h"
#include "program/startup.h"
#include "shell/app.h"
#include "shell/temp_files.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <arpa/inet.h>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <map>
#include <netinet/in.h>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

const QString kGroup = QStringLiteral("alt.binaries.zf.bench");

// CPU time the in-process server's threads spent sending articles.
std::atomic<qint64> serverCpuNs{0};

qint64 cpuNs(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
}

struct Post {
    QByteArray name;     // figure names start with it
    QString subject;     // with %1 for the counter
    QByteArray fileName; // the decoded file
    QByteArray data;
    QList<qint64> articles;
    int firstRow = -1;
};

bool runPost(App& app, quint16 port, Post& post, const QByteArray& label, int rounds) {
    double bare = 1e99, ours = 1e99;
    double cpu = 0, mainCpu = 0, serverCpu = 0; // of the fastest round
    qint64 peakKb = 0, bytes = 0;
    for (int round = 0; round < rounds; ++round) {
        Wire w;
        if (!w.open(port) || !w.command("GROUP " + kGroup.toUtf8()).startsWith("211")) return false;
        QElapsedTimer t;
        t.start();
        bytes = 0;
        for (qint64 n : post.articles) {
            const qint64 b = w.article(QByteArray::number(n));
            if (b < 0) return false;
            bytes += b;
        }
        bare = std::min(bare, t.nsecsElapsed() / 1e6);

        QFile::remove(app.DestDir + post.fileName);
        for (int r = 0; r < app.lstMessages.count(); ++r)
            app.lstMessages.setTag(r, QString());
        const qint64 idleKb = statusKb("VmRSS:");
        resetPeak();
        qint32 row = post.firstRow;
        app.StopRequested = false;
        app.HeaderField = QStringLiteral("Subject");
        const qint64 cpu0 = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
        const qint64 main0 = cpuNs(CLOCK_THREAD_CPUTIME_ID), server0 = serverCpuNs;
        t.restart();
        cmdDownload(app, row);
        const double ms = t.nsecsElapsed() / 1e6;
        if (ms < ours) {
            ours = ms;
            cpu = (cpuNs(CLOCK_PROCESS_CPUTIME_ID) - cpu0) / 1e6;
            mainCpu = (cpuNs(CLOCK_THREAD_CPUTIME_ID) - main0) / 1e6;
            serverCpu = (serverCpuNs - server0) / 1e6;
        }
        peakKb = std::max(peakKb, statusKb("VmHWM:") - idleKb);
        QFile out(app.DestDir + post.fileName);
        if (!out.open(QIODevice::ReadOnly) || out.readAll() != post.data) {
            std::fprintf(stderr, "%s: the decoded file differs (%s)\n", post.name.constData(),
                         qPrintable(app.statbar[2]));
            return false;
        }
    }
    const QByteArray name = post.name + label;
    print(name + "_ms", ours, "ms");
    print(name + "_bare_ms", bare, "ms");
    print(name + "_ratio", ours / bare, "x");
    print(name + "_mb_per_s", bytes / 1e6 / (ours / 1000), "MB/s");
    print(name + "_bare_mb_per_s", bytes / 1e6 / (bare / 1000), "MB/s");
    print(name + "_peak_rss_above_idle_mb", peakKb / 1024.0, "MB");
    print(name + "_cpu_ms", cpu, "ms");
    print(name + "_cpu_main_thread_ms", mainCpu, "ms");
    print(name + "_cpu_server_ms", serverCpu, "ms");
    return true;
}

// The posts' rows in the list, by their subjects.
void findPosts(const QVector<ListRow>& rows, std::initializer_list<Post*> posts) {
    for (Post* post : posts) {
        const int width = post->subject.contains(QLatin1String("/100")) ? 3 : 2;
        const QString first = post->subject.arg(1, width, 10, QLatin1Char('0'));
        const QString stem = post->subject.left(post->subject.indexOf(u'('));
        for (int r = 0; r < rows.size(); ++r) {
            if (!rows[r].text.startsWith(stem)) continue;
            post->articles << rows[r].number;
            if (rows[r].text == first) post->firstRow = r;
        }
        std::sort(post->articles.begin(), post->articles.end());
    }
}

using Articles = std::map<qint64, QByteArray>;

bool loadSaved(const QString& path, Articles& articles, QVector<ListRow>& rows) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    QDataStream in(&f);
    QMap<qint64, QByteArray> a;
    QList<QPair<qint64, QString>> r;
    in >> a >> r;
    if (in.status() != QDataStream::Ok || a.isEmpty()) return false;
    for (auto it = a.cbegin(); it != a.cend(); ++it)
        articles[it.key()] = it.value();
    for (const auto& [number, text] : r)
        rows << ListRow{text, QString(), number, -1, false};
    return true;
}

void save(const QString& path, const Articles& articles, const QVector<ListRow>& rows) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return;
    QDataStream out(&f);
    QMap<qint64, QByteArray> a;
    for (const auto& [number, bytes] : articles)
        a.insert(number, bytes);
    QList<QPair<qint64, QString>> r;
    for (const ListRow& row : rows)
        r << qMakePair(row.number, row.text);
    out << a << r;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    const QStringList args = qapp.arguments().mid(1);
    const qint64 yencMb =
        !args.isEmpty() && !args[0].startsWith(u'-') ? std::max(args[0].toLongLong(), 1LL) : 50;
    const bool memoryOnly = args.contains(QLatin1String("--memory-only"));
    auto option = [&args](const char* name) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at >= 0 && at + 1 < args.size() ? args[at + 1] : QString();
    };
    const int rounds = option("--rounds").isEmpty() ? 10 : std::max(option("--rounds").toInt(), 1);
    const QString savedDir = option("--saved");
    const QString savedPath =
        savedDir.isEmpty() ? QString() : savedDir + QStringLiteral("/articles-%1.bin").arg(yencMb);

    Post yenc{"yenc_100_parts",
              QStringLiteral("\"big.bin\" yEnc (%1/100)"),
              "big.bin",
              randomBytes(yencMb << 20, 1),
              {},
              -1};
    Post uu{"uu_20_parts",
            QStringLiteral("uu.bin (%1/20)"),
            "uu.bin",
            randomBytes(10 << 20, 2),
            {},
            -1};

    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.ExeDir = dir.path();
    app.AppPath = dir.path() + "/";
    app.DestDir = dir.path() + "/download/";
    QDir().mkpath(app.DestDir);
    QDir(dir.path()).mkdir(QStringLiteral("Cache"));
    app.Timer1.start();
    MakeTempFile(app);

    // The same articles, byte for byte, from memory, and the list's rows.
    Articles articles;
    QVector<ListRow> rows;
    bool ok = true;
    if (savedPath.isEmpty() || !loadSaved(savedPath, articles, rows)) {
        const BenchInn inn(kGroup);
        const quint16 port = inn.port;
        if (port == 0) return 1;
        {
            Wire w;
            if (!w.open(port)) return 1;
            QList<qsizetype> sizes;
            for (int p = 0; p < 100; ++p)
                sizes << yenc.data.size() * (p + 1) / 100 - yenc.data.size() * p / 100;
            const QList<QByteArray> yParts = yencEncodeParts(yenc.data, sizes, yenc.fileName);
            for (int p = 0; p < 100; ++p)
                if (!w.post(kGroup, yenc.subject.arg(p + 1, 3, 10, QLatin1Char('0')), yParts[p]))
                    return 1;
            const QList<QByteArray> uParts = splitLines(uuencode(uu.data, uu.fileName), 20);
            for (int p = 0; p < 20; ++p)
                if (!w.post(kGroup, uu.subject.arg(p + 1, 2, 10, QLatin1Char('0')), uParts[p]))
                    return 1;
        }
        app.CurrentServer = QStringLiteral("127.0.0.1:%1").arg(port);
        cmdConnect(app, false);
        app.CurrentGroup = kGroup;
        app.HeaderField = QStringLiteral("Subject");
        if (!app.IsConnected || cmdGetMessageHeaders(app, false) != 0) {
            std::fprintf(stderr, "no headers: %s\n", qPrintable(app.statbar[2]));
            return 1;
        }
        for (int r = 0; r < app.lstMessages.count(); ++r)
            rows << app.lstMessages.row(r);
        findPosts(rows, {&yenc, &uu});
        // INN's pace is the same for both clients: one round is enough. The
        // memory server's figures are the best of ten on a shared machine.
        ok = memoryOnly ||
             (runPost(app, port, yenc, "_inn", 1) && runPost(app, port, uu, "_inn", 1));
        Wire w;
        if (!ok || !w.open(port) || !w.command("GROUP " + kGroup.toUtf8()).startsWith("211"))
            return 1;
        for (const Post* post : {&yenc, &uu})
            for (qint64 n : post->articles)
                if (w.article(QByteArray::number(n), &articles[n]) < 0) return 1;
        cmdDisconnect(app);
        if (!savedPath.isEmpty()) save(savedPath, articles, rows);
    } else {
        findPosts(rows, {&yenc, &uu});
    }

    // MODE READER, GROUP and ARTICLE from a table of whole responses, with
    // the kernel's default socket buffers.
    LoopbackServer memory;
    memory.reply = [&articles](const QByteArray& line, int fd) {
        const QList<QByteArray> words = line.split(' ');
        const QByteArray verb = words[0].toUpper();
        if (verb == "ARTICLE" && words.size() > 1) {
            const auto it = articles.find(words[1].toLongLong());
            const qint64 start = cpuNs(CLOCK_THREAD_CPUTIME_ID);
            const bool sent = sendAll(
                fd, it == articles.end() ? QByteArray("423 no such article\r\n") : it->second);
            serverCpuNs += cpuNs(CLOCK_THREAD_CPUTIME_ID) - start;
            return sent;
        }
        if (verb == "GROUP" && words.size() > 1) {
            const qint64 first = articles.empty() ? 0 : articles.begin()->first;
            const qint64 last = articles.empty() ? 0 : articles.rbegin()->first;
            return sendAll(fd, "211 " + QByteArray::number(qint64(articles.size())) + ' ' +
                                   QByteArray::number(first) + ' ' + QByteArray::number(last) +
                                   ' ' + words[1] + "\r\n");
        }
        return sendAll(fd, "500 what?\r\n");
    };
    const quint16 memoryPort = memory.start();
    app.CurrentServer = QStringLiteral("127.0.0.1:%1").arg(memoryPort);
    app.CurrentGroup = kGroup;
    cmdConnect(app, false);
    if (memoryPort == 0 || !app.IsConnected) {
        std::fprintf(stderr, "memory server: %s\n", qPrintable(app.statbar[2]));
        return 1;
    }
    // The list of subjects goes with the connection; the same rows serve.
    app.lstMessages.appendRows(rows);
    ok = runPost(app, memoryPort, yenc, "_memory", rounds) &&
         runPost(app, memoryPort, uu, "_memory", rounds);
    cmdDisconnect(app);
    return ok ? 0 : 1;
}
