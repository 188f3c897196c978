// OvHeapBitmapStorage: a ready OvBitmapStorage that keeps every bitmap in its
// own block from OvMalloc (description and pixels together) and iterates in
// ascending id order. For applications, tests and the receiving side of a
// layout transfer alike.
#pragma once

#include <cstdint>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"

namespace orvel {

class ORVEL_API OvHeapBitmapStorage : public OvBitmapStorage {
 public:
  // Rows are padded to a multiple of this many bytes.
  static constexpr uint32_t kRowAlignment = 4;
  // Most pixel bytes one bitmap may hold: the layout transport counts a
  // bitmap's bytes in 32 bits.
  static constexpr uint64_t kMaxPixelBytes = UINT32_MAX;

  OvHeapBitmapStorage();
  // Releases every bitmap; pointers it handed out become invalid.
  ~OvHeapBitmapStorage() override;
  OvHeapBitmapStorage(const OvHeapBitmapStorage&) = delete;
  OvHeapBitmapStorage& operator=(const OvHeapBitmapStorage&) = delete;

  // Row bytes the storage gives a bitmap: width * bytes per pixel rounded up to
  // kRowAlignment (0 for an unknown colour type).
  static uint32_t RowBytesFor(uint16_t width, uint16_t colorType);

  // A new bitmap with zeroed pixels, rowBytes = RowBytesFor(width, colorType).
  // One with no pixel bytes (width or height 0, unknown colour type) gets null
  // pixels. Null, with a log line and nothing stored, when the id is already
  // stored (the stored bitmap stays as it is), when height * rowBytes exceeds
  // kMaxPixelBytes or the address space, or when memory runs out.
  OvBitmap* allocate(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType) override;
  bool contains(uint32_t id) const override;
  bool empty() const override;
  // The bitmap with the lowest id, or null.
  const OvBitmap* first() const override;
  // The stored bitmap with the lowest id above current->id; null at the end or
  // for a null current.
  const OvBitmap* next(const OvBitmap* current) const override;

  // The bitmap with this id, or null. Its pixels may be written.
  OvBitmap* find(uint32_t id) const;
  // Number of bitmaps stored.
  uint32_t size() const { return fCount; }

 private:
  // Index of the first entry whose id is not below id (fCount if none).
  uint32_t lowerBound(uint32_t id) const;
  bool growIndex();

  OvBitmap** fEntries;  // fCount blocks sorted by id, each from OvMalloc
  uint32_t fCount;
  uint32_t fCapacity;
};

}  // namespace orvel
