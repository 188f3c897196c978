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
using testing::Edges;
using testing::EdgesOf;
using testing::FatalLines;

// Made during static initialisation, before any test: nothing in the library
// makes a typeface of its own, so this is the process's first.
const uint32_t gFirstTypefaceId = OvTypeface::MakeNull().id;

const char kNoMeasure[] = "OvFont::measureText unavailable without a font implementation.";

TEST(TypefaceTest, IdsComeFromOneCounter) {
  EXPECT_EQ(gFirstTypefaceId, 1u);
  const unsigned int a = OvTypeface::NextID();
  EXPECT_EQ(OvTypeface(nullptr, 0, nullptr, 7, true).id, 7u);
  EXPECT_EQ(OvTypeface::NextID(), a + 1);  // an explicit id leaves the counter alone
  const unsigned char bytes[3] = {1, 2, 3};
  int context;
  const OvTypeface fresh(bytes, 3, &context, 0, true), ttf = OvTypeface::MakeFromTTF(bytes, 3),
      none = OvTypeface::MakeNull();
  EXPECT_EQ(fresh.id, a + 2);
  EXPECT_EQ(fresh.context, &context);
  EXPECT_TRUE(ttf.id == a + 3 && ttf.data == bytes && ttf.size == 3 && !ttf.context && !ttf.weightAdjustable);
  EXPECT_TRUE(none.id == a + 4 && !none.data && none.size == 0 && !none.context && !none.weightAdjustable);
}

TEST(FontTest, DefaultsAndWeight) {
  const OvTypeface adjustable(nullptr, 0, nullptr, 41, true), fixed(nullptr, 0, nullptr, 42, false);
  struct Row {
    const OvTypeface* typeface;
    unsigned short weight, stored;
    Lines log;
  };
  const Row rows[] = {
      {&adjustable, 5000, 1000, {}},
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
    EXPECT_EQ(std::vector<uint32_t>({font.getExtraField(0), font.getExtraField(1), font.getExtraField(2)}),
              std::vector<uint32_t>({1, 0, 0}));
    testing::LogCapture log;
    font.setWeight(row.weight);
    EXPECT_EQ(font.getWeight(), row.stored) << row.weight;
    EXPECT_EQ(log.lines, row.log);
  }
  OvFont font;
  for (int index : {-1, 2, 3}) font.setExtraField(index, 9);
  EXPECT_EQ(std::vector<uint32_t>({font.getExtraField(-1), font.getExtraField(2), font.getExtraField(3)}),
            std::vector<uint32_t>({0, 9, 0}));
}

// Every font operation: without a backend its fatal lines and 0; with one,
// the backend's answer, and the argument refusals before the backend is asked.
TEST(FontTest, OperationsNeedABackend) {
  const OvFont font;
  const unsigned short glyphs[2] = {3, 4};
  unsigned short out[2] = {0, 0}, one[1] = {0};
  OvRect r{9, 9, 9, 9};
  struct Row {
    const char* stub;
    std::function<float()> call;
    float withBackend;
  };
  const char* kToGlyphs = "OvFont::textToGlyphs unavailable without a font implementation.";
  const Row rows[] = {
      {kNoMeasure, [&] { return font.measureText(glyphs, 4, kGlyphID, &r); }, 7},
      {kToGlyphs, [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, out, 2)); }, 2},
      {kToGlyphs, [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, nullptr, 0)); }, 2},
      {kToGlyphs, [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, one, 1)); }, 2},  // too small
      {"OvFont::mapChar unavailable without a font implementation.", [&] { return float(font.mapChar(0x41)); },
       0x42},
      {kNoMeasure, [&] { return font.measureText(nullptr, 4, kGlyphID, &r); }, 0},
      {kToGlyphs, [&] { return float(font.textToGlyphs(nullptr, 2, kGlyphID, out, 2)); }, 0},
      {kToGlyphs, [&] { return float(font.textToGlyphs(glyphs, 4, kGlyphID, out, -1)); }, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.withBackend);
    {
      testing::LogCapture log;
      EXPECT_EQ(row.call(), 0);
      EXPECT_EQ(log.lines, FatalLines(row.stub));
      EXPECT_EQ(log.priorities, (std::vector<int>{6, 6}));
      EXPECT_EQ(log.tags, (std::vector<std::string>{"orvel", "orvel"}));
    }
    testing::FakeFontBackend backend;
    EXPECT_EQ(row.call(), row.withBackend);
  }
  EXPECT_EQ(EdgesOf(r), (Edges{0, -4, 7, 2}));
  EXPECT_EQ(std::vector<unsigned short>(out, out + 2), (std::vector<unsigned short>{3, 4}));
  EXPECT_EQ(one[0], 0);  // counted, not written
}

TEST(TextBlobTest, Bounds) {
  testing::FakeFontBackend backend;
  const OvTypeface typeface = OvTypeface::MakeNull();
  OvFont font(&typeface);
  font.setSize(30);
  const unsigned short glyphs[2] = {2, 4};
  const OvPoint positions[2] = {{10, 20}, {-5, 1}};
  OvTextBlob blob = OvTextBlob::MakeFromPosText(glyphs, 2, positions, font);
  font.setSize(1);  // the blob holds its own copy
  EXPECT_TRUE(OvTextBlobPriv::GlyphIds(blob) == glyphs && OvTextBlobPriv::NumGlyphIds(blob) == 2 &&
              !OvTextBlobPriv::IsRSXform(blob) && OvTextBlobPriv::Positions(blob) == positions &&
              OvTextBlobPriv::Font(blob).getSize() == 30 && OvTextBlobPriv::Font(blob).getTypeface() == &typeface);
  // Glyph 2 spans (0, -2, 2, 1) and glyph 4 (0, -4, 4, 2) around their positions.
  EXPECT_EQ(EdgesOf(blob.bounds()), (Edges{-5, -3, 12, 21}));
  blob.bounds();
  EXPECT_EQ(backend.measures, 2);  // computed once
  EXPECT_EQ(EdgesOf(blob.computeBounds()), (Edges{-5, -3, 12, 21}));
  EXPECT_EQ(backend.measures, 4);

  for (OvTextBlob empty : {OvTextBlob(), OvTextBlob(glyphs, 0, positions, font), OvTextBlob(nullptr, 2, positions, font),
                           OvTextBlob(glyphs, 2, static_cast<const OvPoint*>(nullptr), font)}) {
    EXPECT_EQ(OvTextBlobPriv::NumGlyphIds(empty), 0u);
    EXPECT_EQ(EdgesOf(empty.bounds()), (Edges{FLT_MAX, FLT_MAX, -FLT_MAX, -FLT_MAX}));
  }

  const OvRSXform xforms[2] = {{1, 0, 5, 6}, {1, 0, 7, 8}};
  OvTextBlob rsx = OvTextBlob::MakeFromRSXform(glyphs, 2, xforms, font);
  EXPECT_TRUE(OvTextBlobPriv::IsRSXform(rsx) && OvTextBlobPriv::RSXforms(rsx) == xforms);
  testing::LogCapture log;
  EXPECT_EQ(EdgesOf(rsx.bounds()), (Edges{0, 0, 0, 0}));
  EXPECT_EQ(log.lines, FatalLines("unimplemented bounds computation for rsxform"));
}

TEST(TextBlobTest, WithoutBackendGlyphsMeasureAsPoints) {
  const unsigned short glyphs[1] = {2};
  const OvPoint positions[1] = {{3, 4}};
  OvTextBlob blob(glyphs, 1, positions, OvFont());
  testing::LogCapture log;
  EXPECT_EQ(EdgesOf(blob.bounds()), (Edges{3, 4, 3, 4}));
  EXPECT_EQ(log.lines, FatalLines(kNoMeasure));
}

// Glyph g is g units wide, so the placement is known in closed form: each
// glyph's midpoint on the circle at its angle, the baseline along the tangent.
TEST(TextOnPathTest, PlacesGlyphsAlongTheCircle) {
  testing::FakeFontBackend backend;
  const unsigned short text[3] = {10, 20, 30};
  for (bool reversed : {false, true}) {
    SCOPED_TRACE(reversed);
    uint16_t glyphs[4];
    OvRSXform xforms[4];
    OvTextOnPath::RSXFormStorage storage{4, 9, glyphs, xforms};
    const float span =
        OvTextOnPath::PlaceOnCircle(text, sizeof text, kGlyphID, OvFont(), {50, 60, 100, 90, reversed}, &storage);
    const double dir = reversed ? -1 : 1;
    EXPECT_NEAR(span, dir * 60.0 / 100.0 * 180.0 / M_PI, 1e-4);
    ASSERT_EQ(storage.count, 3);
    double advance = 0;
    for (int i = 0; i < 3; ++i) {
      const double h = text[i] / 2.0, angle = M_PI / 2 + dir * (advance + h) / 100.0;
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
      {"bad encoding", text, 4, OvTextEncoding(4), {1, 5, glyphs, xforms}, 0, FatalLines("Invalid text encoding")},
  };
  testing::FakeFontBackend backend;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OvTextOnPath::RSXFormStorage storage = row.storage;
    testing::LogCapture log;
    EXPECT_EQ(OvTextOnPath::PlaceOnCircle(row.text, row.length, row.encoding, OvFont(), {0, 0, 10, 0, false}, &storage),
              0);
    EXPECT_EQ(storage.count, row.count);
    EXPECT_EQ(log.lines, row.log);
  }
  EXPECT_EQ(glyphs[0], 10);
  EXPECT_EQ(OvTextOnPath::PlaceOnCircle(text, 4, kGlyphID, OvFont(), {0, 0, 10, 0, false}, nullptr), 0);

  // Without a backend every glyph measures 0 wide and sits at the start angle.
  SetFontBackend(nullptr);
  uint16_t twoGlyphs[2];
  OvRSXform two[2];
  OvTextOnPath::RSXFormStorage storage{2, 0, twoGlyphs, two};
  testing::LogCapture log;
  EXPECT_EQ(OvTextOnPath::PlaceOnCircle(text, 4, kGlyphID, OvFont(), {0, 0, 10, 0, false}, &storage), 0);
  ASSERT_EQ(storage.count, 2);
  EXPECT_EQ(std::vector<float>({two[1].tx, two[1].ty, two[1].ssin}), std::vector<float>({10, 0, 1}));
  EXPECT_EQ(log.lines.size(), 4u);
}

}  // namespace
}  // namespace orvel
