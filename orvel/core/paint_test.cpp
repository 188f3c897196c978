#include "orvel/core/paint.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace orvel {
namespace {

std::vector<uint8_t> Bytes(const OvPaintInfo& info) {
  const uint8_t* p = reinterpret_cast<const uint8_t*>(&info);
  return std::vector<uint8_t>(p, p + sizeof info);
}

float FloatFromBits(uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

uint32_t BitsOf(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  return bits;
}

TEST(PaintTest, DefaultPaintAndItsInfoBytes) {
  const OvPaint paint;
  EXPECT_EQ(paint.getColor(), 0xFF000000u);
  EXPECT_EQ(paint.getStrokeWidth(), 1.0f);
  EXPECT_EQ(paint.getMiterLimit(), 4.0f);
  EXPECT_EQ(paint.getFlags(), 64u);
  EXPECT_EQ(paint.getShader(), nullptr);
  EXPECT_EQ(paint.getStrokeCap(), OvPaint::Cap::Butt);
  EXPECT_EQ(paint.getStrokeJoin(), OvPaint::Join::Miter);

  const std::vector<uint8_t> expected = {0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x80, 0x3F,
                                         0x00, 0x00, 0x80, 0x40, 0x40, 0x00, 0x00, 0x00};
  EXPECT_EQ(Bytes(OvPaintInfo(paint)), expected);
  EXPECT_EQ(Bytes(OvPaintInfo()), expected);
}

TEST(PaintTest, CapAndJoinBitsOfTheFlagsWord) {
  struct Case {
    uint32_t flags;
    uint8_t cap;
    uint8_t join;
  } cases[] = {
      {64, 0, 0},   {0x02, 1, 0}, {0x04, 2, 0}, {0x06, 3, 0},       {0x08, 0, 1},
      {0x10, 0, 2}, {0x18, 0, 3}, {0x01, 0, 0}, {0xFFFFFFE1, 0, 0}, {0xFFFFFFFF, 3, 3},
  };
  for (const Case& c : cases) {
    OvPaint paint;
    paint.setFlags(c.flags);
    EXPECT_EQ(uint8_t(paint.getStrokeCap()), c.cap) << std::hex << "flags 0x" << c.flags;
    EXPECT_EQ(uint8_t(paint.getStrokeJoin()), c.join) << std::hex << "flags 0x" << c.flags;
  }
}

TEST(PaintTest, SettingCapOrJoinKeepsTheOtherBits) {
  struct Case {
    uint32_t flags;
    bool setCap;  // else the join
    uint8_t value;
    uint32_t expected;
  } cases[] = {
      {64, true, 1, 0x42},  {64, false, 1, 0x48},  {64, false, 2, 0x50},  {0xFFFFFFFF, true, 0, 0xFFFFFFF9},
      {0x5A, true, 2, 0x5C}, {0x5A, false, 0, 0x42}, {0, true, 7, 0x06},     {0xFFFFFFFF, false, 0, 0xFFFFFFE7},
      {0, false, 0xFF, 0x18},  // out-of-range values keep their low two bits
  };
  for (const Case& c : cases) {
    OvPaint paint;
    paint.setFlags(c.flags);
    if (c.setCap) {
      paint.setStrokeCap(OvPaint::Cap(c.value));
    } else {
      paint.setStrokeJoin(OvPaint::Join(c.value));
    }
    EXPECT_EQ(paint.getFlags(), c.expected)
        << std::hex << "flags 0x" << c.flags << (c.setCap ? " cap " : " join ") << unsigned(c.value);
  }
}

TEST(PaintTest, InfoCopiesWordForWordAndMakePaintDropsTheShader) {
  alignas(8) unsigned char shaderStandIn[16] = {};
  OvPaint paint;
  paint.setColor(0x12345678);
  paint.setStrokeWidth(FloatFromBits(0x7FA00001));  // a signalling NaN with a payload
  paint.setMiterLimit(-0.0f);
  paint.setFlags(0xDEADBEEF);
  paint.setShader(reinterpret_cast<OvShader*>(shaderStandIn));

  const OvPaintInfo info(paint);
  const std::vector<uint8_t> expected = {0x78, 0x56, 0x34, 0x12, 0x01, 0x00, 0xA0, 0x7F,
                                         0x00, 0x00, 0x00, 0x80, 0xEF, 0xBE, 0xAD, 0xDE};
  EXPECT_EQ(Bytes(info), expected);

  const OvPaint made = info.MakePaint();
  EXPECT_EQ(made.getColor(), 0x12345678u);
  EXPECT_EQ(BitsOf(made.getStrokeWidth()), 0x7FA00001u);
  EXPECT_EQ(BitsOf(made.getMiterLimit()), 0x80000000u);
  EXPECT_EQ(made.getFlags(), 0xDEADBEEFu);
  EXPECT_EQ(made.getShader(), nullptr);
  EXPECT_EQ(Bytes(OvPaintInfo(made)), expected);
}

}  // namespace
}  // namespace orvel
