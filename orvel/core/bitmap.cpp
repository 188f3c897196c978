#include "orvel/core/bitmap.h"

#include <cstddef>
#include <cstring>

namespace orvel {

namespace {

constexpr uint8_t kBytesPerPixelByColorType[kMaxColorType + 1] = {0, 1, 2, 1, 2, 4, 4, 4, 4};
// Only the low byte of a colour type names the pixel format; the high byte is
// carried for the client.
constexpr uint32_t kColorTypeFormatMask = 0xFF;

}  // namespace

uint32_t BytesPerPixel(uint32_t colorType) {
  const uint32_t format = colorType & kColorTypeFormatMask;
  return format <= kMaxColorType ? kBytesPerPixelByColorType[format] : 0;
}

OvBitmapStorage::~OvBitmapStorage() = default;

void OvBitmapStorage::copyData(const void* src, unsigned srcRowBytes, OvBitmap* dst) {
  if (src == nullptr || dst == nullptr || dst->pixels == nullptr) return;
  const uint8_t* from = static_cast<const uint8_t*>(src);
  if (dst->rowBytes == srcRowBytes) {
    // Counted in 64 bits: on 32-bit targets height * rowBytes may exceed size_t,
    // and no buffer that large can exist.
    const uint64_t total = uint64_t(dst->height) * srcRowBytes;
    if (total != 0 && total <= SIZE_MAX) std::memcpy(dst->pixels, from, size_t(total));
    return;
  }
  uint64_t count = uint64_t(BytesPerPixel(dst->colorType)) * dst->width;
  if (count > srcRowBytes) count = srcRowBytes;
  // A storage whose rows are narrower than its pixels must still not be overrun.
  if (count > dst->rowBytes) count = dst->rowBytes;
  if (count == 0) return;
  uint8_t* to = dst->pixels;
  for (uint32_t row = 0; row < dst->height; ++row) {
    std::memcpy(to, from, size_t(count));
    if (row + 1 < dst->height) {
      from += srcRowBytes;
      to += dst->rowBytes;
    }
  }
}

}  // namespace orvel
