#include "orvel/core/paint.h"

namespace orvel {

OvPaint::OvPaint()
    : fColor(kDefaultColor),
      fStrokeWidth(kDefaultStrokeWidth),
      fMiterLimit(kDefaultMiterLimit),
      fFlags(kDefaultFlags),
      fShader(nullptr) {}

OvPaintInfo::OvPaintInfo() : OvPaintInfo(OvPaint()) {}

// Plain float moves keep every bit (NaN payloads included) on the targets the
// library supports: no arithmetic touches them.
OvPaintInfo::OvPaintInfo(const OvPaint& paint)
    : color(paint.fColor), strokeWidth(paint.fStrokeWidth), miterLimit(paint.fMiterLimit), flags(paint.fFlags) {}

OvPaint OvPaintInfo::MakePaint() const {
  OvPaint paint;
  paint.fColor = color;
  paint.fStrokeWidth = strokeWidth;
  paint.fMiterLimit = miterLimit;
  paint.fFlags = flags;
  return paint;
}

}  // namespace orvel
