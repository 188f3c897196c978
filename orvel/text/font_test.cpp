#include "orvel/text/font.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/text/text_blob.h"
#include "orvel/text/text_on_path.h"
#include "orvel/text/text_test_helpers_internal.h"

namespace orvel {
namespace {

using Lines = std::vector<std::string>;

const std::string kAbortLine = "ov_abort_handler(): Orvel unrecoverable error";

// Made during static initialisation, before any test: nothing in the library
// makes a typeface of its own, so this is the process's first.
const uint32_t gFirstTypefaceId = OvTypeface::MakeNull().id;

Lines Fatal(const char* reason) { return {std::string("Orvel fatal error: \"") + reason + "\"\n", kAbortLine}; }

TEST(TypefaceTest, IdsComeFromOneCounter) {
  EXPECT_EQ(gFirstTypefaceId, 1u);
  const unsigned int a = OvTypeface::NextID();
  const OvTypeface kept(nullptr, 0, nullptr, 7, true);
  EXPECT_EQ(kept.id, 7u);
  EXPECT_EQ(OvTypeface::NextID(), a + 1);  // an explicit id leaves the counter alone
  const unsigned char bytes[3] = {1, 2, 3};
  int context;
  const OvTypeface fresh(bytes, 3, &context, 0, true);
  EXPECT_EQ(fresh.id, a + 2);
  EXPECT_EQ(fresh.context, &context);
  const OvTypeface ttf = OvTypeface::MakeFromTTF(bytes, 3);
  EXPECT_EQ(ttf.id, a + 3);
  EXPECT_EQ(ttf.data, bytes);
  EXPECT_EQ(ttf.size, 3u);
  EXPECT_EQ(ttf.context, nullptr);
  EXPECT_FALSE(ttf.weightAdjustable);
  const OvTypeface none = OvTypeface::MakeNull();
  EXPECT_EQ(none.id, a + 4);
  EXPECT_EQ(none.data, nullptr);
  EXPECT_EQ(none.size, 0u);
  EXPECT_FALSE(none.weightAdjustable);
}

TEST(FontTest, DefaultsAndWeight) {
  const OvTypeface adjustable(nullptr, 0, nullptr, 41, true), fixed(nullptr, 0, nullptr, 42, false);
  struct Row {
    const OvTypeface* typeface;
    unsigned short weight;
    unsigned short stored;
    Lines log;
  };
  const Row rows[] = {
      {&adjustable, 5000, 1000, {}},
      {&adjustable, 1000, 1000, {}},
      {&adjustable, 700, 700, {}},
      {&adjustable, 0, 0, {}},
      {&fixed, 700, 1001, {"Unable to setWeight for typeface (42)\n"}},
      {nullptr, 700, 1001, {"Unable to setWeight for typeface (0)\n"}},
  };
  for (const Row& row : rows) {
    OvFont font(row.typeface);
    EXPECT_EQ(font.getTypeface(), row.typeface);
    EXPECT_EQ(font.getSize(), 12);
    EXPECT_EQ(font.getWeight(), 1001);
    EXPECT_EQ(font.getExtraField(0), 1u);
    EXPECT_EQ(font.getExtraField(1), 0u);
    EXPECT_EQ(font.getExtraField(2), 0u);
    testing::LogCapture log;
    font.setWeight(row.weight);
    EXPECT_EQ(font.getWeight(), row.stored) << row.weight;
    EXPECT_EQ(log.lines, row.log);
  }
  OvFont font;
  font.setSize(-3);
  font.setExtraField(2, 9);
  font.setExtraField(3, 9);
  font.setExtraField(-1, 9);
  EXPECT_EQ(font.getSize(), -3);
  EXPECT_EQ(font.getExtraField(2), 9u);
  EXPECT_EQ(font.getExtraField(3), 0u);
  EXPECT_EQ(font.getExtraField(-1), 0u);
}

// Every font operation: without a backend its fatal lines and 0; with one,
// the backend's answer, and the argument refusals before the backend is asked.
TEST(FontTest, OperationsNeedABackend) {
  const OvFont font;
  const unsigned short glyphs[2] = {3, 4};
  unsigned short out[2] = {0, 0};
  OvRect r{9, 9, 9, 9};
  struct Row {
    const char* stub;  // the fatal reason without a backend; null: refused before
    std::function<float()> call;
    float withBackend;
  };
  const Row rows[] = {
      {"OvFont::measureText unavailable without a font implementation.",
       [&] { return font.measureText(glyphs, 4, kGlyphID, &r); }, 7},
      {"OvFont::textToGlyphs unavailable without a font implementation.",
       [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, out, 2)); }, 2},
      {"OvFont::textToGlyphs unavailable without a font implementation.",
       [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, nullptr, 0)); }, 2},
      {"OvFont::mapChar unavailable without a font implementation.", [&] { return float(font.mapChar(0x41)); },
       0x42},
      {"OvFont::measureText unavailable without a font implementation.",
       [&] { return font.measureText(nullptr, 4, kGlyphID, &r); }, 0},
      {"OvFont::textToGlyphs unavailable without a font implementation.",
       [&] { return float(font.textToGlyphs(nullptr, 2, kGlyphID, out, 2)); }, 0},
      {"OvFont::textToGlyphs unavailable without a font implementation.",
       [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, out, -1)); }, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.withBackend);
    {
      testing::LogCapture log;
      EXPECT_EQ(row.call(), 0);
      EXPECT_EQ(log.lines, Fatal(row.stub));
      EXPECT_EQ(log.priorities, (std::vector<int>{6, 6}));
      EXPECT_EQ(log.tags, (std::vector<std::string>{"orvel", "orvel"}));
    }
    testing::FakeFontBackend backend;
    testing::LogCapture log;
    EXPECT_EQ(row.call(), row.withBackend);
    EXPECT_TRUE(log.lines.empty());
  }
  EXPECT_EQ(r.left, 0);
  EXPECT_EQ(r.top, -4);
  EXPECT_EQ(r.right, 7);
  EXPECT_EQ(r.bottom, 2);
  EXPECT_EQ(out[0], 3);
  EXPECT_EQ(out[1], 4);
  testing::FakeFontBackend backend;
  unsigned short one[1] = {0};
  EXPECT_EQ(font.textToGlyphs(glyphs, 4, kGlyphID, one, 1), 2);  // too small: counted, not written
  EXPECT_EQ(one[0], 0);
}

TEST(TextBlobTest, PositionBoundsAndAccessors) {
  testing::FakeFontBackend backend;
  const OvTypeface typeface = OvTypeface::MakeNull();
  OvFont font(&typeface);
  font.setSize(30);
  const unsigned short glyphs[2] = {2, 4};
  const OvPoint positions[2] = {{10, 20}, {-5, 1}};
  OvTextBlob blob = OvTextBlob::MakeFromPosText(glyphs, 2, positions, font);
  font.setSize(1);  // the blob holds its own copy
  EXPECT_EQ(OvTextBlobPriv::GlyphIds(blob), glyphs);
  EXPECT_EQ(OvTextBlobPriv::NumGlyphIds(blob), 2u);
  EXPECT_FALSE(OvTextBlobPriv::IsRSXform(blob));
  EXPECT_EQ(OvTextBlobPriv::Positions(blob), positions);
  EXPECT_EQ(OvTextBlobPriv::Font(blob).getSize(), 30);
  EXPECT_EQ(OvTextBlobPriv::Font(blob).getTypeface(), &typeface);
  // Glyph 2 spans (0, -2, 2, 1) and glyph 4 (0, -4, 4, 2) around their positions.
  const OvRect& r = blob.bounds();
  EXPECT_EQ(r.left, -5);
  EXPECT_EQ(r.top, -3);
  EXPECT_EQ(r.right, 12);
  EXPECT_EQ(r.bottom, 21);
  EXPECT_EQ(backend.measures, 2);
  blob.bounds();
  EXPECT_EQ(backend.measures, 2);  // cached
  EXPECT_EQ(blob.computeBounds().right, 12);
  EXPECT_EQ(backend.measures, 4);

  for (OvTextBlob empty : {OvTextBlob(), OvTextBlob(glyphs, 0, positions, font), OvTextBlob(nullptr, 2, positions, font),
                           OvTextBlob(glyphs, 2, static_cast<const OvPoint*>(nullptr), font)}) {
    EXPECT_EQ(OvTextBlobPriv::NumGlyphIds(empty), 0u);
    const OvRect& e = empty.bounds();
    EXPECT_EQ(e.left, FLT_MAX);
    EXPECT_EQ(e.top, FLT_MAX);
    EXPECT_EQ(e.right, -FLT_MAX);
    EXPECT_EQ(e.bottom, -FLT_MAX);
  }
}

TEST(TextBlobTest, BoundsWithoutBackendAndOfTransforms) {
  const OvFont font;
  const unsigned short glyphs[1] = {2};
  const OvPoint positions[1] = {{3, 4}};
  {
    testing::LogCapture log;
    OvTextBlob blob(glyphs, 1, positions, font);
    const OvRect& r = blob.bounds();  // each glyph measures as the zero rectangle
    EXPECT_EQ(r.left, 3);
    EXPECT_EQ(r.top, 4);
    EXPECT_EQ(r.right, 3);
    EXPECT_EQ(r.bottom, 4);
    EXPECT_EQ(log.lines, Fatal("OvFont::measureText unavailable without a font implementation."));
  }
  testing::FakeFontBackend backend;
  const OvRSXform xforms[1] = {{1, 0, 5, 6}};
  OvTextBlob blob = OvTextBlob::MakeFromRSXform(glyphs, 1, xforms, font);
  EXPECT_TRUE(OvTextBlobPriv::IsRSXform(blob));
  EXPECT_EQ(OvTextBlobPriv::RSXforms(blob), xforms);
  testing::LogCapture log;
  const OvRect& r = blob.bounds();
  EXPECT_EQ(log.lines, Fatal("unimplemented bounds computation for rsxform"));
  EXPECT_EQ(r.left, 0);
  EXPECT_EQ(r.top, 0);
  EXPECT_EQ(r.right, 0);
  EXPECT_EQ(r.bottom, 0);
  EXPECT_EQ(backend.measures, 0);
}

// Glyph g is g units wide, so the placement is known in closed form: each
// glyph's midpoint on the circle at its angle, the baseline along the tangent.
TEST(TextOnPathTest, PlacesGlyphsAlongTheCircle) {
  testing::FakeFontBackend backend;
  const OvFont font;
  const unsigned short text[3] = {10, 20, 30};
  for (bool reversed : {false, true}) {
    SCOPED_TRACE(reversed);
    const OvTextOnPath::OnCircleParams params{50, 60, 100, 90, reversed};
    uint16_t glyphs[4];
    OvRSXform xforms[4];
    OvTextOnPath::RSXFormStorage storage{4, 9, glyphs, xforms};
    const float span = OvTextOnPath::PlaceOnCircle(text, sizeof text, kGlyphID, font, params, &storage);
    const double dir = reversed ? -1 : 1;
    EXPECT_NEAR(span, dir * 60.0 / 100.0 * 180.0 / M_PI, 1e-4);
    ASSERT_EQ(storage.count, 3);
    double advance = 0;
    for (int i = 0; i < 3; ++i) {
      const double h = text[i] / 2.0;
      const double angle = M_PI / 2 + dir * (advance + h) / 100.0;
      const OvRSXform& x = xforms[i];
      EXPECT_EQ(glyphs[i], text[i]);
      EXPECT_NEAR(x.scos, -std::sin(angle) * dir, 1e-6);
      EXPECT_NEAR(x.ssin, std::cos(angle) * dir, 1e-6);
      EXPECT_NEAR(x.tx + h * x.scos, 50 + 100 * std::cos(angle), 1e-4);
      EXPECT_NEAR(x.ty + h * x.ssin, 60 + 100 * std::sin(angle), 1e-4);
      advance += text[i];
    }
  }
}

TEST(TextOnPathTest, FailuresReturnZero) {
  const unsigned short text[2] = {10, 20};
  const OvTextOnPath::OnCircleParams params{0, 0, 10, 0, false};
  uint16_t glyphs[1];
  OvRSXform xforms[1];
  const char* exhausted = "Could not store positioned glyph; storage exhausted";
  struct Row {
    const char* name;
    const void* text;
    unsigned int length;
    OvTextEncoding encoding;
    OvTextOnPath::RSXFormStorage storage;
    int count;
    Lines log;
  };
  const Row rows[] = {
      {"capacity 0", text, 4, kGlyphID, {0, 5, nullptr, nullptr}, 0, {exhausted}},
      {"negative capacity", text, 4, kGlyphID, {-1, 5, nullptr, nullptr}, 0, {exhausted}},
      {"capacity 1 keeps the first", text, 4, kGlyphID, {1, 5, glyphs, xforms}, 1, {exhausted}},
      {"empty text", text, 0, kGlyphID, {1, 5, glyphs, xforms}, 0, {}},
      {"odd byte only", text, 1, kGlyphID, {1, 5, glyphs, xforms}, 0, {}},
      {"null text", nullptr, 4, kGlyphID, {1, 5, glyphs, xforms}, 5, {}},
      {"null arrays", text, 4, kGlyphID, {1, 5, nullptr, xforms}, 5, {}},
      {"bad encoding", text, 4, OvTextEncoding(4), {1, 5, glyphs, xforms}, 0, Fatal("Invalid text encoding")},
  };
  testing::FakeFontBackend backend;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OvTextOnPath::RSXFormStorage storage = row.storage;
    testing::LogCapture log;
    EXPECT_EQ(OvTextOnPath::PlaceOnCircle(row.text, row.length, row.encoding, OvFont(), params, &storage), 0);
    EXPECT_EQ(storage.count, row.count);
    EXPECT_EQ(log.lines, row.log);
  }
  EXPECT_EQ(glyphs[0], 10);
  EXPECT_EQ(OvTextOnPath::PlaceOnCircle(text, 4, kGlyphID, OvFont(), params, nullptr), 0);
}

TEST(TextOnPathTest, WithoutBackendEveryGlyphSitsAtTheStart) {
  const unsigned short text[2] = {10, 20};
  uint16_t glyphs[2];
  OvRSXform xforms[2];
  OvTextOnPath::RSXFormStorage storage{2, 0, glyphs, xforms};
  testing::LogCapture log;
  EXPECT_EQ(OvTextOnPath::PlaceOnCircle(text, 4, kGlyphID, OvFont(), {0, 0, 10, 0, false}, &storage), 0);
  ASSERT_EQ(storage.count, 2);
  EXPECT_EQ(xforms[1].tx, 10);  // angle 0: (r, 0), baseline straight down
  EXPECT_EQ(xforms[1].ty, 0);
  EXPECT_EQ(xforms[1].ssin, 1);
  const Lines once = Fatal("OvFont::measureText unavailable without a font implementation.");
  Lines expected = once;
  expected.insert(expected.end(), once.begin(), once.end());
  EXPECT_EQ(log.lines, expected);
}

}  // namespace
}  // namespace orvel
