#include "orvel/text/freetype/freetype_backend.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/text/text_blob.h"
#include "orvel/text/text_on_path.h"
#include "orvel/text/text_test_helpers_internal.h"
#include "orvel/text/typeface_storage.h"

namespace orvel {
namespace {

using testing::Edges;
using testing::EdgesOf;

const char kFontPath[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
// DejaVu Sans (fonts-dejavu-core 2.37): 2048 units per em; 'H' advances 1540
// with ink from (201, -1493) to (1339, 0), 'i' advances 569 with ink from
// (193, -1556) to (377, 0), ' ' advances 651 with no ink.
constexpr float kUnitsPerEm = 2048;

std::vector<unsigned char> ReadFile(const char* path) {
  std::vector<unsigned char> bytes;
  if (FILE* f = std::fopen(path, "rb")) {
    unsigned char chunk[65536];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;) bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(f);
  }
  return bytes;
}

class FreeTypeBackendTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fontBytes = ReadFile(kFontPath);
    if (fontBytes.empty()) GTEST_SKIP() << kFontPath << " is missing (Debian's fonts-dejavu-core)";
    ASSERT_TRUE(backend.ok());
    SetFontBackend(&backend);
    typeface = OvTypeface::MakeFromTTF(fontBytes.data(), uint32_t(fontBytes.size()));
  }
  void TearDown() override { SetFontBackend(nullptr); }

  OvFont FontOfSize(short size) const {
    OvFont font(&typeface);
    font.setSize(size);
    return font;
  }

  std::vector<unsigned char> fontBytes;
  OvFreeTypeBackend backend;
  OvTypeface typeface = OvTypeface::MakeNull();
};

TEST_F(FreeTypeBackendTest, MeasuresAndBlobBounds) {
  const OvFont font = FontOfSize(2048);  // one unit per pixel
  OvRect r{9, 9, 9, 9};
  EXPECT_EQ(font.measureText("Hi", 2, kUTF8, &r), 1540 + 569);
  EXPECT_EQ(EdgesOf(r), (Edges{201, -1556, 1540 + 377, 0}));
  EXPECT_EQ(font.measureText(" ", 1, kUTF8, &r), 651);
  EXPECT_EQ(EdgesOf(r), (Edges{0, 0, 0, 0}));  // no ink
  EXPECT_EQ(font.measureText("", 0, kUTF8, nullptr), 0);

  unsigned short glyphs[2];
  ASSERT_EQ(font.textToGlyphs("Hi", 2, kUTF8, glyphs, 2), 2);
  for (short size : {2048, 20}) {
    SCOPED_TRACE(size);
    const float s = size / kUnitsPerEm;
    const OvPoint positions[2] = {{10, 20}, {10 + 1540 * s, 20}};
    OvTextBlob blob(glyphs, 2, positions, FontOfSize(size));
    const OvRect& b = blob.bounds();
    EXPECT_FLOAT_EQ(b.left, 10 + 201 * s);
    EXPECT_FLOAT_EQ(b.top, 20 - 1556 * s);
    EXPECT_FLOAT_EQ(b.right, 10 + 1540 * s + 377 * s);
    EXPECT_FLOAT_EQ(b.bottom, 20);
  }
}

// The same characters through each encoding's iterator and the font's real
// character map. The surrogate pair reaches the map as 0xF600, not 0x1F600.
TEST_F(FreeTypeBackendTest, IteratorsMapThroughTheCharacterMap) {
  const OvFont font = FontOfSize(16);
  const std::vector<unsigned int> characters = {'A', 0xE9, 0x20AC, 0x1F600};
  std::vector<unsigned short> expected;
  for (unsigned int c : characters) expected.push_back(font.mapChar(c));
  for (unsigned short g : expected) EXPECT_NE(g, 0);
  EXPECT_EQ(font.mapChar(0xF600), 0);

  const unsigned char utf8[] = {'A', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80};
  const uint16_t utf16[] = {'A', 0xE9, 0x20AC, 0xD83D, 0xDE00};
  const uint32_t utf32[] = {'A', 0xE9, 0x20AC, 0x1F600};
  struct Row {
    OvTextEncoding encoding;
    const void* text;
    unsigned int length;
    std::vector<unsigned short> glyphs;
  };
  const Row rows[] = {
      {kUTF8, utf8, sizeof utf8, expected},
      {kUTF16, utf16, sizeof utf16, {expected[0], expected[1], expected[2], 0}},
      {kUTF32, utf32, sizeof utf32, expected},
      {kGlyphID, expected.data(), unsigned(2 * expected.size()), expected},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    std::vector<unsigned short> glyphs(4, 0xABCD);
    EXPECT_EQ(font.textToGlyphs(row.text, row.length, row.encoding, glyphs.data(), 4), 4);
    EXPECT_EQ(glyphs, row.glyphs);
    std::vector<unsigned short> few(3, 0xABCD);
    EXPECT_EQ(font.textToGlyphs(row.text, row.length, row.encoding, few.data(), 3), 4);
    EXPECT_EQ(few, std::vector<unsigned short>(3, 0xABCD));  // too small: nothing written
  }
}

TEST_F(FreeTypeBackendTest, PlaceOnCircleGeometry) {
  const OvFont font = FontOfSize(24);
  const char text[] = "Hello, circle";
  const unsigned int length = sizeof text - 1;
  const double cx = 100, cy = 120, radius = 80;
  for (bool reversed : {false, true}) {
    SCOPED_TRACE(reversed);
    uint16_t glyphs[32];
    OvRSXform xforms[32];
    OvTextOnPath::RSXFormStorage storage{32, 0, glyphs, xforms};
    const float span =
        OvTextOnPath::PlaceOnCircle(text, length, kUTF8, font, {float(cx), float(cy), float(radius), -90, reversed},
                                    &storage);
    ASSERT_EQ(storage.count, int(length));
    const double dir = reversed ? -1 : 1;
    double advance = 0;
    for (int i = 0; i < storage.count; ++i) {
      SCOPED_TRACE(i);
      const double w = font.measureText(&glyphs[i], 2, kGlyphID, nullptr);
      const OvRSXform& x = xforms[i];
      EXPECT_EQ(glyphs[i], font.mapChar(text[i]));
      const double mx = x.tx + w / 2 * x.scos - cx, my = x.ty + w / 2 * x.ssin - cy;
      EXPECT_NEAR(std::hypot(mx, my), radius, 1e-3);              // midpoint on the circle
      EXPECT_NEAR(std::hypot(x.scos, x.ssin), 1, 1e-6);           // unscaled
      EXPECT_NEAR(x.scos * mx + x.ssin * my, 0, 1e-3);            // baseline tangent
      EXPECT_GT(dir * (x.ssin * mx - x.scos * my), 0);            // glyph tops outward unless reversed
      const double angle = -M_PI / 2 + dir * (advance + w / 2) / radius;  // centred on its angle
      EXPECT_NEAR(std::remainder(std::atan2(my, mx) - angle, 2 * M_PI), 0, 1e-4);
      advance += w;
    }
    EXPECT_GT(advance, 100);
    EXPECT_NEAR(span, dir * advance / radius * 180 / M_PI, 1e-3);
  }
}

// Bytes from the other device are read within their given length only: a
// copy of exactly that size (AddressSanitizer watches its end) of a font cut
// short, which FreeType still opens, and of junk, which it refuses.
TEST_F(FreeTypeBackendTest, HostileBytes) {
  const std::vector<unsigned char> cut(fontBytes.begin(), fontBytes.begin() + fontBytes.size() * 9 / 10);
  const OvTypeface shortFont = OvTypeface::MakeFromTTF(cut.data(), uint32_t(cut.size()));
  unsigned short glyphs[5];
  EXPECT_EQ(OvFont(&shortFont).textToGlyphs("Hello", 5, kUTF8, glyphs, 5), 5);
  EXPECT_TRUE(std::isfinite(OvFont(&shortFont).measureText("Hello", 5, kUTF8, nullptr)));

  const std::vector<unsigned char> junk(4096, 0x5A);
  const OvTypeface junkFont = OvTypeface::MakeFromTTF(junk.data(), uint32_t(junk.size()));
  const OvFont font(&junkFont);
  testing::LogCapture log;
  OvRect r{9, 9, 9, 9};
  EXPECT_EQ(font.measureText("H", 1, kUTF8, &r), 0);
  EXPECT_EQ(EdgesOf(r), (Edges{0, 0, 0, 0}));
  EXPECT_EQ(font.mapChar('H'), 0);  // logged once: the failure is kept
  EXPECT_EQ(log.lines, std::vector<std::string>{"FreeType could not read typeface (" + std::to_string(junkFont.id) + ")"});

  const OvTypeface empty = OvTypeface::MakeNull();
  for (const OvFont& none : {OvFont(), OvFont(&empty), FontOfSize(0), FontOfSize(-5)}) {
    EXPECT_EQ(none.measureText("H", 1, kUTF8, nullptr), 0);
  }
}

// The storage tells the installed backend before it frees bytes, so a kept
// face never outlives them, even when new bytes land at the same address.
TEST_F(FreeTypeBackendTest, ForgetsReleasedTypefaces) {
  OvTypefaceStorage storage;
  const uint32_t size = uint32_t(fontBytes.size());
  const OvFont real(storage.allocate(500, size, fontBytes.data()));
  EXPECT_GT(real.measureText("H", 1, kUTF8, nullptr), 0);
  storage.release(storage.find(500));
  const std::vector<unsigned char> garbage(size, 0x5A);
  testing::LogCapture log;
  const OvFont replaced(storage.allocate(500, size, garbage.data()));
  EXPECT_EQ(replaced.measureText("H", 1, kUTF8, nullptr), 0);
  EXPECT_EQ(log.lines.size(), 1u);
  storage.reset();
}

TEST(FreeTypeBackendLifetimeTest, UninstallsItself) {
  {
    OvFreeTypeBackend backend;
    SetFontBackend(&backend);
    EXPECT_EQ(GetFontBackend(), &backend);
  }
  EXPECT_EQ(GetFontBackend(), nullptr);
  OvFreeTypeBackend installed;
  SetFontBackend(&installed);
  { OvFreeTypeBackend(); }
  EXPECT_EQ(GetFontBackend(), &installed);
  SetFontBackend(nullptr);
}

}  // namespace
}  // namespace orvel
