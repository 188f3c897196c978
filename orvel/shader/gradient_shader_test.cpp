#include "orvel/shader/gradient_shader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace orvel {
namespace {

using priv::OvLinearGradientShader;
using priv::OvRadialGradientShader;
using priv::OvShaderBase;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr RGBA_8888 kBlack = 0xFF000000, kWhite = 0xFFFFFFFF;

// ---- A plain, pixel-at-a-time evaluation of the gradient arithmetic: the
// yardstick the span shaders are held to. ----

enum class Kind { kLinear, kCircular, kConic };

uint32_t ReferenceChannel(float v) {
  if (!(v > 0.0f)) return 0;  // NaN and negatives
  if (v >= 255.0f) return 255;
  return uint32_t(v);
}

RGBA_8888 ReferenceColor(const float* positions, const RGBA_8888* colors, int count, float t) {
  count = std::min(count, 16);
  if (count <= 0) return 0;
  int index = count - 1;
  float frac = 1.0f;
  for (int i = 1; i < count; ++i) {
    if (positions[i] > t) {
      frac = (t - positions[i - 1]) / (positions[i] - positions[i - 1]);
      index = i;
      break;
    }
  }
  if (frac < 0.0f) frac = 0.0f;
  const RGBA_8888 c1 = colors[index], c0 = index > 0 ? colors[index - 1] : c1;
  uint32_t v[4];
  for (int k = 0; k < 4; ++k) {
    const float from = float((c0 >> (8 * k)) & 0xFF), to = float((c1 >> (8 * k)) & 0xFF);
    v[k] = ReferenceChannel(frac * to + (1.0f - frac) * from);
  }
  const uint32_t alpha = v[3];
  if (alpha == 255) return 0xFF000000 | v[2] << 16 | v[1] << 8 | v[0];
  for (int k = 0; k < 3; ++k) {
    const uint32_t w = v[k] * alpha + 128;
    v[k] = (w + (w >> 8)) >> 8;
  }
  return alpha << 24 | v[2] << 16 | v[1] << 8 | v[0];
}

float ReferenceT(Kind kind, const OvShaderInfo& info, OvPoint p) {
  const OvRadialGradientInfo& r = info.radial;
  switch (kind) {
    case Kind::kLinear: {
      const float t = p.x + p.y * 0.0f;
      return t < 0.0f ? 0.0f : t;
    }
    case Kind::kCircular: {
      const float dx = p.x - r.center0.x, dy = p.y - r.center0.y;
      const float t = std::sqrt(dx * dx + dy * dy) * (1.0f / r.radius);
      return t < 0.0f ? 0.0f : t;
    }
    case Kind::kConic: {
      const float ax = r.center0.x - r.center1.x, ay = r.center0.y - r.center1.y;
      const float c = ax * ax + ay * ay - r.radius * r.radius;
      const float dx = p.x - r.center1.x, dy = p.y - r.center1.y;
      const float dd = dx * dx + dy * dy;
      if (dd == 0.0f) return 0.0f;
      const float b = -2.0f * (dx * ax + dy * ay);
      const float disc = b * b - 4.0f * dd * c;
      const float root = (std::sqrt(disc) - b) / (2.0f * dd);
      const float t = 1.0f / std::fabs(root);
      return t > 1.0f ? 1.0f : t;
    }
  }
  return 0.0f;
}

RGBA_8888 ReferencePixel(Kind kind, const OvMatrix& m, const OvShaderInfo& info, int32_t x, int32_t y) {
  const float t = ReferenceT(kind, info, m.mapXY(float(x), float(y)));
  if (kind == Kind::kLinear) return ReferenceColor(info.linear.positions, info.linear.colors, info.linear.count, t);
  return ReferenceColor(info.radial.positions, info.radial.colors, info.radial.count, t);
}

// ---- Helpers ----

OvShaderInfo LinearInfo(std::vector<float> positions, std::vector<RGBA_8888> colors) {
  OvShaderInfo info;
  info.linear.count = int32_t(positions.size());
  std::copy(positions.begin(), positions.end(), info.linear.positions);
  std::copy(colors.begin(), colors.end(), info.linear.colors);
  return info;
}

OvShaderInfo RadialInfo(OvPoint c0, OvPoint c1, float radius, std::vector<float> positions,
                        std::vector<RGBA_8888> colors) {
  OvShaderInfo info;
  info.radial.center0 = c0;
  info.radial.center1 = c1;
  info.radial.radius = radius;
  info.radial.count = int32_t(positions.size());
  std::copy(positions.begin(), positions.end(), info.radial.positions);
  std::copy(colors.begin(), colors.end(), info.radial.colors);
  return info;
}

// Shades one span with the shader of that kind; a guard word after it must
// stay untouched.
std::vector<RGBA_8888> Shade(Kind kind, const OvMatrix& m, const OvShaderInfo& info, OvShaderBase::Span span) {
  std::vector<RGBA_8888> out(size_t(std::max(span.count, 0)) + 1, 0xDEADBEEF);
  if (kind == Kind::kLinear) {
    OvLinearGradientShader(m, &info).shadeSpan(span, out.data());
  } else {
    OvRadialGradientShader shader(m, &info);
    EXPECT_EQ(shader.mode(),
              kind == Kind::kCircular ? OvRadialGradientShader::kCircular : OvRadialGradientShader::kConic);
    shader.shadeSpan(span, out.data());
  }
  EXPECT_EQ(out.back(), 0xDEADBEEFu);
  out.pop_back();
  return out;
}

// Expects every pixel of the span to match the reference; reports the first miss.
void ExpectMatchesReference(Kind kind, const OvMatrix& m, const OvShaderInfo& info, OvShaderBase::Span span,
                            const char* what) {
  const std::vector<RGBA_8888> got = Shade(kind, m, info, span);
  for (int32_t i = 0; i < span.count; ++i) {
    const int32_t x = int32_t(uint32_t(span.x) + uint32_t(i));
    const RGBA_8888 want = ReferencePixel(kind, m, info, x, span.y);
    if (got[size_t(i)] != want) {
      ADD_FAILURE() << what << ": pixel " << i << " of span (" << span.x << ", " << span.y << ", " << span.count
                    << ") got " << std::hex << got[size_t(i)] << " want " << want;
      return;
    }
  }
}

// ---- Tests ----

TEST(GradientShaderTest, MapT) {
  const float pos[4] = {0.25f, 0.5f, 0.5f, 1.0f};
  struct Case {
    int count;
    float t;
    int index;
    float frac;
  } cases[] = {
      {4, 0.0f, 1, -1.0f},                       // before the first stop: negative frac
      {4, 0.25f, 1, 0.0f},                       // on the first stop
      {4, 0.375f, 1, 0.5f},                      // between
      {4, 0.5f, 3, 0.0f},                        // on a repeated stop: past both
      {4, 0.75f, 3, 0.5f},  {4, 1.0f, 3, 1.0f},  // on the last stop: none above it
      {4, 7.0f, 3, 1.0f},   {4, kNaN, 3, 1.0f}, {4, -kInf, 1, -kInf}, {1, 0.0f, 0, 1.0f}, {0, 0.5f, -1, 1.0f},
  };
  for (const Case& c : cases) {
    float frac = 99.0f;
    EXPECT_EQ(OvShaderUtils::MapT(pos, c.count, c.t, &frac), c.index) << c.t;
    EXPECT_EQ(frac, c.frac) << c.t;
  }
  float frac = 99.0f;
  EXPECT_EQ(OvShaderUtils::MapT(nullptr, 4, 0.5f, &frac), -1);
  EXPECT_EQ(frac, 99.0f);
  EXPECT_EQ(OvShaderUtils::MapT(pos, 4, 0.5f, nullptr), -1);
}

TEST(GradientShaderTest, LinearPixels) {
  // t = x / 10 along the span.
  const OvMatrix tenth(0.1f, 0, 0, 0, 1, 0, 0, 0, 1);
  const RGBA_8888 red = 0xFF0000FF, halfRed = 0x800000FF, green = 0xFF00FF00;
  struct Case {
    const char* name;
    OvShaderInfo info;
    int32_t x;
    RGBA_8888 want;
  } cases[] = {
      {"black to white halfway", LinearInfo({0, 1}, {kBlack, kWhite}), 5, 0xFF7F7F7F},
      {"on the first stop", LinearInfo({0.2f, 0.6f}, {red, green}), 2, red},
      {"on the last stop", LinearInfo({0.2f, 0.6f}, {red, green}), 6, green},
      {"before the first stop", LinearInfo({0.2f, 0.6f}, {red, green}), -30, red},
      {"after the last stop", LinearInfo({0.2f, 0.6f}, {red, green}), 40, green},
      // A repeated stop makes a sharp edge: exactly on it, the colour after it.
      {"on a sharp edge", LinearInfo({0, 0.5f, 0.5f, 1}, {red, green, kWhite, kBlack}), 5, kWhite},
      // (255 * 128 + 128 + ((255 * 128 + 128) >> 8)) >> 8 = 128.
      {"premultiplied", LinearInfo({0, 1}, {halfRed, kWhite}), 0, 0x80000080},
      {"one stop", LinearInfo({0.5f}, {halfRed}), 3, 0x80000080},
      {"no stops", LinearInfo({}, {}), 3, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Shade(Kind::kLinear, tenth, c.info, {c.x, 7, 1})[0], c.want) << c.name;
    ExpectMatchesReference(Kind::kLinear, tenth, c.info, {c.x - 40, 7, 100}, c.name);
    ExpectMatchesReference(Kind::kLinear, tenth, c.info, {c.x - 31, 7, 32}, c.name);  // ends on the pixel
  }
}

TEST(GradientShaderTest, RadialModes) {
  const RGBA_8888 red = 0xFF0000FF, blue = 0xFFFF0000;
  // Equal centres: circular, whatever the radius; t = distance / radius.
  for (float radius : {10.0f, -10.0f, 0.0f}) {
    const OvShaderInfo info = RadialInfo({5, 5}, {5, 5}, radius, {0, 1}, {red, blue});
    ExpectMatchesReference(Kind::kCircular, OvMatrix(), info, {-20, 5, 60}, "circular");
  }
  const OvShaderInfo circle = RadialInfo({0, 0}, {0, 0}, 10, {0, 1}, {kBlack, kWhite});
  EXPECT_EQ(Shade(Kind::kCircular, OvMatrix(), circle, {-5, 0, 1})[0], 0xFF7F7F7F);
  // t dips below a stop at one pixel only: (0.1, 0, 0.1).
  const OvShaderInfo dip = RadialInfo({1, 0}, {1, 0}, 10, {0, 0.05f, 1}, {red, kBlack, blue});
  EXPECT_EQ(Shade(Kind::kCircular, OvMatrix(), dip, {0, 0, 3})[1], red);

  // Conic: exactly at the second centre t is 0, the first colour. Outside the
  // circle t is held at 1, which a stop beyond 1 shows.
  const OvShaderInfo cone = RadialInfo({0, 0}, {3, 4}, 20, {0, 1.5f}, {red, blue});
  EXPECT_EQ(Shade(Kind::kConic, OvMatrix(), cone, {3, 4, 1})[0], red);
  ExpectMatchesReference(Kind::kConic, OvMatrix(), cone, {-40, 4, 100}, "conic");
  // A second centre outside the circle leaves rays with no root: NaN t, the last colour.
  const OvShaderInfo outside = RadialInfo({0, 0}, {30, 0}, 5, {0, 1}, {red, blue});
  EXPECT_EQ(Shade(Kind::kConic, OvMatrix(), outside, {30, 10, 1})[0], blue);
  ExpectMatchesReference(Kind::kConic, OvMatrix(), outside, {-40, 3, 100}, "conic outside");
}

TEST(GradientShaderTest, DegenerateInputsStayDefined) {
  const OvMatrix m(0.01f, 0, 0, 0, 1, 0, 0, 0, 1);
  const OvShaderInfo descending =
      LinearInfo({0.9f, 0.1f, 0.6f, 0.3f, 1.0f}, {0x10203040, kWhite, 0x80808080, kBlack, 0});
  const OvShaderInfo nanStops = LinearInfo({0, kNaN, 0.5f, -kInf, kInf}, {kBlack, kWhite, 0x40FF00FF, kBlack, kWhite});
  const OvShaderInfo subnormal = LinearInfo({0, 1e-39f, 1.2e-39f}, {kBlack, 0x80FF8040, kWhite});
  OvShaderInfo tooMany = LinearInfo({0, 0.5f, 1}, {kBlack, kWhite, kBlack});
  tooMany.linear.count = 1000;  // read as 16
  const struct Case {
    const char* name;
    OvMatrix m;
    const OvShaderInfo* info;
  } cases[] = {
      {"stops out of order", m, &descending},
      {"non-finite stops", m, &nanStops},
      {"too many stops", m, &tooMany},
      // Nothing may flush subnormal numbers to zero.
      {"subnormal parameters", OvMatrix(1e-41f, 0, 0, 0, 1, 0, 0, 0, 1), &subnormal},
      {"NaN matrix", OvMatrix(kNaN, 0, 0, 0, 1, 0, 0, 0, 1), &descending},
      {"infinite y", OvMatrix(0.01f, 0, 0, 0, kInf, 0, 0, 0, 1), &descending},
      {"w crosses 0", OvMatrix(0.01f, 0, 0, 0, 1, 0, 0.02f, 0, 0), &descending},
  };
  for (const Case& c : cases) ExpectMatchesReference(Kind::kLinear, c.m, *c.info, {-150, 2, 300}, c.name);

  // Nothing to shade from: zeros. Nothing to shade: nothing written.
  const std::vector<RGBA_8888> zeros(5, 0);
  EXPECT_EQ(Shade(Kind::kLinear, m, LinearInfo({}, {}), {0, 0, 5}), zeros);
  std::vector<RGBA_8888> out(5, 7);
  OvLinearGradientShader(m, nullptr).shadeSpan({0, 0, 5}, out.data());
  EXPECT_EQ(out, zeros);
  out.assign(5, 7);
  OvRadialGradientShader(m, nullptr).shadeSpan({0, 0, 5}, out.data());
  EXPECT_EQ(out, zeros);
  out.assign(5, 7);
  OvLinearGradientShader(m, &descending).shadeSpan({0, 0, 0}, out.data());
  OvLinearGradientShader(m, &descending).shadeSpan({0, 0, -4}, out.data());
  OvLinearGradientShader(m, &descending).shadeSpan({0, 0, 5}, nullptr);
  EXPECT_EQ(out, std::vector<RGBA_8888>(5, 7));

  // x + i wraps around past the largest coordinate.
  ExpectMatchesReference(Kind::kLinear, m, descending, {INT32_MAX - 40, 0, 100}, "wrapping x");
}

TEST(GradientShaderTest, PremultiplicationOfEveryChannelAndAlpha) {
  const OvMatrix m;
  for (uint32_t alpha = 0; alpha < 256; ++alpha) {
    std::vector<RGBA_8888> got(256), want(256);
    for (int stops = 1; stops <= 2; ++stops) {  // the last colour, and a colour between two stops
      for (uint32_t v = 0; v < 256; ++v) {
        const RGBA_8888 color = alpha << 24 | v << 16 | (255 - v) << 8 | v;
        const OvShaderInfo info = stops == 1 ? LinearInfo({0}, {color}) : LinearInfo({0, 1}, {color, color});
        OvLinearGradientShader(m, &info).shadeSpan({0, 0, 1}, &got[v]);
        want[v] = ReferencePixel(Kind::kLinear, m, info, 0, 0);
      }
      ASSERT_EQ(got, want) << "alpha " << alpha << ", stops " << stops;
    }
  }
}

// Spans under rotated, scaled and perspective matrices, over random stops,
// pixel for pixel against the reference.
TEST(GradientShaderTest, SpansMatchTheFormulasUnderAnyMatrix) {
  std::mt19937 rng(1234);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  auto randomStops = [&](int count, bool ascending) {
    std::vector<float> positions(static_cast<size_t>(count));
    std::vector<RGBA_8888> colors(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
      positions[size_t(i)] = rng() % 5 == 0 ? 0.5f : unit(rng) * 1.25f;  // repeats, and some past 1
      const uint32_t alpha = rng() % 3 == 0 ? 255 : rng() % 256;
      colors[size_t(i)] = alpha << 24 | (rng() & 0xFFFFFF);
    }
    if (ascending) std::sort(positions.begin(), positions.end());
    return std::make_pair(positions, colors);
  };
  for (int round = 0; round < 400; ++round) {
    const float angle = unit(rng) * 6.2831853f, scale = (0.5f + unit(rng) * 2.0f) / 300.0f;
    const float c = std::cos(angle) * scale, s = std::sin(angle) * scale;
    OvMatrix m(c, -s, unit(rng) - 0.5f, s * (0.5f + unit(rng)), c, unit(rng) - 0.5f, 0, 0, 1);
    if (round % 4 == 3) {  // perspective
      m.m[6] = (unit(rng) - 0.5f) * 0.002f;
      m.m[7] = (unit(rng) - 0.5f) * 0.002f;
    } else if (round % 4 == 2) {  // a perspective row that only scales
      m.m[8] = 0.5f + unit(rng);
    }
    const int count = 1 + int(rng() % 16);
    const auto stops = randomStops(count, round % 8 != 7);
    const Kind kind = Kind(round % 3);
    OvShaderInfo info = kind == Kind::kLinear
                            ? LinearInfo(stops.first, stops.second)
                            : RadialInfo({0.1f, 0.2f}, {0.1f, 0.2f}, 0.3f + unit(rng), stops.first, stops.second);
    if (kind == Kind::kConic) info.radial.center1 = {unit(rng) * 0.4f, unit(rng) * 0.4f};
    const OvShaderBase::Span span = {int32_t(rng() % 400) - 200, int32_t(rng() % 400) - 200, 1 + int32_t(rng() % 300)};
    ExpectMatchesReference(kind, m, info, span,
                           kind == Kind::kLinear  ? "linear"
                           : kind == Kind::kConic ? "conic"
                                                  : "circular");
  }
}

}  // namespace
}  // namespace orvel
