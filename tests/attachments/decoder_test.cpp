#include "attachments/decode_stream.h"
#include "attachments/decoder.h"
#include "attachments/part_feed.h"
#include "attachments/uu_base64.h"
#include "attachments/yenc.h"
#include "fixtures/encoders.h"
#include "news/nntp_stream.h"
#include "support/vector_level.h"
#include "test_data.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

QByteArray headers(int part, int total) {
    return "Path: news.example!not-for-mail\r\nFrom: poster@example.com\r\n"
           "Newsgroups: alt.binaries.test\r\nSubject: \"pic.jpg\" (" +
           QByteArray::number(part) + "/" + QByteArray::number(total) + ")\r\nMessage-ID: <p" +
           QByteArray::number(part) + "@example.com>\r\nLines: 2000\r\n\r\n";
}

// The parts of a post as the download hands them over: each part's text and
// CR LF.
QByteArray tempFileOf(const QList<QByteArray>& parts) {
    QByteArray all;
    for (const QByteArray& p : parts)
        all += p + "\r\n";
    return all;
}

// Lines [from, to), each ending in CR LF.
QByteArray lineRange(const QList<QByteArray>& lines, qsizetype from, qsizetype to) {
    return joined(lines.mid(from, to - from));
}

// sharutils' uuencode of `data` without its begin line (whose mode follows the
// umask), with CR LF line ends.
QByteArray sharutilsUuencode(const QByteArray& data) {
    QProcess p;
    p.start("uuencode", {"pic.jpg"});
    p.write(data);
    p.closeWriteChannel();
    if (!p.waitForFinished(60000) || p.exitCode() != 0) return "uuencode did not run";
    const QByteArray out = p.readAllStandardOutput().replace("\n", "\r\n");
    return out.mid(out.indexOf('\n') + 1);
}

QByteArray hex8(std::uint32_t v) {
    return QByteArray::number(v, 16).rightJustified(8, '0');
}

// uuencode and base64 in their plain form: each character gives the six bits
// of its place in `digits` (modulo 64), most significant first.
QByteArray sextets(std::string_view chars, std::string_view digits) {
    QByteArray out;
    unsigned bits = 0, count = 0;
    for (char c : chars) {
        bits = bits << 6 | (digits.find(c) & 63);
        count += 6;
        if (count >= 8) out += static_cast<char>(bits >> (count -= 8));
    }
    return out;
}

// Runs `check` once for each vector path, the plain code included; a path
// the processor lacks falls back to a narrower one and is run again.
void atEveryVectorLevel(const std::function<void()>& check) {
    for (VectorLevel level : {VectorLevel::Plain, VectorLevel::Avx2, VectorLevel::Avx512}) {
        SCOPED_TRACE(int(level));
        const VectorLevel before = limitVectorLevel(level);
        check();
        limitVectorLevel(before);
    }
}

class DecoderTest : public ::testing::Test {
protected:
    DecoderTest() { QDir(dir.path()).mkdir("out"); }
    QString path(const QString& name) const { return dir.filePath(name); }

    void writeFile(const QString& name, const QByteArray& data) {
        QFile f(path(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        ASSERT_EQ(f.write(data), data.size());
    }

    // Decodes `input` into `outcome` and returns the target's contents; a
    // null array when no target file was left.
    QByteArray decode(const QByteArray& input, Encoding encoding, DecodeOptions options = {}) {
        writeFile("in.tmp", input);
        QFile::remove(path("out/out.bin"));
        options.encoding = encoding;
        outcome = decodeFile(path("in.tmp"), path("out/out.bin"), options);
        QFile f(path("out/out.bin"));
        if (!f.open(QIODevice::ReadOnly)) return QByteArray();
        QByteArray data = f.readAll();
        return data.isNull() ? QByteArray("") : data;
    }

    // What a run left in the target's directory: after a failure neither the
    // target nor a half-written temporary.
    QStringList leftovers() const {
        return QDir(path("out")).entryList(QDir::Files | QDir::Hidden);
    }

    QTemporaryDir dir;
    DecodeOutcome outcome;
};

// The vector paths must agree with the plain meaning of yEnc on any mix of
// escapes, CR and LF at any position and density, and on any split of the
// input; the output buffer is exactly as long as the input. So must the
// search for the next keyword line.
TEST(LineDecoders, YencDecodeMatchesPlainRuleAtAnyPositionAndSplit) {
    atEveryVectorLevel([] {
        std::mt19937 gen(7);
        for (int round = 0; round < 4000; ++round) {
            std::vector<unsigned char> in(gen() % 300);
            const unsigned density = 4u << (round % 4); // specials 1 in 4 .. 1 in 32
            for (auto& c : in) {
                const unsigned r = gen() % density;
                c = r == 0   ? '='
                    : r == 1 ? '\r'
                    : r == 2 ? '\n'
                             : static_cast<unsigned char>(gen());
            }
            QByteArray expected;
            bool esc = false;
            for (unsigned char c : in) {
                if (c == '\r' || c == '\n') continue;
                if (esc || c != '=') expected += static_cast<char>(c - (esc ? 106 : 42));
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

            // The keyword search over the same bytes with a "=y" line start
            // put in, or a near miss ("\n=x", "\r=y") to pass over.
            const char* const marks[] = {"\n=y", "\n=x", "\r=y"};
            std::string withMark(text);
            withMark.insert(gen() % (in.size() + 1), marks[round % 3]);
            std::size_t plain = withMark.starts_with("=y") ? 0 : withMark.size();
            for (std::size_t i = 0; plain == withMark.size() && i + 2 < withMark.size(); ++i)
                if (withMark.compare(i, 3, "\n=y") == 0) plain = i + 1;
            ASSERT_EQ(findYencKeywordLine(withMark), plain) << "round " << round;
        }
    });
}

// The folding CRC paths against the byte table, at every length around
// their block sizes (16, 64, 256) and continued from any value.
TEST(LineDecoders, Crc32MatchesTheByteTableAtEveryLength) {
    const QByteArray data = randomBytes(1200, 21);
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData());
    atEveryVectorLevel([&] {
        for (std::size_t size = 0; size <= 1100; ++size) {
            const std::size_t at = size % 13;
            const std::uint32_t start = std::uint32_t(size) * 0x9E3779B9u;
            ASSERT_EQ(
                crc32Update(start, bytes + at, size),
                yencTestCrc32(QByteArrayView(data).sliced(qsizetype(at), qsizetype(size)), start))
                << size;
        }
    });
}

// Any byte at any position of a full-width line: a foreign one must make the
// line (and a run of such lines) stop there, valid ones decode by the plain
// rule.
TEST(LineDecoders, WideKernelsCheckEveryPosition) {
    atEveryVectorLevel([] {
        const std::string b64Digits =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string uuDigits, uu = "M", b64;
        for (char c = ' '; c <= '`'; ++c)
            uuDigits += c;
        for (std::size_t i = 0; i < 76; ++i) {
            uu += uuDigits[i * 7 % 65];
            b64 += b64Digits[i * 11 % 64];
        }
        uu.resize(61);
        unsigned char out[256];
        std::size_t written = 0;
        auto bytes = [&](std::size_t n) {
            return QByteArray(reinterpret_cast<char*>(out), qsizetype(n));
        };
        // A longer line is left to the line path, which knows its rules.
        EXPECT_EQ(uuDecodeFullLines(uu + "`\n" + uu + "\n", out, written), 0u);
        EXPECT_EQ(base64DecodeLines(b64 + " \r\n" + b64 + "\n", 76, out, written), 0u);
        for (std::size_t k = 0; k < 76; ++k) {
            for (int b = 0; b < 256; ++b) {
                if (k < 60) {
                    std::string line = uu;
                    line[k + 1] = static_cast<char>(b);
                    const bool valid = b >= ' ' && b <= '`';
                    const int n = uuDecodeLine(line, out);
                    ASSERT_EQ(n >= 0, valid) << k << " " << b;
                    if (valid) {
                        ASSERT_EQ(bytes(n), sextets(line.substr(1), uuDigits));
                    }
                    const std::string run = uu + "\r\n" + line + "\n" + uu + "\n";
                    ASSERT_EQ(uuDecodeFullLines(run, out, written), valid ? run.size() : 63u);
                }
                std::string line = b64;
                line[k] = static_cast<char>(b);
                const bool valid = b64Digits.find(static_cast<char>(b)) != std::string::npos;
                Base64State s;
                const long n = base64DecodeLine(s, line, out);
                // At the end, padding and trailing blanks still make a data line.
                const bool endsWell =
                    k == 75 && std::string_view("= \t\r").find(char(b)) != std::string_view::npos;
                ASSERT_EQ(n >= 0, valid || endsWell) << k << " " << b;
                if (valid) {
                    ASSERT_EQ(bytes(n), sextets(line, b64Digits));
                }
                const std::string run = b64 + "\n" + line + "\r\n" + b64 + "\n";
                ASSERT_EQ(base64DecodeLines(run, 76, out, written), valid ? run.size() : 77u);
            }
        }
    });
}

// Encoders that leave a line's last group unpadded, or end it in a checksum
// character, give the same bytes as the padded line.
TEST(LineDecoders, UuLinesUnpaddedOrWithAChecksumCharacter) {
    unsigned char out[64];
    for (int n = 1; n <= 45; ++n) {
        const QByteArray data = randomBytes(n, unsigned(n));
        const std::string line = uuencode(data, "x.bin")[1].toStdString();
        for (const std::string& form : {line, line.substr(0, 1 + (n * 4 + 2) / 3), line + "M"}) {
            ASSERT_EQ(uuDecodeLine(form, out), n) << form;
            EXPECT_EQ(QByteArray(reinterpret_cast<char*>(out), n), data) << form;
        }
    }
}

// Sizes on both sides of a full uu line (45 bytes) and base64 line (57), cut
// into parts with the headers of later parts and stray text between. Each is
// read once more through a buffer of a few bytes, which cuts every line and
// marker somewhere.
TEST_F(DecoderTest, UuencodeAndBase64DecodeByteForByte) {
    for (qsizetype size : {0, 1, 2, 3, 44, 45, 46, 56, 57, 58, 90, 4096, 100001}) {
        SCOPED_TRACE(size);
        const QByteArray data = randomBytes(size, unsigned(size));
        const QList<QByteArray> uu = uuencode(data, "pic.jpg");
        // The kit's encoder, which the download tests use too, must agree with
        // an independent one, or a shared misreading would pass unseen.
        EXPECT_EQ(joined(uu.mid(1)), sharutilsUuencode(data));
        const qsizetype lines = uu.size(), cut1 = lines * 37 / 100, cut2 = lines * 78 / 100;
        const QByteArray uuPost =
            tempFileOf({headers(1, 3) + "Here it is:\r\n\r\n" + lineRange(uu, 0, cut1),
                        headers(2, 3) + lineRange(uu, cut1, cut2),
                        headers(3, 3) + lineRange(uu, cut2, lines) + "-- \r\nsig\r\n"});
        // Base64 stops at its part's MIME boundary, whatever follows it, and
        // only there: a signature or a footer that ends a part before the
        // last, even one that looks like a short last line, is passed over.
        QList<QByteArray> b64;
        for (qsizetype at = 0; at < size; at += 57)
            b64 << data.mid(at, 57).toBase64();
        const qsizetype cut = b64.size() * 2 / 5;
        const QByteArray b64Post = tempFileOf(
            {"\r\nbegin\r\n" + lineRange(b64, 0, cut) + (cut ? "-- \r\nBlueNews\r\n" : ""),
             headers(2, 2) + "Thanks\r\n" + lineRange(b64, cut, b64.size()) +
                 "\r\n--=_boundary_42--\r\n\r\nQUJD\r\n"});
        DecodeOptions options;
        options.mimeBoundary = "=_boundary_42";
        options.announcedSize = size;
        for (qsizetype buffer : {options.readBufferSize, 1 + size % 7}) {
            options.readBufferSize = buffer;
            EXPECT_EQ(decode(uuPost, Encoding::Uuencode, options), data);
            EXPECT_EQ(outcome.result, DecodeResult::Ok);
            if (size == 0) continue; // base64 of nothing is no data at all
            EXPECT_EQ(decode(b64Post, Encoding::Base64, options), data);
            EXPECT_EQ(outcome.result, DecodeResult::Ok);
        }
        // A size the post announces must be met.
        if (size > 0) {
            options.announcedSize = size + 1;
            EXPECT_TRUE(decode(b64Post, Encoding::Base64, options).isNull());
            EXPECT_EQ(outcome.result, DecodeResult::SizeMismatch);
        }
        // Without its last part the data never reaches "end".
        EXPECT_TRUE(decode(tempFileOf({headers(1, 3) + lineRange(uu, 0, cut2)}), Encoding::Uuencode)
                        .isNull());
        EXPECT_EQ(outcome.result, DecodeResult::Incomplete);
        EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
    }
}

// Parts of different sizes, so a fault that places parts by index times a
// fixed size cannot pass; read buffers of a few bytes cut every line and
// escape somewhere.
TEST_F(DecoderTest, YencPartsInAndOutOfOrderAtAnyReadSize) {
    const QByteArray data = randomBytes(25000, 10);
    const QList<QByteArray> parts = yencEncodeParts(
        data, {3000, 2500, 4100, 1234, 3000, 1, 2999, 6400, 70, 1696}, "ten parts.bin", 61);
    QList<QByteArray> articles;
    for (int i = 0; i < parts.size(); ++i)
        articles.append(headers(i + 1, 10) + parts[i]);
    // uuencode input may hold yEnc.
    EXPECT_EQ(decode(tempFileOf(articles), Encoding::Uuencode), data);
    EXPECT_EQ(outcome.result, DecodeResult::Ok);
    EXPECT_EQ(outcome.name, "ten parts.bin");
    EXPECT_EQ(outcome.bytesWritten, data.size());

    std::shuffle(articles.begin(), articles.end(), std::mt19937(4));
    // Some encoders wrap between '=' and the escaped byte: the escape carries
    // over the line end. Before a trailer line it has nothing to escape.
    const QByteArray escaped("\x13\xd6\x01\x02", 4); // encodes as "=}", "=@", "+", ","
    const QByteArray single =
        "=ybegin line=2 size=4 name=e.bin\r\n=\r\n}=\r\n@\r\n+,=\r\n=yend size=4 crc32=" +
        QByteArray::number(yencTestCrc32(escaped), 16) + "\r\n";
    DecodeOptions options;
    for (int size : {256 * 1024, 1, 2, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(size);
        options.readBufferSize = size;
        EXPECT_EQ(decode(tempFileOf(articles), Encoding::Yenc, options), data);
        EXPECT_EQ(outcome.result, DecodeResult::Ok);
        EXPECT_EQ(decode(single, Encoding::Yenc, options), escaped);
        EXPECT_EQ(outcome.result, DecodeResult::Ok) << outcome.detail.toStdString();
    }
}

// Posts as real encoders write them: parts without a "=ypart" line go one
// after the other in part order, and a "crc32=" that differs from part to
// part is each part's own CRC (older encoders), while one that is the same on
// every part, or stands on the last part only, is the file's. Either way a
// damaged part is caught.
TEST_F(DecoderTest, YencPartsWithoutPlacementOrWithPartCrcsInTheFileCrcField) {
    const QByteArray data = randomBytes(9000, 18);
    const QList<QByteArray> parts = yencEncodeParts(data, {4000, 3000, 2000}, "o.bin", 100);
    const QByteArray fileCrc = " crc32=" + hex8(yencTestCrc32(data));
    auto withoutPartLine = [](QByteArray p) {
        const qsizetype at = p.indexOf("=ypart ");
        return p.remove(at, p.indexOf("\r\n", at) + 2 - at);
    };
    auto partCrcAsCrc32 = [&](QByteArray p) {
        return p.replace(fileCrc, "").replace(" pcrc32=", " crc32=");
    };
    auto fileCrcOnly = [&](QByteArray p) {
        p.remove(p.indexOf(" pcrc32="), 16);
        return p.contains(fileCrc) ? p : p.insert(p.lastIndexOf("\r\n"), fileCrc);
    };
    struct Form {
        const char* what;
        std::function<QByteArray(QByteArray)> edit;
    };
    const Form forms[] = {
        {"no =ypart", withoutPartLine},
        {"part CRCs as crc32=", partCrcAsCrc32},
        {"no =ypart, part CRCs as crc32=",
         [&](QByteArray p) { return partCrcAsCrc32(withoutPartLine(p)); }},
        {"file CRC on every part", fileCrcOnly},
        {"no =ypart, file CRC on every part",
         [&](QByteArray p) { return fileCrcOnly(withoutPartLine(p)); }},
    };
    for (const Form& form : forms) {
        SCOPED_TRACE(form.what);
        QList<QByteArray> post;
        for (const QByteArray& p : parts)
            post << headers(int(post.size()) + 1, 3) + form.edit(p);
        EXPECT_EQ(decode(tempFileOf(post), Encoding::Yenc), data);
        EXPECT_EQ(outcome.result, DecodeResult::Ok) << outcome.detail.toStdString();
        QList<QByteArray> damaged = post;
        corruptYencData(damaged[1]);
        EXPECT_TRUE(decode(tempFileOf(damaged), Encoding::Yenc).isNull());
        EXPECT_EQ(outcome.result, DecodeResult::CrcError);
    }
    // Without placement a missing part can't be told by offsets, only by
    // its number.
    EXPECT_TRUE(
        decode(tempFileOf({withoutPartLine(parts[0]), withoutPartLine(parts[2])}), Encoding::Yenc)
            .isNull());
    EXPECT_EQ(outcome.result, DecodeResult::Incomplete);
}

// Damage is a typed failure that leaves no file: any cut of the post, any
// part or trailer missing, sizes and CRCs that don't add up. Junk gives no
// data.
TEST_F(DecoderTest, DamagedCutShortOrJunkInputFailsCleanly) {
    const QByteArray data = randomBytes(700, 15);
    const QList<QByteArray> parts = yencEncodeParts(data, {300, 250, 150}, "c.bin", 32);
    const QByteArray post = tempFileOf(parts);
    for (qsizetype cut = 0; cut < post.lastIndexOf("=yend") + 5; ++cut) {
        ASSERT_TRUE(decode(post.left(cut), Encoding::Yenc).isNull()) << cut;
        ASSERT_NE(outcome.result, DecodeResult::Ok) << cut;
    }
    auto check = [&](QList<QByteArray> p, DecodeResult expected, const char* what) {
        EXPECT_TRUE(decode(tempFileOf(p), Encoding::Yenc).isNull()) << what;
        EXPECT_EQ(outcome.result, expected) << what << " " << outcome.detail.toStdString();
        EXPECT_TRUE(leftovers().isEmpty()) << what;
    };
    auto edited = [&](QList<int> which, const QByteArray& from, const QByteArray& to) {
        QList<QByteArray> p = parts;
        for (int i : which)
            p[i].replace(from, to);
        return p;
    };
    const QByteArray fileCrc = " crc32=" + hex8(yencTestCrc32(data));
    QList<QByteArray> corrupt = parts;
    corruptYencData(corrupt[1]);
    check(corrupt, DecodeResult::CrcError, "corrupt byte");
    // The same without the file's CRC: the part's own CRC must catch it.
    corrupt[2].replace(fileCrc, "");
    check(corrupt, DecodeResult::CrcError, "corrupt byte, part CRC only");
    // Every part sound, the file's CRC wrong: only the assembly can tell.
    check(edited({2}, fileCrc, " crc32=" + hex8(yencTestCrc32(data) ^ 1)), DecodeResult::CrcError,
          "file crc");
    check({parts[0], parts[2]}, DecodeResult::Incomplete, "middle part missing");
    check({parts[0], parts[1]}, DecodeResult::Incomplete, "last part missing");
    check({parts[0], parts[1], parts[2].left(parts[2].indexOf("=yend"))}, DecodeResult::Incomplete,
          "trailer missing");
    check(edited({0, 1, 2}, "total=3", "total=4"), DecodeResult::Incomplete, "total not reached");
    check(edited({0}, "=yend size=300", "=yend size=301"), DecodeResult::SizeMismatch,
          "trailer size");
    check(edited({2}, "end=700", "end=701"), DecodeResult::SizeMismatch, "part beyond the file");

    // Random bytes may hold a few lines that pass for base64; what counts is
    // that a file is left exactly when the run reports success.
    const QByteArray junk = randomBytes(200000, 16);
    for (Encoding e : {Encoding::Uuencode, Encoding::Base64, Encoding::Yenc}) {
        const bool written = !decode(junk, e).isNull();
        EXPECT_EQ(written, outcome.result == DecodeResult::Ok);
        if (e != Encoding::Base64) {
            EXPECT_EQ(outcome.result, DecodeResult::NoBinaryData);
        }
    }
    EXPECT_TRUE(decode(headers(1, 1) + "no data here\r\n", Encoding::Base64).isNull());
    EXPECT_EQ(outcome.result, DecodeResult::NoBinaryData);
    EXPECT_EQ(decodeFile(path("missing.tmp"), path("out/out.bin")).result, DecodeResult::ReadError);
    writeFile("in.tmp", post);
    DecodeOptions yenc;
    yenc.encoding = Encoding::Yenc;
    outcome = decodeFile(path("in.tmp"), path("no-such-dir/out.bin"), yenc);
    EXPECT_EQ(outcome.result, DecodeResult::WriteError);
    // Said in words the user can read, not as a path alone.
    EXPECT_TRUE(outcome.detail.contains("No such file or directory"))
        << outcome.detail.toStdString();
    // A name as long as the file system takes leaves room for the temporary one.
    const QString longest = path("out/" + QString(251, 'n') + ".bin");
    EXPECT_EQ(decodeFile(path("in.tmp"), longest, yenc).result, DecodeResult::Ok);
    EXPECT_EQ(QFileInfo(longest).size(), data.size());
}

// A file of several output blocks goes through the writer thread: parts out
// of order land at their offsets and their CRCs still hold, and the room
// set aside for the output is no more than the file once it is done. A disk that
// fills up in the middle fails the run with the system's reason and leaves
// nothing (a full disk is a file-size limit here, as in the download test).
TEST_F(DecoderTest, LargeFileThroughTheWriterThreadAndADiskThatFillsUp) {
    const QList<qsizetype> sizes = {1200000, 700001, 1500000, 1, 999999};
    const QByteArray data = randomBytes(4400001, 19);
    QList<QByteArray> post = yencEncodeParts(data, sizes, "big.bin", 128);
    std::swap(post[0], post[3]);
    std::swap(post[1], post[4]);
    EXPECT_EQ(decode(tempFileOf(post), Encoding::Yenc), data);
    EXPECT_EQ(outcome.result, DecodeResult::Ok) << outcome.detail.toStdString();
    // Room is set aside by the size of the input; text around the data makes
    // that far too much, and what is left over must not stay with the file.
    QByteArray noise;
    for (int i = 0; noise.size() < 3000000; ++i)
        noise += "a line of text around the data, number " + QByteArray::number(i) + "\r\n";
    EXPECT_EQ(decode(noise + tempFileOf(post) + noise, Encoding::Yenc), data);
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path("out/out.bin")).constData(), &st), 0);
    EXPECT_LT(qint64(st.st_blocks) * 512, data.size() + 1000000);

    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
    rlimit small = unlimited;
    small.rlim_cur = 2500000;
    writeFile("in.tmp", tempFileOf(post)); // written before the limit
    QFile::remove(path("out/out.bin"));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    DecodeOptions options;
    options.encoding = Encoding::Yenc;
    outcome = decodeFile(path("in.tmp"), path("out/out.bin"), options);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
    std::signal(SIGXFSZ, oldSignal);
    EXPECT_EQ(outcome.result, DecodeResult::WriteError);
    EXPECT_TRUE(outcome.detail.contains("File too large")) << outcome.detail.toStdString();
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
}

// The input is mapped rather than read, but only up to the size it had at
// the start: a file that grows meanwhile is read on to its new end, and one
// cut shorter (which would make a mapped read fault) is read to where it
// now ends.
TEST_F(DecoderTest, AMappedInputThatGrowsOrShrinksWhileReadGivesWhatItHolds) {
    QByteArray text;
    for (int i = 0; text.size() < 100000; ++i)
        text += "line " + QByteArray::number(i) + "\r\n";
    for (qint64 change : {+5000, -30000, -60000}) {
        SCOPED_TRACE(change);
        writeFile("in.tmp", text);
        QFile file(path("in.tmp"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
        LineReader reader(file, 4096, 1024);
        ASSERT_TRUE(reader.mapFile(file.handle()));
        const QByteArray more(std::size_t(std::max<qint64>(change, 0)), 'm');
        bool changed = false;
        reader.onRead = [&](qint64 consumed) {
            // After the first window (four reads): the next windows see it.
            if (!changed && consumed >= 16384) {
                changed = true;
                QFile f(path("in.tmp"));
                EXPECT_TRUE(f.open(QIODevice::ReadWrite));
                if (change > 0) {
                    f.seek(f.size());
                    f.write(more);
                } else {
                    EXPECT_TRUE(f.resize(text.size() + change));
                }
            }
            return true;
        };
        QByteArray got;
        LinePiece piece;
        while (reader.next(piece))
            got += QByteArray(piece.text.data(), qsizetype(piece.text.size())) +
                   (piece.last ? "\r\n" : "");
        EXPECT_FALSE(reader.readFailed());
        const QByteArray expected =
            change > 0 ? text + more + "\r\n" : text.left(text.size() + change);
        // A line cut in the middle comes out with a line end of its own.
        EXPECT_EQ(got.left(expected.size()), expected);
        EXPECT_LE(got.size(), expected.size() + 2);
    }
}

// A line over the limit comes in pieces; pieces after the first are no lines
// of their own even when they look like a begin line or a data line.
TEST_F(DecoderTest, LinesOverTheLimitDoNotChangeTheBytes) {
    const QByteArray data = randomBytes(6000, 13);
    const QByteArray junk(300 * 1024, 'x');
    DecodeOptions options;
    options.maxLineLength = 1024;
    options.readBufferSize = 777;
    const QList<QByteArray> yenc = yencEncodeParts(data, {2000, 4000}, "h.bin", 5000);
    EXPECT_EQ(decode(junk + "\r\n" + tempFileOf({yenc[0], junk, yenc[1]}), Encoding::Yenc, options),
              data);
    EXPECT_EQ(outcome.result, DecodeResult::Ok) << outcome.detail.toStdString();

    const QList<QByteArray> uu = uuencode(data, "b.bin");
    const QByteArray prefix(3 * 1024, 'x');
    const qsizetype middle = uu.size() / 2;
    const QByteArray post = lineRange(uu, 0, middle) + junk + "\r\n" + prefix +
                            lineRange(uu, middle, middle + 1) + lineRange(uu, middle, uu.size());
    EXPECT_EQ(decode(prefix + "begin 644 wrong.bin\r\n" + post, Encoding::Uuencode, options), data);
    EXPECT_EQ(outcome.result, DecodeResult::Ok);
    EXPECT_EQ(outcome.name, "b.bin");
}

TEST_F(DecoderTest, ControlRunsItsSetUpStepsInBothModes) {
    const QByteArray data = randomBytes(300000, 17);
    writeFile("in.tmp", tempFileOf(yencEncodeParts(data, {100000, 200000}, "d.bin")));
    for (bool threaded : {false, true}) {
        SCOPED_TRACE(threaded);
        QFile::remove(path("d.bin"));
        Decoder d;
        d.setThreaded(threaded);
        d.setReadBufferSize(4096);
        QSignalSpy failures(&d, &Decoder::failure), progress(&d, &Decoder::progress),
            ended(&d, &Decoder::end);
        QThread* endThread = nullptr;
        QObject::connect(&d, &Decoder::end, [&] { endThread = QThread::currentThread(); });
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
        EXPECT_TRUE(failures.isEmpty());
        EXPECT_EQ(ended.size(), 1);
        EXPECT_EQ(endThread, QCoreApplication::instance()->thread());
        // Rising to the maximum, never repeating a value.
        ASSERT_FALSE(progress.isEmpty());
        for (qsizetype i = 0; i < progress.size(); ++i) {
            EXPECT_GT(progress[i][0].toInt(), i ? progress[i - 1][0].toInt() : -1) << i;
            EXPECT_EQ(progress[i][1].toInt(), 34);
        }
        EXPECT_EQ(progress.back()[0].toInt(), 34);
        EXPECT_EQ(d.lastOutcome().result, DecodeResult::Ok);
        QFile f(path("d.bin"));
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(f.readAll(), data);
        // Made like any new file of the user's, not private like a temporary.
        EXPECT_EQ(f.permissions(), QFile::permissions(path("in.tmp")));
        f.close();

        // A file is never replaced: a second run onto the file it made, or
        // onto one that came while it ran, leaves that file as it is.
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("a file of that name came meanwhile");
        f.close();
        failures.clear();
        ended.clear();
        d.setAction(Decoder::ActionDecode);
        if (threaded) {
            ASSERT_TRUE(ended.wait(60000));
        }
        ASSERT_EQ(failures.size(), 1);
        EXPECT_EQ(failures[0][0].toInt(), int(DecodeResult::TargetExists));
        EXPECT_EQ(d.lastOutcome().result, DecodeResult::TargetExists);
        EXPECT_EQ(d.lastOutcome().bytesWritten, 0);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(f.readAll(), "a file of that name came meanwhile");
        EXPECT_EQ(QDir(dir.path()).entryList({"*.tmp"}, QDir::Files | QDir::Hidden),
                  QStringList{"in.tmp"});
    }
}

// A run fed part by part while the parts are fetched: the parts come out
// whole, a run that fails early keeps its failure until the feed ends (the
// fetching is not broken into), the feed's bound holds the download up
// until the decoder has read, and an abandoned run leaves no file and
// reports nothing. Data that ends before the post does (a uuencode "end"
// in a part before the last) puts no file in place until the feed ends:
// the download may still give the post up.
TEST_F(DecoderTest, FedRunDecodesPartsAsTheyComeAndReportsOnlyAtTheEnd) {
    const QByteArray data = randomBytes(300000, 23);
    const QList<QByteArray> parts = yencEncodeParts(data, {100000, 100000, 100000}, "f.bin");
    QList<QByteArray> bad = parts;
    corruptYencData(bad[0]);
    enum Case { Whole, FailsEarly, Abandoned };
    for (Case c : {Whole, FailsEarly, Abandoned}) {
        SCOPED_TRACE(c);
        Decoder d;
        QSignalSpy failures(&d, &Decoder::failure), ended(&d, &Decoder::end);
        d.setTargetPath(path("out/f.bin"));
        d.setEncoding("x-uuencode");
        ASSERT_TRUE(d.startFeed(std::make_shared<PartFeed>()));
        EXPECT_FALSE(d.startFeed(std::make_shared<PartFeed>())); // one run at a time
        PartFeed* feed = d.feed();
        for (int i = 0; i < (c == Abandoned ? 2 : 3); ++i) {
            QByteArray part = (c == FailsEarly ? bad : parts)[i] + "\r\n";
            feed->push(std::move(part));
            // The bound a download waits on: reached once the decoder read.
            while (!feed->waitHeldAtMost(0, 50))
                QCoreApplication::processEvents();
            EXPECT_EQ(feed->held(), 0);
        }
        if (c == FailsEarly) {
            // The run has ended on the first part's CRC; nothing is told yet.
            while (d.isRunning())
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            EXPECT_TRUE(failures.isEmpty());
            EXPECT_TRUE(ended.isEmpty());
            QByteArray late = parts[2];
            feed->push(std::move(late)); // dropped: no reader
            EXPECT_EQ(feed->held(), 0);
        }
        d.endFeed(c == Abandoned);
        if (ended.isEmpty()) {
            ASSERT_TRUE(ended.wait(60000));
        }
        EXPECT_FALSE(d.feedRunning());
        EXPECT_EQ(ended.size(), 1);
        if (c == Whole) {
            EXPECT_TRUE(failures.isEmpty());
            QFile f(path("out/f.bin"));
            ASSERT_TRUE(f.open(QIODevice::ReadOnly));
            EXPECT_EQ(f.readAll(), data);
            QFile::remove(path("out/f.bin"));
        } else {
            ASSERT_EQ(failures.size(), c == FailsEarly ? 1 : 0);
            if (c == FailsEarly) {
                EXPECT_EQ(failures[0][0].toInt(), int(DecodeResult::CrcError));
            }
            EXPECT_EQ(d.lastOutcome().result,
                      c == FailsEarly ? DecodeResult::CrcError : DecodeResult::Cancelled);
            EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
        }
    }

    const QByteArray uu = randomBytes(20000, 24);
    const QList<QByteArray> uuParts = splitLines(uuencode(uu, "u.bin"), 2);
    for (const bool giveUp : {false, true}) {
        SCOPED_TRACE(giveUp);
        Decoder d;
        QSignalSpy failures(&d, &Decoder::failure), ended(&d, &Decoder::end);
        d.setTargetPath(path("out/u.bin"));
        d.setEncoding("x-uuencode");
        ASSERT_TRUE(d.startFeed(std::make_shared<PartFeed>()));
        PartFeed* feed = d.feed();
        for (const QByteArray& p : uuParts) {
            QByteArray part = p + "\r\n";
            feed->push(std::move(part));
        }
        // The reader stops at "end"; no bytes held can satisfy -1.
        while (!feed->waitHeldAtMost(-1, 50))
            QCoreApplication::processEvents();
        EXPECT_FALSE(QFile::exists(path("out/u.bin")));
        QByteArray signature("-- \r\nlast part\r\n");
        feed->push(std::move(signature));
        d.endFeed(giveUp);
        ASSERT_TRUE(ended.wait(60000));
        EXPECT_TRUE(failures.isEmpty());
        if (giveUp) {
            EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
        } else {
            QFile f(path("out/u.bin"));
            ASSERT_TRUE(f.open(QIODevice::ReadOnly));
            EXPECT_EQ(f.readAll(), uu);
            f.remove();
        }
    }
}

// A fed yEnc run sets aside room for the size its first part's header
// gives, and gives back what the file did not fill: a post cut short after
// its first part leaves a file of that part's size, on no more disk than it.
TEST_F(DecoderTest, FedYencRunGivesBackTheRoomTheHeaderPromised) {
    const QByteArray data = randomBytes(4000000, 25);
    const QList<QByteArray> parts = yencEncodeParts(data, {1000000, 3000000}, "g.bin");
    Decoder d;
    QSignalSpy ended(&d, &Decoder::end);
    d.setTargetPath(path("out/g.bin"));
    d.setEncoding("x-uuencode");
    d.setKeepDamaged(true);
    ASSERT_TRUE(d.startFeed(std::make_shared<PartFeed>()));
    QByteArray first = parts[0] + "\r\n";
    d.feed()->push(std::move(first));
    d.endFeed(false);
    ASSERT_TRUE(ended.wait(60000));
    EXPECT_EQ(d.lastOutcome().result, DecodeResult::Incomplete);
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path("out/g.bin")).constData(), &st), 0);
    EXPECT_EQ(st.st_size, 1000000);
    EXPECT_LT(qint64(st.st_blocks) * 512, 1000000 + 65536);
}

// The decoder reads the parts where they lie: a view stays good until its
// next call, which counts it as read and hands a drained part back for
// reuse; a feed given up meanwhile keeps the part the view is into.
TEST(PartFeedTest, BorrowedViewsAreReadInPlaceAndOutliveAnAbandon) {
    PartFeed feed;
    QByteArray first("first part\r\n"), second("second\r\n");
    const char* const firstBytes = first.constData();
    feed.push(std::move(first));
    feed.push(std::move(second));
    EXPECT_EQ(feed.held(), 20);
    std::string_view v = feed.borrow(5);
    EXPECT_EQ(v, "first");
    EXPECT_EQ(v.data(), firstBytes); // no copy
    EXPECT_EQ(feed.held(), 20);      // not read until the next call
    v = feed.borrow(100);
    EXPECT_EQ(v, " part\r\n");
    EXPECT_EQ(feed.held(), 15);
    EXPECT_TRUE(feed.takeSpare().isNull()); // still lent
    v = feed.borrow(100);
    EXPECT_EQ(v, "second\r\n");
    EXPECT_EQ(feed.held(), 8);
    QByteArray spare = feed.takeSpare();
    EXPECT_EQ(spare.constData(), firstBytes);
    EXPECT_TRUE(spare.isEmpty());

    feed.abandon();
    EXPECT_EQ(feed.held(), 0);
    EXPECT_EQ(v, "second\r\n"); // the bytes are still there
    EXPECT_TRUE(feed.borrow(100).empty());
    QByteArray late("late");
    feed.push(std::move(late));
    EXPECT_EQ(feed.held(), 0);

    // An article's last bytes, shared with the large block they came in,
    // are held as a copy: they must not keep the block alive.
    PartFeed other;
    QByteArray block(1 << 18, 'x');
    other.push(sharedPart(block, 100, 10));
    const std::string_view tail = other.borrow(100);
    EXPECT_EQ(tail, std::string_view("xxxxxxxxxx"));
    EXPECT_TRUE(tail.data() < block.constData() || tail.data() >= block.constData() + block.size());
}

} // namespace
