// Property operators (named edge cases, then every operator over every type
// pair against a model of the rules), conversions, toString and the store.
#include "orvel/expr/property.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "orvel/expr/property_storage.h"

namespace orvel {
namespace {

using T = PropertyType;
using P = Property;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

P Str(const std::string& s) { return P::MakeString(s.c_str()); }
P Int(int64_t v) { return P::MakeS64(v); }
P Flt(float v) { return P::MakeFloat(v); }
P Tag(T t) {
  P p;
  p.type = t;
  return p;
}

std::string Describe(const P& p) {
  char text[64] = "";
  if (p.type == T::Float) snprintf(text, sizeof text, "%g", double(p.value.f));
  else if (p.type == T::String) snprintf(text, sizeof text, "'%.32s'", p.value.str);
  else snprintf(text, sizeof text, "%lld", static_cast<long long>(p.value.s64));
  return "type " + std::to_string(unsigned(p.type)) + " " + text;
}

// Same type and same union bytes; any two NaNs count as the same.
bool Same(const P& a, const P& b) {
  if (a.type == T::Float && std::isnan(a.value.f)) return b.type == T::Float && std::isnan(b.value.f);
  return a.type == b.type && std::memcmp(&a.value, &b.value, sizeof a.value) == 0;
}

enum Op { kAdd, kSub, kMul, kDiv, kMod, kEq, kNe, kLt, kGt, kLe, kGe, kAnd, kOr, kNot, kNeg };
const char* const kOpNames[] = {"+", "-", "*", "/", "%", "==", "!=", "<", ">", "<=", ">=", "&&", "||", "!", "neg"};
using Binary = P (*)(const P&, const P&);
const Binary kApply[] = {
    [](const P& a, const P& b) { return a + b; },  [](const P& a, const P& b) { return a - b; },
    [](const P& a, const P& b) { return a * b; },  [](const P& a, const P& b) { return a / b; },
    [](const P& a, const P& b) { return a % b; },  [](const P& a, const P& b) { return a == b; },
    [](const P& a, const P& b) { return a != b; }, [](const P& a, const P& b) { return a < b; },
    [](const P& a, const P& b) { return a > b; },  [](const P& a, const P& b) { return a <= b; },
    [](const P& a, const P& b) { return a >= b; }, [](const P& a, const P& b) { return a && b; },
    [](const P& a, const P& b) { return a || b; }, [](const P& a, const P&) { return !a; },
    [](const P& a, const P&) { return -a; },
};

void Check(const P& a, Op op, const P& b, const P& want) {
  const P got = kApply[op](a, b);
  EXPECT_TRUE(Same(got, want)) << Describe(a) << " " << kOpNames[op] << " " << Describe(b) << " gave " << Describe(got)
                               << ", expected " << Describe(want);
}

TEST(PropertyTest, OperatorEdgeCases) {
  const std::string s30(30, 'a'), s31(31, 'b');
  const P t = P::MakeBool(true), f = P::MakeBool(false), none;
  const struct { P left; Op op; P right, expected; } rows[] = {
      {Str("ab"), kAdd, Int(5), Str("ab5")}, {Int(5), kAdd, Str("ab"), Str("5ab")},
      {Flt(1.5f), kAdd, Str("x"), Str("1.50x")}, {P::MakeU64(7), kAdd, Str("x"), Str("x")},
      {t, kAdd, Str("x"), Str("x")}, {Str(s30), kAdd, Str("xyz"), Str(s30 + "x")},
      {Str(s30), kAdd, Int(5), Str(s30)},  // the 5 needs a byte for its NUL too
      {Str(s31), kAdd, Str("xyz"), Str(s31)}, {Int(int64_t(1) << 40), kAdd, Str(""), Str("0")},
      {P::MakeU8(200), kAdd, P::MakeU8(100), Int(300)}, {P::MakeU8(200), kNeg, none, P::MakeS8(56)},
      {t, kAdd, Int(1), none}, {t, kAdd, Flt(1.0f), Flt(2.0f)}, {Int(7), kDiv, Int(2), Int(3)},
      {Int(-7), kDiv, Int(2), Int(-3)}, {Int(7), kDiv, Flt(2.0f), Flt(3.5f)}, {Flt(1.0f), kDiv, Int(0), Flt(kInf)},
      {Flt(7.9f), kMod, Int(2), Int(1)}, {Int(-7), kMod, Int(3), Int(-1)}, {Flt(7.5f), kMod, Flt(2.0f), Flt(1.5f)},
      {t, kMod, Int(2), none}, {P::MakeU64(UINT64_MAX), kLt, Int(0), t}, {P::MakeU64(UINT64_MAX), kEq, Int(-1), t},
      {P::MakeU8(255), kEq, P::MakeS32(255), t}, {P::MakeS8(-1), kEq, P::MakeU8(255), f}, {t, kEq, t, f},
      {t, kEq, Flt(1.0f), t}, {Str("abc"), kEq, Str("abc"), t}, {Str("abc"), kEq, Flt(0.0f), t},
      {Str("abc"), kLt, Str("abd"), f}, {Str("abc"), kLe, Str("abd"), t}, {Str("abd"), kLe, Str("abc"), t},
      {Flt(kNaN), kLe, Int(1), t}, {Int(1), kGe, Flt(kNaN), t}, {Str("abc"), kNot, none, t},
      {Str("abc"), kAnd, Int(1), f}, {Str("abc"), kOr, Int(1), t}, {Flt(kNaN), kAnd, Int(1), t},
      {Flt(kNaN), kNot, none, f},
      // The safe results: integer division by zero and INT64_MIN by -1, saturating float truncation, NaN as 0.
      {Int(7), kDiv, Int(0), Int(0)}, {Int(7), kMod, Int(0), Int(0)}, {Int(7), kMod, Flt(0.5f), Int(0)},
      {Int(INT64_MIN), kDiv, Int(-1), Int(INT64_MIN)}, {Int(INT64_MIN), kMod, Int(-1), Int(0)},
      {Flt(1e30f), kMod, Int(10), Int(7)}, {Flt(-1e30f), kMod, Int(10), Int(-8)}, {Flt(kNaN), kMod, Int(10), Int(0)},
      // Negation keeps the width, and INT64_MIN; unknown tags are no number.
      {P::MakeS8(-128), kNeg, none, P::MakeS8(-128)}, {P::MakeU16(1), kNeg, none, P::MakeS16(-1)},
      {P::MakeU32(0x80000000u), kNeg, none, P::MakeS32(INT32_MIN)}, {P::MakeU64(1), kNeg, none, Int(-1)},
      {Int(INT64_MIN), kNeg, none, Int(INT64_MIN)}, {Flt(2.0f), kNeg, none, Flt(-2.0f)}, {t, kNeg, none, none},
      {Str("1"), kNeg, none, none}, {Tag(T(99)), kAdd, Int(1), none}, {Tag(T(99)), kEq, Flt(0), t},
  };
  for (const auto& r : rows) Check(r.left, r.op, r.right, r.expected);
  const unsigned char zero[sizeof(P)] = {};
  const P empty = t + Int(1);
  EXPECT_EQ(0, std::memcmp(zero, &empty, sizeof(P))) << "None is every byte zero";
}

// A value of each type with its widened (or truncated), as float, truth and
// text values written out by hand.
struct Sample {
  P p;
  int64_t s64;
  float asFloat;
  bool truth;
  const char* text;
};

bool IsInt(T t) { return t >= T::U8 && t <= T::S64; }
bool IsNum(T t) { return IsInt(t) || t == T::Float; }

// The operator rules stated over Sample fields, independently of the library.
P Expected(Op op, const Sample& a, const Sample& b) {
  const T ta = a.p.type, tb = b.p.type;
  const float x = a.asFloat, y = b.asFloat;
  const bool anyFloat = ta == T::Float || tb == T::Float, ints = IsInt(ta) && IsInt(tb);
  if (op == kAnd || op == kOr) return P::MakeBool(op == kAnd ? a.truth && b.truth : a.truth || b.truth);
  if (op >= kEq) {  // <= and >= negate > and <, != negates ==
    const Op base = op == kNe ? kEq : op == kLe ? kGt : op == kGe ? kLt : op;
    bool r = false;
    if (anyFloat) r = base == kEq ? x == y : base == kLt ? x < y : x > y;
    else if (ta == T::String && tb == T::String) r = base == kEq && std::strcmp(a.text, b.text) == 0;
    else if (ints) r = base == kEq ? a.s64 == b.s64 : base == kLt ? a.s64 < b.s64 : a.s64 > b.s64;
    return P::MakeBool(base == op ? r : !r);
  }
  if (op == kMod) {
    if (ta == T::Float && tb == T::Float) return Flt(std::fmod(x, y));
    if (!IsNum(ta) || !IsNum(tb)) return P();
    return Int(b.s64 == 0 || b.s64 == -1 ? 0 : a.s64 % b.s64);
  }
  if (op == kAdd && (ta == T::String || tb == T::String)) return Str(std::string(a.text) + b.text);
  if (anyFloat) return Flt(op == kAdd ? x + y : op == kSub ? x - y : op == kMul ? x * y : x / y);
  if (!ints) return P();
  const uint64_t u = uint64_t(a.s64), v = uint64_t(b.s64);
  if (op == kDiv) return Int(b.s64 == 0 ? 0 : b.s64 == -1 ? int64_t(0 - u) : a.s64 / b.s64);
  return Int(int64_t(op == kAdd ? u + v : op == kSub ? u - v : u * v));
}

TEST(PropertyTest, EveryBinaryOperatorOverEveryTypePair) {
  const Sample samples[] = {
      {P(), 0, 0.0f, false, ""}, {P::MakeU8(200), 200, 200.0f, true, "200"}, {P::MakeU8(0), 0, 0.0f, false, "0"},
      {P::MakeU16(65535), 65535, 65535.0f, true, "65535"}, {P::MakeS16(-300), -300, -300.0f, true, "-300"},
      {P::MakeU32(4000000000u), 4000000000, 4e9f, true, "4000000000"}, {P::MakeS8(-7), -7, -7.0f, true, "-7"},
      {P::MakeU64(UINT64_MAX), -1, 18446744073709551616.0f, true, ""}, {P::MakeS32(3), 3, 3.0f, true, "3"},
      {Int(-1), -1, -1.0f, true, "-1"}, {Int(INT64_MIN), INT64_MIN, -9223372036854775808.0f, true, "0"},
      {Int((int64_t(1) << 40) + 5), (int64_t(1) << 40) + 5, 1099511627781.0f, true, "5"},
      {Flt(2.5f), 2, 2.5f, true, "2.50"}, {Flt(-7.9f), -7, -7.9f, true, "-7.90"}, {Flt(0.0f), 0, 0.0f, false, "0.00"},
      {Flt(kNaN), 0, kNaN, true, "nan"},
      {Str("ab"), 0, 0.0f, false, "ab"}, {Str(""), 0, 0.0f, false, ""}, {Tag(T::Opaque), 0, 0.0f, false, ""},
      {P::MakeBool(true), 1, 1.0f, true, ""}, {P::MakeBool(false), 0, 0.0f, false, ""},
  };
  for (const Sample& a : samples) {
    for (const Sample& b : samples) {
      for (Op op = kAdd; op <= kOr; op = Op(op + 1)) Check(a.p, op, b.p, Expected(op, a, b));
    }
    EXPECT_EQ(a.s64, a.p.toS64()) << Describe(a.p);
    EXPECT_TRUE(a.truth == a.p.toBool() && Same(Flt(a.asFloat), Flt(a.p.toFloat()))) << Describe(a.p);
    EXPECT_TRUE(Same(!a.p, P::MakeBool(!a.truth))) << Describe(a.p);
  }
  // Out-of-range floats saturate and NaN truncates to 0; unknown tags are 0.
  EXPECT_EQ((std::vector<int64_t>{Flt(1e30f).toS64(), Flt(-1e30f).toS64(), Flt(kNaN).toS64(), Tag(T(99)).toS64()}),
            (std::vector<int64_t>{INT64_MAX, INT64_MIN, 0, 0}));
  EXPECT_TRUE(P::MakeU8(1).isInteger() && !P::MakeBool(true).isInteger() && !Flt(1).isInteger());
  EXPECT_STREQ(std::string(31, 'z').c_str(), Str(std::string(40, 'z')).value.str);
  EXPECT_STREQ("", P::MakeString(nullptr).value.str);
}

TEST(PropertyTest, ToStringFormats) {
  // The expected text, then its NUL when it fits; the rest of the buffer stays '#'.
  const struct { P value; unsigned size; const char* fmt; const char* text; unsigned length; } rows[] = {
      {Flt(3.0f), 32, nullptr, "3.00", 4}, {Flt(3.0f), 32, ".0", "3", 1}, {P::MakeU64(7), 32, nullptr, "", 0},
      {Flt(1.5f), 32, ".99999", "1.50000000000000000000000000000", 31},  // precision capped at 2 digits
      {P::MakeBool(true), 32, nullptr, "", 0}, {P::MakeU8(200), 32, "05", "00200", 5},
      {P::MakeU32(4000000000u), 32, nullptr, "4000000000", 10}, {P::MakeS16(-300), 32, nullptr, "-300", 4},
      {Int((int64_t(1) << 40) + 7), 32, nullptr, "7", 1}, {Int(-1), 32, "+", "-1", 2},
      {P::MakeS32(123456), 4, nullptr, "123", 3}, {P::MakeS32(5), 0, nullptr, "", 0},
      {P::MakeS32(5), 32, "-3s%n", "5  ", 3},  // only flags, width and precision are taken
      {Str("abcdef"), 3, nullptr, "abc", 3},    // full: no NUL, as strncpy
      {Str("ab"), 8, nullptr, "ab", 2},
  };
  for (const auto& r : rows) {
    char buf[40];
    std::memset(buf, '#', sizeof buf);
    unsigned length = 99;
    r.value.toString(buf, &length, r.size, r.fmt);
    std::string expected = r.text;
    if (r.length > 0 && r.length < r.size) expected.push_back('\0');
    EXPECT_EQ(expected + '#', std::string(buf, expected.size() + 1)) << Describe(r.value);
    EXPECT_EQ(r.length, length) << Describe(r.value);
  }
  unsigned length = 99;
  Int(5).toString(nullptr, &length, 10, nullptr);
  EXPECT_EQ(0u, length);
}

// Serves id * 10 as an S32 and records every fetch.
class RecordingClient : public OvPropertyClient {
 public:
  explicit RecordingClient(uint16_t count) : OvPropertyClient(count) {}
  void fetchProperty(unsigned short id, Property* slot) override {
    fetched.push_back(id);
    *slot = P::MakeS32(id * 10);
  }
  std::vector<unsigned> fetched;
};

TEST(PropertyStorageTest, FetchesIdsBelowTheCountAndResetKeepsTheClient) {
  const unsigned char zero[sizeof(P)] = {};
  OvPropertyStorage storage;
  for (const P& slot : storage.values) EXPECT_EQ(0, std::memcmp(zero, &slot, sizeof slot));
  RecordingClient client(5);
  storage.client = &client;
  EXPECT_TRUE(storage.get(4) == &storage.values[4] && storage.get(5) == &storage.values[5]);
  storage.maybeFetchPropertyFromClient(2);
  storage.maybeFetchPropertyFromClient(7);
  EXPECT_EQ((std::vector<unsigned>{4, 2}), client.fetched);
  EXPECT_TRUE(storage.values[4].value.s32 == 40 && storage.values[2].value.s32 == 20);
  storage.values[9] = Str("a long text that fills the slot");
  storage.reset();
  EXPECT_EQ(&client, storage.client);
  for (const P& slot : storage.values) EXPECT_EQ(0, std::memcmp(zero, &slot, sizeof slot));
  EXPECT_EQ(OvPropertyStorage::getInstance(), OvPropertyStorage::getInstance());
  // Ids past the table fetch nothing and read a zeroed scratch slot.
  client.propertyCount = 0xFFFF;
  for (unsigned short id : {41, 100, 0xFFFF}) {
    P* slot = storage.get(id);
    ASSERT_TRUE(slot != nullptr && (slot < storage.values || slot >= storage.values + OvPropertyStorage::kSlotCount));
    EXPECT_EQ(0, std::memcmp(zero, slot, sizeof *slot)) << id;
    *slot = Int(-1);  // a caller scribbling on it does not leak into the next read
    storage.maybeFetchPropertyFromClient(id);
  }
  EXPECT_EQ((std::vector<unsigned>{4, 2}), client.fetched);
  for (const P& slot : storage.values) EXPECT_EQ(0, std::memcmp(zero, &slot, sizeof slot));
}

TEST(PropertyStorageTest, ClientLayoutIsCountBehindTheVtableAndFetchFirst) {
  RecordingClient client(3);
  const char* base = reinterpret_cast<const char*>(static_cast<OvPropertyClient*>(&client));
  EXPECT_EQ(ptrdiff_t(sizeof(void*)), reinterpret_cast<const char*>(&client.propertyCount) - base);
  using Fetch = void (*)(OvPropertyClient*, unsigned short, P*);  // the first entry (Itanium/ARM C++ ABI)
  P slot;
  (**reinterpret_cast<Fetch* const*>(base))(&client, 2, &slot);
  EXPECT_EQ(20, slot.value.s32);
}

}  // namespace
}  // namespace orvel
