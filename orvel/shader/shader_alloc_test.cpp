// Proves that making shaders and shading spans allocate nothing. This file
// holds the shader test binary's allocation-counting hooks.
#include <gtest/gtest.h>

#include "orvel/core/alloc_counting_internal.h"
#include "orvel/core/log.h"
#include "orvel/shader/gradient_shader.h"
#include "orvel/shader/shader.h"

namespace orvel {
namespace {

TEST(ShaderAllocationTest, MakingAndShadingAllocateNothing) {
  const OvPoint pts[2] = {{0, 0}, {100, 0}};
  const float positions[17] = {0, 0.2f, 0.4f, 0.6f, 0.8f, 1};
  const RGBA_8888 colors[17] = {0xFF0000FF, 0x8000FF00, 0xFFFF0000, 0x00000000, 0xFFFFFFFF, 0x40404040};
  const OvMatrix local(1, 0.5f, 3, -0.5f, 1, 2, 0, 0, 1), perspective(0.01f, 0, 0, 0, 0.01f, 0, 0.001f, 0, 1);
  OvShaderInfo linearInfo, radialInfo, conicInfo;
  RGBA_8888 out[300];
  int logged = 0;
  SetLogSink([](void* count, int, const char*, const char*) { ++*static_cast<int*>(count); }, &logged);

  testing::StartCountingAllocations();
  OvShaderStorageBase linearStorage(&linearInfo), radialStorage(&radialInfo), conicStorage(&conicInfo);
  OvShader linear = OvShader::MakeLinearGradient(&linearStorage, pts, positions, colors, 6, &local);
  OvShader radial = OvShader::MakeRadialGradient(&radialStorage, {0, 0}, {0, 0}, 50, positions, colors, 6, nullptr);
  OvShader conic = OvShader::MakeRadialGradient(&conicStorage, {0, 0}, {10, 5}, 50, positions, colors, 17, nullptr);
  linear.setTransform(local);
  OvShader().setTransform(local);  // the fatal line
  priv::OvLinearGradientShader linearShader(OvMatrix(0.01f, 0, 0, 0, 1, 0, 0, 0, 1), &linearInfo);
  priv::OvRadialGradientShader radialShader(perspective, &radialInfo), conicShader(OvMatrix(), &conicInfo);
  const priv::OvShaderBase* shaders[] = {&radialShader, &conicShader, &linearShader};
  for (const priv::OvShaderBase* shader : shaders) {
    for (int y = -20; y < 20; ++y) shader->shadeSpan({-150, y, 300}, out);
  }
  const int allocations = testing::StopCountingAllocations();

  SetLogSink(nullptr, nullptr);
  EXPECT_EQ(allocations, 0);
  // The work above really ran: the clamped count and the fatal line (two lines) were logged.
  EXPECT_EQ(logged, 3);
  EXPECT_EQ(conicInfo.radial.count, 16);
  EXPECT_NE(out[0], out[299]);
}

}  // namespace
}  // namespace orvel
