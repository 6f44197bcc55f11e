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
#include "bench_kit.h"
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
            const qint64 b = w.article('<' + id + '>');
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

    const BenchInn inn(kGroup);
    const quint16 port = inn.port;
    if (port == 0) return 1;

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
                if (!w.post(kGroup, subject, parts[s], "Message-ID: <" + id + ">\r\n")) return 1;
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

    // ARTICLE <id> from a table of whole responses.
    std::map<QByteArray, QByteArray> articles;
    LoopbackServer memory;
    memory.reply = [&articles](const QByteArray& line, int fd) {
        const QList<QByteArray> words = line.split(' ');
        if (words[0].toUpper() == "ARTICLE" && words.size() > 1) {
            const auto it = articles.find(words[1].mid(1).chopped(1));
            return sendAll(fd, it == articles.end() ? QByteArray("430 no such article\r\n")
                                                    : it->second);
        }
        return sendAll(fd, "500 what?\r\n");
    };
    {
        Wire w;
        if (!ok || !w.open(port)) return 1;
        for (const QByteArray& id : set.ids)
            if (w.article('<' + id + '>', &articles[id]) < 0) return 1;
    }
    const quint16 memoryPort = memory.start();
    ok = memoryPort != 0 && connectApp(app, memoryPort) &&
         runSet(app, memoryPort, set, "_memory", 3);
    cmdDisconnect(app);
    return ok ? 0 : 1;
}
