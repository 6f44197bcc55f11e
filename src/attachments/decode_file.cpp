#include "attachments/decode_stream.h"
#include "attachments/uu_base64.h"
#include "attachments/yenc.h"

#include <QFile>
#include <algorithm>

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

DecodeResult decodeBase64Stream(LineReader& reader, OutputSink& sink, DecodeOutcome& outcome) {
    Base64State state;
    LinePiece line;
    bool inData = false;
    std::size_t lineLength = 0; // of the first data line, the encoder's wrap
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
                continue;
            }
        }
        if (!reader.next(line)) break;
        std::string_view text = line.text;
        while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
            text.remove_suffix(1);
        const bool whole = line.first && line.last;
        // A MIME boundary (or a signature's "-- ") after the data closes it.
        if (inData && line.first && text.starts_with("--")) break;
        // With the wrap known, a shorter line can only be the last data line,
        // and an encoder pads that to whole quads: a stray word such as
        // "Thanks" between parts is not data.
        if (whole && inData && lineLength % 4 == 0 && text.size() < lineLength &&
            text.size() % 4 != 0)
            continue;
        // Encoders wrap at whole quads, so neither can a first data line be a
        // word like "begin" or "end".
        if (whole && !inData && text.size() % 4 != 0) continue;
        const long n =
            base64DecodeLine(state, text, sink.reserve(base64DecodedCapacity(text.size())));
        if (n < 0) continue;
        sink.commit(std::size_t(n));
        if (sink.failed()) return DecodeResult::WriteError;
        if (!inData) {
            inData = true;
            lineLength = whole ? text.size() : 0;
        } else if (whole && text.size() < lineLength) {
            break; // the short last line
        }
        if (state.ended) break;
    }
    if (!inData) return DecodeResult::NoBinaryData;
    const int rest = base64Finish(state, sink.reserve(2));
    if (rest < 0) {
        outcome.detail = QStringLiteral("base64 data ends inside a byte");
        return DecodeResult::Incomplete;
    }
    sink.commit(std::size_t(rest));
    return sink.failed() ? DecodeResult::WriteError : DecodeResult::Ok;
}

DecodeOutcome decodeFile(const QString& inPath, const QString& outPath,
                         const DecodeOptions& options) {
    DecodeOutcome outcome;
    QFile input(inPath);
    if (!input.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        outcome.result = DecodeResult::ReadError;
        outcome.detail = input.errorString();
        return outcome;
    }
    const qint64 total = input.size();
    const qsizetype maxLine = std::max<qsizetype>(options.maxLineLength, 1024);
    LineReader reader(input, std::max<qsizetype>(options.readBufferSize, 1), maxLine);
    reader.onRead = [&options, total](qint64 done) {
        if (options.cancel && options.cancel->load(std::memory_order_relaxed)) return false;
        if (options.progress) options.progress(done, total);
        return true;
    };

    // Room for the decoded form of two of the longest pieces the reader
    // hands out, so that a reserve() after a flush always fits.
    OutputSink sink(std::max(kMinSinkCapacity, 2 * std::size_t(maxLine) + 64));
    if (!sink.open(outPath)) {
        outcome.result = DecodeResult::WriteError;
        outcome.detail = sink.errorText();
        return outcome;
    }

    DecodeResult result = DecodeResult::NoBinaryData;
    switch (options.encoding) {
    case Encoding::Uuencode:
        result = decodeUuStream(reader, sink, true, outcome);
        break;
    case Encoding::Base64:
        result = decodeBase64Stream(reader, sink, outcome);
        break;
    case Encoding::Yenc:
        result = decodeYencStream(reader, sink, nullptr, outcome);
        break;
    }
    if (reader.readFailed()) {
        result = DecodeResult::ReadError;
        outcome.detail = input.errorString();
    } else if (reader.stopped()) {
        result = DecodeResult::Cancelled;
    } else if (sink.failed()) {
        result = DecodeResult::WriteError;
        outcome.detail = sink.errorText();
    }
    outcome.bytesWritten = sink.highWater();
    bool keep = result == DecodeResult::Ok || (options.keepDamaged && outcome.bytesWritten > 0);
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
