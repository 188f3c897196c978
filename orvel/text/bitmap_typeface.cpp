#include "orvel/text/bitmap_typeface.h"

#include "orvel/text/font.h"

namespace orvel {

OvBitmapTypeface::OvBitmapTypeface(uint32_t typefaceId, uint16_t firstMetric, uint16_t secondMetric,
                                   const uint32_t* glyphEntries, uint32_t count, const OvBitmap& atlasBitmap)
    : id(typefaceId ? typefaceId : OvTypeface::NextID()),
      metrics{firstMetric, secondMetric},
      entries(glyphEntries),
      entryCount(glyphEntries ? count : 0),
      atlas(atlasBitmap) {}

bool OvBitmapTypeface::entry(uint32_t code, uint32_t* out) const {
  if (!out || code >= entryCount) return false;
  *out = entries[code];
  return true;
}

}  // namespace orvel
