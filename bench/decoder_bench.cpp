// Decoder throughput against Debian's command-line decoders on the same input,
// in the same run: uuencode against uudecode, base64 against "base64 -d",
// yEnc against uudeview. Also the peak memory growth of a yEnc decode.
//
// Usage: decoder_bench [size in MB, default 100]
// Prints one "name: value unit" line per figure.
//        decoder_bench --decode uu|b64|yenc <in> <out>
// Decodes once in a fresh process and prints the seconds and the peak memory
// growth in KiB; the memory figure is taken this way, and it serves profiling.

#include "attachments/decoder.h"
#include "fixtures/encoders.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <sys/resource.h>

namespace {

constexpr int kRuns = 3;             // best of, to damp the noise of a shared machine
constexpr qint64 kPartSize = 768000; // a usual yEnc part
constexpr qint64 kChunk = 1 << 20;

void figure(const QByteArray& name, double value, const char* unit) {
    std::printf("%s: %.*f %s\n", name.constData(), value < 10 ? 2 : 0, value, unit);
    std::fflush(stdout);
}

bool writeRandomFile(const QString& path, qint64 size) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return false;
    std::mt19937_64 gen(20240601);
    std::vector<std::uint64_t> block(kChunk / 8);
    for (qint64 left = size; left > 0;) {
        for (auto& w : block)
            w = gen();
        const qint64 n = std::min(left, kChunk);
        if (f.write(reinterpret_cast<const char*>(block.data()), n) != n) return false;
        left -= n;
    }
    return true;
}

// The yEnc post as the download leaves it: each part with its article
// headers, CR LF line ends. Encoded part by part to keep this process small.
bool writeYencPost(const QString& plainPath, const QString& path, qint64 size) {
    QFile in(plainPath), out(path);
    if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly)) return false;
    const int total = int((size + kPartSize - 1) / kPartSize);
    std::uint32_t crc = 0;
    for (int number = 1; number <= total; ++number) {
        const QByteArray data = in.read(kPartSize);
        YencPart part;
        part.number = number;
        part.total = total;
        part.begin = qint64(number - 1) * kPartSize;
        part.fileSize = size;
        crc = yencTestCrc32(data, crc);
        if (number == total) part.fileCrc = crc;
        const QByteArray headers = "From: bench@example.com\r\nNewsgroups: alt.binaries.test\r\n"
                                   "Subject: \"random.bin\" yEnc (" +
                                   QByteArray::number(number) + "/" + QByteArray::number(total) +
                                   ")\r\n\r\n";
        out.write(headers + yencEncodePart(data, part, "random.bin") + "\r\n");
    }
    return out.error() == QFileDevice::NoError;
}

bool runTool(const QString& program, const QStringList& args, const QString& stdoutPath = {}) {
    QProcess p;
    if (!stdoutPath.isEmpty())
        p.setStandardOutputFile(stdoutPath);
    else
        p.setStandardOutputFile(QProcess::nullDevice());
    p.setStandardErrorFile(QProcess::nullDevice());
    p.start(program, args);
    return p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

double cpuSeconds(int who) {
    rusage u{};
    getrusage(who, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// The fastest of kRuns runs, by the clock and by processor time (of this
// process, or of the child processes the run waited for). The machine is
// shared, so the clock figure moves with the load; the processor time much
// less. Negative when a run failed.
struct Timing {
    double wall = -1;
    double cpu = -1;
};

Timing bestOf(const std::function<bool()>& run, const std::function<void()>& before, int who) {
    Timing best;
    for (int i = 0; i < kRuns; ++i) {
        before();
        const double cpuStart = cpuSeconds(who);
        const auto start = std::chrono::steady_clock::now();
        const bool ok = run();
        const double wall =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const double cpu = cpuSeconds(who) - cpuStart;
        if (!ok) return Timing{};
        if (best.wall < 0 || wall < best.wall) best.wall = wall;
        if (best.cpu < 0 || cpu < best.cpu) best.cpu = cpu;
    }
    return best;
}

bool sameContents(const QString& a, const QString& b) {
    QFile fa(a), fb(b);
    if (!fa.open(QIODevice::ReadOnly) || !fb.open(QIODevice::ReadOnly) || fa.size() != fb.size())
        return false;
    while (!fa.atEnd())
        if (fa.read(kChunk) != fb.read(kChunk)) return false;
    return true;
}

qint64 statusKiB(const char* field) {
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qsizetype(std::strlen(field)))
                .trimmed()
                .split(' ')
                .front()
                .toLongLong();
    return -1;
}

// Peak resident memory added by one decode: the kernel's high-water mark is
// reset first (clear_refs 5), so earlier work does not count.
qint64 peakGrowthKiB(const std::function<void()>& run) {
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1) return -1;
    reset.close();
    const qint64 before = statusKiB("VmRSS:");
    run();
    const qint64 peak = statusKiB("VmHWM:");
    return before < 0 || peak < 0 ? -1 : peak - before;
}

Encoding encodingOf(const QByteArray& key) {
    return key == "b64" ? Encoding::Base64 : key == "yenc" ? Encoding::Yenc : Encoding::Uuencode;
}

int decodeOnce(const QByteArray& key, const QString& in, const QString& out) {
    DecodeOptions options;
    options.encoding = encodingOf(key);
    DecodeResult result = DecodeResult::Ok;
    const auto start = std::chrono::steady_clock::now();
    const qint64 growth = peakGrowthKiB([&] { result = decodeFile(in, out, options).result; });
    const double s =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%.4f %lld\n", s, static_cast<long long>(growth));
    return result == DecodeResult::Ok ? 0 : 1;
}

// Peak memory growth of a decode in a process of its own, so that nothing
// this process did before (and the heap it keeps) blurs the figure.
qint64 childGrowthKiB(const QByteArray& key, const QString& in, const QString& out) {
    QProcess p;
    p.start(QCoreApplication::applicationFilePath(),
            {"--decode", QString::fromLatin1(key), in, out});
    if (!p.waitForFinished(-1) || p.exitCode() != 0) return -1;
    const QList<QByteArray> fields = p.readAllStandardOutput().trimmed().split(' ');
    return fields.size() == 2 ? fields[1].toLongLong() : -1;
}

struct Format {
    const char* key;
    Encoding encoding;
    QString input;
    QString reference; // program
    std::function<bool(const QString& in, const QString& outDir)> runReference;
    QString referenceOutput; // file the reference writes, relative to its dir
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc == 5 && QByteArray(argv[1]) == "--decode")
        return decodeOnce(argv[2], QString::fromLocal8Bit(argv[3]),
                          QString::fromLocal8Bit(argv[4]));
    const qint64 size = (argc > 1 ? QByteArray(argv[1]).toLongLong() : 100) * 1000 * 1000;
    QTemporaryDir dir;
    if (size <= 0 || !dir.isValid()) {
        std::fprintf(stderr, "decoder_bench: bad size or no temporary directory\n");
        return 1;
    }
    // For profiling with --decode: keep the inputs.
    if (qEnvironmentVariableIsSet("ZANDERFELL_BENCH_KEEP")) {
        dir.setAutoRemove(false);
        std::fprintf(stderr, "decoder_bench: inputs kept in %s\n", qPrintable(dir.path()));
    }
    auto path = [&](const QString& name) { return dir.filePath(name); };
    const QString plain = path("random.bin");
    if (!writeRandomFile(plain, size) || !writeYencPost(plain, path("random.yenc"), size) ||
        !runTool("uuencode", {plain, "random.bin"}, path("random.uu")) ||
        !runTool("base64", {"-w", "76", plain}, path("random.b64"))) {
        std::fprintf(stderr, "decoder_bench: cannot prepare the inputs (uuencode, base64?)\n");
        return 1;
    }
    QDir().mkdir(path("ref"));
    const QList<Format> formats = {
        {"uu", Encoding::Uuencode, path("random.uu"), "uudecode",
         [](const QString& in, const QString& out) {
             return runTool("uudecode", {"-o", out + "/random.bin", in});
         },
         "random.bin"},
        {"b64", Encoding::Base64, path("random.b64"), "base64",
         [](const QString& in, const QString& out) {
             return runTool("base64", {"-d", in}, out + "/random.bin");
         },
         "random.bin"},
        {"yenc", Encoding::Yenc, path("random.yenc"), "uudeview",
         [](const QString& in, const QString& out) {
             return runTool("uudeview", {"-i", "-o", "-q", "-p", out + "/", in});
         },
         "random.bin"},
    };

    int failures = 0;
    for (const Format& f : formats) {
        const QString ours = path("ours.bin");
        const QString theirs = path("ref/") + f.referenceOutput;
        DecodeOptions options;
        options.encoding = f.encoding;
        const Timing oursTime =
            bestOf([&] { return decodeFile(f.input, ours, options).result == DecodeResult::Ok; },
                   [&] { QFile::remove(ours); }, RUSAGE_SELF);
        if (oursTime.wall < 0 || !sameContents(ours, plain)) {
            std::fprintf(stderr, "decoder_bench: %s: our decode is wrong\n", f.key);
            ++failures;
            continue;
        }
        const QByteArray key = QByteArray("decode_") + f.key;
        figure(key + "_mbps", double(size) / oursTime.wall / 1e6, "MB/s");

        if (QStandardPaths::findExecutable(f.reference).isEmpty()) {
            std::fprintf(stderr, "decoder_bench: %s not installed, no ratio\n",
                         qPrintable(f.reference));
            continue;
        }
        const Timing refTime = bestOf([&] { return f.runReference(f.input, path("ref")); },
                                      [&] { QFile::remove(theirs); }, RUSAGE_CHILDREN);
        if (refTime.wall < 0 || !sameContents(theirs, plain)) {
            std::fprintf(stderr, "decoder_bench: %s failed on the input\n",
                         qPrintable(f.reference));
            ++failures;
            continue;
        }
        figure(key + "_ref_mbps", double(size) / refTime.wall / 1e6, "MB/s");
        figure(key + "_ratio", refTime.wall / oursTime.wall, "x");
        if (oursTime.cpu > 0) figure(key + "_cpu_ratio", refTime.cpu / oursTime.cpu, "x");
        QFile::remove(theirs);
    }

    QFile::remove(path("ours.bin"));
    const qint64 growth = childGrowthKiB("yenc", path("random.yenc"), path("ours.bin"));
    if (growth < 0)
        ++failures;
    else
        figure("decode_yenc_peak_rss_growth", double(growth) / 1024, "MiB");
    return failures == 0 ? 0 : 1;
}
