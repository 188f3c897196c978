// Text encodings: how a byte buffer of text is read one character (or glyph
// id) at a time, and the iterators that turn each character into a 16-bit
// glyph id through a font's character map.
//
// Decoding is lenient and never allocates: a malformed sequence is never
// rejected, it always yields some character and some length.
//   - UTF-8 continuation bytes are not checked; a byte that should continue a
//     sequence is taken as a lead byte like any other.
//   - Lead bytes 0xF8 to 0xFF are one-byte characters of their own value.
//   - A UTF-16 surrogate pair yields ((u & 0x3FF) << 10) | (v & 0x3FF), not
//     offset by 0x10000, and v is not checked to be a low surrogate.
//   - A UTF-8 lead byte near the end of the text still advances the cursor by
//     its full sequence length, past `length`; the next step returns false.
//     The missing bytes are never read: they decode as zero. The cursor stops
//     at 0xFFFFFFFF rather than wrap round to the start of the text.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"

namespace orvel {

class OvFont;

// Passed by value and carried as a u32 in op records. The underlying type is
// fixed so that any 32-bit value received from elsewhere is a valid object of
// this type and can be range-checked (values 4 and above name no encoding).
enum OvTextEncoding : uint32_t {
  kUTF8 = 0,     // 1 to 4 bytes per character
  kUTF16 = 1,    // 2 or 4 bytes per character, native 16-bit units
  kUTF32 = 2,    // 4 bytes per character, native 32-bit units
  kGlyphID = 3,  // 2 bytes per glyph, native 16-bit glyph ids
};

// Number of encodings; values from this one up name none.
constexpr uint32_t kTextEncodingCount = 4;

// The cursor every iterator advances. Nothing here is owned: font and text
// must outlive the iteration.
struct ORVEL_API TextIteratorState {
  const OvFont* font;        // maps characters to glyph ids (unused for kGlyphID)
  const unsigned char* text;  // first byte of the text
  uint32_t offset;           // byte offset of the next character
  uint32_t length;           // bytes of text; nothing at or past it is read
};

// One step: writes one glyph id to *glyph, advances state->offset and returns
// true, or returns false (state untouched) when no further character fits.
// A null state, glyph or text, or a null font for a character encoding,
// returns false.
using TextIterator = bool (*)(TextIteratorState* state, unsigned short* glyph);

// Length of the UTF-8 sequence that lead begins: 1, 2, 3 or 4 by the lenient
// rules above (0xF8..0xFF: 1).
ORVEL_API int UTF8CodepointBytes(unsigned char lead);

// The code point of the UTF-8 sequence at text + offset. Reads the
// UTF8CodepointBytes(lead) bytes that the sequence claims, so the caller must
// hold them; for text of known length use the bounded form below. A null
// text or a negative offset gives 0.
ORVEL_API int UTF32Character(const unsigned char* text, int offset);

// The same code point, reading nothing at or past `length`: bytes the
// sequence claims beyond the text decode as zero. An offset at or past the
// end, or a null text, gives 0.
ORVEL_API int UTF32Character(const unsigned char* text, uint32_t length, uint32_t offset);

// True when (unit & 0xFC00) == 0xD800.
ORVEL_API bool UTF16IsSurrogatePairStart(unsigned short unit);

// Lenient UTF-8: only the lead byte has to lie inside the text.
ORVEL_API bool UTF8Iterator(TextIteratorState* state, unsigned short* glyph);
// Native 16-bit units; an odd last byte is ignored, and a high surrogate cut
// off at the end of the text ends the iteration.
ORVEL_API bool UTF16Iterator(TextIteratorState* state, unsigned short* glyph);
// Native 32-bit units, each handed to the character map unchanged.
ORVEL_API bool UTF32Iterator(TextIteratorState* state, unsigned short* glyph);
// Native 16-bit glyph ids, copied without consulting the font.
ORVEL_API bool GlyphIterator(TextIteratorState* state, unsigned short* glyph);

// The iterator for an encoding. A value of 4 or more is fatal ("Invalid text
// encoding"); as the abort handler returns, the result is then an iterator
// that yields nothing (it always returns false), never null.
ORVEL_API TextIterator GetIteratorForEncoding(OvTextEncoding encoding);

}  // namespace orvel
