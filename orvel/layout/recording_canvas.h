// OvRecordingCanvas: the canvas that draws nothing. Every call appends one op
// record to a layout's draw list; the write* calls record the same ops and
// also give them an element id, so that the layout can find them by name
// later. build() ends a recording by appending the id table.
//
// Only transforms that pass through onBeforeTransform are recorded; setMatrix
// records nothing, so a recorded transform is scoped only by recorded
// save/restore. When the draw list cannot grow, a call records nothing and
// says nothing; the layout is then unusable and its builder reports it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "orvel/core/bitmap.h"
#include "orvel/core/canvas.h"
#include "orvel/core/export.h"
#include "orvel/layout/op_list.h"

namespace orvel {

class ORVEL_API OvRecordingCanvas : public OvCanvas {
 public:
  // Where an id points: the record and its logical offset in the draw list.
  struct IdEntry {
    OvOp* op;
    uint32_t offset;
  };
  // Ids in ascending byte-wise order, as the id table is written.
  using IdMap = std::map<std::string, IdEntry>;

  // The lists and the storage are not owned and must outlive the canvas.
  // drawList receives every record and the id table, resourceList the
  // typefaces, storage the bitmap pixels.
  OvRecordingCanvas(OvOpList* drawList, OvOpList* resourceList, OvBitmapStorage* storage);
  ~OvRecordingCanvas() override;

  // Records a save (0x00000489); returns the recorded depth, now one more.
  int save() override;
  // Records a restore (0x0000048A) and lowers the recorded depth, unchecked:
  // an unbalanced restore is recorded as it is.
  void restore() override;
  // Recorded saves minus restores.
  int saveDepth() const { return fSaveDepth; }

  void drawRect(const OvRect& rect, const OvPaint& paint) override;
  void drawPath(const OvPath& path, const OvPaint& paint) override;
  void drawLine(float x0, float y0, float x1, float y1, const OvPaint& paint) override;
  void drawCircle(float cx, float cy, float radius, const OvPaint& paint) override;
  // Records the transform (an OvTransform); the caller then concatenates the
  // canvas's own matrix, as for any canvas.
  void onBeforeTransform(const OvMatrix& m) override;
  void drawArcImpl(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter,
                   const OvPaint& paint) override;

  // Text and bitmap recording (with the typeface and pixel packing they need)
  // is not part of this canvas yet: these record nothing for now.
  void drawBitmap(const OvBitmap& bitmap, float x, float y, const OvPaint& paint) override;
  void drawSimpleText(const void* text, unsigned byteLength, OvTextEncoding encoding, float x, float y,
                      const OvFont& font, const OvPaint& paint) override;
  void drawTextBlob(const OvTextBlob* blob, float x, float y, const OvPaint& paint) override;
  // The slot this canvas adds: a UTF-8 text with room for capacity bytes and
  // an id. Records nothing for now (and so names nothing).
  virtual void writeText(const char* text, unsigned length, float x, float y, const OvFont& font, const OvPaint& paint,
                         unsigned capacity, const char* id);

  // The id-bearing calls. An id that is null or empty names nothing; an id
  // already in the map keeps its first record (first use wins); a call that
  // records nothing (no room, or a record kind not written yet) names nothing.
  // drawRect, then the id to the draw list's last record.
  void writeRect(const OvRect& rect, const OvPaint& paint, const char* id);
  // drawLine(p0.x, p0.y, p1.x, p1.y), then the id.
  void writeLine(const OvPoint& p0, const OvPoint& p1, const OvPaint& paint, const char* id);
  // drawRoundRect (a path, or a rectangle for a zero radius), then the id.
  void writeRoundRect(const OvRect& rect, float rx, float ry, const OvPaint& paint, const char* id);
  // drawArcImpl, skipping drawArc's test: a zero sweep or an empty oval is
  // recorded all the same, since a bound arc may get its angles later.
  void writeArc(const OvRect& oval, float startAngle, float sweepAngle, bool useCenter, const OvPaint& paint,
                const char* id);
  // Records the path as drawPath does (without the virtual call), then the id.
  void writePath(const OvPath& path, const OvPaint& paint, const char* id);
  // drawBitmap(bitmap, 0, 0), then the id (nothing while bitmaps are not
  // recorded).
  void writeBitmap(const OvBitmap& bitmap, const OvPaint& paint, const char* id);
  // Records m as a transform and names it, without onBeforeTransform and
  // without touching the canvas's own matrix.
  void writeConcat(const OvMatrix& m, const char* id);

  // Enters id (up to its terminator) into the map for op at the draw list's
  // last record offset; a null or empty id, or one already present, changes
  // nothing. Call it right after the record is pushed.
  void processId(const char* id, OvOp* op);

  // Ends the recording: appends the id table (the ids in map order, each
  // entry its length, its record's offset and its bytes zero-padded to 4) and
  // empties the packed-typeface sets; the id map stays. Writes the number of
  // ids and the draw list's last record offset (the table's, when it could be
  // pushed) to the non-null outputs.
  void build(unsigned* idCount, unsigned* idMapOffset);

  // The element ids recorded so far.
  const IdMap& idMap() const { return fIdMap; }
  OvOpList* drawList() const { return fDrawList; }
  OvOpList* resourceList() const { return fResourceList; }
  OvBitmapStorage* bitmapStorage() const { return fStorage; }

 private:
  // The one path writer behind drawPath and writePath; false when nothing
  // was recorded.
  bool recordPath(const OvPath& path, const OvPaint& paint);
  // Runs draw, then gives id to the record it pushed, if it pushed one.
  template <class Draw>
  void recordNamed(const char* id, Draw&& draw);

  int32_t fSaveDepth;
  OvOpList* fDrawList;
  OvOpList* fResourceList;
  OvBitmapStorage* fStorage;
  IdMap fIdMap;
  std::set<uint32_t> fPackedTypefaces;
  std::set<uint32_t> fSecondIds;  // never filled here; emptied by build
};

}  // namespace orvel
