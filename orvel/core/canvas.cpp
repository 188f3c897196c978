#include "orvel/core/canvas.h"

#include <cmath>

#include "orvel/path/arc.h"

namespace orvel {

// Out of line, so that each virtual table is defined once, in the library.
OvCanvasStateStorage::~OvCanvasStateStorage() {}
template class OvCanvasStateStorageFixed<1>;
OvCanvas::~OvCanvas() {}

void OvCanvas::concat(const OvMatrix& m) {
  onBeforeTransform(m);
  fMatrix.setConcat(fMatrix, m);
}

void OvCanvas::translate(float dx, float dy) { concat(OvMatrix(1, 0, dx, 0, 1, dy, 0, 0, 1)); }

void OvCanvas::scale(float sx, float sy) { concat(OvMatrix(sx, 0, 0, 0, sy, 0, 0, 0, 1)); }

void OvCanvas::rotate(float degrees) {
  constexpr float kRadiansPerDegree = 0.017453292f;
  float s, c;
  const float quarter = degrees / 90;
  if (std::isfinite(degrees) && quarter == std::trunc(quarter) && std::fabs(quarter) < 1e6f) {
    // Whole quarter turns: the sine and cosine of 90k degrees, exactly.
    static constexpr float kSin[] = {0, 1, 0, -1};
    const int k = int(std::fmod(quarter, 4.0f) + 4) % 4;
    s = kSin[k];
    c = kSin[(k + 1) % 4];
  } else {
    s = std::sin(degrees * kRadiansPerDegree);
    c = std::cos(degrees * kRadiansPerDegree);
  }
  concat(OvMatrix(c, 0.0f - s, 0, s, c, 0, 0, 0, 1));  // 0 - s: no -0 for s = 0
}

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
