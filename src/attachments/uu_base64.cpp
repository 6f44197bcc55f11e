#include "attachments/uu_base64.h"

#include <array>

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

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view trimRight(std::string_view s) {
    while (!s.empty() && isBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

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
    unsigned bad = 0;
    unsigned char* o = out;
    for (std::size_t i = length / 3; i > 0; --i, p += 4, o += 3) {
        const unsigned a = kUu[p[0]], b = kUu[p[1]], c = kUu[p[2]], d = kUu[p[3]];
        bad |= a | b | c | d;
        o[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        o[1] = static_cast<unsigned char>(b << 4 | c >> 2);
        o[2] = static_cast<unsigned char>(c << 6 | d);
    }
    const unsigned rest = length % 3;
    for (const unsigned char* q = p; q < end; ++q)
        bad |= kUu[*q];
    if (rest >= 1) {
        const unsigned a = kUu[p[0]] & 63, b = kUu[p[1]] & 63;
        o[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        if (rest == 2) o[1] = static_cast<unsigned char>(b << 4 | (kUu[p[2]] & 63) >> 2);
    }
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
