// Gradient span shading: 64 rows of 1024-pixel spans, beside pixman rendering
// the same gradient into a 1024 x 64 image (PIXMAN_OP_SRC, padded ends, as
// ours clamp). Reports pixels per second. Argument: 0 a 2-stop linear
// gradient, 1 an 8-stop linear one, 2 a 4-stop radial one (one centre), 3 a
// 4-stop radial one with two centres (conic on our side).
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstdint>
#include <vector>

#include "orvel/shader/gradient_shader.h"
#include "orvel/shader/shader.h"
#include "ratio.h"

namespace {

using namespace orvel;

constexpr int kWidth = 1024;
constexpr int kRows = 64;

struct Stop {
  float position;
  RGBA_8888 color;  // unpremultiplied
};

struct Gradient {
  bool radial;
  OvPoint a, b;  // linear: start and end; radial: first and second centre
  float radius;
  std::vector<Stop> stops;
};

Gradient Case(int64_t which) {
  switch (which) {
    case 0:
      return {false, {0, 0}, {kWidth, kRows * 4}, 0, {{0, 0xFF2040E0}, {1, 0xFFE0A020}}};
    case 1:
      return {false,
              {0, 0},
              {kWidth, kRows * 4},
              0,
              {{0, 0xFF000000},
               {0.125f, 0xFF0000FF},
               {0.25f, 0xC000FF00},
               {0.4f, 0x80FF0000},
               {0.5f, 0xFFFFFFFF},
               {0.7f, 0x40FF00FF},
               {0.85f, 0xFF00FFFF},
               {1, 0xFF808080}}};
    default:
      return {true,
              {kWidth / 2, kRows / 2},
              which == 2 ? OvPoint{kWidth / 2, kRows / 2} : OvPoint{kWidth / 2 + 100, kRows / 2 + 10},
              kWidth / 2,
              {{0, 0xFFFFFFFF}, {0.3f, 0xFF2040E0}, {0.6f, 0x80E0A020}, {1, 0xFF000000}}};
  }
}

void BM_ShadeOrvel(benchmark::State& state) {
  const Gradient g = Case(state.range(0));
  std::vector<float> positions;
  std::vector<RGBA_8888> colors;
  for (const Stop& s : g.stops) positions.push_back(s.position), colors.push_back(s.color);
  OvShaderInfo info;
  OvShaderStorageBase storage(&info);
  const OvPoint pts[2] = {g.a, g.b};
  OvShader shader = g.radial ? OvShader::MakeRadialGradient(&storage, g.a, g.b, g.radius, positions.data(),
                                                            colors.data(), int(colors.size()), nullptr)
                             : OvShader::MakeLinearGradient(&storage, pts, positions.data(), colors.data(),
                                                            int(colors.size()), nullptr);
  // The renderer's part: device pixels to gradient space is the inverse of
  // the info's gradient-to-drawing matrix (the canvas matrix is the identity).
  OvMatrix deviceToGradient = info.matrix;
  if (!deviceToGradient.invert()) state.SkipWithError("singular gradient matrix");
  priv::OvLinearGradientShader linear(deviceToGradient, &info);
  priv::OvRadialGradientShader radial(deviceToGradient, &info);
  const priv::OvShaderBase& shaderToUse = g.radial ? static_cast<const priv::OvShaderBase&>(radial) : linear;
  std::vector<RGBA_8888> pixels(size_t(kWidth) * kRows);
  for (auto _ : state) {
    for (int y = 0; y < kRows; ++y) shaderToUse.shadeSpan({0, y, kWidth}, &pixels[size_t(y) * kWidth]);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kRows);
}
BENCHMARK(BM_ShadeOrvel)->DenseRange(0, 3);

pixman_color_t PixmanColor(RGBA_8888 c) {
  auto wide = [](uint32_t v) { return uint16_t(v * 0x101); };
  return {wide(RedOf(c)), wide(GreenOf(c)), wide(BlueOf(c)), wide(AlphaOf(c))};
}

void BM_ShadePixman(benchmark::State& state) {
  const Gradient g = Case(state.range(0));
  std::vector<pixman_gradient_stop_t> stops;
  for (const Stop& s : g.stops) stops.push_back({pixman_double_to_fixed(s.position), PixmanColor(s.color)});
  pixman_image_t* source;
  if (g.radial) {
    const pixman_point_fixed_t inner = {pixman_double_to_fixed(g.b.x), pixman_double_to_fixed(g.b.y)};
    const pixman_point_fixed_t outer = {pixman_double_to_fixed(g.a.x), pixman_double_to_fixed(g.a.y)};
    source = pixman_image_create_radial_gradient(&inner, &outer, 0, pixman_double_to_fixed(g.radius), stops.data(),
                                                 int(stops.size()));
  } else {
    const pixman_point_fixed_t p1 = {pixman_double_to_fixed(g.a.x), pixman_double_to_fixed(g.a.y)};
    const pixman_point_fixed_t p2 = {pixman_double_to_fixed(g.b.x), pixman_double_to_fixed(g.b.y)};
    source = pixman_image_create_linear_gradient(&p1, &p2, stops.data(), int(stops.size()));
  }
  pixman_image_set_repeat(source, PIXMAN_REPEAT_PAD);
  std::vector<uint32_t> pixels(size_t(kWidth) * kRows);
  pixman_image_t* dest = pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kRows, pixels.data(), kWidth * 4);
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, dest, 0, 0, 0, 0, 0, 0, kWidth, kRows);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kRows);
  pixman_image_unref(dest);
  pixman_image_unref(source);
}
BENCHMARK(BM_ShadePixman)->DenseRange(0, 3);

using orvel_bench::Rate;
using orvel_bench::RegisterRatio;
const int kRatios[] = {
    RegisterRatio("shade pixels/s, orvel / pixman, 2-stop linear", "BM_ShadeOrvel/0", "BM_ShadePixman/0", Rate::kItems,
                  1.0),
    RegisterRatio("shade pixels/s, orvel / pixman, 8-stop linear", "BM_ShadeOrvel/1", "BM_ShadePixman/1", Rate::kItems,
                  1.0),
    RegisterRatio("shade pixels/s, orvel / pixman, 4-stop radial", "BM_ShadeOrvel/2", "BM_ShadePixman/2", Rate::kItems,
                  1.0),
    RegisterRatio("shade pixels/s, orvel / pixman, 4-stop two-centre", "BM_ShadeOrvel/3", "BM_ShadePixman/3",
                  Rate::kItems, 0.0),
};

}  // namespace
