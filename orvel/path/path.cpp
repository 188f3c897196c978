#include "orvel/path/path.h"

#include "orvel/core/log.h"

namespace orvel {
namespace {

// Points stored with each verb, indexed by the verb code.
constexpr uint8_t kPointsPerVerb[] = {1, 1, 2, 2, 3, 0, 0};
static_assert(sizeof kPointsPerVerb == OvPath::Done + 1, "one entry per verb code");

// Stands in for a null storage: capacity 0 everywhere, so nothing is ever
// written through it.
OvPathStorage gEmptyStorage = {nullptr, 0, nullptr, 0};

int ClampCount(int count, int capacity) {
  if (count < 0) return 0;
  if (capacity < 0) return 0;
  return count < capacity ? count : capacity;
}

}  // namespace

OvPath::OvPath(OvPathStorage* storage) : fStorage(storage ? storage : &gEmptyStorage) {}

OvPath OvPath::MakeView(const OvPathStorage& storage, int verbCount, int pointCount, int contourCount) {
  // A view never writes: fWritable guards every store, so the arrays may be
  // const on the caller's side.
  OvPath view(const_cast<OvPathStorage*>(&storage));
  view.fVerbCount = ClampCount(verbCount, storage.verbCapacity);
  view.fPointCount = ClampCount(pointCount, storage.pointCapacity);
  view.fContourCount = ClampCount(contourCount, view.fVerbCount);
  view.fWritable = false;
  return view;
}

int OvPath::numPointsForVerb(Verb verb) { return verb < sizeof kPointsPerVerb ? kPointsPerVerb[verb] : 0; }

bool OvPath::canAppendVerb(Verb verb) const {
  // The counts never exceed the capacities, so neither difference overflows.
  return fWritable && fVerbCount < fStorage->verbCapacity &&
         numPointsForVerb(verb) <= fStorage->pointCapacity - fPointCount;
}

bool OvPath::append(Verb verb, const OvPoint* pts) {
  if (!canAppendVerb(verb)) {
    Log(kLogPriorityError, "Cannot append verb to path.");
    return false;
  }
  fStorage->verbs[fVerbCount++] = verb;
  const int n = numPointsForVerb(verb);
  for (int i = 0; i < n; ++i) fStorage->points[fPointCount++] = pts[i];
  return true;
}

OvPath& OvPath::moveTo(const OvPoint& p) {
  if (append(Move, &p)) {
    fContourStart = p;
    ++fContourCount;
  }
  return *this;
}

OvPath& OvPath::lineTo(const OvPoint& p) {
  append(Line, &p);
  return *this;
}

OvPath& OvPath::quadTo(const OvPoint& c, const OvPoint& p) {
  const OvPoint pts[2] = {c, p};
  append(Quad, pts);
  return *this;
}

OvPath& OvPath::cubicTo(const OvPoint& c1, const OvPoint& c2, const OvPoint& p) {
  const OvPoint pts[3] = {c1, c2, p};
  append(Cubic, pts);
  return *this;
}

OvPath& OvPath::close() {
  // The explicit closing line is written even when the last point already is
  // the contour start: the stroker and the recorder rely on it.
  const OvPoint start = fContourStart;
  append(Line, &start);
  append(Close, nullptr);
  return *this;
}

void OvPath::rewind() {
  if (!fWritable) return;
  fVerbCount = 0;
  fPointCount = 0;
  fContourCount = 0;
}

bool OvPath::getLastPt(OvPoint* out) const {
  if (fPointCount < 1) return false;
  if (out) *out = fStorage->points[fPointCount - 1];
  return true;
}

bool OvPath::getFirstContourPt(OvPoint* out) const {
  if (fPointCount < 1) return false;
  if (out) *out = fContourStart;
  return true;
}

void OvPath::Iter::setPath(const OvPath& path) {
  fVerb = path.verbs();
  fVerbEnd = fVerb + path.countVerbs();
  fPointsStart = path.points();
  fPoint = fPointsStart;
  fPointEnd = fPointsStart + path.countPoints();
  fLastPt = {0, 0};
  fMovePt = {0, 0};
}

OvPath::Verb OvPath::Iter::peek() const { return fVerb == fVerbEnd ? Done : Verb(*fVerb); }

OvPath::Verb OvPath::Iter::next(OvPoint pts[4]) {
  if (fVerb == fVerbEnd) return Done;
  const Verb verb = Verb(*fVerb);
  int n = 0;
  if (verb == Move || verb == Line || verb == Quad || verb == Cubic) n = numPointsForVerb(verb);
  if (n > fPointEnd - fPoint) {
    // The counts promised more points than the view holds: stop here rather
    // than read past them.
    fVerb = fVerbEnd;
    return Done;
  }
  ++fVerb;
  switch (verb) {
    case Move:
      fMovePt = fLastPt = pts[0] = *fPoint++;
      break;
    case Line:
    case Quad:
    case Cubic:
      pts[0] = fLastPt;
      for (int i = 1; i <= n; ++i) pts[i] = *fPoint++;
      fLastPt = pts[n];
      break;
    case Close:
      fLastPt = fMovePt;
      break;
    default:
      break;
  }
  return verb;
}

PathInterface::~PathInterface() {}

void OvPathProxy::rewind() { fPath->rewind(); }
bool OvPathProxy::empty() const { return fPath->isEmpty(); }
void OvPathProxy::moveTo(const OvPoint& p) { fPath->moveTo(p); }
void OvPathProxy::lineTo(const OvPoint& p) { fPath->lineTo(p); }
void OvPathProxy::quadTo(const OvPoint& c, const OvPoint& p) { fPath->quadTo(c, p); }
void OvPathProxy::cubicTo(const OvPoint& c1, const OvPoint& c2, const OvPoint& p) { fPath->cubicTo(c1, c2, p); }
void OvPathProxy::arcTo(const OvRect& oval, float startAngle, float sweepAngle, bool forceMoveTo) {
  fPath->arcTo(oval, startAngle, sweepAngle, forceMoveTo);
}
void OvPathProxy::close() { fPath->close(); }
bool OvPathProxy::getLastPt(OvPoint* out) const { return fPath->getLastPt(out); }
bool OvPathProxy::getFirstContourPt(OvPoint* out) const { return fPath->getFirstContourPt(out); }

}  // namespace orvel
