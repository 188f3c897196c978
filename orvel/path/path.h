// Paths over caller-owned storage. An OvPath appends verbs and points into
// fixed arrays that the caller supplies and refuses, with the log line
// "Cannot append verb to path.", whatever does not fit; it never allocates.
// The same type reads arrays filled elsewhere as a view (MakeView). Anything
// that produces path geometry writes through PathInterface; OvPathProxy feeds
// such calls into an OvPath.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/core/geometry.h"

namespace orvel {

// The arrays a path writes into. Owned by the caller; the path never
// allocates, frees or resizes them. Each array must hold at least its
// capacity entries, and neither the arrays nor the capacities may shrink
// while a path uses the storage. A negative capacity counts as 0.
struct ORVEL_API OvPathStorage {
  uint8_t* verbs;
  int32_t verbCapacity;
  OvPoint* points;
  int32_t pointCapacity;
};

class ORVEL_API OvPath {
 public:
  // One byte per verb in the verb array. The values are fixed: recorded
  // layouts carry them.
  enum Verb : uint8_t {
    Move = 0,
    Line = 1,
    Quad = 2,
    Conic = 3,  // reserved: nothing writes it and the iterator does not decode it
    Cubic = 4,
    Close = 5,
    Done = 6,  // never stored; the iterator's end marker
  };

  // Reads a path verb by verb. A curve's first point is the previous verb's
  // last point, which the iterator carries along; a path that begins with a
  // Line or a curve starts from (0, 0).
  class ORVEL_API Iter {
   public:
    // An iterator over nothing: next() returns Done.
    Iter() = default;
    explicit Iter(const OvPath& path) { setPath(path); }
    // Restarts at the first verb of path; only its storage must outlive the
    // iteration.
    void setPath(const OvPath& path);
    // Writes the verb's points to pts (the start point first for Line, Quad,
    // Cubic) and returns the verb; Done at the end. Close and unknown codes
    // are returned without touching pts. When a verb needs more points than
    // the path's point count still holds, iteration ends there: Done.
    Verb next(OvPoint pts[4]);
    // The verb next() would return, without advancing (Done at the end).
    Verb peek() const;

   private:
    const uint8_t* fVerb = nullptr;
    const uint8_t* fVerbEnd = nullptr;
    const OvPoint* fPointsStart = nullptr;
    const OvPoint* fPoint = nullptr;
    OvPoint fLastPt = {0, 0};
    OvPoint fMovePt = {0, 0};
    // One past the last counted point: no verb reads beyond it.
    const OvPoint* fPointEnd = nullptr;
  };

  // A writable, empty path over storage (not owned; must outlive the path and
  // its copies). A null storage acts as one of capacity 0.
  explicit OvPath(OvPathStorage* storage);

  // A read-only path over arrays already filled. The caller promises that the
  // counts describe what the arrays hold; even so each is clamped, the verb
  // and point counts into [0, capacity] and the contour count into [0, verb
  // count], so wrong counts can cut the view short but never make a reader go
  // past the storage. The contour start is (0, 0). storage is not owned
  // and must outlive the view.
  static OvPath MakeView(const OvPathStorage& storage, int verbCount, int pointCount, int contourCount);

  // Points stored with each verb; 0 for codes outside the verb table.
  static int numPointsForVerb(Verb verb);

  bool isEmpty() const { return fVerbCount == 0; }
  // Writable, a free verb slot, and room for the verb's points.
  bool canAppendVerb(Verb verb) const;

  // Each append either stores its verb and points whole or, when
  // canAppendVerb fails, stores nothing and logs "Cannot append verb to path.".
  OvPath& moveTo(const OvPoint& p);
  OvPath& lineTo(const OvPoint& p);
  OvPath& quadTo(const OvPoint& c, const OvPoint& p);
  OvPath& cubicTo(const OvPoint& c1, const OvPoint& c2, const OvPoint& p);
  // Appends a Line to the contour start and then Close, each tested (and
  // logged when refused) on its own.
  OvPath& close();
  // Appends an elliptic arc as cubics of at most 90 degrees (see arc.h).
  OvPath& arcTo(const OvRect& oval, float startAngle, float sweepAngle, bool forceMoveTo);

  // Empties a writable path; the contour start is kept. A view is unchanged.
  void rewind();

  const OvPoint* points() const { return fStorage->points; }
  const uint8_t* verbs() const { return fStorage->verbs; }
  int countPoints() const { return fPointCount; }
  int countVerbs() const { return fVerbCount; }
  int countContours() const { return fContourCount; }

  // The last stored point; false (out untouched) when there is none. A null
  // out only asks the question.
  bool getLastPt(OvPoint* out) const;
  // The point of the latest Move (not of the first contour); false (out
  // untouched) when no point is stored.
  bool getFirstContourPt(OvPoint* out) const;

 private:
  // The one append routine: checks, then writes the verb and its points.
  bool append(Verb verb, const OvPoint* pts);
  static void AppendArcCubic(void* path, const OvPoint& c1, const OvPoint& c2, const OvPoint& end);

  OvPathStorage* fStorage;
  int32_t fVerbCount = 0;
  int32_t fPointCount = 0;
  int32_t fContourCount = 0;
  bool fWritable = true;
  OvPoint fContourStart = {0, 0};
};

// The abstract sink of path-building calls (the path, the arc approximation
// and the strokers write through it). Slot order is fixed.
class ORVEL_API PathInterface {
 public:
  virtual void rewind() = 0;
  virtual bool empty() const = 0;
  virtual void moveTo(const OvPoint& p) = 0;
  virtual void lineTo(const OvPoint& p) = 0;
  virtual void quadTo(const OvPoint& c, const OvPoint& p) = 0;
  virtual void cubicTo(const OvPoint& c1, const OvPoint& c2, const OvPoint& p) = 0;
  virtual void arcTo(const OvRect& oval, float startAngle, float sweepAngle, bool forceMoveTo) = 0;
  virtual void close() = 0;
  virtual bool getLastPt(OvPoint* out) const = 0;
  virtual bool getFirstContourPt(OvPoint* out) const = 0;
  virtual ~PathInterface();
};

// Forwards every PathInterface call to the OvPath of the same meaning
// (empty() to isEmpty()).
class ORVEL_API OvPathProxy : public PathInterface {
 public:
  // path is not owned and must outlive the proxy.
  explicit OvPathProxy(OvPath* path) : fPath(path) {}
  void rewind() override;
  bool empty() const override;
  void moveTo(const OvPoint& p) override;
  void lineTo(const OvPoint& p) override;
  void quadTo(const OvPoint& c, const OvPoint& p) override;
  void cubicTo(const OvPoint& c1, const OvPoint& c2, const OvPoint& p) override;
  void arcTo(const OvRect& oval, float startAngle, float sweepAngle, bool forceMoveTo) override;
  void close() override;
  bool getLastPt(OvPoint* out) const override;
  bool getFirstContourPt(OvPoint* out) const override;

 private:
  OvPath* fPath;
};

}  // namespace orvel
