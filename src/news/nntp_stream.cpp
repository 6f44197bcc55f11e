#include "news/nntp_stream.h"
#include "support/vector_level.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define ZANDERFELL_X86 1
#endif

namespace {

// The first q in [from, n) where p[q] is '.' and p[q - 1] is '\n', or n.
// from is at least 1. Many places a step: an article has a dot in about
// every other line and a group list several in every line, so looking at
// each dot on its own costs more than looking at every byte this way. Each
// step compares both and branches once: a branch on "a dot in these 64
// bytes" alone is taken too unpredictably (one step in five in yEnc data)
// and made the search three times slower.
using DotSearch = qsizetype (*)(const char* p, qsizetype from, qsizetype n);

qsizetype findDotAfterLfPlain(const char* p, qsizetype q, qsizetype n) {
    for (; q < n; ++q) {
        const void* d = std::memchr(p + q, '.', size_t(n - q));
        if (!d) return n;
        q = static_cast<const char*>(d) - p;
        if (p[q - 1] == '\n') return q;
    }
    return n;
}

#if ZANDERFELL_X86

__attribute__((target("sse2"))) qsizetype findDotAfterLfSse2(const char* p, qsizetype q,
                                                             qsizetype n) {
    const __m128i dot = _mm_set1_epi8('.');
    const __m128i lf = _mm_set1_epi8('\n');
    for (; q + 16 <= n; q += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + q));
        const __m128i before = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + q - 1));
        const int mask =
            _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(here, dot), _mm_cmpeq_epi8(before, lf)));
        if (mask != 0) return q + __builtin_ctz(unsigned(mask));
    }
    return findDotAfterLfPlain(p, q, n);
}

__attribute__((target("avx2"))) qsizetype findDotAfterLfAvx2(const char* p, qsizetype q,
                                                             qsizetype n) {
    const __m256i dot = _mm256_set1_epi8('.');
    const __m256i lf = _mm256_set1_epi8('\n');
    for (; q + 32 <= n; q += 32) {
        const __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + q));
        const unsigned dots = unsigned(_mm256_movemask_epi8(_mm256_cmpeq_epi8(here, dot)));
        const __m256i before = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + q - 1));
        const unsigned hits = dots & unsigned(_mm256_movemask_epi8(_mm256_cmpeq_epi8(before, lf)));
        if (hits != 0) return q + __builtin_ctz(hits);
    }
    return findDotAfterLfSse2(p, q, n);
}

__attribute__((target("avx512f,avx512bw"))) qsizetype
findDotAfterLfAvx512(const char* p, qsizetype q, qsizetype n) {
    const __m512i dot = _mm512_set1_epi8('.');
    const __m512i lf = _mm512_set1_epi8('\n');
    for (; q + 64 <= n; q += 64) {
        const __mmask64 dots = _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(p + q), dot);
        const __mmask64 hits = _mm512_mask_cmpeq_epi8_mask(dots, _mm512_loadu_si512(p + q - 1), lf);
        if (hits != 0) return q + qsizetype(__builtin_ctzll(hits));
    }
    return findDotAfterLfSse2(p, q, n);
}

const bool kHaveAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}();

const bool kHaveAvx512 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
}();

#endif

DotSearch dotSearch() {
#if ZANDERFELL_X86
    const VectorLevel level = vectorLevel();
    if (kHaveAvx512 && level >= VectorLevel::Avx512) return findDotAfterLfAvx512;
    if (kHaveAvx2 && level >= VectorLevel::Avx2) return findDotAfterLfAvx2;
    if (level >= VectorLevel::Avx2) return findDotAfterLfSse2;
#endif
    return findDotAfterLfPlain;
}

} // namespace

QByteArray sharedPart(const QByteArray& whole, qsizetype from, qsizetype n) {
    if (n <= 0) return QByteArray();
    QByteArray part = whole;
    QByteArray::DataPointer& d = part.data_ptr();
    d.ptr += from;
    d.size = n;
    return part;
}

NntpBodyDecoder::Result NntpBodyDecoder::feed(const QByteArray& block, qsizetype from) {
    Result result;
    const DotSearch findDotAfterLf = dotSearch();
    const char* const p = block.constData();
    const qsizetype n = block.size();
    qsizetype i = from;
    // The payload taken so far is block[from, firstEnd) while only one span
    // was cut off (a terminator, or one stuffed dot), which is handed on
    // without a copy; from a second span on it is gathered in out. Bytes from
    // spanStart on are not taken yet.
    qsizetype spanStart = from;
    qsizetype firstEnd = -1;
    QByteArray out;
    bool copied = false;

    auto gather = [&] {
        if (copied) return;
        // The payload is never longer than the block: room for it at once,
        // rather than a copy at every doubling.
        out.reserve(n - from + 1);
        if (firstEnd > from) out.append(p + from, firstEnd - from);
        copied = true;
    };
    // Everything before a dropped byte is taken; what follows starts a new span.
    auto cut = [&](qsizetype end) {
        if (!copied && firstEnd < 0) {
            firstEnd = end; // spanStart is still from
            return;
        }
        if (end == spanStart) return;
        gather();
        out.append(p + spanStart, end - spanStart);
    };
    auto taken = [&] { return copied ? out : sharedPart(block, from, firstEnd - from); };

    while (i < n && !result.finished) {
        switch (state_) {
        case State::LineStart:
            if (p[i] == '.') {
                cut(i);
                ++i;
                spanStart = i;
                state_ = State::Dot;
            } else {
                state_ = State::InLine;
            }
            break;
        case State::InLine: {
            if (!lfOnly_) {
                // Only a line that starts with a dot needs work, so the
                // search is for dots, not for every line end: an article's
                // lines are short, its dots few. A dot behind CR LF starts a
                // line; so does the end of the block right behind one.
                auto crlfBefore = [&](qsizetype at) { // p[at] is '\n'
                    return at > from ? p[at - 1] == '\r' : lastWasCr_;
                };
                qsizetype next = i + 1;
                while ((next = findDotAfterLf(p, next, n)) < n && !crlfBefore(next - 1))
                    ++next;
                i = next;
                if (i < n || (p[n - 1] == '\n' && crlfBefore(n - 1))) state_ = State::LineStart;
                break;
            }
            const void* nl = std::memchr(p + i, '\n', static_cast<size_t>(n - i));
            if (!nl) {
                i = n;
                break;
            }
            const qsizetype at = static_cast<const char*>(nl) - p;
            const bool afterCr = at > from ? p[at - 1] == '\r' : lastWasCr_;
            i = at + 1;
            if (afterCr) {
                state_ = State::LineStart;
            } else if (lfOnly_) {
                cut(at);
                gather();
                out.append('\r');
                spanStart = at;
                state_ = State::LineStart;
            }
            break;
        }
        case State::Dot:
            if (p[i] == '\r') {
                ++i;
                state_ = State::DotCr;
            } else if (p[i] == '\n' && lfOnly_) {
                ++i;
                result.finished = true;
            } else {
                spanStart = i; // the stuffing dot is gone; the rest of the line stays
                state_ = State::InLine;
            }
            break;
        case State::DotCr:
            if (p[i] == '\n') {
                ++i;
                result.finished = true;
            } else {
                // ".\r" followed by something else was a line "\r...": keep the CR.
                gather();
                out.append('\r');
                spanStart = i;
                state_ = State::InLine;
            }
            break;
        }
    }

    result.consumed = i - from;
    if (i > from) lastWasCr_ = p[i - 1] == '\r';
    if (result.finished) {
        state_ = State::LineStart;
        result.data = taken(); // everything before the terminator was cut already
    } else if (state_ == State::Dot || state_ == State::DotCr) {
        result.data = taken(); // the held "." or ".\r" is decided by the next block
    } else if (!copied && firstEnd < 0) {
        result.data = from == 0 ? block : sharedPart(block, from, n - from);
    } else {
        cut(n);
        result.data = taken();
    }
    return result;
}

int NntpOverviewPicker::fieldIndexOf(const QByteArray& field) {
    static const char* const names[] = {"subject",    "from",  "date", "message-id",
                                        "references", "bytes", "lines"};
    const QByteArray lower = field.toLower();
    for (int k = 0; k < 7; ++k) {
        if (lower == names[k]) return k + 1;
    }
    if (lower == ":bytes") return 6;
    if (lower == ":lines") return 7;
    return -1;
}

void NntpOverviewPicker::pickLine(const char* begin, const char* end, QByteArray& out) const {
    if (end > begin && end[-1] == '\r') --end;
    const char* tab = static_cast<const char*>(std::memchr(begin, '\t', end - begin));
    const char* numberEnd = tab ? tab : end;
    if (numberEnd == begin) return; // no article number: nothing to report
    out.append(begin, numberEnd - begin);
    out.append(' ');
    const char* field = tab;
    for (int k = 1; field && k < fieldIndex_; ++k) {
        field = static_cast<const char*>(std::memchr(field + 1, '\t', end - field - 1));
    }
    if (field) {
        const char* valueBegin = field + 1;
        const char* valueEnd =
            static_cast<const char*>(std::memchr(valueBegin, '\t', end - valueBegin));
        out.append(valueBegin, (valueEnd ? valueEnd : end) - valueBegin);
    }
    out.append("\r\n", 2);
}

QByteArray NntpOverviewPicker::feed(const QByteArray& data) {
    QByteArray out;
    out.reserve(data.size());
    const char* p = data.constData();
    const char* const end = p + data.size();
    while (p < end) {
        const char* nl = static_cast<const char*>(std::memchr(p, '\n', end - p));
        if (!nl) {
            partial_.append(p, end - p);
            break;
        }
        if (partial_.isEmpty()) {
            pickLine(p, nl, out);
        } else {
            partial_.append(p, nl - p);
            pickLine(partial_.constData(), partial_.constData() + partial_.size(), out);
            partial_.clear();
        }
        p = nl + 1;
    }
    return out;
}

QByteArray NntpOverviewPicker::finish() {
    QByteArray out;
    if (!partial_.isEmpty())
        pickLine(partial_.constData(), partial_.constData() + partial_.size(), out);
    partial_.clear();
    return out;
}
