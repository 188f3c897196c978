// RGBA_8888: one 32-bit colour, bytes red, green, blue, alpha in memory, i.e.
// red in bits 0-7 and alpha in bits 24-31 of the little-endian word.
#pragma once

#include <cstdint>

namespace orvel {

using RGBA_8888 = uint32_t;

constexpr RGBA_8888 MakeRGBA(uint8_t r, uint8_t g, uint8_t b, uint8_t a) {
  return uint32_t(r) | uint32_t(g) << 8 | uint32_t(b) << 16 | uint32_t(a) << 24;
}
constexpr uint8_t RedOf(RGBA_8888 c) { return uint8_t(c); }
constexpr uint8_t GreenOf(RGBA_8888 c) { return uint8_t(c >> 8); }
constexpr uint8_t BlueOf(RGBA_8888 c) { return uint8_t(c >> 16); }
constexpr uint8_t AlphaOf(RGBA_8888 c) { return uint8_t(c >> 24); }

}  // namespace orvel
