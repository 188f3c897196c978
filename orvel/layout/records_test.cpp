#include "orvel/layout/records.h"

#include <gtest/gtest.h>

#include "orvel/layout/op_list.h"

namespace orvel {
namespace {

TEST(RecordsTest, SizeTableAgreesWithEveryType) {
  // Fixed sizes of the records laid out elsewhere (17 to 34) come only from
  // the table; pin them here.
  const uint32_t fixed[kOpTypeCount] = {64, 36, 36, 48, 48, 32, 32, 56, 40, 4,  4, 4,  0, 12, 108, 52, 20, 12,
                                        12, 16, 16, 24, 32, 8,  16, 24, 32, 40, 8, 12, 4, 8,  12,  72, 12};
  for (uint32_t t = 0; t < kOpTypeCount; ++t) EXPECT_EQ(OpFixedSize(t), fixed[t]) << "type " << t;
  EXPECT_EQ(OpFixedSize(35), 0u);
  EXPECT_EQ(OpFixedHeader(12), 0u);
}

TEST(RecordsTest, PathTail) {
  uint32_t tail = 0;
  ASSERT_TRUE(OvDrawPath::TailFor(3, 4, &tail));
  EXPECT_EQ(OpRecordSize(kDrawPath, tail), 60u);
  OvOpList list;
  auto* path = reinterpret_cast<OvDrawPath*>(
      static_cast<uint8_t*>(list.push<OvDrawPath>(tail, OvPaintInfo(), 3u, 4u, 1u)) - sizeof(OvDrawPath));
  EXPECT_EQ(path->op.header, 0x00003C86u);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(path->points()) - reinterpret_cast<const uint8_t*>(path), 32);
  EXPECT_EQ(path->verbs() - reinterpret_cast<const uint8_t*>(path), 56) << "verbs follow the 3 points";
  EXPECT_FALSE(OvDrawPath::TailFor(0x20000000, 0, &tail)) << "8P past 32 bits";
  EXPECT_FALSE(OvDrawPath::TailFor((kMaxOpSize - 32) / 8 + 1, 0, &tail)) << "past the 24-bit size";
}

}  // namespace
}  // namespace orvel
