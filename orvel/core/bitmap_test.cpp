#include "orvel/core/bitmap.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvel {
namespace {

TEST(BitmapTest, BytesPerPixelByLowByteOfColorType) {
  struct Case {
    uint32_t colorType;
    uint32_t bytes;
  } cases[] = {
      {0, 0}, {1, 1}, {2, 2},      {3, 1},      {4, 2},    {5, 4},      {6, 4},      {7, 4},
      {8, 4}, {9, 0}, {0x0105, 4}, {0x0100, 0}, {0xFF, 0}, {0x0208, 4}, {0xFF03, 1}, {0x10004, 2},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(BytesPerPixel(c.colorType), c.bytes) << std::hex << "colour type 0x" << c.colorType;
  }
}

constexpr uint8_t kUntouched = 0xEE;

// Runs copyData from a source whose byte i is i + 1 into a destination filled
// with kUntouched, and returns the destination bytes.
std::vector<uint8_t> Copy(unsigned srcRowBytes, uint32_t dstRowBytes, uint16_t width, uint16_t height,
                          uint16_t colorType) {
  std::vector<uint8_t> src(size_t(srcRowBytes) * height);
  for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i + 1);
  std::vector<uint8_t> dst(size_t(dstRowBytes) * height, kUntouched);
  OvBitmap bitmap = {dst.data(), dstRowBytes, width, height, colorType, 1};
  OvBitmapStorage::copyData(src.data(), srcRowBytes, &bitmap);
  return dst;
}

TEST(BitmapTest, CopyDataConvertsTheStride) {
  const uint8_t E = kUntouched;
  struct Case {
    const char* name;
    unsigned srcRowBytes;
    uint32_t dstRowBytes;
    uint16_t width, height, colorType;
    std::vector<uint8_t> expected;
  } cases[] = {
      {"equal strides copy one block, padding included", 6, 6, 1, 2, 5, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {"equal strides ignore an unknown colour type", 3, 3, 1, 2, 9, {1, 2, 3, 4, 5, 6}},
      {"wider destination rows keep their padding", 12, 16, 3, 2, 5, {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                                                      12, E,  E,  E,  E,  13, 14, 15, 16, 17, 18,
                                                                      19, 20, 21, 22, 23, 24, E,  E,  E,  E}},
      {"a short source row copies only its bytes", 8, 16, 3, 2, 5, {1,  2,  3, 4, 5, 6, 7,  8,  E,  E,  E,
                                                                    E,  E,  E, E, E, 9, 10, 11, 12, 13, 14,
                                                                    15, 16, E, E, E, E, E,  E,  E,  E}},
      {"source padding is skipped", 5, 4, 2, 2, 2, {1, 2, 3, 4, 6, 7, 8, 9}},
      {"the high byte of the colour type is ignored", 3, 4, 3, 2, 0x0103, {1, 2, 3, E, 4, 5, 6, E}},
      {"an unknown colour type copies nothing", 4, 8, 2, 2, 9, std::vector<uint8_t>(16, E)},
      {"colour type 0 copies nothing", 4, 8, 2, 2, 0, std::vector<uint8_t>(16, E)},
      {"rows narrower than the pixels are not overrun", 16, 4, 3, 2, 5, {1, 2, 3, 4, 17, 18, 19, 20}},
      {"height 0 copies nothing", 4, 8, 2, 0, 5, {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Copy(c.srcRowBytes, c.dstRowBytes, c.width, c.height, c.colorType), c.expected) << c.name;
  }
}

TEST(BitmapTest, CopyDataWithNullPointersCopiesNothing) {
  uint8_t src[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  uint8_t dst[8] = {};
  OvBitmap bitmap = {dst, 4, 1, 2, 5, 1};
  OvBitmapStorage::copyData(nullptr, 4, &bitmap);
  OvBitmapStorage::copyData(src, 4, nullptr);
  OvBitmap noPixels = {nullptr, 4, 1, 2, 5, 1};
  OvBitmapStorage::copyData(src, 4, &noPixels);
  OvBitmapStorage::copyData(src, 2, &noPixels);
  for (uint8_t b : dst) EXPECT_EQ(b, 0);
}

}  // namespace
}  // namespace orvel
