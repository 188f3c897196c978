// OvFreeTypeBackend: a font backend (OvFontBackend) over FreeType, in its own
// library, orvel_freetype, so that the core library depends on no font engine.
//
//   OvFreeTypeBackend backend;          // check ok()
//   SetFontBackend(&backend);           // OvFont's operations now use it
//
// A typeface's bytes are opened as a FreeType memory face of exactly
// typeface->size bytes, whatever the font's own tables claim, so bytes
// received from the other device are read within their buffer only. Metrics
// are unhinted and taken in font units, scaled by the font's size over the
// typeface's units per em: measurements are exact and the same on every
// target. The font's weight is not used. Bounds are in the text's own
// coordinates: origin at the start of the baseline, y growing downwards.
//
// Text in a character encoding is decoded by the library's iterators, which
// map each character through the installed backend: install this one before
// measuring such text or turning it into glyphs.
//
// The last face opened is kept for the next call, keyed by the typeface's id,
// data pointer and size. OvTypefaceStorage tells the installed backend before
// it frees a typeface's bytes; for typefaces over bytes of your own, call
// forgetTypeface (or install no backend) before freeing or changing them.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/text/font.h"

struct FT_LibraryRec_;
struct FT_FaceRec_;

namespace orvel {

class ORVEL_API OvFreeTypeBackend : public OvFontBackend {
 public:
  OvFreeTypeBackend();
  // Uninstalls itself when it is the installed backend.
  ~OvFreeTypeBackend() override;
  OvFreeTypeBackend(const OvFreeTypeBackend&) = delete;
  OvFreeTypeBackend& operator=(const OvFreeTypeBackend&) = delete;

  // Whether FreeType could be initialised; if not, every operation gives 0.
  bool ok() const { return fLibrary != nullptr; }

  // Advance and bounds of the glyphs the text yields. A glyph the typeface
  // does not have advances nothing; glyphs without ink (spaces) advance but
  // add nothing to the bounds. 0, and zero bounds, for a font without a
  // readable typeface or with a size of 0 or less.
  float measureText(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                    OvRect* bounds) override;
  int textToGlyphs(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                   unsigned short* glyphs, int maxGlyphs) override;
  // The typeface's character map (FreeType's default, Unicode where the font
  // has one); 0 for characters it lacks and for glyph ids above 65535.
  unsigned short mapChar(const OvFont& font, unsigned int character) override;
  // Closes the kept face when it was opened over this typeface.
  void forgetTypeface(const OvTypeface& typeface) override;

 private:
  // The face for the font's typeface, opened or kept; null when the typeface
  // is missing or unreadable (logged once per typeface).
  FT_FaceRec_* faceFor(const OvFont& font);
  void closeFace();

  FT_LibraryRec_* fLibrary = nullptr;
  FT_FaceRec_* fFace = nullptr;  // null with a key set: that typeface failed
  bool fHaveKey = false;
  uint32_t fKeyId = 0;
  const unsigned char* fKeyData = nullptr;
  uint32_t fKeySize = 0;
};

}  // namespace orvel
