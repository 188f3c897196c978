// Pixel-row helpers, written for wide stores. Every count <= 0 does nothing.
#pragma once

#include "orvel/core/export.h"

namespace orvel {
namespace OvOpts {

// Writes value into count consecutive 32-bit words at dst.
ORVEL_API void memset32(void* dst, unsigned int value, int count);
// Writes value into count consecutive 16-bit words at dst.
ORVEL_API void memset16(void* dst, unsigned short value, int count);
// Swaps bytes 0 and 2 of each of count words; dst may equal src (in place).
// Partly overlapping ranges are converted word by word, each word read before
// it is written.
ORVEL_API void RGBA_to_BGRA(unsigned int* dst, const unsigned int* src, int count);

}  // namespace OvOpts
}  // namespace orvel
