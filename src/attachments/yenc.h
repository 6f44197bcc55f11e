#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Line-level pieces of yEnc: the data decoder and the reader of the
// "=ybegin", "=ypart" and "=yend" lines. No state of their own, no allocation
// in the data path; the streaming decoder, the tests and the fuzz targets call
// them directly.

// Decodes yEnc data, one line or any piece of one, and returns the number of
// bytes written to `out`, which needs room for in.size() bytes. CR and LF are
// not data and are passed over. '=' escapes the byte after it; a '=' at the
// very end leaves `escape` set so that the next call decodes the escaped byte,
// even across a line end (some encoders wrap between the two).
std::size_t yencDecode(std::string_view in, unsigned char* out, bool& escape);

// Offset of the first line of `text` that opens with "=y", `text` starting at
// a line start; text.size() when there is none. Lets the decoder take the data
// lines between two keyword lines as one run.
std::size_t findYencKeywordLine(std::string_view text);

struct YencKeywords {
    enum class Kind { Begin, Part, End };
    Kind kind = Kind::Begin;
    std::optional<std::int64_t> part, total, line, size, begin, end;
    std::optional<std::uint32_t> crc32, pcrc32;
    std::string name; // "=ybegin" only: the rest of the line after "name="
};

// True for a line that opens with "=y", which no data line can do: yEnc never
// escapes 'y'.
inline bool isYencKeywordLine(std::string_view line) {
    return line.starts_with("=y");
}

// Reads a "=ybegin", "=ypart" or "=yend" line. Parameters that are missing or
// malformed (a number that overflows, a CRC of more than eight hex digits) are
// left empty; other "=y" lines give nothing.
std::optional<YencKeywords> parseYencKeywordLine(std::string_view line);
