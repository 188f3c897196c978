// Gradient span shading: the objects a client's rasterizer calls, span by
// span, to turn a gradient description (OvShaderInfo) into premultiplied
// RGBA_8888 pixels. They live in orvel::priv because clients use them through
// their base class and never name the kinds in their own types.
//
// For each pixel i of a span starting at (x, y):
//   1. p = matrix.mapXY(float(x + i), float(y)), with no half-pixel offset;
//   2. the gradient parameter t of p (each shader says how);
//   3. index = OvShaderUtils::MapT(positions, count, t, &frac); frac < 0 -> 0;
//   4. each channel v = frac * c1 + (1 - frac) * c0 in float, truncated to an
//      integer, with c0 = colours[index - 1] and c1 = colours[index];
//   5. premultiplied: alpha 255 gives 0xFF000000 | b << 16 | g << 8 | r;
//      otherwise each colour channel becomes (w + (w >> 8)) >> 8 with
//      w = v * alpha + 128.
// Where that arithmetic leaves C++'s defined ground the shaders decide:
//   - one stop: the single colour (c0 is not read);
//   - no stops: every pixel is 0 (transparent);
//   - the stop count read from the info is clamped to 0..16;
//   - a channel value that is NaN or negative becomes 0, one of 255 or more
//     becomes 255 (that happens only for stops that are not ascending or not
//     finite; for every other value truncation is used as it stands);
//   - a non-finite t needs nothing of its own: NaN and +infinity are past
//     every stop and take the last colour, -infinity is clamped to 0 like
//     any negative t;
//   - x + i wraps around at the 32-bit range instead of overflowing.
// The span shaders give exactly these results, bit for bit, however they are
// compiled or vectorised. Shading reads the shader and its info only,
// allocates nothing, and may run on several threads with one shader at once.
#pragma once

#include <cstdint>

#include "orvel/core/color.h"
#include "orvel/core/export.h"
#include "orvel/core/matrix.h"
#include "orvel/shader/shader.h"

namespace orvel {

namespace OvShaderUtils {

// The stop that t falls before: for i from 1 to count - 1, the first i with
// positions[i] > t gives *frac = (t - positions[i-1]) / (positions[i] -
// positions[i-1]) and returns i. When there is none (or count < 2), *frac = 1
// and count - 1 is returned. A t before the first stop gives a negative frac.
// positions must hold count floats. A null positions or frac refuses the
// call: -1, nothing written.
ORVEL_API int MapT(const float* positions, int count, float t, float* frac);

}  // namespace OvShaderUtils

namespace priv {

// A span shader: a device-to-gradient matrix and the info it shades.
class ORVEL_API OvShaderBase {
 public:
  // A run of count pixels to the right of device pixel (x, y).
  struct Span {
    int32_t x;
    int32_t y;
    int32_t count;
  };

  // matrix maps device pixels to gradient space; info is not owned and must
  // outlive the shader. A null info shades every pixel 0.
  OvShaderBase(const OvMatrix& matrix, const OvShaderInfo* info) : fMatrix(matrix), fInfo(info) {}
  virtual ~OvShaderBase();

  // Writes span.count pixels to out. A null out or a count <= 0 writes nothing.
  virtual void shadeSpan(const Span& span, RGBA_8888* out) const = 0;

 protected:
  OvMatrix fMatrix;
  const OvShaderInfo* fInfo;
};

// Linear: t = p.x + p.y * 0.0 (so that a non-finite p.y spoils t), then a
// negative t becomes 0. Reads info->linear.
class ORVEL_API OvLinearGradientShader final : public OvShaderBase {
 public:
  OvLinearGradientShader(const OvMatrix& matrix, const OvShaderInfo* info) : OvShaderBase(matrix, info) {}
  void shadeSpan(const Span& span, RGBA_8888* out) const override;
};

// Radial, reading info->radial, in one of two modes chosen at construction:
//   circular, when the two centres are exactly equal: t = |p - centre0| /
//     radius (computed as sqrt(dx * dx + dy * dy) * inverse radius), a
//     negative t becoming 0;
//   conic otherwise: with d = p - centre1 and dd = d.x^2 + d.y^2, t = 0 when
//     dd is 0; else B = -2 (d.x a.x + d.y a.y), disc = B^2 - 4 dd c,
//     root = (sqrt(disc) - B) / (2 dd), t = 1 / |root|, at most 1; where
//     a = centre0 - centre1 and c = |a|^2 - radius^2.
class ORVEL_API OvRadialGradientShader final : public OvShaderBase {
 public:
  enum Mode : int32_t { kCircular = 0, kConic = 1 };

  // A null info gives a circular shader that shades every pixel 0.
  OvRadialGradientShader(const OvMatrix& matrix, const OvShaderInfo* info);
  void shadeSpan(const Span& span, RGBA_8888* out) const override;

  Mode mode() const { return fMode; }

 private:
  void initCircular();
  void initConic();
  void shadeSpanCircular(const Span& span, RGBA_8888* out) const;
  void shadeSpanConic(const Span& span, RGBA_8888* out) const;

  Mode fMode = kCircular;
  float fInverseRadius = 0.0f;
  float fAx = 0.0f;
  float fAy = 0.0f;
  float fC = 0.0f;
};

}  // namespace priv
}  // namespace orvel
