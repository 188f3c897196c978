#include "orvel/text/freetype/freetype_backend.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>

#include "orvel/core/log.h"

namespace orvel {
namespace {

// Unhinted outlines in font units: exact, platform-independent metrics.
constexpr FT_Int32 kLoadFlags = FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_IGNORE_TRANSFORM;
constexpr FT_UInt kMaxGlyphId = 0xFFFF;

// Calls visit(glyph) for each glyph id the text yields, in order.
template <class Visit>
void ForEachGlyph(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                  Visit&& visit) {
  TextIteratorState state{&font, static_cast<const unsigned char*>(text), 0, byteLength};
  const TextIterator next = GetIteratorForEncoding(encoding);
  for (unsigned short glyph; next(&state, &glyph);) visit(glyph);
}

}  // namespace

OvFreeTypeBackend::OvFreeTypeBackend() {
  FT_Library library = nullptr;
  if (FT_Init_FreeType(&library) == 0) {
    fLibrary = library;
  } else {
    Log(kLogPriorityError, "FreeType could not be initialised");
  }
}

OvFreeTypeBackend::~OvFreeTypeBackend() {
  if (GetFontBackend() == this) SetFontBackend(nullptr);
  closeFace();
  if (fLibrary) FT_Done_FreeType(fLibrary);
}

void OvFreeTypeBackend::closeFace() {
  if (fFace) FT_Done_Face(fFace);
  fFace = nullptr;
  fHaveKey = false;
}

void OvFreeTypeBackend::forgetTypeface(const OvTypeface& typeface) {
  if (fHaveKey && (fKeyId == typeface.id || fKeyData == typeface.data)) closeFace();
}

FT_FaceRec_* OvFreeTypeBackend::faceFor(const OvFont& font) {
  const OvTypeface* typeface = font.getTypeface();
  if (!fLibrary || !typeface) return nullptr;
  if (fHaveKey && fKeyId == typeface->id && fKeyData == typeface->data && fKeySize == typeface->size) return fFace;
  closeFace();
  fHaveKey = true;
  fKeyId = typeface->id;
  fKeyData = typeface->data;
  fKeySize = typeface->size;
  // FT_Long is 32 bits wide on 32-bit targets, where sizes above its range
  // turn negative and are refused.
  const FT_Long size = FT_Long(typeface->size);
  FT_Face face = nullptr;
  const bool opened = typeface->data && size > 0 && FT_New_Memory_Face(fLibrary, typeface->data, size, 0, &face) == 0;
  if (opened && face->units_per_EM != 0) {
    fFace = face;
    return fFace;
  }
  if (opened) FT_Done_Face(face);  // no scalable outlines to measure
  Log(kLogPriorityError, "FreeType could not read typeface (%u)", typeface->id);
  return nullptr;
}

float OvFreeTypeBackend::measureText(const OvFont& font, const void* text, unsigned int byteLength,
                                     OvTextEncoding encoding, OvRect* bounds) {
  OvRect box{0, 0, 0, 0};
  float pen = 0;
  FT_Face face = faceFor(font);
  if (face && font.getSize() > 0) {
    const float scale = float(font.getSize()) / float(face->units_per_EM);
    bool inked = false;
    ForEachGlyph(font, text, byteLength, encoding, [&](unsigned short glyph) {
      // The iterator may have mapped characters through faceFor: the face
      // stays the same, since the font's typeface does.
      if (FT_Load_Glyph(face, glyph, kLoadFlags) != 0) return;
      const FT_Glyph_Metrics& m = face->glyph->metrics;
      if (m.width > 0 && m.height > 0) {
        const OvRect g{pen + float(m.horiBearingX) * scale, -float(m.horiBearingY) * scale,
                       pen + float(m.horiBearingX + m.width) * scale, float(m.height - m.horiBearingY) * scale};
        box = inked ? OvRect{std::min(box.left, g.left), std::min(box.top, g.top), std::max(box.right, g.right),
                             std::max(box.bottom, g.bottom)}
                    : g;
        inked = true;
      }
      pen += float(m.horiAdvance) * scale;
    });
  }
  if (bounds) *bounds = box;
  return pen;
}

int OvFreeTypeBackend::textToGlyphs(const OvFont& font, const void* text, unsigned int byteLength,
                                    OvTextEncoding encoding, unsigned short* glyphs, int maxGlyphs) {
  int count = 0;
  ForEachGlyph(font, text, byteLength, encoding, [&](unsigned short) { ++count; });
  if (glyphs && count <= maxGlyphs) {
    int i = 0;
    ForEachGlyph(font, text, byteLength, encoding, [&](unsigned short glyph) {
      if (i < count) glyphs[i++] = glyph;
    });
  }
  return count;
}

unsigned short OvFreeTypeBackend::mapChar(const OvFont& font, unsigned int character) {
  FT_Face face = faceFor(font);
  if (!face) return 0;
  const FT_UInt glyph = FT_Get_Char_Index(face, character);
  return glyph <= kMaxGlyphId ? static_cast<unsigned short>(glyph) : 0;
}

}  // namespace orvel
