#include "orvel/core/heap_bitmap_storage.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using testing::FailingAllocator;
using testing::LogCapture;

std::vector<uint32_t> IdsInOrder(const OvBitmapStorage& storage) {
  std::vector<uint32_t> ids;
  for (const OvBitmap* b = storage.first(); b != nullptr; b = storage.next(b)) ids.push_back(b->id);
  return ids;
}

TEST(HeapBitmapStorageTest, AllocatesZeroedAlignedBitmapsAndIteratesByAscendingId) {
  OvHeapBitmapStorage storage;
  EXPECT_TRUE(storage.empty());
  EXPECT_EQ(storage.first(), nullptr);

  struct Case {
    uint32_t id;
    uint16_t width, height, colorType;
    uint32_t rowBytes;
    bool hasPixels;
  } cases[] = {
      // Row bytes: width * bytes per pixel rounded up to 4; no pixel bytes, no pixels.
      {7, 3, 2, 5, 12, true},        {3, 5, 3, 1, 8, true},           {0xFFFFFFFF, 1, 1, 2, 4, true},
      {0, 0, 4, 5, 0, false},        {5, 2, 2, 9, 0, false},          {6, 2, 0, 5, 8, false},
      {9, 7, 1, 0x0106, 28, true},   {2, 0xFFFF, 1, 5, 0x3FFFC, true}, {4, 0xFFFF, 1, 1, 0x10000, true},
  };
  for (const Case& c : cases) {
    OvBitmap* b = storage.allocate(c.id, c.width, c.height, c.colorType);
    ASSERT_NE(b, nullptr) << "id " << c.id;
    EXPECT_TRUE(b->id == c.id && b->width == c.width && b->height == c.height && b->colorType == c.colorType);
    EXPECT_EQ(b->rowBytes, c.rowBytes) << "id " << c.id;
    EXPECT_EQ(b->pixels != nullptr, c.hasPixels) << "id " << c.id;
    if (b->pixels != nullptr) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(b->pixels) % alignof(std::max_align_t), 0u);
      for (uint32_t i = 0; i < b->rowBytes * b->height; ++i) ASSERT_EQ(b->pixels[i], 0) << "id " << c.id;
    }
    EXPECT_EQ(storage.find(c.id), b);
  }

  EXPECT_FALSE(storage.empty());
  EXPECT_EQ(storage.size(), 9u);
  EXPECT_EQ(IdsInOrder(storage), (std::vector<uint32_t>{0, 2, 3, 4, 5, 6, 7, 9, 0xFFFFFFFF}));
  EXPECT_TRUE(storage.contains(0xFFFFFFFF));
  EXPECT_TRUE(storage.contains(0));
  EXPECT_FALSE(storage.contains(8));
  EXPECT_EQ(storage.find(8), nullptr);
  EXPECT_EQ(storage.next(storage.find(0xFFFFFFFF)), nullptr);
  EXPECT_EQ(storage.next(nullptr), nullptr);
  // A cursor needs only an id: the next stored id above it.
  OvBitmap probe = {nullptr, 0, 0, 0, 0, 1};
  ASSERT_NE(storage.next(&probe), nullptr);
  EXPECT_EQ(storage.next(&probe)->id, 2u);
}

TEST(HeapBitmapStorageTest, DuplicateIdIsRefusedAndTheStoredBitmapKept) {
  LogCapture log;
  OvHeapBitmapStorage storage;
  OvBitmap* original = storage.allocate(42, 3, 2, 5);
  ASSERT_NE(original, nullptr);
  original->pixels[0] = 0xAB;

  EXPECT_EQ(storage.allocate(42, 8, 8, 1), nullptr);
  EXPECT_EQ(log.lines, std::vector<std::string>{"Bitmap storage error; bitmap 42 already stored"});
  EXPECT_EQ(log.priorities, std::vector<int>{kLogPriorityError});
  EXPECT_EQ(storage.size(), 1u);
  EXPECT_EQ(storage.find(42), original);
  EXPECT_EQ(original->width, 3);
  EXPECT_EQ(original->rowBytes, 12u);
  EXPECT_EQ(original->pixels[0], 0xAB);
}

TEST(HeapBitmapStorageTest, RefusesSizesBeyondTheLimitWithoutAllocating) {
  const bool wide = sizeof(size_t) > 4;
  struct Case {
    uint16_t width, height, colorType;
    bool tooLarge;  // else it passes the size check and reaches the (failing) allocator
  } cases[] = {
      {0xFFFF, 0xFFFF, 5, true},   // 0x3FFFC * 0xFFFF: over 4 GiB
      {0x4001, 0xFFFF, 5, true},   // 0x10004 * 0xFFFF: just over 4 GiB
      {0xFFFF, 0xFFFF, 1, false},  // 0x10000 * 0xFFFF = 0xFFFF0000: within the limit
      {0x4001, 0xFFFC, 5, !wide},  // 0xFFFFFFF0: within the limit, but not with the block
                                   // header in a 32-bit address space
      {100, 100, 5, false},
  };
  for (const Case& c : cases) {
    LogCapture log;
    FailingAllocator allocator(1);  // the index, then no pixel block
    OvHeapBitmapStorage storage;
    EXPECT_EQ(storage.allocate(9, c.width, c.height, c.colorType), nullptr);
    const std::string expected = c.tooLarge ? "Bitmap storage error; bitmap 9 too large (" + std::to_string(c.width) +
                                                  " x " + std::to_string(c.height) + ", colour type " +
                                                  std::to_string(c.colorType) + ")"
                                            : "Bitmap storage error; out of memory for bitmap 9";
    EXPECT_EQ(log.lines, std::vector<std::string>{expected}) << c.width << " x " << c.height;
    EXPECT_EQ(allocator.allocations(), c.tooLarge ? 0 : 1) << c.width << " x " << c.height;
    EXPECT_EQ(allocator.failures(), c.tooLarge ? 0 : 1) << c.width << " x " << c.height;
    EXPECT_FALSE(storage.contains(9));
    EXPECT_TRUE(storage.empty());
  }
}

TEST(HeapBitmapStorageTest, OutOfMemoryLeavesNothingStoredAndReleasesEverything) {
  // Allocations in order: the index (8 entries), one block per bitmap, the
  // index again for the ninth bitmap.
  struct Case {
    int allowed;
    uint32_t storedBeforeFailure;
  } cases[] = {{0, 0}, {1, 0}, {2, 1}, {9, 8}};
  for (const Case& c : cases) {
    FailingAllocator allocator(c.allowed);
    LogCapture log;
    {
      OvHeapBitmapStorage storage;
      uint32_t id = 0;
      while (storage.allocate(id, 2, 2, 5) != nullptr) ++id;
      EXPECT_EQ(id, c.storedBeforeFailure) << "allowed " << c.allowed;
      EXPECT_EQ(storage.size(), c.storedBeforeFailure);
      EXPECT_FALSE(storage.contains(id));
      EXPECT_EQ(log.lines,
                std::vector<std::string>{"Bitmap storage error; out of memory for bitmap " + std::to_string(id)});
      for (uint32_t i = 0; i < id; ++i) EXPECT_EQ(storage.find(i)->height, 2);

      allocator.allow(-1);
      ASSERT_NE(storage.allocate(id, 2, 2, 5), nullptr) << "allowed " << c.allowed;
      EXPECT_EQ(storage.size(), c.storedBeforeFailure + 1);
    }
    // Index growths reallocate in place of a release, so count blocks alone.
    const int indexGrowths = c.storedBeforeFailure + 1 > 8 ? 2 : 1;
    EXPECT_EQ(allocator.releases(), allocator.allocations() - indexGrowths + 1) << "allowed " << c.allowed;
  }
}

}  // namespace
}  // namespace orvel
