// The canvas defaults (round rectangles, arcs, the save stack),
// AutoRestoreCanvasMatrix and Ov2WayCanvas's forwarding.
#include "orvel/core/canvas.h"

#include <gtest/gtest.h>

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
using Log = std::vector<std::string>;

// "op arg arg...": floats in hex so that every bit shows, rects as four floats.
void Put(std::ostream& out, float v) { out << ' ' << std::hexfloat << v; }
void Put(std::ostream& out, const OvRect& r) { for (float v : {r.left, r.top, r.right, r.bottom}) Put(out, v); }
template <typename T>
void Put(std::ostream& out, const T& v) { out << ' ' << v; }
template <typename... T>
std::string Call(const char* op, const T&... args) {
  std::ostringstream out;
  out << op;
  (Put(out, args), ...);
  return out.str();
}

// Records every call as "<name>:<Call>" into a log; drawPath also keeps the
// path as its verb codes and then its points.
class TestCanvas : public OvCanvas {
 public:
  TestCanvas(const char* name, Log* log, OvCanvasStateStorage* storage = nullptr)
      : OvCanvas(OvImageInfo{{7, 8, 9}}, storage), fName(name), fLog(log) {}
  std::string shape;
  const OvCanvas* peer = nullptr;  // whose matrix onBeforeTransform also notes
  bool baseSave = false;           // keep OvCanvas's save and restore

  int save() override { return baseSave ? OvCanvas::save() : (note("save"), 1); }
  void restore() override { baseSave ? OvCanvas::restore() : note("restore"); }
  void drawRect(const OvRect& r, const OvPaint& p) override { note("drawRect", r, &p); }
  void drawPath(const OvPath& path, const OvPaint& p) override {
    std::ostringstream out;
    for (int i = 0; i < path.countVerbs(); ++i) out << int(path.verbs()[i]);
    for (int i = 0; i < path.countPoints(); ++i) Put(out, path.points()[i].x), Put(out, path.points()[i].y);
    shape = out.str();
    note("drawPath", path.countVerbs(), path.countPoints(), &p);
  }
  void drawBitmap(const OvBitmap& b, float x, float y, const OvPaint& p) override { note("drawBitmap", &b, x, y, &p); }
  void drawLine(float a, float b, float c, float d, const OvPaint& p) override { note("drawLine", a, b, c, d, &p); }
  void drawCircle(float x, float y, float r, const OvPaint& p) override { note("drawCircle", x, y, r, &p); }
  void drawRoundRect(const OvRect& r, float rx, float ry, const OvPaint& p) override {
    note("drawRoundRect", r, rx, ry, &p);
    OvCanvas::drawRoundRect(r, rx, ry, p);
  }
  void drawSimpleText(const void* t, unsigned n, OvTextEncoding e, float x, float y, const OvFont& f,
                      const OvPaint& p) override { note("drawSimpleText", t, n, unsigned(e), x, y, &f, &p); }
  void drawTextBlob(const OvTextBlob* b, float x, float y, const OvPaint& p) override { note("drawBlob", b, x, y, &p); }
  void setMatrix(const OvMatrix& m) override { note("setMatrix", m.m[0], m.m[2]), OvCanvas::setMatrix(m); }
  void flush() override { note("flush"); }
  // The matrices show what was concatenated before this call.
  void onBeforeTransform(const OvMatrix& m) override {
    note("onBeforeTransform", m.m[2], matrix().m[2], peer ? peer->matrix().m[2] : -1.0f);
  }
  void drawArcImpl(const OvRect& o, float start, float sweep, bool center, const OvPaint& p) override {
    note("drawArcImpl", o, start, sweep, center, &p);
  }

 private:
  template <typename... T>
  void note(const char* op, const T&... args) { fLog->push_back(fName + ":" + Call(op, args...)); }
  std::string fName;
  Log* fLog;
};

OvMatrix Translate(float x) { return OvMatrix(1, 0, x, 0, 1, 0, 0, 0, 1); }

TEST(CanvasTest, RoundRectPathBitForBitAndRadiiClamped) {
  Log log;
  TestCanvas canvas("A", &log);
  canvas.drawRoundRect({10.5f, 20.25f, 110.75f, 80.125f}, 15.3f, 9.7f, OvPaint());
  EXPECT_EQ(canvas.shape,  // M C L C L C L C L Z
            "0414141415 0x1.9cccccp+4 0x1.44p+4 0x1.1599c6p+4 0x1.44p+4 0x1.5p+3 0x1.897c44p+4 0x1.5p+3 "
            "0x1.df3334p+4 0x1.5p+3 0x1.19b334p+6 0x1.5p+3 0x1.2f20fp+6 0x1.1599c6p+4 0x1.408p+6 0x1.9cccccp+4 "
            "0x1.408p+6 0x1.7dccccp+6 0x1.408p+6 0x1.9f998ep+6 0x1.408p+6 0x1.bbp+6 0x1.2f20fp+6 0x1.bbp+6 "
            "0x1.19b334p+6 0x1.bbp+6 0x1.df3334p+4 0x1.bbp+6 0x1.897c44p+4 0x1.9f998ep+6 0x1.44p+4 0x1.7dccccp+6 "
            "0x1.44p+4 0x1.9cccccp+4 0x1.44p+4");
  // A zero radius (negative, -0 and NaN count as 0) draws the rectangle; others
  // are clamped to the half sizes and give the path of the clamped radii.
  const struct { float rx, ry, sameRx, sameRy; } rows[] = {
      {0, 1, 0, 0}, {1, 0, 0, 0}, {-1, 1, 0, 0}, {-0.0f, 1, 0, 0}, {kNaN, 1, 0, 0}, {1, kNaN, 0, 0},
      {1, 1, 1, 1}, {50, 50, 4, 2}, {5, 1, 4, 1}, {1, 2.5f, 1, 2},
  };
  for (const auto& row : rows) {
    TestCanvas c("A", &log), clamped("A", &log);
    log.clear();
    c.drawRoundRect({0, 0, 8, 4}, row.rx, row.ry, OvPaint());
    ASSERT_EQ(log.size(), 2u) << row.rx << " " << row.ry;
    EXPECT_EQ(log[1].rfind(row.sameRx != 0 ? "A:drawPath 10 17" : "A:drawRect", 0), 0u) << log[1];
    if (row.sameRx != 0) clamped.drawRoundRect({0, 0, 8, 4}, row.sameRx, row.sameRy, OvPaint());
    EXPECT_EQ(c.shape, clamped.shape) << row.rx << " " << row.ry;
  }
}

TEST(CanvasTest, DrawArcSkipsZeroSweepsAndEmptyOvals) {
  const struct { OvRect oval; float sweep; bool drawn; } rows[] = {
      {{0, 0, 4, 2}, 30, true},  {{0, 0, 4, 2}, 360, true},    {{0, 0, 4, 2}, kNaN, true}, {{0, 0, 4, 2}, -720, true},
      {{0, 0, 4, 2}, 0, false},  {{0, 0, 4, 2}, -0.0f, false}, {{4, 0, 4, 2}, 30, false},  {{0, 2, 4, 2}, 30, false},
      {{5, 0, 4, 2}, 30, false}, {{0, 3, 4, 2}, 30, false},    {{kNaN, 0, 4, 2}, 30, false},
  };
  for (const auto& row : rows) {
    Log log;
    TestCanvas canvas("A", &log);
    const OvPaint paint;
    canvas.drawArc(row.oval, 12.5f, row.sweep, true, paint);
    EXPECT_EQ(log, row.drawn ? Log{"A:" + Call("drawArcImpl", row.oval, 12.5f, row.sweep, true, &paint)} : Log{});
  }
}

TEST(CanvasTest, SaveStackFaultsAreLoggedAndLeaveTheStateAlone) {
  const std::string exhausted = "Orvel fatal error: \"save stack exhausted\"\n";
  const std::string empty = "Orvel fatal error: \"save stack empty\"\n";
  const std::string abort = "ov_abort_handler(): Orvel unrecoverable error";
  // ops: s save, r restore, m move the matrix, c clear the storage; then the
  // last save's result, the log lines and the matrix's translation.
  const struct { const char* ops; int lastSave; Log lines; float translateX; } rows[] = {
      {"smr", 1, {}, 0}, {"sms", 1, {exhausted, abort}, 5}, {"mr", 0, {empty, abort}, 5},
      {"smrmr", 1, {empty, abort}, 5}, {"scms", 1, {}, 5},
  };
  for (const auto& row : rows) {
    Log calls;
    OvCanvasStateStorageFixed<1> storage;
    TestCanvas canvas("S", &calls, &storage);
    canvas.baseSave = true;
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
    EXPECT_EQ(log.priorities, std::vector<int>(row.lines.size(), kLogPriorityError)) << row.ops;
    EXPECT_EQ(canvas.matrix().m[2], row.translateX) << row.ops;
  }
  // A null storage is inert; AutoRestoreCanvasMatrix restores through setMatrix.
  Log calls;
  TestCanvas canvas("A", &calls);
  canvas.baseSave = true;
  EXPECT_EQ(canvas.save(), 0);
  canvas.restore();
  canvas.matrix() = Translate(3);
  {
    AutoRestoreCanvasMatrix guard(&canvas);
    canvas.matrix() = Translate(4);
  }
  EXPECT_EQ(calls, Log{"A:setMatrix 0x1p+0 0x1.8p+1"});
  AutoRestoreCanvasMatrix nobody(nullptr);
}

// Each call made on a lone canvas, then through the 2-way canvas: A and then
// B must see exactly what the lone canvas saw.
TEST(CanvasTest, TransformHelpersFollowTheProtocol) {
  // Each helper shows the hook its matrix, then concatenates it onto a canvas
  // already translated by (10, 0): the point (1, 0) lands where both place it.
  const struct {
    const char* name;
    std::function<void(OvCanvas&)> call;
    OvMatrix hooked;
    OvPoint mapped;
  } rows[] = {
      {"translate", [](OvCanvas& c) { c.translate(2, 3); }, OvMatrix(1, 0, 2, 0, 1, 3, 0, 0, 1), {13, 3}},
      {"scale", [](OvCanvas& c) { c.scale(2, -1); }, OvMatrix(2, 0, 0, 0, -1, 0, 0, 0, 1), {12, 0}},
      {"rotate 90", [](OvCanvas& c) { c.rotate(90); }, OvMatrix(0, -1, 0, 1, 0, 0, 0, 0, 1), {10, 1}},
      {"rotate -270", [](OvCanvas& c) { c.rotate(-270); }, OvMatrix(0, -1, 0, 1, 0, 0, 0, 0, 1), {10, 1}},
      {"rotate 180", [](OvCanvas& c) { c.rotate(180); }, OvMatrix(-1, 0, 0, 0, -1, 0, 0, 0, 1), {9, 0}},
      {"rotate 0", [](OvCanvas& c) { c.rotate(0); }, OvMatrix(), {11, 0}},
      {"concat", [](OvCanvas& c) { c.concat(Translate(5)); }, Translate(5), {16, 0}},
  };
  for (const auto& row : rows) {
    struct Hooked : TestCanvas {
      using TestCanvas::TestCanvas;
      void onBeforeTransform(const OvMatrix& m) override { seen.push_back(m), seenWhile.push_back(matrix()); }
      std::vector<OvMatrix> seen, seenWhile;
    };
    Log log;
    Hooked canvas("A", &log);
    canvas.matrix() = Translate(10);
    row.call(canvas);
    ASSERT_EQ(canvas.seen.size(), 1u) << row.name;
    EXPECT_EQ(std::memcmp(&canvas.seen[0], &row.hooked, sizeof(OvMatrix)), 0) << row.name << ": bit for bit";
    EXPECT_EQ(canvas.seenWhile[0].m[2], 10) << row.name << ": the hook runs before the concatenation";
    const OvPoint p = canvas.matrix().mapXY(1, 0);
    EXPECT_TRUE(p.x == row.mapped.x && p.y == row.mapped.y) << row.name << ": " << p.x << ", " << p.y;
  }
  Log log;
  TestCanvas canvas("A", &log);
  canvas.rotate(30);
  EXPECT_NEAR(canvas.matrix().m[0], 0.8660254f, 1e-7f);
  EXPECT_NEAR(canvas.matrix().m[3], 0.5f, 1e-7f);
}

TEST(TwoWayCanvasTest, ForwardsFirstThenSecond) {
  Log log, seen;
  TestCanvas a("A", &log), b("B", &log), lone("A", &seen);
  Ov2WayCanvas two(&a, &b);
  const OvPaint paint;
  const OvBitmap bitmap{};
  alignas(8) static const char opaque[8] = {};  // text types are only passed through
  const OvFont& font = *reinterpret_cast<const OvFont*>(opaque);
  const OvTextBlob* blob = reinterpret_cast<const OvTextBlob*>(opaque + 4);
  const OvPath path(nullptr);
  const OvRect rect{1, 2, 3, 4.5f};
  const std::function<void(OvCanvas&)> calls[] = {
      [&](OvCanvas& c) { c.restore(); },
      [&](OvCanvas& c) { c.drawRect(rect, paint); },
      [&](OvCanvas& c) { c.drawPath(path, paint); },
      [&](OvCanvas& c) { c.drawBitmap(bitmap, 1.5f, -2, paint); },
      [&](OvCanvas& c) { c.drawLine(1, 2, 3, 4, paint); },
      [&](OvCanvas& c) { c.drawCircle(1, 2, 0.25f, paint); },
      [&](OvCanvas& c) { c.drawRoundRect(rect, 0.5f, 0.5f, paint); },
      [&](OvCanvas& c) { c.drawSimpleText("hi", 2, kUTF16, 5, 6, font, paint); },
      [&](OvCanvas& c) { c.drawTextBlob(blob, 7, 8, paint); },
      [&](OvCanvas& c) { c.setMatrix(OvMatrix(2, 0, 0.5f, 0, 3, 0, 0, 0, 1)); },
      [&](OvCanvas& c) { c.flush(); },
      [&](OvCanvas& c) { c.drawArc(rect, 10, -45, false, paint); },
      [&](OvCanvas& c) { c.drawArcImpl(rect, 10, 0, true, paint); },
  };
  for (const auto& call : calls) {
    log.clear();
    seen.clear();
    call(lone);
    call(two);
    Log want = seen;
    for (const std::string& s : seen) want.push_back("B" + s.substr(1));
    EXPECT_FALSE(seen.empty());
    EXPECT_EQ(log, want);
  }
}

TEST(TwoWayCanvasTest, SaveTransformAndNullTargets) {
  Log log;
  TestCanvas a("A", &log), b("B", &log);
  Ov2WayCanvas two(&a, &b);
  testing::LogCapture faults;
  EXPECT_EQ(two.save(), -1);
  EXPECT_EQ(two.save(), -1) << "the shared storage is never used";
  EXPECT_EQ(log, (Log{"A:save", "B:save", "A:save", "B:save"}));
  EXPECT_TRUE(faults.lines.empty() && two.info().words[0] == 0);
  // A sees the transform before its own concatenation, and B only after A's.
  log.clear();
  a.matrix() = Translate(1);
  b.peer = &a;
  two.onBeforeTransform(Translate(0.5f));
  EXPECT_EQ(log, (Log{"A:onBeforeTransform 0x1p-1 0x1p+0 -0x1p+0", "B:onBeforeTransform 0x1p-1 0x0p+0 0x1.8p+0"}));
  EXPECT_TRUE(b.matrix().m[2] == 0.5f && two.matrix().isIdentity()) << "the caller concatenates the 2-way canvas";
  log.clear();
  Ov2WayCanvas onlySecond(nullptr, &b), neither(nullptr, nullptr);
  onlySecond.flush();
  onlySecond.onBeforeTransform(Translate(0.5f));
  neither.flush();
  neither.restore();
  EXPECT_EQ(log, (Log{"B:flush", "B:onBeforeTransform 0x1p-1 0x1p-1 0x1.8p+0"}));
}

}  // namespace
}  // namespace orvel
