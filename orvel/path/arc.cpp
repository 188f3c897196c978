#include "orvel/path/arc.h"

#include <cmath>

namespace orvel {
namespace {

// Degrees to radians, as a float.
constexpr float kDegreesToRadians = 0.017453292f;
// 4/3 as a float: the control-arm factor is 4/3 tan(sweep / 4).
constexpr float kFourThirds = 1.3333334f;

struct Ellipse {
  float cx, cy, rx, ry;
};

Ellipse EllipseOf(const OvRect& oval) {
  // The centre's sums are formed in double and rounded once: recorded
  // layouts carry the resulting floats.
  return Ellipse{float(double(oval.right) * 0.5 + double(oval.left) * 0.5),
                 float(double(oval.bottom) * 0.5 + double(oval.top) * 0.5), (oval.right - oval.left) * 0.5f,
                 (oval.bottom - oval.top) * 0.5f};
}

// How many cubics a sweep becomes: its quarter turns rounded up, at most
// kMaxArcCubics. Tested in float before any conversion, so that NaN and huge
// sweeps never reach an integer.
int CubicCount(float sweep) {
  const float q = sweep > 0 ? sweep / OvPathUtils::kMaxCubicSweep : sweep / -OvPathUtils::kMaxCubicSweep;
  if (!(q > 0)) return 0;
  if (q >= OvPathUtils::kMaxArcCubics) return OvPathUtils::kMaxArcCubics;
  const int whole = int(q);
  return q > float(whole) ? whole + 1 : whole;
}

}  // namespace

OvPathUtils::ArcCubic OvPathUtils::cubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle) {
  if (sweepAngle > kMaxCubicSweep) return ArcCubic{{0, 0}, {0, 0}, {0, 0}};
  const Ellipse e = EllipseOf(oval);
  const float phi = startAngle * kDegreesToRadians;
  const float theta = sweepAngle * kDegreesToRadians;
  const float s0 = std::sin(phi), c0 = std::cos(phi);
  const float s1 = std::sin(theta), c1 = std::cos(theta);
  const float k = std::tan(theta / 4) * kFourThirds;
  // The cubic of a unit circle turned by phi, in that circle's frame.
  const OvPoint unit[3] = {{1, k}, {c1 + k * s1, s1 - k * c1}, {c1, s1}};
  OvPoint out[3];
  for (int i = 0; i < 3; ++i) {
    const float x = unit[i].x * c0 - unit[i].y * s0;
    const float y = unit[i].x * s0 + unit[i].y * c0;
    out[i] = {e.cx + e.rx * x, e.cy + e.ry * y};
  }
  return ArcCubic{out[0], out[1], out[2]};
}

void OvPathUtils::cubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle, void* context,
                                 EmitCubic emit) {
  if (!emit) return;
  const int count = CubicCount(sweepAngle);
  const float quarter = sweepAngle > 0 ? kMaxCubicSweep : -kMaxCubicSweep;
  float done = 0;
  for (int i = 0; i < count; ++i) {
    const float rest = sweepAngle - done;
    const bool fits = sweepAngle > 0 ? rest <= kMaxCubicSweep : rest >= -kMaxCubicSweep;
    const float step = fits ? rest : quarter;
    const ArcCubic c = cubicApproxArc(oval, startAngle + done, step);
    emit(context, c.c1, c.c2, c.end);
    done += step;
  }
}

void OvPathUtils::CubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle, PathInterface* sink) {
  if (!sink) return;
  cubicApproxArc(oval, startAngle, sweepAngle, sink,
                 [](void* context, const OvPoint& c1, const OvPoint& c2, const OvPoint& end) {
                   static_cast<PathInterface*>(context)->cubicTo(c1, c2, end);
                 });
}

void OvPath::AppendArcCubic(void* path, const OvPoint& c1, const OvPoint& c2, const OvPoint& end) {
  const OvPoint pts[3] = {c1, c2, end};
  static_cast<OvPath*>(path)->append(Cubic, pts);
}

OvPath& OvPath::arcTo(const OvRect& oval, float startAngle, float sweepAngle, bool forceMoveTo) {
  const Ellipse e = EllipseOf(oval);
  const float phi = startAngle * kDegreesToRadians;
  const OvPoint start = {e.cx + e.rx * std::cos(phi), e.cy + e.ry * std::sin(phi)};
  if (forceMoveTo) {
    moveTo(start);
  } else if (!isEmpty()) {
    lineTo(start);
  }
  OvPathUtils::cubicApproxArc(oval, startAngle, sweepAngle, this, &AppendArcCubic);
  return *this;
}

}  // namespace orvel
