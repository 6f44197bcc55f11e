#include "attachments/yenc.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

} // namespace

std::size_t yencDecode(std::string_view in, unsigned char* out, bool& escape) {
    const auto* p = reinterpret_cast<const unsigned char*>(in.data());
    const std::size_t n = in.size();
    std::size_t i = 0, o = 0;
    while (i < n) {
        if (escape) {
            const unsigned char c = p[i++];
            if (c == '\r' || c == '\n') continue;
            out[o++] = static_cast<unsigned char>(c - 64 - 42);
            escape = false;
            continue;
        }
#if defined(__SSE2__)
        // Sixteen bytes at a time up to the next '=', CR or LF. The store may
        // run past that byte; it is overwritten, and since output never
        // outruns input it stays inside the caller's in.size() bytes.
        if (n - i >= 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
            const __m128i special =
                _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')),
                             _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\r')),
                                          _mm_cmpeq_epi8(v, _mm_set1_epi8('\n'))));
            const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(special));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o),
                             _mm_sub_epi8(v, _mm_set1_epi8(42)));
            if (mask == 0) {
                i += 16;
                o += 16;
                continue;
            }
            const unsigned k = static_cast<unsigned>(__builtin_ctz(mask));
            i += k;
            o += k;
        }
#endif
        const unsigned char c = p[i++];
        if (c == '=')
            escape = true;
        else if (c != '\r' && c != '\n')
            out[o++] = static_cast<unsigned char>(c - 42);
    }
    return o;
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
