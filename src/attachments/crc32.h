#pragma once

#include <cstddef>
#include <cstdint>

// CRC32 as zip, zlib and yEnc compute it, continued from `crc` (0 to start).
// Folds with carry-less multiplication where the processor has it, several
// times faster than zlib's table code on the large blocks the decoder checks.
std::uint32_t crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t size);
