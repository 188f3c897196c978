// OvCanvas: the abstract drawing interface. A canvas holds an image
// description, a current matrix and a pointer to the storage of its save
// stack; the save stack keeps matrices only (no clip, no paint). The library
// defines the recording canvas and Ov2WayCanvas; clients derive their own
// rendering canvases.
//
// Transform protocol: to concatenate a matrix m onto a canvas, first call
// onBeforeTransform(m), then set matrix() to matrix() x m
// (matrix().setConcat(matrix(), m)). The hook lets a canvas see every
// transform before it applies. concat, translate, scale and rotate follow it.
//
// The library is built without RTTI, so a client that derives these classes
// is built without RTTI too; their virtual tables live in the library.
#pragma once

#include <cstring>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/core/log.h"
#include "orvel/core/matrix.h"
#include "orvel/core/paint.h"
#include "orvel/path/path.h"
#include "orvel/text/encoding.h"

namespace orvel {

class OvFont;
class OvTextBlob;

// The saved state of a canvas: exactly the nine floats of its matrix.
struct ORVEL_API OvCanvasState {
  OvMatrix matrix;
};
static_assert(sizeof(OvCanvasState) == 36, "a canvas state is nine floats");

// Where a canvas keeps its saved states. Slot order is fixed.
class ORVEL_API OvCanvasStateStorage {
 public:
  // Pushes a copy of state; returns the new depth.
  virtual int save(const OvCanvasState& state) = 0;
  // Pops the latest state into out.
  virtual void restore(OvCanvasState* out) = 0;
  // Drops every saved state.
  virtual void clear() = 0;
  virtual ~OvCanvasStateStorage();
};

// A save stack of N inline slots. Pushing onto a full stack or popping an
// empty one is fatal ("save stack exhausted", "save stack empty"); as the
// abort handler returns, save then returns the unchanged depth and restore
// leaves out untouched. restore(nullptr) pops without copying.
template <int N>
class ORVEL_API OvCanvasStateStorageFixed : public OvCanvasStateStorage {
  static_assert(N >= 1, "a save stack needs at least one slot");

 public:
  // Depth 0, every slot the identity; constant, so a static one is ready
  // before any constructor runs.
  constexpr OvCanvasStateStorageFixed() : fDepth(0), fSlots{} {}

  int save(const OvCanvasState& state) override {
    if (fDepth >= N) {
      FatalError("save stack exhausted");
      return fDepth;
    }
    fSlots[fDepth++] = state;
    return fDepth;
  }
  void restore(OvCanvasState* out) override {
    if (fDepth <= 0) {
      FatalError("save stack empty");
      return;
    }
    --fDepth;
    if (out) *out = fSlots[fDepth];
  }
  void clear() override { fDepth = 0; }
  int depth() const { return fDepth; }

 private:
  int32_t fDepth;
  OvCanvasState fSlots[N];
};

// The library's one instantiation; its virtual table lives in the library.
extern template class ORVEL_API OvCanvasStateStorageFixed<1>;

class ORVEL_API OvCanvas {
 public:
  // Copies info; the matrix starts as the identity. storage is not owned and
  // must outlive the canvas; with a null storage save() returns 0 and
  // restore() does nothing.
  OvCanvas(const OvImageInfo& info, OvCanvasStateStorage* storage) : fInfo(info), fStorage(storage) {}
  OvCanvas(const OvCanvas&) = delete;
  OvCanvas& operator=(const OvCanvas&) = delete;
  virtual ~OvCanvas();

  // Pushes the current matrix; returns the storage's new depth.
  virtual int save() { return fStorage ? fStorage->save(OvCanvasState{fMatrix}) : 0; }
  // Pops the latest saved matrix into the current one.
  virtual void restore() {
    if (!fStorage) return;
    OvCanvasState state{fMatrix};  // stays as it is when the stack is empty
    fStorage->restore(&state);
    fMatrix = state.matrix;
  }
  virtual void drawRect(const OvRect& rect, const OvPaint& paint) = 0;
  virtual void drawPath(const OvPath& path, const OvPaint& paint) = 0;
  virtual void drawBitmap(const OvBitmap& bitmap, float x, float y, const OvPaint& paint) = 0;
  virtual void drawLine(float x0, float y0, float x1, float y1, const OvPaint& paint) = 0;
  virtual void drawCircle(float cx, float cy, float radius, const OvPaint& paint) = 0;
  // Radii are taken as max(r, 0) (NaN counts as 0) and then clamped to half
  // the rectangle's width and height. A zero radius draws the rectangle with
  // drawRect; otherwise four quarter arcs, each sweeping -90 degrees, go to
  // drawPath: top-left from 270, bottom-left from 180, bottom-right from 90,
  // top-right from 0, then close. The outline starts at the top of the
  // top-left corner and runs counter-clockwise; recorded layouts carry these
  // verbs and points. An inverted rectangle has negative half sizes, which the
  // clamp carries into the radii: it is traced as a path from its own edges.
  virtual void drawRoundRect(const OvRect& rect, float rx, float ry, const OvPaint& paint) {
    drawRoundRectAsPath(rect, rx, ry, paint);
  }
  // text is not owned; byteLength bytes of it are read during the call.
  virtual void drawSimpleText(const void* text, unsigned byteLength, OvTextEncoding encoding, float x, float y,
                              const OvFont& font, const OvPaint& paint) = 0;
  virtual void drawTextBlob(const OvTextBlob* blob, float x, float y, const OvPaint& paint) = 0;
  // Copies the nine floats into the current matrix.
  virtual void setMatrix(const OvMatrix& matrix) { std::memcpy(fMatrix.m, matrix.m, sizeof fMatrix.m); }
  virtual void flush() {}
  // Sees every transform before it is concatenated (transform protocol above).
  virtual void onBeforeTransform(const OvMatrix&) {}
  // Draws an arc that drawArc has already found worth drawing.
  virtual void drawArcImpl(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                           const OvPaint& paint) = 0;

  // Calls drawArcImpl with the same arguments unless the sweep is 0 or the
  // oval is empty or inverted (left < right and top < bottom must hold
  // strictly). A NaN sweep is drawn.
  void drawArc(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter, const OvPaint& paint);

  // The transform helpers, each following the transform protocol: the hook
  // sees the matrix, then matrix() becomes matrix() x m. A recording canvas
  // records each as one transform record.
  void concat(const OvMatrix& m);
  void translate(float dx, float dy);
  void scale(float sx, float sy);
  // Degrees, about the origin, positive from +x towards +y. Multiples of 90
  // give exact 0 and +-1 entries.
  void rotate(float degrees);

  // The image description copied at construction.
  const OvImageInfo& info() const { return fInfo; }
  // The current matrix, read and written directly by the transform protocol.
  const OvMatrix& matrix() const { return fMatrix; }
  OvMatrix& matrix() { return fMatrix; }

  // Room for a round rectangle's path: a move, four cubics, three joining
  // lines and close's line and verb make 10 verbs and 17 points.
  static constexpr int kRoundRectVerbs = 11;
  static constexpr int kRoundRectPoints = 22;

 private:
  void drawRoundRectAsPath(const OvRect& rect, float rx, float ry, const OvPaint& paint);

  OvImageInfo fInfo;
  OvMatrix fMatrix;
  OvCanvasStateStorage* fStorage;
};

// Restores a canvas's matrix, through setMatrix, when the scope ends.
class ORVEL_API AutoRestoreCanvasMatrix {
 public:
  // canvas (may be null) is not owned and must outlive the guard.
  explicit AutoRestoreCanvasMatrix(OvCanvas* canvas)
      : fCanvas(canvas), fSaved(canvas ? canvas->matrix() : OvMatrix()) {}
  ~AutoRestoreCanvasMatrix() {
    if (fCanvas) fCanvas->setMatrix(fSaved);
  }
  AutoRestoreCanvasMatrix(const AutoRestoreCanvasMatrix&) = delete;
  AutoRestoreCanvasMatrix& operator=(const AutoRestoreCanvasMatrix&) = delete;

 private:
  OvCanvas* fCanvas;
  OvMatrix fSaved;
};

}  // namespace orvel
