#include "orvel/core/heap_bitmap_storage.h"

#include <cstddef>
#include <cstring>

#include "orvel/core/log.h"
#include "orvel/core/memory.h"

namespace orvel {

namespace {

// Each block is the OvBitmap, padded so that the pixels behind it are aligned
// for any pixel type, then the pixels.
constexpr size_t kBlockHeaderBytes =
    (sizeof(OvBitmap) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
constexpr uint32_t kInitialIndexCapacity = 8;

}  // namespace

OvHeapBitmapStorage::OvHeapBitmapStorage() : fEntries(nullptr), fCount(0), fCapacity(0) {}

OvHeapBitmapStorage::~OvHeapBitmapStorage() {
  for (uint32_t i = 0; i < fCount; ++i) OvFree(fEntries[i]);
  OvFree(fEntries);
}

uint32_t OvHeapBitmapStorage::RowBytesFor(uint16_t width, uint16_t colorType) {
  // At most 0xFFFF * 4 + 3: no overflow in 32 bits.
  const uint32_t bytes = uint32_t(width) * BytesPerPixel(colorType);
  return (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

uint32_t OvHeapBitmapStorage::lowerBound(uint32_t id) const {
  uint32_t lo = 0;
  uint32_t hi = fCount;
  while (lo < hi) {
    const uint32_t mid = lo + (hi - lo) / 2;
    if (fEntries[mid]->id < id) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

bool OvHeapBitmapStorage::growIndex() {
  if (fCapacity > UINT32_MAX / 2) return false;
  const uint32_t capacity = fCapacity == 0 ? kInitialIndexCapacity : fCapacity * 2;
  const uint64_t bytes = uint64_t(capacity) * sizeof(OvBitmap*);
  if (bytes > SIZE_MAX) return false;
  void* grown = OvRealloc(fEntries, size_t(bytes));
  if (grown == nullptr) return false;
  fEntries = static_cast<OvBitmap**>(grown);
  fCapacity = capacity;
  return true;
}

OvBitmap* OvHeapBitmapStorage::allocate(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType) {
  const uint32_t at = lowerBound(id);
  if (at < fCount && fEntries[at]->id == id) {
    Log(kLogPriorityError, "Bitmap storage error; bitmap %u already stored", id);
    return nullptr;
  }
  const uint32_t rowBytes = RowBytesFor(width, colorType);
  const uint64_t pixelBytes = uint64_t(rowBytes) * height;
  if (pixelBytes > kMaxPixelBytes || pixelBytes > SIZE_MAX - kBlockHeaderBytes) {
    Log(kLogPriorityError, "Bitmap storage error; bitmap %u too large (%u x %u, colour type %u)", id, unsigned(width),
        unsigned(height), unsigned(colorType));
    return nullptr;
  }
  // The index grows first, so that a failed block leaves nothing half-stored.
  if (fCount == fCapacity && !growIndex()) {
    Log(kLogPriorityError, "Bitmap storage error; out of memory for bitmap %u", id);
    return nullptr;
  }
  void* block = OvMalloc(kBlockHeaderBytes + size_t(pixelBytes));
  if (block == nullptr) {
    Log(kLogPriorityError, "Bitmap storage error; out of memory for bitmap %u", id);
    return nullptr;
  }
  OvBitmap* bitmap = static_cast<OvBitmap*>(block);
  bitmap->pixels = nullptr;
  if (pixelBytes != 0) {
    bitmap->pixels = static_cast<uint8_t*>(block) + kBlockHeaderBytes;
    // Padding bytes are sent with the rows: keep them deterministic.
    std::memset(bitmap->pixels, 0, size_t(pixelBytes));
  }
  bitmap->rowBytes = rowBytes;
  bitmap->width = width;
  bitmap->height = height;
  bitmap->colorType = colorType;
  bitmap->id = id;
  std::memmove(fEntries + at + 1, fEntries + at, (fCount - at) * sizeof(OvBitmap*));
  fEntries[at] = bitmap;
  ++fCount;
  return bitmap;
}

OvBitmap* OvHeapBitmapStorage::find(uint32_t id) const {
  const uint32_t at = lowerBound(id);
  return at < fCount && fEntries[at]->id == id ? fEntries[at] : nullptr;
}

bool OvHeapBitmapStorage::contains(uint32_t id) const { return find(id) != nullptr; }

bool OvHeapBitmapStorage::empty() const { return fCount == 0; }

const OvBitmap* OvHeapBitmapStorage::first() const { return fCount == 0 ? nullptr : fEntries[0]; }

const OvBitmap* OvHeapBitmapStorage::next(const OvBitmap* current) const {
  if (current == nullptr || current->id == UINT32_MAX) return nullptr;
  const uint32_t at = lowerBound(current->id + 1);
  return at < fCount ? fEntries[at] : nullptr;
}

}  // namespace orvel
