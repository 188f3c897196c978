// Arc splitting, the cubics' points against the ideal ellipse, and arcTo.
#include "orvel/path/arc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using Cubic = OvPathUtils::ArcCubic;
using Cubics = std::vector<Cubic>;

Cubics Split(const OvRect& oval, float start, float sweep) {
  Cubics out;
  OvPathUtils::cubicApproxArc(oval, start, sweep, &out, [](void* context, const OvPoint& a, const OvPoint& b,
                                                           const OvPoint& end) {
    static_cast<Cubics*>(context)->push_back({a, b, end});
  });
  return out;
}

// The ideal cubic of an arc from a to a + s degrees, worked out in double by
// angle sums rather than by turning a unit frame.
Cubic Ideal(const OvRect& o, double a, double s) {
  const double cx = (double(o.left) + o.right) / 2, cy = (double(o.top) + o.bottom) / 2;
  const double rx = (double(o.right) - o.left) / 2, ry = (double(o.bottom) - o.top) / 2;
  const double r = 3.14159265358979323846 / 180, b = a + s, k = 4.0 / 3 * std::tan(s * r / 4);
  auto at = [&](double x, double y) { return OvPoint{float(cx + rx * x), float(cy + ry * y)}; };
  return {at(std::cos(a * r) - k * std::sin(a * r), std::sin(a * r) + k * std::cos(a * r)),
          at(std::cos(b * r) + k * std::sin(b * r), std::sin(b * r) - k * std::cos(b * r)),
          at(std::cos(b * r), std::sin(b * r))};
}

// The cubics against the ideal ones; a PathInterface sink (a proxy) and arcTo,
// which adds no move on an empty path, must get the very same cubics.
TEST(ArcTest, SplitsIntoQuarterTurnsThenTheRest) {
  const OvRect oval{10, 20, 110, 70};
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const struct { float start, sweep; std::vector<double> steps; } rows[] = {
      {0, 90, {90}}, {30, 90.5f, {90, 0.5}}, {45, -180, {-90, -90}}, {200, -10.25f, {-10.25}},
      {10, 400, {90, 90, 90, 90}}, {0, -400, {-90, -90, -90, -90}}, {0, 360, {90, 90, 90, 90}},  // cut at 360
      {0, inf, {90, 90, 90, 90}}, {0, 0, {}}, {0, nan, {}},
  };
  for (const auto& row : rows) {
    const Cubics got = Split(oval, row.start, row.sweep);
    ASSERT_EQ(got.size(), row.steps.size()) << "sweep " << row.sweep;
    double at = row.start;
    for (size_t i = 0; i < got.size(); at += row.steps[i++]) {
      const Cubic want = Ideal(oval, at, row.steps[i]);
      const OvPoint g[3] = {got[i].c1, got[i].c2, got[i].end}, w[3] = {want.c1, want.c2, want.end};
      for (int p = 0; p < 3; ++p) {
        EXPECT_NEAR(g[p].x, w[p].x, 1e-4) << "sweep " << row.sweep << " cubic " << i << " point " << p;
        EXPECT_NEAR(g[p].y, w[p].y, 1e-4) << "sweep " << row.sweep << " cubic " << i << " point " << p;
      }
    }
    uint8_t verbs[2][8];
    OvPoint points[2][16];
    OvPathStorage storage[2] = {{verbs[0], 8, points[0], 16}, {verbs[1], 8, points[1], 16}};
    OvPath viaSink(&storage[0]), viaArcTo(&storage[1]);
    OvPathProxy proxy(&viaSink);
    OvPathUtils::CubicApproxArc(oval, row.start, row.sweep, &proxy);
    viaArcTo.arcTo(oval, row.start, row.sweep, false);
    for (const OvPath* path : {&viaSink, &viaArcTo}) {
      EXPECT_EQ(std::string(path->verbs(), path->verbs() + path->countVerbs()), std::string(got.size(), OvPath::Cubic));
      EXPECT_TRUE(got.empty() || !std::memcmp(path->points(), got.data(), got.size() * sizeof(Cubic))) << row.sweep;
    }
  }
  OvPathUtils::CubicApproxArc(oval, 0, 90, nullptr);  // a null sink receives nothing
  // cos of the float nearest 90 degrees is -4.4e-8: x lands one float below 1.
  const Cubic quarter = OvPathUtils::cubicApproxArc({0, 0, 2, 2}, 0, 90);
  EXPECT_TRUE(quarter.end.x == std::nextafter(1.0f, 0.0f) && quarter.end.y == 2 && quarter.c1.x == 2);
  for (float sweep : {90.5f, 180.0f, inf}) {
    const Cubic c = OvPathUtils::cubicApproxArc({0, 0, 2, 2}, 0, sweep);
    EXPECT_TRUE(c.c1.x == 0 && c.c1.y == 0 && c.c2.x == 0 && c.c2.y == 0 && c.end.x == 0 && c.end.y == 0) << sweep;
  }
}

// The first point, a move or a line to (cx + rx, cy), with the centre's sums
// formed in double (a float sum would overflow or lose denormal halves).
TEST(ArcTest, ArcToStartPointAndRefusals) {
  const float tiny = std::numeric_limits<float>::denorm_min(), big = float((double(3e38f) + 3.2e38f) / 2);
  const struct { OvRect oval; bool prefill, force; float sweep; int verbCapacity; const char* verbs;
                 size_t refusals; float startY; } rows[] = {
      {{0, 0, 2, 2}, false, false, 0, 8, "", 0, 1},   {{0, 0, 2, 2}, false, true, 0, 8, "M", 0, 1},
      {{0, 0, 2, 2}, true, false, 0, 8, "ML", 0, 1},  {{0, 0, 2, 2}, true, false, 90, 8, "MLC", 0, 1},
      {{0, 0, 2, 2}, true, true, 90, 8, "MMC", 0, 1}, {{0, 0, 2, 2}, false, true, 270, 2, "MC", 2, 1},
      {{0, 3e38f, 2, 3.2e38f}, false, true, 0, 8, "M", 0, big}, {{0, tiny, 2, tiny}, false, true, 0, 8, "M", 0, tiny},
      {{0, -1.5f, 2, 2.5f}, false, true, 0, 8, "M", 0, 0.5f},
  };
  for (const auto& row : rows) {
    uint8_t verbs[8];
    OvPoint points[16];
    OvPathStorage storage{verbs, row.verbCapacity, points, 16};
    OvPath path(&storage);
    if (row.prefill) path.moveTo({7, 7});
    testing::LogCapture log;
    path.arcTo(row.oval, 0, row.sweep, row.force);
    std::string got;
    for (int i = 0; i < path.countVerbs(); ++i) got += "MLQKCZ"[verbs[i]];
    EXPECT_EQ(got, row.verbs) << row.sweep << " " << row.oval.top;
    EXPECT_EQ(log.lines, std::vector<std::string>(row.refusals, "Cannot append verb to path.")) << row.sweep;
    EXPECT_EQ(path.countContours(), int(row.prefill) + int(row.force)) << row.sweep;
    if (path.countVerbs() > int(row.prefill)) {
      EXPECT_EQ(points[row.prefill].x, 2.0f) << row.sweep << " " << row.oval.top;
      EXPECT_EQ(points[row.prefill].y, row.startY) << row.sweep << " " << row.oval.top;
    }
  }
}

}  // namespace
}  // namespace orvel
