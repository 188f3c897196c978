#include "orvel/shader/gradient_shader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "orvel/core/opts.h"

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

// Pixels shaded together: each stage (mapping, parameters, interpolation,
// premultiplication) is a simple loop over a block, which the compiler can
// vectorise.
constexpr int kBlock = 32;

// Truncation of an interpolated channel. Between 0 and 255 this is the plain
// float-to-integer conversion; outside (stops that are not ascending or not
// finite) and for NaN, where that conversion is undefined, it saturates.
inline uint16_t ToChannel(float v) {
  const float low = v > 0.0f ? v : 0.0f;  // NaN compares false: 0
  return uint16_t(int32_t(low < 255.0f ? low : 255.0f));
}

// zero ? 0 : f, written with the bits so that the compiler sees data flow,
// not a branch: behind a branch it would not compute the float arithmetic
// around it (which may raise exceptions) for every vector lane.
inline float ZeroWhere(bool zero, float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  bits &= uint32_t(zero) - 1u;
  std::memcpy(&f, &bits, sizeof bits);
  return f;
}

// (w + (w >> 8)) >> 8 with w = v * a + 128: v * a / 255 rounded to the
// nearest integer, with every step inside 16 bits. With a = 255 it gives v
// back exactly, so opaque pixels need no branch of their own.
inline uint32_t ScaleByAlpha(uint16_t v, uint16_t a) {
  const uint16_t w = uint16_t(v * a + 128);
  return uint16_t(w + (w >> 8)) >> 8;
}

inline RGBA_8888 Premultiply(uint16_t r, uint16_t g, uint16_t b, uint16_t a) {
  return uint32_t(a) << 24 | ScaleByAlpha(b, a) << 16 | ScaleByAlpha(g, a) << 8 | ScaleByAlpha(r, a);
}

// A span's stops, prepared for lookup. Only a stop above every earlier one
// (a "rising" stop) can be the first stop above some t, and the rising stops
// ascend, so the first stop above t is the first rising stop above t (none
// for NaN t; NaN positions never rise). Each t thus lies in one segment
// between neighbouring rising stops (below), and this finds exactly what
// MapT's search finds, for any positions.
struct StopLookup {
  const float* positions;
  const RGBA_8888* colors;
  int count;
  int rising;                           // the number of rising stops
  int index[kOvMaxGradientStops];       // their indices, from 1
  float position[kOvMaxGradientStops];  // their positions, ascending
  RGBA_8888 last;                       // past every stop: the last colour, premultiplied

  StopLookup(const float* stopPositions, const RGBA_8888* stopColors, int32_t stopCount)
      : positions(stopPositions),
        colors(stopColors),
        count(std::min(std::max(stopCount, 0), kOvMaxGradientStops)),
        rising(0),
        index(),
        position(),
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
};

// The channels of up to kBlock pixels, one array per channel.
struct Channels {
  uint16_t r[kBlock], g[kBlock], b[kBlock], a[kBlock];
};

// Interpolates n pixels between colours c0 and c1. kSaturate is false only
// when every channel value is known to lie in [0, 256), so that the
// conversion needs no saturation.
template <bool kSaturate>
void Interpolate(float base, float width, RGBA_8888 c0, RGBA_8888 c1, const float* t, int n, Channels* ch) {
  const float r0 = RedOf(c0), g0 = GreenOf(c0), b0 = BlueOf(c0), a0 = AlphaOf(c0);
  const float r1 = RedOf(c1), g1 = GreenOf(c1), b1 = BlueOf(c1), a1 = AlphaOf(c1);
  auto convert = [](float v) { return kSaturate ? ToChannel(v) : uint16_t(int32_t(v)); };
  for (int k = 0; k < n; ++k) {
    float frac = (t[k] - base) / width;
    frac = ZeroWhere(frac < 0.0f, frac);
    const float rest = 1.0f - frac;
    ch->r[k] = convert(frac * r1 + rest * r0);
    ch->g[k] = convert(frac * g1 + rest * g0);
    ch->b[k] = convert(frac * b1 + rest * b0);
    ch->a[k] = convert(frac * a1 + rest * a0);
  }
}

// Colours n pixels whose parameters all lie between stops i - 1 and i. Such a
// t is below stop i, so with a finite stop i - 1 and a finite, positive width
// frac ends in [0, 1] (or is NaN only for a NaN t, which lies past every
// stop) and each channel in [0, 255]: the conversion needs no saturation.
// The float work and the integer work are separate loops, so that a target
// whose vector unit cannot do IEEE float arithmetic still vectorises the
// second.
void ShadeBetween(const StopLookup& stops, int i, const float* t, int n, RGBA_8888* out) {
  const float base = stops.positions[i - 1];
  const float width = stops.positions[i] - base;
  const RGBA_8888 c0 = stops.colors[i - 1], c1 = stops.colors[i];
  Channels ch;
  if (std::isfinite(base) && std::isfinite(width) && width > 0.0f) {
    Interpolate<false>(base, width, c0, c1, t, n, &ch);
  } else {
    Interpolate<true>(base, width, c0, c1, t, n, &ch);
  }
  for (int k = 0; k < n; ++k) out[k] = Premultiply(ch.r[k], ch.g[k], ch.b[k], ch.a[k]);
}

// A stretch of t between two neighbouring rising stops: segment m holds the
// t with rising stop m - 1 <= t < rising stop m, where m = 0 has no lower
// bound and m = rising no upper one (and holds NaN).
struct Segment {
  int number;
  float low, high;
  bool unbounded;

  Segment(const StopLookup& stops, float t) : number(0) {
    while (number < stops.rising && !(stops.position[number] > t)) ++number;
    low = number > 0 ? stops.position[number - 1] : -INFINITY;
    unbounded = number == stops.rising;
    high = unbounded ? 0.0f : stops.position[number];
  }
  // Written without short cuts, so that a loop over it needs no branches.
  bool holds(float t) const {
    const bool fromLow = !(low > t), belowHigh = (high > t) | unbounded;
    return fromLow & belowHigh;
  }
};

// Colours a run of n pixels that all lie in one segment.
void ShadeRun(const StopLookup& stops, int segment, const float* t, int n, RGBA_8888* out) {
  if (segment == stops.rising) {
    for (int k = 0; k < n; ++k) out[k] = stops.last;
  } else {
    ShadeBetween(stops, stops.index[segment], t, n, out);
  }
}

// Colours n pixels (n <= kBlock) from their parameters, run by run of pixels
// in one segment. Most blocks are one run, which two comparisons a pixel
// confirm whatever the number of stops.
void ShadeBlock(const StopLookup& stops, const float* t, int n, RGBA_8888* out) {
  const Segment first(stops, t[0]);
  int32_t outside = 0;
  for (int k = 1; k < n; ++k) outside |= !first.holds(t[k]);
  if (!outside) {
    ShadeRun(stops, first.number, t, n, out);
    return;
  }
  for (int start = 0, end; start < n; start = end) {
    const Segment segment(stops, t[start]);
    for (end = start + 1; end < n && segment.holds(t[end]); ++end) {
    }
    ShadeRun(stops, segment.number, t + start, end - start, out + start);
  }
}

// Maps the n pixels from x0 on row y through the matrix. The products of y
// are the same for every pixel, so they are taken once; the rest is mapXY's
// arithmetic, operation for operation. An affine matrix (perspective row 0, 0,
// 1) makes w exactly 1 for every finite pixel coordinate, and dividing by 1
// changes nothing, so the affine loop skips the division.
void MapBlock(const OvMatrix& matrix, uint32_t x0, float y, int n, float* px, float* py) {
  const float* m = matrix.m;
  const float m1y = m[1] * y, m4y = m[4] * y, m7y = m[7] * y;
  if (m[6] == 0.0f && m[7] == 0.0f && m[8] == 1.0f) {
    for (int k = 0; k < n; ++k) {
      const float x = float(int32_t(x0 + uint32_t(k)));
      px[k] = m[0] * x + m1y + m[2];
      py[k] = m[3] * x + m4y + m[5];
    }
  } else {
    for (int k = 0; k < n; ++k) {
      const float x = float(int32_t(x0 + uint32_t(k)));
      const float w = m[6] * x + m7y + m[8];
      px[k] = (m[0] * x + m1y + m[2]) / w;
      py[k] = (m[3] * x + m4y + m[5]) / w;
    }
  }
}

// A shader kind's parameter stage: the gradient parameters t of n mapped
// points, with the kind's constants (a centre and up to three more).
struct Constants {
  float cx, cy, k0, k1, k2;
};
using ParameterStage = void (*)(const Constants& c, const float* px, const float* py, int n, float* t);

// Shades a span block by block: maps the pixels, takes their parameters and
// colours them. No stops at all shade zeros.
void ShadeSpan(const OvMatrix& matrix, const float* positions, const RGBA_8888* colors, int32_t count,
               const OvShaderBase::Span& span, RGBA_8888* out, ParameterStage stage, const Constants& constants) {
  const StopLookup stops(positions, colors, count);
  if (stops.count == 0) {
    OvOpts::memset32(out, 0, span.count);
    return;
  }
  float px[kBlock], py[kBlock], t[kBlock];
  for (int32_t done = 0; done < span.count;) {
    const int n = span.count - done < kBlock ? int(span.count - done) : kBlock;
    MapBlock(matrix, uint32_t(span.x) + uint32_t(done), float(span.y), n, px, py);
    stage(constants, px, py, n, t);
    ShadeBlock(stops, t, n, out + done);
    done += n;  // at most span.count: no overflow
  }
}

void LinearParameters(const Constants&, const float* px, const float* py, int n, float* t) {
  for (int k = 0; k < n; ++k) {
    const float v = px[k] + py[k] * 0.0f;
    t[k] = v < 0.0f ? 0.0f : v;
  }
}

// The square roots of the radial parameters have loops of their own: the C
// library's error reporting for negative arguments keeps them scalar, and the
// loops around them vectorise.

// k0: the inverse radius.
void CircularParameters(const Constants& c, const float* px, const float* py, int n, float* t) {
  for (int k = 0; k < n; ++k) {
    const float dx = px[k] - c.cx, dy = py[k] - c.cy;
    t[k] = dx * dx + dy * dy;
  }
  for (int k = 0; k < n; ++k) t[k] = std::sqrt(t[k]);
  for (int k = 0; k < n; ++k) {
    const float v = t[k] * c.k0;
    t[k] = v < 0.0f ? 0.0f : v;
  }
}

// k0, k1: a = first centre - second centre; k2: |a|^2 - radius^2.
void ConicParameters(const Constants& c, const float* px, const float* py, int n, float* t) {
  float dd[kBlock], b[kBlock];
  for (int k = 0; k < n; ++k) {
    const float dx = px[k] - c.cx, dy = py[k] - c.cy;
    dd[k] = dx * dx + dy * dy;
    b[k] = -2.0f * (dx * c.k0 + dy * c.k1);
    t[k] = b[k] * b[k] - 4.0f * dd[k] * c.k2;  // the discriminant
  }
  for (int k = 0; k < n; ++k) t[k] = std::sqrt(t[k]);
  for (int k = 0; k < n; ++k) {
    const float root = (t[k] - b[k]) / (2.0f * dd[k]);
    const float v = 1.0f / std::fabs(root);
    t[k] = ZeroWhere(dd[k] == 0.0f, v > 1.0f ? 1.0f : v);
  }
}

// True when the span shades nothing at all; fills it with zeros when there is
// nothing to shade it from.
bool NothingToShade(const OvShaderInfo* info, const OvShaderBase::Span& span, RGBA_8888* out) {
  if (!out || span.count <= 0) return true;
  if (info) return false;
  OvOpts::memset32(out, 0, span.count);
  return true;
}

}  // namespace

OvShaderBase::~OvShaderBase() {}

void OvLinearGradientShader::shadeSpan(const Span& span, RGBA_8888* out) const {
  if (NothingToShade(fInfo, span, out)) return;
  const OvLinearGradientInfo& info = fInfo->linear;
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, &LinearParameters, Constants{});
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
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, &CircularParameters,
            Constants{info.center0.x, info.center0.y, fInverseRadius, 0, 0});
}

void OvRadialGradientShader::shadeSpanConic(const Span& span, RGBA_8888* out) const {
  if (NothingToShade(fInfo, span, out)) return;
  const OvRadialGradientInfo& info = fInfo->radial;
  ShadeSpan(fMatrix, info.positions, info.colors, info.count, span, out, &ConicParameters,
            Constants{info.center1.x, info.center1.y, fAx, fAy, fC});
}

}  // namespace priv
}  // namespace orvel
