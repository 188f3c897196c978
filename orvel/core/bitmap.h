// Bitmaps: the description of a pixel image (OvBitmap), the opaque image
// description a canvas carries (OvImageInfo), the bytes-per-pixel table, and
// OvBitmapStorage, the client-implemented owner of the pixels of every bitmap a
// layout draws, keyed by a 32-bit id.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"

namespace orvel {

// Three 32-bit values a canvas copies at construction and hands back from
// info(). The library never reads them; their meaning is the client renderer's.
struct ORVEL_API OvImageInfo {
  uint32_t words[3];
};

static_assert(sizeof(OvImageInfo) == 12, "OvImageInfo is three 32-bit words");

// A pixel image. Row y starts at pixels + y * rowBytes; each row holds width
// pixels of BytesPerPixel(colorType) bytes, then padding up to rowBytes.
struct ORVEL_API OvBitmap {
  uint8_t* pixels;     // first row; not owned (the storage or the caller owns it)
  uint32_t rowBytes;   // distance between rows, in bytes
  uint16_t width;      // pixels per row
  uint16_t height;     // rows
  uint16_t colorType;  // pixel format code; its low byte selects the bytes per pixel
  uint32_t id;         // key in its storage and in op records
};

// Highest colour type that has a pixel size.
constexpr uint32_t kMaxColorType = 8;

// Bytes per pixel of a colour type, by its low byte: 1..8 give 1, 2, 1, 2, 4, 4,
// 4, 4; anything else 0 (so 0x0105 gives 4 and 0x0100 gives 0).
ORVEL_API uint32_t BytesPerPixel(uint32_t colorType);

// The store that owns bitmap pixels. Implemented by the client (or use
// OvHeapBitmapStorage); the library calls it only through this interface.
// Bitmaps it hands out stay valid, at the same address, until it is destroyed.
class ORVEL_API OvBitmapStorage {
 public:
  virtual ~OvBitmapStorage();

  // A new bitmap with the given id, size and colour type, pixels and rowBytes
  // chosen by the storage (rowBytes >= width * bytes per pixel), or null.
  virtual OvBitmap* allocate(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType) = 0;
  // Whether a bitmap with this id is stored.
  virtual bool contains(uint32_t id) const = 0;
  // Whether no bitmap is stored.
  virtual bool empty() const = 0;
  // The first bitmap of the iteration order, or null when empty.
  virtual const OvBitmap* first() const = 0;
  // The bitmap after current (one this storage handed out), or null at the end.
  virtual const OvBitmap* next(const OvBitmap* current) const = 0;

  // Copies dst->height rows of srcRowBytes bytes from src into dst, converting
  // the stride. Equal strides copy one block; otherwise each row gets
  // min(width * bytes per pixel, srcRowBytes) bytes and the rest of the
  // destination row is untouched (an unknown colour type copies nothing, rows
  // are still stepped). Never writes more than dst->rowBytes bytes into a row.
  // A null src, dst or dst->pixels copies nothing. src must hold dst->height
  // rows of srcRowBytes bytes, dst->pixels dst->height rows of dst->rowBytes.
  static void copyData(const void* src, unsigned srcRowBytes, OvBitmap* dst);
};

}  // namespace orvel
