// Ov2WayCanvas: forwards every canvas call to two other canvases, the first
// and then the second (for example a recording canvas and a client's
// rendering canvas).
#pragma once

#include "orvel/core/canvas.h"
#include "orvel/core/export.h"

namespace orvel {

class ORVEL_API Ov2WayCanvas : public OvCanvas {
 public:
  // first and second are not owned (the destructor leaves them alone) and
  // must outlive this canvas; a null target is skipped. The base gets an
  // all-zero image info and a shared save stack that is never used, since
  // save and restore are forwarded.
  Ov2WayCanvas(OvCanvas* first, OvCanvas* second);
  ~Ov2WayCanvas() override;

  // Calls save on both and returns -1 whatever they return.
  int save() override;
  void restore() override;
  void drawRect(const OvRect& rect, const OvPaint& paint) override;
  void drawPath(const OvPath& path, const OvPaint& paint) override;
  void drawBitmap(const OvBitmap& bitmap, float x, float y, const OvPaint& paint) override;
  void drawLine(float x0, float y0, float x1, float y1, const OvPaint& paint) override;
  void drawCircle(float cx, float cy, float radius, const OvPaint& paint) override;
  void drawRoundRect(const OvRect& rect, float rx, float ry, const OvPaint& paint) override;
  void drawSimpleText(const void* text, unsigned byteLength, OvTextEncoding encoding, float x, float y,
                      const OvFont& font, const OvPaint& paint) override;
  void drawTextBlob(const OvTextBlob* blob, float x, float y, const OvPaint& paint) override;
  void setMatrix(const OvMatrix& matrix) override;
  void flush() override;
  // Runs the whole transform protocol on each target in turn: its
  // onBeforeTransform(m), then its matrix = its matrix x m. This canvas's own
  // matrix is left to the caller, as for any canvas.
  void onBeforeTransform(const OvMatrix& m) override;
  void drawArcImpl(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                   const OvPaint& paint) override;

 private:
  OvCanvas* fFirst;
  OvCanvas* fSecond;
};

}  // namespace orvel
