#include "orvel/core/matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

namespace orvel {
namespace {

bool SameBits(const OvMatrix& a, const OvMatrix& b) { return std::memcmp(a.m, b.m, sizeof a.m) == 0; }

std::string Show(const OvMatrix& a) {
  std::string s;
  for (float v : a.m) s += std::to_string(v) + " ";
  return s;
}

TEST(MatrixTest, IdentityIsBitwise) {
  OvMatrix m;
  EXPECT_TRUE(m.isIdentity());
  m.m[1] = -0.0f;
  EXPECT_FALSE(m.isIdentity());
  m.m[1] = 0.0f;
  m.m[8] = 2.0f;
  EXPECT_FALSE(m.isIdentity());
}

TEST(MatrixTest, SetConcatShortcutsAndProducts) {
  const OvMatrix persp(2, 0, 5, 0, 3, 7, 0.5f, 0.25f, 2);
  const OvMatrix identityAffineWithPersp(1, 0, 0, 0, 1, 0, 0.1f, 0.2f, 3);
  const OvMatrix skew(1, 2, 3, 4, 5, 6, 0, 0, 1);
  const OvMatrix scale(2, 0, 10, 0, 4, 20, 0, 0, 1);
  const OvMatrix scale2(0.5f, 0, -1, 0, 3, 2, 0, 0, 1);
  struct Case {
    const char* name;
    OvMatrix a, b, expected;
  } cases[] = {
      // a's affine part is the identity: b is copied whole, a's perspective is lost.
      {"a identity affine", identityAffineWithPersp, persp, persp},
      // b's affine part is the identity: a is copied whole, perspective kept.
      {"b identity affine", persp, identityAffineWithPersp, persp},
      {"scale and translate", scale, scale2, OvMatrix(1, 0, 8, 0, 12, 28, 0, 0, 1)},
      {"general affine", skew, scale, OvMatrix(2, 8, 53, 8, 20, 146, 0, 0, 1)},
      // The product ignores the perspective rows.
      {"general with perspective", skew, persp, OvMatrix(2, 6, 22, 8, 15, 61, 0, 0, 1)},
      {"negative zero is zero for the scale path", OvMatrix(2, -0.0f, 1, 0, 2, 1, 0, 0, 1), scale,
       OvMatrix(4, 0, 21, 0, 8, 41, 0, 0, 1)},
  };
  for (const Case& c : cases) {
    OvMatrix third;
    third.setConcat(c.a, c.b);
    EXPECT_TRUE(SameBits(third, c.expected)) << c.name << ": got " << Show(third) << " want " << Show(c.expected);
    OvMatrix intoA = c.a, intoB = c.b;
    intoA.setConcat(intoA, c.b);
    intoB.setConcat(c.a, intoB);
    EXPECT_TRUE(SameBits(intoA, third)) << c.name << " into a";
    EXPECT_TRUE(SameBits(intoB, third)) << c.name << " into b";
  }
}

TEST(MatrixTest, GeneralProductRoundsOnceFromDouble) {
  // 1/3 * 3 + 1e-8-scale terms: double accumulation then one rounding.
  const OvMatrix a(1.0f / 3.0f, 1e-4f, 0.1f, 1e-4f, 1.0f / 7.0f, 0.2f, 0, 0, 1);
  const OvMatrix b(3.0f, 1e-4f, 0.7f, 1e-4f, 7.0f, 0.9f, 0, 0, 1);
  OvMatrix r;
  r.setConcat(a, b);
  const double a0 = a.m[0], a1 = a.m[1], a3 = a.m[3], a4 = a.m[4];
  EXPECT_EQ(r.m[0], float(a0 * b.m[0] + a1 * double(b.m[3])));
  EXPECT_EQ(r.m[2], a.m[2] + float(a0 * b.m[2] + a1 * double(b.m[5])));
  EXPECT_EQ(r.m[4], float(a3 * b.m[1] + a4 * double(b.m[4])));
}

TEST(MatrixTest, MapXYDividesByW) {
  const OvMatrix m(2, 0, 1, 0, 3, 2, 0, 0.5f, 1);
  OvPoint p = m.mapXY(1, 2);
  EXPECT_FLOAT_EQ(p.x, 3.0f / 2.0f);
  EXPECT_FLOAT_EQ(p.y, 8.0f / 2.0f);
  const OvMatrix zeroW(1, 0, 0, 0, 1, 0, 0, 0, 0);
  EXPECT_TRUE(std::isinf(zeroW.mapXY(1, 1).x));
}

TEST(MatrixTest, InvertFailuresLeaveTheMatrix) {
  struct Case {
    const char* name;
    OvMatrix m;
  } cases[] = {
      {"singular", OvMatrix(1, 2, 3, 2, 4, 6, 0, 0, 1)},
      // Nearly singular with tiny entries: the inverse's entries pass FLT_MAX.
      {"inverse overflows", OvMatrix(1e-32f, 1e-32f, 0, 1e-32f, std::nextafter(1e-32f, 1.0f), 0, 0, 0, 1)},
      {"nan entry", OvMatrix(NAN, 0, 0, 0, 1, 0, 0, 0, 1)},
  };
  for (const Case& c : cases) {
    OvMatrix m = c.m;
    EXPECT_FALSE(m.invert()) << c.name;
    EXPECT_TRUE(SameBits(m, c.m)) << c.name;
  }
  OvMatrix id;
  EXPECT_TRUE(id.invert());
  EXPECT_TRUE(id.isIdentity());
}

// Full 3x3 product in double, perspective included.
void Multiply(const OvMatrix& a, const OvMatrix& b, double out[9]) {
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      out[r * 3 + c] = double(a.m[r * 3]) * b.m[c] + double(a.m[r * 3 + 1]) * b.m[3 + c] +
                       double(a.m[r * 3 + 2]) * b.m[6 + c];
}

TEST(MatrixTest, InvertOfWellConditionedMatricesTimesOriginalIsIdentity) {
  // Rotations and scales in [0.5, 2], translations within +-100, mild perspective:
  // the condition number stays small, so 1e-4 relative to the scale holds.
  constexpr double kTolerance = 1e-4;
  std::mt19937 rng(1234);
  std::uniform_real_distribution<float> angle(0, 6.2831853f), scale(0.5f, 2), shift(-100, 100), persp(-1e-3f, 1e-3f);
  for (int i = 0; i < 500; ++i) {
    const float t = angle(rng), sx = scale(rng), sy = scale(rng);
    const bool perspective = i % 2 == 1;
    OvMatrix m(sx * std::cos(t), -sy * std::sin(t), shift(rng), sx * std::sin(t), sy * std::cos(t), shift(rng),
               perspective ? persp(rng) : 0, perspective ? persp(rng) : 0, 1);
    OvMatrix inv = m;
    ASSERT_TRUE(inv.invert()) << i;
    double p[9];
    Multiply(m, inv, p);
    for (int k = 0; k < 9; ++k) {
      const double want = (k % 4 == 0) ? 1.0 : 0.0;
      EXPECT_NEAR(p[k], want, kTolerance * (k % 3 == 2 ? 100 : 1)) << "matrix " << i << " entry " << k;
    }
  }
}

TEST(MatrixTest, RSXformToMatrix) {
  OvRSXform x;
  x.set(0.5f, 2, 3, 4);
  const OvMatrix want(0.5f, -2, 3, 2, 0.5f, 4, 0, 0, 1);
  OvMatrix out(9, 9, 9, 9, 9, 9, 9, 9, 9);
  x.toMatrix(&out);
  EXPECT_TRUE(SameBits(x.toMatrix(), want));
  EXPECT_TRUE(SameBits(out, want));
}

}  // namespace
}  // namespace orvel
