// Paint defaults, the cap and join bits of the flags word, and the info block.
#include "orvel/core/paint.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace orvel {
namespace {

std::vector<uint8_t> Bytes(const OvPaintInfo& info) {
  const uint8_t* p = reinterpret_cast<const uint8_t*>(&info);
  return {p, p + sizeof info};
}

TEST(PaintTest, DefaultsInfoBytesAndCapJoinBits) {
  const std::vector<uint8_t> defaults = {0, 0, 0, 0xFF, 0, 0, 0x80, 0x3F, 0, 0, 0x80, 0x40, 0x40, 0, 0, 0};
  EXPECT_EQ(Bytes(OvPaintInfo(OvPaint())), defaults);
  EXPECT_EQ(Bytes(OvPaintInfo()), defaults);
  // Word for word both ways (a signalling NaN's payload, -0, opaque flag bits); MakePaint has no shader.
  const std::vector<uint8_t> odd = {0x78, 0x56, 0x34, 0x12, 1, 0, 0xA0, 0x7F, 0, 0, 0, 0x80, 0xEF, 0xBE, 0xAD, 0xDE};
  OvPaintInfo info;
  std::memcpy(&info, odd.data(), sizeof info);
  const OvPaint made = info.MakePaint();
  EXPECT_EQ(Bytes(OvPaintInfo(made)), odd);
  EXPECT_EQ(made.getShader(), nullptr);
  // Cap and join as read from flags, then the flags after setting newCap and
  // newJoin (out-of-range values keep their low two bits; other bits stay).
  const struct { uint32_t flags; uint8_t cap, join, newCap, newJoin; uint32_t after; } rows[] = {
      {64, 0, 0, 1, 2, 0x52},   {0x02, 1, 0, 0, 1, 0x08}, {0x04, 2, 0, 2, 0, 0x04},    {0x06, 3, 0, 1, 3, 0x1A},
      {0x08, 0, 1, 3, 1, 0x0E}, {0x10, 0, 2, 0, 0, 0x00}, {0x18, 0, 3, 0, 2, 0x10},    {0x01, 0, 0, 2, 2, 0x15},
      {0x5A, 1, 3, 2, 0, 0x44}, {0, 0, 0, 7, 0xFF, 0x1E}, {0xFFFFFFE1, 0, 0, 1, 1, 0xFFFFFFEB},
      {0xFFFFFFFF, 3, 3, 0, 0, 0xFFFFFFE1},
  };
  for (const auto& r : rows) {
    OvPaint paint;
    paint.setFlags(r.flags);
    EXPECT_EQ(uint8_t(paint.getStrokeCap()), r.cap) << std::hex << "flags 0x" << r.flags;
    EXPECT_EQ(uint8_t(paint.getStrokeJoin()), r.join) << std::hex << "flags 0x" << r.flags;
    paint.setStrokeCap(OvPaint::Cap(r.newCap));
    paint.setStrokeJoin(OvPaint::Join(r.newJoin));
    EXPECT_EQ(paint.getFlags(), r.after) << std::hex << "flags 0x" << r.flags;
  }
}

}  // namespace
}  // namespace orvel
