#include "attachments/crc32.h"
#include "support/vector_level.h"

#include <zlib.h>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>

namespace {

const bool kHavePclmul = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}();

// Folding constants for the bit-reflected polynomial 0x04C11DB7: each is
// x^k mod P, reflected and shifted left by one, for k = 4*128+32, 4*128-32
// (64-byte steps), 128+32, 128-32 (16-byte steps) and 64; then floor(x^64/P)
// and P for the final Barrett reduction.
constexpr long long kR1 = 0x154442bd4LL, kR2 = 0x1c6e41596LL;
constexpr long long kR3 = 0x1751997d0LL, kR4 = 0x0ccaa009eLL;
constexpr long long kR5 = 0x163cd6124LL;
constexpr long long kMu = 0x1f7011641LL, kPoly = 0x1db710641LL;

__attribute__((target("pclmul,sse4.1"))) inline __m128i fold(__m128i x, __m128i k, __m128i next) {
    return _mm_xor_si128(
        _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
}

// The four lanes of a 64-byte step joined, the 16-byte blocks after them
// folded in, and the result reduced to the CRC register.
__attribute__((target("pclmul,sse4.1"), always_inline)) inline std::uint32_t
finishFold(__m128i x1, __m128i x2, __m128i x3, __m128i x4, const unsigned char* p,
           std::size_t size) {
    const __m128i k34 = _mm_set_epi64x(kR4, kR3);
    x1 = fold(x1, k34, x2);
    x1 = fold(x1, k34, x3);
    x1 = fold(x1, k34, x4);
    for (; size >= 16; size -= 16, p += 16)
        x1 = fold(x1, k34, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));

    // 128 bits to 64, appending the 32 zero bits a CRC implies.
    const __m128i mask32 = _mm_set_epi32(0, 0, 0, -1);
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(k34, x1, 0x01), _mm_srli_si128(x1, 8));
    x1 =
        _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, mask32), _mm_set_epi64x(0, kR5), 0x00),
                      _mm_srli_si128(x1, 4));
    // Barrett reduction, 64 bits to 32.
    const __m128i up = _mm_set_epi64x(kMu, kPoly);
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), up, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, mask32), up, 0x00);
    return std::uint32_t(_mm_extract_epi32(_mm_xor_si128(t, x1), 1));
}

// The CRC register (not inverted) after `size` bytes, a multiple of 16 and at
// least 64: four lanes folded 64 bytes at a time, then joined and reduced.
__attribute__((target("pclmul,sse4.1"))) std::uint32_t
foldCrc(std::uint32_t crc, const unsigned char* p, std::size_t size) {
    auto load = [](const unsigned char* q) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
    };
    __m128i x1 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(int(crc)));
    __m128i x2 = load(p + 16), x3 = load(p + 32), x4 = load(p + 48);
    p += 64;
    size -= 64;
    const __m128i k12 = _mm_set_epi64x(kR2, kR1);
    for (; size >= 64; size -= 64, p += 64) {
        x1 = fold(x1, k12, load(p));
        x2 = fold(x2, k12, load(p + 16));
        x3 = fold(x3, k12, load(p + 32));
        x4 = fold(x4, k12, load(p + 48));
    }
    return finishFold(x1, x2, x3, x4, p, size);
}

#define WIDE_TARGET "avx512f,vpclmulqdq,pclmul,sse4.1"

const bool kHaveWideClmul = [] {
    __builtin_cpu_init();
    return kHavePclmul && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("vpclmulqdq");
}();

// The same fold on 512-bit registers, four 128-bit lanes each: 256 bytes a
// step in four registers (x^k for 2048 bits on), joined into one by the
// 64-byte step, whose lanes then go through the 128-bit ending.
constexpr long long kR2048Low = 0x11542778aLL, kR2048High = 0x1322d1430LL;

__attribute__((target(WIDE_TARGET), always_inline)) inline __m512i wideFold(__m512i x, __m512i k,
                                                                            __m512i next) {
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, k, 0x00),
                                     _mm512_clmulepi64_epi128(x, k, 0x11), next, 0x96);
}

// `size` a multiple of 16 and at least 256.
__attribute__((target(WIDE_TARGET))) std::uint32_t
foldCrcWide(std::uint32_t crc, const unsigned char* p, std::size_t size) {
    __m512i z0 =
        _mm512_xor_si512(_mm512_loadu_si512(p),
                         _mm512_setr_epi32(int(crc), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    __m512i z1 = _mm512_loadu_si512(p + 64), z2 = _mm512_loadu_si512(p + 128),
            z3 = _mm512_loadu_si512(p + 192);
    p += 256;
    size -= 256;
    // Set lane by lane: GCC 12 warns falsely on the broadcast and extract
    // intrinsics.
    const __m512i k2048 = _mm512_set_epi64(kR2048High, kR2048Low, kR2048High, kR2048Low, kR2048High,
                                           kR2048Low, kR2048High, kR2048Low);
    for (; size >= 256; size -= 256, p += 256) {
        z0 = wideFold(z0, k2048, _mm512_loadu_si512(p));
        z1 = wideFold(z1, k2048, _mm512_loadu_si512(p + 64));
        z2 = wideFold(z2, k2048, _mm512_loadu_si512(p + 128));
        z3 = wideFold(z3, k2048, _mm512_loadu_si512(p + 192));
    }
    const __m512i k512 = _mm512_set_epi64(kR2, kR1, kR2, kR1, kR2, kR1, kR2, kR1);
    z0 = wideFold(z0, k512, z1);
    z0 = wideFold(z0, k512, z2);
    z0 = wideFold(z0, k512, z3);
    for (; size >= 64; size -= 64, p += 64)
        z0 = wideFold(z0, k512, _mm512_loadu_si512(p));
    alignas(64) __m128i lanes[4];
    _mm512_store_si512(lanes, z0);
    return finishFold(lanes[0], lanes[1], lanes[2], lanes[3], p, size);
}

#undef WIDE_TARGET

} // namespace
#endif

std::uint32_t crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t size) {
#if defined(__x86_64__) || defined(__i386__)
    if (kHavePclmul && size >= 64 && vectorLevel() >= VectorLevel::Avx2) {
        const std::size_t bulk = size & ~std::size_t(15);
        const bool wide = kHaveWideClmul && bulk >= 256 && vectorLevel() >= VectorLevel::Avx512;
        crc = ~(wide ? foldCrcWide(~crc, data, bulk) : foldCrc(~crc, data, bulk));
        data += bulk;
        size -= bulk;
    }
#endif
    // zlib takes an unsigned int length; the decoder's blocks are far smaller.
    while (size > 0) {
        const auto n = static_cast<uInt>(size > (1u << 30) ? (1u << 30) : size);
        crc = std::uint32_t(::crc32(crc, data, n));
        data += n;
        size -= n;
    }
    return crc;
}
