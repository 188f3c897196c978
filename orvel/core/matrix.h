// OvMatrix: nine floats, a 3x3 matrix in row-major order (m[0] scale x,
// m[1] skew x, m[2] translate x, m[3] skew y, m[4] scale y, m[5] translate y,
// m[6..8] the perspective row). No type mask: every test on a matrix is
// computed from the floats when it is needed.
#pragma once

#include <cstddef>

#include "orvel/core/export.h"
#include "orvel/core/geometry.h"

namespace orvel {

struct ORVEL_API OvMatrix {
  float m[9];

  // The identity.
  constexpr OvMatrix() : m{1, 0, 0, 0, 1, 0, 0, 0, 1} {}
  constexpr OvMatrix(float m0, float m1, float m2, float m3, float m4, float m5, float m6, float m7,
                     float m8)
      : m{m0, m1, m2, m3, m4, m5, m6, m7, m8} {}

  // True when the nine floats equal the shared identity constant byte for
  // byte: -0.0 where the identity holds 0.0 is not the identity.
  bool isIdentity() const;

  // this = a * b: mapping through the result maps through b, then a. a or b
  // may be this. When a's (else b's) affine part is the identity, the other is
  // copied whole; otherwise the product is affine and its perspective row is
  // (0, 0, 1), whatever the operands' perspective rows hold.
  OvMatrix& setConcat(const OvMatrix& a, const OvMatrix& b);

  // Maps (x, y) with the division by w = m6*x + m7*y + m8 always performed;
  // w = 0 gives infinities or NaN.
  OvPoint mapXY(float x, float y) const;

  // Replaces this by its inverse. False (matrix untouched) when singular or
  // when the inverse does not fit in floats.
  bool invert();
};

static_assert(sizeof(OvMatrix) == 36, "OvMatrix is exactly nine floats");

// Rotation-scale-translation: stands for (scos, -ssin, tx, ssin, scos, ty, 0, 0, 1).
struct ORVEL_API OvRSXform {
  float scos;
  float ssin;
  float tx;
  float ty;

  void set(float cosScale, float sinScale, float x, float y) {
    scos = cosScale;
    ssin = sinScale;
    tx = x;
    ty = y;
  }
  OvMatrix toMatrix() const;
  void toMatrix(OvMatrix* out) const;
};

static_assert(sizeof(OvRSXform) == 16 && offsetof(OvRSXform, ty) == 12, "OvRSXform layout");

}  // namespace orvel
