#include "orvel/text/encoding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/text/font.h"
#include "orvel/text/text_test_helpers_internal.h"

namespace orvel {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(EncodingTest, UTF8LeadBytesAndCodePoints) {
  struct Row {
    Bytes text;
    int bytes;
    int character;  // from the bounded form, over the whole text
  };
  const Row rows[] = {
      {{0x00}, 1, 0x00},
      {{0x7F}, 1, 0x7F},
      {{0xC3, 0xA9}, 2, 0xE9},
      {{0x80, 0x41}, 2, 0x01},  // a lone continuation byte leads two bytes
      {{0x9F, 0xBF}, 2, 0x7FF},
      {{0xA0, 0x80, 0x80}, 3, 0x0000},  // bit 5 set, bit 4 clear
      {{0xE2, 0x82, 0xAC}, 3, 0x20AC},
      {{0xB0, 0x80, 0x80, 0x81}, 4, 0x01},
      {{0xF0, 0x9F, 0x98, 0x80}, 4, 0x1F600},
      {{0xF7, 0xBF, 0xBF, 0xBF}, 4, 0x1FFFFF},
      {{0xB8}, 1, 0xB8},
      {{0xF8, 0x80}, 1, 0xF8},
      {{0xFF}, 1, 0xFF},
      {{0xE2}, 3, 0x2000},          // cut: the missing bytes are zero
      {{0xF0, 0x9F}, 4, 0x1F000},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.text));
    EXPECT_EQ(UTF8CodepointBytes(row.text[0]), row.bytes);
    EXPECT_EQ(UTF32Character(row.text.data(), uint32_t(row.text.size()), 0), row.character);
    if (row.text.size() >= size_t(row.bytes)) {
      EXPECT_EQ(UTF32Character(row.text.data(), 0), row.character);
    }
  }
  const unsigned char text[] = {'x', 0xC3, 0xA9};
  EXPECT_TRUE(UTF32Character(text, 1) == 0xE9 && UTF32Character(text, 3u, 1u) == 0xE9);
  // At the end, before the start, or no text at all: 0.
  EXPECT_TRUE(UTF32Character(text, 3u, 3u) == 0 && UTF32Character(text, -1) == 0);
  EXPECT_TRUE(UTF32Character(nullptr, 0) == 0 && UTF32Character(nullptr, 3u, 0u) == 0);
  EXPECT_TRUE(UTF16IsSurrogatePairStart(0xD800) && UTF16IsSurrogatePairStart(0xDBFF));
  EXPECT_FALSE(UTF16IsSurrogatePairStart(0xDC00) || UTF16IsSurrogatePairStart(0xD7FF));
}

// Each row walks a text to its end: the characters the font's map received,
// the offset after each step, and the offset where the walk stopped.
TEST(EncodingTest, IteratorsWalkTexts) {
  struct Row {
    const char* name;
    OvTextEncoding encoding;
    Bytes text;
    std::vector<unsigned int> characters;  // for kGlyphID: the glyph ids
    std::vector<uint32_t> offsets;
  };
  const Row rows[] = {
      {"utf8 mixed", kUTF8, {'A', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80},
       {0x41, 0xE9, 0x20AC, 0x1F600}, {1, 3, 6, 10}},
      {"utf8 F8..FF one byte each", kUTF8, {0xF8, 0xFF}, {0xF8, 0xFF}, {1, 2}},
      {"utf8 lone continuation", kUTF8, {0x80, 0x41, 0x9F}, {0x01, 0x7C0}, {2, 4}},
      {"utf8 lead at the end", kUTF8, {'A', 0xE2}, {0x41, 0x2000}, {1, 4}},
      {"utf8 empty", kUTF8, {}, {}, {}},
      {"utf16 pair, odd byte ignored", kUTF16, {0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x7A}, {0x41, 0xF600}, {2, 6}},
      {"utf16 cut high surrogate", kUTF16, {0x41, 0x00, 0x3D, 0xD8}, {0x41}, {2}},
      {"utf16 unchecked low unit", kUTF16, {0x3D, 0xD8, 0x41, 0x00}, {0xF441}, {4}},
      {"utf16 lone low surrogate", kUTF16, {0x00, 0xDE}, {0xDE00}, {2}},
      {"utf16 one byte", kUTF16, {0x41}, {}, {}},
      {"utf32 units, tail ignored", kUTF32, {0x00, 0xF6, 0x01, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3},
       {0x1F600, 0xFFFFFFFF}, {4, 8}},
      {"glyph ids", kGlyphID, {1, 0, 0xFF, 0xFF, 0x34, 0x12}, {1, 0xFFFF, 0x1234}, {2, 4, 6}},
      {"glyph ids odd", kGlyphID, {1, 0, 2}, {1}, {2}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    testing::FakeFontBackend backend;
    const OvFont font;
    TextIteratorState state{&font, row.text.data(), 0, uint32_t(row.text.size())};
    const TextIterator next = GetIteratorForEncoding(row.encoding);
    std::vector<unsigned short> glyphs;
    std::vector<uint32_t> offsets;
    for (unsigned short g; next(&state, &g);) glyphs.push_back(g), offsets.push_back(state.offset);
    const uint32_t end = state.offset;
    unsigned short untouched = 0xABCD;
    EXPECT_FALSE(next(&state, &untouched));
    EXPECT_EQ(untouched, 0xABCD);
    EXPECT_EQ(state.offset, end);
    EXPECT_EQ(offsets, row.offsets);
    std::vector<unsigned short> expected;
    for (unsigned int c : row.characters) expected.push_back(row.encoding == kGlyphID ? c : c + 1);
    EXPECT_EQ(glyphs, expected);
    EXPECT_EQ(backend.characters, row.encoding == kGlyphID ? std::vector<unsigned int>{} : row.characters);
  }
}

TEST(EncodingTest, IteratorTableAndRefusals) {
  const TextIterator iterators[] = {&UTF8Iterator, &UTF16Iterator, &UTF32Iterator, &GlyphIterator};
  for (uint32_t e = 0; e < kTextEncodingCount; ++e) EXPECT_EQ(GetIteratorForEncoding(OvTextEncoding(e)), iterators[e]);
  const OvFont font;
  const unsigned char text[] = {'a', 'b', 'c', 'd'};
  for (uint32_t bad : {4u, 0xFFFFFFFFu}) {
    testing::LogCapture log;
    const TextIterator next = GetIteratorForEncoding(OvTextEncoding(bad));
    EXPECT_EQ(log.lines, testing::FatalLines("Invalid text encoding"));
    TextIteratorState state{&font, text, 0, 4};
    unsigned short g = 7;
    ASSERT_NE(next, nullptr);
    EXPECT_TRUE(!next(&state, &g) && g == 7 && state.offset == 0);  // yields nothing
  }
  for (TextIterator next : iterators) {
    unsigned short g;
    TextIteratorState noText{&font, nullptr, 0, 4}, noFont{nullptr, text, 0, 4}, state{&font, text, 0, 4};
    EXPECT_FALSE(next(nullptr, &g) || next(&state, nullptr) || next(&noText, &g));
    EXPECT_EQ(state.offset, 0u);
    EXPECT_EQ(next(&noFont, &g), next == &GlyphIterator);  // only glyph ids need no font
  }
  // Without a backend each character's map is the fatal stub: glyph 0, and
  // the walk goes on.
  testing::LogCapture log;
  TextIteratorState state{&font, text, 0, 2};
  unsigned short g = 9;
  EXPECT_TRUE(UTF8Iterator(&state, &g) && g == 0 && state.offset == 1);
  EXPECT_EQ(log.lines, testing::FatalLines("OvFont::mapChar unavailable without a font implementation."));
}

}  // namespace
}  // namespace orvel
