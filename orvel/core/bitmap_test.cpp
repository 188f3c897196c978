// The bytes-per-pixel table, copyData, and OvHeapBitmapStorage.
#include "orvel/core/bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using testing::FailingAllocator;
using testing::LogCapture;
using Log = std::vector<std::string>;

TEST(BitmapTest, BytesPerPixelAndCopyData) {
  const struct { uint32_t colorType, bytes; } types[] = {
      {0, 0}, {1, 1}, {2, 2}, {3, 1}, {4, 2}, {5, 4}, {6, 4}, {7, 4}, {8, 4}, {9, 0},
      {0x0105, 4}, {0x0100, 0}, {0xFF, 0}, {0xFF03, 1}, {0x10004, 2},
  };
  for (const auto& t : types) EXPECT_EQ(BytesPerPixel(t.colorType), t.bytes) << std::hex << "type 0x" << t.colorType;

  // The source's byte i is i + 1; E marks destination bytes left alone.
  constexpr uint8_t E = 0xEE;
  const struct {
    const char* name;
    unsigned srcRowBytes;
    uint32_t dstRowBytes;
    uint16_t width, height, colorType;
    std::vector<uint8_t> expected;
  } rows[] = {
      {"equal strides copy one block, padding included", 3, 3, 1, 2, 1, {1, 2, 3, 4, 5, 6}},
      {"equal strides ignore an unknown colour type", 3, 3, 1, 2, 9, {1, 2, 3, 4, 5, 6}},
      {"wider rows keep their padding; high type byte ignored", 3, 4, 3, 2, 0x0103, {1, 2, 3, E, 4, 5, 6, E}},
      {"a short source row copies only its bytes", 3, 6, 2, 2, 2, {1, 2, 3, E, E, E, 4, 5, 6, E, E, E}},
      {"source padding is skipped", 5, 4, 2, 2, 2, {1, 2, 3, 4, 6, 7, 8, 9}},
      {"an unknown colour type copies nothing", 4, 8, 2, 2, 9, std::vector<uint8_t>(16, E)},
      {"rows narrower than the pixels are not overrun", 16, 4, 3, 2, 5, {1, 2, 3, 4, 17, 18, 19, 20}},
  };
  for (const auto& r : rows) {
    std::vector<uint8_t> src(size_t(r.srcRowBytes) * r.height), dst(size_t(r.dstRowBytes) * r.height, E);
    for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i + 1);
    OvBitmap bitmap = {dst.data(), r.dstRowBytes, r.width, r.height, r.colorType, 1};
    OvBitmapStorage::copyData(src.data(), r.srcRowBytes, &bitmap);
    EXPECT_EQ(dst, r.expected) << r.name;
  }
  uint8_t src[4] = {1, 2, 3, 4}, dst[4] = {};
  OvBitmap bitmap = {dst, 2, 1, 2, 1, 1}, noPixels = {nullptr, 2, 1, 2, 1, 1};
  OvBitmapStorage::copyData(nullptr, 2, &bitmap);
  OvBitmapStorage::copyData(src, 2, nullptr);
  OvBitmapStorage::copyData(src, 2, &noPixels);
  EXPECT_EQ(std::count(dst, dst + 4, 0), 4) << "null pointers copy nothing";
}

TEST(HeapBitmapStorageTest, AllocatesZeroedAlignedBitmapsAndIteratesByAscendingId) {
  OvHeapBitmapStorage storage;
  EXPECT_TRUE(storage.empty() && storage.first() == nullptr);
  // Row bytes: width * bytes per pixel rounded up to 4; no pixel bytes, no pixels.
  const struct { uint32_t id; uint16_t width, height, colorType; uint32_t rowBytes; bool hasPixels; } rows[] = {
      {7, 3, 2, 5, 12, true},      {3, 5, 3, 1, 8, true},            {0xFFFFFFFF, 1, 1, 2, 4, true},
      {0, 0, 4, 5, 0, false},      {5, 2, 2, 9, 0, false},           {6, 2, 0, 5, 8, false},
      {9, 7, 1, 0x0106, 28, true}, {2, 0xFFFF, 1, 5, 0x3FFFC, true}, {4, 0xFFFF, 1, 1, 0x10000, true},
  };
  for (const auto& r : rows) {
    OvBitmap* b = storage.allocate(r.id, r.width, r.height, r.colorType);
    ASSERT_NE(b, nullptr) << "id " << r.id;
    EXPECT_TRUE(b->id == r.id && b->width == r.width && b->height == r.height && b->colorType == r.colorType);
    EXPECT_EQ(b->rowBytes, r.rowBytes) << "id " << r.id;
    EXPECT_EQ(b->pixels != nullptr, r.hasPixels) << "id " << r.id;
    const uint32_t n = b->pixels ? b->rowBytes * b->height : 0;
    EXPECT_EQ(uint32_t(std::count(b->pixels, b->pixels + n, 0)), n) << "id " << r.id << " zeroed";
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b->pixels) % alignof(std::max_align_t), 0u) << "id " << r.id;
    EXPECT_EQ(storage.find(r.id), b);
  }
  std::vector<uint32_t> ids;
  for (const OvBitmap* b = storage.first(); b != nullptr; b = storage.next(b)) ids.push_back(b->id);
  EXPECT_EQ(ids, (std::vector<uint32_t>{0, 2, 3, 4, 5, 6, 7, 9, 0xFFFFFFFF}));
  EXPECT_TRUE(storage.size() == 9 && !storage.empty() && storage.contains(0) && !storage.contains(8));
  EXPECT_TRUE(storage.find(8) == nullptr && storage.next(nullptr) == nullptr);
  OvBitmap probe = {nullptr, 0, 0, 0, 0, 1};  // a cursor needs only an id
  EXPECT_EQ(storage.next(&probe), storage.find(2));

  LogCapture log;
  storage.find(7)->pixels[0] = 0xAB;
  EXPECT_EQ(storage.allocate(7, 8, 8, 1), nullptr);
  EXPECT_EQ(log.lines, Log{"Bitmap storage error; bitmap 7 already stored"});
  EXPECT_EQ(log.priorities, std::vector<int>{kLogPriorityError});
  EXPECT_TRUE(storage.size() == 9 && storage.find(7)->width == 3 && storage.find(7)->pixels[0] == 0xAB);
}

TEST(HeapBitmapStorageTest, RefusesSizesBeyondTheLimitWithoutAllocating) {
  const struct { uint16_t width, height, colorType; bool tooLarge; } rows[] = {
      {0xFFFF, 0xFFFF, 5, true},   // 0x3FFFC * 0xFFFF: over 4 GiB
      {0x4001, 0xFFFF, 5, true},   // 0x10004 * 0xFFFF: just over 4 GiB
      {0xFFFF, 0xFFFF, 1, false},  // 0x10000 * 0xFFFF = 0xFFFF0000: within the limit
      {0x4001, 0xFFFC, 5, sizeof(size_t) == 4},  // 0xFFFFFFF0 and the block header pass only in 64 bits
      {100, 100, 5, false},
  };
  for (const auto& r : rows) {
    LogCapture log;
    FailingAllocator allocator(1);  // the index, then no pixel block
    OvHeapBitmapStorage storage;
    EXPECT_EQ(storage.allocate(9, r.width, r.height, r.colorType), nullptr);
    const std::string size = std::to_string(r.width) + " x " + std::to_string(r.height);
    const std::string why = r.tooLarge ? "bitmap 9 too large (" + size + ", colour type " +
                                             std::to_string(r.colorType) + ")"
                                       : "out of memory for bitmap 9";
    EXPECT_EQ(log.lines, Log{"Bitmap storage error; " + why}) << size;
    EXPECT_EQ(allocator.failures(), r.tooLarge ? 0 : 1) << size;
    EXPECT_TRUE(storage.empty());
  }
  // Out of memory at every step (the index, one block per bitmap, the index
  // again for the ninth) stores nothing, and everything is released.
  for (const int allowed : {0, 1, 2, 9}) {
    FailingAllocator allocator(allowed);
    LogCapture log;
    uint32_t id = 0;
    {
      OvHeapBitmapStorage storage;
      while (storage.allocate(id, 2, 2, 5) != nullptr) ++id;
      EXPECT_TRUE(storage.size() == id && !storage.contains(id)) << "allowed " << allowed;
      EXPECT_EQ(log.lines, Log{"Bitmap storage error; out of memory for bitmap " + std::to_string(id)});
      allocator.allow(-1);
      EXPECT_NE(storage.allocate(id, 2, 2, 5), nullptr) << "allowed " << allowed;
    }
    EXPECT_EQ(id, allowed < 2 ? 0u : uint32_t(allowed - 1)) << "allowed " << allowed;
    // Index growths reallocate in place of a release, so count blocks alone.
    EXPECT_EQ(allocator.releases(), allocator.allocations() - (id + 1 > 8 ? 2 : 1) + 1) << "allowed " << allowed;
  }
}

}  // namespace
}  // namespace orvel
