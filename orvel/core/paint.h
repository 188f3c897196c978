// OvPaint: how something is drawn (colour, stroke width, miter limit, a flags
// word carrying the stroke cap and join, an optional shader), and OvPaintInfo,
// its recordable part: the first four fields, 16 bytes, as every draw record
// carries them. The shader is never recorded.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/color.h"
#include "orvel/core/export.h"

namespace orvel {

class OvShader;
class OvPaint;

// Paint block of a draw record, little-endian, copied word for word:
//   offset 0  u32  colour (RGBA_8888)
//   offset 4  f32  stroke width
//   offset 8  f32  miter limit
//   offset 12 u32  flags (cap in bits 1-2, join in bits 3-4, the rest opaque)
struct ORVEL_API OvPaintInfo {
  RGBA_8888 color;
  float strokeWidth;
  float miterLimit;
  uint32_t flags;

  // The info of a default paint.
  OvPaintInfo();
  // Copies the paint's first four fields bit for bit (NaN payloads included).
  explicit OvPaintInfo(const OvPaint& paint);
  // A default paint with its first four fields overwritten from this info; no shader.
  OvPaint MakePaint() const;
};

static_assert(sizeof(OvPaintInfo) == 16, "OvPaintInfo is the 16-byte paint block");
static_assert(offsetof(OvPaintInfo, color) == 0 && offsetof(OvPaintInfo, strokeWidth) == 4 &&
                  offsetof(OvPaintInfo, miterLimit) == 8 && offsetof(OvPaintInfo, flags) == 12,
              "OvPaintInfo field offsets");

class ORVEL_API OvPaint {
 public:
  // Stroke cap, bits 1-2 of the flags. Only Butt and Round make geometry; Square,
  // and the unnamed value 3 that a flags word may hold, end a stroke with nothing.
  enum class Cap : uint8_t { Butt = 0, Round = 1, Square = 2 };
  // Stroke join, bits 3-4 of the flags. Mind the order: Bevel is 1, Round 2. The
  // unnamed value 3 is returned as it stands; the stroker decides what it draws.
  enum class Join : uint8_t { Miter = 0, Bevel = 1, Round = 2 };

  static constexpr RGBA_8888 kDefaultColor = 0xFF000000;  // opaque black
  static constexpr float kDefaultStrokeWidth = 1.0f;
  static constexpr float kDefaultMiterLimit = 4.0f;
  static constexpr uint32_t kDefaultFlags = 64;
  static constexpr uint32_t kCapShift = 1;
  static constexpr uint32_t kCapMask = 3u << kCapShift;
  static constexpr uint32_t kJoinShift = 3;
  static constexpr uint32_t kJoinMask = 3u << kJoinShift;

  // Opaque black, width 1, miter limit 4, flags 64 (butt cap, miter join), no shader.
  OvPaint();

  RGBA_8888 getColor() const { return fColor; }
  void setColor(RGBA_8888 color) { fColor = color; }
  float getStrokeWidth() const { return fStrokeWidth; }
  void setStrokeWidth(float width) { fStrokeWidth = width; }
  // Multiple of half the stroke width beyond which a miter join is bevelled.
  float getMiterLimit() const { return fMiterLimit; }
  void setMiterLimit(float limit) { fMiterLimit = limit; }
  // The whole flags word; bits other than cap and join are the client renderer's.
  uint32_t getFlags() const { return fFlags; }
  void setFlags(uint32_t flags) { fFlags = flags; }
  // Bits 1-2 of the flags, 0 to 3.
  Cap getStrokeCap() const { return Cap((fFlags & kCapMask) >> kCapShift); }
  // Replaces bits 1-2 only; a value above 3 keeps its low two bits.
  void setStrokeCap(Cap cap) { fFlags = (fFlags & ~kCapMask) | ((uint32_t(cap) << kCapShift) & kCapMask); }
  // Bits 3-4 of the flags, 0 to 3.
  Join getStrokeJoin() const { return Join((fFlags & kJoinMask) >> kJoinShift); }
  // Replaces bits 3-4 only; a value above 3 keeps its low two bits.
  void setStrokeJoin(Join join) { fFlags = (fFlags & ~kJoinMask) | ((uint32_t(join) << kJoinShift) & kJoinMask); }
  // Gradient source, or null for the solid colour. Not owned; must outlive every
  // use of the paint.
  OvShader* getShader() const { return fShader; }
  void setShader(OvShader* shader) { fShader = shader; }

 private:
  friend struct OvPaintInfo;

  // The first four fields mirror OvPaintInfo, field for field.
  RGBA_8888 fColor;
  float fStrokeWidth;
  float fMiterLimit;
  uint32_t fFlags;
  OvShader* fShader;
};

}  // namespace orvel
