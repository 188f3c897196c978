#include "orvel/layout/recording_canvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/layout/layout.h"
#include "orvel/layout/records.h"

namespace orvel {
namespace {

// Little-endian byte strings built field by field.
struct Bytes {
  std::vector<uint8_t> v;
  Bytes& u32(uint32_t x) {
    for (int i = 0; i < 4; ++i) v.push_back(uint8_t(x >> (8 * i)));
    return *this;
  }
  Bytes& f32(float f) {
    uint32_t x;
    std::memcpy(&x, &f, 4);
    return u32(x);
  }
  Bytes& str(const char* s, size_t padded) {
    for (size_t i = 0; i < padded; ++i) v.push_back(i < std::strlen(s) ? uint8_t(s[i]) : 0);
    return *this;
  }
  Bytes& defaultPaint() { return u32(0xFF000000).f32(1).f32(4).u32(64); }
  Bytes& strokePaint() { return u32(0x80112233).f32(2.5f).f32(3).u32(0x5A); }
};

std::vector<uint8_t> Stream(const OvOpList& list) {
  std::vector<uint8_t> out(list.totalUsedSize());
  OvSerializeIt it;
  if (!out.empty()) list.serialize(out.data(), unsigned(out.size()), &it);
  return out;
}

struct Recorder {
  OvLayout layout;
  OvHeapBitmapStorage bitmaps;
  OvRecordingCanvas canvas{&layout.drawList(), &layout.resourceList(), &bitmaps};
};

OvPaint StrokePaint() {
  OvPaint p;
  p.setColor(0x80112233);
  p.setStrokeWidth(2.5f);
  p.setMiterLimit(3);
  p.setFlags(0x5A);
  return p;
}

// moveTo(1, 2), lineTo(3, 4), and close() when asked.
OvPath SmallPath(OvPathStorage* storage, bool closed) {
  OvPath path(storage);
  path.moveTo({1, 2}).lineTo({3, 4});
  if (closed) path.close();
  return path;
}

const OvMatrix kMatrix(2, 0, 10, 0, 3, 20, 0, 0, 1);

TEST(RecordingCanvasTest, RecordBytes) {
  const OvPaint fill;
  const OvPaint stroke = StrokePaint();
  uint8_t verbs[8];
  OvPoint points[8];
  OvPathStorage storage{verbs, 8, points, 8};
  struct Case {
    const char* name;
    std::function<void(OvRecordingCanvas&)> draw;
    std::vector<uint8_t> expected;
  } cases[] = {
      {"rectangle, default paint", [&](OvRecordingCanvas& c) { c.drawRect({1, 2, 3, 4}, fill); },
       Bytes().u32(0x2481).defaultPaint().f32(1).f32(2).f32(3).f32(4).v},
      {"line", [&](OvRecordingCanvas& c) { c.drawLine(1, 2, 3, 4, stroke); },
       Bytes().u32(0x2482).strokePaint().f32(1).f32(2).f32(3).f32(4).v},
      {"circle", [&](OvRecordingCanvas& c) { c.drawCircle(5, 6, 7, fill); },
       Bytes().u32(0x2085).defaultPaint().f32(5).f32(6).f32(7).v},
      {"arc with centre", [&](OvRecordingCanvas& c) { c.drawArc({0, 0, 10, 20}, 30, 90, true, stroke); },
       Bytes().u32(0x3084).strokePaint().f32(0).f32(0).f32(10).f32(20).f32(30).f32(90).u32(1).v},
      {"arc of sweep 0 through drawArc", [&](OvRecordingCanvas& c) { c.drawArc({0, 0, 10, 20}, 30, 0, false, fill); },
       {}},
      {"arc of sweep 0 through writeArc",
       [&](OvRecordingCanvas& c) { c.writeArc({0, 0, 0, 0}, 30, 0, false, fill, nullptr); },
       Bytes().u32(0x3084).defaultPaint().f32(0).f32(0).f32(0).f32(0).f32(30).f32(0).u32(0).v},
      {"path, 3 points and 4 verbs",
       [&](OvRecordingCanvas& c) { c.drawPath(SmallPath(&storage, true), fill); },
       Bytes().u32(0x3C86).defaultPaint().u32(3).u32(4).u32(1).f32(1).f32(2).f32(3).f32(4).f32(1).f32(2)
           .u32(0x05010100).v},
      {"path with padding after its verbs",
       [&](OvRecordingCanvas& c) { c.writePath(SmallPath(&storage, false), stroke, nullptr); },
       Bytes().u32(0x3486).strokePaint().u32(2).u32(2).u32(1).f32(1).f32(2).f32(3).f32(4).u32(0x0100).v},
      {"empty path", [&](OvRecordingCanvas& c) { c.drawPath(OvPath(&storage), fill); },
       Bytes().u32(0x2086).defaultPaint().u32(0).u32(0).u32(0).v},
      {"transform", [&](OvRecordingCanvas& c) { c.onBeforeTransform(kMatrix); },
       Bytes().u32(0x2888).f32(2).f32(0).f32(10).f32(0).f32(3).f32(20).f32(0).f32(0).f32(1).v},
      {"named transform", [&](OvRecordingCanvas& c) { c.writeConcat(kMatrix, "m"); },
       Bytes().u32(0x2888).f32(2).f32(0).f32(10).f32(0).f32(3).f32(20).f32(0).f32(0).f32(1).v},
      {"save, save, restore",
       [&](OvRecordingCanvas& c) {
         c.save();
         c.save();
         c.restore();
       },
       Bytes().u32(0x0489).u32(0x0489).u32(0x048A).v},
      {"round rectangle with a zero radius", [&](OvRecordingCanvas& c) { c.drawRoundRect({1, 2, 3, 4}, 0, 5, fill); },
       Bytes().u32(0x2481).defaultPaint().f32(1).f32(2).f32(3).f32(4).v},
      {"empty id table", [&](OvRecordingCanvas& c) { c.build(nullptr, nullptr); }, Bytes().u32(0x048B).v},
  };
  for (const Case& c : cases) {
    Recorder r;
    c.draw(r.canvas);
    EXPECT_EQ(Stream(r.layout.drawList()), c.expected) << c.name;
    EXPECT_TRUE(r.canvas.matrix().isIdentity()) << c.name << ": the canvas's own matrix is the caller's";
  }
}

TEST(RecordingCanvasTest, SaveAndRestoreDepths) {
  Recorder r;
  EXPECT_EQ(r.canvas.save(), 1);
  EXPECT_EQ(r.canvas.save(), 2);
  r.canvas.restore();
  EXPECT_EQ(r.canvas.saveDepth(), 1);
  r.canvas.restore();
  r.canvas.restore();
  EXPECT_EQ(r.canvas.saveDepth(), -1) << "an unbalanced restore is recorded as it is";
  EXPECT_EQ(r.layout.drawList().totalUsedSize(), 20u);
}

TEST(RecordingCanvasTest, RoundRectIsRecordedAsTheBasePath) {
  Recorder r;
  OvPaint paint;
  r.canvas.writeRoundRect({0, 0, 40, 20}, 5, 4, paint, "rr");
  // The same outline built by hand: four quarter arcs, then close.
  uint8_t verbs[OvCanvas::kRoundRectVerbs];
  OvPoint points[OvCanvas::kRoundRectPoints];
  OvPathStorage storage{verbs, OvCanvas::kRoundRectVerbs, points, OvCanvas::kRoundRectPoints};
  OvPath path(&storage);
  path.arcTo({0, 0, 10, 8}, 270, -90, true);
  path.arcTo({0, 12, 10, 20}, 180, -90, false);
  path.arcTo({30, 12, 40, 20}, 90, -90, false);
  path.arcTo({30, 0, 40, 8}, 0, -90, false);
  path.close();
  Recorder expected;
  expected.canvas.drawPath(path, paint);
  EXPECT_EQ(r.layout.drawList().lastOp()->type(), uint32_t(kDrawPath));
  EXPECT_EQ(Stream(r.layout.drawList()), Stream(expected.layout.drawList()));
  ASSERT_EQ(r.canvas.idMap().count("rr"), 1u);
  EXPECT_EQ(r.canvas.idMap().at("rr").op, r.layout.drawList().lastOp());
}

TEST(RecordingCanvasTest, IdTables) {
  const OvPaint paint;
  struct Case {
    const char* name;
    std::vector<const char*> ids;  // one rectangle (36 bytes) per id, in order
    std::vector<uint8_t> table;
  } cases[] = {
      {"lengths 1 and 4", {"abcd", "a"},
       Bytes().u32(0x1C8B).u32(1).u32(36).str("a", 4).u32(4).u32(0).str("abcd", 4).v},
      {"shared prefix: the shorter first", {"ab", "a", "abc"},
       Bytes().u32(0x288B).u32(1).u32(36).str("a", 4).u32(2).u32(0).str("ab", 4).u32(3).u32(72).str("abc", 4).v},
      {"first use wins", {"x", "x"}, Bytes().u32(0x108B).u32(1).u32(0).str("x", 4).v},
      {"null and empty ids name nothing", {nullptr, "", "five5"},
       Bytes().u32(0x148B).u32(5).u32(72).str("five5", 8).v},
      {"byte-wise order", {"\xC3\xA9", "z", "B"},
       Bytes().u32(0x288B).u32(1).u32(72).str("B", 4).u32(1).u32(36).str("z", 4).u32(2).u32(0).str("\xC3\xA9", 4).v},
  };
  for (const Case& c : cases) {
    Recorder r;
    for (const char* id : c.ids) r.canvas.writeRect({0, 0, 1, 1}, paint, id);
    unsigned count = 99, offset = 99;
    r.canvas.build(&count, &offset);
    const uint32_t rects = uint32_t(36 * c.ids.size());
    EXPECT_EQ(offset, rects) << c.name;
    EXPECT_EQ(count, r.canvas.idMap().size()) << c.name;
    const std::vector<uint8_t> stream = Stream(r.layout.drawList());
    EXPECT_EQ(std::vector<uint8_t>(stream.begin() + rects, stream.end()), c.table) << c.name;
  }
}

// Records a header, then `rects` named rectangles, then the table, as the
// layout builder does, and loads the map.
void RecordNamedRects(Recorder& r, int rects) {
  OvOp* header = r.layout.drawList().allocOp(kLayoutHeader, OpFixedSize(kLayoutHeader));
  ASSERT_NE(header, nullptr);
  for (int i = 0; i < rects; ++i) {
    r.canvas.writeRect({float(i), 0, float(i + 1), 1}, OvPaint(), ("r" + std::to_string(i)).c_str());
  }
  uint32_t* fields = reinterpret_cast<uint32_t*>(header);
  r.canvas.build(&fields[2], &fields[1]);
  ASSERT_TRUE(r.layout.loadMap());
}

TEST(RecordingCanvasTest, LayoutFindsRecordedIds) {
  Recorder r;
  RecordNamedRects(r, 2);
  // Typed look-up of a rectangle asked as an arc: true, the rectangle's address.
  OvDrawArc* arc = nullptr;
  ASSERT_TRUE(r.layout.findElementById("r1", &arc));
  EXPECT_EQ(static_cast<void*>(arc), r.canvas.idMap().at("r1").op);
  EXPECT_EQ(reinterpret_cast<OvDrawRect*>(arc)->rect.left, 1.0f);
  OvLayoutOpType type;
  unsigned offset;
  ASSERT_TRUE(r.layout.findElementById("r0", 2, &type, &offset));
  EXPECT_EQ(type, kDrawRect);
  EXPECT_EQ(offset, 12u) << "behind the 12-byte header";
}

// A draw list of several buffers: every record is found by its offset and by
// its id, wherever its buffer begins.
TEST(RecordingCanvasTest, DrawListAcrossBuffers) {
  constexpr int kRects = 500;  // 18,000 bytes of rectangles: five buffers
  Recorder r;
  RecordNamedRects(r, kRects);
  int buffers = 0;
  for (const OvOpBuffer* b = r.layout.drawList().firstBuffer(); b; b = b->next) ++buffers;
  EXPECT_GE(buffers, 5);
  for (int i = 0; i < kRects; ++i) {
    const std::string id = "r" + std::to_string(i);
    const OvRecordingCanvas::IdEntry& entry = r.canvas.idMap().at(id);
    OvDrawRect* byId = nullptr;
    ASSERT_TRUE(r.layout.findElementById(id.c_str(), &byId)) << id;
    OvDrawRect* byOffset = nullptr;
    ASSERT_TRUE(r.layout.getElementRef(entry.offset, &byOffset)) << id;
    EXPECT_EQ(static_cast<void*>(byId), entry.op) << id;
    EXPECT_EQ(byOffset, byId) << id;
    EXPECT_EQ(entry.offset, uint32_t(12 + 36 * i)) << id;
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
