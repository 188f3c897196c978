#include "orvel/core/canvas.h"

#include "orvel/path/arc.h"

namespace orvel {

// Out of line, so that each virtual table is defined once, in the library.
OvCanvasStateStorage::~OvCanvasStateStorage() {}
template class OvCanvasStateStorageFixed<1>;
OvCanvas::~OvCanvas() {}

void OvCanvas::drawArc(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter, const OvPaint& paint) {
  if (sweepAngle != 0 && oval.left < oval.right && oval.top < oval.bottom) {
    drawArcImpl(oval, startAngle, sweepAngle, useCenter, paint);
  }
}

void OvCanvas::drawRoundRectAsPath(const OvRect& rect, float rx, float ry, const OvPaint& paint) {
  // Written as comparisons so that NaN and -0 radii come out as +0.
  rx = rx > 0 ? rx : 0;
  ry = ry > 0 ? ry : 0;
  const float halfWidth = (rect.right - rect.left) / 2;
  const float halfHeight = (rect.bottom - rect.top) / 2;
  if (halfWidth < rx) rx = halfWidth;
  if (halfHeight < ry) ry = halfHeight;
  if (rx == 0 || ry == 0) {
    drawRect(rect, paint);
    return;
  }
  uint8_t verbs[kRoundRectVerbs];
  OvPoint points[kRoundRectPoints];
  OvPathStorage storage{verbs, kRoundRectVerbs, points, kRoundRectPoints};
  OvPath path(&storage);
  const float w = 2 * rx, h = 2 * ry;
  path.arcTo({rect.left, rect.top, rect.left + w, rect.top + h}, 270, -90, true);
  path.arcTo({rect.left, rect.bottom - h, rect.left + w, rect.bottom}, 180, -90, false);
  path.arcTo({rect.right - w, rect.bottom - h, rect.right, rect.bottom}, 90, -90, false);
  path.arcTo({rect.right - w, rect.top, rect.right, rect.top + h}, 0, -90, false);
  path.close();
  drawPath(path, paint);
}

}  // namespace orvel
