// OvTextBlob: a run of glyph ids with either a position or a rotation-scale
// transform per glyph, and the font to draw them in. OvTextBlobPriv gives the
// recorder read access to its parts.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/core/matrix.h"
#include "orvel/text/font.h"

namespace orvel {

class ORVEL_API OvTextBlob {
 public:
  // What each glyph carries.
  enum Kind : uint32_t { kPositions = 0, kRSXforms = 1 };

  // Nothing is copied but the font: glyphs and the placements must outlive
  // the blob. A null glyphs or placements array makes an empty blob (count 0).
  OvTextBlob(const unsigned short* glyphs, unsigned int count, const OvPoint* positions, const OvFont& font);
  OvTextBlob(const unsigned short* glyphs, unsigned int count, const OvRSXform* xforms, const OvFont& font);
  // An empty position blob in a default font.
  OvTextBlob();

  // The same values as the constructors.
  static OvTextBlob MakeFromPosText(const unsigned short* glyphs, unsigned int count, const OvPoint* positions,
                                    const OvFont& font);
  static OvTextBlob MakeFromRSXform(const unsigned short* glyphs, unsigned int count, const OvRSXform* xforms,
                                    const OvFont& font);

  // computeBounds(), computed on the first call and cached from then on.
  const OvRect& bounds();

  // Position blobs: the union of each glyph's measured bounds (measureText of
  // that one glyph id) offset by its position. An empty blob gives the
  // inverted rectangle (FLT_MAX, FLT_MAX, -FLT_MAX, -FLT_MAX), deliberately;
  // without a font backend each glyph measures as the zero rectangle (and
  // logs the backend's absence). Transform blobs are fatal ("unimplemented
  // bounds computation for rsxform") and give the all-zero rectangle.
  OvRect computeBounds() const;

 private:
  friend class OvTextBlobPriv;

  OvTextBlob(const unsigned short* glyphs, unsigned int count, Kind kind, const void* placements,
             const OvFont& font);

  const uint16_t* fGlyphs;
  uint32_t fCount;
  uint32_t fKind;
  const void* fPlacements;  // fCount OvPoints (kPositions) or OvRSXforms (kRSXforms)
  OvFont fFont;
  OvRect fBounds;
  bool fBoundsValid;
};

// Read access to a blob's parts, for the recording canvas.
class ORVEL_API OvTextBlobPriv {
 public:
  static const unsigned short* GlyphIds(const OvTextBlob& blob) { return blob.fGlyphs; }
  static unsigned int NumGlyphIds(const OvTextBlob& blob) { return blob.fCount; }
  static bool IsRSXform(const OvTextBlob& blob) { return blob.fKind == OvTextBlob::kRSXforms; }
  // The placements as positions; meaningful only when !IsRSXform(blob).
  static const OvPoint* Positions(const OvTextBlob& blob) { return static_cast<const OvPoint*>(blob.fPlacements); }
  // The placements as transforms; meaningful only when IsRSXform(blob).
  static const OvRSXform* RSXforms(const OvTextBlob& blob) {
    return static_cast<const OvRSXform*>(blob.fPlacements);
  }
  static const OvFont& Font(const OvTextBlob& blob) { return blob.fFont; }
};

}  // namespace orvel
