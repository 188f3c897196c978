#include "orvel/core/two_way_canvas.h"

#include <initializer_list>

namespace orvel {
namespace {

// The base canvas needs a storage, but save and restore are forwarded, so
// this one is never written. Constant-initialised: depth 0, identity slot.
OvCanvasStateStorageFixed<1> gUnusedStateStorage;

}  // namespace

// Calls the same operation on each present target, first then second.
#define OV_FORWARD(call)        \
  do {                          \
    if (fFirst) fFirst->call;   \
    if (fSecond) fSecond->call; \
  } while (0)

Ov2WayCanvas::Ov2WayCanvas(OvCanvas* first, OvCanvas* second)
    : OvCanvas(OvImageInfo{}, &gUnusedStateStorage), fFirst(first), fSecond(second) {}

Ov2WayCanvas::~Ov2WayCanvas() {}

int Ov2WayCanvas::save() {
  OV_FORWARD(save());
  return -1;
}

void Ov2WayCanvas::restore() { OV_FORWARD(restore()); }

void Ov2WayCanvas::drawRect(const OvRect& rect, const OvPaint& paint) { OV_FORWARD(drawRect(rect, paint)); }

void Ov2WayCanvas::drawPath(const OvPath& path, const OvPaint& paint) { OV_FORWARD(drawPath(path, paint)); }

void Ov2WayCanvas::drawBitmap(const OvBitmap& bitmap, float x, float y, const OvPaint& paint) {
  OV_FORWARD(drawBitmap(bitmap, x, y, paint));
}

void Ov2WayCanvas::drawLine(float x0, float y0, float x1, float y1, const OvPaint& paint) {
  OV_FORWARD(drawLine(x0, y0, x1, y1, paint));
}

void Ov2WayCanvas::drawCircle(float cx, float cy, float radius, const OvPaint& paint) {
  OV_FORWARD(drawCircle(cx, cy, radius, paint));
}

void Ov2WayCanvas::drawRoundRect(const OvRect& rect, float rx, float ry, const OvPaint& paint) {
  OV_FORWARD(drawRoundRect(rect, rx, ry, paint));
}

void Ov2WayCanvas::drawSimpleText(const void* text, unsigned byteLength, OvTextEncoding encoding, float x, float y,
                                  const OvFont& font, const OvPaint& paint) {
  OV_FORWARD(drawSimpleText(text, byteLength, encoding, x, y, font, paint));
}

void Ov2WayCanvas::drawTextBlob(const OvTextBlob* blob, float x, float y, const OvPaint& paint) {
  OV_FORWARD(drawTextBlob(blob, x, y, paint));
}

void Ov2WayCanvas::setMatrix(const OvMatrix& matrix) { OV_FORWARD(setMatrix(matrix)); }

void Ov2WayCanvas::flush() { OV_FORWARD(flush()); }

void Ov2WayCanvas::onBeforeTransform(const OvMatrix& m) {
  for (OvCanvas* target : {fFirst, fSecond}) {
    if (!target) continue;
    target->onBeforeTransform(m);
    target->matrix().setConcat(target->matrix(), m);
  }
}

void Ov2WayCanvas::drawArcImpl(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                               const OvPaint& paint) {
  OV_FORWARD(drawArcImpl(oval, startAngle, sweepAngle, useCenter, paint));
}

#undef OV_FORWARD

}  // namespace orvel
