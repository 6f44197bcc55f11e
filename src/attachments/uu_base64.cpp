#include "attachments/uu_base64.h"
#include "support/vector_level.h"

#include <algorithm>
#include <array>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define ZANDERFELL_X86 1
#endif

namespace {

constexpr std::uint8_t kUuBad = 0x80;

// Value of each uuencode character; ' ' and '`' both stand for 0.
constexpr auto kUu = [] {
    std::array<std::uint8_t, 256> t{};
    for (int c = 0; c < 256; ++c)
        t[c] = (c >= 32 && c <= 96) ? std::uint8_t((c - 32) & 63) : kUuBad;
    return t;
}();

constexpr std::uint8_t kB64Bad = 0xFF;

constexpr auto kB64 = [] {
    std::array<std::uint8_t, 256> t{};
    for (auto& v : t)
        v = kB64Bad;
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        t[static_cast<unsigned char>(alphabet[i])] = std::uint8_t(i);
    return t;
}();

// One table per position of a quad, each holding its six bits already shifted
// into place, so a quad decodes with four loads and three ORs. A character
// outside the alphabet sets bit 24, which no valid quad can reach.
constexpr std::uint32_t kQuadBad = 0x01000000;

constexpr std::array<std::uint32_t, 256> quadTable(int shift) {
    std::array<std::uint32_t, 256> t{};
    for (int c = 0; c < 256; ++c)
        t[c] = kB64[c] == kB64Bad ? kQuadBad : std::uint32_t(kB64[c]) << shift;
    return t;
}

constexpr auto kQuad0 = quadTable(18);
constexpr auto kQuad1 = quadTable(12);
constexpr auto kQuad2 = quadTable(6);
constexpr auto kQuad3 = quadTable(0);

#if ZANDERFELL_X86

const bool kHaveAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}();

bool useAvx2() {
    return kHaveAvx2 && vectorLevel() >= VectorLevel::Avx2;
}

// The kernels are inlined into the block loop below, which keeps their
// constants in registers across a line.
#define AVX2_KERNEL __attribute__((target("avx2"), always_inline)) inline

// Packs 32 six-bit values (one per byte, four per quad) into 24 bytes at
// `out`; the store writes 32, so `out` needs 8 bytes of room beyond them.
AVX2_KERNEL void pack32(__m256i sextets, unsigned char* out) {
    // a<<6|b and c<<6|d in each 16-bit half, then ab<<12|cd in each quad.
    const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
    const __m256i quads = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    // Three big-endian bytes from each quad, twelve per 128-bit lane...
    const __m256i bytes = _mm256_shuffle_epi8(
        quads, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6,
                                5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    // ...and the two lanes' twelve joined.
    const __m256i joined =
        _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), joined);
}

// 32 uuencode characters to 24 bytes; false, writing nothing, when one of
// them is outside ' '..'`'.
AVX2_KERNEL bool uuDecode32(const unsigned char* in, unsigned char* out) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    // Signed compares: bytes from 0x80 on are negative and fail the first.
    const __m256i ok = _mm256_and_si256(_mm256_cmpgt_epi8(v, _mm256_set1_epi8(31)),
                                        _mm256_cmpgt_epi8(_mm256_set1_epi8(97), v));
    if (_mm256_movemask_epi8(ok) != -1) return false;
    pack32(_mm256_and_si256(_mm256_sub_epi8(v, _mm256_set1_epi8(32)), _mm256_set1_epi8(63)), out);
    return true;
}

// 32 base64 characters to 24 bytes; false, writing nothing, when one of them
// is outside the alphabet (padding included). A byte is valid when the class
// of its low nibble shares a bit with the class of its high nibble:
//   high 2: '+' (low B), '/' (low F)     high 3: '0'..'9' (low 0..9)
//   high 4, 6: 'A'..'O', 'a'..'o' (1..F)  high 5, 7: 'P'..'Z', 'p'..'z' (0..A)
// The high nibble then gives what to add, '/' apart from '+'.
AVX2_KERNEL bool base64Decode32(const unsigned char* in, unsigned char* out) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(v, 4), nibble);
    const __m256i low = _mm256_and_si256(v, nibble);
    const __m256i highClass =
        _mm256_shuffle_epi8(_mm256_setr_epi8(0, 0, 1, 2, 4, 8, 4, 8, 0, 0, 0, 0, 0, 0, 0, 0, //
                                             0, 0, 1, 2, 4, 8, 4, 8, 0, 0, 0, 0, 0, 0, 0, 0),
                            high);
    const __m256i lowClass =
        _mm256_shuffle_epi8(_mm256_setr_epi8(0x0A, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E,
                                             0x0E, 0x0C, 0x05, 0x04, 0x04, 0x04, 0x05, //
                                             0x0A, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E, 0x0E,
                                             0x0E, 0x0C, 0x05, 0x04, 0x04, 0x04, 0x05),
                            low);
    const __m256i invalid =
        _mm256_cmpeq_epi8(_mm256_and_si256(highClass, lowClass), _mm256_setzero_si256());
    if (_mm256_movemask_epi8(invalid) != 0) return false;
    // '/' (high nibble 2) looks up entry 1: the compare gives -1 there.
    const __m256i slash = _mm256_cmpeq_epi8(v, _mm256_set1_epi8('/'));
    const __m256i shift = _mm256_shuffle_epi8(
        _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, //
                         0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0),
        _mm256_add_epi8(high, slash));
    pack32(_mm256_add_epi8(v, shift), out);
    return true;
}

// Decodes whole quads from the start of `in` (of `size` characters, a
// multiple of 4) 32 characters at a time, the last block overlapping the one
// before. Returns the characters decoded: all of them, or up to the block
// that holds something else. `out` needs 8 bytes beyond the decoded bytes.
template <bool (*decode32)(const unsigned char*, unsigned char*)>
__attribute__((target("avx2"))) std::size_t decodeBlocks(const unsigned char* in, std::size_t size,
                                                         unsigned char* out) {
    if (size < 32) return 0;
    std::size_t i = 0;
    for (; i + 32 <= size; i += 32)
        if (!decode32(in + i, out + i / 4 * 3)) return i;
    if (i < size && decode32(in + size - 32, out + (size - 32) / 4 * 3)) i = size;
    return i;
}

#undef AVX2_KERNEL

const bool kHaveAvx512 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vbmi");
}();

bool useAvx512() {
    return kHaveAvx512 && vectorLevel() >= VectorLevel::Avx512;
}

#define AVX512_TARGET "avx512f,avx512bw,avx512vbmi"
#define AVX512_KERNEL __attribute__((target(AVX512_TARGET), always_inline)) inline

// The 64-byte form of pack32: sextets to 48 bytes, stored under a mask, so
// `out` needs no room beyond them. `count` is the number of characters.
AVX512_KERNEL void pack64(__m512i sextets, unsigned count, unsigned char* out) {
    const __m512i pairs = _mm512_maddubs_epi16(sextets, _mm512_set1_epi32(0x01400140));
    const __m512i quads = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
    // Bytes 2, 1, 0 of each quad, in quad order. (The masked form: GCC 12
    // warns falsely on the plain one.)
    const __m512i bytes = _mm512_maskz_permutexvar_epi8(
        ~__mmask64(0),
        _mm512_set_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 60, 61, 62, 56, 57, 58, 52,
                        53, 54, 48, 49, 50, 44, 45, 46, 40, 41, 42, 36, 37, 38, 32, 33, 34, 28, 29,
                        30, 24, 25, 26, 20, 21, 22, 16, 17, 18, 12, 13, 14, 8, 9, 10, 4, 5, 6, 0, 1,
                        2),
        quads);
    const unsigned n = count / 4 * 3;
    _mm512_mask_storeu_epi8(out, (__mmask64(1) << n) - 1, bytes);
}

AVX512_KERNEL __mmask64 realBytes(unsigned count) {
    return count == 64 ? ~__mmask64(0) : (__mmask64(1) << count) - 1;
}

// Up to 64 uuencode characters (`count`, a multiple of 4) to bytes; false,
// writing nothing, when one of them is outside ' '..'`'.
AVX512_KERNEL bool uuDecode64(const unsigned char* in, unsigned count, unsigned char* out) {
    const __mmask64 real = realBytes(count);
    const __m512i v = _mm512_sub_epi8(_mm512_maskz_loadu_epi8(real, in), _mm512_set1_epi8(32));
    if (_mm512_cmpgt_epu8_mask(v, _mm512_set1_epi8(64)) & real) return false;
    pack64(_mm512_and_si512(v, _mm512_set1_epi8(63)), count, out);
    return true;
}

// The same for base64: one lookup in the first half of the value table
// (the ASCII codes) gives each character's value, or 0xFF for a foreign
// one; a byte from 0x80 on has the top bit set itself.
AVX512_KERNEL bool base64Decode64(const unsigned char* in, unsigned count, unsigned char* out) {
    const __mmask64 real = realBytes(count);
    const __m512i v = _mm512_maskz_loadu_epi8(real, in);
    const __m512i values = _mm512_permutex2var_epi8(_mm512_loadu_si512(kB64.data()), v,
                                                    _mm512_loadu_si512(kB64.data() + 64));
    if (_mm512_movepi8_mask(_mm512_or_si512(values, v)) & real) return false;
    pack64(values, count, out);
    return true;
}

// Whole quads from the start of `in` (`size` characters, a multiple of 4),
// 64 at a time, the last block shorter. Returns the characters decoded: all
// of them, or up to the block that holds something else.
template <bool (*decode64)(const unsigned char*, unsigned, unsigned char*)>
__attribute__((target(AVX512_TARGET))) std::size_t
decodeWideBlocks(const unsigned char* in, std::size_t size, unsigned char* out) {
    for (std::size_t i = 0; i < size; i += 64)
        if (!decode64(in + i, unsigned(std::min<std::size_t>(size - i, 64)), out + i / 4 * 3))
            return i;
    return size;
}

#undef AVX512_KERNEL
#undef AVX512_TARGET

#endif

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view trimRight(std::string_view s) {
    while (!s.empty() && isBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

// Whole quads, `size` characters (a multiple of 4): false when one of them is
// outside the alphabet. `out` needs size / 4 * 3 + 8 bytes.
bool uuDecodeQuads(const unsigned char* in, std::size_t size, unsigned char* out) {
    std::size_t i = 0;
#if ZANDERFELL_X86
    if (useAvx512())
        i = decodeWideBlocks<uuDecode64>(in, size, out);
    else if (useAvx2())
        i = decodeBlocks<uuDecode32>(in, size, out);
#endif
    unsigned bad = 0;
    for (unsigned char* o = out + i / 4 * 3; i < size; i += 4, o += 3) {
        const unsigned a = kUu[in[i]], b = kUu[in[i + 1]], c = kUu[in[i + 2]], d = kUu[in[i + 3]];
        bad |= a | b | c | d;
        o[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        o[1] = static_cast<unsigned char>(b << 4 | c >> 2);
        o[2] = static_cast<unsigned char>(c << 6 | d);
    }
    return !(bad & kUuBad);
}

bool base64DecodeQuads(const unsigned char* in, std::size_t size, unsigned char* out) {
    std::size_t i = 0;
#if ZANDERFELL_X86
    if (useAvx512())
        i = decodeWideBlocks<base64Decode64>(in, size, out);
    else if (useAvx2())
        i = decodeBlocks<base64Decode32>(in, size, out);
#endif
    for (unsigned char* o = out + i / 4 * 3; i < size; i += 4, o += 3) {
        const std::uint32_t v =
            kQuad0[in[i]] | kQuad1[in[i + 1]] | kQuad2[in[i + 2]] | kQuad3[in[i + 3]];
        if (v & kQuadBad) return false;
        o[0] = static_cast<unsigned char>(v >> 16);
        o[1] = static_cast<unsigned char>(v >> 8);
        o[2] = static_cast<unsigned char>(v);
    }
    return true;
}

// Length of the line end at `p` (LF or CR LF), 0 when there is none.
std::size_t lineEndAt(const unsigned char* p, const unsigned char* end) {
    if (p < end && *p == '\n') return 1;
    if (end - p >= 2 && p[0] == '\r' && p[1] == '\n') return 2;
    return 0;
}

// The run loop shared by both formats: lines of `first` (when not 0), then
// `chars` characters of whole quads, then a line end.
template <bool (*decodeQuads)(const unsigned char*, std::size_t, unsigned char*)>
std::size_t decodeRun(std::string_view text, unsigned char first, std::size_t chars,
                      std::size_t bytes, unsigned char* out, std::size_t& written) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* const end = begin + text.size();
    const std::size_t head = first ? 1 : 0;
    const unsigned char* p = begin;
    written = 0;
    while (std::size_t(end - p) > head + chars) {
        if (first && *p != first) break;
        const std::size_t lineEnd = lineEndAt(p + head + chars, end);
        if (!lineEnd || !decodeQuads(p + head, chars, out + written)) break;
        written += bytes;
        p += head + chars + lineEnd;
    }
    return std::size_t(p - begin);
}

#if ZANDERFELL_X86
// decodeRun with the 64-character kernels inlined: at one call per line the
// calls themselves would cost about as much as the decoding.
template <bool (*decode64)(const unsigned char*, unsigned, unsigned char*)>
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) std::size_t
decodeRunWide(std::string_view text, unsigned char first, std::size_t chars, std::size_t bytes,
              unsigned char* out, std::size_t& written) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* const end = begin + text.size();
    const std::size_t head = first ? 1 : 0;
    const unsigned char* p = begin;
    written = 0;
    while (std::size_t(end - p) > head + chars) {
        if (first && *p != first) break;
        const std::size_t lineEnd = lineEndAt(p + head + chars, end);
        if (!lineEnd) break;
        std::size_t i = 0;
        while (i < chars && decode64(p + head + i, unsigned(std::min<std::size_t>(chars - i, 64)),
                                     out + written + i / 4 * 3))
            i += 64;
        if (i < chars) break;
        written += bytes;
        p += head + chars + lineEnd;
    }
    return std::size_t(p - begin);
}
#endif

} // namespace

int uuDecodeLine(std::string_view line, unsigned char* out) {
    if (line.empty()) return -1;
    const auto* p = reinterpret_cast<const unsigned char*>(line.data());
    const std::uint8_t length = kUu[p[0]];
    if (length & kUuBad) return -1;
    const std::size_t chars = line.size() - 1;
    const std::size_t needMin = (length * 4u + 2) / 3;
    const std::size_t needFull = (length + 2u) / 3 * 4;
    // One character beyond the padded length is tolerated: some encoders end
    // each line with a checksum character.
    if (chars < needMin || chars > needFull + 1) return -1;
    ++p;
    const unsigned char* const end = p + chars;
    // Whole quads present: all of the padded length, or one group short of
    // it when the encoder left the last group unpadded.
    const std::size_t quadChars = std::min(chars, needFull) & ~std::size_t(3);
    if (!uuDecodeQuads(p, quadChars, out)) return -1;
    p += quadChars;
    unsigned char* o = out + quadChars / 4 * 3;
    // An unpadded last group: two characters for one byte, three for two.
    const std::size_t produced = std::size_t(o - out);
    if (produced < length) {
        const unsigned a = kUu[p[0]] & 63, b = kUu[p[1]] & 63;
        o[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        if (length - produced == 2)
            o[1] = static_cast<unsigned char>(b << 4 | (kUu[p[2]] & 63) >> 2);
    }
    unsigned bad = 0;
    for (; p < end; ++p)
        bad |= kUu[*p];
    return (bad & kUuBad) ? -1 : length;
}

bool isUuBeginLine(std::string_view line, std::string_view* name) {
    constexpr std::string_view prefix = "begin ";
    if (!line.starts_with(prefix)) return false;
    std::size_t i = prefix.size();
    while (i < line.size() && line[i] == ' ')
        ++i;
    const std::size_t digits = i;
    while (i < line.size() && line[i] >= '0' && line[i] <= '7')
        ++i;
    if (i == digits || i >= line.size() || line[i] != ' ') return false;
    while (i < line.size() && line[i] == ' ')
        ++i;
    const std::string_view rest = trimRight(line.substr(i));
    if (rest.empty()) return false;
    if (name) *name = rest;
    return true;
}

bool isUuEndLine(std::string_view line) {
    return trimRight(line) == "end";
}

long base64DecodeLine(Base64State& state, std::string_view line, unsigned char* out) {
    line = trimRight(line);
    if (line.empty() || state.ended) return -1;
    const auto* p = reinterpret_cast<const unsigned char*>(line.data());
    const unsigned char* const end = p + line.size();
    std::uint32_t bits = state.bits;
    int count = state.count;
    unsigned char* o = out;
    while (p < end) {
        if (count == 0) {
#if ZANDERFELL_X86
            if (useAvx2()) {
                const std::size_t quads = std::size_t(end - p) & ~std::size_t(3);
                const std::size_t done = useAvx512() ? decodeWideBlocks<base64Decode64>(p, quads, o)
                                                     : decodeBlocks<base64Decode32>(p, quads, o);
                p += done;
                o += done / 4 * 3;
            }
#endif
            while (end - p >= 4) {
                const std::uint32_t v = kQuad0[p[0]] | kQuad1[p[1]] | kQuad2[p[2]] | kQuad3[p[3]];
                if (v & kQuadBad) break;
                o[0] = static_cast<unsigned char>(v >> 16);
                o[1] = static_cast<unsigned char>(v >> 8);
                o[2] = static_cast<unsigned char>(v);
                o += 3;
                p += 4;
            }
            if (p == end) break;
        }
        const unsigned char c = *p++;
        const std::uint8_t v = kB64[c];
        if (v != kB64Bad) {
            bits = bits << 6 | v;
            if (++count == 4) {
                o[0] = static_cast<unsigned char>(bits >> 16);
                o[1] = static_cast<unsigned char>(bits >> 8);
                o[2] = static_cast<unsigned char>(bits);
                o += 3;
                bits = 0;
                count = 0;
            }
            continue;
        }
        if (c != '=' || count < 2) return -1;
        // Padding: only more padding may follow on this line.
        for (; p < end; ++p)
            if (*p != '=') return -1;
        if (count == 2) {
            *o++ = static_cast<unsigned char>(bits >> 4);
        } else {
            *o++ = static_cast<unsigned char>(bits >> 10);
            *o++ = static_cast<unsigned char>(bits >> 2);
        }
        state = Base64State{0, 0, true};
        return o - out;
    }
    state.bits = bits;
    state.count = count;
    return o - out;
}

std::size_t uuDecodeFullLines(std::string_view text, unsigned char* out, std::size_t& written) {
#if ZANDERFELL_X86
    if (useAvx512()) return decodeRunWide<uuDecode64>(text, 'M', 60, 45, out, written);
#endif
    return decodeRun<uuDecodeQuads>(text, 'M', 60, 45, out, written);
}

std::size_t base64DecodeLines(std::string_view text, std::size_t lineLength, unsigned char* out,
                              std::size_t& written) {
    if (lineLength == 0 || lineLength % 4 != 0) {
        written = 0;
        return 0;
    }
#if ZANDERFELL_X86
    if (useAvx512())
        return decodeRunWide<base64Decode64>(text, 0, lineLength, lineLength / 4 * 3, out, written);
#endif
    return decodeRun<base64DecodeQuads>(text, 0, lineLength, lineLength / 4 * 3, out, written);
}

int base64Finish(Base64State& state, unsigned char* out) {
    const Base64State s = state;
    state = Base64State{0, 0, s.ended};
    switch (s.count) {
    case 0:
        return 0;
    case 2:
        out[0] = static_cast<unsigned char>(s.bits >> 4);
        return 1;
    case 3:
        out[0] = static_cast<unsigned char>(s.bits >> 10);
        out[1] = static_cast<unsigned char>(s.bits >> 2);
        return 2;
    default:
        return -1;
    }
}
