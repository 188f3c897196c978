// The canvas defaults (round rectangles, arcs, the save stack),
// AutoRestoreCanvasMatrix and Ov2WayCanvas's forwarding.
#include "orvel/core/canvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/core/two_way_canvas.h"

namespace orvel {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// "op arg arg...": floats in hex so that every bit shows, rects as four floats.
struct Args {
  std::ostringstream out;
  Args& operator<<(float v) { return out << ' ' << std::hexfloat << v, *this; }
  Args& operator<<(const OvRect& r) { return *this << r.left << r.top << r.right << r.bottom; }
  template <typename T>
  Args& operator<<(const T& v) {
    return out << ' ' << v, *this;
  }
};
template <typename... T>
std::string Call(const char* op, const T&... args) {
  Args a;
  static_cast<void>((a << ... << args));
  return op + a.out.str();
}

// Records every call as "<name>:<Call>" into a shared log; drawPath also
// keeps the path's verbs and points.
class TestCanvas : public OvCanvas {
 public:
  TestCanvas(const char* name, std::vector<std::string>* log, OvCanvasStateStorage* storage = nullptr)
      : OvCanvas(OvImageInfo{{7, 8, 9}}, storage), fName(name), fLog(log) {}

  std::vector<uint8_t> verbs;
  std::vector<OvPoint> points;
  const OvCanvas* peer = nullptr;  // whose matrix onBeforeTransform also notes

  int save() override { return note("save"), 1; }
  void restore() override { note("restore"); }
  void drawRect(const OvRect& r, const OvPaint& p) override { note("drawRect", r, &p); }
  void drawPath(const OvPath& path, const OvPaint& p) override {
    verbs.assign(path.verbs(), path.verbs() + path.countVerbs());
    points.assign(path.points(), path.points() + path.countPoints());
    note("drawPath", path.countVerbs(), path.countPoints(), &p);
  }
  void drawBitmap(const OvBitmap& b, float x, float y, const OvPaint& p) override { note("drawBitmap", &b, x, y, &p); }
  void drawLine(float x0, float y0, float x1, float y1, const OvPaint& p) override {
    note("drawLine", x0, y0, x1, y1, &p);
  }
  void drawCircle(float cx, float cy, float r, const OvPaint& p) override { note("drawCircle", cx, cy, r, &p); }
  void drawRoundRect(const OvRect& r, float rx, float ry, const OvPaint& p) override {
    note("drawRoundRect", r, rx, ry, &p);
    OvCanvas::drawRoundRect(r, rx, ry, p);
  }
  void drawSimpleText(const void* text, unsigned length, OvTextEncoding encoding, float x, float y, const OvFont& font,
                      const OvPaint& p) override {
    note("drawSimpleText", text, length, unsigned(encoding), x, y, &font, &p);
  }
  void drawTextBlob(const OvTextBlob* blob, float x, float y, const OvPaint& p) override {
    note("drawTextBlob", blob, x, y, &p);
  }
  void setMatrix(const OvMatrix& m) override {
    note("setMatrix", m.m[0], m.m[2]);
    OvCanvas::setMatrix(m);
  }
  void flush() override { note("flush"); }
  // The matrices show what was concatenated before this call.
  void onBeforeTransform(const OvMatrix& m) override {
    note("onBeforeTransform", m.m[2], matrix().m[2], peer ? peer->matrix().m[2] : -1.0f);
  }
  void drawArcImpl(const OvRect& oval, float start, float sweep, bool useCenter, const OvPaint& p) override {
    note("drawArcImpl", oval, start, sweep, useCenter, &p);
  }

 private:
  template <typename... T>
  void note(const char* op, const T&... args) {
    fLog->push_back(fName + ":" + Call(op, args...));
  }
  std::string fName;
  std::vector<std::string>* fLog;
};

// A canvas that keeps the base save and restore.
class StackCanvas : public TestCanvas {
 public:
  StackCanvas(std::vector<std::string>* log, OvCanvasStateStorage* storage) : TestCanvas("S", log, storage) {}
  int save() override { return OvCanvas::save(); }
  void restore() override { OvCanvas::restore(); }
};

OvMatrix Translate(float x) { return OvMatrix(1, 0, x, 0, 1, 0, 0, 0, 1); }

TEST(CanvasTest, RoundRectPathBitForBit) {
  std::vector<std::string> log;
  TestCanvas canvas("A", &log);
  OvPaint paint;
  canvas.drawRoundRect({10.5f, 20.25f, 110.75f, 80.125f}, 15.3f, 9.7f, paint);
  const std::vector<uint8_t> verbs = {OvPath::Move,  OvPath::Cubic, OvPath::Line,  OvPath::Cubic, OvPath::Line,
                                      OvPath::Cubic, OvPath::Line,  OvPath::Cubic, OvPath::Line,  OvPath::Close};
  const OvPoint points[] = {
      {0x1.9cccccp+4f, 0x1.44p+4f},  {0x1.1599c6p+4f, 0x1.44p+4f},  {0x1.5p+3f, 0x1.897c44p+4f},
      {0x1.5p+3f, 0x1.df3334p+4f},   {0x1.5p+3f, 0x1.19b334p+6f},   {0x1.5p+3f, 0x1.2f20fp+6f},
      {0x1.1599c6p+4f, 0x1.408p+6f}, {0x1.9cccccp+4f, 0x1.408p+6f}, {0x1.7dccccp+6f, 0x1.408p+6f},
      {0x1.9f998ep+6f, 0x1.408p+6f}, {0x1.bbp+6f, 0x1.2f20fp+6f},   {0x1.bbp+6f, 0x1.19b334p+6f},
      {0x1.bbp+6f, 0x1.df3334p+4f},  {0x1.bbp+6f, 0x1.897c44p+4f},  {0x1.9f998ep+6f, 0x1.44p+4f},
      {0x1.7dccccp+6f, 0x1.44p+4f},  {0x1.9cccccp+4f, 0x1.44p+4f},
  };
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(canvas.verbs, verbs);
  ASSERT_EQ(canvas.points.size(), 17u);
  for (int i = 0; i < 17; ++i) {
    EXPECT_EQ(std::memcmp(&canvas.points[i], &points[i], sizeof(OvPoint)), 0)
        << "point " << i << " got " << std::hexfloat << canvas.points[i].x << ", " << canvas.points[i].y;
  }
}

TEST(CanvasTest, RoundRectRadii) {
  const OvRect rect{0, 0, 8, 4};
  const struct {
    float rx, ry;
    bool path;
    float sameAsRx, sameAsRy;  // radii that must give the very same path
  } rows[] = {
      {0, 1, false, 0, 0},    {1, 0, false, 0, 0},    {-1, 1, false, 0, 0}, {-0.0f, 1, false, 0, 0},
      {kNaN, 1, false, 0, 0}, {1, kNaN, false, 0, 0}, {1, 1, true, 1, 1},   {50, 50, true, 4, 2},
      {5, 1, true, 4, 1},     {1, 2.5f, true, 1, 2},
  };
  for (const auto& row : rows) {
    std::vector<std::string> log, reference;
    TestCanvas canvas("A", &log), clamped("A", &reference);
    OvPaint paint;
    canvas.drawRoundRect(rect, row.rx, row.ry, paint);
    ASSERT_EQ(log.size(), 2u) << row.rx << " " << row.ry;
    EXPECT_EQ(log[1].rfind(row.path ? "A:drawPath 10 17" : "A:drawRect", 0), 0u) << log[1];
    if (!row.path) continue;
    clamped.drawRoundRect(rect, row.sameAsRx, row.sameAsRy, paint);
    ASSERT_EQ(canvas.points.size(), clamped.points.size());
    EXPECT_EQ(std::memcmp(canvas.points.data(), clamped.points.data(), 17 * sizeof(OvPoint)), 0) << row.rx;
  }
  // With both radii at the half sizes the four arcs meet: every joining line
  // starts where the previous arc ended.
  std::vector<std::string> log;
  TestCanvas canvas("A", &log);
  canvas.drawRoundRect(rect, 100, 100, OvPaint());
  for (int line : {4, 8, 12}) {
    EXPECT_NEAR(canvas.points[line].x, canvas.points[line - 1].x, 1e-6) << line;
    EXPECT_NEAR(canvas.points[line].y, canvas.points[line - 1].y, 1e-6) << line;
  }
}

TEST(CanvasTest, DrawArcTest) {
  const struct {
    OvRect oval;
    float sweep;
    bool drawn;
  } rows[] = {
      {{0, 0, 4, 2}, 30, true},  {{0, 0, 4, 2}, 360, true},    {{0, 0, 4, 2}, kNaN, true},   {{0, 0, 4, 2}, -720, true},
      {{0, 0, 4, 2}, 0, false},  {{0, 0, 4, 2}, -0.0f, false}, {{4, 0, 4, 2}, 30, false},    {{0, 2, 4, 2}, 30, false},
      {{5, 0, 4, 2}, 30, false}, {{0, 3, 4, 2}, 30, false},    {{kNaN, 0, 4, 2}, 30, false},
  };
  for (const auto& row : rows) {
    std::vector<std::string> log;
    TestCanvas canvas("A", &log);
    OvPaint paint;
    canvas.drawArc(row.oval, 12.5f, row.sweep, true, paint);
    ASSERT_EQ(log.size(), row.drawn ? 1u : 0u) << row.sweep << " " << row.oval.left << " " << row.oval.top;
    if (!row.drawn) continue;
    EXPECT_EQ(log[0], "A:" + Call("drawArcImpl", row.oval, 12.5f, row.sweep, true, &paint));
  }
}

TEST(CanvasTest, SaveStackFaults) {
  const std::string exhausted = "Orvel fatal error: \"save stack exhausted\"\n";
  const std::string empty = "Orvel fatal error: \"save stack empty\"\n";
  const std::string abort = "ov_abort_handler(): Orvel unrecoverable error";
  const struct {
    const char* ops;  // s save, r restore, m move the matrix, c clear the storage
    int lastSave;
    std::vector<std::string> lines;
    float translateX;  // the matrix after the ops
  } rows[] = {
      {"smr", 1, {}, 0},
      {"sms", 1, {exhausted, abort}, 5},
      {"mr", 0, {empty, abort}, 5},
      {"smrmr", 1, {empty, abort}, 5},
      {"scms", 1, {}, 5},
  };
  for (const auto& row : rows) {
    std::vector<std::string> calls;
    OvCanvasStateStorageFixed<1> storage;
    StackCanvas canvas(&calls, &storage);
    testing::LogCapture log;
    int lastSave = 0;
    for (const char* op = row.ops; *op; ++op) {
      if (*op == 's') lastSave = canvas.save();
      if (*op == 'r') canvas.restore();
      if (*op == 'm') canvas.matrix() = Translate(5);
      if (*op == 'c') storage.clear();
    }
    EXPECT_EQ(lastSave, row.lastSave) << row.ops;
    EXPECT_EQ(log.lines, row.lines) << row.ops;
    for (int p : log.priorities) EXPECT_EQ(p, kLogPriorityError) << row.ops;
    EXPECT_EQ(canvas.matrix().m[2], row.translateX) << row.ops;
  }
}

TEST(CanvasTest, RestoreIsExactAndNullStorageIsInert) {
  std::vector<std::string> calls;
  OvCanvasStateStorageFixed<1> storage;
  StackCanvas canvas(&calls, &storage);
  const OvMatrix odd(-0.0f, kNaN, 1e-45f, 3, -4, 5, 0.25f, 7, 8);
  canvas.setMatrix(odd);
  EXPECT_EQ(canvas.save(), 1);
  canvas.matrix() = Translate(1);
  canvas.restore();
  EXPECT_EQ(std::memcmp(canvas.matrix().m, odd.m, sizeof odd.m), 0) << "every bit comes back";
  OvCanvasState out{Translate(9)};
  storage.restore(&out);
  EXPECT_EQ(out.matrix.m[2], 9) << "an empty pop leaves the output alone";

  TestCanvas noStorage("A", &calls);
  EXPECT_EQ(noStorage.OvCanvas::save(), 0);
  noStorage.OvCanvas::restore();
  EXPECT_EQ(noStorage.info().words[2], 9u);
}

TEST(CanvasTest, AutoRestoreCanvasMatrix) {
  std::vector<std::string> calls;
  TestCanvas canvas("A", &calls);
  canvas.matrix() = Translate(3);
  {
    AutoRestoreCanvasMatrix guard(&canvas);
    canvas.matrix() = Translate(4);
  }
  EXPECT_EQ(calls, std::vector<std::string>{"A:setMatrix 0x1p+0 0x1.8p+1"});
  EXPECT_EQ(canvas.matrix().m[2], 3);
  AutoRestoreCanvasMatrix nobody(nullptr);
}

TEST(TwoWayCanvasTest, ForwardsFirstThenSecond) {
  std::vector<std::string> log;
  TestCanvas a("A", &log), b("B", &log);
  Ov2WayCanvas two(&a, &b);
  const OvPaint paint;
  const OvBitmap bitmap{};
  // Text types are only passed through: any address will do.
  alignas(8) static const char opaque[8] = {};
  const OvFont& font = *reinterpret_cast<const OvFont*>(opaque);
  const OvTextBlob* blob = reinterpret_cast<const OvTextBlob*>(opaque + 4);
  uint8_t verbs[2];
  OvPoint points[2];
  OvPathStorage storage{verbs, 2, points, 2};
  OvPath path(&storage);
  path.moveTo({1, 2}).lineTo({3, 4});
  const char text[] = "hi";
  const OvRect rect{1, 2, 3, 4.5f}, oval{0, 0, 4, 2};
  const struct {
    std::function<void()> call;
    std::vector<std::string> perTarget;  // expected once for A, then for B
  } rows[] = {
      {[&] { two.restore(); }, {"restore"}},
      {[&] { two.drawRect(rect, paint); }, {Call("drawRect", rect, &paint)}},
      {[&] { two.drawPath(path, paint); }, {Call("drawPath", 2, 2, &paint)}},
      {[&] { two.drawBitmap(bitmap, 1.5f, -2, paint); }, {Call("drawBitmap", &bitmap, 1.5f, -2.0f, &paint)}},
      {[&] { two.drawLine(1, 2, 3, 4, paint); }, {Call("drawLine", 1.0f, 2.0f, 3.0f, 4.0f, &paint)}},
      {[&] { two.drawCircle(1, 2, 0.25f, paint); }, {Call("drawCircle", 1.0f, 2.0f, 0.25f, &paint)}},
      {[&] { two.drawRoundRect(rect, 0.5f, 0.5f, paint); },
       {Call("drawRoundRect", rect, 0.5f, 0.5f, &paint), Call("drawPath", 10, 17, &paint)}},
      {[&] { two.drawSimpleText(text, 2, kUTF16, 5, 6, font, paint); },
       {Call("drawSimpleText", static_cast<const void*>(text), 2, 1, 5.0f, 6.0f, &font, &paint)}},
      {[&] { two.drawTextBlob(blob, 7, 8, paint); }, {Call("drawTextBlob", blob, 7.0f, 8.0f, &paint)}},
      {[&] { two.setMatrix(OvMatrix(2, 0, 0.5f, 0, 3, 0, 0, 0, 1)); }, {"setMatrix 0x1p+1 0x1p-1"}},
      {[&] { two.flush(); }, {"flush"}},
      {[&] { two.drawArc(oval, 10, -45, false, paint); }, {Call("drawArcImpl", oval, 10.0f, -45.0f, false, &paint)}},
      {[&] { two.drawArcImpl(oval, 10, 0, true, paint); }, {Call("drawArcImpl", oval, 10.0f, 0.0f, true, &paint)}},
  };
  for (const auto& row : rows) {
    log.clear();
    row.call();
    std::vector<std::string> want;
    for (const char* target : {"A:", "B:"}) {
      for (const std::string& call : row.perTarget) want.push_back(target + call);
    }
    EXPECT_EQ(log, want);
  }
}

TEST(TwoWayCanvasTest, SaveTransformAndNullTargets) {
  std::vector<std::string> log;
  TestCanvas a("A", &log), b("B", &log);
  Ov2WayCanvas two(&a, &b);
  testing::LogCapture faults;
  EXPECT_EQ(two.save(), -1);
  EXPECT_EQ(two.save(), -1) << "the shared storage is never used";
  EXPECT_EQ(log, (std::vector<std::string>{"A:save", "B:save", "A:save", "B:save"}));
  EXPECT_TRUE(faults.lines.empty());
  EXPECT_EQ(two.info().words[0], 0u);

  // A sees the transform before its own concatenation, and B only after A's.
  log.clear();
  a.matrix() = Translate(1);
  b.peer = &a;
  const OvMatrix m = Translate(0.5f);
  two.onBeforeTransform(m);
  EXPECT_EQ(log, (std::vector<std::string>{"A:onBeforeTransform 0x1p-1 0x1p+0 -0x1p+0",
                                           "B:onBeforeTransform 0x1p-1 0x0p+0 0x1.8p+0"}));
  EXPECT_EQ(a.matrix().m[2], 1.5f);
  EXPECT_EQ(b.matrix().m[2], 0.5f);
  EXPECT_TRUE(two.matrix().isIdentity()) << "the caller concatenates the 2-way canvas itself";

  log.clear();
  Ov2WayCanvas onlySecond(nullptr, &b), neither(nullptr, nullptr);
  onlySecond.flush();
  onlySecond.onBeforeTransform(m);
  neither.flush();
  neither.restore();
  EXPECT_EQ(log, (std::vector<std::string>{"B:flush", "B:onBeforeTransform 0x1p-1 0x1p-1 0x1.8p+0"}));
}

}  // namespace
}  // namespace orvel
