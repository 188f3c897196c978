// Appends and their refusals, views, rewind, the iterator and the proxy.
#include "orvel/path/path.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

constexpr char kRefused[] = "Cannot append verb to path.";

// Room for a few verbs and points, filled with a marker so that stray writes show.
struct Storage {
  uint8_t verbs[16];
  OvPoint points[16];
  OvPathStorage storage;
  Storage(int verbCapacity, int pointCapacity) : storage{verbs, verbCapacity, points, pointCapacity} {
    for (auto& v : verbs) v = 0xEE;
    for (auto& p : points) p = {-7, -7};
  }
};

// "M(1,2) L(3,4) Z" from the stored arrays, so failing rows show the whole path.
std::string Describe(const OvPath& path) {
  static const char kLetters[] = "MLQKCZ";
  std::ostringstream out;
  const OvPoint* p = path.points();
  for (int i = 0; i < path.countVerbs(); ++i) {
    const int verb = path.verbs()[i];
    out << (i ? " " : "") << (verb < 6 ? kLetters[verb] : '?');
    for (int k = 0; k < OvPath::numPointsForVerb(OvPath::Verb(verb)); ++k, ++p)
      out << "(" << p->x << "," << p->y << ")";
  }
  return out.str();
}

TEST(PathTest, PointsPerVerb) {
  const int expected[] = {1, 1, 2, 2, 3, 0, 0, 0, 0};
  const int codes[] = {0, 1, 2, 3, 4, 5, 6, 7, 255};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(OvPath::numPointsForVerb(OvPath::Verb(codes[i])), expected[i]) << codes[i];
}

// Runs a script of appends: M, L, Q, C and Z (moveTo, lineTo, quadTo, cubicTo,
// close), each followed by its points named a, b, c for (1,2), (3,4), (5,6).
void Build(OvPath& path, const char* script) {
  const OvPoint named[] = {{1, 2}, {3, 4}, {5, 6}};
  for (const char* s = script; *s; ++s) {
    const char op = *s;
    const int n = op == 'Q' ? 2 : op == 'C' ? 3 : op == 'Z' ? 0 : 1;
    OvPoint p[3];
    for (int i = 0; i < n; ++i) p[i] = named[*++s - 'a'];
    if (op == 'M') path.moveTo(p[0]);
    if (op == 'L') path.lineTo(p[0]);
    if (op == 'Q') path.quadTo(p[0], p[1]);
    if (op == 'C') path.cubicTo(p[0], p[1], p[2]);
    if (op == 'Z') path.close();
  }
}

TEST(PathTest, AppendsAndRefusals) {
  const struct {
    const char* name;
    int verbCapacity, pointCapacity;
    const char* script;
    const char* expected;
    size_t refusals;
  } rows[] = {
      {"three fit", 3, 3, "MaLbLc", "M(1,2) L(3,4) L(5,6)", 0},
      {"fourth refused", 3, 3, "MaLbLcLa", "M(1,2) L(3,4) L(5,6)", 1},
      {"no point left", 4, 3, "MaLbLcMa", "M(1,2) L(3,4) L(5,6)", 1},
      {"close stores line and close", 4, 3, "MaLbZ", "M(1,2) L(3,4) L(1,2) Z", 0},
      {"close at the start point still lines", 3, 2, "MaZ", "M(1,2) L(1,2) Z", 0},
      {"close with one verb slot", 3, 8, "MaLbZ", "M(1,2) L(3,4) L(1,2)", 1},
      {"close with no point slot", 8, 2, "MaLbZ", "M(1,2) L(3,4) Z", 1},
      {"close on a full path", 2, 2, "MaLbZ", "M(1,2) L(3,4)", 2},
      {"close closes the latest contour", 8, 8, "MaMbLcZ", "M(1,2) M(3,4) L(5,6) L(3,4) Z", 0},
      {"quad with one point free", 8, 2, "MaQbc", "M(1,2)", 1},
      {"quad fits exactly", 8, 3, "MaQbc", "M(1,2) Q(3,4)(5,6)", 0},
      {"cubic with two points free", 8, 3, "MaCbca", "M(1,2)", 1},
      {"cubic fits exactly", 8, 4, "MaCbca", "M(1,2) C(3,4)(5,6)(1,2)", 0},
      {"line may begin a path", 8, 8, "La", "L(1,2)", 0},
      {"negative capacities", -1, -5, "Ma", "", 1},
  };
  for (const auto& row : rows) {
    Storage s(row.verbCapacity, row.pointCapacity);
    OvPath path(&s.storage);
    testing::LogCapture log;
    Build(path, row.script);
    EXPECT_EQ(Describe(path), row.expected) << row.name;
    ASSERT_EQ(log.lines.size(), row.refusals) << row.name;
    for (size_t i = 0; i < log.lines.size(); ++i) {
      EXPECT_EQ(log.lines[i], kRefused) << row.name;
      EXPECT_EQ(log.priorities[i], kLogPriorityError) << row.name;
      EXPECT_EQ(log.tags[i], "orvel") << row.name;
    }
    // Nothing is written past the counts.
    for (int i = path.countVerbs(); i < 16; ++i) EXPECT_EQ(s.verbs[i], 0xEE) << row.name;
    for (int i = path.countPoints(); i < 16; ++i) EXPECT_EQ(s.points[i].x, -7) << row.name;
  }
}

TEST(PathTest, CountsAndContourStart) {
  Storage s(8, 8);
  OvPath path(&s.storage);
  OvPoint out{-1, -1};
  EXPECT_TRUE(path.isEmpty());
  EXPECT_FALSE(path.getLastPt(&out));
  EXPECT_FALSE(path.getFirstContourPt(&out));
  EXPECT_EQ(out.x, -1);

  Build(path, "MaLbMcQab");
  EXPECT_EQ(path.countVerbs(), 4);
  EXPECT_EQ(path.countPoints(), 5);
  EXPECT_EQ(path.countContours(), 2);
  ASSERT_TRUE(path.getLastPt(&out));
  EXPECT_EQ(out.x, 3);
  ASSERT_TRUE(path.getFirstContourPt(&out));
  EXPECT_EQ(out.x, 5) << "the latest contour's start, not the first one's";

  OvPath copy = path;  // copies share the storage
  path.rewind();
  EXPECT_TRUE(path.isEmpty());
  EXPECT_EQ(path.countContours(), 0);
  EXPECT_FALSE(path.getFirstContourPt(&out));
  EXPECT_EQ(copy.countVerbs(), 4);
  // rewind keeps the contour start, so a close right after lines back to it.
  Build(path, "LaZ");
  EXPECT_EQ(Describe(path), "L(1,2) L(5,6) Z");
}

TEST(PathTest, NullStorageRefusesEverything) {
  OvPath path(nullptr);
  testing::LogCapture log;
  Build(path, "MaZ");
  EXPECT_TRUE(path.isEmpty());
  EXPECT_EQ(log.lines.size(), 3u);
  OvPath::Iter iter(path);
  OvPoint pts[4];
  EXPECT_EQ(iter.next(pts), OvPath::Done);
}

TEST(PathTest, ViewRefusesAppendsAndKeepsItsCounts) {
  Storage s(8, 8);
  OvPath writer(&s.storage);
  Build(writer, "McLb");
  OvPath view = OvPath::MakeView(s.storage, 2, 2, 1);
  testing::LogCapture log;
  Build(view, "MaLaQabCabcZ");
  view.arcTo({0, 0, 2, 2}, 0, 90, true);
  EXPECT_EQ(log.lines.size(), 8u) << "move, line, quad, cubic, close twice, arc move and cubic";
  EXPECT_FALSE(view.canAppendVerb(OvPath::Close));
  view.rewind();
  EXPECT_EQ(Describe(view), "M(5,6) L(3,4)");
  EXPECT_EQ(view.countContours(), 1);
  OvPoint out{-1, -1};
  ASSERT_TRUE(view.getFirstContourPt(&out));
  EXPECT_EQ(out.x, 0) << "a view's contour start is not read back from the arrays";
  EXPECT_EQ(out.y, 0);
}

TEST(PathTest, ViewClampsCallerCounts) {
  Storage s(3, 5);
  const struct {
    int verbs, points, contours;
    int wantVerbs, wantPoints, wantContours;
  } rows[] = {
      {2, 2, 1, 2, 2, 1},
      {9, 9, 9, 3, 5, 3},
      {-1, -4, -2, 0, 0, 0},
      {1, 9, 5, 1, 5, 1},
  };
  for (const auto& row : rows) {
    const OvPath view = OvPath::MakeView(s.storage, row.verbs, row.points, row.contours);
    EXPECT_EQ(view.countVerbs(), row.wantVerbs) << row.verbs;
    EXPECT_EQ(view.countPoints(), row.wantPoints) << row.points;
    EXPECT_EQ(view.countContours(), row.wantContours) << row.contours;
  }
}

TEST(PathTest, IteratorWalksVerbsAndCarriesTheCurrentPoint) {
  Storage s(16, 16);
  OvPath path(&s.storage);
  path.lineTo({1, 1}).moveTo({2, 2}).quadTo({3, 3}, {4, 4}).close().lineTo({5, 5}).cubicTo({6, 6}, {7, 7}, {8, 8});
  const struct {
    OvPath::Verb verb;
    int count;
    OvPoint pts[4];
  } expected[] = {
      {OvPath::Line, 2, {{0, 0}, {1, 1}}},  // a leading line starts from (0, 0)
      {OvPath::Move, 1, {{2, 2}}},
      {OvPath::Quad, 3, {{2, 2}, {3, 3}, {4, 4}}},
      {OvPath::Line, 2, {{4, 4}, {2, 2}}},  // close's explicit line
      {OvPath::Close, 0, {}},
      {OvPath::Line, 2, {{2, 2}, {5, 5}}},  // after Close the move point is current
      {OvPath::Cubic, 4, {{5, 5}, {6, 6}, {7, 7}, {8, 8}}},
  };
  OvPath::Iter iter(path);
  for (const auto& want : expected) {
    OvPoint pts[4] = {{-9, -9}, {-9, -9}, {-9, -9}, {-9, -9}};
    ASSERT_EQ(iter.peek(), want.verb);
    ASSERT_EQ(iter.next(pts), want.verb);
    for (int i = 0; i < 4; ++i) {
      const OvPoint p = i < want.count ? want.pts[i] : OvPoint{-9, -9};
      EXPECT_EQ(pts[i].x, p.x) << int(want.verb) << " point " << i;
      EXPECT_EQ(pts[i].y, p.y) << int(want.verb) << " point " << i;
    }
  }
  OvPoint pts[4];
  EXPECT_EQ(iter.next(pts), OvPath::Done);
  EXPECT_EQ(iter.peek(), OvPath::Done);
  EXPECT_EQ(OvPath::Iter().next(pts), OvPath::Done);
}

TEST(PathTest, IteratorOnForeignViews) {
  // Conic and unknown codes come back as read and consume no point; a verb
  // whose points are not all counted ends the walk.
  uint8_t verbs[] = {0, 3, 9, 1, 4};
  OvPoint points[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}};
  const OvPathStorage storage{verbs, 5, points, 4};
  OvPath::Iter iter(OvPath::MakeView(storage, 5, 4, 1));
  OvPoint pts[4] = {};
  EXPECT_EQ(iter.next(pts), OvPath::Move);
  EXPECT_EQ(iter.next(pts), OvPath::Conic);
  EXPECT_EQ(int(iter.next(pts)), 9);
  EXPECT_EQ(iter.next(pts), OvPath::Line);
  EXPECT_EQ(pts[0].x, 1);
  EXPECT_EQ(pts[1].x, 2);
  EXPECT_EQ(iter.peek(), OvPath::Cubic);
  EXPECT_EQ(iter.next(pts), OvPath::Done) << "the cubic needs 3 points, 2 are counted";
  EXPECT_EQ(iter.peek(), OvPath::Done);
}

TEST(PathTest, ProxyForwards) {
  Storage s(16, 16);
  OvPath path(&s.storage);
  OvPathProxy proxy(&path);
  PathInterface& sink = proxy;
  EXPECT_TRUE(sink.empty());
  OvPoint out{};
  EXPECT_FALSE(sink.getLastPt(&out));
  sink.moveTo({1, 1});
  sink.lineTo({2, 2});
  sink.quadTo({3, 3}, {4, 4});
  sink.cubicTo({5, 5}, {6, 6}, {7, 7});
  sink.arcTo({0, 0, 2, 2}, 0, 0, true);
  sink.close();
  EXPECT_EQ(Describe(path), "M(1,1) L(2,2) Q(3,3)(4,4) C(5,5)(6,6)(7,7) M(2,1) L(2,1) Z");
  ASSERT_TRUE(sink.getLastPt(&out));
  EXPECT_EQ(out.x, 2);
  ASSERT_TRUE(sink.getFirstContourPt(&out));
  EXPECT_EQ(out.y, 1);
  EXPECT_FALSE(sink.empty());
  sink.rewind();
  EXPECT_TRUE(path.isEmpty());
}

}  // namespace
}  // namespace orvel
