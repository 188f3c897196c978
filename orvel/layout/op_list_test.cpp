#include "orvel/layout/op_list.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using testing::FailingAllocator;

constexpr uint32_t kHeader = OvOpList::kBufferHeaderSize;

// A record with a variable tail of bytes, as text and path records have.
struct TailRecord {
  static constexpr uint32_t kType = 5;
  OvOp op;
  uint32_t tag;
  void set(uint32_t t) { tag = t; }
};

// Pushes a record of `size` bytes whose tag word (if any) is `tag`.
OvOp* PushSized(OvOpList& list, uint32_t size, uint32_t tag = 0) {
  OvOp* op = list.allocOp(3, size);
  if (op && size >= 8) std::memcpy(op + 1, &tag, 4);
  return op;
}

std::vector<uint8_t> Concatenation(const OvOpList& list) {
  std::vector<uint8_t> out;
  for (const OvOpBuffer* b = list.firstBuffer(); b; b = b->next) out.insert(out.end(), b->data, b->data + b->used);
  return out;
}

TEST(OpListTest, TargetWidths) {
#if defined(__arm__)
  EXPECT_EQ(sizeof(void*), 4u);
  EXPECT_EQ(alignof(double), 8u);
  EXPECT_EQ(OvOpList::kBufferHeaderSize, 16u);
#endif
  EXPECT_EQ(OpHeader(1, 36), 0x00002481u);
}

TEST(OpListTest, EmptyList) {
  OvOpList list;
  OvSerializeIt it;
  uint8_t dst[8];
  EXPECT_EQ(list.totalUsedSize(), 0u);
  EXPECT_TRUE(list.iteratorFinished(it));
  EXPECT_EQ(list.serialize(dst, sizeof dst, &it), 0u) << "a fresh cursor over no buffers copies nothing";
  EXPECT_EQ(list.deserialize(4), nullptr);
  EXPECT_EQ(list.findOp(0), nullptr);
  EXPECT_TRUE(list.forEachOp([](const OvOp*, uint32_t) { return true; }));
}

TEST(OpListTest, BufferSizesFollowTheLargestRecord) {
  FailingAllocator alloc;
  struct Case {
    uint32_t first, second;
    std::vector<size_t> blocks;
  } cases[] = {
      {4096 - kHeader, 0, {4096}},
      {4096 - kHeader + 4, 0, {4096 + 4}},
      // 8 bytes left in the first buffer: a 12-byte record starts a new one.
      {4096 - kHeader - 8, 12, {4096, 4096}},
      {4096 - kHeader - 8, 8, {4096}},
  };
  for (const Case& c : cases) {
    alloc.allow(-1);
    const size_t before = alloc.sizes().size();
    OvOpList list;
    ASSERT_TRUE(PushSized(list, c.first, 1));
    if (c.second) {
      ASSERT_TRUE(PushSized(list, c.second, 2));
    }
    std::vector<size_t> blocks(alloc.sizes().begin() + long(before), alloc.sizes().end());
    EXPECT_EQ(blocks, c.blocks) << c.first << "+" << c.second;
    EXPECT_EQ(list.totalUsedSize(), c.first + c.second);
    EXPECT_EQ(Concatenation(list).size(), c.first + c.second) << "abandoned room is not part of the stream";
  }
}

TEST(OpListTest, AllocOpRefusesBadSizesAndTypes) {
  OvOpList list;
  for (uint32_t size : {0u, 2u, 6u, kMaxOpSize + 4, 0xFFFFFFFCu}) EXPECT_EQ(list.allocOp(1, size), nullptr) << size;
  EXPECT_EQ(list.allocOp(64, 4), nullptr);
  EXPECT_EQ(list.totalUsedSize(), 0u);
  EXPECT_EQ(list.push<TailRecord>(0xFFFFFFF0u, 1u), nullptr) << "tail length must not wrap the size";
}

TEST(OpListTest, PushWritesHeaderFieldsAndTracksLastRecord) {
  OvOpList list;
  uint8_t* tail = static_cast<uint8_t*>(list.push<TailRecord>(5, 0xABCDu));
  ASSERT_NE(tail, nullptr);
  const OvOp* op = list.lastOp();
  EXPECT_EQ(tail, reinterpret_cast<const uint8_t*>(op) + 8);
  EXPECT_EQ(op->header, (16u << 8) | 0x80 | 5) << "8 fixed + 5 tail bytes round up to 16";
  EXPECT_EQ(reinterpret_cast<const TailRecord*>(op)->tag, 0xABCDu);
  EXPECT_EQ(list.lastOpOffset(), 0u);
  EXPECT_EQ(list.lastOpSize(), 16u);
  ASSERT_TRUE(PushSized(list, 4));
  EXPECT_EQ(list.lastOpOffset(), 16u);
  EXPECT_EQ(list.lastOpSize(), 4u);
}

// A list of several buffers with recognisable bytes.
void FillThreeBuffers(OvOpList& list) {
  for (uint32_t i = 0; list.totalUsedSize() < 2 * 4096 + 100; ++i) ASSERT_TRUE(PushSized(list, 4 * (3 + i % 40), i));
}

TEST(OpListTest, SerializeAtEveryPieceSizeIsTheConcatenation) {
  OvOpList list;
  FillThreeBuffers(list);
  const std::vector<uint8_t> want = Concatenation(list);
  for (unsigned piece = 1; piece <= 64; ++piece) {
    OvSerializeIt it;
    std::vector<uint8_t> got;
    uint8_t dst[64];
    while (!list.iteratorFinished(it)) {
      const uint32_t n = list.serialize(dst, piece, &it);
      ASSERT_GT(n, 0u) << "piece " << piece;
      ASSERT_LE(n, piece);
      got.insert(got.end(), dst, dst + n);
      EXPECT_EQ(list.iteratorFinished(it), got.size() == want.size()) << "piece " << piece;
    }
    EXPECT_EQ(got, want) << "piece " << piece;
    EXPECT_EQ(list.serialize(dst, piece, &it), 0u);
  }
}

TEST(OpListTest, ReserveAndDeserializeRebuildTheStream) {
  OvOpList sent;
  FillThreeBuffers(sent);
  const std::vector<uint8_t> bytes = Concatenation(sent);
  OvOpList received;
  ASSERT_TRUE(received.reserve(uint32_t(bytes.size())));
  ASSERT_TRUE(received.reserve(uint32_t(bytes.size()))) << "already room";
  EXPECT_EQ(received.deserialize(uint32_t(bytes.size()) + 1), nullptr) << "more than the free room";
  for (size_t at = 0; at < bytes.size(); at += 7) {
    const uint32_t n = uint32_t(std::min<size_t>(7, bytes.size() - at));
    uint8_t* dst = received.deserialize(n);
    ASSERT_NE(dst, nullptr);
    std::memcpy(dst, bytes.data() + at, n);
  }
  EXPECT_EQ(Concatenation(received), bytes);
  EXPECT_EQ(received.deserialize(1), nullptr);

  // The walk and the look-up by offset agree across the sender's buffer seams.
  uint32_t visited = 0;
  EXPECT_TRUE(sent.forEachOp([&](const OvOp* op, uint32_t offset) {
    uint32_t left = 0;
    EXPECT_EQ(sent.findOp(offset, &left), op);
    EXPECT_GE(left, op->size());
    const OvOp* there = received.findOp(offset);
    EXPECT_TRUE(there && there->header == op->header) << offset;
    ++visited;
    return true;
  }));
  EXPECT_GT(visited, 100u);
  EXPECT_EQ(sent.findOp(sent.totalUsedSize()), nullptr);
}

TEST(OpListTest, ReserveCannotWrap) {
  FailingAllocator alloc;
  OvOpList list;
  EXPECT_FALSE(list.reserve(0xFFFFFFF0u));
  EXPECT_FALSE(list.addBuffer(0xFFFFFFFFu));
  EXPECT_EQ(alloc.allocations(), 0) << "no short block was taken";
  EXPECT_EQ(list.lastBuffer(), nullptr);
}

TEST(OpListTest, AllocationFailureMidwayLeavesTheListAsItWas) {
  FailingAllocator alloc(2);
  OvOpList list;
  uint32_t pushed = 0;
  while (PushSized(list, 400, pushed)) ++pushed;
  EXPECT_EQ(alloc.allocations(), 2);
  EXPECT_EQ(alloc.failures(), 1);
  const uint32_t total = list.totalUsedSize();
  EXPECT_EQ(total, pushed * 400);
  EXPECT_EQ(list.lastOpOffset(), total - 400);
  EXPECT_EQ(list.push<TailRecord>(400, 1u), nullptr);
  EXPECT_FALSE(list.addBuffer(10));
  EXPECT_EQ(list.totalUsedSize(), total);
  EXPECT_EQ(list.lastOpOffset(), total - 400);
  alloc.allow(1);
  EXPECT_NE(PushSized(list, 400), nullptr) << "recovers once memory is back";
  list.reset();
  EXPECT_EQ(alloc.releases(), 3);
}

TEST(OpListTest, MoveSplicesChains) {
  OvOpList a, empty;
  ASSERT_TRUE(PushSized(a, 12));
  ASSERT_TRUE(PushSized(a, 8));
  a.move(empty);
  EXPECT_EQ(a.totalUsedSize(), 20u);
  EXPECT_EQ(a.lastOpOffset(), 12u);

  OvOpList b;
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(PushSized(b, 1500, 100 + i));
  const OvOp* bLast = b.lastOp();
  std::vector<uint8_t> joined = Concatenation(a), tail = Concatenation(b);
  joined.insert(joined.end(), tail.begin(), tail.end());
  a.move(b);
  EXPECT_EQ(Concatenation(a), joined);
  EXPECT_EQ(a.lastOp(), bLast);
  EXPECT_EQ(a.lastOpOffset(), 20u + 3000u) << "offset of b's last record in the joined stream";
  EXPECT_EQ(a.lastOpSize(), 1500u);
  EXPECT_EQ(a.findOp(a.lastOpOffset()), bLast);
  EXPECT_EQ(b.totalUsedSize(), 0u);
  EXPECT_EQ(b.firstBuffer(), nullptr);
  EXPECT_EQ(b.lastOp(), nullptr);
  a.move(a);
  EXPECT_EQ(Concatenation(a), joined) << "moving a list into itself changes nothing";
}

std::vector<uint32_t> gDestroyed;
void RecordDestroyed(const void* op) { gDestroyed.push_back(static_cast<const OvOp*>(op)->type()); }

TEST(OpListTest, ResetRunsDestructorsUntilABadHeaderAndFreesAll) {
  const OvOpList::Destructor table[4] = {nullptr, RecordDestroyed, nullptr, RecordDestroyed};
  FailingAllocator alloc;
  {
    OvOpList list(table, 4);
    ASSERT_TRUE(list.allocOp(1, 8));
    ASSERT_TRUE(list.allocOp(2, 8));
    ASSERT_TRUE(list.allocOp(7, 8)) << "past the table: skipped";
    ASSERT_TRUE(list.addBuffer(16));
    ASSERT_TRUE(list.allocOp(3, 8));
    ASSERT_TRUE(list.addBuffer(16));
    uint8_t* bad = list.deserialize(8);
    const uint32_t words[2] = {0x00000300u, 0};  // size 3: malformed
    std::memcpy(bad, words, 8);
    ASSERT_TRUE(list.addBuffer(16));
    ASSERT_TRUE(list.allocOp(1, 4));
    gDestroyed.clear();
    list.reset();
    EXPECT_EQ(gDestroyed, (std::vector<uint32_t>{1, 3}));
    EXPECT_EQ(alloc.releases(), 4);
    EXPECT_EQ(list.totalUsedSize(), 0u);
    EXPECT_EQ(list.lastOpOffset(), 0u);
  }
  EXPECT_EQ(alloc.releases(), 4) << "the destructor frees nothing twice";
}

TEST(OpListTest, WalksStopAtMalformedHeadersAndSkipLeadingPadding) {
  struct Case {
    const char* name;
    std::vector<uint32_t> words;
    std::vector<uint32_t> offsets;  // visited records
    bool clean;
  } cases[] = {
      {"padding then records", {0, 0, OpHeader(9, 4), OpHeader(2, 8), 7}, {0, 4}, true},
      {"size below four", {OpHeader(9, 4), 0x00000300u}, {0}, false},
      {"zero word mid-buffer", {OpHeader(9, 4), 0, OpHeader(9, 4)}, {0}, false},
      {"size past the end", {OpHeader(9, 4), OpHeader(1, 12), 0}, {0}, false},
      {"size not a multiple of four", {OpHeader(9, 4), OpHeader(9, 6), 0, OpHeader(9, 4)}, {0}, false},
      {"all padding", {0, 0, 0}, {}, true},
  };
  for (const Case& c : cases) {
    OvOpList list;
    ASSERT_TRUE(list.reserve(64));
    std::memcpy(list.deserialize(uint32_t(c.words.size() * 4)), c.words.data(), c.words.size() * 4);
    std::vector<uint32_t> offsets;
    const bool clean = list.forEachOp([&](const OvOp*, uint32_t offset) {
      offsets.push_back(offset);
      return true;
    });
    EXPECT_EQ(offsets, c.offsets) << c.name;
    EXPECT_EQ(clean, c.clean) << c.name;
  }
  OvOpList list;
  ASSERT_TRUE(list.reserve(64));
  const uint32_t words[3] = {0, OpHeader(9, 4), OpHeader(9, 4)};
  std::memcpy(list.deserialize(12), words, 12);
  uint32_t left = 0;
  EXPECT_EQ(list.findOp(0, &left), reinterpret_cast<const OvOp*>(list.firstBuffer()->data + 4));
  EXPECT_EQ(left, 8u);
  EXPECT_EQ(list.findOp(2), nullptr) << "no record starts off a multiple of four";
  ASSERT_NE(list.deserialize(2), nullptr);
  EXPECT_NE(list.findOp(4), nullptr);
  EXPECT_EQ(list.findOp(8), nullptr) << "fewer than four bytes behind the offset";
  EXPECT_EQ(list.findOp(12), nullptr);
  // A buffer filled to an odd length (as hostile packets can leave it) shifts
  // every later offset off its boundary: those name no record.
  ASSERT_TRUE(list.addBuffer(16));
  std::memcpy(list.deserialize(8), words + 1, 8);
  EXPECT_EQ(list.findOp(12), nullptr) << "10 bytes in the first buffer, 2 into the second";
}

}  // namespace
}  // namespace orvel
