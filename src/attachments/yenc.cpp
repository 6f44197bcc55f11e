#include "attachments/yenc.h"
#include "support/vector_level.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define ZANDERFELL_X86 1
#endif

#include <algorithm>
#include <array>
#include <cstring>

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::optional<std::int64_t> parseDecimal(std::string_view s) {
    // 18 digits cannot overflow a 64-bit value; longer is not a real size.
    if (s.empty() || s.size() > 18) return std::nullopt;
    std::int64_t v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return std::nullopt;
        v = v * 10 + (c - '0');
    }
    return v;
}

std::optional<std::uint32_t> parseHex(std::string_view s) {
    if (s.starts_with("0x") || s.starts_with("0X")) s.remove_prefix(2);
    if (s.empty() || s.size() > 8) return std::nullopt;
    std::uint32_t v = 0;
    for (char c : s) {
        int d;
        if (c >= '0' && c <= '9')
            d = c - '0';
        else if (c >= 'a' && c <= 'f')
            d = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            d = c - 'A' + 10;
        else
            return std::nullopt;
        v = v << 4 | std::uint32_t(d);
    }
    return v;
}

// One byte the plain way: CR and LF are passed over, '=' opens an escape,
// and the byte after it loses 64 more than the others.
inline void yencSlowStep(const unsigned char* in, std::size_t& i, unsigned char* out,
                         std::size_t& o, bool& escape) {
    const unsigned char c = in[i++];
    if (c == '\r' || c == '\n') return;
    if (escape) {
        out[o++] = static_cast<unsigned char>(c - 64 - 42);
        escape = false;
    } else if (c == '=') {
        escape = true;
    } else {
        out[o++] = static_cast<unsigned char>(c - 42);
    }
}

#if ZANDERFELL_X86

const bool kHaveAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
}();

// For each 8-bit mask of bytes to keep, the shuffle that packs them to the
// front (0x80 clears the unused rest).
constexpr auto kPack = [] {
    std::array<std::uint64_t, 256> t{};
    for (int mask = 0; mask < 256; ++mask) {
        std::uint64_t v = 0;
        int k = 0;
        for (int b = 0; b < 8; ++b)
            if (mask & (1 << b)) v |= std::uint64_t(b) << (8 * k++);
        for (; k < 8; ++k)
            v |= std::uint64_t(0x80) << (8 * k);
        t[mask] = v;
    }
    return t;
}();

#define AVX2_KERNEL __attribute__((target("avx2,popcnt"), always_inline)) inline

// Writes the bytes of `x` that `keep` selects, packed, at `out`; returns
// their number. Stores 8 bytes per half, so `out` needs 16 bytes of room.
AVX2_KERNEL unsigned packKept(__m128i x, unsigned keep, unsigned char* out) {
    const unsigned low = keep & 0xFF, high = (keep >> 8) & 0xFF;
    const __m128i shuffle =
        _mm_set_epi64x(static_cast<long long>(kPack[high] + 0x0808080808080808ull),
                       static_cast<long long>(kPack[low]));
    const __m128i packed = _mm_shuffle_epi8(x, shuffle);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), packed);
    const auto n = static_cast<unsigned>(__builtin_popcount(low));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + n), _mm_unpackhi_epi64(packed, packed));
    return n + static_cast<unsigned>(__builtin_popcount(high));
}

// Decodes the first `count` (1..32) of the 32 bytes at `in` without a branch
// on the data: '=' and CR/LF are dropped by a packing shuffle, and the byte
// after each '=' loses 64 more. Returns false, having written nothing, for a
// block with "==" or an escaped CR/LF; real encoders write neither, and the
// plain loop takes them. Writes up to 32 bytes at `out`.
AVX2_KERNEL bool decodeBlock(const unsigned char* in, unsigned count, unsigned char* out,
                             std::size_t& o, bool& escape) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const auto eq =
        static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('='))));
    const auto lineEnd = static_cast<unsigned>(
        _mm256_movemask_epi8(_mm256_or_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('\r')),
                                             _mm256_cmpeq_epi8(v, _mm256_set1_epi8('\n')))));
    const unsigned real = count == 32 ? ~0u : (1u << count) - 1;
    const unsigned escaped = (eq << 1) | unsigned(escape);
    if (escaped & (eq | lineEnd) & real) return false;
    // The escaped-bytes mask, one bit per byte, spread to one byte per byte.
    __m256i spread =
        _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int>(escaped)),
                            _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, //
                                             2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3));
    const __m256i bit = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201ull));
    spread = _mm256_cmpeq_epi8(_mm256_and_si256(spread, bit), bit);
    const __m256i bytes = _mm256_sub_epi8(_mm256_sub_epi8(v, _mm256_set1_epi8(42)),
                                          _mm256_and_si256(spread, _mm256_set1_epi8(64)));
    const unsigned keep = ~(eq | lineEnd) & real;
    o += packKept(_mm256_castsi256_si128(bytes), keep & 0xFFFF, out + o);
    o += packKept(_mm256_extracti128_si256(bytes, 1), keep >> 16, out + o);
    escape = (eq >> (count - 1)) & 1;
    return true;
}

// Whole blocks in place: output never outruns input, so the 8-byte stores
// stay inside the caller's in.size() bytes. The short tail goes through a
// padded copy.
__attribute__((target("avx2,popcnt"))) std::size_t
yencDecodeAvx2(const unsigned char* in, std::size_t n, unsigned char* out, bool& escape) {
    std::size_t i = 0, o = 0;
    while (n - i >= 32) {
        if (decodeBlock(in + i, 32, out, o, escape)) {
            i += 32;
            continue;
        }
        for (const std::size_t stop = i + 32; i < stop;)
            yencSlowStep(in, i, out, o, escape);
    }
    if (i < n) {
        unsigned char padded[32], decoded[48];
        std::memset(padded, 'a', sizeof padded);
        std::memcpy(padded, in + i, n - i);
        std::size_t produced = 0;
        if (decodeBlock(padded, unsigned(n - i), decoded, produced, escape)) {
            std::memcpy(out + o, decoded, produced);
            o += produced;
        } else {
            while (i < n)
                yencSlowStep(in, i, out, o, escape);
        }
    }
    return o;
}

// Offset of the first '\n' followed by "=y", searching from `i`, which is
// left where the wide search stopped; n when none was found.
__attribute__((target("avx2"))) std::size_t findKeywordAvx2(const char* p, std::size_t n,
                                                            std::size_t& i) {
    for (; i + 34 <= n; i += 32) {
        const __m256i newline = _mm256_cmpeq_epi8(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i)), _mm256_set1_epi8('\n'));
        const __m256i equals = _mm256_cmpeq_epi8(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i + 1)), _mm256_set1_epi8('='));
        const __m256i y = _mm256_cmpeq_epi8(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i + 2)), _mm256_set1_epi8('y'));
        const auto hits = static_cast<unsigned>(
            _mm256_movemask_epi8(_mm256_and_si256(newline, _mm256_and_si256(equals, y))));
        if (hits) return i + static_cast<unsigned>(__builtin_ctz(hits));
    }
    return n;
}

#undef AVX2_KERNEL

const bool kHaveAvx512 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("popcnt");
}();

// findKeywordAvx2 64 bytes at a time.
__attribute__((target("avx512f,avx512bw"))) std::size_t
findKeywordAvx512(const char* p, std::size_t n, std::size_t& i) {
    for (; i + 66 <= n; i += 64) {
        const __mmask64 newline =
            _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(p + i), _mm512_set1_epi8('\n'));
        const __mmask64 equals = _mm512_mask_cmpeq_epi8_mask(newline, _mm512_loadu_si512(p + i + 1),
                                                             _mm512_set1_epi8('='));
        const __mmask64 hits = _mm512_mask_cmpeq_epi8_mask(equals, _mm512_loadu_si512(p + i + 2),
                                                           _mm512_set1_epi8('y'));
        if (hits) return i + static_cast<std::size_t>(__builtin_ctzll(hits));
    }
    return n;
}

// decodeBlock's rule 64 bytes at a time, where the processor packs the kept
// bytes itself (vpcompressb). Masked loads and stores take the tail, so the output
// needs no more room than the input.
__attribute__((target("avx512f,avx512bw,avx512vbmi2,popcnt"))) std::size_t
yencDecodeAvx512(const unsigned char* in, std::size_t n, unsigned char* out, bool& escape) {
    std::size_t i = 0, o = 0;
    while (i < n) {
        const std::size_t count = std::min<std::size_t>(n - i, 64);
        const __mmask64 real = count == 64 ? ~__mmask64(0) : (__mmask64(1) << count) - 1;
        const __m512i v = _mm512_maskz_loadu_epi8(real, in + i);
        const __mmask64 eq = _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('='));
        const __mmask64 lineEnd = _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\r')) |
                                  _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\n'));
        const __mmask64 escaped = (eq << 1) | __mmask64(escape);
        // "==" or an escaped CR/LF: the plain loop, as in the 32-byte kernel.
        if (escaped & (eq | lineEnd) & real) {
            for (const std::size_t stop = i + count; i < stop;)
                yencSlowStep(in, i, out, o, escape);
            continue;
        }
        __m512i bytes = _mm512_sub_epi8(v, _mm512_set1_epi8(42));
        bytes = _mm512_mask_sub_epi8(bytes, escaped, bytes, _mm512_set1_epi8(64));
        const __mmask64 keep = ~(eq | lineEnd) & real;
        const __m512i packed = _mm512_maskz_compress_epi8(keep, bytes);
        const auto kept = static_cast<std::size_t>(__builtin_popcountll(keep));
        if (count == 64)
            _mm512_storeu_si512(out + o, packed); // o + 64 <= i + 64 <= n
        else
            _mm512_mask_storeu_epi8(out + o, (__mmask64(1) << kept) - 1, packed);
        o += kept;
        escape = (eq >> (count - 1)) & 1;
        i += count;
    }
    return o;
}

#endif

std::size_t yencDecodeScalar(const unsigned char* in, std::size_t n, unsigned char* out,
                             bool& escape) {
    std::size_t i = 0, o = 0;
    while (i < n)
        yencSlowStep(in, i, out, o, escape);
    return o;
}

} // namespace

std::size_t yencDecode(std::string_view in, unsigned char* out, bool& escape) {
    const auto* p = reinterpret_cast<const unsigned char*>(in.data());
#if ZANDERFELL_X86
    const VectorLevel level = vectorLevel();
    if (kHaveAvx512 && level >= VectorLevel::Avx512)
        return yencDecodeAvx512(p, in.size(), out, escape);
    if (kHaveAvx2 && level >= VectorLevel::Avx2) return yencDecodeAvx2(p, in.size(), out, escape);
#endif
    return yencDecodeScalar(p, in.size(), out, escape);
}

std::size_t findYencKeywordLine(std::string_view text) {
    const char* p = text.data();
    const std::size_t n = text.size();
    if (text.starts_with("=y")) return 0;
    std::size_t i = 0;
#if ZANDERFELL_X86
    if (kHaveAvx2 && vectorLevel() >= VectorLevel::Avx2) {
        const std::size_t hit = kHaveAvx512 && vectorLevel() >= VectorLevel::Avx512
                                    ? findKeywordAvx512(p, n, i)
                                    : findKeywordAvx2(p, n, i);
        if (hit < n) return hit + 1;
    }
#endif
    for (; i + 2 < n; ++i)
        if (p[i] == '\n' && p[i + 1] == '=' && p[i + 2] == 'y') return i + 1;
    return n;
}

std::optional<YencKeywords> parseYencKeywordLine(std::string_view line) {
    YencKeywords k;
    std::string_view rest;
    if (line.starts_with("=ybegin")) {
        k.kind = YencKeywords::Kind::Begin;
        rest = line.substr(7);
    } else if (line.starts_with("=ypart")) {
        k.kind = YencKeywords::Kind::Part;
        rest = line.substr(6);
    } else if (line.starts_with("=yend")) {
        k.kind = YencKeywords::Kind::End;
        rest = line.substr(5);
    } else {
        return std::nullopt;
    }
    if (!rest.empty() && !isSpace(rest.front())) return std::nullopt;

    while (true) {
        while (!rest.empty() && isSpace(rest.front()))
            rest.remove_prefix(1);
        if (rest.empty()) break;
        std::size_t keyEnd = 0;
        while (keyEnd < rest.size() && rest[keyEnd] != '=' && !isSpace(rest[keyEnd]))
            ++keyEnd;
        const std::string_view key = rest.substr(0, keyEnd);
        if (keyEnd == rest.size() || rest[keyEnd] != '=') {
            rest.remove_prefix(keyEnd);
            continue;
        }
        rest.remove_prefix(keyEnd + 1);
        if (key == "name" && k.kind == YencKeywords::Kind::Begin) {
            // The name runs to the end of the line and may hold blanks.
            while (!rest.empty() && isSpace(rest.back()))
                rest.remove_suffix(1);
            k.name = std::string(rest);
            break;
        }
        std::size_t valueEnd = 0;
        while (valueEnd < rest.size() && !isSpace(rest[valueEnd]))
            ++valueEnd;
        const std::string_view value = rest.substr(0, valueEnd);
        rest.remove_prefix(valueEnd);
        if (key == "part")
            k.part = parseDecimal(value);
        else if (key == "total")
            k.total = parseDecimal(value);
        else if (key == "line")
            k.line = parseDecimal(value);
        else if (key == "size")
            k.size = parseDecimal(value);
        else if (key == "begin")
            k.begin = parseDecimal(value);
        else if (key == "end")
            k.end = parseDecimal(value);
        else if (key == "crc32")
            k.crc32 = parseHex(value);
        else if (key == "pcrc32")
            k.pcrc32 = parseHex(value);
    }
    return k;
}
