// OvBitmapTypeface: a typeface whose glyphs are cut from one atlas bitmap. It
// is an id, two 16-bit metrics, a table of 32-bit glyph entries and the atlas.
// The recorder ships it once per layout (the metrics, the entries and the
// atlas's id, the atlas pixels through the bitmap storage); a receiving
// renderer rebuilds one over the received record and the stored atlas.
//
// The meaning of the metrics and of each glyph entry (for example the glyph's
// cell in the atlas) belongs to the renderer; this library only carries them.
// Ids come from the typeface id counter, so that bitmap typefaces and
// typefaces never collide in the layout's set of shipped ids.
#pragma once

#include <cstdint>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"

namespace orvel {

struct ORVEL_API OvBitmapTypeface {
  uint32_t id;              // shares the id space of OvTypeface
  uint16_t metrics[2];      // first and second 16-bit metric, carried verbatim
  const uint32_t* entries;  // glyph entries, indexed by glyph code; not owned
  uint32_t entryCount;      // entries at `entries`
  OvBitmap atlas;           // the glyph atlas; atlas.id keys it in the bitmap storage

  // An id of 0 takes a fresh one from OvTypeface::NextID(). entries and the
  // atlas pixels are not copied and must outlive the typeface; a null entries
  // array makes an empty table (entryCount 0).
  OvBitmapTypeface(uint32_t id, uint16_t firstMetric, uint16_t secondMetric, const uint32_t* entries,
                   uint32_t entryCount, const OvBitmap& atlas);

  // Copies the entry for a glyph code to *out. False (nothing written) for a
  // code at or past entryCount, or a null out: glyph codes may come from the
  // other device.
  bool entry(uint32_t code, uint32_t* out) const;
};

}  // namespace orvel
