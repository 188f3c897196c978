// Arc splitting, the cubics' points against the ideal ellipse, and arcTo.
#include "orvel/path/arc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using Cubics = std::vector<OvPathUtils::ArcCubic>;

Cubics Split(const OvRect& oval, float start, float sweep) {
  Cubics out;
  OvPathUtils::cubicApproxArc(oval, start, sweep, &out,
                              [](void* context, const OvPoint& c1, const OvPoint& c2, const OvPoint& end) {
                                static_cast<Cubics*>(context)->push_back({c1, c2, end});
                              });
  return out;
}

// The ideal cubic of an arc from a to a + s degrees, worked out in double by
// angle sums rather than by turning a unit frame.
OvPathUtils::ArcCubic Ideal(const OvRect& o, double a, double s) {
  const double cx = (double(o.left) + o.right) / 2, cy = (double(o.top) + o.bottom) / 2;
  const double rx = (double(o.right) - o.left) / 2, ry = (double(o.bottom) - o.top) / 2;
  const double r = 3.14159265358979323846 / 180, b = a + s, k = 4.0 / 3 * std::tan(s * r / 4);
  auto at = [&](double x, double y) { return OvPoint{float(cx + rx * x), float(cy + ry * y)}; };
  return {at(std::cos(a * r) - k * std::sin(a * r), std::sin(a * r) + k * std::cos(a * r)),
          at(std::cos(b * r) + k * std::sin(b * r), std::sin(b * r) - k * std::cos(b * r)),
          at(std::cos(b * r), std::sin(b * r))};
}

TEST(ArcTest, SplitsIntoQuarterTurnsThenTheRest) {
  const OvRect oval{10, 20, 110, 70};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const struct {
    float start, sweep;
    std::vector<double> steps;
  } rows[] = {
      {0, 90, {90}},
      {30, 90.5f, {90, 0.5}},
      {45, -180, {-90, -90}},
      {10, 400, {90, 90, 90, 90}},  // cut at four quarter turns
      {0, -400, {-90, -90, -90, -90}},
      {0, 360, {90, 90, 90, 90}},
      {-30, 45, {45}},
      {200, -10.25f, {-10.25}},
      {0, 270.5f, {90, 90, 90, 0.5}},
      {0, 0, {}},
      {0, -0.0f, {}},
      {0, nan, {}},
      {0, inf, {90, 90, 90, 90}},
  };
  for (const auto& row : rows) {
    const Cubics got = Split(oval, row.start, row.sweep);
    ASSERT_EQ(got.size(), row.steps.size()) << "sweep " << row.sweep;
    double at = row.start;
    for (size_t i = 0; i < got.size(); ++i) {
      const OvPathUtils::ArcCubic want = Ideal(oval, at, row.steps[i]);
      const OvPoint g[3] = {got[i].c1, got[i].c2, got[i].end}, w[3] = {want.c1, want.c2, want.end};
      for (int p = 0; p < 3; ++p) {
        EXPECT_NEAR(g[p].x, w[p].x, 1e-4) << "sweep " << row.sweep << " cubic " << i << " point " << p;
        EXPECT_NEAR(g[p].y, w[p].y, 1e-4) << "sweep " << row.sweep << " cubic " << i << " point " << p;
      }
      at += row.steps[i];
    }
  }
}

TEST(ArcTest, SingleCubic) {
  const OvPathUtils::ArcCubic quarter = OvPathUtils::cubicApproxArc({0, 0, 2, 2}, 0, 90);
  // cos of the float nearest 90 degrees is -4.4e-8: x lands one float below 1.
  EXPECT_EQ(quarter.end.x, std::nextafter(1.0f, 0.0f));
  EXPECT_EQ(quarter.end.y, 2.0f);
  EXPECT_EQ(quarter.c1.x, 2.0f);
  for (float sweep : {90.5f, 180.0f, std::numeric_limits<float>::infinity()}) {
    const OvPathUtils::ArcCubic none = OvPathUtils::cubicApproxArc({0, 0, 2, 2}, 0, sweep);
    const OvPoint pts[3] = {none.c1, none.c2, none.end};
    for (const OvPoint& p : pts) EXPECT_TRUE(p.x == 0 && p.y == 0) << sweep;
  }
}

// The three ways in produce the same cubics: the callback, a PathInterface
// sink (a proxy) and arcTo, which adds no move on an empty path.
TEST(ArcTest, SinkAndPathGetTheSameCubics) {
  const OvRect oval{-3, 1, 5, 4};
  const Cubics split = Split(oval, 33, -250);
  ASSERT_EQ(split.size(), 3u);
  uint8_t verbs[2][8];
  OvPoint points[2][16];
  OvPathStorage storage[2] = {{verbs[0], 8, points[0], 16}, {verbs[1], 8, points[1], 16}};
  OvPath viaSink(&storage[0]), viaArcTo(&storage[1]);
  OvPathProxy proxy(&viaSink);
  OvPathUtils::CubicApproxArc(oval, 33, -250, &proxy);
  OvPathUtils::CubicApproxArc(oval, 33, -250, nullptr);
  viaArcTo.arcTo(oval, 33, -250, false);
  for (int k = 0; k < 2; ++k) {
    ASSERT_EQ(k ? viaArcTo.countVerbs() : viaSink.countVerbs(), 3) << k;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(verbs[k][i], OvPath::Cubic);
      EXPECT_EQ(std::memcmp(&points[k][3 * i], &split[i], sizeof split[i]), 0) << k << "/" << i;
    }
  }
}

TEST(ArcTest, ArcToStartPoint) {
  const OvRect oval{0, 0, 2, 2};
  const struct {
    const char* name;
    bool prefill, forceMoveTo;
    float sweep;
    std::vector<int> verbs;
  } rows[] = {
      {"zero sweep, empty, no force", false, false, 0, {}},
      {"zero sweep, force", false, true, 0, {OvPath::Move}},
      {"zero sweep after a move", true, false, 0, {OvPath::Move, OvPath::Line}},
      {"quarter after a move", true, false, 90, {OvPath::Move, OvPath::Line, OvPath::Cubic}},
      {"quarter forced after a move", true, true, 90, {OvPath::Move, OvPath::Move, OvPath::Cubic}},
  };
  for (const auto& row : rows) {
    uint8_t verbs[8];
    OvPoint points[16];
    OvPathStorage storage{verbs, 8, points, 16};
    OvPath path(&storage);
    if (row.prefill) path.moveTo({7, 7});
    path.arcTo(oval, 0, row.sweep, row.forceMoveTo);
    ASSERT_EQ(path.countVerbs(), int(row.verbs.size())) << row.name;
    for (int i = 0; i < path.countVerbs(); ++i) EXPECT_EQ(verbs[i], row.verbs[i]) << row.name;
    if (path.countVerbs() > int(row.prefill)) {
      EXPECT_EQ(points[row.prefill].x, 2.0f) << row.name;
      EXPECT_EQ(points[row.prefill].y, 1.0f) << row.name;
    }
    EXPECT_EQ(path.countContours(), int(row.prefill) + int(row.forceMoveTo)) << row.name;
  }
}

TEST(ArcTest, RefusedCubicsAreEachLogged) {
  uint8_t verbs[2];
  OvPoint points[4];
  OvPathStorage storage{verbs, 2, points, 4};
  OvPath path(&storage);
  testing::LogCapture log;
  path.arcTo({0, 0, 2, 2}, 0, 270, true);  // room for the move and one cubic
  EXPECT_EQ(path.countVerbs(), 2);
  ASSERT_EQ(log.lines.size(), 2u);
  EXPECT_EQ(log.lines[1], "Cannot append verb to path.");
}

// The centre's sums are formed in double: a float sum would overflow or lose
// the denormal halves.
TEST(ArcTest, CentreIsFormedInDouble) {
  const float tiny = std::numeric_limits<float>::denorm_min();
  const struct {
    OvRect oval;
    float wantY;
  } rows[] = {
      {{0, 3e38f, 2, 3.2e38f}, float((double(3e38f) + double(3.2e38f)) / 2)},
      {{0, tiny, 2, tiny}, tiny},
      {{0, -1.5f, 2, 2.5f}, 0.5f},
  };
  for (const auto& row : rows) {
    uint8_t verbs[1];
    OvPoint points[1];
    OvPathStorage storage{verbs, 1, points, 1};
    OvPath path(&storage);
    path.arcTo(row.oval, 0, 0, true);  // a move to (cx + rx, cy) exactly
    EXPECT_EQ(points[0].y, row.wantY) << row.oval.top;
    EXPECT_EQ(points[0].x, 2.0f);
  }
}

}  // namespace
}  // namespace orvel
