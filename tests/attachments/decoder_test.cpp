#include "attachments/crc32.h"
#include "attachments/decoder.h"
#include "attachments/uu_base64.h"
#include "attachments/yenc.h"
#include "fixtures/yenc_encoder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace {

QByteArray randomBytes(qsizetype size, unsigned seed) {
    std::mt19937 gen(seed);
    QByteArray data(size, Qt::Uninitialized);
    for (auto& c : data)
        c = static_cast<char>(gen());
    return data;
}

QByteArray headers(int part, int total) {
    return "Path: news.example!not-for-mail\r\nFrom: poster@example.com\r\n"
           "Newsgroups: alt.binaries.test\r\nSubject: \"pic.jpg\" (" +
           QByteArray::number(part) + "/" + QByteArray::number(total) + ")\r\nMessage-ID: <p" +
           QByteArray::number(part) + "@example.com>\r\nLines: 2000\r\n\r\n";
}

// What the download's AppendTempBody leaves: each part's text and CR LF.
QByteArray tempFileOf(const QList<QByteArray>& parts) {
    QByteArray all;
    for (const QByteArray& p : parts)
        all += p + "\r\n";
    return all;
}

QList<QByteArray> splitLines(const QByteArray& text) {
    QList<QByteArray> lines = text.split('\n');
    if (!lines.isEmpty() && lines.back().isEmpty()) lines.removeLast();
    return lines;
}

QByteArray joinLines(const QList<QByteArray>& lines, qsizetype from, qsizetype to) {
    QByteArray s;
    for (qsizetype i = from; i < to; ++i)
        s += lines[i] + "\n";
    return s;
}

QByteArray crlf(QByteArray text) {
    return text.replace("\r\n", "\n").replace("\n", "\r\n");
}

QByteArray hex8(std::uint32_t v) {
    return QByteArray::number(v, 16).rightJustified(8, '0');
}

// Changes one data byte of a yEnc body without touching an escape, so the
// size stays and only the CRC can tell.
void corruptYencData(QByteArray& body) {
    qsizetype i = body.indexOf("\r\n", body.lastIndexOf("=y", body.indexOf("=yend") - 1)) + 10;
    while (!std::isalnum(static_cast<unsigned char>(body[i])) || body[i - 1] == '=')
        ++i;
    body[i] = body[i] == 'a' ? 'b' : 'a';
}

class DecoderTest : public ::testing::Test {
protected:
    QString path(const QString& name) const { return dir.filePath(name); }

    void writeFile(const QString& name, const QByteArray& data) {
        QFile f(path(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        ASSERT_EQ(f.write(data), data.size());
    }

    // Decodes `input` and returns the target's contents; a null array when
    // no target file was left.
    QByteArray decode(const QByteArray& input, Encoding encoding, DecodeOutcome* outcome = nullptr,
                      DecodeOptions options = {}) {
        writeFile("in.tmp", input);
        QFile::remove(path("out.bin"));
        options.encoding = encoding;
        const DecodeOutcome o = decodeFile(path("in.tmp"), path("out.bin"), options);
        if (outcome) *outcome = o;
        QFile f(path("out.bin"));
        if (!f.open(QIODevice::ReadOnly)) return QByteArray();
        QByteArray data = f.readAll();
        return data.isNull() ? QByteArray("") : data;
    }

    // Nothing but the input may be left in the directory: no target, no
    // half-written temporary.
    QStringList leftovers() const {
        QStringList files = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden);
        files.removeAll("in.tmp");
        files.removeAll("plain.bin");
        return files;
    }

    // Runs a command-line encoder on a file holding `data`; skips the test
    // when the tool is not installed.
    QByteArray runTool(const QString& program, QStringList args, const QByteArray& data) {
        if (QStandardPaths::findExecutable(program).isEmpty()) return QByteArray();
        writeFile("plain.bin", data);
        args.replaceInStrings("%f", path("plain.bin"));
        QProcess p;
        p.start(program, args);
        if (!p.waitForFinished(60000) || p.exitCode() != 0) return QByteArray();
        return crlf(p.readAllStandardOutput());
    }

    QTemporaryDir dir;
};

#define REQUIRE_TOOL(name)                                                                         \
    if (QStandardPaths::findExecutable(name).isEmpty()) GTEST_SKIP() << name " is not installed"

// ---------------------------------------------------------------- line level

// The vector paths must agree with the plain meaning of yEnc on any mix of
// escapes, CR and LF at any position and density, and on any split of the
// input; the output buffer is exactly as long as the input.
TEST(LineDecoders, YencDecodeMatchesPlainRuleAtAnyPositionAndSplit) {
    std::mt19937 gen(7);
    for (int round = 0; round < 4000; ++round) {
        std::vector<unsigned char> in(gen() % 300);
        const unsigned density = 4u << (round % 4); // specials 1 in 4 .. 1 in 32
        for (auto& c : in) {
            const unsigned r = gen() % density;
            c = r == 0 ? '=' : r == 1 ? '\r' : r == 2 ? '\n' : static_cast<unsigned char>(gen());
        }
        QByteArray expected;
        bool esc = false;
        for (unsigned char c : in) {
            if (c == '\r' || c == '\n') continue;
            if (esc)
                expected += static_cast<char>(c - 106);
            else if (c != '=')
                expected += static_cast<char>(c - 42);
            esc = !esc && c == '=';
        }
        const std::string_view text(reinterpret_cast<const char*>(in.data()), in.size());
        const std::size_t split = gen() % (in.size() + 1);
        auto out = std::make_unique<unsigned char[]>(in.size());
        bool escape = false;
        std::size_t n = yencDecode(text.substr(0, split), out.get(), escape);
        n += yencDecode(text.substr(split), out.get() + n, escape);
        ASSERT_EQ(QByteArray(reinterpret_cast<char*>(out.get()), qsizetype(n)), expected)
            << "round " << round;
        EXPECT_EQ(escape, esc);
    }
}

// A foreign byte anywhere in a full-width line must make the line (and a run
// of such lines) stop there; every valid byte must decode as the narrow path
// decodes it, four characters at a time.
TEST(LineDecoders, WideKernelsCheckEveryPosition) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string uu = "M", b64;
    for (int i = 0; i < 76; ++i) {
        uu += static_cast<char>(32 + (i * 7) % 65);
        b64 += alphabet[std::size_t(i * 11) % 64];
    }
    uu.resize(61);
    auto narrowUu = [](const std::string& line) {
        QByteArray bytes;
        for (std::size_t i = 1; i < line.size(); i += 4) {
            unsigned char out[kUuLineCapacity];
            const int n = uuDecodeLine("#" + line.substr(i, 4), out);
            bytes += n < 0 ? QByteArray("<no>") : QByteArray(reinterpret_cast<char*>(out), n);
        }
        return bytes;
    };
    auto narrowB64 = [](const std::string& line) {
        QByteArray bytes;
        for (std::size_t i = 0; i < line.size(); i += 4) {
            Base64State s;
            unsigned char out[32];
            const long n = base64DecodeLine(s, line.substr(i, 4), out);
            bytes += n < 0 ? QByteArray("<no>") : QByteArray(reinterpret_cast<char*>(out), n);
        }
        return bytes;
    };
    // A longer line is left to the line path, which knows its rules.
    unsigned char scratch[256];
    std::size_t none = 0;
    EXPECT_EQ(uuDecodeFullLines(uu + "`\n" + uu + "\n", scratch, none), 0u);
    EXPECT_EQ(base64DecodeLines(b64 + " \r\n" + b64 + "\n", 76, scratch, none), 0u);
    for (std::size_t k = 0; k < 76; ++k) {
        for (int b = 0; b < 256; ++b) {
            unsigned char out[256];
            std::size_t written = 0;
            if (k < 60) {
                std::string line = uu;
                line[k + 1] = static_cast<char>(b);
                const bool valid = b >= 32 && b <= 96;
                const int n = uuDecodeLine(line, out);
                ASSERT_EQ(n >= 0, valid) << k << " " << b;
                if (valid) {
                    ASSERT_EQ(QByteArray(reinterpret_cast<char*>(out), n), narrowUu(line));
                }
                const std::string run = uu + "\r\n" + line + "\n" + uu + "\n";
                ASSERT_EQ(uuDecodeFullLines(run, out, written), valid ? run.size() : 63u);
            }
            std::string line = b64;
            line[k] = static_cast<char>(b);
            const bool valid = alphabet.find(static_cast<char>(b)) != std::string::npos;
            Base64State s;
            const long n = base64DecodeLine(s, line, out);
            // At the end, padding and trailing blanks still make a data line.
            const bool endsWell =
                k == 75 && std::string_view("= \t\r").find(char(b)) != std::string_view::npos;
            ASSERT_EQ(n >= 0, valid || endsWell) << k << " " << b;
            if (valid) {
                ASSERT_EQ(QByteArray(reinterpret_cast<char*>(out), n), narrowB64(line));
            }
            const std::string run = b64 + "\n" + line + "\r\n" + b64 + "\n";
            ASSERT_EQ(base64DecodeLines(run, 76, out, written), valid ? run.size() : 77u);
        }
    }
}

// ---------------------------------------------------------------- uuencode and base64

// Sizes on both sides of a full uu line (45 bytes) and base64 line (57).
TEST_F(DecoderTest, ReferenceEncodingsDecodeByteForByte) {
    REQUIRE_TOOL("uuencode");
    REQUIRE_TOOL("base64");
    for (qsizetype size : {0, 1, 2, 3, 44, 45, 46, 56, 57, 58, 90, 4096, 70000, 100001}) {
        const QByteArray data = randomBytes(size, unsigned(size));
        const QByteArray uu = runTool("uuencode", {"%f", "remote.bin"}, data);
        DecodeOutcome o;
        EXPECT_EQ(
            decode(headers(1, 1) + "some text\r\n" + uu + "-- \r\nsig\r\n", Encoding::Uuencode, &o),
            data)
            << size;
        EXPECT_EQ(o.result, DecodeResult::Ok) << size;
        EXPECT_EQ(o.name, "remote.bin");
        if (size == 0) continue; // base64 of nothing is no data at all
        // Base64 stops at the MIME boundary, whatever follows it.
        const QByteArray b64 = runTool("base64", {"-w", "76", "%f"}, data);
        EXPECT_EQ(decode("\r\nbegin\r\n" + b64 + "\r\n--=_boundary_42--\r\n\r\nThanks\r\n" +
                             headers(2, 2) + "QUJD\r\n",
                         Encoding::Base64, &o),
                  data)
            << size;
        EXPECT_EQ(o.result, DecodeResult::Ok) << size;
    }
}

// The headers of later parts stand between the data lines; the last uu part
// is cut behind "end" as the download does.
TEST_F(DecoderTest, PartsWithHeadersAndStrayTextBetween) {
    REQUIRE_TOOL("uuencode");
    REQUIRE_TOOL("base64");
    const QByteArray data = randomBytes(100000, 3);
    const QList<QByteArray> uu = splitLines(runTool("uuencode", {"%f", "pic.jpg"}, data));
    const qsizetype cut1 = uu.size() * 37 / 100, cut2 = uu.size() * 78 / 100;
    QByteArray last = headers(3, 3) + joinLines(uu, cut2, uu.size()) + "\r\nposted with care\r\n";
    last.truncate(last.indexOf("\r\nend") + 5);
    DecodeOutcome o;
    EXPECT_EQ(decode(tempFileOf({headers(1, 3) + "Here it is:\r\n\r\n" + joinLines(uu, 0, cut1),
                                 headers(2, 3) + joinLines(uu, cut1, cut2), last}),
                     Encoding::Uuencode, &o),
              data);
    EXPECT_EQ(o.result, DecodeResult::Ok);
    // Without its last part the data never reaches "end".
    EXPECT_TRUE(decode(tempFileOf({headers(1, 3) + joinLines(uu, 0, cut2)}), Encoding::Uuencode, &o)
                    .isNull());
    EXPECT_EQ(o.result, DecodeResult::Incomplete);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();

    const QList<QByteArray> b64 = splitLines(runTool("base64", {"-w", "76", "%f"}, data));
    const qsizetype cut = b64.size() * 2 / 5;
    EXPECT_EQ(decode(tempFileOf({joinLines(b64, 0, cut), headers(2, 2) + "Thanks\r\n" +
                                                             joinLines(b64, cut, b64.size()) +
                                                             "\r\n--b--\r\nepilogue\r\n"}),
                     Encoding::Base64, &o),
              data);
    EXPECT_EQ(o.result, DecodeResult::Ok);
    EXPECT_TRUE(decode(headers(1, 1) + "no data here\r\n", Encoding::Base64, &o).isNull());
    EXPECT_EQ(o.result, DecodeResult::NoBinaryData);
}

// ---------------------------------------------------------------- yEnc

// Ten parts of different sizes, so a fault that places parts by index times
// a fixed size cannot pass.
const QList<qsizetype> kTenParts = {30000, 25000, 41000, 12345, 30000, 1, 29999, 64000, 700, 16955};

TEST_F(DecoderTest, YencTenPartsInAndOutOfOrder) {
    const QByteArray data = randomBytes(250000, 10);
    const QList<QByteArray> parts = yencEncodeParts(data, kTenParts, "ten parts.bin");
    QList<QByteArray> articles;
    for (int i = 0; i < parts.size(); ++i)
        articles.append(headers(i + 1, 10) + parts[i]);
    DecodeOutcome o;
    EXPECT_EQ(decode(tempFileOf(articles), Encoding::Uuencode, &o), data);
    EXPECT_EQ(o.result, DecodeResult::Ok);
    EXPECT_EQ(o.name, "ten parts.bin");
    EXPECT_EQ(o.bytesWritten, data.size());

    std::shuffle(articles.begin(), articles.end(), std::mt19937(4));
    EXPECT_EQ(decode(tempFileOf(articles), Encoding::Yenc, &o), data);
    EXPECT_EQ(o.result, DecodeResult::Ok);

    const QByteArray single = randomBytes(5000, 11);
    EXPECT_EQ(decode(headers(1, 1) + yencEncodeSingle(single, "one.bin"), Encoding::Yenc, &o),
              single);
    EXPECT_EQ(o.result, DecodeResult::Ok);
}

TEST_F(DecoderTest, YencDamageIsATypedFailureAndLeavesNoFile) {
    const QByteArray data = randomBytes(120000, 12);
    const QList<qsizetype> sizes = {40000, 50000, 30000};
    const QList<QByteArray> parts = yencEncodeParts(data, sizes, "x.bin");
    auto check = [&](QList<QByteArray> p, DecodeResult expected, const char* what) {
        DecodeOutcome o;
        EXPECT_TRUE(decode(tempFileOf(p), Encoding::Yenc, &o).isNull()) << what;
        EXPECT_EQ(o.result, expected) << what << " " << o.detail.toStdString();
        EXPECT_TRUE(leftovers().isEmpty()) << what;
    };
    QList<QByteArray> corrupt = parts;
    corruptYencData(corrupt[1]);
    check(corrupt, DecodeResult::CrcError, "corrupt byte");
    // The same without the file's CRC: the part's own CRC must catch it.
    const std::uint32_t crc = yencTestCrc32(data);
    corrupt[2].replace(" crc32=" + hex8(crc), "");
    check(corrupt, DecodeResult::CrcError, "corrupt byte, part CRC only");
    check({parts[0], parts[2]}, DecodeResult::Incomplete, "middle part missing");
    check({parts[0], parts[1]}, DecodeResult::Incomplete, "last part missing");
    check({parts[0], parts[1], parts[2].left(parts[2].indexOf("=yend"))}, DecodeResult::Incomplete,
          "trailer missing");

    QList<QByteArray> wrongTotal = parts;
    for (auto& p : wrongTotal)
        p.replace("total=3", "total=4");
    check(wrongTotal, DecodeResult::Incomplete, "total not reached");
    QList<QByteArray> wrongSize = parts;
    wrongSize[0].replace("=yend size=40000", "=yend size=40001");
    check(wrongSize, DecodeResult::SizeMismatch, "trailer size");
    QList<QByteArray> beyondFile = parts;
    beyondFile[2].replace("end=120000", "end=120001");
    check(beyondFile, DecodeResult::SizeMismatch, "part beyond the file");

    // Every part sound, the file's CRC wrong: only the assembly can tell.
    QList<QByteArray> wrongFileCrc = parts;
    wrongFileCrc[2].replace(" crc32=" + hex8(crc), " crc32=" + hex8(crc ^ 1));
    check(wrongFileCrc, DecodeResult::CrcError, "file crc");
}

// Some encoders wrap between '=' and the escaped byte: the escape carries over
// the line end. Before a trailer line it has nothing to escape.
TEST_F(DecoderTest, YencEscapeAtLineEnd) {
    const QByteArray data("\x13\xd6\x01\x02", 4); // encodes as "=}", "=@", "+", ","
    const QByteArray crc = QByteArray::number(yencTestCrc32(data), 16);
    const QByteArray input =
        "=ybegin line=2 size=4 name=e.bin\r\n=\r\n}=\r\n@\r\n+,=\r\n=yend size=4 crc32=" + crc +
        "\r\n";
    DecodeOutcome o;
    EXPECT_EQ(decode(input, Encoding::Yenc, &o), data);
    EXPECT_EQ(o.result, DecodeResult::Ok) << o.detail.toStdString();
}

// ---------------------------------------------------------------- robustness

// Read buffers of a few bytes cut every line and escape somewhere; lines over
// the line limit come in pieces, and pieces after the first are no lines of
// their own even when they look like a begin line or a data line.
TEST_F(DecoderTest, ReadBufferSizeAndLineLimitDoNotChangeTheBytes) {
    const QByteArray data = randomBytes(6000, 13);
    const QList<QByteArray> parts = yencEncodeParts(data, {2500, 1, 3499}, "b.bin", 61);
    const QByteArray yenc =
        tempFileOf({headers(1, 3) + parts[0], headers(2, 3) + parts[1], parts[2]});
    const QByteArray uu = runTool("uuencode", {"%f", "b.bin"}, data);
    const QByteArray b64 = runTool("base64", {"-w", "76", "%f"}, data);
    DecodeOptions options;
    DecodeOutcome o;
    for (int size = 1; size <= 7; ++size) {
        options.readBufferSize = size;
        EXPECT_EQ(decode(yenc, Encoding::Yenc, &o, options), data) << size;
        EXPECT_EQ(o.result, DecodeResult::Ok) << size;
        if (!uu.isEmpty()) {
            EXPECT_EQ(decode(headers(1, 1) + uu, Encoding::Uuencode, nullptr, options), data)
                << size;
        }
        if (!b64.isEmpty()) {
            EXPECT_EQ(decode(b64 + "\r\n--b--\r\n", Encoding::Base64, nullptr, options), data)
                << size;
        }
    }

    const QByteArray junk(300 * 1024, 'x');
    const QList<QByteArray> longLines = yencEncodeParts(data, {2000, 4000}, "h.bin", 5000);
    options.maxLineLength = 1024;
    options.readBufferSize = 777;
    EXPECT_EQ(decode(junk + "\r\n" + tempFileOf({longLines[0], junk, longLines[1]}), Encoding::Yenc,
                     &o, options),
              data);
    EXPECT_EQ(o.result, DecodeResult::Ok) << o.detail.toStdString();
    QList<QByteArray> uuLines = splitLines(uu);
    if (!uuLines.isEmpty()) {
        const QByteArray prefix(3 * 1024, 'x');
        uuLines.insert(uuLines.size() / 2, prefix + uuLines[uuLines.size() / 2]);
        uuLines.insert(uuLines.size() / 2, junk);
        uuLines.prepend(prefix + "begin 644 wrong.bin");
        EXPECT_EQ(decode(uuLines.join('\n'), Encoding::Uuencode, &o, options), data);
        EXPECT_EQ(o.result, DecodeResult::Ok);
        EXPECT_EQ(o.name, "b.bin");
    }
}

// A decode of any prefix of a post must fail cleanly, never succeed with a
// short file or leave one behind; junk gives no data.
TEST_F(DecoderTest, CutShortOrJunkInputFailsCleanly) {
    const QByteArray data = randomBytes(700, 15);
    const QByteArray post = tempFileOf(yencEncodeParts(data, {300, 400}, "c.bin", 32));
    const qsizetype complete = post.lastIndexOf("=yend") + 5;
    for (qsizetype cut = 0; cut < complete; ++cut) {
        DecodeOutcome o;
        ASSERT_TRUE(decode(post.left(cut), Encoding::Yenc, &o).isNull()) << cut;
        ASSERT_NE(o.result, DecodeResult::Ok) << cut;
    }
    EXPECT_TRUE(leftovers().isEmpty());
    // Random bytes may hold a few lines that pass for base64; what counts is
    // that a file is left exactly when the run reports success.
    const QByteArray junk = randomBytes(200000, 16);
    for (Encoding e : {Encoding::Uuencode, Encoding::Base64, Encoding::Yenc}) {
        DecodeOutcome o;
        const bool written = !decode(junk, e, &o).isNull();
        EXPECT_EQ(written, o.result == DecodeResult::Ok);
        if (e != Encoding::Base64) {
            EXPECT_EQ(o.result, DecodeResult::NoBinaryData);
        }
    }
    DecodeOutcome o;
    EXPECT_EQ(decodeFile(path("missing.tmp"), path("out.bin")).result, DecodeResult::ReadError);
    writeFile("in.tmp", post);
    DecodeOptions yenc;
    yenc.encoding = Encoding::Yenc;
    o = decodeFile(path("in.tmp"), path("no-such-dir/out.bin"), yenc);
    EXPECT_EQ(o.result, DecodeResult::WriteError);
}

// ---------------------------------------------------------------- the control

struct EventLog {
    QStringList events;
    void attach(Decoder& d) {
        QObject::connect(&d, &Decoder::failure, [this](int n, const QString&) {
            events << QStringLiteral("failure %1").arg(n);
        });
        QObject::connect(&d, &Decoder::progress, [this](int v, int m) {
            if (v < 0 || v > m || (!values.isEmpty() && v <= values.back()))
                events << QStringLiteral("bad progress %1/%2").arg(v).arg(m);
            values << v;
        });
        QObject::connect(&d, &Decoder::end, [this] {
            events << "end";
            onGuiThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        });
    }
    QList<int> values;
    bool onGuiThread = false;
};

TEST_F(DecoderTest, ControlRunsTheSixStepsInBothModes) {
    const QByteArray data = randomBytes(300000, 17);
    writeFile("in.tmp", tempFileOf(yencEncodeParts(data, {100000, 200000}, "d.bin")));
    for (bool threaded : {false, true}) {
        writeFile("d.bin", "an older file of that name is replaced");
        Decoder d;
        d.setThreaded(threaded);
        d.setReadBufferSize(4096);
        EventLog log;
        log.attach(d);
        QSignalSpy ended(&d, &Decoder::end);
        d.setKeepDamaged(false);
        d.setSourcePath(path("in.tmp"));
        d.setTargetPath(path("d.bin"));
        d.setProgressSteps(34);
        d.setEncoding("x-uuencode");
        d.setAction(Decoder::ActionDecode);
        if (threaded) {
            EXPECT_TRUE(d.isRunning());
            EXPECT_FALSE(d.start()); // one run at a time
            ASSERT_TRUE(ended.wait(60000));
        }
        EXPECT_EQ(log.events, QStringList{"end"});
        EXPECT_TRUE(log.onGuiThread);
        EXPECT_EQ(log.values.back(), 34);
        EXPECT_EQ(d.lastOutcome().result, DecodeResult::Ok);
        QFile f(path("d.bin"));
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(f.readAll(), data);
        // Made like any new file of the user's, not private like a temporary.
        EXPECT_EQ(f.permissions(), QFile::permissions(path("in.tmp")));
    }
}

} // namespace
