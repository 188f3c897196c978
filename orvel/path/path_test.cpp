// Appends and their refusals, views, rewind, the iterator and the proxy.
#include "orvel/path/path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <sstream>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

// Room for 16 verbs and points, filled with a marker so that stray writes show.
struct Storage {
  uint8_t verbs[16];
  OvPoint points[16];
  OvPathStorage storage;
  Storage(int verbCapacity, int pointCapacity) : storage{verbs, verbCapacity, points, pointCapacity} {
    std::fill(verbs, verbs + 16, 0xEE);
    std::fill(points, points + 16, OvPoint{-7, -7});
  }
};

std::string Name(int verb) { return verb < 6 ? std::string(1, "MLQKCZ"[verb]) : std::to_string(verb); }
std::vector<int> Counts(const OvPath& p) { return {p.countVerbs(), p.countPoints(), p.countContours()}; }

// The iterator's walk as "M(1,2) L(1,2)(3,4) Z", each verb with the points
// next() hands out; "[peek X]" marks a peek that disagreed with next().
std::string Walk(const OvPath& path) {
  static const int kHandedOut[] = {1, 2, 3, 0, 4, 0};  // per verb, the start point included
  OvPath::Iter iter(path);
  std::ostringstream out;
  for (;;) {
    const OvPath::Verb peeked = iter.peek();
    OvPoint pts[4];
    const OvPath::Verb verb = iter.next(pts);
    if (verb != peeked) out << " [peek " << Name(peeked) << "]";
    if (verb == OvPath::Done) return out.str();
    out << (out.tellp() ? " " : "") << Name(verb);
    for (int i = 0; i < (verb < 6 ? kHandedOut[verb] : 0); ++i) out << "(" << pts[i].x << "," << pts[i].y << ")";
  }
}

// Runs a script of appends through a proxy (so that its forwarding is
// exercised too): M, L, Q, C and Z (moveTo, lineTo, quadTo, cubicTo, close),
// each followed by its points named a, b, c for (1,2), (3,4), (5,6).
void Build(OvPath& target, const char* s) {
  OvPathProxy proxy(&target);
  PathInterface& path = proxy;
  auto at = [&s](int k) { return OvPoint{float(2 * (s[k] - 'a') + 1), float(2 * (s[k] - 'a') + 2)}; };
  for (; *s; ++s) {
    if (*s == 'M') path.moveTo(at(1)), s += 1;
    else if (*s == 'L') path.lineTo(at(1)), s += 1;
    else if (*s == 'Q') path.quadTo(at(1), at(2)), s += 2;
    else if (*s == 'C') path.cubicTo(at(1), at(2), at(3)), s += 3;
    else path.close();
  }
}

TEST(PathTest, AppendsAndRefusals) {
  constexpr int kNull = INT_MIN;  // the path gets a null storage
  const struct {
    const char* name;
    int verbCapacity, pointCapacity;
    const char* script;
    const char* expected;
    size_t refusals;
  } rows[] = {
      {"fourth refused", 3, 3, "MaLbLcLa", "M(1,2) L(1,2)(3,4) L(3,4)(5,6)", 1},
      {"no point left", 4, 3, "MaLbLcMa", "M(1,2) L(1,2)(3,4) L(3,4)(5,6)", 1},
      {"close stores line and close", 4, 3, "MaLbZ", "M(1,2) L(1,2)(3,4) L(3,4)(1,2) Z", 0},
      {"close at the start point still lines", 3, 2, "MaZ", "M(1,2) L(1,2)(1,2) Z", 0},
      {"close with one verb slot", 3, 8, "MaLbZ", "M(1,2) L(1,2)(3,4) L(3,4)(1,2)", 1},
      {"close with no point slot", 8, 2, "MaLbZ", "M(1,2) L(1,2)(3,4) Z", 1},
      {"close on a full path", 2, 2, "MaLbZ", "M(1,2) L(1,2)(3,4)", 2},
      {"close closes the latest contour", 8, 8, "MaMbLcZ", "M(1,2) M(3,4) L(3,4)(5,6) L(5,6)(3,4) Z", 0},
      {"quad with one point free", 8, 2, "MaQbc", "M(1,2)", 1},
      {"quad fits exactly", 8, 3, "MaQbc", "M(1,2) Q(1,2)(3,4)(5,6)", 0},
      {"cubic with two points free", 8, 3, "MaCbca", "M(1,2)", 1},
      {"cubic fits exactly", 8, 4, "MaCbca", "M(1,2) C(1,2)(3,4)(5,6)(1,2)", 0},
      {"line may begin a path", 8, 8, "La", "L(0,0)(1,2)", 0},
      {"negative capacities", -1, -5, "Ma", "", 1},
      {"null storage", kNull, kNull, "MaZ", "", 3},
  };
  for (const auto& row : rows) {
    Storage s(row.verbCapacity, row.pointCapacity);
    OvPath path(row.verbCapacity == kNull ? nullptr : &s.storage);
    testing::LogCapture log;
    Build(path, row.script);
    EXPECT_EQ(Walk(path), row.expected) << row.name;
    EXPECT_EQ(log.lines, std::vector<std::string>(row.refusals, "Cannot append verb to path.")) << row.name;
    EXPECT_EQ(log.priorities, std::vector<int>(row.refusals, kLogPriorityError)) << row.name;
    EXPECT_EQ(std::count(s.verbs + path.countVerbs(), s.verbs + 16, 0xEE), 16 - path.countVerbs()) << row.name;
    EXPECT_EQ(std::count_if(s.points + path.countPoints(), s.points + 16, [](OvPoint p) { return p.x == -7; }),
              16 - path.countPoints()) << row.name;
  }
  for (int code : {5, 6, 7, 255}) EXPECT_EQ(OvPath::numPointsForVerb(OvPath::Verb(code)), 0) << code;
}

TEST(PathTest, CountsContourStartRewindAndTheProxy) {
  Storage s(8, 8);
  OvPath path(&s.storage);
  OvPathProxy proxy(&path);
  OvPoint out{-1, -1};
  EXPECT_TRUE(proxy.empty() && !proxy.getLastPt(&out) && !proxy.getFirstContourPt(&out) && out.x == -1);
  Build(path, "MaLbMcQab");
  EXPECT_EQ(Counts(path), (std::vector<int>{4, 5, 2}));
  EXPECT_TRUE(proxy.getLastPt(&out) && out.x == 3 && !proxy.empty());
  EXPECT_TRUE(proxy.getFirstContourPt(&out) && out.x == 5) << "the latest contour's start, not the first one's";
  const OvPath copy = path;  // copies share the storage
  proxy.rewind();
  EXPECT_TRUE(path.isEmpty() && !path.countContours() && !path.getFirstContourPt(&out) && copy.countVerbs() == 4);
  Build(path, "LaZ");  // rewind keeps the contour start, so close lines back to it
  EXPECT_EQ(Walk(path), "L(0,0)(1,2) L(1,2)(5,6) Z");
  proxy.rewind();
  proxy.arcTo({0, 0, 2, 2}, 0, 0, true);
  EXPECT_EQ(Walk(path), "M(2,1)");
}

TEST(PathTest, ViewRefusesAppendsAndClampsItsCounts) {
  Storage s(8, 8);
  OvPath writer(&s.storage);
  Build(writer, "McLb");
  OvPath view = OvPath::MakeView(s.storage, 2, 2, 1);
  testing::LogCapture log;
  Build(view, "MaLaQabCabcZ");
  view.arcTo({0, 0, 2, 2}, 0, 90, true);
  EXPECT_EQ(log.lines.size(), 8u) << "move, line, quad, cubic, close twice, arc move and cubic";
  view.rewind();
  EXPECT_EQ(Walk(view), "M(5,6) L(5,6)(3,4)");
  OvPoint out{-1, -1};
  EXPECT_TRUE(view.getFirstContourPt(&out) && out.x == 0 && out.y == 0) << "not read back from the arrays";
  // Verb and point counts are clamped to the capacities (3, 5), contours to the verbs.
  Storage small(3, 5);
  const struct { int verbs, points, contours; std::vector<int> want; } rows[] = {
      {2, 2, 1, {2, 2, 1}}, {9, 9, 9, {3, 5, 3}}, {-1, -4, -2, {0, 0, 0}}, {1, 9, 5, {1, 5, 1}}};
  for (const auto& r : rows) {
    EXPECT_EQ(Counts(OvPath::MakeView(small.storage, r.verbs, r.points, r.contours)), r.want) << r.verbs;
  }
}

TEST(PathTest, IteratorCarriesTheCurrentPoint) {
  Storage s(16, 16);
  OvPath path(&s.storage);
  path.lineTo({1, 1}).moveTo({2, 2}).quadTo({3, 3}, {4, 4}).close().lineTo({5, 5}).cubicTo({6, 6}, {7, 7}, {8, 8});
  // A leading line starts from (0, 0); after Close the move point is current.
  EXPECT_EQ(Walk(path), "L(0,0)(1,1) M(2,2) Q(2,2)(3,3)(4,4) L(4,4)(2,2) Z L(2,2)(5,5) C(5,5)(6,6)(7,7)(8,8)");
  // Conic and unknown codes consume no point; a verb short of counted points ends the walk.
  uint8_t verbs[] = {0, 3, 9, 1, 4};
  OvPoint points[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}};
  const OvPathStorage foreign{verbs, 5, points, 4};
  EXPECT_EQ(Walk(OvPath::MakeView(foreign, 5, 4, 1)), "M(1,1) K 9 L(1,1)(2,2) [peek C]");
  OvPoint pts[4];
  EXPECT_EQ(OvPath::Iter().next(pts), OvPath::Done);
}

}  // namespace
}  // namespace orvel
