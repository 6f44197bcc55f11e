#include "attachments/decode_stream.h"
#include "attachments/uu_base64.h"
#include "attachments/yenc.h"

#include <QFile>
#include <algorithm>
#include <vector>

QString decodeResultText(DecodeResult result) {
    switch (result) {
    case DecodeResult::Ok:
        return QStringLiteral("Decoded");
    case DecodeResult::NoBinaryData:
        return QStringLiteral("No encoded data found");
    case DecodeResult::Incomplete:
        return QStringLiteral("Encoded data incomplete");
    case DecodeResult::CrcError:
        return QStringLiteral("CRC error");
    case DecodeResult::SizeMismatch:
        return QStringLiteral("Size mismatch");
    case DecodeResult::ReadError:
        return QStringLiteral("Cannot read the encoded file");
    case DecodeResult::WriteError:
        return QStringLiteral("Cannot write the decoded file");
    case DecodeResult::BadSetup:
        return QStringLiteral("Decoder not set up");
    case DecodeResult::Cancelled:
        return QStringLiteral("Decoding cancelled");
    case DecodeResult::TargetExists:
        return QStringLiteral("Duplicate File");
    }
    return QString();
}

std::optional<Encoding> encodingFromName(const QString& name) {
    const QString n = name.trimmed().toLower();
    if (n == u"x-uuencode" || n == u"uuencode" || n == u"x-uue") return Encoding::Uuencode;
    if (n == u"base64") return Encoding::Base64;
    if (n == u"x-yenc" || n == u"yenc") return Encoding::Yenc;
    return std::nullopt;
}

DecodeResult decodeUuStream(LineReader& reader, OutputSink& sink, bool allowYenc,
                            DecodeOutcome& outcome) {
    LinePiece line;
    bool inData = false;
    for (;;) {
        // Full data lines, the bulk of the file, in runs; the rest one by one.
        if (inData) {
            const std::string_view run = reader.buffered(kMaxRun);
            std::size_t written = 0;
            const std::size_t used =
                uuDecodeFullLines(run, sink.reserve(run.size() / 4 * 3 + 16), written);
            if (used > 0) {
                sink.commit(written);
                reader.consume(used);
                continue;
            }
        }
        if (!reader.next(line)) break;
        // The tail of an overlong line is never data, and its start only
        // matters as a begin line (the name may be that long).
        if (!line.first) continue;
        if (!inData) {
            std::string_view name;
            if (isUuBeginLine(line.text, &name)) {
                inData = true;
                outcome.name = QByteArray(name.data(), qsizetype(name.size()));
            } else if (allowYenc && line.text.starts_with("=ybegin ")) {
                return decodeYencStream(reader, sink, &line, outcome);
            }
            continue;
        }
        if (!line.last) continue;
        if (isUuEndLine(line.text)) return DecodeResult::Ok;
        // Anything that is not a data line (headers of the next part, blank
        // lines, signatures) is passed over.
        const int n = uuDecodeLine(line.text, sink.reserve(kUuLineCapacity));
        if (n > 0) sink.commit(std::size_t(n));
        if (sink.failed()) return DecodeResult::WriteError;
    }
    if (!inData) return DecodeResult::NoBinaryData;
    outcome.detail = QStringLiteral("no \"end\" line");
    return DecodeResult::Incomplete;
}

namespace {

// The delimiter line of a MIME part ("--" and the boundary) or the closing
// one ("--", the boundary, "--"); blanks after it are allowed.
bool isDelimiterLine(std::string_view text, const QByteArray& boundary) {
    const std::string_view b(boundary.constData(), std::size_t(boundary.size()));
    if (b.empty() || !text.starts_with("--") || text.substr(2, b.size()) != b) return false;
    text.remove_prefix(2 + b.size());
    if (text.starts_with("--")) text.remove_prefix(2);
    return text.find_first_not_of(" \t") == std::string_view::npos;
}

} // namespace

DecodeResult decodeBase64Stream(LineReader& reader, OutputSink& sink, const DecodeOptions& options,
                                DecodeOutcome& outcome) {
    Base64State state;
    LinePiece line;
    bool inData = false;
    std::size_t lineLength = 0; // of the first data line, the encoder's wrap
    // A line shorter than the wrap is the last data line only if no full one
    // follows: a part before the last may end in a footer that looks like
    // one. Its bytes wait here until the boundary or the end of the input.
    std::vector<unsigned char> lastLine;
    Base64State afterLastLine;
    bool haveShortLine = false;
    for (;;) {
        // Lines of the full width, the bulk of the data, in runs.
        if (inData && state.count == 0 && !state.ended) {
            const std::string_view run = reader.buffered(kMaxRun);
            std::size_t written = 0;
            const std::size_t used =
                base64DecodeLines(run, lineLength, sink.reserve(run.size() / 4 * 3 + 16), written);
            if (used > 0) {
                sink.commit(written);
                reader.consume(used);
                haveShortLine = false; // more data came: that was no data line
                continue;
            }
        }
        if (!reader.next(line)) break;
        std::string_view text = line.text;
        while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
            text.remove_suffix(1);
        const bool whole = line.first && line.last;
        // The part's boundary closes the data; any other line starting with
        // "--" (a signature, a footer) is no data and is passed over below.
        if (line.first && isDelimiterLine(text, options.mimeBoundary)) break;
        // With the wrap known, a shorter line can only be the last data line,
        // and an encoder pads that to whole quads: a stray word such as
        // "Thanks" between parts is not data.
        if (whole && inData && lineLength % 4 == 0 && text.size() < lineLength &&
            text.size() % 4 != 0)
            continue;
        // Encoders wrap at whole quads, so neither can a first data line be a
        // word like "begin" or "end".
        if (whole && !inData && text.size() % 4 != 0) continue;
        if (whole && inData && text.size() < lineLength) {
            // Only the first short line counts: what follows the real last
            // line (a signature, a footer) may look like one too.
            if (!haveShortLine) {
                afterLastLine = state;
                lastLine.resize(base64DecodedCapacity(text.size()));
                const long n = base64DecodeLine(afterLastLine, text, lastLine.data());
                haveShortLine = n >= 0;
                lastLine.resize(std::size_t(std::max(n, 0L)));
            }
            continue;
        }
        const long n =
            base64DecodeLine(state, text, sink.reserve(base64DecodedCapacity(text.size())));
        if (n < 0) continue;
        haveShortLine = false;
        sink.commit(std::size_t(n));
        if (sink.failed()) return DecodeResult::WriteError;
        if (!inData) {
            inData = true;
            lineLength = whole ? text.size() : 0;
        }
        if (state.ended) break;
    }
    if (!inData) return DecodeResult::NoBinaryData;
    if (haveShortLine) {
        std::copy(lastLine.begin(), lastLine.end(), sink.reserve(lastLine.size()));
        sink.commit(lastLine.size());
        state = afterLastLine;
    }
    const int rest = base64Finish(state, sink.reserve(2));
    if (rest < 0) {
        outcome.detail = QStringLiteral("base64 data ends inside a byte");
        return DecodeResult::Incomplete;
    }
    sink.commit(std::size_t(rest));
    if (sink.failed()) return DecodeResult::WriteError;
    if (options.announcedSize >= 0 && sink.position() != options.announcedSize) {
        outcome.detail = QStringLiteral("%1 bytes decoded, the post announces %2")
                             .arg(sink.position())
                             .arg(options.announcedSize);
        return DecodeResult::SizeMismatch;
    }
    return DecodeResult::Ok;
}

namespace {

// `fd`, when not -1, is the input's file, read mapped.
DecodeOutcome decodeFrom(QIODevice& input, int fd, qint64 total, const QString& outPath,
                         const DecodeOptions& options) {
    DecodeOutcome outcome;
    const qsizetype maxLine = std::max<qsizetype>(options.maxLineLength, 1024);
    LineReader reader(input, std::max<qsizetype>(options.readBufferSize, 1), maxLine);
    // Copying the input out with read() costs about as much as decoding it.
    if (fd >= 0) reader.mapFile(fd);
    reader.borrow = options.borrow;
    reader.onRead = [&options, total](qint64 done) {
        if (options.cancel && options.cancel->load(std::memory_order_relaxed)) return false;
        if (options.progress) options.progress(done, total);
        return true;
    };

    // Room for the decoded form of two of the longest pieces the reader
    // hands out, so that a reserve() after a flush always fits; and blocks
    // of 1 MiB, which the writer thread takes with few wake-ups. A run fed
    // by a download writes blocks of 256 KiB itself: its input comes no
    // faster than the network, a fourth busy thread beside the download's
    // own cost more in hand-overs than it saved, and the download's memory
    // is what a user sees.
    const std::size_t block = options.borrow ? std::size_t(1) << 18 : std::size_t(1) << 20;
    OutputSink sink(std::max(block, 2 * std::size_t(maxLine) + 64));
    sink.setWriterThread(!options.borrow);
    if (!sink.open(outPath)) {
        outcome.result = DecodeResult::WriteError;
        outcome.detail = sink.errorText();
        return outcome;
    }
    // Decoded, yEnc is a little smaller than its input, uuencode and base64
    // about three quarters of theirs.
    sink.preallocate(options.encoding == Encoding::Yenc ? total : total / 4 * 3);

    DecodeResult result = DecodeResult::NoBinaryData;
    switch (options.encoding) {
    case Encoding::Uuencode:
        result = decodeUuStream(reader, sink, true, outcome);
        break;
    case Encoding::Base64:
        result = decodeBase64Stream(reader, sink, options, outcome);
        break;
    case Encoding::Yenc:
        result = decodeYencStream(reader, sink, nullptr, outcome);
        break;
    }
    if (reader.readFailed()) {
        result = DecodeResult::ReadError;
        outcome.detail = input.errorString();
    } else if (reader.stopped() ||
               (options.cancel && options.cancel->load(std::memory_order_relaxed))) {
        result = DecodeResult::Cancelled;
    } else if (sink.failed()) {
        result = DecodeResult::WriteError;
        outcome.detail = sink.errorText();
    }
    outcome.bytesWritten = sink.highWater();
    bool keep = result == DecodeResult::Ok || (options.keepDamaged && outcome.bytesWritten > 0);
    if (keep && options.mayPlace && !options.mayPlace()) {
        keep = false;
        result = DecodeResult::Cancelled;
    }
    if (!sink.finish(keep) && keep) {
        keep = false;
        if (sink.targetExists()) {
            result = DecodeResult::TargetExists;
            outcome.detail.clear();
        } else {
            result = DecodeResult::WriteError;
            outcome.detail = sink.errorText();
        }
    }
    if (!keep) outcome.bytesWritten = 0;
    outcome.result = result;
    return outcome;
}

} // namespace

DecodeOutcome decodeFile(const QString& inPath, const QString& outPath,
                         const DecodeOptions& options) {
    QFile input(inPath);
    if (!input.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        DecodeOutcome outcome;
        outcome.result = DecodeResult::ReadError;
        outcome.detail = input.errorString();
        return outcome;
    }
    return decodeFrom(input, input.handle(), input.size(), outPath, options);
}

DecodeOutcome decodeDevice(QIODevice& input, qint64 total, const QString& outPath,
                           const DecodeOptions& options) {
    return decodeFrom(input, -1, total, outPath, options);
}
