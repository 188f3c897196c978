// Typefaces and fonts, the values through which text enters the library, and
// the font backend: the installable engine behind a font's metrics and
// character map.
//
// The library holds no font engine. Without an installed backend the three
// font operations that need one (measureText, textToGlyphs, mapChar) are fatal
// stubs: each logs "Orvel fatal error: \"OvFont::<name> unavailable without a
// font implementation.\"\n", calls ov_abort_handler and returns 0. Install an
// OvFontBackend (orvel_freetype provides one over FreeType) to lay out text.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/text/encoding.h"

namespace orvel {

// A font file in memory with a process-unique id. A plain value: copying it
// copies the pointers, never the bytes.
struct ORVEL_API OvTypeface {
  uint32_t id;                // unique in the process; 0 is never handed out
  const unsigned char* data;  // font file bytes (TrueType for MakeFromTTF); not owned
  uint32_t size;              // bytes at data
  void* context;              // the creator's; null from the factories
  bool weightAdjustable;      // whether OvFont::setWeight may change the weight

  // An id of 0 takes a fresh one from NextID(); any other id is kept as given
  // and leaves the counter alone (so it may collide with a later fresh id).
  OvTypeface(const unsigned char* data, unsigned int size, void* context, unsigned int id, bool weightAdjustable);

  // The process-wide counter's current value, which it then steps by one. It
  // starts at 1 and skips 0 should it ever wrap. Not synchronised: creating
  // typefaces from several threads at once needs the caller's lock.
  static unsigned int NextID();
  // A fresh id over data (not owned, must outlive every use), null context,
  // weight not adjustable.
  static OvTypeface MakeFromTTF(const unsigned char* data, unsigned int size);
  // A fresh id and nothing else: null data, size 0, null context.
  static OvTypeface MakeNull();
};

// A typeface with a size and a weight; copied by value into text blobs and
// op records.
class ORVEL_API OvFont {
 public:
  static constexpr int16_t kDefaultSize = 12;
  // One above the largest weight setWeight stores, so that a weight never set
  // can be told apart.
  static constexpr uint16_t kDefaultWeight = 1001;
  static constexpr uint16_t kMaxWeight = 1000;
  // Three further words carried with the font unchanged; the library only
  // initialises (to 1, 0, 0) and copies them.
  static constexpr int kExtraFieldCount = 3;

  // typeface is not owned and must outlive the font; null is allowed (a font
  // without a typeface; a backend measures nothing for it).
  explicit OvFont(const OvTypeface* typeface = nullptr);

  const OvTypeface* getTypeface() const { return fTypeface; }
  short getSize() const { return fSize; }
  void setSize(short size) { fSize = size; }
  unsigned short getWeight() const { return fWeight; }
  // Stores min(weight, 1000) when the typeface is weight-adjustable.
  // Otherwise (a null typeface included) logs "Unable to setWeight for
  // typeface (<id>)\n" (id 0 for none) and keeps the weight.
  void setWeight(unsigned short weight);
  // Further word index (0..2); 0 for any other index.
  uint32_t getExtraField(int index) const;
  // Sets further word index (0..2); any other index changes nothing.
  void setExtraField(int index, uint32_t value);

  // Advance width of the text at this font's size, and its bounds relative to
  // the origin on the baseline when bounds is non-null. 0 (bounds untouched)
  // without a backend (fatal), and for null text with a non-zero length.
  float measureText(const void* text, unsigned int byteLength, OvTextEncoding encoding, OvRect* bounds) const;
  // The number of glyph ids the text yields. They are written to glyphs only
  // when glyphs is non-null and maxGlyphs is at least that number; a null
  // glyphs just counts. 0 without a backend (fatal), for null text with a
  // non-zero length, and for a negative maxGlyphs.
  int textToGlyphs(const void* text, unsigned int byteLength, OvTextEncoding encoding, unsigned short* glyphs,
                   int maxGlyphs) const;
  // The glyph id of a character; 0 without a backend (fatal) and for
  // characters the typeface lacks.
  unsigned short mapChar(unsigned int character) const;

 private:
  const OvTypeface* fTypeface;
  int16_t fSize;
  uint16_t fWeight;
  uint32_t fExtra[kExtraFieldCount];
};

// The engine behind OvFont's three font operations, implemented by a client
// or by orvel_freetype. OvFont checks its arguments first (null text with a
// non-zero length, a negative maxGlyphs) and hands every call it accepts to
// the installed backend with the font; the typeface bytes are to be read
// within typeface->size only, since they may have come from the other device.
// A backend may cache what it derives from a typeface; forgetTypeface tells it
// that the bytes are about to go away. Built without RTTI like the library;
// its virtual table lives in the library.
class ORVEL_API OvFontBackend {
 public:
  virtual ~OvFontBackend();
  // As OvFont::measureText; bounds may be null.
  virtual float measureText(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                            OvRect* bounds) = 0;
  // As OvFont::textToGlyphs (glyphs may be null; maxGlyphs is not negative).
  virtual int textToGlyphs(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                           unsigned short* glyphs, int maxGlyphs) = 0;
  // As OvFont::mapChar.
  virtual unsigned short mapChar(const OvFont& font, unsigned int character) = 0;
  // Called by OvTypefaceStorage before it releases a typeface's entry (and
  // for every entry on reset): drop anything that refers to its bytes.
  virtual void forgetTypeface(const OvTypeface& typeface) { (void)typeface; }
};

// Installs backend for every later font operation (not owned; it must stay
// alive while installed); null restores the fatal stubs. Not synchronised.
ORVEL_API void SetFontBackend(OvFontBackend* backend);
// The installed backend, or null.
ORVEL_API OvFontBackend* GetFontBackend();

}  // namespace orvel
