#include "attachments/decode_stream.h"
#include "attachments/yenc.h"

#include <algorithm>
#include <zlib.h>

namespace {

struct PartRecord {
    qint64 begin = 0; // offset in the file, from 0
    qint64 size = 0;
    std::uint32_t crc = 0;
};

// A "crc32=" on a part of several that gives no "pcrc32=": the file's CRC,
// or (from older encoders) the part's own; finish() decides which.
struct UnclearCrc {
    std::int64_t part = 0;
    std::uint32_t given = 0;
    std::uint32_t partCrc = 0;
};

QString hex(std::uint32_t v) {
    return QStringLiteral("%1").arg(v, 8, 16, QLatin1Char('0'));
}

// Assembles the parts of one yEnc file: each part's data goes to its offset,
// each part is checked against its own trailer as it closes, and the whole
// against the header once the input has ended.
class YencAssembly {
public:
    YencAssembly(OutputSink& sink, DecodeOutcome& outcome) : sink_(sink), outcome_(outcome) {
        sink_.setCrcEnabled(true);
    }

    // Returns Ok to go on, anything else ends the run.
    DecodeResult keywordLine(std::string_view text);
    DecodeResult data(std::string_view text) {
        if (!inPart_) return DecodeResult::Ok;
        if (!placed_) {
            const DecodeResult r = placeInOrder();
            if (r != DecodeResult::Ok) return r;
        }
        const std::size_t n = yencDecode(text, sink_.reserve(text.size()), escape_);
        sink_.commit(n);
        dataSeen_ = dataSeen_ || n > 0;
        return sink_.failed() ? DecodeResult::WriteError : DecodeResult::Ok;
    }
    DecodeResult finish();
    bool inPart() const { return inPart_; }

private:
    DecodeResult beginPart(const YencKeywords& k);
    DecodeResult placePart(const YencKeywords& k);
    DecodeResult endPart(const YencKeywords& k);
    DecodeResult placeInOrder();
    DecodeResult checkUnclearCrcs();
    void place(qint64 offset, std::optional<qint64> size) {
        placed_ = true;
        partBegin_ = offset;
        partSize_ = size;
        sink_.seek(offset);
        sink_.resetCrc();
    }
    DecodeResult fail(DecodeResult r, const QString& detail) {
        outcome_.detail = detail;
        return r;
    }

    OutputSink& sink_;
    DecodeOutcome& outcome_;
    std::vector<PartRecord> parts_;
    std::vector<UnclearCrc> unclearCrcs_;
    std::optional<qint64> fileSize_;
    std::optional<std::int64_t> total_;
    std::optional<std::uint32_t> fileCrc_;
    bool inPart_ = false;
    bool multipart_ = false; // the part's header named a part number
    bool dataSeen_ = false;
    bool placed_ = false; // the part's offset is known and the sink is there
    bool escape_ = false;
    qint64 partBegin_ = 0;
    std::optional<qint64> partSize_; // from "=ypart", or the file size for a single part
    std::int64_t partNumber_ = 0;
    // Where a part without "=ypart" goes: behind the part before it.
    std::int64_t nextInOrder_ = 1;
    qint64 endInOrder_ = 0;
};

DecodeResult YencAssembly::keywordLine(std::string_view text) {
    const std::optional<YencKeywords> k = parseYencKeywordLine(text);
    // A '=' left open at the end of the last data line has nothing to escape.
    escape_ = false;
    if (!k) return DecodeResult::Ok;
    switch (k->kind) {
    case YencKeywords::Kind::Begin:
        return beginPart(*k);
    case YencKeywords::Kind::Part:
        return inPart_ ? placePart(*k) : DecodeResult::Ok;
    case YencKeywords::Kind::End:
        return inPart_ ? endPart(*k) : DecodeResult::Ok;
    }
    return DecodeResult::Ok;
}

DecodeResult YencAssembly::beginPart(const YencKeywords& k) {
    if (inPart_)
        return fail(DecodeResult::Incomplete,
                    QStringLiteral("part %1 has no \"=yend\" line").arg(partNumber_));
    if (k.size) {
        if (fileSize_ && *fileSize_ != *k.size)
            return fail(
                DecodeResult::SizeMismatch,
                QStringLiteral("parts give file sizes %1 and %2").arg(*fileSize_).arg(*k.size));
        // The file's size is known from its first part on: room for all of
        // it at once makes each block's write cheaper. Asked once, not again
        // with every part when the disk has no room for it.
        if (!fileSize_) sink_.preallocate(*k.size);
        fileSize_ = *k.size;
    }
    if (k.total && !total_) total_ = *k.total;
    if (outcome_.name.isEmpty()) outcome_.name = QByteArray::fromStdString(k.name);
    inPart_ = true;
    multipart_ = k.part.has_value();
    partNumber_ = k.part.value_or(1);
    dataSeen_ = false;
    placed_ = false;
    // A single part is the whole file; a part of several waits for its
    // "=ypart" line to learn where it goes.
    if (!multipart_) place(0, fileSize_);
    return sink_.failed() ? DecodeResult::WriteError : DecodeResult::Ok;
}

DecodeResult YencAssembly::placePart(const YencKeywords& k) {
    const qint64 begin = k.begin.value_or(0), end = k.end.value_or(0);
    if (dataSeen_ || begin < 1 || end < begin || (fileSize_ && end > *fileSize_))
        return fail(
            DecodeResult::SizeMismatch,
            QStringLiteral("part %1 placed at %2..%3").arg(partNumber_).arg(begin).arg(end));
    place(begin - 1, end - begin + 1);
    return sink_.failed() ? DecodeResult::WriteError : DecodeResult::Ok;
}

// Parts without "=ypart" are written one after the other in part order, as
// the download collects them; a number out of that order can't be placed.
DecodeResult YencAssembly::placeInOrder() {
    if (partNumber_ > nextInOrder_)
        return fail(DecodeResult::Incomplete, QStringLiteral("part %1 missing").arg(nextInOrder_));
    if (partNumber_ < nextInOrder_)
        return fail(DecodeResult::SizeMismatch,
                    QStringLiteral("part %1 without a place after part %2")
                        .arg(partNumber_)
                        .arg(nextInOrder_ - 1));
    place(endInOrder_, std::nullopt);
    return sink_.failed() ? DecodeResult::WriteError : DecodeResult::Ok;
}

DecodeResult YencAssembly::endPart(const YencKeywords& k) {
    inPart_ = false;
    if (!placed_) {
        const DecodeResult r = placeInOrder();
        if (r != DecodeResult::Ok) return r;
    }
    const qint64 decoded = sink_.position() - partBegin_;
    const std::uint32_t crc = sink_.crc();
    if ((k.size && *k.size != decoded) || (partSize_ && *partSize_ != decoded))
        return fail(DecodeResult::SizeMismatch, QStringLiteral("part %1 has %2 bytes, expected %3")
                                                    .arg(partNumber_)
                                                    .arg(decoded)
                                                    .arg(partSize_.value_or(k.size.value_or(0))));
    // A single part carries the file's CRC as "crc32"; in a multi-part post
    // "pcrc32" is the part's, and "crc32" beside it the whole file's, checked
    // at the end. A "crc32" alone on a part of several is decided there.
    std::optional<std::uint32_t> partCrc = k.pcrc32;
    if (!multipart_ && !partCrc) partCrc = k.crc32;
    if (partCrc && *partCrc != crc)
        return fail(DecodeResult::CrcError, QStringLiteral("part %1: CRC32 %2, expected %3")
                                                .arg(partNumber_)
                                                .arg(hex(crc), hex(*partCrc)));
    if (multipart_ && k.crc32 && k.pcrc32) {
        if (fileCrc_ && *fileCrc_ != *k.crc32)
            return fail(DecodeResult::CrcError, QStringLiteral("parts give different file CRCs"));
        fileCrc_ = k.crc32;
    } else if (multipart_ && k.crc32) {
        unclearCrcs_.push_back(UnclearCrc{partNumber_, *k.crc32, crc});
    }
    parts_.push_back(PartRecord{partBegin_, decoded, crc});
    nextInOrder_ = partNumber_ + 1;
    endInOrder_ = partBegin_ + decoded;
    return DecodeResult::Ok;
}

// A "crc32" without "pcrc32" on the parts of a post: when every part that
// gives one gives the same value (modern encoders put it on the last part,
// some on all), it is the file's CRC; when the values differ from part to
// part, each is that part's own CRC, as older encoders wrote it, and is
// checked against the part. Either way no damaged part passes.
DecodeResult YencAssembly::checkUnclearCrcs() {
    if (unclearCrcs_.empty()) return DecodeResult::Ok;
    const std::uint32_t first = unclearCrcs_.front().given;
    const bool oneValue = std::all_of(unclearCrcs_.begin(), unclearCrcs_.end(),
                                      [first](const UnclearCrc& u) { return u.given == first; });
    if (oneValue && (!fileCrc_ || *fileCrc_ == first)) {
        fileCrc_ = first;
        return DecodeResult::Ok;
    }
    for (const UnclearCrc& u : unclearCrcs_)
        if (u.given != u.partCrc)
            return fail(DecodeResult::CrcError, QStringLiteral("part %1: CRC32 %2, expected %3")
                                                    .arg(u.part)
                                                    .arg(hex(u.partCrc), hex(u.given)));
    return DecodeResult::Ok;
}

DecodeResult YencAssembly::finish() {
    if (inPart_)
        return fail(DecodeResult::Incomplete,
                    QStringLiteral("part %1 has no \"=yend\" line").arg(partNumber_));
    if (parts_.empty()) return DecodeResult::NoBinaryData;
    std::sort(parts_.begin(), parts_.end(),
              [](const PartRecord& a, const PartRecord& b) { return a.begin < b.begin; });
    // The parts must tile the file. The file's CRC follows from the parts'
    // CRCs in file order, so no byte is read twice.
    qint64 covered = 0;
    std::uint32_t crc = 0;
    std::int64_t distinct = 0;
    const PartRecord* previous = nullptr;
    for (const PartRecord& p : parts_) {
        if (previous && p.begin == previous->begin && p.size == previous->size &&
            p.crc == previous->crc)
            continue; // the same part posted twice
        if (p.begin > covered)
            return fail(DecodeResult::Incomplete,
                        QStringLiteral("bytes %1..%2 missing").arg(covered + 1).arg(p.begin));
        if (p.begin < covered)
            return fail(DecodeResult::SizeMismatch,
                        QStringLiteral("parts overlap at %1").arg(p.begin + 1));
        crc = std::uint32_t(::crc32_combine(crc, p.crc, z_off_t(p.size)));
        covered += p.size;
        ++distinct;
        previous = &p;
    }
    if (fileSize_ && covered < *fileSize_)
        return fail(DecodeResult::Incomplete,
                    QStringLiteral("bytes %1..%2 missing").arg(covered + 1).arg(*fileSize_));
    if (fileSize_ && covered > *fileSize_)
        return fail(DecodeResult::SizeMismatch,
                    QStringLiteral("%1 bytes decoded, file size %2").arg(covered).arg(*fileSize_));
    if (total_ && distinct < *total_)
        return fail(DecodeResult::Incomplete,
                    QStringLiteral("%1 of %2 parts").arg(distinct).arg(*total_));
    if (const DecodeResult r = checkUnclearCrcs(); r != DecodeResult::Ok) return r;
    if (fileCrc_ && *fileCrc_ != crc)
        return fail(DecodeResult::CrcError,
                    QStringLiteral("file CRC32 %1, expected %2").arg(hex(crc), hex(*fileCrc_)));
    return DecodeResult::Ok;
}

} // namespace

DecodeResult decodeYencStream(LineReader& reader, OutputSink& sink, const LinePiece* begin,
                              DecodeOutcome& outcome) {
    YencAssembly assembly(sink, outcome);
    if (begin) {
        const DecodeResult r = assembly.keywordLine(begin->text);
        if (r != DecodeResult::Ok) return r;
    }
    // Inside a part the data lines up to the next keyword line go to the
    // decoder as one run, line ends and all: it passes over CR and LF anyway.
    LinePiece line;
    bool skipping = begin && !begin->last; // the rest of an overlong keyword line
    for (;;) {
        if (assembly.inPart() && !skipping) {
            std::string_view run = reader.buffered(kMaxRun);
            run = run.substr(0, run.rfind('\n') + 1); // whole lines (none: npos + 1 is 0)
            run = run.substr(0, findYencKeywordLine(run));
            if (!run.empty()) {
                reader.consume(run.size());
                const DecodeResult r = assembly.data(run);
                if (r != DecodeResult::Ok) return r;
                continue;
            }
        }
        if (!reader.next(line)) break;
        if (line.first) skipping = false;
        if (skipping) continue;
        DecodeResult r;
        if (line.first && isYencKeywordLine(line.text)) {
            skipping = !line.last;
            r = assembly.keywordLine(line.text);
        } else {
            r = assembly.data(line.text);
        }
        if (r != DecodeResult::Ok) return r;
    }
    return assembly.finish();
}
