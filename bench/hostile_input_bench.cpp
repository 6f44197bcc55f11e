// The memory a hostile server can make the program take, through the real
// connection from a server thread in this process: a status line that never
// ends, a group list line that never ends, an article that never ends, and
// a subject listing of ten million lines. Each figure is the peak resident
// memory of the run above the process's size before it (VmHWM, reset through
// /proc/self/clear_refs); the listing also gives its cost per row.
//
// Usage: hostile_input_bench [lines of the listing, default 10000000]
#include "attachments/download.h"
#include "bench_kit.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "news/nntp_control.h"
#include "program/assembly.h"
#include "shell/app.h"
#include "shell/temp_files.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void print(const char* name, double value, const char* unit) {
    std::printf("%s: %.4g %s\n", name, value, unit);
    std::fflush(stdout);
}

// Sends the same block until the client hangs up or `limit` bytes went out.
bool endless(int fd, const QByteArray& block, qint64 limit) {
    for (qint64 sent = 0; sent < limit; sent += block.size())
        if (!sendAll(fd, block)) return false;
    return true;
}

struct Run {
    // Goes last, once the connection of the app has closed.
    LoopbackServer server;
    QTemporaryDir dir;
    App app;

    bool start() {
        AssembleControls(app);
        app.ExeDir = dir.path();
        app.AppPath = dir.path() + "/";
        app.DestDir = dir.path() + "/download/";
        QDir().mkpath(app.DestDir);
        QDir(dir.path()).mkdir(QStringLiteral("Cache"));
        const quint16 port = server.start();
        app.CurrentServer = QStringLiteral("127.0.0.1:%1").arg(port);
        app.Timer1.start();
        app.Timeout = 30;
        MakeTempFile(app);
        return port != 0;
    }
};

// The peak above the size before, in MiB, of what run() does.
double peakMib(const std::function<void()>& run) {
    const qint64 before = statusKb("VmRSS:");
    resetPeak();
    run();
    return double(statusKb("VmHWM:") - before) / 1024.0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    const qint64 lines = argc > 1 ? QByteArray(argv[1]).toLongLong() : 10000000;
    const qint64 flood = 256LL << 20; // what each endless reply sends at most

    {
        Run r;
        // A greeting that goes on until the client gives up.
        r.server.greet = [flood](int fd) { return endless(fd, QByteArray(64 << 10, 'x'), flood); };
        r.server.reply = [](const QByteArray&, int) { return false; };
        if (!r.start()) return 1;
        const double mib = peakMib([&] { cmdConnect(r.app, false); });
        print("endless_status_line_peak", mib, "MiB");
        std::fprintf(stderr, "endless status line: %s\n", qPrintable(r.app.ErrorText));
    }
    {
        Run r;
        r.server.reply = [flood](const QByteArray& c, int fd) {
            if (c != "LIST") return sendAll(fd, "500 what?\r\n");
            return sendAll(fd, "215 list\r\nalt.a 1 1 y\r\nalt.") &&
                   endless(fd, QByteArray(64 << 10, 'x'), flood);
        };
        if (!r.start()) return 1;
        cmdConnect(r.app, false);
        const double mib = peakMib([&] { cmdGroup(r.app, false); });
        print("endless_line_peak", mib, "MiB");
        std::fprintf(stderr, "endless line: %s\n", qPrintable(r.app.statbar[2]));
    }
    {
        Run r;
        r.server.reply = [flood](const QByteArray& c, int fd) {
            if (!c.startsWith("ARTICLE")) return sendAll(fd, "500 what?\r\n");
            QByteArray line = "M" + QByteArray(60, 'A') + "\r\n";
            return sendAll(fd, "220 1 <a@b>\r\n\r\nbegin 644 a.bin\r\n") &&
                   endless(fd, line.repeated(1 << 12), flood);
        };
        if (!r.start()) return 1;
        cmdConnect(r.app, false);
        const double mib = peakMib([&] {
            qint64 number = 1;
            r.app.HeaderField = QStringLiteral("Subject");
            cmdDownloadMessage(r.app, number);
        });
        print("endless_article_peak", mib, "MiB");
        std::fprintf(stderr, "endless article: %s\n", qPrintable(r.app.statbar[2]));
    }
    {
        Run r;
        r.server.reply = [lines](const QByteArray& c, int fd) {
            if (c.startsWith("GROUP"))
                return sendAll(fd, "211 " + QByteArray::number(lines) + " 1 " +
                                       QByteArray::number(lines) + " alt.big\r\n");
            if (!c.startsWith("XHDR")) return sendAll(fd, "500 what?\r\n");
            if (!sendAll(fd, "221 Subject follows\r\n")) return false;
            // Subjects of the usual length, about 60 characters.
            QByteArray block;
            for (qint64 n = 1; n <= lines; ++n) {
                block += QByteArray::number(n) + " Holiday pictures from the coast - img" +
                         QByteArray::number(n) + ".jpg (1/1)\r\n";
                if (block.size() > (256 << 10) || n == lines) {
                    if (!sendAll(fd, block)) return false;
                    block.clear();
                }
            }
            return sendAll(fd, ".\r\n");
        };
        if (!r.start()) return 1;
        cmdConnect(r.app, false);
        r.app.CurrentGroup = QStringLiteral("alt.big");
        r.app.HeaderField = QStringLiteral("Subject");
        // One request for the whole range: this server sends every line for
        // any range, and chunks would only repeat it (their rows outside the
        // range are dropped).
        r.app.HeaderChunk = qint32(std::min<qint64>(lines, std::numeric_limits<qint32>::max()));
        // Busy, as in a sweep: the listing alone, without the list file
        // written at its end, which is measured on its own below.
        r.app.Busy = true;
        qsizetype largestBlock = 0;
        QObject::connect(r.app.NNTP.get(), &NntpControl::document,
                         [&](int, const QByteArray& data) {
                             largestBlock = std::max(largestBlock, data.size());
                         });
        const qint64 before = statusKb("VmRSS:");
        const double mib = peakMib([&] { cmdGetMessageHeaders(r.app, false); });
        const double rows = double(std::max(r.app.lstMessages.count(), 1));
        const double held = double(statusKb("VmRSS:") - before) * 1024.0;
        print("header_lines_rows", rows, "rows");
        print("header_lines_peak", mib, "MiB");
        print("header_lines_peak_per_row", mib * 1048576.0 / rows, "bytes");
        print("header_lines_held_per_row", held / rows, "bytes");
        print("header_lines_largest_block", double(largestBlock) / 1024.0, "KiB");
        print("header_lines_line_buffer", double(r.app.LineBuffer.capacity()) / 1024.0, "KiB");
        const double saveMib = peakMib([&] { r.app.lstMessages.save(messageListPath(r.app)); });
        print("header_lines_save_peak", saveMib, "MiB");
        print("header_lines_file", double(QFileInfo(messageListPath(r.app)).size()) / 1048576.0,
              "MiB");
    }
    return 0;
}
