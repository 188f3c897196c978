// Points and rectangles: plain values of 32-bit floats, laid out as records
// and packets carry them.
#pragma once

#include <cstddef>

namespace orvel {

struct OvPoint {
  float x;
  float y;
};

// Left, top, right, bottom. Drawable only when left < right and top < bottom.
struct OvRect {
  float left;
  float top;
  float right;
  float bottom;

  // True for equal or reversed edges (and for NaN edges).
  bool isEmpty() const { return !(left < right && top < bottom); }
  float width() const { return right - left; }
  float height() const { return bottom - top; }
};

static_assert(sizeof(OvPoint) == 8 && offsetof(OvPoint, y) == 4, "OvPoint layout");
static_assert(sizeof(OvRect) == 16 && offsetof(OvRect, top) == 4 && offsetof(OvRect, right) == 8 &&
                  offsetof(OvRect, bottom) == 12,
              "OvRect layout");

}  // namespace orvel
