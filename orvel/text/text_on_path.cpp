#include "orvel/text/text_on_path.h"

#include <cmath>

#include "orvel/core/log.h"

namespace orvel {
namespace {

// Single-precision constants; the float operations below keep their order.
constexpr float kTwoPi = 6.2831855f;
constexpr float kPi = 3.14159274f;
constexpr float kDegreesPerRadian = 57.295776f;
constexpr float kFullTurnDegrees = 360.0f;

}  // namespace

float OvTextOnPath::PlaceOnCircle(const void* text, unsigned int byteLength, OvTextEncoding encoding,
                                  const OvFont& font, const OnCircleParams& params, RSXFormStorage* storage) {
  if (!storage || (!text && byteLength) ||
      (storage->capacity > 0 && (!storage->glyphs || !storage->transforms))) {
    return 0;
  }
  const TextIterator next = GetIteratorForEncoding(encoding);
  TextIteratorState state{&font, static_cast<const unsigned char*>(text), 0, byteLength};
  storage->count = 0;
  unsigned short glyph;
  if (!next(&state, &glyph)) return 0;

  const float dir = params.reversed ? -1.0f : 1.0f;
  const float k = dir * (1.0f / (params.radius * kTwoPi));  // fraction of a turn per unit of advance
  const float start = (params.startAngle * kTwoPi) / kFullTurnDegrees;
  float turn = 0, total = 0;
  do {
    const float w = font.measureText(&glyph, sizeof glyph, kGlyphID, nullptr);
    const float h = 0.5f * w;
    const float angle = start + (turn + k * h) * kTwoPi;
    float sin, cos;
    sincosf(angle, &sin, &cos);
    if (storage->count >= storage->capacity) {
      Log(kLogPriorityError, "Could not store positioned glyph; storage exhausted");
      return 0;
    }
    const float scos = -(sin * dir);
    const float ssin = dir * cos;
    storage->glyphs[storage->count] = glyph;
    storage->transforms[storage->count].set(scos, ssin, params.cx + params.radius * cos - h * scos,
                                            params.cy + params.radius * sin - h * ssin);
    ++storage->count;
    const float step = k * w;
    turn += step;
    total += step;
  } while (next(&state, &glyph));
  return (total + total) * kPi * kDegreesPerRadian;
}

}  // namespace orvel
