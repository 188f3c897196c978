// Text encodings: how a byte buffer of text is to be read, one character (or
// glyph id) at a time.
#pragma once

#include <cstdint>

namespace orvel {

// Passed by value and carried as a u32 in op records. The underlying type is
// fixed so that any 32-bit value received from elsewhere is a valid object of
// this type and can be range-checked (values 4 and above name no encoding).
enum OvTextEncoding : uint32_t {
  kUTF8 = 0,     // 1 to 4 bytes per character
  kUTF16 = 1,    // 2 or 4 bytes per character, native 16-bit units
  kUTF32 = 2,    // 4 bytes per character, native 32-bit units
  kGlyphID = 3,  // 2 bytes per glyph, native 16-bit glyph ids
};

}  // namespace orvel
