#include "orvel/layout/layout.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
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

// An id table with the entries as given (not sorted), padding zeroed.
Words Table(const std::vector<std::pair<std::string, uint32_t>>& entries) {
  Words body;
  for (const auto& e : entries) {
    body.push_back(uint32_t(e.first.size()));
    body.push_back(e.second);
    Words chars((e.first.size() + 3) / 4, 0);
    std::memcpy(chars.data(), e.first.data(), e.first.size());
    body = body + chars;
  }
  return Words{OpHeader(kIdMap, uint32_t(4 + 4 * body.size()))} + body;
}

// header (0) | rect (12) | transform (48) | table (88)
Words WellFormed() { return Header(88, 3) + Rect() + Transform() + Table({{"a", 12}, {"abcd", 48}, {"zz", 4000}}); }

TEST(LayoutTest, LoadMap) {
  struct Case {
    const char* name;
    Words draw;
    bool loads;
  } cases[] = {
      {"empty layout", {}, false},
      {"first record not the header", Rect() + Header(48, 0) + Table({}), false},
      {"header shorter than 12 bytes", Words{OpHeader(kLayoutHeader, 8), 12} + Table({}), false},
      {"table offset past the list", Header(400, 0) + Table({}), false},
      {"table offset at a rectangle", Header(12, 0) + Rect(), false},
      {"table running past the list", Header(12, 0) + Words{OpHeader(kIdMap, 12), 0}, false},
      {"zero words before the header", Words{0, 0} + Header(12, 0) + Table({}), true},
      {"well formed", WellFormed(), true},
  };
  for (const Case& c : cases) {
    OvLayout layout;
    if (!c.draw.empty()) AppendRaw(layout.drawList(), c.draw);
    EXPECT_EQ(layout.loadMap(), c.loads) << c.name;
    if (!c.loads) {
      EXPECT_EQ(layout.idEntries(), nullptr) << c.name;
    }
  }
}

TEST(LayoutTest, FailedLoadKeepsThePreviousTable) {
  OvLayout layout;
  AppendRaw(layout.drawList(), WellFormed());
  ASSERT_TRUE(layout.loadMap());
  OvOp* header = layout.drawList().findOp(0);
  reinterpret_cast<uint32_t*>(header)[1] = 12;  // now names the rectangle
  EXPECT_FALSE(layout.loadMap());
  OvDrawRect* rect = nullptr;
  EXPECT_TRUE(layout.findElementById("a", &rect));
  EXPECT_EQ(layout.idCount(), 3u);
}

TEST(LayoutTest, FindElementById) {
  OvLayout layout;
  AppendRaw(layout.drawList(), WellFormed());
  OvDrawRect* rect = nullptr;
  EXPECT_FALSE(layout.findElementById("a", &rect)) << "no table before loadMap";
  ASSERT_TRUE(layout.loadMap());
  const uint8_t* base = reinterpret_cast<const uint8_t*>(layout.drawList().findOp(0));

  struct Case {
    const char* id;
    bool found;
    long opAt;  // byte position of the record, -1 for null
    OvLayoutOpType type;
  } cases[] = {
      {"a", true, 12, kDrawRect},     {"abcd", true, 48, kTransform}, {"abc", false, 0, kDrawRect},
      {"abcde", false, 0, kDrawRect}, {"b", false, 0, kDrawRect},     {"zz", true, -1, kDrawRect},
  };
  for (const Case& c : cases) {
    OvOp* op = reinterpret_cast<OvOp*>(1);
    unsigned offset = 777;
    const unsigned len = unsigned(std::strlen(c.id));
    ASSERT_EQ(layout.findElementById(c.id, len, &op, &offset), c.found) << c.id;
    if (!c.found) {
      EXPECT_EQ(offset, 777u) << c.id << ": outputs untouched";
      continue;
    }
    EXPECT_EQ(op ? reinterpret_cast<const uint8_t*>(op) - base : -1, c.opAt) << c.id;
    OvLayoutOpType type = kSave;
    unsigned typeOffset = 777;
    EXPECT_EQ(layout.findElementById(c.id, len, &type, &typeOffset), c.opAt >= 0) << c.id;
    if (c.opAt >= 0) {
      EXPECT_EQ(type, c.type) << c.id;
      EXPECT_EQ(typeOffset, offset) << c.id;
    }
  }

  // The typed form does not check the type: a rectangle asked as an arc.
  OvDrawArc* arc = nullptr;
  EXPECT_TRUE(layout.findElementById("a", &arc));
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(arc) - base, 12);
  EXPECT_FALSE(layout.findElementById(static_cast<const char*>(nullptr), &arc));
  EXPECT_TRUE(layout.getElementRef(48, &arc));
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(arc) - base, 48);

  layout.reset();
  EXPECT_FALSE(layout.findElementById("a", &arc)) << "reset forgets the table";
}

TEST(LayoutTest, GetElementRefAtTheEnd) {
  OvLayout layout;
  AppendRaw(layout.drawList(), WellFormed());
  OvTransform* t = reinterpret_cast<OvTransform*>(1);
  EXPECT_FALSE(layout.getElementRef(layout.drawList().totalUsedSize(), &t));
  EXPECT_EQ(t, nullptr);
  EXPECT_TRUE(layout.getElementRef(0, &t));
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
      {"count past the entries", Table({{"a", 12}}), 1000, "zz", false},
      {"count past the entries, last id", Table({{"a", 12}}), 1000, "a", true},
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
      {"every id",
       [] {
         Words w;
         for (uint32_t i = 0; i < 40; ++i) w = w + PropertyNode(39 - i);
         return w;
       }(),
       [] {
         std::vector<unsigned short> v;
         for (unsigned short i = 0; i < 40; ++i) v.push_back(i);
         return v;
       }()},
  };
  for (const Case& c : cases) {
    OvLayout layout;
    if (!c.resources.empty()) AppendRaw(layout.resourceList(), c.resources);
    OvLayout::PropertyIds ids{};
    const unsigned n = layout.getPropertiesInUse(&ids);
    EXPECT_EQ(std::vector<unsigned short>(ids.begin(), ids.begin() + n), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace orvel
