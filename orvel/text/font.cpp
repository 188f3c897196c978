#include "orvel/text/font.h"

#include "orvel/core/log.h"

namespace orvel {
namespace {

// The process-wide typeface id counter; plain state, as documented.
uint32_t gNextTypefaceId = 1;
OvFontBackend* gFontBackend = nullptr;

}  // namespace

OvTypeface::OvTypeface(const unsigned char* bytes, unsigned int byteCount, void* creatorContext, unsigned int typefaceId,
                       bool adjustable)
    : id(typefaceId ? typefaceId : NextID()),
      data(bytes),
      size(byteCount),
      context(creatorContext),
      weightAdjustable(adjustable) {}

unsigned int OvTypeface::NextID() {
  const uint32_t id = gNextTypefaceId++;
  if (gNextTypefaceId == 0) gNextTypefaceId = 1;
  return id;
}

OvTypeface OvTypeface::MakeFromTTF(const unsigned char* data, unsigned int size) {
  return OvTypeface(data, size, nullptr, 0, false);
}

OvTypeface OvTypeface::MakeNull() { return OvTypeface(nullptr, 0, nullptr, 0, false); }

OvFont::OvFont(const OvTypeface* typeface)
    : fTypeface(typeface), fSize(kDefaultSize), fWeight(kDefaultWeight), fExtra{1, 0, 0} {}

void OvFont::setWeight(unsigned short weight) {
  if (!fTypeface || !fTypeface->weightAdjustable) {
    Log(kLogPriorityError, "Unable to setWeight for typeface (%u)\n", fTypeface ? fTypeface->id : 0u);
    return;
  }
  fWeight = weight < kMaxWeight ? weight : kMaxWeight;
}

uint32_t OvFont::getExtraField(int index) const {
  return index >= 0 && index < kExtraFieldCount ? fExtra[index] : 0;
}

void OvFont::setExtraField(int index, uint32_t value) {
  if (index >= 0 && index < kExtraFieldCount) fExtra[index] = value;
}

float OvFont::measureText(const void* text, unsigned int byteLength, OvTextEncoding encoding, OvRect* bounds) const {
  if (!gFontBackend) {
    FatalError("OvFont::measureText unavailable without a font implementation.");
    return 0;
  }
  if (!text && byteLength) return 0;
  return gFontBackend->measureText(*this, text, byteLength, encoding, bounds);
}

int OvFont::textToGlyphs(const void* text, unsigned int byteLength, OvTextEncoding encoding, unsigned short* glyphs,
                         int maxGlyphs) const {
  if (!gFontBackend) {
    FatalError("OvFont::textToGlyphs unavailable without a font implementation.");
    return 0;
  }
  if ((!text && byteLength) || maxGlyphs < 0) return 0;
  return gFontBackend->textToGlyphs(*this, text, byteLength, encoding, glyphs, maxGlyphs);
}

unsigned short OvFont::mapChar(unsigned int character) const {
  if (!gFontBackend) {
    FatalError("OvFont::mapChar unavailable without a font implementation.");
    return 0;
  }
  return gFontBackend->mapChar(*this, character);
}

OvFontBackend::~OvFontBackend() {}

void SetFontBackend(OvFontBackend* backend) { gFontBackend = backend; }

OvFontBackend* GetFontBackend() { return gFontBackend; }

}  // namespace orvel
