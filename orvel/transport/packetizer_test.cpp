#include "orvel/transport/packetizer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/transport/transport_test_util_internal.h"

namespace orvel {
namespace {

using testing::Bytes;
using testing::CollectPackets;
using testing::LogCapture;
using testing::StridedStorage;

constexpr char kWriteFailed[] = "Layout packetization error; cursor write failed";

TEST(PacketizerTest, EmptyLayoutIsOneFinishedPacketThenNothingForever) {
  OvLayout layout;
  OvLayoutPacketizer p(&layout, nullptr);
  EXPECT_EQ(p.state(), OvLayoutPacketizer::kNotStarted);
  auto packets = CollectPackets(p, 64);
  ASSERT_EQ(packets, (std::vector<Bytes>{{0x00, 0x03}}));
  EXPECT_TRUE(p.finished());
  uint8_t buffer[4];
  for (int i = 0; i < 3; ++i) {
    OvLayoutPacketizer::Packet packet = {buffer, 4, 99};
    EXPECT_TRUE(p.nextPacket(&packet));
    EXPECT_EQ(packet.size, 0u);
  }
}

TEST(PacketizerTest, LayoutOpPacketsCarryTheStreamInOrder) {
  OvLayout layout;
  ASSERT_TRUE(layout.drawList().allocOp(kSave, 4));
  ASSERT_TRUE(layout.drawList().allocOp(kRestore, 4));
  OvOp* binding = layout.bindingList().allocOp(kBinding, 12);
  ASSERT_TRUE(binding);
  std::memset(binding + 1, 0, 8);
  OvLayoutPacketizer p(&layout, nullptr);

  // Exactly 10 bytes: a head with no payload, and no progress.
  uint8_t buffer[32];
  OvLayoutPacketizer::Packet packet = {buffer, 10, 0};
  ASSERT_TRUE(p.nextPacket(&packet));
  EXPECT_EQ(Bytes(buffer, buffer + packet.size), (Bytes{0, 1, 8, 0, 0, 0, 1, 0, 0, 0}));
  EXPECT_EQ(p.bytesSent(), 0u);

  auto packets = CollectPackets(p, 15);
  const Bytes want[] = {
      {0, 1, 8, 0, 0, 0, 1, 0, 0, 0, 0x80 | kSave, 4, 0, 0, 0x80 | kRestore},
      {0, 1, 8, 0, 0, 0, 1, 0, 0, 0, 4, 0, 0},
      // The empty resource list is skipped.
      {0, 1, 12, 0, 0, 0, 3, 0, 0, 0, 0x80 | kBinding, 12, 0, 0, 0},
      {0, 1, 12, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0},
      {0, 1, 12, 0, 0, 0, 3, 0, 0, 0, 0, 0},
      {0, 3},
  };
  ASSERT_EQ(packets.size(), std::size(want));
  for (size_t i = 0; i < packets.size(); ++i) EXPECT_EQ(packets[i], want[i]) << "packet " << i;
}

TEST(PacketizerTest, BitmapStreamInfoPixelsThenEmptyPacket) {
  OvLayout layout;
  StridedStorage storage;
  OvBitmap* a = storage.add(0x01020304, 3, 2, 3, 4);  // 1 byte per pixel, one byte of padding per row
  OvLayoutPacketizer p(&layout, &storage);
  auto packets = CollectPackets(p, 7);
  // Sixteen packets of one info byte, then one per pixel byte, then the empty one.
  ASSERT_EQ(packets.size(), 16u + 8u + 1u + 1u);
  const uint8_t info[16] = {4, 3, 2, 1, 4, 0, 0, 0, 3, 0, 2, 0, 3, 0, 0, 0};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(packets[i], (Bytes{0, 2, 1, 0, 0, 0, info[i]})) << "info byte " << i;
  for (int i = 0; i < 8; ++i) EXPECT_EQ(packets[16 + i], (Bytes{0, 2, 1, 0, 0, 0, a->pixels[i]})) << "pixel " << i;
  EXPECT_EQ(packets[24], (Bytes{0, 2, 0, 0, 0, 0}));
  EXPECT_EQ(packets[25], (Bytes{0, 3}));

  // With room, info and pixels share a packet; the next call is the empty one.
  OvLayoutPacketizer roomy(&layout, &storage);
  packets = CollectPackets(roomy, 64);
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_EQ(packets[0].size(), 6u + 16u + 8u);
  EXPECT_EQ(packets[0][2], 24);
  EXPECT_EQ(packets[1], (Bytes{0, 2, 0, 0, 0, 0}));
}

TEST(PacketizerTest, BitmapWithoutPixelsLeavesOnlyAfterItsWholeInfo) {
  OvLayout layout;
  StridedStorage storage;
  storage.add(7, 5, 0, 5, 20);  // height 0: no pixel bytes
  storage.add(8, 1, 1, 1, 1);
  OvLayoutPacketizer p(&layout, &storage);
  auto packets = CollectPackets(p, 7);
  // 16 one-byte info packets for the empty bitmap (the last one moves on), then
  // 16 + 1 pixel + 1 empty packet for the second, then finished.
  ASSERT_EQ(packets.size(), 16u + 16u + 1u + 1u + 1u);
  EXPECT_EQ(packets[15], (Bytes{0, 2, 1, 0, 0, 0, 0}));
  EXPECT_EQ(packets[16], (Bytes{0, 2, 1, 0, 0, 0, 8})) << "second bitmap's id";

  OvLayoutPacketizer roomy(&layout, &storage);
  packets = CollectPackets(roomy, 64);
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_EQ(packets[0].size(), 22u) << "the empty bitmap advances in the packet that ends its info";
}

TEST(PacketizerTest, FailedCallChangesNothingAndCanBeRetried) {
  OvLayout layout;
  ASSERT_TRUE(layout.drawList().allocOp(kSave, 4));
  StridedStorage storage;
  storage.add(1, 2, 2, 5, 8);
  struct Case {
    const char* name;
    int packetsFirst;  // packets taken at a good size before the failing one
    uint32_t small;
  } cases[] = {
      {"very first call", 0, 9},
      {"null buffer at start", 0, 0},
      {"bitmap packet", 1, 5},
      {"finished packet", 3, 1},
  };
  for (const Case& c : cases) {
    OvLayoutPacketizer p(&layout, &storage), reference(&layout, &storage);
    CollectPackets(p, 64, c.packetsFirst);
    CollectPackets(reference, 64, c.packetsFirst);
    const OvLayoutPacketizer::State state = p.state();
    LogCapture log;
    uint8_t small[16];
    OvLayoutPacketizer::Packet packet = {c.small ? small : nullptr, c.small, 0};
    EXPECT_FALSE(p.nextPacket(&packet)) << c.name;
    EXPECT_EQ(log.lines, std::vector<std::string>{kWriteFailed}) << c.name;
    EXPECT_EQ(p.state(), state) << c.name;
    EXPECT_EQ(CollectPackets(p, 64), CollectPackets(reference, 64)) << c.name;
  }
  LogCapture log;
  OvLayoutPacketizer p(&layout, &storage);
  EXPECT_FALSE(p.nextPacket(nullptr));
  EXPECT_EQ(log.lines, std::vector<std::string>{kWriteFailed});
}

TEST(PacketizerTest, OpListCursorOperations) {
  OvLayout layout;
  ASSERT_TRUE(layout.resourceList().allocOp(kFloat, 8));
  OvLayoutPacketizer p(&layout, nullptr);
  LogCapture log;
  EXPECT_EQ(p.getCurrentOpList(), nullptr) << "no list before the start";
  EXPECT_EQ(log.lines, std::vector<std::string>{"Layout packetization error; invalid oplist state for oplist getter"});
  p.initialize();
  EXPECT_EQ(p.state(), OvLayoutPacketizer::kNotStarted) << "initialize leaves the state";
  EXPECT_EQ(p.getCurrentOpList(), &layout.drawList());
  EXPECT_FALSE(p.moreLayoutPackets());
  EXPECT_TRUE(p.advanceToNextOpList());
  EXPECT_EQ(p.totalSize(), 8u);
  EXPECT_TRUE(p.moreLayoutPackets());
  EXPECT_TRUE(p.advanceToNextOpList());
  EXPECT_FALSE(p.advanceToNextOpList());
  EXPECT_EQ(p.currentOpList(), 0u);
  log.lines.clear();
  EXPECT_FALSE(p.advanceToNextOpList());
  EXPECT_EQ(log.lines, std::vector<std::string>{"Layout packetization error; invalid oplist state for oplist advance"});
  EXPECT_EQ(p.transitionToState(OvLayoutPacketizer::kDone), OvLayoutPacketizer::kDone);
  EXPECT_EQ(p.state(), OvLayoutPacketizer::kNotStarted);
  EXPECT_FALSE(p.moreBitmaps());
}

}  // namespace
}  // namespace orvel
