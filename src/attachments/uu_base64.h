#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Line-level decoders for uuencode and base64. They hold no state of their own
// and allocate nothing, so the streaming decoder, the tests and the fuzz
// targets call them directly.

// A uuencoded line never carries more than 63 bytes (length character '_').
constexpr std::size_t kUuMaxLineBytes = 63;
// Room uuDecodeLine needs in `out`: wide stores run a little past the bytes.
constexpr std::size_t kUuLineCapacity = kUuMaxLineBytes + 16;

// Decodes one uuencoded data line, given without its line end. Writes the
// bytes to `out`, which needs kUuLineCapacity bytes, and returns their
// number (at most kUuMaxLineBytes), or -1 when the line
// is not a well-formed data line (a character outside ' '..'`', or a length
// that does not fit the length character). Lines that are not data, such as
// article headers between the parts of a post, are told apart by this test.
int uuDecodeLine(std::string_view line, unsigned char* out);

// Decodes the full lines ('M', 60 characters, 45 bytes) at the start of
// `text`, line ends included, and returns the characters consumed: up to the
// first line that is anything else or is not whole in `text`. `out` needs
// text.size() / 4 * 3 + 16 bytes; `written` gets the bytes decoded. This is
// the bulk of any uuencoded file, taken without a call per line.
std::size_t uuDecodeFullLines(std::string_view text, unsigned char* out, std::size_t& written);

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
// Wide stores run up to 8 bytes past the decoded bytes.
constexpr std::size_t base64DecodedCapacity(std::size_t size) {
    return size / 4 * 3 + 16;
}

// Decodes one line of base64 text (trailing blanks and CR are ignored) and
// returns the number of bytes written to `out`, which needs
// base64DecodedCapacity(line.size()) bytes. Returns -1, leaving `state` as it
// was, when the line is not base64 data: blank, a character outside the
// alphabet, padding followed by data, or data after the stream has ended.
long base64DecodeLine(Base64State& state, std::string_view line, unsigned char* out);

// Decodes the lines at the start of `text` that hold exactly `lineLength`
// characters of base64 (a multiple of 4, no padding), line ends included,
// and returns the characters consumed, up to the first line that is anything
// else or is not whole in `text`. Only for data that starts at a whole quad.
// `out` needs text.size() / 4 * 3 + 16 bytes; `written` gets the bytes.
std::size_t base64DecodeLines(std::string_view text, std::size_t lineLength, unsigned char* out,
                              std::size_t& written);

// The bytes still held in `state` at the end of unpadded data (at most 2).
// Returns -1 when a lone character is left over, which no encoder produces.
int base64Finish(Base64State& state, unsigned char* out);
