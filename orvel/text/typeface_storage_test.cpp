#include "orvel/text/typeface_storage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/text/bitmap_typeface.h"
#include "orvel/text/text_test_helpers_internal.h"

namespace orvel {
namespace {

const unsigned char kBytes[6] = {'t', 't', 'f', 'd', 'a', 't'};

bool Holds(const OvTypeface* t, const unsigned char* bytes, uint32_t size) {
  return t && t->size == size && std::memcmp(t->data, bytes, size) == 0;
}

TEST(TypefaceStorageTest, AllocateOwnsACopy) {
  testing::FailingAllocator allocator;
  OvTypefaceStorage storage;
  const OvTypeface* a = storage.allocate(0, 6, kBytes);
  const OvTypeface* b = storage.allocate(0, 6, kBytes);
  ASSERT_TRUE(a && b);
  EXPECT_EQ(b->id, a->id + 1);  // two entries, consecutive fresh ids
  EXPECT_TRUE(a->data != kBytes && Holds(a, kBytes, 6) && !a->context && !a->weightAdjustable);
  EXPECT_EQ(storage.find(a->id), a);

  // A present id keeps its entry; the second buffer is freed, not leaked.
  const unsigned char other[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(storage.allocate(a->id, 6, other), a);
  EXPECT_TRUE(Holds(a, kBytes, 6));
  EXPECT_EQ(allocator.allocations(), 3);
  EXPECT_EQ(allocator.releases(), 1);

  const unsigned char zeros[4] = {};
  EXPECT_TRUE(Holds(storage.allocate(1000, 4, nullptr), zeros, 4));  // null data: zero-filled
  EXPECT_TRUE(Holds(storage.allocate(1001, 0, nullptr), zeros, 0));

  allocator.allow(0);
  EXPECT_EQ(storage.allocate(0, 6, kBytes), nullptr);
  EXPECT_EQ(storage.allocate(2000, 6, kBytes), nullptr);
  EXPECT_EQ(storage.find(2000), nullptr);
  EXPECT_EQ(storage.size(), 4u);
  allocator.allow(-1);
  storage.reset();
  EXPECT_EQ(allocator.releases(), 5);  // every owned buffer
}

TEST(TypefaceStorageTest, ImportReleaseAndReset) {
  testing::FailingAllocator allocator;
  testing::FakeFontBackend backend;
  OvTypefaceStorage storage;
  const OvTypeface* imported = storage.import(78, 6, kBytes);
  EXPECT_EQ(imported->data, kBytes);
  const unsigned char other[2] = {9, 9};
  EXPECT_EQ(storage.import(78, 2, other), imported);  // the earlier entry, new bytes ignored
  EXPECT_EQ(imported->data, kBytes);
  EXPECT_EQ(storage.import(5, 6, nullptr), nullptr);
  const OvTypeface* owned = storage.allocate(77, 6, kBytes);

  storage.release(nullptr);
  const OvTypeface stranger = OvTypeface::MakeFromTTF(kBytes, 6);
  storage.release(&stranger);  // unknown id
  EXPECT_EQ(storage.size(), 2u);
  EXPECT_TRUE(backend.forgotten.empty());

  // A copy of the stored value with bytes of its own: the stored buffer is
  // freed, never the copy's.
  unsigned char mine[6];
  OvTypeface copy = *owned;
  copy.data = mine;
  storage.release(&copy);
  EXPECT_EQ(storage.find(77), nullptr);
  EXPECT_EQ(allocator.releases(), 1);
  storage.release(imported);  // the caller's bytes stay
  EXPECT_EQ(allocator.releases(), 1);
  EXPECT_EQ(backend.forgotten, (std::vector<unsigned int>{77, 78}));

  const uint32_t before = storage.allocate(0, 6, kBytes)->id;
  storage.import(79, 6, kBytes);
  storage.reset();
  for (uint32_t id : {77u, 78u, 79u, before}) EXPECT_EQ(storage.find(id), nullptr);
  EXPECT_EQ(allocator.releases(), 2);
  EXPECT_EQ(backend.forgotten.size(), 4u);
  EXPECT_GT(storage.allocate(0, 6, kBytes)->id, before);  // ids are not reused
}

TEST(TypefaceStorageTest, OneInstance) {
  OvTypefaceStorage& storage = OvTypefaceStorage::getInstance();
  const OvTypeface* t = storage.import(0, 6, kBytes);
  EXPECT_EQ(OvTypefaceStorage::getInstance().find(t->id), t);
  storage.reset();
}

TEST(BitmapTypefaceTest, IdsAndEntries) {
  const uint32_t entries[3] = {0x11, 0x22, 0x33};
  OvBitmap atlas{};
  atlas.id = 900;
  const unsigned int next = OvTypeface::NextID();
  const OvBitmapTypeface fresh(0, 12, 10, entries, 3, atlas), kept(55, 0, 0, nullptr, 3, atlas);
  EXPECT_TRUE(fresh.id == next + 1 && fresh.metrics[0] == 12 && fresh.metrics[1] == 10 && fresh.atlas.id == 900);
  EXPECT_TRUE(kept.id == 55 && kept.entryCount == 0);
  struct Row {
    const OvBitmapTypeface* typeface;
    uint32_t code;
    bool found;
    uint32_t entry;
  };
  for (const Row& row : {Row{&fresh, 0, true, 0x11}, Row{&fresh, 2, true, 0x33}, Row{&fresh, 3, false, 7},
                         Row{&fresh, 0xFFFFFFFF, false, 7}, Row{&kept, 0, false, 7}}) {
    uint32_t out = 7;
    EXPECT_EQ(row.typeface->entry(row.code, &out), row.found);
    EXPECT_EQ(out, row.entry);
  }
  EXPECT_FALSE(fresh.entry(0, nullptr));
}

}  // namespace
}  // namespace orvel
