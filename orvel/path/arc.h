// Elliptic arcs as cubic Beziers. An arc is an oval, a start angle and a
// sweep, in degrees: 0 along +x, growing towards +y; a negative sweep runs the
// other way. Arcs are cut into cubics of at most 90 degrees each, full quarter
// turns first and the remainder last, and at most four of them: a sweep
// beyond +-360 degrees is cut at 360, the rest dropped. Nothing allocates.
// OvPath::arcTo (path.h) appends an arc to a path through the same split.
#pragma once

#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/path/path.h"

namespace orvel {

class ORVEL_API OvPathUtils {
 public:
  // The most cubics one arc becomes: four quarter turns.
  static constexpr int kMaxArcCubics = 4;
  // The widest sweep, in degrees, that one cubic covers.
  static constexpr float kMaxCubicSweep = 90.0f;

  // One cubic; its start point, on the oval at startAngle, is implied.
  struct ArcCubic {
    OvPoint c1;
    OvPoint c2;
    OvPoint end;
  };
  // Receives one cubic of a split arc; context is the caller's.
  using EmitCubic = void (*)(void* context, const OvPoint& c1, const OvPoint& c2, const OvPoint& end);

  // One cubic for a sweep of at most 90 degrees. A sweep above 90 gives three
  // (0, 0) points. Sweeps below -90 are not refused and give the formula's
  // (poor) cubic; the split forms never pass them.
  static ArcCubic cubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle);
  // Splits the arc and calls emit once per cubic, in order. A zero or NaN
  // sweep emits nothing, and so does a null emit.
  static void cubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle, void* context, EmitCubic emit);
  // The same split, each cubic sent as sink->cubicTo(c1, c2, end). sink is
  // not owned; a null sink receives nothing.
  static void CubicApproxArc(const OvRect& oval, float startAngle, float sweepAngle, PathInterface* sink);
};

}  // namespace orvel
