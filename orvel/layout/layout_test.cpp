#include "orvel/layout/layout.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace orvel {
namespace {

using Words = std::vector<uint32_t>;

Words operator+(Words a, const Words& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Appends raw words the way the receiving side fills a list.
void AppendRaw(OvOpList& list, const Words& words) {
  const unsigned n = unsigned(words.size() * 4);
  ASSERT_TRUE(list.reserve(n));
  std::memcpy(list.deserialize(n), words.data(), n);
}

Words Header(uint32_t mapOffset, uint32_t count) { return {OpFixedHeader(kLayoutHeader), mapOffset, count}; }
Words Rect() { return {OpFixedHeader(kDrawRect), 0xFF000000, 0x3F800000, 0x40800000, 64, 0, 0, 0, 0}; }
Words Transform() { return Words{OpFixedHeader(kTransform)} + Words(9, 0x3F800000); }
// A record of type 12 (which nothing reads) of `bytes` bytes, to place others.
Words Filler(uint32_t bytes) { return Words{OpHeader(12, bytes)} + Words(bytes / 4 - 1, 0); }

const Words kEmptyTable = {OpFixedHeader(kIdMap)};

// header (0) | rect (12) | transform (48) | table (88): "a" at 12, "abcd" at 48, "zz" at 4000 (no record)
Words WellFormed() {
  return Header(88, 3) + Rect() + Transform() +
         Words{OpHeader(kIdMap, 40), 1, 12, 0x61, 4, 48, 0x64636261, 2, 4000, 0x7A7A};
}

TEST(LayoutTest, LoadMap) {
  struct Case {
    const char* name;
    Words draw;
    bool loads;
  } cases[] = {
      {"empty layout", {}, false},
      // The next two would name a good table were their flaw overlooked.
      {"first record not the header", Words{OpFixedHeader(kBinding), 12, 0} + kEmptyTable, false},
      {"header shorter than 12 bytes", Words{OpHeader(kLayoutHeader, 8), 8} + kEmptyTable, false},
      {"table offset past the list", Header(400, 0) + kEmptyTable, false},
      {"table offset at a rectangle", Header(12, 0) + Rect(), false},
      {"table running past the list", Header(12, 0) + Words{OpHeader(kIdMap, 12), 0}, false},
      {"table of size 0", Header(12, 0) + Words{kIdMap}, false},
      {"zero words before the header", Words{0, 0} + Header(12, 0) + kEmptyTable, true},
      {"well formed", WellFormed(), true},
  };
  for (const Case& c : cases) {
    OvLayout layout;
    if (!c.draw.empty()) AppendRaw(layout.drawList(), c.draw);
    EXPECT_EQ(layout.loadMap(), c.loads) << c.name;
    EXPECT_EQ(layout.idEntries() != nullptr, c.loads) << c.name;
  }
}

TEST(LayoutTest, FindElementById) {
  OvLayout layout;
  AppendRaw(layout.drawList(), WellFormed());
  OvDrawArc* arc = nullptr;
  EXPECT_FALSE(layout.findElementById("a", &arc)) << "no table before loadMap";
  ASSERT_TRUE(layout.loadMap());
  const uint8_t* base = reinterpret_cast<const uint8_t*>(layout.drawList().findOp(0));
  // at: where the record lies; -1 for a match with no record there, -2 for no match.
  const struct {
    const char* id;
    long at;
    OvLayoutOpType type;  // kSave: untouched
  } cases[] = {{"a", 12, kDrawRect},   {"abcd", 48, kTransform}, {"abc", -2, kSave},
               {"abcde", -2, kSave},   {"b", -2, kSave},         {"zz", -1, kSave}};
  for (const auto& c : cases) {
    const unsigned len = unsigned(std::strlen(c.id));
    OvOp* op = reinterpret_cast<OvOp*>(1);  // a match must overwrite it, with null for "zz"
    OvLayoutOpType type = kSave;
    unsigned offset = 777, typeOffset = 777;
    const bool found = layout.findElementById(c.id, len, &op, &offset);
    EXPECT_EQ(!found ? -2 : op ? reinterpret_cast<const uint8_t*>(op) - base : -1, c.at) << c.id;
    EXPECT_EQ(offset, c.at >= 0 ? unsigned(c.at) : c.at == -1 ? 4000u : 777u) << c.id;
    EXPECT_EQ(layout.findElementById(c.id, len, &type, &typeOffset), c.at >= 0) << c.id;
    EXPECT_EQ(type, c.type) << c.id;
    EXPECT_EQ(typeOffset, c.at >= 0 ? offset : 777u) << c.id;
  }

  // The typed form does not check the type: a rectangle asked as an arc.
  ASSERT_TRUE(layout.findElementById("a", &arc));
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(arc) - base, 12);
  EXPECT_FALSE(layout.findElementById(static_cast<const char*>(nullptr), &arc));
  EXPECT_TRUE(layout.getElementRef(48, &arc));
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(arc) - base, 48);
  EXPECT_FALSE(layout.getElementRef(layout.drawList().totalUsedSize(), &arc)) << "the list's end";
  EXPECT_EQ(arc, nullptr);

  reinterpret_cast<uint32_t*>(layout.drawList().findOp(0))[1] = 12;  // the header now names the rectangle
  EXPECT_FALSE(layout.loadMap());
  EXPECT_TRUE(layout.findElementById("a", &arc)) << "a failed load keeps the previous table";
  EXPECT_EQ(layout.idCount(), 3u);
  layout.reset();
  EXPECT_FALSE(layout.findElementById("a", &arc)) << "reset forgets the table";
}

// Tables that lie about their entries, each placed so that it ends exactly at
// the end of its heap block: a read past the table is a read past the block,
// which the address sanitizer reports.
TEST(LayoutTest, MalformedTablesAreNotReadPast) {
  const uint32_t capacity = OvOpList::kDefaultMinimumBufferSize - OvOpList::kBufferHeaderSize;
  struct Case {
    const char* name;
    Words table;
    uint32_t count;
    const char* id;
    bool found;
  } cases[] = {
      {"count past the entries", Words{OpHeader(kIdMap, 16), 1, 12, 0x61}, 1000, "zz", false},
      {"huge id length", Words{OpHeader(kIdMap, 12), 0xFFFFFFFF, 12}, 1, "a", false},
      {"id running one byte past the table", Words{OpHeader(kIdMap, 16), 5, 12, 0x64636261}, 1, "abcde", false},
      {"entry header cut short", Words{OpHeader(kIdMap, 20), 1, 12, 0x61, 3}, 2, "b", false},
      {"no room for an entry", Words{OpHeader(kIdMap, 8), 1}, 1, "", false},
      // A size field that is not a multiple of 4 still bounds the walk.
      {"odd table size, match", Words{OpHeader(kIdMap, 13), 1, 0, 0x61}, 5, "a", true},
      {"odd table size, no match", Words{OpHeader(kIdMap, 13), 1, 0, 0x61}, 5, "b", false},
  };
  for (const Case& c : cases) {
    const uint32_t tableBytes = uint32_t(c.table.size() * 4);
    const uint32_t fillerBytes = capacity - 12 - tableBytes;
    OvLayout layout;
    AppendRaw(layout.drawList(), Header(12 + fillerBytes, c.count) + Filler(fillerBytes) + c.table);
    ASSERT_EQ(layout.drawList().totalUsedSize(), capacity) << c.name;
    ASSERT_TRUE(layout.loadMap()) << c.name;
    OvOp* op = nullptr;
    unsigned offset = 0;
    EXPECT_EQ(layout.findElementById(c.id, unsigned(std::strlen(c.id)), &op, &offset), c.found) << c.name;
  }
}

Words ExpressionProperty(uint32_t id) { return {OpFixedHeader(kExpressionProperty), id, 0, 0}; }
Words PropertyNode(uint32_t id) { return {OpFixedHeader(kProperty), id}; }

TEST(LayoutTest, GetPropertiesInUse) {
  struct Case {
    const char* name;
    Words resources;
    std::vector<unsigned short> expected;
  } cases[] = {
      {"empty", {}, {}},
      {"7, 3, 7", ExpressionProperty(7) + PropertyNode(3) + PropertyNode(7), {3, 7}},
      {"0 and 39 are the bounds", PropertyNode(39) + PropertyNode(0), {0, 39}},
      {"40 and above are ignored", PropertyNode(40) + ExpressionProperty(0xFFFF) + PropertyNode(5), {5}},
      {"a short type 19 is skipped", Words{OpHeader(kExpressionProperty, 8), 9} + PropertyNode(2), {2}},
      {"types past 34 are skipped", Words{OpHeader(kExpressionProperty + 32, 16), 9, 0, 0} + PropertyNode(2), {2}},
      {"a malformed header ends the walk", PropertyNode(1) + Words{0x300, 0} + PropertyNode(2), {1}},
  };
  for (const Case& c : cases) {
    OvLayout layout;
    if (!c.resources.empty()) AppendRaw(layout.resourceList(), c.resources);
    OvLayout::PropertyIds ids{};
    const unsigned n = layout.getPropertiesInUse(&ids);
    EXPECT_EQ(std::vector<unsigned short>(ids.begin(), ids.begin() + n), c.expected) << c.name;
  }
  EXPECT_EQ(OvLayout().getPropertiesInUse(nullptr), 0u);
}

}  // namespace
}  // namespace orvel
