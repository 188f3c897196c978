// Property: the dynamically typed value of the expression language (a data
// property from the property store, a literal, or the result of an expression
// node), and its operators. Both ends of a layout evaluate with these rules,
// so their irregularities are kept on purpose (listed at each operator).
//
// Terms used below:
// - integer: U8 .. S64 (Bool is not an integer); number: an integer or Float.
// - widened: U8/U16/U32 zero-extended, S8/S16/S32 sign-extended, U64/S64 as
//   their 64 bits, all read as a signed 64-bit number (a U64 above 2^63-1 is
//   negative).
// - as float: integers and Bool (as an unsigned byte) converted to float,
//   Float itself, anything else 0.0.
// - truth: integers and Bool by being non-zero in their own width, Float by
//   being unequal to 0.0 (NaN is true); anything else false.
//
// Values are plain data: byte-copyable, no heap, no destructor work. No
// operator allocates, fails or traps; combinations without meaning give the
// empty value (None, every byte zero) or false. Where the hardware would trap
// or the language leaves the result undefined, the result is defined here:
// - integer / and % by zero give the S64 0;
// - INT64_MIN / -1 gives INT64_MIN, INT64_MIN % -1 gives 0;
// - + - * on integers wrap modulo 2^64;
// - a Float truncated to 64 bits saturates at INT64_MIN/INT64_MAX, NaN gives 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orvel/core/export.h"

namespace orvel {

// The type tag, the first word of every Property. Opaque (11) is reserved:
// nothing here produces it and no operator understands it.
enum class PropertyType : uint32_t {
  None = 0,
  U8 = 1,
  U16 = 2,
  U32 = 3,
  U64 = 4,
  S8 = 5,
  S16 = 6,
  S32 = 7,
  S64 = 8,
  Float = 9,
  String = 10,
  Opaque = 11,
  Bool = 12,
};

// Bytes of the inline text, terminating NUL included.
constexpr unsigned kPropertyStringSize = 32;
// Most characters a String holds.
constexpr unsigned kPropertyMaxStringLength = kPropertyStringSize - 1;

//   0 u32 type | 4 padding | 8 value union (32 bytes) | size 40, 8-aligned
struct ORVEL_API Property {
  union alignas(8) Value {
    char str[kPropertyStringSize];  // NUL-terminated within its 32 bytes
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    int8_t s8;
    int16_t s16;
    int32_t s32;
    int64_t s64;
    float f;
    uint8_t b;  // Bool: 0 or 1
  };

  PropertyType type;
  Value value;

  // The empty value: None, every byte zero.
  Property();

  // A value of each type; the rest of the record is zero.
  static Property MakeU8(uint8_t v);
  static Property MakeU16(uint16_t v);
  static Property MakeU32(uint32_t v);
  static Property MakeU64(uint64_t v);
  static Property MakeS8(int8_t v);
  static Property MakeS16(int16_t v);
  static Property MakeS32(int32_t v);
  static Property MakeS64(int64_t v);
  static Property MakeFloat(float v);
  static Property MakeBool(bool v);
  // A String of text's first 31 characters at most; null gives ''.
  static Property MakeString(const char* text);

  bool isString() const { return type == PropertyType::String; }
  bool isFloat() const { return type == PropertyType::Float; }
  // U8 .. S64; Bool is not an integer.
  bool isInteger() const { return type >= PropertyType::U8 && type <= PropertyType::S64; }
  // U8 .. Float.
  bool isAnyNumber() const { return type >= PropertyType::U8 && type <= PropertyType::Float; }

  // The widened value of an integer; Bool zero-extended; Float truncated toward
  // zero, saturating, NaN 0; 0 for None, String, Opaque and unknown tags.
  int64_t toS64() const;
  // The value as float (see above): 0.0 for None, String, Opaque, unknown tags.
  float toFloat() const;
  // The truth of the value (see above): always false for None, String, Opaque.
  bool toBool() const;

  // Writes the value as text into buf, at most size bytes, and stores the text
  // length (never above size) in *outLen. Numbers print through "%" + fmt +
  // conversion: U8/U16/U32 "u"; S8/S16/S32 "d"; S64 "d" of its low 32 bits
  // only; Float "f" (".2f" when fmt is null), always NUL-terminated, so at most
  // size - 1 characters. A String copies up to size characters, with a NUL
  // behind only when it is shorter (as strncpy). U64, Bool, Opaque, None and
  // unknown tags write nothing and give length 0. fmt (may be null) holds
  // printf flags, a width and a precision only ("08", ".3"): it is read up to
  // its first character that does not fit "[-+ #0]*[0-9]{0,2}(.[0-9]{0,2})?",
  // and the rest is ignored. A null buf is taken as size 0; outLen may be null.
  void toString(char* buf, unsigned* outLen, unsigned size, const char* fmt) const;
};

static_assert(offsetof(Property, type) == 0, "type is the first word");
static_assert(offsetof(Property, value) == 8, "the value union starts at 8");
static_assert(sizeof(Property::Value) == kPropertyStringSize, "the union is the 32-byte text");
static_assert(sizeof(Property) == 40, "Property is 40 bytes on every target");
static_assert(alignof(Property) == 8, "Property is 8-byte aligned");

// + : if either side is a String, the String of the left text then the right
// text (toString without fmt), cut at 31 characters; the left text takes at
// most 31 bytes, the right what is left, so a number behind 30 characters adds
// nothing (its NUL needs the last byte). Else a Float on the left, then on
// the right, gives Float (other side as float); else two integers give the
// wrapped S64 sum of the widened values; else None.
ORVEL_API Property operator+(const Property& a, const Property& b);
// - * / : the non-String rules of +. A String counts as 0.0 against a Float and
// gives None otherwise. Float division is IEEE; integer division truncates.
ORVEL_API Property operator-(const Property& a, const Property& b);
ORVEL_API Property operator*(const Property& a, const Property& b);
ORVEL_API Property operator/(const Property& a, const Property& b);
// % : two Floats give the Float fmodf; otherwise two numbers give the S64
// remainder of their toS64 values (7.9 % 2 is 1: mixing makes integers);
// anything else (a Bool too) None.
ORVEL_API Property operator%(const Property& a, const Property& b);
// Unary - : U8/S8 give S8 (wraps in 8 bits: -(U8 200) is S8 56), U16/S16 give
// S16, U32/S32 give S32, U64/S64 give S64, Float flips its sign; else None.
ORVEL_API Property operator-(const Property& a);
// ! : Bool, the negation of the truth (so !'abc' and !None are true).
ORVEL_API Property operator!(const Property& a);
// == : Bool, first rule that applies: left Float equals right as float; two
// Strings compare bytes; right Float equals left as float; two integers
// compare widened; else false. A Bool equals nothing but a Float.
ORVEL_API Property operator==(const Property& a, const Property& b);
// != : the negation of ==.
ORVEL_API Property operator!=(const Property& a, const Property& b);
// < > : Bool, the Float and integer rules of == with ordering; strings never
// order; NaN gives false.
ORVEL_API Property operator<(const Property& a, const Property& b);
ORVEL_API Property operator>(const Property& a, const Property& b);
// <= is !(a > b) and >= is !(a < b), always: 'a' <= 'b' and 'b' <= 'a' are
// both true, and NaN <= x is true.
ORVEL_API Property operator<=(const Property& a, const Property& b);
ORVEL_API Property operator>=(const Property& a, const Property& b);
// && || : Bool of the operands' truths (both are already evaluated).
ORVEL_API Property operator&&(const Property& a, const Property& b);
ORVEL_API Property operator||(const Property& a, const Property& b);

}  // namespace orvel
