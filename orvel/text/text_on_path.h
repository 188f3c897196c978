// Text laid out along a circle: each glyph centred on its angle, its baseline
// tangent to the circle and the midpoint of its advance on the circle, as a
// run of glyph ids with one OvRSXform each in caller storage.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/core/matrix.h"
#include "orvel/text/encoding.h"
#include "orvel/text/font.h"

namespace orvel {

class ORVEL_API OvTextOnPath {
 public:
  struct OnCircleParams {
    float cx;          // centre
    float cy;
    float radius;
    float startAngle;  // degrees, 0 along +x, growing towards +y
    bool reversed;     // false: the text runs with increasing angle; true: decreasing
  };

  // Caller-owned output. glyphs and transforms each hold capacity entries
  // (a negative capacity counts as 0); count is the number written.
  struct RSXFormStorage {
    int32_t capacity;
    int32_t count;
    uint16_t* glyphs;
    OvRSXform* transforms;
  };

  // Places the text's glyphs along the circle, starting at the start angle,
  // each glyph's advance (measured with the font) spanning its share of the
  // circumference. Returns the angle in degrees that the placed text spans
  // (negative when reversed), or 0 on failure:
  //   - empty text, or text whose first step yields no glyph (count stays 0);
  //   - storage too small: logs "Could not store positioned glyph; storage
  //     exhausted"; the glyphs already stored stay in storage;
  //   - a null storage, a null array with a positive capacity, or null text
  //     with a non-zero length (nothing touched).
  // Without a font backend every glyph measures 0 wide (and the backend's
  // absence is logged), so all glyphs land at the start angle.
  static float PlaceOnCircle(const void* text, unsigned int byteLength, OvTextEncoding encoding, const OvFont& font,
                             const OnCircleParams& params, RSXFormStorage* storage);
};

}  // namespace orvel
