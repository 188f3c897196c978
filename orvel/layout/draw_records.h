// The op records of a layout's drawing (and of the typefaces it ships): their
// exact bytes. These structs are
// the wire format that packets carry to another device, so every field sits at
// a fixed offset, little-endian, with no implicit padding; every field is at
// most 4 bytes wide, so the layout is the same on 32-bit ARM and on x86-64 and
// a record needs only the 4-byte alignment that op lists give it.
//
// Each struct is the record's fixed part, header word included; a variable
// record's tail (text, points and verbs, glyphs, font data, id entries)
// follows at sizeof(struct). Writers push records with OvOpList::push<T>, which
// writes the header word and calls T::set. Readers of received records check
// the header's size against the counts in the fixed part before using a tail.
// Padding bytes are written as zero.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/geometry.h"
#include "orvel/core/matrix.h"
#include "orvel/core/paint.h"
#include "orvel/layout/op_types.h"

namespace orvel {

static_assert(sizeof(OvPaintInfo) == 16 && alignof(OvPaintInfo) <= 4, "the paint block is 16 bytes");
static_assert(sizeof(float) == 4, "f32 fields");

// Type 1.  0 header | 4 paint | 20 left, top, right, bottom (f32)   = 36 bytes
struct OvDrawRect {
  static constexpr uint32_t kType = kDrawRect;
  OvOp op;
  OvPaintInfo paint;
  OvRect rect;
  void set(const OvPaintInfo& p, const OvRect& r) {
    paint = p;
    rect = r;
  }
};

// Type 2.  0 header | 4 paint | 20 x0 | 24 y0 | 28 x1 | 32 y1 (f32)   = 36 bytes
struct OvDrawLine {
  static constexpr uint32_t kType = kDrawLine;
  OvOp op;
  OvPaintInfo paint;
  float x0, y0, x1, y1;
  void set(const OvPaintInfo& p, float ax, float ay, float bx, float by) {
    paint = p;
    x0 = ax;
    y0 = ay;
    x1 = bx;
    y1 = by;
  }
};

// Type 3.  0 header | 4 paint | 20 u32 bitmap id | 24 u32 row bytes
//          | 28 u16 width | 30 u16 height | 32 u16 colour type | 34 pad[2]
//          | 36 f32 x | 40 f32 y | 44 u8 zero | 45 pad[3]   = 48 bytes
// The pixels are in the bitmap storage under the id.
struct OvDrawBitmap {
  static constexpr uint32_t kType = kDrawBitmap;
  OvOp op;
  OvPaintInfo paint;
  uint32_t bitmapId;
  uint32_t rowBytes;
  uint16_t width;
  uint16_t height;
  uint16_t colorType;
  uint8_t padding0[2];
  float x, y;
  uint8_t zero;
  uint8_t padding1[3];
  void set(const OvPaintInfo& p, uint32_t id, uint32_t stride, uint16_t w, uint16_t h, uint16_t ct, float px,
           float py) {
    paint = p;
    bitmapId = id;
    rowBytes = stride;
    width = w;
    height = h;
    colorType = ct;
    padding0[0] = padding0[1] = 0;
    x = px;
    y = py;
    zero = 0;
    padding1[0] = padding1[1] = padding1[2] = 0;
  }
};

// Type 4.  0 header | 4 paint | 20 oval (4 x f32) | 36 f32 start angle
//          | 40 f32 sweep angle (degrees) | 44 u8 use-centre | 45 pad[3]   = 48 bytes
struct OvDrawArc {
  static constexpr uint32_t kType = kDrawArc;
  OvOp op;
  OvPaintInfo paint;
  OvRect oval;
  float startAngle;
  float sweepAngle;
  uint8_t useCenter;
  uint8_t padding[3];
  void set(const OvPaintInfo& p, const OvRect& o, float start, float sweep, bool center) {
    paint = p;
    oval = o;
    startAngle = start;
    sweepAngle = sweep;
    useCenter = center ? 1 : 0;
    padding[0] = padding[1] = padding[2] = 0;
  }
};

// Type 5.  0 header | 4 paint | 20 cx | 24 cy | 28 radius (f32)   = 32 bytes
struct OvDrawCircle {
  static constexpr uint32_t kType = kDrawCircle;
  OvOp op;
  OvPaintInfo paint;
  float cx, cy, radius;
  void set(const OvPaintInfo& p, float x, float y, float r) {
    paint = p;
    cx = x;
    cy = y;
    radius = r;
  }
};

// Type 6.  0 header | 4 paint | 20 u32 points P | 24 u32 verbs V
//          | 28 u32 contours | 32 P points (x, y f32) | 32 + 8P V verb bytes
// Size (32 + 8P + V + 3) & ~3.
struct OvDrawPath {
  static constexpr uint32_t kType = kDrawPath;
  OvOp op;
  OvPaintInfo paint;
  uint32_t pointCount;
  uint32_t verbCount;
  uint32_t contourCount;
  void set(const OvPaintInfo& p, uint32_t points, uint32_t verbs, uint32_t contours) {
    paint = p;
    pointCount = points;
    verbCount = verbs;
    contourCount = contours;
  }
  // Tail bytes for P points and V verbs; false when the record would not fit
  // in the 24-bit size field.
  static bool TailFor(uint32_t points, uint32_t verbs, uint32_t* tail) {
    const uint64_t bytes = uint64_t(points) * 8 + verbs;
    if (bytes > kMaxOpSize - sizeof(OvDrawPath)) return false;
    *tail = uint32_t(bytes);
    return true;
  }
  const OvPoint* points() const { return reinterpret_cast<const OvPoint*>(this + 1); }
  const uint8_t* verbs() const { return reinterpret_cast<const uint8_t*>(this + 1) + 8 * pointCount; }
};

// Type 7, N glyphs.  0 header | 4 paint | 20 u32 typeface id
//          | 24 u32 glyph id bytes (2N) | 28 f32 x | 32 f32 y | 36 4 x u32 zero
//          | 52 i16 font size | 54 u8 font byte | 55 u8 non-rendering flag
//          | 56 N positions (x, y f32) | 56 + 8N N glyph ids (u16)
// Size (56 + 10N + 3) & ~3.
struct OvDrawTextBlob {
  static constexpr uint32_t kType = kDrawTextBlob;
  static constexpr uint32_t kNonRenderingAt = 55;
  OvOp op;
  OvPaintInfo paint;
  uint32_t typefaceId;
  uint32_t glyphBytes;
  float x, y;
  uint32_t zero[4];
  int16_t fontSize;
  uint8_t fontByte;
  uint8_t nonRendering;
  void set(const OvPaintInfo& p, uint32_t typeface, uint32_t glyphs, float px, float py, int16_t size, uint8_t byte) {
    paint = p;
    typefaceId = typeface;
    glyphBytes = 2 * glyphs;
    x = px;
    y = py;
    zero[0] = zero[1] = zero[2] = zero[3] = 0;
    fontSize = size;
    fontByte = byte;
    nonRendering = 0;
  }
};

// Type 8.  0 header | 4 the nine f32 of an OvMatrix, in its order   = 40 bytes
// A concatenation with the current matrix, not a replacement.
struct OvTransform {
  static constexpr uint32_t kType = kTransform;
  OvOp op;
  OvMatrix matrix;
  void set(const OvMatrix& m) { matrix = m; }
};

// Type 9: the header 0x00000489 alone.
struct OvSave {
  static constexpr uint32_t kType = kSave;
  OvOp op;
  void set() {}
};

// Type 10: the header 0x0000048A alone.
struct OvRestore {
  static constexpr uint32_t kType = kRestore;
  OvOp op;
  void set() {}
};

// One entry of the id table: 0 u32 id length L | 4 u32 logical offset of the
// record in the draw list | 8 L id bytes, no terminator, zero-padded to 4.
struct OvIdMapEntry {
  uint32_t length;
  uint32_t offset;
  static constexpr uint32_t SizeFor(uint32_t length) { return 8 + ((length + 3) & ~3u); }
};

// Type 11: the element-id table, the draw list's last record. The header,
// then one OvIdMapEntry per id in ascending byte-wise order of the ids.
// Size 4 + the entries' sizes.
struct OvIdMap {
  static constexpr uint32_t kType = kIdMap;
  OvOp op;
  void set() {}
};

// Type 13, D bytes of font data, in the resource list.
//          0 header | 4 u32 typeface id | 8 u32 D | 12 D bytes   Size (D + 15) & ~3.
struct OvTypefaceData {
  static constexpr uint32_t kType = kTypeface;
  OvOp op;
  uint32_t typefaceId;
  uint32_t dataSize;
  void set(uint32_t id, uint32_t bytes) {
    typefaceId = id;
    dataSize = bytes;
  }
};

// The 20 bytes of a circular text op that the renderer interprets; the
// recorder copies them unread.
struct OvCircularTextParams {
  uint32_t words[5];
};

// Type 14.  0 header | 4 paint | 20 u32 text op count K (0..16)
//          | 24 16 x u32 logical offsets of the K text ops | 88 params (20)
// = 108 bytes. Slots K..15 are zero.
struct OvCircularTextOp {
  static constexpr uint32_t kType = kCircularText;
  static constexpr uint32_t kMaxTextOps = 16;
  OvOp op;
  OvPaintInfo paint;
  uint32_t count;
  uint32_t offsets[kMaxTextOps];
  OvCircularTextParams params;
  void set(const OvPaintInfo& p, uint32_t k, const OvCircularTextParams& words) {
    paint = p;
    count = k;
    for (uint32_t& o : offsets) o = 0;
    params = words;
  }
};

// Type 15, N glyphs.  0 header | 4 paint | 20 u32 bitmap typeface id | 24 f32 x
//          | 28 f32 y | 32 u32 N | 36 4 x u32 zero | 52 N glyph codes (u16)
// Size (52 + 2N + 3) & ~3.
struct OvDrawBitmapText {
  static constexpr uint32_t kType = kDrawBitmapText;
  OvOp op;
  OvPaintInfo paint;
  uint32_t typefaceId;
  float x, y;
  uint32_t glyphCount;
  uint32_t zero[4];
  void set(const OvPaintInfo& p, uint32_t typeface, float px, float py, uint32_t count) {
    paint = p;
    typefaceId = typeface;
    x = px;
    y = py;
    glyphCount = count;
    zero[0] = zero[1] = zero[2] = zero[3] = 0;
  }
};

// Type 16, G glyph entries, in the resource list.  0 header | 4 u32 id
//          | 8 u16 first metric | 10 u16 second metric | 12 u32 G
//          | 16 u32 atlas bitmap id | 20 G x u32 glyph entries   Size 20 + 4G.
struct OvBitmapTypefaceData {
  static constexpr uint32_t kType = kBitmapTypeface;
  OvOp op;
  uint32_t typefaceId;
  uint16_t metric0;
  uint16_t metric1;
  uint32_t glyphCount;
  uint32_t atlasBitmapId;
  void set(uint32_t id, uint16_t m0, uint16_t m1, uint32_t glyphs, uint32_t atlas) {
    typefaceId = id;
    metric0 = m0;
    metric1 = m1;
    glyphCount = glyphs;
    atlasBitmapId = atlas;
  }
};

// Type 0.  0 header | 4 paint | 20 u32 typeface id | 24 u32 length
//          | 28 u32 capacity (>= length) | 32 u32 encoding | 36 f32 x | 40 f32 y
//          | 44 4 x u32 zero | 60 i16 font size | 62 u8 font byte
//          | 63 u8 non-rendering flag | 64 capacity bytes of text
// Size (64 + capacity + 3) & ~3: the room lets a bound text grow in place.
struct OvDrawSimpleText {
  static constexpr uint32_t kType = kDrawSimpleText;
  static constexpr uint32_t kNonRenderingAt = 63;
  OvOp op;
  OvPaintInfo paint;
  uint32_t typefaceId;
  uint32_t length;
  uint32_t capacity;
  uint32_t encoding;
  float x, y;
  uint32_t zero[4];
  int16_t fontSize;
  uint8_t fontByte;
  uint8_t nonRendering;
  void set(const OvPaintInfo& p, uint32_t typeface, uint32_t len, uint32_t cap, uint32_t enc, float px, float py,
           int16_t size, uint8_t byte) {
    paint = p;
    typefaceId = typeface;
    length = len;
    capacity = cap;
    encoding = enc;
    x = px;
    y = py;
    zero[0] = zero[1] = zero[2] = zero[3] = 0;
    fontSize = size;
    fontByte = byte;
    nonRendering = 0;
  }
};

static_assert(offsetof(OvDrawRect, paint) == 4 && offsetof(OvDrawRect, rect) == 20, "OvDrawRect");
static_assert(offsetof(OvDrawLine, paint) == 4 && offsetof(OvDrawLine, x0) == 20 && offsetof(OvDrawLine, y0) == 24 &&
                  offsetof(OvDrawLine, x1) == 28 && offsetof(OvDrawLine, y1) == 32,
              "OvDrawLine");
static_assert(offsetof(OvDrawBitmap, paint) == 4 && offsetof(OvDrawBitmap, bitmapId) == 20 &&
                  offsetof(OvDrawBitmap, rowBytes) == 24 && offsetof(OvDrawBitmap, width) == 28 &&
                  offsetof(OvDrawBitmap, height) == 30 && offsetof(OvDrawBitmap, colorType) == 32 &&
                  offsetof(OvDrawBitmap, padding0) == 34 && offsetof(OvDrawBitmap, x) == 36 &&
                  offsetof(OvDrawBitmap, y) == 40 && offsetof(OvDrawBitmap, zero) == 44 &&
                  offsetof(OvDrawBitmap, padding1) == 45,
              "OvDrawBitmap");
static_assert(offsetof(OvDrawArc, paint) == 4 && offsetof(OvDrawArc, oval) == 20 &&
                  offsetof(OvDrawArc, startAngle) == 36 && offsetof(OvDrawArc, sweepAngle) == 40 &&
                  offsetof(OvDrawArc, useCenter) == 44 && offsetof(OvDrawArc, padding) == 45,
              "OvDrawArc");
static_assert(offsetof(OvDrawCircle, paint) == 4 && offsetof(OvDrawCircle, cx) == 20 &&
                  offsetof(OvDrawCircle, cy) == 24 && offsetof(OvDrawCircle, radius) == 28,
              "OvDrawCircle");
static_assert(offsetof(OvDrawPath, paint) == 4 && offsetof(OvDrawPath, pointCount) == 20 &&
                  offsetof(OvDrawPath, verbCount) == 24 && offsetof(OvDrawPath, contourCount) == 28,
              "OvDrawPath");
static_assert(offsetof(OvDrawTextBlob, paint) == 4 && offsetof(OvDrawTextBlob, typefaceId) == 20 &&
                  offsetof(OvDrawTextBlob, glyphBytes) == 24 && offsetof(OvDrawTextBlob, x) == 28 &&
                  offsetof(OvDrawTextBlob, y) == 32 && offsetof(OvDrawTextBlob, zero) == 36 &&
                  offsetof(OvDrawTextBlob, fontSize) == 52 && offsetof(OvDrawTextBlob, fontByte) == 54 &&
                  offsetof(OvDrawTextBlob, nonRendering) == OvDrawTextBlob::kNonRenderingAt,
              "OvDrawTextBlob");
static_assert(offsetof(OvTransform, matrix) == 4, "OvTransform");
static_assert(sizeof(OvIdMapEntry) == 8 && offsetof(OvIdMapEntry, offset) == 4 && OvIdMapEntry::SizeFor(1) == 12 &&
                  OvIdMapEntry::SizeFor(4) == 12 && OvIdMapEntry::SizeFor(5) == 16,
              "OvIdMapEntry");
static_assert(offsetof(OvTypefaceData, typefaceId) == 4 && offsetof(OvTypefaceData, dataSize) == 8, "OvTypefaceData");
static_assert(sizeof(OvCircularTextParams) == 20, "OvCircularTextParams");
static_assert(offsetof(OvCircularTextOp, paint) == 4 && offsetof(OvCircularTextOp, count) == 20 &&
                  offsetof(OvCircularTextOp, offsets) == 24 && offsetof(OvCircularTextOp, params) == 88,
              "OvCircularTextOp");
static_assert(offsetof(OvDrawBitmapText, paint) == 4 && offsetof(OvDrawBitmapText, typefaceId) == 20 &&
                  offsetof(OvDrawBitmapText, x) == 24 && offsetof(OvDrawBitmapText, y) == 28 &&
                  offsetof(OvDrawBitmapText, glyphCount) == 32 && offsetof(OvDrawBitmapText, zero) == 36,
              "OvDrawBitmapText");
static_assert(offsetof(OvBitmapTypefaceData, typefaceId) == 4 && offsetof(OvBitmapTypefaceData, metric0) == 8 &&
                  offsetof(OvBitmapTypefaceData, metric1) == 10 && offsetof(OvBitmapTypefaceData, glyphCount) == 12 &&
                  offsetof(OvBitmapTypefaceData, atlasBitmapId) == 16,
              "OvBitmapTypefaceData");
static_assert(offsetof(OvDrawSimpleText, paint) == 4 && offsetof(OvDrawSimpleText, typefaceId) == 20 &&
                  offsetof(OvDrawSimpleText, length) == 24 && offsetof(OvDrawSimpleText, capacity) == 28 &&
                  offsetof(OvDrawSimpleText, encoding) == 32 && offsetof(OvDrawSimpleText, x) == 36 &&
                  offsetof(OvDrawSimpleText, y) == 40 && offsetof(OvDrawSimpleText, zero) == 44 &&
                  offsetof(OvDrawSimpleText, fontSize) == 60 && offsetof(OvDrawSimpleText, fontByte) == 62 &&
                  offsetof(OvDrawSimpleText, nonRendering) == OvDrawSimpleText::kNonRenderingAt,
              "OvDrawSimpleText");

}  // namespace orvel
