#include "orvel/core/matrix.h"

#include <cstring>

namespace orvel {

// The one identity constant every identity test compares against. It is
// exported under the name of isIdentity's function-local constant,
// orvel::OvMatrix::isIdentity() const::I, which clients of the shared object
// link against.
extern ORVEL_API const OvMatrix kIdentity __asm__("_ZZNK5orvel8OvMatrix10isIdentityEvE1I");
const OvMatrix kIdentity;

namespace {

// Compares the first six floats (the affine part) byte for byte.
bool AffineIsIdentity(const OvMatrix& a) { return std::memcmp(a.m, kIdentity.m, 6 * sizeof(float)) == 0; }

}  // namespace

bool OvMatrix::isIdentity() const { return std::memcmp(m, kIdentity.m, sizeof m) == 0; }

OvMatrix& OvMatrix::setConcat(const OvMatrix& a, const OvMatrix& b) {
  if (AffineIsIdentity(a)) {
    std::memmove(m, b.m, sizeof m);
    return *this;
  }
  if (AffineIsIdentity(b)) {
    std::memmove(m, a.m, sizeof m);
    return *this;
  }
  float r[9];
  if (a.m[1] == 0.0f && a.m[3] == 0.0f && b.m[1] == 0.0f && b.m[3] == 0.0f) {
    r[0] = a.m[0] * b.m[0];
    r[1] = 0.0f;
    r[2] = a.m[2] + a.m[0] * b.m[2];
    r[3] = 0.0f;
    r[4] = a.m[4] * b.m[4];
    r[5] = a.m[5] + a.m[4] * b.m[5];
  } else {
    const double a0 = a.m[0], a1 = a.m[1], a3 = a.m[3], a4 = a.m[4];
    const double b0 = b.m[0], b1 = b.m[1], b2 = b.m[2], b3 = b.m[3], b4 = b.m[4], b5 = b.m[5];
    r[0] = float(a0 * b0 + a1 * b3);
    r[1] = float(a0 * b1 + a1 * b4);
    r[3] = float(a3 * b0 + a4 * b3);
    r[4] = float(a3 * b1 + a4 * b4);
    // The translation's last addition is single precision.
    r[2] = a.m[2] + float(a0 * b2 + a1 * b5);
    r[5] = a.m[5] + float(a3 * b2 + a4 * b5);
  }
  r[6] = 0.0f;
  r[7] = 0.0f;
  r[8] = 1.0f;
  std::memcpy(m, r, sizeof m);
  return *this;
}

OvPoint OvMatrix::mapXY(float x, float y) const {
  const float w = m[6] * x + m[7] * y + m[8];
  return OvPoint{(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
}

bool OvMatrix::invert() {
  if (isIdentity()) return true;
  const double m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3], m4 = m[4], m5 = m[5], m6 = m[6], m7 = m[7],
               m8 = m[8];
  const double c0 = m4 * m8 - m5 * m7;
  const double c3 = m5 * m6 - m3 * m8;
  const double c6 = m3 * m7 - m4 * m6;
  const double det = m0 * c0 + m1 * c3 + m2 * c6;
  if (det == 0.0) return false;
  const double s = 1.0 / det;
  const float r[9] = {
      float(c0 * s),
      float((m2 * m7 - m1 * m8) * s),
      float((m1 * m5 - m2 * m4) * s),
      float(c3 * s),
      float((m0 * m8 - m2 * m6) * s),
      float((m2 * m3 - m0 * m5) * s),
      float(c6 * s),
      float((m1 * m6 - m0 * m7) * s),
      float((m0 * m4 - m1 * m3) * s),
  };
  // Zero times every entry stays zero unless one of them is infinite or NaN.
  float probe = 0.0f;
  for (float v : r) probe *= v;
  if (!(probe == 0.0f)) return false;
  std::memcpy(m, r, sizeof m);
  return true;
}

OvMatrix OvRSXform::toMatrix() const { return OvMatrix(scos, -ssin, tx, ssin, scos, ty, 0, 0, 1); }

void OvRSXform::toMatrix(OvMatrix* out) const { *out = toMatrix(); }

}  // namespace orvel
