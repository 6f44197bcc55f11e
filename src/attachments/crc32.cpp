#include "attachments/crc32.h"

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
    const __m128i k34 = _mm_set_epi64x(kR4, kR3);
    x1 = fold(x1, k34, x2);
    x1 = fold(x1, k34, x3);
    x1 = fold(x1, k34, x4);
    for (; size >= 16; size -= 16, p += 16)
        x1 = fold(x1, k34, load(p));

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

} // namespace
#endif

std::uint32_t crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t size) {
#if defined(__x86_64__) || defined(__i386__)
    if (kHavePclmul && size >= 64) {
        const std::size_t bulk = size & ~std::size_t(15);
        crc = ~foldCrc(~crc, data, bulk);
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
