// The "From" and "Path" scans through the line receiver, over a million
// header lines fed in network-sized blocks, beside a server list of 20,000
// rows: 5,000 posters, and again with 185,000 different addresses; then
// 20,000 titles that each bring a new Web address. Prints "name: value unit" lines:
// lines per second, and the heap the scans hold at the end of a quarter and of the whole run, which
// must not grow with the number of lines.
#include "harvest/address_scans.h"
#include "news/line_receiver.h"
#include "program/assembly.h"
#include "shell/app.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <cstdio>
#include <malloc.h>

namespace {

constexpr int kLines = 1000000;
constexpr qsizetype kBlock = 16 * 1024;

// posters people post as; each has an address of its own on one of 37 hosts.
// With hostSpread the host goes with the line instead, so nearly every line
// of the first fifth brings a new address (185,000 in all).
QByteArray fromLines(int n, bool hostSpread) {
    QByteArray out;
    out.reserve(qsizetype(n) * 48);
    for (int i = 1; i <= n; ++i) {
        const int poster = i % 5000;
        out += QByteArray::number(i) + " Poster " + QByteArray::number(poster) + " <poster" +
               QByteArray::number(poster) + "@host" +
               QByteArray::number((hostSpread ? i : poster) % 37) + ".example>\r\n";
    }
    return out;
}

QByteArray pathLines(int n) {
    QByteArray out;
    out.reserve(qsizetype(n) * 80);
    for (int i = 1; i <= n; ++i)
        out += QByteArray::number(i) + " news" + QByteArray::number(i % 97) + ".example!hub" +
               QByteArray::number(i % 13) + ".example!relay" + QByteArray::number(i % 200) +
               ".example!feeder.example!not-for-mail\r\n";
    return out;
}

size_t heapInUse() {
    return mallinfo2().uordblks;
}

struct Run {
    double linesPerSecond = 0;
    size_t heapAtQuarter = 0, heapAtEnd = 0;
};

Run scan(const char* field, const QByteArray& text) {
    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.AppPath = dir.path() + '/';
    for (int i = 0; i < 20000; ++i)
        app.txtNNTPServ.addItem(
            QStringLiteral("00%1     server%2.imported.example").arg(100 + i % 900).arg(i));
    app.HeaderField = QLatin1String(field);
    app.TransferMode = 3;
    NNTP_Document(app, 1, {});
    const size_t base = heapInUse();
    Run run;
    QElapsedTimer clock;
    clock.start();
    for (qsizetype at = 0; at < text.size(); at += kBlock) {
        NNTP_Document(app, 3, text.mid(at, kBlock));
        if (run.heapAtQuarter == 0 && at >= text.size() / 4)
            run.heapAtQuarter = heapInUse() - std::min(base, heapInUse());
    }
    NNTP_Document(app, 5, {});
    run.linesPerSecond = kLines / (clock.nsecsElapsed() / 1e9);
    run.heapAtEnd = heapInUse() - std::min(base, heapInUse());
    std::fprintf(stderr, "%s: %d rows found\n", field, int(app.lstHTTP.count()));
    return run;
}

} // namespace

// Web addresses harvested from titles, each one new: every address becomes a
// row with its picture, and the next look-up must not start the index over.
double httpTitlesPerSecond(int n) {
    QTemporaryDir dir;
    App app;
    AssembleControls(app);
    app.AppPath = dir.path() + '/';
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < n; ++i)
        SaveHTTPs(app,
                  QStringLiteral("see http://www.site%1.example/page%2 now").arg(i).arg(i % 7));
    const double s = t.nsecsElapsed() / 1e9;
    if (app.lstHTTP.count() != n) std::fprintf(stderr, "http: %d rows\n", app.lstHTTP.count());
    return n / s;
}

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    const Run spread = scan("From", fromLines(kLines, true));
    std::printf("from_scan_185k_addresses_lines_per_s: %.0f lines/s\n", spread.linesPerSecond);
    const Run from = scan("From", fromLines(kLines, false));
    std::printf("from_scan_1m_lines_per_s: %.0f lines/s\n", from.linesPerSecond);
    std::printf("from_scan_heap_quarter: %.1f KiB\n", from.heapAtQuarter / 1024.0);
    std::printf("from_scan_heap_end: %.1f KiB\n", from.heapAtEnd / 1024.0);
    const Run path = scan("Path", pathLines(kLines));
    std::printf("path_scan_1m_lines_per_s: %.0f lines/s\n", path.linesPerSecond);
    std::printf("path_scan_heap_quarter: %.1f KiB\n", path.heapAtQuarter / 1024.0);
    std::printf("path_scan_heap_end: %.1f KiB\n", path.heapAtEnd / 1024.0);
    std::printf("http_titles_20k_new_addresses_per_s: %.0f titles/s\n", httpTitlesPerSecond(20000));
    return 0;
}
