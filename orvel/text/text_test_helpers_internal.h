// Test-only helpers for the text suites: a font backend with made-up metrics
// (character c maps to glyph c + 1, low 16 bits; glyph g is g units wide with
// the box (0, -g, g, g / 2) around its origin) that counts and records what it
// is asked, and a rectangle's edges as one comparable value.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "orvel/text/encoding.h"
#include "orvel/text/font.h"

namespace orvel {
namespace testing {

using Edges = std::array<float, 4>;
inline Edges EdgesOf(const OvRect& r) { return {r.left, r.top, r.right, r.bottom}; }

// The two lines of a fatal error.
inline std::vector<std::string> FatalLines(const char* reason) {
  return {std::string("Orvel fatal error: \"") + reason + "\"\n", "ov_abort_handler(): Orvel unrecoverable error"};
}

class FakeFontBackend : public OvFontBackend {
 public:
  FakeFontBackend() { SetFontBackend(this); }
  ~FakeFontBackend() override { SetFontBackend(nullptr); }

  float measureText(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                    OvRect* bounds) override {
    ++measures;
    float width = 0;
    OvRect box{0, 0, 0, 0};
    for (unsigned short g : glyphsOf(font, text, byteLength, encoding)) {
      box = {box.left, std::min(box.top, -float(g)), width + g, std::max(box.bottom, g / 2.0f)};
      width += g;
    }
    if (bounds) *bounds = box;
    return width;
  }
  int textToGlyphs(const OvFont& font, const void* text, unsigned int byteLength, OvTextEncoding encoding,
                   unsigned short* glyphs, int maxGlyphs) override {
    const std::vector<unsigned short> run = glyphsOf(font, text, byteLength, encoding);
    if (glyphs && int(run.size()) <= maxGlyphs) std::copy(run.begin(), run.end(), glyphs);
    return int(run.size());
  }
  unsigned short mapChar(const OvFont&, unsigned int character) override {
    characters.push_back(character);
    return static_cast<unsigned short>(character + 1);
  }
  void forgetTypeface(const OvTypeface& typeface) override { forgotten.push_back(typeface.id); }

  int measures = 0;
  std::vector<unsigned int> characters;  // every mapChar argument, in order
  std::vector<unsigned int> forgotten;   // ids passed to forgetTypeface

 private:
  static std::vector<unsigned short> glyphsOf(const OvFont& font, const void* text, unsigned int byteLength,
                                              OvTextEncoding encoding) {
    std::vector<unsigned short> run;
    TextIteratorState state{&font, static_cast<const unsigned char*>(text), 0, byteLength};
    const TextIterator next = GetIteratorForEncoding(encoding);
    for (unsigned short g; next(&state, &g);) run.push_back(g);
    return run;
  }
};

}  // namespace testing
}  // namespace orvel
