// The evaluator over parsed expressions and over hostile records.
#include "orvel/expr/evaluator.h"
#include "orvel/expr/expr_test_helpers_internal.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/expr/expression_ops.h"
#include "orvel/expr/parser_context_internal.h"

// Allocation counting for this binary: operator new and malloc are forwarded
// unchanged and counted only while gCounting is set. Left out under
// AddressSanitizer, which owns both; the library's allocator hook is counted
// there too.
namespace {
bool gCounting = false;
int gAllocations = 0;
}  // namespace

#if !defined(__SANITIZE_ADDRESS__)
// The replacements pair new with free on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size) noexcept { return gAllocations += gCounting, __libc_malloc(size); }
void* operator new(size_t size) {
  gAllocations += gCounting;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#endif

namespace orvel {
namespace {

using P = Property;

using testing::ParseExpression;

// Writes records as the parser would, and hostile ones that it never writes.
struct Nodes {
  OvOpList list;
  uint32_t push(uint32_t type, uint32_t size, const std::vector<uint32_t>& words) {
    uint8_t* op = reinterpret_cast<uint8_t*>(list.allocOp(type, size));
    std::memcpy(op + 4, words.data(), 4 * words.size());
    return list.lastOpOffset();
  }
  uint32_t next() const { return list.totalUsedSize(); }  // the offset the next record gets
  uint32_t i64(int64_t v) { return push(kInt64, 12, {uint32_t(uint64_t(v)), uint32_t(uint64_t(v) >> 32)}); }
  uint32_t str(const std::string& s) {
    std::vector<uint32_t> words((s.size() + 4) / 4);
    std::memcpy(words.data(), s.c_str(), s.size());
    return push(kString, OvStringNode::SizeFor(uint32_t(s.size())), words);
  }
  uint32_t node(uint32_t base, uint32_t code, std::initializer_list<uint32_t> refs) {
    std::vector<uint32_t> words{code};
    for (uint32_t r : refs) words.insert(words.end(), {r, 0});
    return push(base + uint32_t(refs.size()), 8 + 8 * uint32_t(refs.size()), words);
  }
  uint32_t exp(uint32_t code, std::initializer_list<uint32_t> refs) { return node(kExp1 - 1, code, refs); }
  uint8_t* bytes(uint32_t ref) { return reinterpret_cast<uint8_t*>(list.findOp(ref)); }
};

std::string Describe(const P& p) {
  char text[64];
  if (p.type == PropertyType::Float) snprintf(text, sizeof text, "%.9g", double(p.value.f));
  else if (p.type == PropertyType::String) snprintf(text, sizeof text, "'%.32s'", p.value.str);
  else snprintf(text, sizeof text, "%lld", static_cast<long long>(p.value.s64));
  return "type " + std::to_string(unsigned(p.type)) + " " + text;
}

// Parsed expressions and records written by hand, well-formed and hostile,
// with what they evaluate to (property 3 holds S32 33).
struct Row {
  const char* text;  // parsed, unless build writes the records and returns the root
  P expected;
  uint32_t (*build)(Nodes& n) = nullptr;
};

const std::vector<Row>& Rows() {
  const P none;
  static const std::vector<Row> rows = {
      {"1 + 2 * 3", P::MakeS64(7)}, {"7 / 2.0", P::MakeFloat(3.5f)}, {"\"ab\" + 5", P::MakeString("ab5")},
      {"!0", P::MakeBool(true)}, {"1 ? \"y\" : \"n\"", P::MakeString("y")}, {"0.0 ? \"y\" : \"n\"", P::MakeString("n")},
      {"{3}", P::MakeS32(33)}, {"{41}", none}, {"cos(0)", P::MakeFloat(1.0f)}, {"PI", P::MakeFloat(3.14159265f)},
      {"floor(-1.5)", P::MakeFloat(-2.0f)}, {"ceil(1.2)", P::MakeFloat(2.0f)}, {"toIntS32(-7.9)", P::MakeS32(-7)},
      {"toIntS32(1e20)", P::MakeS32(INT32_MAX)}, {"toIntS32(-1099511627776)", P::MakeS32(INT32_MIN)},
      {"textW(1)", none},  // the client's
      {"cos(): wrong count", none, [](Nodes& n) { return n.node(kFunc0, kFuncCos, {}); }},
      {"40-char literal", P::MakeString("qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq"),
       [](Nodes& n) { return n.str(std::string(40, 'q')); }},
      {"high word of a ref ignored", P::MakeS64(-5),
       [](Nodes& n) { return n.push(kExp1, 16, {kNegate, n.i64(5), ~0u}); }},
      {"'x' + -(self reference)", P::MakeString("x"),
       [](Nodes& n) { return n.exp(kAdd, {n.str("x"), n.exp(kNegate, {n.next()})}); }},
      {"forward reference to a valid record", none, [](Nodes& n) {
         const uint32_t r = n.exp(kNegate, {n.next() + OvExp1Node::kSize});
         return n.i64(5), r;
       }},
      {"1 ? 2 : forward reference", none,
       [](Nodes& n) { return n.exp(kConditional, {n.i64(1), n.i64(2), n.next() + 64}); }},
      {"reference past the list", none, [](Nodes& n) { return n.i64(1) + 4096; }},
      {"misaligned reference", none, [](Nodes& n) { return n.i64(0x9E9E9E9E) + 2; }},
      {"size past the buffer", none, [](Nodes& n) { uint32_t r = n.i64(1); n.bytes(r)[1] = 16; return r; }},
      {"size below the type's", none, [](Nodes& n) { return n.push(kExp2, 16, {kAdd, 0, 0}); }},
      {"flag bits wrong", none, [](Nodes& n) { uint32_t r = n.i64(1); n.bytes(r)[0] |= 0x40; return r; }},
      {"unknown type", none, [](Nodes& n) { return n.push(kDrawRect, 8, {1}); }},
      {"kExp2 with kNegate", none, [](Nodes& n) { return n.node(kExp1 - 1, kNegate, {n.i64(1), n.i64(2)}); }},
      {"kExp1 with kAdd", none, [](Nodes& n) { return n.exp(kAdd, {n.i64(1)}); }},
      {"kExp2 with code 99", none, [](Nodes& n) { return n.exp(99, {n.i64(1), n.i64(2)}); }},
      {"string without NUL", none, [](Nodes& n) { return n.push(kString, 8, {0x64636261}); }},
      {"'x' + malformed", P::MakeString("x"),
       [](Nodes& n) { return n.exp(kAdd, {n.str("x"), n.push(kString, 8, {0x64636261})}); }},
  };
  return rows;
}

TEST(ExpressionEvaluatorTest, EvaluatesNodesAndRejectsMalformedOnes) {
  OvPropertyStorage storage;
  storage.values[3] = P::MakeS32(33);
  for (const Row& r : Rows()) {
    Nodes n;
    const uint32_t root = r.build ? r.build(n) : ParseExpression(r.text, &n.list);
    const P got = OvExpressionEvaluator(&n.list, &storage).evaluate(root);
    EXPECT_TRUE(got.type == r.expected.type && std::memcmp(&got.value, &r.expected.value, sizeof got.value) == 0)
        << r.text << ": got " << Describe(got) << ", expected " << Describe(r.expected);
  }
  EXPECT_EQ(PropertyType::None, OvExpressionEvaluator(nullptr).evaluate(0).type);
  // Without a store of its own the evaluator reads the singleton.
  Nodes n;
  const uint32_t root = ParseExpression("{2}", &n.list);
  OvPropertyStorage::getInstance()->values[2] = P::MakeU8(9);
  EXPECT_EQ(9, OvExpressionEvaluator(&n.list).evaluate(root).value.u8);
  OvPropertyStorage::getInstance()->reset();
}

TEST(ExpressionEvaluatorTest, HandsCallsToTheClientAndTakesOnlyTheChosenBranch) {
  OvOpList list;
  const uint32_t rgb = ParseExpression("colorRGB(1, 2.5, \"x\")", &list), cond = ParseExpression("0 ? textW : 7", &list);
  OvExpressionEvaluator evaluator(&list);
  std::vector<std::vector<P>> calls;  // each: the function id as a U32, then the arguments
  evaluator.setFunctionCall([](void* context, uint32_t id, const P* args, unsigned count) {
    auto* calls = static_cast<std::vector<std::vector<P>>*>(context);
    calls->push_back({P::MakeU32(id)});
    calls->back().insert(calls->back().end(), args, args + count);
    return P::MakeS64(100 + id);
  }, &calls);
  EXPECT_EQ(114, evaluator.evaluate(rgb).value.s64);
  EXPECT_EQ(7, evaluator.evaluate(cond).value.s64);
  ASSERT_EQ(1u, calls.size()) << "the untaken branch's call ran";
  ASSERT_EQ(4u, calls[0].size());
  EXPECT_TRUE(calls[0][0].value.u32 == kFuncColorRGB && calls[0][1].value.s64 == 1 && calls[0][2].value.f == 2.5f);
  EXPECT_STREQ("x", calls[0][3].value.str);
  evaluator.setFunctionCall(nullptr, nullptr);
  EXPECT_EQ(PropertyType::None, evaluator.evaluate(rgb).type);
}

TEST(ExpressionEvaluatorTest, DepthAndWorkAreBounded) {
  // k negations put the literal at depth k.
  for (unsigned k : {OvExpressionEvaluator::kMaxDepth - 1, OvExpressionEvaluator::kMaxDepth}) {
    OvOpList list;
    const P got = OvExpressionEvaluator(&list).evaluate(ParseExpression(std::string(k, '-') + "1", &list));
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

// The same type and union bytes.
bool Same(const P& a, const P& b) { return a.type == b.type && std::memcmp(&a.value, &b.value, sizeof a.value) == 0; }

// N negations of a literal: they fold into one step, so depth alone decides.
template <unsigned N>
uint32_t Negations(Nodes& n) {
  uint32_t r = n.i64(7);
  for (unsigned i = 0; i < N; ++i) r = n.exp(kNegate, {r});
  return r;
}

// Level i adds level i - 1 to itself: 2^(levels+1) - 1 records are read.
template <unsigned kLevels>
uint32_t Doublings(Nodes& n) {
  uint32_t r = n.i64(1);
  for (unsigned i = 0; i < kLevels; ++i) r = n.exp(kAdd, {r, r});
  return r;
}

// A prepared program gives what the walk gives: every row above, literal-only
// parts, the depth and work limits on both sides of their edges, and calls
// with their logs.
TEST(ExpressionEvaluatorTest, PreparedProgramsGiveWhatTheWalkGives) {
  constexpr unsigned kDepth = OvExpressionEvaluator::kMaxDepth;
  std::vector<Row> cases = Rows();
  for (const char* text : {"- - -1 + {3} * 2", "{3} > 10 ? {3} : -{3}", "\"a\" + 1", "0.0 ? {3} : -(2 * 3)"}) {
    cases.push_back({text, P()});
  }
  cases.push_back({"127 negations", P(), Negations<kDepth - 1>});
  cases.push_back({"128 negations", P(), Negations<kDepth>});
  cases.push_back({"15 doublings", P(), Doublings<15>});
  cases.push_back({"16 doublings", P(), Doublings<16>});
  cases.push_back({"60 doublings", P(), Doublings<60>});
  OvPropertyStorage storage;
  storage.values[3] = P::MakeS32(33);
  for (const Row& r : cases) {
    Nodes n;
    const uint32_t root = r.build ? r.build(n) : ParseExpression(r.text, &n.list);
    OvExpressionEvaluator evaluator(&n.list, &storage);
    OvExpressionProgram program;
    const bool flattened = evaluator.prepare(root, &program);
    const P walked = evaluator.evaluate(root), run = evaluator.evaluate(program);
    EXPECT_TRUE(Same(walked, run)) << r.text << ": walked " << Describe(walked) << ", prepared " << Describe(run);
    // Only the walk's own limits make it fall back.
    const std::string text = r.text;
    EXPECT_EQ(text != "128 negations" && text != "16 doublings" && text != "60 doublings", flattened) << text;
  }

  OvOpList list;
  const uint32_t roots[] = {ParseExpression("colorRGB(1, 2.5, \"x\") + {3}", &list), ParseExpression("0 ? textW : 7", &list),
                            ParseExpression("1 ? textX(cos({3})) : 2 * str(1, 2)", &list)};
  std::vector<std::vector<P>> calls[2];  // walked, prepared: each the function id as a U32, then the arguments
  for (int prepared = 0; prepared < 2; ++prepared) {
    OvExpressionEvaluator evaluator(&list, &storage);
    evaluator.setFunctionCall([](void* context, uint32_t id, const P* args, unsigned count) {
      auto* log = static_cast<std::vector<std::vector<P>>*>(context);
      log->push_back({P::MakeU32(id)});
      log->back().insert(log->back().end(), args, args + count);
      return P::MakeS64(100 + id);
    }, &calls[prepared]);
    for (uint32_t root : roots) {
      OvExpressionProgram program;
      ASSERT_TRUE(evaluator.prepare(root, &program));
      calls[prepared].push_back({prepared ? evaluator.evaluate(program) : evaluator.evaluate(root)});
    }
  }
  ASSERT_EQ(calls[0].size(), calls[1].size());
  for (size_t i = 0; i < calls[0].size(); ++i) {
    ASSERT_EQ(calls[0][i].size(), calls[1][i].size()) << "call " << i;
    for (size_t j = 0; j < calls[0][i].size(); ++j) EXPECT_TRUE(Same(calls[0][i][j], calls[1][i][j])) << i << ", " << j;
  }
}

TEST(ExpressionEvaluatorTest, AllocatesNothing) {
  OvOpList list;
  OvPropertyStorage storage;
  storage.values[1] = P::MakeFloat(1e30f);
  const uint32_t text = ParseExpression("\"w=\" + ({1} + 0.125)", &list);
  const uint32_t math = ParseExpression("cos(1) < 2 ? toIntS32(7.9) % 0 : PI", &list);
  OvExpressionEvaluator evaluator(&list, &storage);
  OvExpressionProgram programs[2];
  testing::FailingAllocator failing(0);
  gAllocations = 0, gCounting = true;
  const P a = evaluator.evaluate(text);
  const P b = evaluator.evaluate(math);
  const bool prepared = evaluator.prepare(text, &programs[0]) && evaluator.prepare(math, &programs[1]);
  const P c = evaluator.evaluate(programs[0]);
  const P d = evaluator.evaluate(programs[1]);
  gCounting = false;
  EXPECT_EQ(0, gAllocations);
  EXPECT_EQ(0, failing.allocations() + failing.failures());
  EXPECT_STREQ("w=1000000015047466219876688855", a.value.str);  // a number keeps its NUL
  EXPECT_TRUE(b.type == PropertyType::S64 && b.value.s64 == 0);
  EXPECT_TRUE(prepared && Same(a, c) && Same(b, d));
}

}  // namespace
}  // namespace orvel
