#include "orvel/text/text_blob.h"

#include <algorithm>
#include <cfloat>

#include "orvel/core/log.h"

namespace orvel {

OvTextBlob::OvTextBlob(const unsigned short* glyphs, unsigned int count, Kind kind, const void* placements,
                       const OvFont& font)
    : fGlyphs(glyphs),
      fCount(glyphs && placements ? count : 0),
      fKind(kind),
      fPlacements(placements),
      fFont(font),
      fBounds{0, 0, 0, 0},
      fBoundsValid(false) {}

OvTextBlob::OvTextBlob(const unsigned short* glyphs, unsigned int count, const OvPoint* positions, const OvFont& font)
    : OvTextBlob(glyphs, count, kPositions, positions, font) {}

OvTextBlob::OvTextBlob(const unsigned short* glyphs, unsigned int count, const OvRSXform* xforms, const OvFont& font)
    : OvTextBlob(glyphs, count, kRSXforms, xforms, font) {}

OvTextBlob::OvTextBlob() : OvTextBlob(nullptr, 0, kPositions, nullptr, OvFont()) {}

OvTextBlob OvTextBlob::MakeFromPosText(const unsigned short* glyphs, unsigned int count, const OvPoint* positions,
                                       const OvFont& font) {
  return OvTextBlob(glyphs, count, positions, font);
}

OvTextBlob OvTextBlob::MakeFromRSXform(const unsigned short* glyphs, unsigned int count, const OvRSXform* xforms,
                                       const OvFont& font) {
  return OvTextBlob(glyphs, count, xforms, font);
}

const OvRect& OvTextBlob::bounds() {
  if (!fBoundsValid) {
    fBounds = computeBounds();
    fBoundsValid = true;
  }
  return fBounds;
}

OvRect OvTextBlob::computeBounds() const {
  if (fKind == kRSXforms) {
    FatalError("unimplemented bounds computation for rsxform");
    return OvRect{0, 0, 0, 0};
  }
  OvRect total{FLT_MAX, FLT_MAX, -FLT_MAX, -FLT_MAX};
  const OvPoint* positions = static_cast<const OvPoint*>(fPlacements);
  for (uint32_t i = 0; i < fCount; ++i) {
    OvRect r{0, 0, 0, 0};
    fFont.measureText(&fGlyphs[i], sizeof fGlyphs[i], kGlyphID, &r);
    const OvPoint& at = positions[i];
    total.left = std::min(total.left, r.left + at.x);
    total.top = std::min(total.top, r.top + at.y);
    total.right = std::max(total.right, r.right + at.x);
    total.bottom = std::max(total.bottom, r.bottom + at.y);
  }
  return total;
}

}  // namespace orvel
