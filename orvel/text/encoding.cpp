#include "orvel/text/encoding.h"

#include <cstring>

#include "orvel/core/log.h"
#include "orvel/text/font.h"

namespace orvel {
namespace {

constexpr uint32_t kUTF16UnitBytes = 2;
constexpr uint32_t kUTF32UnitBytes = 4;
constexpr uint32_t kGlyphIdBytes = 2;
constexpr int kUTF8MaxSequence = 4;

// Whether `bytes` more bytes lie inside the text at the cursor, written so
// that it cannot overflow.
bool Fits(const TextIteratorState& s, uint32_t bytes) { return bytes <= s.length && s.offset <= s.length - bytes; }

bool Usable(const TextIteratorState* state, const unsigned short* glyph, bool needsFont) {
  return state && glyph && state->text && (state->font || !needsFont);
}

template <class Unit>
Unit ReadUnit(const unsigned char* at) {
  Unit unit;
  std::memcpy(&unit, at, sizeof unit);
  return unit;
}

// The code point of a sequence of `bytes` bytes (as UTF8CodepointBytes gives
// for b[0]) held in b.
uint32_t Decode(const unsigned char b[kUTF8MaxSequence], int bytes) {
  switch (bytes) {
    case 2:
      return (b[0] & 0x1Fu) << 6 | (b[1] & 0x3Fu);
    case 3:
      return (b[0] & 0x0Fu) << 12 | (b[1] & 0x3Fu) << 6 | (b[2] & 0x3Fu);
    case 4:
      // The lead keeps four bits here, as the character map has always seen it.
      return (b[0] & 0x0Fu) << 18 | (b[1] & 0x3Fu) << 12 | (b[2] & 0x3Fu) << 6 | (b[3] & 0x3Fu);
    default:
      return b[0];
  }
}

// Decodes the sequence at text, of which `available` bytes exist; the bytes
// it claims beyond them are taken as zero, never read. Writes its length.
uint32_t DecodeAt(const unsigned char* text, uint32_t available, int* bytes) {
  unsigned char b[kUTF8MaxSequence] = {};
  *bytes = UTF8CodepointBytes(text[0]);
  std::memcpy(b, text, available < uint32_t(*bytes) ? available : uint32_t(*bytes));
  return Decode(b, *bytes);
}

bool MapCharacter(TextIteratorState* state, uint32_t character, uint32_t bytes, unsigned short* glyph) {
  // The cursor may pass `length` (a cut UTF-8 sequence) but never wraps round
  // to the start of the text.
  state->offset = state->offset > UINT32_MAX - bytes ? UINT32_MAX : state->offset + bytes;
  *glyph = state->font->mapChar(character);
  return true;
}

bool NoText(TextIteratorState*, unsigned short*) { return false; }

}  // namespace

int UTF8CodepointBytes(unsigned char lead) {
  if (!(lead & 0x80)) return 1;
  if (!(lead & 0x20)) return 2;
  if (!(lead & 0x10)) return 3;
  if (!(lead & 0x08)) return 4;
  return 1;
}

int UTF32Character(const unsigned char* text, int offset) {
  if (!text || offset < 0) return 0;
  int bytes;  // the caller holds every byte the sequence claims
  return int(DecodeAt(text + offset, kUTF8MaxSequence, &bytes));
}

int UTF32Character(const unsigned char* text, uint32_t length, uint32_t offset) {
  if (!text || offset >= length) return 0;
  int bytes;
  return int(DecodeAt(text + offset, length - offset, &bytes));
}

bool UTF16IsSurrogatePairStart(unsigned short unit) { return (unit & 0xFC00) == 0xD800; }

bool UTF8Iterator(TextIteratorState* state, unsigned short* glyph) {
  if (!Usable(state, glyph, true) || state->offset >= state->length) return false;
  int bytes;
  const uint32_t character = DecodeAt(state->text + state->offset, state->length - state->offset, &bytes);
  return MapCharacter(state, character, uint32_t(bytes), glyph);
}

bool UTF16Iterator(TextIteratorState* state, unsigned short* glyph) {
  if (!Usable(state, glyph, true) || !Fits(*state, kUTF16UnitBytes)) return false;
  const unsigned char* at = state->text + state->offset;
  const uint16_t u = ReadUnit<uint16_t>(at);
  if (!UTF16IsSurrogatePairStart(u)) return MapCharacter(state, u, kUTF16UnitBytes, glyph);
  if (!Fits(*state, 2 * kUTF16UnitBytes)) return false;
  const uint16_t v = ReadUnit<uint16_t>(at + kUTF16UnitBytes);
  // Deliberately not offset by 0x10000: the character map receives this value.
  return MapCharacter(state, uint32_t(u & 0x3FF) << 10 | (v & 0x3FF), 2 * kUTF16UnitBytes, glyph);
}

bool UTF32Iterator(TextIteratorState* state, unsigned short* glyph) {
  if (!Usable(state, glyph, true) || !Fits(*state, kUTF32UnitBytes)) return false;
  return MapCharacter(state, ReadUnit<uint32_t>(state->text + state->offset), kUTF32UnitBytes, glyph);
}

bool GlyphIterator(TextIteratorState* state, unsigned short* glyph) {
  if (!Usable(state, glyph, false) || !Fits(*state, kGlyphIdBytes)) return false;
  *glyph = ReadUnit<uint16_t>(state->text + state->offset);
  state->offset += kGlyphIdBytes;
  return true;
}

TextIterator GetIteratorForEncoding(OvTextEncoding encoding) {
  static constexpr TextIterator kIterators[kTextEncodingCount] = {UTF8Iterator, UTF16Iterator, UTF32Iterator,
                                                                  GlyphIterator};
  if (uint32_t(encoding) >= kTextEncodingCount) {
    FatalError("Invalid text encoding");
    return NoText;
  }
  return kIterators[encoding];
}

}  // namespace orvel
