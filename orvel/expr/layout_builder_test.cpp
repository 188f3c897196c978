#include "orvel/expr/layout_builder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/expr/expression_ops.h"

namespace orvel {
namespace {

using Words = std::vector<uint32_t>;

// The list's stream as words (both targets are little-endian, as the stream is).
Words StreamWords(const OvOpList& list) {
  Words words(list.totalUsedSize() / 4);
  OvSerializeIt it;
  if (!words.empty()) list.serialize(reinterpret_cast<uint8_t*>(words.data()), unsigned(4 * words.size()), &it);
  return words;
}

constexpr uint32_t kBindingWord = 0x00000C92;
constexpr uint32_t kPropertyWord = 0x00001093;
constexpr uint32_t kInt64Word = 0x00000C9D;
// Every draw list here: the header at 0, rectangle "a" at 12, "b" at 48.
constexpr uint32_t kElementA = 12;
constexpr uint32_t kElementB = 48;

struct Authoring {
  explicit Authoring(bool draw = true) {
    if (!draw) return;
    builder.canvas().writeRect(OvRect{0, 0, 1, 1}, paint, "a");
    builder.canvas().writeRect(OvRect{1, 1, 2, 2}, paint, "b");
  }
  OvHeapBitmapStorage bitmaps;
  OvLayout layout;
  OvLayoutBuilder builder{&layout, &bitmaps};
  OvPaint paint;
};

TEST(LayoutBuilder, FinishedLayouts) {
  Authoring empty(false);
  EXPECT_TRUE(empty.builder.finish());
  EXPECT_EQ(StreamWords(empty.layout.drawList()), (Words{0x00000C91, 12, 0, 0x0000048B}));
  EXPECT_EQ(empty.layout.resourceList().totalUsedSize() + empty.layout.bindingList().totalUsedSize(), 0u);

  Authoring named;
  EXPECT_EQ(named.builder.build(), &named.layout);
  const Words draw = StreamWords(named.layout.drawList());
  EXPECT_EQ(Words(draw.begin(), draw.begin() + 3), (Words{0x00000C91, 84, 2}));
  OvDrawRect* rect = nullptr;
  ASSERT_TRUE(named.layout.findElementById("b", &rect));
  EXPECT_EQ(reinterpret_cast<OvOp*>(rect), named.layout.drawList().findOp(kElementB));
}

// A queued call: writeBitmapTextBinding when text, writeBinding otherwise.
struct Queued {
  const char* name;
  uint16_t id, kind;
  bool text;
  std::vector<OvBitmapTextGlyphBinding> glyphs;
};
Queued B(const char* name, uint16_t id, uint16_t kind) { return {name, id, kind, false, {}}; }
Queued T(const char* name, std::vector<OvBitmapTextGlyphBinding> glyphs) { return {name, 0, 0, true, glyphs}; }

TEST(LayoutBuilder, BindingRecords) {
  const struct {
    const char* what;
    std::vector<Queued> calls;
    Words expected;
    std::vector<std::string> log;
  } rows[] = {
      {"kinds 3, 6, 5, 6: the sixes first, newest first", {B("a", 1, 3), B("b", 2, 6), B("a", 3, 5), B("b", 4, 6)},
       {kBindingWord, 4 | 6 << 16, kElementB, kBindingWord, 2 | 6 << 16, kElementB,  //
        kBindingWord, 1 | 3 << 16, kElementA, kBindingWord, 3 | 5 << 16, kElementA},
       {}},
      {"bitmap text of three entries: the firsts, then the seconds", {T("a", {{1, 10}, {2, 20}, {3, 30}})},
       {0x000018A2, 3, kElementA, 0x00020001, 0x000A0003, 0x001E0014}, {}},
      {"bitmap text of no entries", {T("b", {})}, {0x00000CA2, 0, kElementB}, {}},
      {"bitmap texts keep call order behind the sixes; unknown, null, empty names dropped",
       {T("a", {{5, 6}}), B("b", 9, 6), B(nullptr, 2, 6), B("", 3, 3), T("zzz", {{7, 8}}), T("b", {{1, 2}, {3, 4}})},
       {kBindingWord, 9 | 6 << 16, kElementB, 0x000010A2, 1, kElementA, 0x00060005,  //
        0x000014A2, 2, kElementB, 0x00030001, 0x00040002},
       {}},
      {"kind 14 past the glyph vectors is fatal and skipped", {T("a", {{1, 2}}), B("b", 1, 14)},
       {0x000010A2, 1, kElementA, 0x00020001},
       {"Orvel fatal error: \"bitmap text binding index out of range\"\n",
        "ov_abort_handler(): Orvel unrecoverable error"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Authoring a;
    testing::LogCapture log;
    for (const Queued& q : row.calls) {
      if (q.text) a.builder.writeBitmapTextBinding(q.name, q.glyphs);
      else a.builder.writeBinding({q.name, q.id, q.kind});
    }
    EXPECT_TRUE(a.builder.finish());
    EXPECT_EQ(StreamWords(a.layout.bindingList()), row.expected);
    EXPECT_EQ(log.lines, row.log);
    // finish empties the queues: a second one writes no binding again.
    a.builder.finish();
    EXPECT_EQ(a.layout.bindingList().totalUsedSize(), 4 * row.expected.size());
  }
}

TEST(LayoutBuilder, ReceiverListsPropertiesAndBindings) {
  Authoring a;
  a.builder.writeBinding({"a", 1, 3});
  a.builder.writeBitmapTextBinding("b", {{1, 10}, {2, 20}});
  a.builder.writeBinding({"b", 5, 6});
  ASSERT_TRUE(a.builder.writeExpressionProperty(20, PropertyType::Float, "1 + 2", nullptr));
  ASSERT_TRUE(a.builder.writeExpressionProperty(21, PropertyType::S32, "{3}", nullptr));
  ASSERT_TRUE(a.builder.finish());
  // A bitmap text binding whose entries run past its record is skipped.
  auto* lying = reinterpret_cast<uint32_t*>(a.layout.bindingList().allocOp(kBitmapTextBinding, 16));
  lying[1] = 2, lying[2] = kElementA;

  std::vector<std::string> seen;
  EXPECT_TRUE(a.layout.forEachExpressionProperty([&](const OvExpressionPropertyInfo& p) {
    seen.push_back(std::to_string(p.offset) + ": " + std::to_string(p.propertyId) + " type " +
                   std::to_string(p.resultType) + " root " + std::to_string(p.root));
    return true;
  }));
  EXPECT_TRUE(a.layout.forEachBinding([&](const OvBindingInfo& b) {
    std::string line = std::string(b.name, b.nameLength) + " " + std::to_string(b.id) + " kind " +
                       std::to_string(b.kind) + " at " + std::to_string(b.element);
    for (uint32_t i = 0; i < b.count; ++i) {
      uint16_t first, second;
      std::memcpy(&first, b.firsts + 2 * i, 2);
      std::memcpy(&second, b.seconds + 2 * i, 2);
      line += " (" + std::to_string(first) + ", " + std::to_string(second) + ")";
    }
    seen.push_back(line);
    return true;
  }));
  EXPECT_EQ(seen, (std::vector<std::string>{"48: 20 type 9 root 24", "72: 21 type 7 root 64", "b 5 kind 6 at 48",
                                            "a 1 kind 3 at 12", "b 0 kind 14 at 48 (1, 10) (2, 20)"}));
  unsigned visits = 0;
  a.layout.forEachBinding([&](const OvBindingInfo&) { return ++visits, false; });
  EXPECT_EQ(visits, 1u) << "visit returning false stops the walk";
}

TEST(LayoutBuilder, ExpressionProperties) {
  const uint32_t s32 = uint32_t(PropertyType::S32) << 16;
  const struct {
    const char* expr;
    unsigned id;
    PropertyType type;
    Words resources;
    std::string error;  // empty: accepted
  } rows[] = {
      // The id keeps its low 16 bits; the property names the root node, the add at 24.
      {"1 + 2", 0x12345, PropertyType::Float,
       {kInt64Word, 1, 0, kInt64Word, 2, 0, 0x00001895, kAdd, 0, 0, 12, 0,  //
        kPropertyWord, 0x2345 | uint32_t(PropertyType::Float) << 16, 24, 0},
       ""},
      {"", 7, PropertyType::S32, {kPropertyWord, 7 | s32, 0, 0}, ""},
      {nullptr, 8, PropertyType::S32, {kPropertyWord, 8 | s32, 0, 0}, ""},
      // The argument's node stays in the list, unreferenced.
      {"foo(1)", 1, PropertyType::S32, {kInt64Word, 1, 0}, "Cannot find function foo with 1 params"},
  };
  for (const auto& row : rows) {
    for (bool handBack : {true, false}) {
      SCOPED_TRACE(std::string(row.expr ? row.expr : "(null)") + (handBack ? ", handed back" : ", logged"));
      Authoring a(false);
      testing::LogCapture log;
      std::string error = "stale";
      EXPECT_EQ(a.builder.writeExpressionProperty(row.id, row.type, row.expr, handBack ? &error : nullptr),
                row.error.empty());
      EXPECT_EQ(StreamWords(a.layout.resourceList()), row.resources);
      EXPECT_EQ(error, row.error.empty() || !handBack ? "stale" : row.error);
      EXPECT_EQ(log.lines, !row.error.empty() && !handBack
                               ? std::vector<std::string>{"error parsing Orvel expr: " + row.error + "\n"}
                               : std::vector<std::string>{});
    }
  }
}

TEST(LayoutBuilder, NumberFormatAndLocaleRecords) {
  Authoring a(false);
  OvNumberLocaleConfig config;
  for (uint32_t i = 0; i < kNumberLocaleConfigSize; ++i) config.bytes[i] = uint8_t(i + 1);
  EXPECT_EQ(a.builder.writeFormattedNumberProperty(7, 0xFFFF, OvNumberFormat{0xAABBCCDD}), 0u);
  EXPECT_EQ(a.builder.writeNumericLocaleConfig(config), 12u);
  Words expected = {0x00000CA0, 0xFFFF0007, 0xAABBCCDD, 0x000048A1};
  expected.resize(4 + kNumberLocaleConfigSize / 4);
  std::memcpy(&expected[4], config.bytes, kNumberLocaleConfigSize);
  EXPECT_EQ(StreamWords(a.layout.resourceList()), expected);
}

// No memory for the resource and binding lists: the expression is still
// accepted, the number records give 0, the bindings are skipped, and the
// layout (whose draw list had room) still loads.
TEST(LayoutBuilder, RecordsWithoutRoom) {
  testing::FailingAllocator allocator;
  Authoring a, b;
  // The parser's stacks come from the same allocator: count them on a parse
  // (less the resource list's first buffer), then let exactly those through.
  const int before = allocator.allocations();
  EXPECT_TRUE(a.builder.writeExpressionProperty(1, PropertyType::S32, "", nullptr));
  allocator.allow(allocator.allocations() - before - 1);
  b.builder.writeBinding({"a", 1, 2});
  b.builder.writeBitmapTextBinding("a", {{1, 2}});
  EXPECT_TRUE(b.builder.writeExpressionProperty(1, PropertyType::S32, "", nullptr));
  allocator.allow(0);
  EXPECT_EQ(b.builder.writeFormattedNumberProperty(1, 2, OvNumberFormat{3}), 0u);
  EXPECT_EQ(b.builder.writeNumericLocaleConfig(OvNumberLocaleConfig{}), 0u);
  EXPECT_EQ(b.layout.resourceList().totalUsedSize(), 0u);
  EXPECT_TRUE(b.builder.finish());
  EXPECT_EQ(b.layout.bindingList().totalUsedSize(), 0u);
}

TEST(LayoutBuilder, HeaderOutOfMemoryMarker) {
  testing::FailingAllocator allocator(0);
  Authoring a(false);
  EXPECT_EQ(reinterpret_cast<intptr_t>(a.builder.header()), -12);
  EXPECT_EQ(reinterpret_cast<intptr_t>(a.builder.writeHeader()), OvLayoutBuilder::kOutOfMemory);
  EXPECT_EQ(a.layout.drawList().totalUsedSize(), 0u);
  // Finishing with the marker writes the id table but cannot load it.
  allocator.allow(-1);
  EXPECT_FALSE(a.builder.finish());
  EXPECT_EQ(StreamWords(a.layout.drawList()), Words{0x0000048B});

  // With memory back, writeHeader replaces the marker with a real header.
  allocator.allow(0);
  Authoring b(false);
  allocator.allow(-1);
  OvLayoutHeader* header = b.builder.writeHeader();
  EXPECT_EQ(b.builder.header(), header);
  EXPECT_TRUE(b.builder.finish());
}

}  // namespace
}  // namespace orvel
