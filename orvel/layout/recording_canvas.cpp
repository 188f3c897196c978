#include "orvel/layout/recording_canvas.h"

#include <cstring>

#include "orvel/layout/records.h"

namespace orvel {
namespace {

// The base canvas needs a save stack, but save and restore are recorded
// instead, so this one is never written.
OvCanvasStateStorageFixed<1> gUnusedStateStorage;

// Zeroes the bytes between the end of a record's contents and its size.
void ZeroPadding(OvOpList* list, uint32_t contentBytes) {
  const uint32_t size = list->lastOpSize();
  if (contentBytes < size) {
    std::memset(reinterpret_cast<uint8_t*>(list->lastOp()) + contentBytes, 0, size - contentBytes);
  }
}

uint32_t NonNegative(int n) { return n > 0 ? uint32_t(n) : 0; }

}  // namespace

OvRecordingCanvas::OvRecordingCanvas(OvOpList* drawList, OvOpList* resourceList, OvBitmapStorage* storage)
    : OvCanvas(OvImageInfo{}, &gUnusedStateStorage),
      fSaveDepth(0),
      fDrawList(drawList),
      fResourceList(resourceList),
      fStorage(storage) {}

OvRecordingCanvas::~OvRecordingCanvas() {}

int OvRecordingCanvas::save() {
  fDrawList->push<OvSave>(0);
  return ++fSaveDepth;
}

void OvRecordingCanvas::restore() {
  fDrawList->push<OvRestore>(0);
  --fSaveDepth;
}

void OvRecordingCanvas::drawRect(const OvRect& rect, const OvPaint& paint) {
  fDrawList->push<OvDrawRect>(0, OvPaintInfo(paint), rect);
}

void OvRecordingCanvas::drawLine(float x0, float y0, float x1, float y1, const OvPaint& paint) {
  fDrawList->push<OvDrawLine>(0, OvPaintInfo(paint), x0, y0, x1, y1);
}

void OvRecordingCanvas::drawCircle(float cx, float cy, float radius, const OvPaint& paint) {
  fDrawList->push<OvDrawCircle>(0, OvPaintInfo(paint), cx, cy, radius);
}

void OvRecordingCanvas::drawArcImpl(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                                    const OvPaint& paint) {
  fDrawList->push<OvDrawArc>(0, OvPaintInfo(paint), oval, startAngle, sweepAngle, useCenter);
}

void OvRecordingCanvas::onBeforeTransform(const OvMatrix& m) { fDrawList->push<OvTransform>(0, m); }

bool OvRecordingCanvas::recordPath(const OvPath& path, const OvPaint& paint) {
  const uint32_t points = NonNegative(path.countPoints());
  const uint32_t verbs = NonNegative(path.countVerbs());
  uint32_t tail;
  if (!OvDrawPath::TailFor(points, verbs, &tail)) return false;
  uint8_t* dst = static_cast<uint8_t*>(
      fDrawList->push<OvDrawPath>(tail, OvPaintInfo(paint), points, verbs, NonNegative(path.countContours())));
  if (!dst) return false;
  // Counts of 0 may come with null arrays; memcpy must not see them.
  if (points) std::memcpy(dst, path.points(), size_t(points) * sizeof(OvPoint));
  if (verbs) std::memcpy(dst + size_t(points) * sizeof(OvPoint), path.verbs(), verbs);
  ZeroPadding(fDrawList, uint32_t(sizeof(OvDrawPath)) + tail);
  return true;
}

void OvRecordingCanvas::drawPath(const OvPath& path, const OvPaint& paint) { recordPath(path, paint); }

void OvRecordingCanvas::drawBitmap(const OvBitmap&, float, float, const OvPaint&) {}

void OvRecordingCanvas::drawSimpleText(const void*, unsigned, OvTextEncoding, float, float, const OvFont&,
                                       const OvPaint&) {}

void OvRecordingCanvas::drawTextBlob(const OvTextBlob*, float, float, const OvPaint&) {}

void OvRecordingCanvas::writeText(const char*, unsigned, float, float, const OvFont&, const OvPaint&, unsigned,
                                  const char*) {}

// A call that recorded nothing (no room, or a record kind this canvas does
// not write yet) names nothing, rather than naming the record before it.
template <class Draw>
void OvRecordingCanvas::recordNamed(const char* id, Draw&& draw) {
  const OvOp* before = fDrawList->lastOp();
  draw();
  if (fDrawList->lastOp() != before) processId(id, fDrawList->lastOp());
}

void OvRecordingCanvas::writeRect(const OvRect& rect, const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { drawRect(rect, paint); });
}

void OvRecordingCanvas::writeLine(const OvPoint& p0, const OvPoint& p1, const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { drawLine(p0.x, p0.y, p1.x, p1.y, paint); });
}

void OvRecordingCanvas::writeRoundRect(const OvRect& rect, float rx, float ry, const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { drawRoundRect(rect, rx, ry, paint); });
}

void OvRecordingCanvas::writeArc(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                                 const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { drawArcImpl(oval, startAngle, sweepAngle, useCenter, paint); });
}

void OvRecordingCanvas::writePath(const OvPath& path, const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { recordPath(path, paint); });
}

void OvRecordingCanvas::writeBitmap(const OvBitmap& bitmap, const OvPaint& paint, const char* id) {
  recordNamed(id, [&] { drawBitmap(bitmap, 0, 0, paint); });
}

void OvRecordingCanvas::writeConcat(const OvMatrix& m, const char* id) {
  recordNamed(id, [&] { fDrawList->push<OvTransform>(0, m); });
}

void OvRecordingCanvas::processId(const char* id, OvOp* op) {
  if (!id || !id[0]) return;
  // emplace never replaces: the first record to bear an id keeps it.
  fIdMap.emplace(std::string(id), IdEntry{op, fDrawList->lastOpOffset()});
}

void OvRecordingCanvas::build(unsigned* idCount, unsigned* idMapOffset) {
  if (idCount) *idCount = unsigned(fIdMap.size());
  // Summed in 64 bits: ids long enough to overflow the size field make the
  // push fail instead of wrapping into a short record.
  uint64_t tail = 0;
  for (const auto& entry : fIdMap) tail += OvIdMapEntry::SizeFor(0) + ((uint64_t(entry.first.size()) + 3) & ~3ull);
  uint8_t* dst = nullptr;
  if (tail <= kMaxOpSize - sizeof(OvIdMap)) dst = static_cast<uint8_t*>(fDrawList->push<OvIdMap>(uint32_t(tail)));
  if (idMapOffset) *idMapOffset = fDrawList->lastOpOffset();
  if (dst) {
    for (const auto& entry : fIdMap) {
      const OvIdMapEntry head = {uint32_t(entry.first.size()), entry.second.offset};
      std::memcpy(dst, &head, sizeof head);
      std::memcpy(dst + sizeof head, entry.first.data(), head.length);
      const uint32_t size = OvIdMapEntry::SizeFor(head.length);
      std::memset(dst + sizeof head + head.length, 0, size - sizeof head - head.length);
      dst += size;
    }
  }
  fPackedTypefaces.clear();
  fSecondIds.clear();
}

}  // namespace orvel
