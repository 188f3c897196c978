#include "orvel/expr/property_storage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace orvel {
namespace {

// Serves id * 10 as an S32 and records every fetch.
class RecordingClient : public OvPropertyClient {
 public:
  explicit RecordingClient(uint16_t count) : OvPropertyClient(count) {}
  void fetchProperty(unsigned short id, Property* slot) override {
    fetched.push_back(id);
    *slot = Property::MakeS32(id * 10);
  }
  std::vector<unsigned> fetched;
};

bool AllZero(const Property& p) {
  const unsigned char zero[sizeof(Property)] = {};
  return std::memcmp(zero, &p, sizeof p) == 0;
}

TEST(PropertyStorageTest, FreshStoreIsEmptyAndSingletonIsStable) {
  OvPropertyStorage storage;
  EXPECT_EQ(nullptr, storage.client);
  for (unsigned short id = 0; id < OvPropertyStorage::kSlotCount; ++id) EXPECT_TRUE(AllZero(*storage.get(id))) << id;
  EXPECT_NE(nullptr, OvPropertyStorage::getInstance());
  EXPECT_EQ(OvPropertyStorage::getInstance(), OvPropertyStorage::getInstance());
}

TEST(PropertyStorageTest, FetchesOnlyIdsBelowTheClientCount) {
  OvPropertyStorage storage;
  RecordingClient client(5);
  storage.client = &client;
  EXPECT_EQ(&storage.values[4], storage.get(4));
  EXPECT_EQ(40, storage.values[4].value.s32);
  EXPECT_EQ(&storage.values[5], storage.get(5));
  EXPECT_EQ(PropertyType::None, storage.values[5].type);
  storage.maybeFetchPropertyFromClient(2);
  storage.maybeFetchPropertyFromClient(7);
  EXPECT_EQ((std::vector<unsigned>{4, 2}), client.fetched);
  EXPECT_EQ(20, storage.values[2].value.s32);
}

TEST(PropertyStorageTest, ResetClearsEverySlotAndKeepsTheClient) {
  OvPropertyStorage storage;
  RecordingClient client(41);
  storage.client = &client;
  storage.values[9] = Property::MakeString("a long text that fills the slot");
  for (unsigned short id = 0; id < 5; ++id) storage.get(id);
  storage.reset();
  EXPECT_EQ(&client, storage.client);
  for (const Property& slot : storage.values) EXPECT_TRUE(AllZero(slot));
}

TEST(PropertyStorageTest, OutOfRangeIdsReadAZeroedScratchSlot) {
  OvPropertyStorage storage;
  RecordingClient client(0xFFFF);
  storage.client = &client;
  for (unsigned short id : {41, 100, 0xFFFF}) {
    Property* slot = storage.get(id);
    ASSERT_NE(nullptr, slot);
    EXPECT_TRUE(slot < storage.values || slot >= storage.values + OvPropertyStorage::kSlotCount) << id;
    EXPECT_TRUE(AllZero(*slot)) << id;
    *slot = Property::MakeS64(-1);  // a caller scribbling on it does not leak into the next read
    storage.maybeFetchPropertyFromClient(id);
  }
  EXPECT_TRUE(client.fetched.empty());
  for (const Property& slot : storage.values) EXPECT_TRUE(AllZero(slot));
}

TEST(PropertyStorageTest, ClientLayoutIsCountBehindTheVtableAndFetchFirst) {
  RecordingClient client(3);
  const char* base = reinterpret_cast<const char*>(static_cast<OvPropertyClient*>(&client));
  EXPECT_EQ(ptrdiff_t(sizeof(void*)), reinterpret_cast<const char*>(&client.propertyCount) - base);
  // The first virtual table entry is fetchProperty (Itanium/ARM C++ ABI).
  using Fetch = void (*)(OvPropertyClient*, unsigned short, Property*);
  Fetch first = **reinterpret_cast<Fetch* const*>(base);
  Property slot;
  first(&client, 2, &slot);
  EXPECT_EQ(20, slot.value.s32);
}

}  // namespace
}  // namespace orvel
