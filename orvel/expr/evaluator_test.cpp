#include "orvel/expr/evaluator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/expr/expr_nodes.h"

// Allocation counting for this binary: operator new and malloc are forwarded
// unchanged and counted only between StartCounting() and StopCounting(). Left
// out under AddressSanitizer, which owns both; the library's own allocator
// hook is counted there too.
namespace {
bool gCounting = false;
int gAllocations = 0;
void StartCounting() {
  gAllocations = 0;
  gCounting = true;
}
int StopCounting() {
  gCounting = false;
  return gAllocations;
}
}  // namespace

#if !defined(__SANITIZE_ADDRESS__)
// The replacements pair new with free on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size) noexcept {
  if (gCounting) ++gAllocations;
  return __libc_malloc(size);
}
void* operator new(size_t size) {
  if (gCounting) ++gAllocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#endif

namespace orvel {
namespace {

using P = Property;

// Writes node records the way the parser does and returns their references.
struct Nodes {
  OvOpList list;
  uint32_t push(uint32_t type, uint32_t size, std::initializer_list<uint32_t> words) {
    uint8_t* op = reinterpret_cast<uint8_t*>(list.allocOp(type, size));
    uint32_t at = 4;
    for (uint32_t w : words) {
      std::memcpy(op + at, &w, 4);
      at += 4;
    }
    return list.lastOpOffset();
  }
  // The offset the next record will get.
  uint32_t next() const { return list.totalUsedSize(); }
  uint32_t i64(int64_t v) { return push(kInt64, 12, {uint32_t(uint64_t(v)), uint32_t(uint64_t(v) >> 32)}); }
  uint32_t f32(float v) {
    uint32_t w;
    std::memcpy(&w, &v, 4);
    return push(kFloat, 8, {w});
  }
  uint32_t str(const char* s) {
    const uint32_t length = uint32_t(std::strlen(s));
    char* op = reinterpret_cast<char*>(list.allocOp(kString, OvStringNode::SizeFor(length)));
    std::memcpy(op + 4, s, length + 1);
    return list.lastOpOffset();
  }
  uint32_t prop(uint16_t id) { return push(kProperty, 8, {id}); }
  uint32_t exp(uint32_t code, std::initializer_list<uint32_t> refs) { return node(kExp1 - 1, code, refs); }
  uint32_t call(uint32_t id, std::initializer_list<uint32_t> refs) { return node(kFunc0, id, refs); }
  uint32_t node(uint32_t base, uint32_t code, std::initializer_list<uint32_t> refs) {
    uint8_t* op = reinterpret_cast<uint8_t*>(list.allocOp(base + uint32_t(refs.size()), 8 + 8 * uint32_t(refs.size())));
    std::memcpy(op + 4, &code, 4);
    uint32_t at = 8;
    for (uint32_t r : refs) {
      const uint64_t ref = r;
      std::memcpy(op + at, &ref, 8);
      at += 8;
    }
    return list.lastOpOffset();
  }
  uint8_t* bytes(uint32_t ref) { return reinterpret_cast<uint8_t*>(list.findOp(ref)); }
};

std::string Describe(const P& p) {
  char text[64];
  if (p.type == PropertyType::Float) snprintf(text, sizeof text, "%.9g", double(p.value.f));
  else if (p.type == PropertyType::String) snprintf(text, sizeof text, "'%.32s'", p.value.str);
  else snprintf(text, sizeof text, "%lld", static_cast<long long>(p.value.s64));
  return "type " + std::to_string(unsigned(p.type)) + " " + text;
}

bool Same(const P& a, const P& b) {
  return a.type == b.type && std::memcmp(&a.value, &b.value, sizeof a.value) == 0;
}

struct Row {
  const char* name;
  uint32_t (*build)(Nodes& n);  // writes the records, returns the root
  P expected;
};

TEST(ExpressionEvaluatorTest, EvaluatesNodesAndRejectsMalformedOnes) {
  OvPropertyStorage storage;
  storage.values[3] = P::MakeS32(33);
  const P none;
  const std::string s40(40, 'q');
  const Row rows[] = {
      {"1 + 2 * 3", [](Nodes& n) { return n.exp(kAdd, {n.i64(1), n.exp(kMultiply, {n.i64(2), n.i64(3)})}); },
       P::MakeS64(7)},
      {"7 / 2.0", [](Nodes& n) { return n.exp(kDivide, {n.i64(7), n.f32(2.0f)}); }, P::MakeFloat(3.5f)},
      {"'ab' + 5", [](Nodes& n) { return n.exp(kAdd, {n.str("ab"), n.i64(5)}); }, P::MakeString("ab5")},
      {"40-char literal", [](Nodes& n) { return n.str(std::string(40, 'q').c_str()); }, P::MakeString(s40.c_str())},
      {"!0", [](Nodes& n) { return n.exp(kLogicalNot, {n.i64(0)}); }, P::MakeBool(true)},
      {"1 ? 'y' : 'n'", [](Nodes& n) { return n.exp(kConditional, {n.i64(1), n.str("y"), n.str("n")}); },
       P::MakeString("y")},
      {"0.0 ? 'y' : 'n'", [](Nodes& n) { return n.exp(kConditional, {n.f32(0), n.str("y"), n.str("n")}); },
       P::MakeString("n")},
      {"{3}", [](Nodes& n) { return n.prop(3); }, P::MakeS32(33)},
      {"{41}", [](Nodes& n) { return n.prop(41); }, none},
      {"cos(0)", [](Nodes& n) { return n.call(kFuncCos, {n.i64(0)}); }, P::MakeFloat(1.0f)},
      {"PI", [](Nodes& n) { return n.call(kFuncPI, {}); }, P::MakeFloat(3.14159265f)},
      {"floor(-1.5)", [](Nodes& n) { return n.call(kFuncFloor, {n.f32(-1.5f)}); }, P::MakeFloat(-2.0f)},
      {"ceil(1.2)", [](Nodes& n) { return n.call(kFuncCeil, {n.f32(1.2f)}); }, P::MakeFloat(2.0f)},
      {"toIntS32(-7.9)", [](Nodes& n) { return n.call(kFuncToIntS32, {n.f32(-7.9f)}); }, P::MakeS32(-7)},
      {"toIntS32(1e20)", [](Nodes& n) { return n.call(kFuncToIntS32, {n.f32(1e20f)}); }, P::MakeS32(INT32_MAX)},
      {"toIntS32(-2^40)", [](Nodes& n) { return n.call(kFuncToIntS32, {n.i64(-(int64_t(1) << 40))}); },
       P::MakeS32(INT32_MIN)},
      {"textW(1): the client's", [](Nodes& n) { return n.call(kFuncTextW1, {n.i64(1)}); }, none},
      {"cos(): wrong count", [](Nodes& n) { return n.call(kFuncCos, {}); }, none},
      {"high word of a ref ignored", [](Nodes& n) {
         uint32_t r = n.exp(kNegate, {n.i64(5)});
         std::memset(n.bytes(r) + 12, 0xFF, 4);
         return r;
       }, P::MakeS64(-5)},
      {"'x' + -(self reference)", [](Nodes& n) { return n.exp(kAdd, {n.str("x"), n.exp(kNegate, {n.next()})}); },
       P::MakeString("x")},
      {"forward reference to a valid record", [](Nodes& n) {
         uint32_t r = n.exp(kNegate, {n.next() + OvExp1Node::kSize});
         n.i64(5);
         return r;
       }, none},
      {"1 ? 2 : forward reference",
       [](Nodes& n) { return n.exp(kConditional, {n.i64(1), n.i64(2), n.next() + 64}); }, none},
      {"reference past the list", [](Nodes& n) { n.i64(1); return 4096u; }, none},
      {"misaligned reference", [](Nodes& n) { return n.i64(0x9E9E9E9E) + 2; }, none},
      {"size past the buffer", [](Nodes& n) { uint32_t r = n.i64(1); n.bytes(r)[1] = 16; return r; }, none},
      {"size below the type's", [](Nodes& n) { return n.push(kExp2, 16, {kAdd, 0, 0}); }, none},
      {"flag bits wrong", [](Nodes& n) { uint32_t r = n.i64(1); n.bytes(r)[0] |= 0x40; return r; }, none},
      {"unknown type", [](Nodes& n) { return n.push(kDrawRect, 8, {1}); }, none},
      {"kExp2 with kNegate", [](Nodes& n) { return n.node(kExp1 - 1, kNegate, {n.i64(1), n.i64(2)}); }, none},
      {"kExp1 with kAdd", [](Nodes& n) { return n.exp(kAdd, {n.i64(1)}); }, none},
      {"kExp3 with kAdd", [](Nodes& n) { return n.exp(kAdd, {n.i64(1), n.i64(2), n.i64(3)}); }, none},
      {"kExp2 with code 99", [](Nodes& n) { return n.exp(99, {n.i64(1), n.i64(2)}); }, none},
      {"string without NUL", [](Nodes& n) { return n.push(kString, 8, {0x64636261}); }, none},
      {"'x' + malformed", [](Nodes& n) { return n.exp(kAdd, {n.str("x"), n.push(kString, 8, {0x64636261})}); },
       P::MakeString("x")},
  };
  for (const Row& r : rows) {
    Nodes n;
    const uint32_t root = r.build(n);
    OvExpressionEvaluator evaluator(&n.list, &storage);
    const P got = evaluator.evaluate(root);
    EXPECT_TRUE(Same(got, r.expected)) << r.name << ": got " << Describe(got) << ", expected " << Describe(r.expected);
  }
  EXPECT_EQ(PropertyType::None, OvExpressionEvaluator(nullptr).evaluate(0).type);
}

TEST(ExpressionEvaluatorTest, ReadsTheSingletonStoreUnlessGivenOne) {
  Nodes n;
  const uint32_t root = n.prop(2);
  OvPropertyStorage::getInstance()->values[2] = P::MakeU8(9);
  EXPECT_EQ(9, OvExpressionEvaluator(&n.list).evaluate(root).value.u8);
  OvPropertyStorage::getInstance()->reset();
}

// Records every call; answers S64 100 + function id.
struct CallLog {
  int calls = 0;
  uint32_t id = 0;
  unsigned count = 0;
  P args[kMaxFuncArgs];
  static P Call(void* context, uint32_t id, const P* args, unsigned count) {
    CallLog* log = static_cast<CallLog*>(context);
    ++log->calls;
    log->id = id;
    log->count = count;
    for (unsigned i = 0; i < count; ++i) log->args[i] = args[i];
    return P::MakeS64(100 + id);
  }
};

TEST(ExpressionEvaluatorTest, HandsCallsToTheClientAndTakesOnlyTheChosenBranch) {
  Nodes n;
  const uint32_t rgb = n.call(kFuncColorRGB, {n.i64(1), n.f32(2.5f), n.str("x")});
  const uint32_t cond = n.exp(kConditional, {n.i64(0), n.call(kFuncTextW0, {}), n.i64(7)});
  CallLog log;
  OvExpressionEvaluator evaluator(&n.list);
  evaluator.setFunctionCall(&CallLog::Call, &log);
  EXPECT_EQ(114, evaluator.evaluate(rgb).value.s64);
  EXPECT_EQ(1, log.calls);
  EXPECT_EQ(uint32_t(kFuncColorRGB), log.id);
  ASSERT_EQ(3u, log.count);
  EXPECT_EQ(1, log.args[0].value.s64);
  EXPECT_EQ(2.5f, log.args[1].value.f);
  EXPECT_STREQ("x", log.args[2].value.str);
  EXPECT_EQ(7, evaluator.evaluate(cond).value.s64);
  EXPECT_EQ(1, log.calls) << "the untaken branch's call ran";
  evaluator.setFunctionCall(nullptr, nullptr);
  EXPECT_EQ(PropertyType::None, evaluator.evaluate(rgb).type);
}

TEST(ExpressionEvaluatorTest, DepthAndWorkAreBounded) {
  // A chain of k negations puts the literal at depth k.
  for (unsigned k : {OvExpressionEvaluator::kMaxDepth - 1, OvExpressionEvaluator::kMaxDepth}) {
    Nodes n;
    uint32_t r = n.i64(1);
    for (unsigned i = 0; i < k; ++i) r = n.exp(kNegate, {r});
    const P got = OvExpressionEvaluator(&n.list).evaluate(r);
    EXPECT_EQ(k < OvExpressionEvaluator::kMaxDepth ? PropertyType::S64 : PropertyType::None, got.type) << k;
  }
  // Level i adds level i - 1 to itself: 2^(levels+1) - 1 records are read.
  for (unsigned levels : {15u, 16u, 60u}) {
    Nodes n;
    uint32_t r = n.i64(1);
    for (unsigned i = 0; i < levels; ++i) r = n.exp(kAdd, {r, r});
    const P got = OvExpressionEvaluator(&n.list).evaluate(r);
    if (levels == 15) EXPECT_EQ(int64_t(1) << 15, got.value.s64);
    else EXPECT_EQ(PropertyType::None, got.type) << levels;
  }
}

TEST(ExpressionEvaluatorTest, AllocatesNothing) {
  Nodes n;
  OvPropertyStorage storage;
  storage.values[1] = P::MakeFloat(1e30f);
  const uint32_t text = n.exp(kAdd, {n.str("w="), n.exp(kAdd, {n.prop(1), n.f32(0.125f)})});
  const uint32_t math = n.exp(kConditional,
                              {n.exp(kLess, {n.call(kFuncCos, {n.f32(1)}), n.i64(2)}),
                               n.exp(kModulo, {n.call(kFuncToIntS32, {n.f32(7.9f)}), n.i64(0)}), n.call(kFuncPI, {})});
  OvExpressionEvaluator evaluator(&n.list, &storage);
  testing::FailingAllocator failing(0);
  StartCounting();
  const P a = evaluator.evaluate(text);
  const P b = evaluator.evaluate(math);
  EXPECT_EQ(0, StopCounting());
  EXPECT_EQ(0, failing.allocations() + failing.failures());
  EXPECT_STREQ("w=1000000015047466219876688855", a.value.str);  // a number keeps its NUL
  EXPECT_EQ(0, b.value.s64);
  EXPECT_EQ(PropertyType::S64, b.type);
}

}  // namespace
}  // namespace orvel
