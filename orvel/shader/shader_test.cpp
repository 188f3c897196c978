#include "orvel/shader/shader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using testing::LogCapture;

std::string Show(const OvMatrix& a) {
  std::string s;
  for (float v : a.m) s += std::to_string(v) + " ";
  return s;
}

bool SameValues(const OvMatrix& a, const OvMatrix& b) {
  for (int i = 0; i < 9; ++i) {
    if (!(a.m[i] == b.m[i])) return false;
  }
  return true;
}

const float kPositions[17] = {0,     0.1f, 0.2f,  0.3f, 0.4f,  0.5f,  0.6f, 0.65f, 0.7f,
                              0.75f, 0.8f, 0.85f, 0.9f, 0.95f, 0.97f, 1,    2};
const RGBA_8888 kColors[17] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
const OvPoint kHorizontal[2] = {{0, 0}, {10, 0}};

TEST(ShaderTest, MakersStoreTheirMatrices) {
  const OvPoint diagonal[2] = {{1, 2}, {4, 6}};
  const OvMatrix translate(1, 0, 5, 0, 1, 5, 0, 0, 1), rotate(0, -1, 0, 1, 0, 0, 0, 0, 1);
  const OvMatrix odd(2, 0.5f, 1, 0.25f, 3, -1, 0, 0, 1);
  const struct {
    const OvPoint* pts;
    const OvMatrix* local;
    OvMatrix expected;
  } cases[] = {
      {kHorizontal, nullptr, OvMatrix(10, 0, 0, 0, 10, 0, 0, 0, 1)},
      {kHorizontal, &translate, OvMatrix(10, 0, 5, 0, 10, 5, 0, 0, 1)},
      {kHorizontal, &rotate, OvMatrix(0, -10, 0, 10, 0, 0, 0, 0, 1)},
      {diagonal, nullptr, OvMatrix(3, -4, 1, 4, 3, 2, 0, 0, 1)},
      {diagonal, &odd, OvMatrix(8, -12.75f, 4, 12.75f, 8, 5.25f, 0, 0, 1)},  // (4, 5.25) -> (12, 18)
  };
  for (const auto& c : cases) {
    OvShaderInfo info;
    OvShaderStorageBase storage(&info);
    OvShader shader = OvShader::MakeLinearGradient(&storage, c.pts, kPositions, kColors, 3, c.local);
    const OvShaderInfo* out = nullptr;
    EXPECT_EQ(shader.getInfo(&out), OvShader::kLinearGradient);
    EXPECT_EQ(out, &info);
    EXPECT_TRUE(SameValues(info.matrix, c.expected)) << Show(info.matrix);
    // The stored points stay as given.
    EXPECT_EQ(std::memcmp(&info.linear.start, c.pts, 2 * sizeof(OvPoint)), 0);
    EXPECT_EQ(info.linear.count, 3);
    EXPECT_EQ(std::memcmp(info.linear.positions, kPositions, 3 * sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(info.linear.colors, kColors, 3 * sizeof(RGBA_8888)), 0);
    EXPECT_EQ(info.cleanup, nullptr);
  }
  for (const OvMatrix* local : {static_cast<const OvMatrix*>(nullptr), &odd}) {
    OvShaderInfo info;
    info.matrix = rotate;
    OvShaderStorageBase storage(&info);
    OvShader shader = OvShader::MakeRadialGradient(&storage, {1, 2}, {3, 4}, 5, kPositions, kColors, 16, local);
    EXPECT_EQ(shader.getInfo(nullptr), OvShader::kRadialGradient);
    EXPECT_TRUE(SameValues(info.matrix, local ? odd : OvMatrix())) << Show(info.matrix);
    const OvRadialGradientInfo& r = info.radial;
    EXPECT_TRUE(r.center0.y == 2 && r.center1.x == 3 && r.radius == 5 && r.count == 16);
    EXPECT_TRUE(r.positions[15] == 1 && r.colors[15] == 16);
  }
}

// Stop counts kept within the info, and null arguments refused; nothing is
// written past the info.
TEST(ShaderTest, CountsAndRefusals) {
  struct Guarded {
    OvShaderInfo info;
    uint32_t after[4] = {7, 7, 7, 7};
  } memory;
  OvShaderStorageBase storage(&memory.info), empty(nullptr);
  const struct {
    int count, stored;
    const char* log;
  } counts[] = {
      {16, 16, nullptr},
      {17, 16, "Gradient stop count 17 is outside 0..16; 16 stops kept\n"},
      {-3, 0, "Gradient stop count -3 is outside 0..16; 0 stops kept\n"},
  };
  for (const auto& c : counts) {
    for (bool radial : {false, true}) {
      LogCapture log;
      if (radial) {
        OvShader::MakeRadialGradient(&storage, {0, 0}, {0, 0}, 1, kPositions, kColors, c.count, nullptr);
      } else {
        OvShader::MakeLinearGradient(&storage, kHorizontal, kPositions, kColors, c.count, nullptr);
      }
      EXPECT_EQ(radial ? memory.info.radial.count : memory.info.linear.count, c.stored);
      EXPECT_EQ(log.lines, c.log ? std::vector<std::string>{c.log} : std::vector<std::string>{}) << c.count;
    }
  }
  EXPECT_EQ(std::memcmp(memory.after, "\7\0\0\0\7\0\0\0\7\0\0\0\7\0\0\0", 16), 0);

  memory.info.matrix = OvMatrix(3, 3, 3, 3, 3, 3, 3, 3, 3);
  LogCapture log;
  const OvShader refused[] = {
      OvShader::MakeLinearGradient(nullptr, kHorizontal, kPositions, kColors, 2, nullptr),
      OvShader::MakeLinearGradient(&empty, kHorizontal, kPositions, kColors, 2, nullptr),
      OvShader::MakeLinearGradient(&storage, nullptr, kPositions, kColors, 2, nullptr),
      OvShader::MakeLinearGradient(&storage, kHorizontal, nullptr, kColors, 2, nullptr),
      OvShader::MakeLinearGradient(&storage, kHorizontal, kPositions, nullptr, 2, nullptr),
      OvShader::MakeRadialGradient(nullptr, {0, 0}, {1, 1}, 1, kPositions, kColors, 2, nullptr),
      OvShader::MakeRadialGradient(&empty, {0, 0}, {1, 1}, 1, kPositions, kColors, 2, nullptr),
      OvShader::MakeRadialGradient(&storage, {0, 0}, {1, 1}, 1, nullptr, kColors, 2, nullptr),
      OvShader::MakeRadialGradient(&storage, {0, 0}, {1, 1}, 1, kPositions, nullptr, 2, nullptr),
  };
  for (const OvShader& shader : refused) {
    const OvShaderInfo* info = &memory.info;
    EXPECT_EQ(shader.getInfo(&info), OvShader::kNoShader);
    EXPECT_EQ(info, nullptr);
  }
  EXPECT_EQ(memory.info.radial.count, 0);  // untouched since the last count
  EXPECT_TRUE(SameValues(memory.info.matrix, OvMatrix(3, 3, 3, 3, 3, 3, 3, 3, 3)));
  EXPECT_EQ(log.lines, std::vector<std::string>(9, "Cannot make gradient: null argument\n"));
}

TEST(ShaderTest, MovesAndTransforms) {
  OvShaderInfo info;
  OvShaderStorageBase storage(&info);
  const OvPoint pts[2] = {{1, 1}, {3, 1}};
  OvShader a = OvShader::MakeLinearGradient(&storage, pts, kPositions, kColors, 2, nullptr);
  OvShader b(std::move(a));
  const OvShaderInfo* seen = &info;
  EXPECT_EQ(a.getInfo(&seen), OvShader::kLinearGradient);  // the type stays
  EXPECT_EQ(seen, nullptr);
  a.setTransform(OvMatrix(2, 0, 0, 0, 2, 0, 0, 0, 1));  // a null info: nothing
  a.setGradientVectorTransform({0, 0}, {1, 1});
  EXPECT_TRUE(SameValues(info.matrix, OvMatrix(2, 0, 1, 0, 2, 1, 0, 0, 1)));

  OvShader c;
  c = std::move(b);
  OvShader& same = c;
  c = std::move(same);  // moving into itself keeps everything
  EXPECT_EQ(c.getInfo(&seen), OvShader::kLinearGradient);
  EXPECT_EQ(seen, &info);
  EXPECT_EQ(b.getInfo(&seen), OvShader::kLinearGradient);
  EXPECT_EQ(seen, nullptr);

  // The mapped points make the matrix; the stored ones stay.
  c.setTransform(OvMatrix(2, 0, 10, 0, 3, 20, 0, 0, 1));
  EXPECT_TRUE(SameValues(info.matrix, OvMatrix(4, 0, 12, 0, 4, 23, 0, 0, 1))) << Show(info.matrix);
  EXPECT_EQ(info.linear.start.x, 1.0f);
  c.setGradientVectorTransform({1, 2}, {2, 4});
  EXPECT_TRUE(SameValues(info.matrix, OvMatrix(1, -2, 1, 2, 1, 2, 0, 0, 1))) << Show(info.matrix);

  // A radial shader takes the matrix as it is; an unknown type ignores it;
  // setGradientVectorTransform works whatever the type.
  const OvMatrix persp(1, 2, 3, 4, 5, 6, 7, 8, 9);
  OvShader(OvShader::kRadialGradient, &info).setTransform(persp);
  OvShader(OvShader::OvShaderType(3), &info).setTransform(OvMatrix());
  EXPECT_EQ(std::memcmp(&info.matrix, &persp, sizeof persp), 0);
  OvShader(OvShader::kNoShader, &info).setGradientVectorTransform({0, 0}, {0, 1});
  EXPECT_TRUE(SameValues(info.matrix, OvMatrix(0, -1, 0, 1, 0, 0, 0, 0, 1)));

  // Type 0: the fatal line, the abort handler's line, and nothing touched.
  LogCapture log;
  OvShader(OvShader::kNoShader, &info).setTransform(persp);
  EXPECT_TRUE(SameValues(info.matrix, OvMatrix(0, -1, 0, 1, 0, 0, 0, 0, 1)));
  EXPECT_EQ(log.lines, (std::vector<std::string>{"Orvel fatal error: \"Setting transform on uninitialized shader!\"\n",
                                                 "ov_abort_handler(): Orvel unrecoverable error"}));
}

int gCleanups = 0;
void* gCleaned = nullptr;
void CountCleanup(void* memory) { ++gCleanups, gCleaned = memory; }

TEST(ShaderTest, StorageHookWord) {
  static const OvShaderCleanupFn kTable[] = {&CountCleanup}, kEmptyTable[] = {nullptr};
  OvShaderInfo info;
  info.cleanup = kTable;
  { OvShaderStorageBase storage(&info); }  // construction clears the hook
  EXPECT_EQ(gCleanups, 0);
  for (const OvShaderCleanupFn* table : {kTable, kEmptyTable}) {
    OvShaderStorageBase storage(&info);
    info.cleanup = table;
  }
  EXPECT_EQ(gCleanups, 1);
  EXPECT_EQ(gCleaned, &info);

  // Misaligned memory is not kept, and nothing is written to it.
  alignas(OvShaderInfo) unsigned char raw[sizeof(OvShaderInfo) + 1];
  std::memset(raw, 0x77, sizeof raw);
  OvShaderStorageBase misaligned(raw + 1);
  EXPECT_EQ(misaligned.memory(), nullptr);
  EXPECT_EQ(raw[1], 0x77);
}

}  // namespace
}  // namespace orvel
