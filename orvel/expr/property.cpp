#include "orvel/expr/property.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "orvel/expr/property_internal.h"

namespace orvel {

namespace {

// The printf format assembled by toString: "%", the accepted part of the
// caller's fmt (at most 5 flags + 2 width digits + "." + 2 precision digits),
// the conversion (at most ".2f") and a NUL: 15 bytes, well inside 32.
constexpr unsigned kFormatSize = 32;
constexpr unsigned kMaxFormatFlags = 5;
constexpr unsigned kMaxFormatDigits = 2;

}  // namespace

float Property::toFloat() const { return priv::AsFloat(*this); }

bool Property::toBool() const { return priv::Truth(*this); }

namespace {

using priv::Arith;
using priv::Compare;

// Steps shared by + - * /: a Float on the left, then on the right, decides a
// Float result; two integers an S64 one; anything else None.
Property Arithmetic(Arith op, const Property& a, const Property& b) {
  if (a.isFloat()) return Property::MakeFloat(priv::ApplyFloat(op, a.value.f, b.toFloat()));
  if (b.isFloat()) return Property::MakeFloat(priv::ApplyFloat(op, a.toFloat(), b.value.f));
  if (a.isInteger() && b.isInteger()) {
    return Property::MakeS64(priv::ApplyInteger(op, priv::Widened(a), priv::Widened(b)));
  }
  return Property();
}

// The rules of ==, < and >: Float left, two Strings (equality only), Float
// right, two integers, else false.
bool Compared(Compare c, const Property& a, const Property& b) {
  if (a.isFloat()) return priv::Holds(c, a.value.f, b.toFloat());
  if (a.isString() && b.isString()) {
    return c == Compare::kEqual && std::strncmp(a.value.str, b.value.str, kPropertyStringSize) == 0;
  }
  if (b.isFloat()) return priv::Holds(c, a.toFloat(), b.value.f);
  if (a.isInteger() && b.isInteger()) return priv::Holds(c, priv::Widened(a), priv::Widened(b));
  return false;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Appends to format at n the part of fmt that is flags, width and precision.
unsigned AppendFormatFlags(char* format, unsigned n, const char* fmt) {
  if (!fmt) return n;
  for (unsigned i = 0; i < kMaxFormatFlags && *fmt && std::strchr("-+ #0", *fmt); ++i) format[n++] = *fmt++;
  for (unsigned i = 0; i < kMaxFormatDigits && IsDigit(*fmt); ++i) format[n++] = *fmt++;
  if (*fmt == '.') {
    format[n++] = *fmt++;
    for (unsigned i = 0; i < kMaxFormatDigits && IsDigit(*fmt); ++i) format[n++] = *fmt++;
  }
  return n;
}

// Prints v through "%" + fmt + conversion into at most size bytes of buf;
// returns the length of the text left there.
template <class T>
unsigned PrintNumber(char* buf, unsigned size, const char* fmt, const char* conversion, T v) {
  char format[kFormatSize];
  unsigned n = 0;
  format[n++] = '%';
  n = AppendFormatFlags(format, n, fmt);
  while (*conversion) format[n++] = *conversion++;
  format[n] = '\0';
  int printed = std::snprintf(buf, size, format, v);
  if (printed < 0) {
    if (size > 0) buf[0] = '\0';
    return 0;
  }
  if (size == 0) return 0;
  return unsigned(printed) < size - 1 ? unsigned(printed) : size - 1;
}

}  // namespace

Property::Property() { std::memset(static_cast<void*>(this), 0, sizeof(*this)); }

#define ORVEL_PROPERTY_MAKER(Name, CType, Tag, field) \
  Property Property::Name(CType v) {                 \
    Property p;                                       \
    p.type = PropertyType::Tag;                       \
    p.value.field = v;                                \
    return p;                                         \
  }
ORVEL_PROPERTY_MAKER(MakeU8, uint8_t, U8, u8)
ORVEL_PROPERTY_MAKER(MakeU16, uint16_t, U16, u16)
ORVEL_PROPERTY_MAKER(MakeU32, uint32_t, U32, u32)
ORVEL_PROPERTY_MAKER(MakeU64, uint64_t, U64, u64)
ORVEL_PROPERTY_MAKER(MakeS8, int8_t, S8, s8)
ORVEL_PROPERTY_MAKER(MakeS16, int16_t, S16, s16)
ORVEL_PROPERTY_MAKER(MakeS32, int32_t, S32, s32)
ORVEL_PROPERTY_MAKER(MakeS64, int64_t, S64, s64)
ORVEL_PROPERTY_MAKER(MakeFloat, float, Float, f)
#undef ORVEL_PROPERTY_MAKER

Property Property::MakeBool(bool v) {
  Property p;
  p.type = PropertyType::Bool;
  p.value.b = v ? 1 : 0;
  return p;
}

Property Property::MakeString(const char* text) {
  Property p;
  p.type = PropertyType::String;
  if (text) std::memcpy(p.value.str, text, strnlen(text, kPropertyMaxStringLength));
  return p;
}

int64_t Property::toS64() const { return priv::ToS64(priv::ScalarOf(*this)); }

void Property::toString(char* buf, unsigned* outLen, unsigned size, const char* fmt) const {
  if (!buf) size = 0;
  unsigned length = 0;
  switch (type) {
    case PropertyType::U8: length = PrintNumber(buf, size, fmt, "u", unsigned(value.u8)); break;
    case PropertyType::U16: length = PrintNumber(buf, size, fmt, "u", unsigned(value.u16)); break;
    case PropertyType::U32: length = PrintNumber(buf, size, fmt, "u", unsigned(value.u32)); break;
    case PropertyType::S8: length = PrintNumber(buf, size, fmt, "d", int(value.s8)); break;
    case PropertyType::S16: length = PrintNumber(buf, size, fmt, "d", int(value.s16)); break;
    case PropertyType::S32:
    // Deliberately only the low word of an S64.
    case PropertyType::S64: length = PrintNumber(buf, size, fmt, "d", int32_t(uint32_t(value.u64))); break;
    case PropertyType::Float: length = PrintNumber(buf, size, fmt, fmt ? "f" : ".2f", double(value.f)); break;
    case PropertyType::String: {
      length = unsigned(strnlen(value.str, kPropertyMaxStringLength));
      if (length > size) length = size;
      std::memcpy(buf, value.str, length);
      if (length < size) buf[length] = '\0';
      break;
    }
    default: break;  // U64 and Bool deliberately have no text; the rest none either
  }
  if (outLen) *outLen = length;
}

Property operator+(const Property& a, const Property& b) {
  if (!a.isString() && !b.isString()) return Arithmetic(Arith::kAdd, a, b);
  Property r;
  r.type = PropertyType::String;
  unsigned left = 0, right = 0;
  a.toString(r.value.str, &left, kPropertyMaxStringLength, nullptr);
  b.toString(r.value.str + left, &right, kPropertyMaxStringLength - left, nullptr);
  r.value.str[left + right] = '\0';
  return r;
}

Property operator-(const Property& a, const Property& b) { return Arithmetic(Arith::kSubtract, a, b); }
Property operator*(const Property& a, const Property& b) { return Arithmetic(Arith::kMultiply, a, b); }
Property operator/(const Property& a, const Property& b) { return Arithmetic(Arith::kDivide, a, b); }

Property operator%(const Property& a, const Property& b) {
  if (a.isFloat() && b.isFloat()) return Property::MakeFloat(std::fmod(a.value.f, b.value.f));
  if (priv::IsNumberType(a.type) && priv::IsNumberType(b.type)) {
    return Property::MakeS64(priv::Remainder(a.toS64(), b.toS64()));
  }
  return Property();
}

Property operator-(const Property& a) {
  const priv::Scalar r = priv::Negated(priv::ScalarOf(a));
  if (r.type == priv::kUnhandled) return Property();
  Property result;
  priv::Store(r, &result);
  return result;
}

Property operator!(const Property& a) { return Property::MakeBool(!priv::Truth(a)); }

Property operator==(const Property& a, const Property& b) {
  return Property::MakeBool(Compared(Compare::kEqual, a, b));
}
Property operator!=(const Property& a, const Property& b) {
  return Property::MakeBool(!Compared(Compare::kEqual, a, b));
}
Property operator<(const Property& a, const Property& b) { return Property::MakeBool(Compared(Compare::kLess, a, b)); }
Property operator>(const Property& a, const Property& b) {
  return Property::MakeBool(Compared(Compare::kGreater, a, b));
}
Property operator<=(const Property& a, const Property& b) {
  return Property::MakeBool(!Compared(Compare::kGreater, a, b));
}
Property operator>=(const Property& a, const Property& b) {
  return Property::MakeBool(!Compared(Compare::kLess, a, b));
}
Property operator&&(const Property& a, const Property& b) {
  return Property::MakeBool(priv::Truth(a) && priv::Truth(b));
}
Property operator||(const Property& a, const Property& b) {
  return Property::MakeBool(priv::Truth(a) || priv::Truth(b));
}

}  // namespace orvel
