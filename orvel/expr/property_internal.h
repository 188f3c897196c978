// The Property operators' building blocks and their common number cases,
// inline so that the expression evaluator's step loop takes them without a
// call. Internal to the library: the operators in property.h are the API.
#pragma once

#include <cstdint>
#include <cstring>

#include "orvel/expr/property.h"

namespace orvel {

// The conversions and operators are built from the blocks; the number
// cases (NumberArithmetic, NumberCompared, Negated) give exactly what the
// operators give for two numbers, and anything else is left to them.
namespace priv {

// The building blocks are meant to melt into their callers' fast paths.
#define ORVEL_PROPERTY_INLINE inline __attribute__((always_inline))

ORVEL_PROPERTY_INLINE bool IsIntegerType(PropertyType t) { return uint32_t(t) - 1u < 8u; }  // U8 .. S64
ORVEL_PROPERTY_INLINE bool IsNumberType(PropertyType t) { return uint32_t(t) - 1u < 9u; }   // U8 .. Float

// A value as the number rules read it, small enough to stay in registers:
// its tag, a Float's value, and the first 8 bytes of its union otherwise.
// The scalars these functions make stand for values whose other bytes are
// zero, as the Make functions leave them.
struct Scalar {
  PropertyType type;
  float f;        // the value of a Float
  uint64_t bits;  // the union's first 8 bytes, for any other tag
};

ORVEL_PROPERTY_INLINE Scalar ScalarOf(const Property& p) { return {p.type, p.value.f, p.value.u64}; }
ORVEL_PROPERTY_INLINE Scalar FloatScalar(float v) { return {PropertyType::Float, v, 0}; }
ORVEL_PROPERTY_INLINE Scalar S64Scalar(int64_t v) { return {PropertyType::S64, 0.0f, uint64_t(v)}; }
ORVEL_PROPERTY_INLINE Scalar BoolScalar(bool v) { return {PropertyType::Bool, 0.0f, v ? 1u : 0u}; }

// Per type tag, the left shift that drops the bytes above an integer's (or a
// Bool's) width; shifting back restores its widened value.
inline constexpr uint8_t kWidenShift[] = {0, 56, 48, 32, 0, 56, 48, 32, 0, 0, 0, 0, 56};
static_assert(sizeof(kWidenShift) == unsigned(PropertyType::Bool) + 1, "one shift per tag");

// The widened value of union bits under an integer or Bool tag (Bool
// zero-extended), without a branch per tag.
ORVEL_PROPERTY_INLINE int64_t WidenedInteger(PropertyType type, uint64_t bits) {
  // The tags arithmetic and property values mostly have, first.
  if (type == PropertyType::S64) return int64_t(bits);
  if (type == PropertyType::S32) return int32_t(uint32_t(bits));
  const unsigned shift = kWidenShift[unsigned(type)];
  const uint64_t high = bits << shift;
  const bool isSigned = type >= PropertyType::S8 && type <= PropertyType::S64;
  return isSigned ? int64_t(high) >> shift : int64_t(high >> shift);
}

// The widened value of an integer, Bool zero-extended, 0 for anything else.
ORVEL_PROPERTY_INLINE int64_t Widened(const Scalar& s) {
  return IsIntegerType(s.type) || s.type == PropertyType::Bool ? WidenedInteger(s.type, s.bits) : 0;
}
ORVEL_PROPERTY_INLINE int64_t Widened(const Property& p) { return Widened(ScalarOf(p)); }

// Property::toS64(): a Float truncated toward zero, saturating, NaN 0.
ORVEL_PROPERTY_INLINE int64_t ToS64(const Scalar& s) {
  if (s.type != PropertyType::Float) return Widened(s);
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (s.f != s.f) return 0;  // NaN
  if (double(s.f) >= kTwoTo63) return INT64_MAX;
  if (double(s.f) <= -kTwoTo63) return INT64_MIN;
  return int64_t(s.f);
}

// Property::toFloat().
ORVEL_PROPERTY_INLINE float AsFloat(const Scalar& s) {
  if (s.type == PropertyType::Float) return s.f;
  if (s.type == PropertyType::U64) return float(s.bits);  // widened, it would turn negative
  return float(Widened(s));
}
ORVEL_PROPERTY_INLINE float AsFloat(const Property& p) { return AsFloat(ScalarOf(p)); }

// Property::toBool().
ORVEL_PROPERTY_INLINE bool Truth(const Scalar& s) {
  if (s.type == PropertyType::Bool) return uint8_t(s.bits) != 0;  // what conditions mostly test
  if (s.type == PropertyType::Float) return s.f != 0.0f;
  return Widened(s) != 0;  // widening keeps zero and non-zero apart; None, String give 0
}
ORVEL_PROPERTY_INLINE bool Truth(const Property& p) { return Truth(ScalarOf(p)); }

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "a value's words are little-endian");

// Overwrites *p with the value s stands for. The type word, padding and the
// union's first 8 bytes go in one 16-byte store, so that copying the whole
// value right afterwards reads it back without waiting (a load must find
// its bytes in a single store).
ORVEL_PROPERTY_INLINE void Store(const Scalar& s, Property* p) {
  uint64_t bits = s.bits;
  if (s.type == PropertyType::Float) {
    uint32_t f;
    std::memcpy(&f, &s.f, sizeof f);
    bits = f;
  }
  using Pair = uint64_t __attribute__((vector_size(16)));
  const Pair head = {uint64_t(s.type), bits};
  const Pair zero = {0, 0};
  unsigned char* bytes = reinterpret_cast<unsigned char*>(p);
  std::memcpy(bytes, &head, sizeof head);
  std::memcpy(bytes + 16, &zero, sizeof zero);
  std::memcpy(bytes + 32, &zero, 8);
}
static_assert(sizeof(Property) == 40, "Store writes 16 + 16 + 8 bytes");

enum class Arith { kAdd, kSubtract, kMultiply, kDivide };

ORVEL_PROPERTY_INLINE float ApplyFloat(Arith op, float a, float b) {
  switch (op) {
    case Arith::kAdd: return a + b;
    case Arith::kSubtract: return a - b;
    case Arith::kMultiply: return a * b;
    case Arith::kDivide: return a / b;
  }
  return 0.0f;
}

// Signed 64-bit arithmetic without the traps and undefined cases: + - * wrap
// (done on unsigned words), division by zero gives 0, INT64_MIN / -1 wraps.
// Quotients of 32-bit values take the much quicker 32-bit division.
ORVEL_PROPERTY_INLINE int64_t ApplyInteger(Arith op, int64_t a, int64_t b) {
  const uint64_t ua = uint64_t(a), ub = uint64_t(b);
  switch (op) {
    case Arith::kAdd: return int64_t(ua + ub);
    case Arith::kSubtract: return int64_t(ua - ub);
    case Arith::kMultiply: return int64_t(ua * ub);
    case Arith::kDivide:
      if (b == 0) return 0;
      if (b == -1) return int64_t(0 - ua);
      if (a == int32_t(a) && b == int32_t(b)) return int32_t(a) / int32_t(b);
      return a / b;
  }
  return 0;
}

// x % -1 is always 0, and INT64_MIN % -1 would trap.
ORVEL_PROPERTY_INLINE int64_t Remainder(int64_t a, int64_t b) {
  if (b == 0 || b == -1) return 0;
  if (a == int32_t(a) && b == int32_t(b)) return int32_t(a) % int32_t(b);
  return a % b;
}

// The tag of a scalar that stands for no value: what the functions below
// return when the operator has to decide with the whole values.
constexpr PropertyType kUnhandled = PropertyType(~0u);
ORVEL_PROPERTY_INLINE Scalar Unhandled() { return {kUnhandled, 0.0f, 0}; }

// + - * / of two numbers; Unhandled() when either side is no number.
ORVEL_PROPERTY_INLINE Scalar NumberArithmetic(Arith op, const Scalar& a, const Scalar& b) {
  if (a.type == PropertyType::Float) {
    if (b.type == PropertyType::Float) return FloatScalar(ApplyFloat(op, a.f, b.f));
    if (!IsIntegerType(b.type)) return Unhandled();
    return FloatScalar(ApplyFloat(op, a.f, AsFloat(b)));
  }
  if (!IsIntegerType(a.type)) return Unhandled();
  if (b.type == PropertyType::Float) return FloatScalar(ApplyFloat(op, AsFloat(a), b.f));
  if (!IsIntegerType(b.type)) return Unhandled();
  return S64Scalar(ApplyInteger(op, WidenedInteger(a.type, a.bits), WidenedInteger(b.type, b.bits)));
}

enum class Compare { kEqual, kLess, kGreater };

template <class T>
ORVEL_PROPERTY_INLINE bool Holds(Compare c, T a, T b) {
  return c == Compare::kEqual ? a == b : c == Compare::kLess ? a < b : a > b;
}

// Whether a == b, a < b or a > b holds for two numbers, in *holds: true;
// false when either side is no number.
ORVEL_PROPERTY_INLINE bool NumberCompared(Compare c, const Scalar& a, const Scalar& b, bool* holds) {
  if (a.type == PropertyType::Float) {
    if (b.type == PropertyType::Float) {
      *holds = Holds(c, a.f, b.f);
      return true;
    }
    if (!IsIntegerType(b.type)) return false;
    *holds = Holds(c, a.f, AsFloat(b));
    return true;
  }
  if (!IsIntegerType(a.type)) return false;
  if (b.type == PropertyType::Float) {
    *holds = Holds(c, AsFloat(a), b.f);
    return true;
  }
  if (!IsIntegerType(b.type)) return false;
  *holds = Holds(c, WidenedInteger(a.type, a.bits), WidenedInteger(b.type, b.bits));
  return true;
}

// Unary - of a number: U8/S8 give S8, U16/S16 S16, U32/S32 S32, U64/S64
// S64, each wrapping in its width; Float flips its sign. Unhandled() for
// anything else.
ORVEL_PROPERTY_INLINE Scalar Negated(const Scalar& a) {
  if (a.type == PropertyType::Float) return FloatScalar(-a.f);
  // Negation on unsigned words, so that it wraps within the operand's width.
  const uint64_t negated = uint64_t(0) - a.bits;
  switch (a.type) {
    case PropertyType::U8:
    case PropertyType::S8: return {PropertyType::S8, 0.0f, uint8_t(negated)};
    case PropertyType::U16:
    case PropertyType::S16: return {PropertyType::S16, 0.0f, uint16_t(negated)};
    case PropertyType::U32:
    case PropertyType::S32: return {PropertyType::S32, 0.0f, uint32_t(negated)};
    case PropertyType::U64:
    case PropertyType::S64: return {PropertyType::S64, 0.0f, negated};
    default: return Unhandled();
  }
}

#undef ORVEL_PROPERTY_INLINE

}  // namespace priv

}  // namespace orvel
