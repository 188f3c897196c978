#include "orvel/transport/depacketizer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/expr/evaluator.h"
#include "orvel/expr/layout_builder.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/transport/transport_test_util_internal.h"

namespace orvel {
namespace {

using testing::Bytes;
using testing::CollectPackets;
using testing::LogCapture;
using testing::StridedStorage;

Bytes LayoutOp(uint32_t total, uint32_t list, Bytes payload) {
  Bytes p = {0, 1};
  for (uint32_t v : {total, list})
    for (int i = 0; i < 4; ++i) p.push_back(uint8_t(v >> (8 * i)));
  p.insert(p.end(), payload.begin(), payload.end());
  return p;
}

Bytes BitmapPacket(Bytes payload) {
  Bytes p = {0, 2, uint8_t(payload.size()), 0, 0, 0};
  p.insert(p.end(), payload.begin(), payload.end());
  return p;
}

Bytes Info(uint32_t id, uint32_t rowBytes, uint16_t width, uint16_t height, uint16_t colorType) {
  OvLayoutPacketTypes::BitmapInfo info = {id, rowBytes, width, height, colorType, 0};
  Bytes b(16);
  std::memcpy(b.data(), &info, 16);
  return b;
}

const Bytes kFinished = {0, 3};
const Bytes kRecord = {0x89, 4, 0, 0};  // a save record

TEST(DepacketizerTest, RejectionsAndTheirLogLines) {
  const std::string e = "Layout depacketize error; ";
  struct Case {
    const char* name;
    std::vector<Bytes> before;  // accepted first
    Bytes packet;               // then this one
    bool accepted;
    std::vector<std::string> log;
    uint32_t state;
  } cases[] = {
      {"one byte", {}, {0}, false, {e + "invalid packet header"}, 0},
      {"unknown type", {}, {0, 7}, false, {e + "unhandled packet type 7"}, 0},
      {"empty layout packet", {}, LayoutOp(4, 1, {}), false,
       {e + "unexpected empty layout packet.", e + "failed receiving layout op packet"}, 0},
      {"short layout packet", {}, {0, 1, 4, 0, 0, 0, 1, 0, 0}, false, {e + "failed receiving layout op packet"}, 0},
      {"op list compared whole", {}, LayoutOp(4, 0x101, kRecord), false,
       {"Layout depacketization error; invalid oplist value for oplist getter", e + "failed receiving layout op packet"},
       0},
      {"enormous total", {}, LayoutOp(0xFFFFFFF0u, 1, kRecord), false,
       {e + "failed to reserve 4294967280 bytes", e + "failed receiving layout op packet"}, 0},
      {"payload past the reserved size", {LayoutOp(4, 1, kRecord)}, LayoutOp(4, 1, Bytes(5000, 1)), false,
       {e + "failed to reserve 5000 bytes", e + "failed receiving layout op packet"}, 0},
      {"layout op after a bitmap packet", {BitmapPacket({})}, LayoutOp(4, 1, kRecord), false,
       {e + "invalid state for packet"}, 1},
      {"short bitmap packet", {}, {0, 2, 0, 0, 0}, false, {e + "failed receiving bitmap op packet"}, 1},
      {"empty bitmap packet", {}, BitmapPacket({}), true, {}, 1},
      {"finished after op lists", {LayoutOp(4, 1, kRecord)}, kFinished, true, {}, 3},
      {"finished mid-bitmap", {BitmapPacket(Info(1, 4, 1, 1, 5))}, kFinished, false,
       {e + "invalid state transition 2 -> 3"}, 2},
      {"height 0 bitmap then finished", {BitmapPacket(Info(1, 4, 1, 0, 5))}, kFinished, false,
       {e + "invalid state transition 2 -> 3"}, 2},
      {"second finished", {kFinished}, kFinished, false, {e + "invalid state transition 3 -> 3"}, 3},
      {"bitmap after finished", {kFinished}, BitmapPacket({}), false, {e + "invalid state for packet"}, 3},
      {"row offset past the stride", {}, BitmapPacket([] {
         Bytes b = Info(1, 2, 3, 2, 5);  // 12 pixel bytes a row, stride 2
         b.resize(40, 9);
         return b;
       }()),
       false,
       {e + "unexpected src row offset.", e + "error copying bitmap pixel data", e + "failed receiving bitmap op packet"},
       2},
  };
  for (const Case& c : cases) {
    OvLayout layout;
    OvHeapBitmapStorage storage;
    OvLayoutDepacketizer d(&layout, &storage);
    for (const Bytes& b : c.before) ASSERT_TRUE(d.receivePacket(b.data(), unsigned(b.size()))) << c.name;
    LogCapture log;
    EXPECT_EQ(d.receivePacket(c.packet.data(), unsigned(c.packet.size())), c.accepted) << c.name;
    EXPECT_EQ(log.lines, c.log) << c.name;
    EXPECT_EQ(d.state(), c.state) << c.name;
  }
  OvLayoutDepacketizer d(nullptr, nullptr);
  LogCapture log;
  EXPECT_FALSE(d.receivePacket(nullptr, 10));
  EXPECT_FALSE(d.receivePacket(LayoutOp(4, 1, kRecord).data(), 14));
  EXPECT_EQ(log.lines, (std::vector<std::string>{"Layout depacketize error; invalid packet header",
                                                 "Layout depacketize error; failed receiving layout op packet"}));
}

TEST(DepacketizerTest, StateTransitions) {
  struct Case {
    uint32_t from, to;
    bool ok;
  } cases[] = {{0, 1, true}, {2, 1, true}, {1, 2, true}, {0, 3, true}, {1, 3, true}, {0, 2, false},
               {2, 3, false}, {3, 1, false}, {1, 0, false}, {3, 7, true}};
  for (const Case& c : cases) {
    OvLayoutDepacketizer d(nullptr, nullptr);
    // Walk to `from` by allowed steps.
    const uint32_t path[4][3] = {{0}, {1}, {1, 2}, {3}};
    for (uint32_t s : path[c.from])
      if (s) d.transitionToState(OvLayoutDepacketizer::State(s));
    ASSERT_EQ(d.state(), c.from);
    LogCapture log;
    EXPECT_EQ(d.transitionToState(OvLayoutDepacketizer::State(c.to)), c.ok) << c.from << "->" << c.to;
    EXPECT_EQ(d.state(), c.ok ? c.to : c.from);
    if (!c.ok) {
      const std::string want = c.to == 0 ? "Layout depacketize error; invalid state transition to 0"
                                         : "Layout depacketize error; invalid state transition " +
                                               std::to_string(c.from) + " -> " + std::to_string(c.to);
      EXPECT_EQ(log.lines, std::vector<std::string>{want});
    }
  }
}

TEST(DepacketizerTest, PaddingIsSkippedAndStridesConverted) {
  OvLayout layout;
  OvHeapBitmapStorage storage;
  OvLayoutDepacketizer d(&layout, &storage);
  // 3 pixels of 2 bytes, sender stride 9: three bytes of padding per row.
  Bytes stream = Info(42, 9, 3, 2, 2);
  const Bytes rows[2] = {{1, 2, 3, 4, 5, 6, 0xEE, 0xEE, 0xEE}, {7, 8, 9, 10, 11, 12, 0xEE, 0xEE, 0xEE}};
  for (const Bytes& r : rows) stream.insert(stream.end(), r.begin(), r.end());
  for (size_t at = 0; at < stream.size(); at += 5) {
    const Bytes piece(stream.begin() + long(at), stream.begin() + long(std::min(stream.size(), at + 5)));
    ASSERT_TRUE(d.receivePacket(BitmapPacket(piece).data(), unsigned(piece.size() + 6))) << at;
  }
  EXPECT_EQ(d.state(), OvLayoutDepacketizer::kExpectingBitmapInfo);
  const OvBitmap* b = storage.find(42);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(testing::PixelRows(*b), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
  EXPECT_TRUE(d.receivePacket(kFinished.data(), 2));
}

TEST(DepacketizerTest, AllocationRefusedByTheStorage) {
  OvLayout layout;
  OvHeapBitmapStorage storage;
  OvLayoutDepacketizer d(&layout, &storage);
  testing::FailingAllocator alloc(0);
  LogCapture log;
  const Bytes packet = BitmapPacket(Info(1, 4, 1, 1, 5));
  EXPECT_FALSE(d.receivePacket(packet.data(), unsigned(packet.size())));
  EXPECT_EQ(log.lines, (std::vector<std::string>{"Bitmap storage error; out of memory for bitmap 1",
                                                 "Layout depacketize error; failed to allocate storage for bitmap",
                                                 "Layout depacketize error; failed receiving bitmap op packet"}));
}

// A layout as the builder makes it: shapes, paths, ids, bindings and
// expression properties, several buffers' worth of draw records.
void Author(OvLayout* layout, StridedStorage* bitmaps, std::mt19937& rng) {
  OvLayoutBuilder builder(layout, bitmaps);
  OvRecordingCanvas& canvas = builder.canvas();
  OvPaint paint;
  uint8_t verbs[6];
  OvPoint points[6];
  OvPathStorage storage = {verbs, 6, points, 6};
  for (int i = 0; i < 300; ++i) {
    const std::string id = "e" + std::to_string(i);
    const float v = float(rng() % 200);
    switch (i % 4) {
      case 0: canvas.writeRect({v, v, v + 5, v + 9}, paint, id.c_str()); break;
      case 1: canvas.writeLine({v, 0}, {0, v}, paint, id.c_str()); break;
      case 2: canvas.writeArc({0, 0, v + 1, v + 2}, v, 90, i % 8 == 2, paint, id.c_str()); break;
      default: {
        OvPath path(&storage);
        path.moveTo({v, 1}).lineTo({2, v}).cubicTo({v, v}, {3, 4}, {5, v}).close();
        canvas.writePath(path, paint, id.c_str());
      }
    }
    if (i % 50 == 0) builder.writeBinding({id.c_str(), uint16_t(i), uint16_t(i % 7)});
  }
  const char* expressions[] = {"{1} * 3 + {2}", "{1} > 4 ? floor({2} / 3.0) : -1", "\"id\" + {3}", "cos(PI() * {2})"};
  for (unsigned i = 0; i < 4; ++i) {
    std::string error;
    ASSERT_TRUE(builder.writeExpressionProperty(i, PropertyType::Float, expressions[i], &error)) << error;
  }
  ASSERT_TRUE(builder.finish());
}

std::vector<Property> EvaluateProperties(const OvLayout& layout) {
  OvPropertyStorage* store = OvPropertyStorage::getInstance();
  *store->get(1) = Property::MakeS32(7);
  *store->get(2) = Property::MakeFloat(2.5f);
  *store->get(3) = Property::MakeU8(9);
  OvExpressionEvaluator evaluator(&layout.resourceList());
  std::vector<Property> values;
  layout.resourceList().forEachOp([&](const OvOp* op, uint32_t) {
    if (op->type() == kExpressionProperty)
      values.push_back(evaluator.evaluate(reinterpret_cast<const OvExpressionProperty*>(op)->root.offset));
    return true;
  });
  return values;
}

Bytes Stream(const OvOpList& list) {
  Bytes b(list.totalUsedSize());
  OvSerializeIt it;
  if (!b.empty()) list.serialize(b.data(), unsigned(b.size()), &it);
  return b;
}

// Everything the sender had, byte for byte, at every capacity that can carry
// layout bytes (at 10 a layout op packet has no room for payload).
TEST(TransportRoundTripTest, BuiltLayoutsAndBitmapsSurviveAnyCapacity) {
  std::mt19937 rng(7);
  OvLayout sent;
  StridedStorage bitmaps;
  bitmaps.add(3, 5, 3, 1, 7);      // 1 byte per pixel, 2 bytes padding
  bitmaps.add(1, 1, 1, 5, 4);      // one 4-byte pixel
  bitmaps.add(9, 7, 4, 4, 17);     // 2 bytes per pixel, 3 bytes padding
  bitmaps.add(4, 2, 2, 0x105, 8);  // colour type read by its low byte
  bitmaps.add(5, 3, 2, 9, 6);      // unknown colour type: rows carry no pixels
  Author(&sent, &bitmaps, rng);
  ASSERT_GT(sent.drawList().totalUsedSize(), 3 * 4096u) << "several buffers";
  const std::vector<Property> sentValues = EvaluateProperties(sent);
  ASSERT_EQ(sentValues.size(), 4u);

  std::vector<uint32_t> capacities = {11, 16, 17, 20, 64, 244, 4096};
  for (int i = 0; i < 4; ++i) capacities.push_back(11 + rng() % 300);
  for (uint32_t capacity : capacities) {
    OvLayoutPacketizer packetizer(&sent, &bitmaps);
    const auto packets = CollectPackets(packetizer, capacity);
    ASSERT_TRUE(packetizer.finished()) << capacity;
    OvLayout received;
    OvHeapBitmapStorage storage;
    OvLayoutDepacketizer depacketizer(&received, &storage);
    for (const Bytes& p : packets) ASSERT_TRUE(depacketizer.receivePacket(p.data(), unsigned(p.size()))) << capacity;
    EXPECT_TRUE(depacketizer.finished());
    EXPECT_EQ(Stream(received.drawList()), Stream(sent.drawList())) << capacity;
    EXPECT_EQ(Stream(received.resourceList()), Stream(sent.resourceList())) << capacity;
    EXPECT_EQ(Stream(received.bindingList()), Stream(sent.bindingList())) << capacity;
    for (const OvBitmap* b = bitmaps.first(); b; b = bitmaps.next(b)) {
      const OvBitmap* got = storage.find(b->id);
      ASSERT_NE(got, nullptr) << b->id;
      EXPECT_EQ(testing::PixelRows(*got), testing::PixelRows(*b)) << "bitmap " << b->id << " at " << capacity;
    }
    ASSERT_TRUE(received.loadMap()) << capacity;
    for (int i = 0; i < 300; ++i) {
      const std::string id = "e" + std::to_string(i);
      OvLayoutOpType sentType, gotType;
      unsigned sentOffset = 0, gotOffset = 1;
      ASSERT_TRUE(sent.findElementById(id.c_str(), unsigned(id.size()), &sentType, &sentOffset));
      ASSERT_TRUE(received.findElementById(id.c_str(), unsigned(id.size()), &gotType, &gotOffset)) << id;
      EXPECT_EQ(gotOffset, sentOffset) << id;
      EXPECT_EQ(gotType, sentType) << id;
    }
    const std::vector<Property> values = EvaluateProperties(received);
    ASSERT_EQ(values.size(), sentValues.size());
    for (size_t i = 0; i < values.size(); ++i)
      EXPECT_EQ(std::memcmp(&values[i], &sentValues[i], sizeof(Property)), 0) << "property " << i << " at " << capacity;
  }
}

TEST(TransportRoundTripTest, HostilePacketsNeverEscapeTheirBuffers) {
  // Random mutations of a valid sequence: whatever is accepted or refused,
  // the sanitizers see no access outside a buffer.
  OvLayout sent;
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(sent.drawList().allocOp(kSave, 4));
  StridedStorage bitmaps;
  bitmaps.add(2, 4, 3, 5, 20);
  OvLayoutPacketizer packetizer(&sent, &bitmaps);
  const auto packets = CollectPackets(packetizer, 23);
  std::mt19937 rng(99);
  for (int round = 0; round < 300; ++round) {
    OvLayout received;
    OvHeapBitmapStorage storage;
    OvLayoutDepacketizer d(&received, &storage);
    LogCapture quiet;
    for (Bytes p : packets) {
      if (rng() % 4 == 0 && !p.empty()) p[rng() % p.size()] = uint8_t(rng());
      if (rng() % 8 == 0) p.resize(rng() % (p.size() + 8), 0xFF);
      d.receivePacket(p.data(), unsigned(p.size()));
    }
    received.loadMap();
  }
}

}  // namespace
}  // namespace orvel
