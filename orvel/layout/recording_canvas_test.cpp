#include "orvel/layout/recording_canvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/layout/layout.h"
#include "orvel/layout/records.h"

namespace orvel {
namespace {

uint32_t Bits(float f) {
  uint32_t x;
  std::memcpy(&x, &f, 4);
  return x;
}

// Little-endian byte strings built field by field.
struct Bytes {
  std::vector<uint8_t> v;
  Bytes& u32(std::initializer_list<uint32_t> words) {
    for (uint32_t x : words) v.insert(v.end(), {uint8_t(x), uint8_t(x >> 8), uint8_t(x >> 16), uint8_t(x >> 24)});
    return *this;
  }
  Bytes& f32(std::initializer_list<float> floats) {
    for (float f : floats) u32({Bits(f)});
    return *this;
  }
  Bytes& str(const char* s, size_t padded) {
    v.insert(v.end(), s, s + std::strlen(s));
    v.resize(v.size() + padded - std::strlen(s));
    return *this;
  }
  // The paint blocks of a default paint and of the stroke paint the tests use.
  Bytes& fill() { return u32({0xFF000000}).f32({1, 4}).u32({64}); }
  Bytes& stroke() { return u32({0x80112233}).f32({2.5f, 3}).u32({0x5A}); }
};

std::vector<uint8_t> Stream(const OvOpList& list) {
  std::vector<uint8_t> out(list.totalUsedSize());
  OvSerializeIt it;
  if (!out.empty()) list.serialize(out.data(), unsigned(out.size()), &it);
  return out;
}

using Canvas = OvRecordingCanvas;

struct Recorder {
  OvLayout layout;
  OvHeapBitmapStorage bitmaps;
  Canvas canvas{&layout.drawList(), &layout.resourceList(), &bitmaps};
};

TEST(RecordingCanvasTest, RecordBytes) {
  const OvPaint fill;
  OvPaint stroke;
  stroke.setColor(0x80112233);
  stroke.setStrokeWidth(2.5f);
  stroke.setMiterLimit(3);
  stroke.setFlags(0x5A);
  uint8_t verbs[8];
  OvPoint points[8];
  OvPathStorage storage{verbs, 8, points, 8};
  const OvMatrix m(2, 0, 10, 0, 3, 20, 0, 0, 1);
  const std::vector<uint8_t> rect = Bytes().u32({0x2481}).fill().f32({1, 2, 3, 4}).v;
  const std::vector<uint8_t> transform = Bytes().u32({0x2888}).f32({2, 0, 10, 0, 3, 20, 0, 0, 1}).v;
  const struct {
    const char* name;
    std::function<void(Canvas&)> draw;
    std::vector<uint8_t> expected;
  } cases[] = {
      {"rectangle, default paint", [&](Canvas& c) { c.drawRect({1, 2, 3, 4}, fill); }, rect},
      {"round rectangle of a zero radius", [&](Canvas& c) { c.drawRoundRect({1, 2, 3, 4}, 0, 5, fill); }, rect},
      {"line", [&](Canvas& c) { c.drawLine(1, 2, 3, 4, stroke); }, Bytes().u32({0x2482}).stroke().f32({1, 2, 3, 4}).v},
      {"circle", [&](Canvas& c) { c.drawCircle(5, 6, 7, fill); }, Bytes().u32({0x2085}).fill().f32({5, 6, 7}).v},
      {"arc with centre", [&](Canvas& c) { c.drawArc({0, 0, 10, 20}, 30, 90, true, stroke); },
       Bytes().u32({0x3084}).stroke().f32({0, 0, 10, 20, 30, 90}).u32({1}).v},
      {"arc of sweep 0 through drawArc", [&](Canvas& c) { c.drawArc({0, 0, 10, 20}, 30, 0, false, fill); }, {}},
      {"arc of sweep 0 through writeArc", [&](Canvas& c) { c.writeArc({}, 30, 0, false, fill, nullptr); },
       Bytes().u32({0x3084}).fill().f32({0, 0, 0, 0, 30, 0}).u32({0}).v},
      {"path, 3 points and 4 verbs",
       [&](Canvas& c) { c.drawPath(OvPath(&storage).moveTo({1, 2}).lineTo({3, 4}).close(), fill); },
       Bytes().u32({0x3C86}).fill().u32({3, 4, 1}).f32({1, 2, 3, 4, 1, 2}).u32({0x05010100}).v},
      {"path padded after its verbs",
       [&](Canvas& c) { c.writePath(OvPath(&storage).moveTo({1, 2}).lineTo({3, 4}), stroke, "p"); },
       Bytes().u32({0x3486}).stroke().u32({2, 2, 1}).f32({1, 2, 3, 4}).u32({0x0100}).v},
      {"transform", [&](Canvas& c) { c.onBeforeTransform(m); }, transform},
      {"named transform", [&](Canvas& c) { c.writeConcat(m, "m"); }, transform},
  };
  for (const auto& c : cases) {
    Recorder r;
    c.draw(r.canvas);
    EXPECT_EQ(Stream(r.layout.drawList()), c.expected) << c.name;
    EXPECT_TRUE(r.canvas.matrix().isIdentity()) << c.name << ": the canvas's own matrix is the caller's";
  }
  // The transform helpers record what they concatenate, one record each.
  {
    Recorder r;
    r.canvas.translate(10, 20);
    r.canvas.scale(2, 3);
    EXPECT_EQ(Stream(r.layout.drawList()), Bytes().u32({0x2888}).f32({1, 0, 10, 0, 1, 20, 0, 0, 1})
                                               .u32({0x2888}).f32({2, 0, 0, 0, 3, 0, 0, 0, 1}).v);
    EXPECT_EQ(std::memcmp(&r.canvas.matrix(), &m, sizeof m), 0) << "and concatenate it onto the canvas";
  }
  // A path too large for the 24-bit size field, counted without wrapping, is not recorded.
  uint32_t tail = 0;
  EXPECT_TRUE(OvDrawPath::TailFor((kMaxOpSize - 32) / 8, 0, &tail));
  EXPECT_FALSE(OvDrawPath::TailFor((kMaxOpSize - 32) / 8 + 1, 0, &tail));
  EXPECT_FALSE(OvDrawPath::TailFor(0x20000000, 0, &tail)) << "8P past 32 bits";
  Recorder r;
  r.canvas.drawPath(OvPath(&storage).moveTo({1, 2}).lineTo({3, 4}).close(), fill);
  const auto* path = reinterpret_cast<const OvDrawPath*>(r.layout.drawList().lastOp());
  EXPECT_TRUE(path->points()[1].y == 4 && path->verbs()[3] == verbs[3]) << "where readers find points and verbs";
}

TEST(RecordingCanvasTest, SaveSaveRestore) {
  Recorder r;
  EXPECT_EQ(r.canvas.save(), 1);
  EXPECT_EQ(r.canvas.save(), 2);
  r.canvas.restore();
  EXPECT_EQ(r.canvas.saveDepth(), 1);
  EXPECT_EQ(Stream(r.layout.drawList()), Bytes().u32({0x0489, 0x0489, 0x048A}).v);
  r.canvas.restore();
  r.canvas.restore();
  EXPECT_EQ(r.canvas.saveDepth(), -1) << "an unbalanced restore is recorded as it is";
  EXPECT_EQ(r.layout.drawList().totalUsedSize(), 20u);
}

TEST(RecordingCanvasTest, RoundRectIsRecordedAsTheBasePath) {
  Recorder r;
  r.canvas.writeRoundRect({0, 0, 40, 20}, 5, 4, OvPaint(), "rr");
  // The same outline built by hand: four quarter arcs, then close.
  uint8_t verbs[OvCanvas::kRoundRectVerbs];
  OvPoint points[OvCanvas::kRoundRectPoints];
  OvPathStorage storage{verbs, OvCanvas::kRoundRectVerbs, points, OvCanvas::kRoundRectPoints};
  OvPath path(&storage);
  path.arcTo({0, 0, 10, 8}, 270, -90, true).arcTo({0, 12, 10, 20}, 180, -90, false);
  path.arcTo({30, 12, 40, 20}, 90, -90, false).arcTo({30, 0, 40, 8}, 0, -90, false).close();
  Recorder expected;
  expected.canvas.drawPath(path, OvPaint());
  EXPECT_EQ(Stream(r.layout.drawList()), Stream(expected.layout.drawList()));
  ASSERT_EQ(r.canvas.idMap().count("rr"), 1u);
  EXPECT_EQ(r.canvas.idMap().at("rr").op, r.layout.drawList().lastOp());
}

TEST(RecordingCanvasTest, IdTables) {
  const struct {
    const char* name;
    std::vector<const char*> ids;  // one rectangle (36 bytes) per id, in order
    std::vector<uint8_t> table;
  } cases[] = {
      {"lengths 1 and 4", {"abcd", "a"}, Bytes().u32({0x1C8B, 1, 36}).str("a", 4).u32({4, 0}).str("abcd", 4).v},
      {"shared prefix: the shorter first", {"ab", "a", "abc"},
       Bytes().u32({0x288B, 1, 36}).str("a", 4).u32({2, 0}).str("ab", 4).u32({3, 72}).str("abc", 4).v},
      {"first use wins", {"x", "x"}, Bytes().u32({0x108B, 1, 0}).str("x", 4).v},
      {"null and empty ids name nothing", {nullptr, "", "five5"}, Bytes().u32({0x148B, 5, 72}).str("five5", 8).v},
      {"byte-wise order", {"\xC3\xA9", "z", "B"},
       Bytes().u32({0x288B, 1, 72}).str("B", 4).u32({1, 36}).str("z", 4).u32({2, 0}).str("\xC3\xA9", 4).v},
  };
  for (const auto& c : cases) {
    Recorder r;
    for (const char* id : c.ids) r.canvas.writeRect({0, 0, 1, 1}, OvPaint(), id);
    unsigned count = 99, offset = 99;
    r.canvas.build(&count, &offset);
    const uint32_t rects = uint32_t(36 * c.ids.size());
    EXPECT_EQ(offset, rects) << c.name;
    EXPECT_EQ(count, r.canvas.idMap().size()) << c.name;
    const std::vector<uint8_t> stream = Stream(r.layout.drawList());
    EXPECT_EQ(std::vector<uint8_t>(stream.begin() + rects, stream.end()), c.table) << c.name;
  }
}

// A draw list of several buffers (a header, then 500 rectangles of 36 bytes):
// every record is found by its offset and by its id, wherever its buffer
// begins.
TEST(RecordingCanvasTest, DrawListAcrossBuffers) {
  constexpr int kRects = 500;
  Recorder r;
  auto* header = reinterpret_cast<uint32_t*>(r.layout.drawList().allocOp(kLayoutHeader, OpFixedSize(kLayoutHeader)));
  ASSERT_NE(header, nullptr);
  for (int i = 0; i < kRects; ++i) r.canvas.writeRect({float(i), 0, 1, 1}, {}, ("r" + std::to_string(i)).c_str());
  r.canvas.build(&header[2], &header[1]);
  ASSERT_TRUE(r.layout.loadMap());
  int buffers = 0;
  for (const OvOpBuffer* b = r.layout.drawList().firstBuffer(); b; b = b->next) ++buffers;
  EXPECT_GE(buffers, 5);
  for (int i = 0; i < kRects; ++i) {
    const std::string id = "r" + std::to_string(i);
    OvDrawRect *byId = nullptr, *byOffset = nullptr;
    ASSERT_TRUE(r.layout.findElementById(id.c_str(), &byId)) << id;
    ASSERT_TRUE(r.layout.getElementRef(12 + 36 * i, &byOffset)) << id;
    EXPECT_EQ(byOffset, byId) << id;
    EXPECT_EQ(byId->rect.left, float(i)) << id;
  }
  OvDrawRect* none = nullptr;
  EXPECT_FALSE(r.layout.getElementRef(r.layout.drawList().totalUsedSize(), &none));
}

TEST(RecordingCanvasTest, CallsThatRecordNothingNameNothing) {
  testing::FailingAllocator alloc(1);
  Recorder r;
  r.canvas.writeRect({0, 0, 1, 1}, OvPaint(), "kept");
  alloc.allow(0);
  while (r.layout.drawList().allocOp(kSave, 4)) {
  }
  EXPECT_EQ(r.canvas.save(), 1) << "the depth changes even when the push failed";
  r.canvas.writeRect({0, 0, 1, 1}, OvPaint(), "lost");
  const OvBitmap bitmap = {nullptr, 0, 0, 0, 0, 1};
  r.canvas.writeBitmap(bitmap, OvPaint(), "icon");  // bitmaps are not recorded yet
  EXPECT_EQ(r.canvas.idMap().size(), 1u) << "neither id went to the record before it";
  EXPECT_EQ(r.canvas.idMap().count("kept"), 1u);
}

}  // namespace
}  // namespace orvel
