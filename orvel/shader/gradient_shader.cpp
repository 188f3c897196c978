#include "orvel/shader/gradient_shader.h"

#include <cmath>
#include <cstring>

namespace orvel {

int OvShaderUtils::MapT(const float* positions, int count, float t, float* frac) {
  if (!positions || !frac) return -1;
  for (int i = 1; i < count; ++i) {
    if (positions[i] > t) {
      *frac = (t - positions[i - 1]) / (positions[i] - positions[i - 1]);
      return i;
    }
  }
  *frac = 1.0f;
  return count - 1;
}

namespace priv {
namespace {

// Pixels shaded together: their parameters are computed in one loop, and when
// they all fall between the same two stops they are coloured in another, both
// loops simple enough for the compiler to vectorise.
constexpr int kBlock = 32;

// Truncation of an interpolated channel. Between 0 and 255 this is the plain
// float-to-integer conversion; outside (stops that are not ascending or not
// finite) and for NaN, where that conversion is undefined, it saturates.
inline int32_t ToChannel(float v) {
  const float low = v > 0.0f ? v : 0.0f;  // NaN compares false: 0
  return int32_t(low < 255.0f ? low : 255.0f);
}

// (w + (w >> 8)) >> 8 with w = v * a + 128 rounds v * a / 255 to the nearest
// integer, so with a = 255 it gives v back exactly: opaque pixels need no
// branch of their own.
inline RGBA_8888 Premultiply(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
  auto scale = [a](uint32_t v) {
    const uint32_t w = v * a + 128;
    return (w + (w >> 8)) >> 8;
  };
  return a << 24 | scale(b) << 16 | scale(g) << 8 | scale(r);
}

// One pixel of colour: frac of the way from c0 to c1, each channel in float.
RGBA_8888 Interpolate(RGBA_8888 c0, RGBA_8888 c1, float frac) {
  const float rest = 1.0f - frac;
  return Premultiply(ToChannel(frac * float(RedOf(c1)) + rest * float(RedOf(c0))),
                     ToChannel(frac * float(GreenOf(c1)) + rest * float(GreenOf(c0))),
                     ToChannel(frac * float(BlueOf(c1)) + rest * float(BlueOf(c0))),
                     ToChannel(frac * float(AlphaOf(c1)) + rest * float(AlphaOf(c0))));
}

// A span's stop lookup. Only a stop above every earlier one (a "rising" stop)
// can be the first stop past some t, and the rising stops ascend, so the
// first stop past t is the rising stop whose number is the count of rising
// stops not above t; that count equals the rising-stop total when none is
// above t (also for NaN t). NaN positions never rise. This finds exactly what
// MapT's search finds, for any positions.
struct StopLookup {
  const float* positions;
  const RGBA_8888* colors;
  int count;
  int rising;
  int index[kOvMaxGradientStops];
  float position[kOvMaxGradientStops];
  RGBA_8888 last;  // past every stop: the last colour, premultiplied

  StopLookup(const float* stopPositions, const RGBA_8888* stopColors, int32_t stopCount)
      : positions(stopPositions),
        colors(stopColors),
        count(stopCount < 0 ? 0 : stopCount > kOvMaxGradientStops ? kOvMaxGradientStops : stopCount),
        rising(0),
        last(0) {
    float highest = -INFINITY;
    for (int i = 1; i < count; ++i) {
      if (positions[i] > highest) {
        highest = positions[i];
        index[rising] = i;
        position[rising++] = highest;
      }
    }
    // frac is 1 past the last stop, so each channel is the last colour's own.
    if (count > 0) {
      const RGBA_8888 c = colors[count - 1];
      last = Premultiply(RedOf(c), GreenOf(c), BlueOf(c), AlphaOf(c));
    }
  }

  // The pixel for t, given its rising-stop count.
  RGBA_8888 shade(int segment, float t) const {
    if (segment == rising) return last;
    const int i = index[segment];
    float frac = (t - positions[i - 1]) / (positions[i] - positions[i - 1]);
    if (frac < 0.0f) frac = 0.0f;
    return Interpolate(colors[i - 1], colors[i], frac);
  }
};

// Colours n pixels whose parameters all lie between stops i - 1 and i.
void ShadeBetween(const StopLookup& stops, int i, const float* t, int n, RGBA_8888* out) {
  const float base = stops.positions[i - 1];
  const float width = stops.positions[i] - base;
  const RGBA_8888 c0 = stops.colors[i - 1], c1 = stops.colors[i];
  const float r0 = RedOf(c0), g0 = GreenOf(c0), b0 = BlueOf(c0), a0 = AlphaOf(c0);
  const float r1 = RedOf(c1), g1 = GreenOf(c1), b1 = BlueOf(c1), a1 = AlphaOf(c1);
  // The float work and the integer work are separate loops: a target whose
  // vector unit cannot do IEEE float arithmetic still vectorises the second.
  int32_t r[kBlock], g[kBlock], b[kBlock], a[kBlock];
  for (int k = 0; k < n; ++k) {
    float frac = (t[k] - base) / width;
    frac = frac < 0.0f ? 0.0f : frac;
    const float rest = 1.0f - frac;
    r[k] = ToChannel(frac * r1 + rest * r0);
    g[k] = ToChannel(frac * g1 + rest * g0);
    b[k] = ToChannel(frac * b1 + rest * b0);
    a[k] = ToChannel(frac * a1 + rest * a0);
  }
  for (int k = 0; k < n; ++k) out[k] = Premultiply(r[k], g[k], b[k], a[k]);
}

// Colours n pixels (n <= kBlock) from their parameters.
void ShadeBlock(const StopLookup& stops, const float* t, int n, RGBA_8888* out) {
  int32_t segment[kBlock] = {};
  for (int j = 0; j < stops.rising; ++j) {
    const float p = stops.position[j];
    for (int k = 0; k < n; ++k) segment[k] += !(p > t[k]);
  }
  bool same = true;
  for (int k = 1; k < n; ++k) same &= segment[k] == segment[0];
  if (!same) {
    for (int k = 0; k < n; ++k) out[k] = stops.shade(segment[k], t[k]);
  } else if (segment[0] == stops.rising) {
    for (int k = 0; k < n; ++k) out[k] = stops.last;
  } else {
    ShadeBetween(stops, stops.index[segment[0]], t, n, out);
  }
}

// Shades a span: maps each pixel through the matrix, takes its parameter with
// param(px, py) and colours it. The products of y are the same for every
// pixel, so they are taken once; the rest is mapXY's arithmetic, operation for
// operation. An affine matrix (perspective row 0, 0, 1) makes w exactly 1 for
// every finite pixel coordinate, and dividing by 1 changes nothing, so the
// affine form skips the division.
template <bool kAffine, typename Param>
void ShadeMapped(const OvMatrix& matrix, const StopLookup& stops, const OvShaderBase::Span& span, RGBA_8888* out,
                 const Param& param) {
  const float* m = matrix.m;
  const float y = float(span.y);
  const float m1y = m[1] * y, m4y = m[4] * y, m7y = m[7] * y;
  float t[kBlock];
  for (int32_t done = 0; done < span.count; done += kBlock) {
    const int n = span.count - done < kBlock ? int(span.count - done) : kBlock;
    const uint32_t x0 = uint32_t(span.x) + uint32_t(done);
    for (int k = 0; k < n; ++k) {
      const float x = float(int32_t(x0 + uint32_t(k)));
      float px = m[0] * x + m1y + m[2];
      float py = m[3] * x + m4y + m[5];
      if (!kAffine) {
        const float w = m[6] * x + m7y + m[8];
        px = px / w;
        py = py / w;
      }
      t[k] = param(px, py);
    }
    ShadeBlock(stops, t, n, out + done);
  }
}

bool IsAffine(const OvMatrix& matrix) { return matrix.m[6] == 0.0f && matrix.m[7] == 0.0f && matrix.m[8] == 1.0f; }

// Picks the affine or the general mapping, after the cases that shade nothing
// or only zeros.
template <typename Param>
void ShadeSpan(const OvMatrix& matrix, const float* positions, const RGBA_8888* colors, int32_t count,
               const OvShaderBase::Span& span, RGBA_8888* out, const Param& param) {
  const StopLookup stops(positions, colors, count);
  if (stops.count == 0) {
    std::memset(out, 0, size_t(span.count) * sizeof(RGBA_8888));
  } else if (IsAffine(matrix)) {
    ShadeMapped<true>(matrix, stops, span, out, param);
  } else {
    ShadeMapped<false>(matrix, stops, span, out, param);
  }
}

// True when the span shades nothing at all; fills it with zeros when there is
// nothing to shade it from.
bool NothingToShade(const OvShaderInfo* info, const OvShaderBase::Span& span, RGBA_8888* out) {
  if (!out || span.count <= 0) return true;
  if (info) return false;
  std::memset(out, 0, size_t(span.count) * sizeof(RGBA_8888));
  return true;
}

}  // namespace

OvShaderBase::~OvShaderBase() {}

void OvLinearGradientShader::shadeSpan(const Span& span, RGBA_8888* out) const {
  if (NothingToShade(fInfo, span, out)) return;
  const OvLinearGradientInfo& info = fInfo->linear;
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, [](float px, float py) {
    const float t = px + py * 0.0f;
    return t < 0.0f ? 0.0f : t;
  });
}

OvRadialGradientShader::OvRadialGradientShader(const OvMatrix& matrix, const OvShaderInfo* info)
    : OvShaderBase(matrix, info) {
  if (!info) return;
  const OvRadialGradientInfo& radial = info->radial;
  if (radial.center0.x == radial.center1.x && radial.center0.y == radial.center1.y) {
    initCircular();
  } else {
    initConic();
  }
}

void OvRadialGradientShader::initCircular() {
  fMode = kCircular;
  fInverseRadius = 1.0f / fInfo->radial.radius;
}

void OvRadialGradientShader::initConic() {
  const OvRadialGradientInfo& radial = fInfo->radial;
  fMode = kConic;
  fAx = radial.center0.x - radial.center1.x;
  fAy = radial.center0.y - radial.center1.y;
  fC = fAx * fAx + fAy * fAy - radial.radius * radial.radius;
}

void OvRadialGradientShader::shadeSpan(const Span& span, RGBA_8888* out) const {
  if (fMode == kCircular) {
    shadeSpanCircular(span, out);
  } else {
    shadeSpanConic(span, out);
  }
}

void OvRadialGradientShader::shadeSpanCircular(const Span& span, RGBA_8888* out) const {
  if (NothingToShade(fInfo, span, out)) return;
  const OvRadialGradientInfo& info = fInfo->radial;
  const float cx = info.center0.x, cy = info.center0.y, inverseRadius = fInverseRadius;
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, [=](float px, float py) {
    const float dx = px - cx, dy = py - cy;
    const float t = std::sqrt(dx * dx + dy * dy) * inverseRadius;
    return t < 0.0f ? 0.0f : t;
  });
}

void OvRadialGradientShader::shadeSpanConic(const Span& span, RGBA_8888* out) const {
  if (NothingToShade(fInfo, span, out)) return;
  const OvRadialGradientInfo& info = fInfo->radial;
  const float cx = info.center1.x, cy = info.center1.y, ax = fAx, ay = fAy, c = fC;
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, [=](float px, float py) {
    const float dx = px - cx, dy = py - cy;
    const float dd = dx * dx + dy * dy;
    if (dd == 0.0f) return 0.0f;
    const float b = -2.0f * (dx * ax + dy * ay);
    const float disc = b * b - 4.0f * dd * c;
    const float root = (std::sqrt(disc) - b) / (2.0f * dd);
    const float t = 1.0f / std::fabs(root);
    return t > 1.0f ? 1.0f : t;
  });
}

}  // namespace priv
}  // namespace orvel
