#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Line-level decoders for uuencode and base64. They hold no state of their own
// and allocate nothing, so the streaming decoder, the tests and the fuzz
// targets call them directly.

// A uuencoded line never carries more than 63 bytes (length character '_').
constexpr std::size_t kUuMaxLineBytes = 63;

// Decodes one uuencoded data line, given without its line end. Writes at most
// kUuMaxLineBytes bytes to `out` and returns their number, or -1 when the line
// is not a well-formed data line (a character outside ' '..'`', or a length
// that does not fit the length character). Lines that are not data, such as
// article headers between the parts of a post, are told apart by this test.
int uuDecodeLine(std::string_view line, unsigned char* out);

// True for a line that opens uuencoded data: "begin", the mode digits and a
// name. The name, if wanted, is stored in `name`.
bool isUuBeginLine(std::string_view line, std::string_view* name = nullptr);

// True for the "end" line that closes uuencoded data.
bool isUuEndLine(std::string_view line);

// Bits of a base64 stream that do not yet make a whole byte, carried from one
// line to the next; `ended` is set by the padding that closes the data.
struct Base64State {
    std::uint32_t bits = 0;
    int count = 0;
    bool ended = false;
};

// Room that base64DecodeLine may need in `out` for an input of `size` chars.
constexpr std::size_t base64DecodedCapacity(std::size_t size) {
    return size / 4 * 3 + 3;
}

// Decodes one line of base64 text (trailing blanks and CR are ignored) and
// returns the number of bytes written to `out`, which needs
// base64DecodedCapacity(line.size()) bytes. Returns -1, leaving `state` as it
// was, when the line is not base64 data: blank, a character outside the
// alphabet, padding followed by data, or data after the stream has ended.
long base64DecodeLine(Base64State& state, std::string_view line, unsigned char* out);

// The bytes still held in `state` at the end of unpadded data (at most 2).
// Returns -1 when a lone character is left over, which no encoder produces.
int base64Finish(Base64State& state, unsigned char* out);
