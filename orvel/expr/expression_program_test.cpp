// Prepared programs against the tree walk: every operator over every pair of
// value types in every place an operand can come from, the differential
// corpus, the capacities, the order of fetches and calls, and misuse.
#include "orvel/expr/expression_program.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "orvel/expr/evaluator.h"
#include "orvel/expr/expr_test_helpers_internal.h"
#include "orvel/expr/parser_context_internal.h"

namespace orvel {
namespace {

using P = Property;

using testing::ParseExpression;

// Same type and union bytes.
bool Same(const P& a, const P& b) { return a.type == b.type && std::memcmp(&a.value, &b.value, sizeof a.value) == 0; }

std::string Describe(const P& p) {
  std::string bytes;
  char hex[4];
  for (unsigned i = 0; i < 16; ++i) snprintf(hex, sizeof hex, "%02x", unsigned(uint8_t(p.value.str[i]))), bytes += hex;
  return "type " + std::to_string(unsigned(p.type)) + " bytes " + bytes;
}

P Tagged(PropertyType type, uint64_t bits) {
  P p;
  p.type = type;
  p.value.u64 = bits;
  return p;
}

// Values of every type, with the edges the inline paths treat specially:
// widening, U64 above 2^63, NaN, saturation, and bytes behind the value.
std::vector<P> Values() {
  P floatWithTail = P::MakeFloat(2.0f), s32WithTail = P::MakeS32(-9);
  std::memset(floatWithTail.value.str + 12, 0x5A, 20);
  std::memset(s32WithTail.value.str + 4, 0xA5, 28);
  return {P::MakeFloat(1.5f),
          P::MakeFloat(-0.0f),
          P::MakeFloat(std::numeric_limits<float>::quiet_NaN()),
          P::MakeFloat(3e38f),
          P::MakeFloat(-7.25f),
          P::MakeS32(-7),
          P::MakeS32(0),
          P::MakeU8(200),
          P::MakeU16(65535),
          P::MakeU32(4000000000u),
          P::MakeU64((uint64_t(1) << 63) + 5),
          P::MakeS8(-3),
          P::MakeS16(-300),
          P::MakeS64(INT64_MIN),
          P::MakeS64(-1),
          P::MakeS64(3),
          P::MakeBool(true),
          P::MakeBool(false),
          P::MakeString("ab"),
          P(),
          Tagged(PropertyType::Opaque, 1),
          Tagged(PropertyType(99), 1),
          floatWithTail,
          s32WithTail};
}

// Each template with @ replaced by each binary operator, then the unary ones:
// operands on the stack, held in registers, literal or read, left and right.
const char* const kBinaryTemplates[] = {
    "{1} @ {2}",     "{1} @ 2.5",         "{1} @ 3",          "2 @ {2}",           "-{1} @ {2}",
    "{1} @ -{2}",    "-{1} @ -{2}",       "({1} @ {2}) @ {1}", "({1} @ {2}) @ ({2} @ {1})",
    "!{1} @ {2}",    "({1} ? {2} : {1}) @ 1.5", "cos({1}) @ toIntS32({2})",
};
const char* const kOperators[] = {"+", "-", "*", "/", "%", "==", "!=", "<", ">", "<=", ">=", "&&", "||"};
const char* const kUnaryTexts[] = {"{1}", "-{1}", "!{1}", "- -{1}", "{1} ? {2} : 7", "!{1} ? 1 : {2}",
                                   "cos({1})", "sin({2})", "floor({1})", "ceil({2})", "toIntS32({1})", "PI + {1}"};

TEST(ExpressionProgramTest, EveryOperatorOverEveryPairOfTypesAsTheWalk) {
  std::vector<std::string> texts(std::begin(kUnaryTexts), std::end(kUnaryTexts));
  for (const char* pattern : kBinaryTemplates) {
    for (const char* op : kOperators) {
      std::string text = pattern;
      for (size_t at; (at = text.find('@')) != std::string::npos;) text.replace(at, 1, op);
      texts.push_back(text);
    }
  }
  OvOpList list;
  OvPropertyStorage storage;
  OvExpressionEvaluator evaluator(&list, &storage);
  std::vector<uint32_t> roots;
  for (const std::string& text : texts) roots.push_back(ParseExpression(text, &list));
  std::vector<OvExpressionProgram> programs(roots.size());
  for (size_t i = 0; i < roots.size(); ++i) ASSERT_TRUE(evaluator.prepare(roots[i], &programs[i])) << texts[i];

  const std::vector<P> values = Values();
  int failures = 0;
  for (size_t a = 0; a < values.size(); ++a) {
    for (size_t b = 0; b < values.size(); ++b) {
      storage.values[1] = values[a];
      storage.values[2] = values[b];
      for (size_t i = 0; i < roots.size() && failures < 20; ++i) {
        const P walked = evaluator.evaluate(roots[i]), run = evaluator.evaluate(programs[i]);
        if (!Same(walked, run)) {
          ++failures;
          ADD_FAILURE() << texts[i] << " with {1} = value " << a << ", {2} = value " << b << "\n  walked "
                        << Describe(walked) << "\n  prepared " << Describe(run);
        }
      }
    }
  }
}

// The rows of the differential test, as text only.
struct TextRow {
  const char* text;
};
template <typename T>
constexpr TextRow ExpressionRow(const char* text, T) {
  return {text};
}
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wint-in-bool-context"
constexpr TextRow kCorpus[] = {
#include "orvel/expr/expression_cases_test.inc"
};
#pragma GCC diagnostic pop

TEST(ExpressionProgramTest, DifferentialCorpusAsTheWalk) {
  OvOpList list;
  OvExpressionEvaluator evaluator(&list);
  unsigned flattened = 0;
  for (const TextRow& row : kCorpus) {
    const uint32_t root = ParseExpression(row.text, &list);
    OvExpressionProgram program;
    flattened += evaluator.prepare(root, &program);
    const P walked = evaluator.evaluate(root), run = evaluator.evaluate(program);
    EXPECT_TRUE(Same(walked, run)) << row.text << "\n  walked " << Describe(walked) << "\n  prepared " << Describe(run);
  }
  EXPECT_EQ(sizeof kCorpus / sizeof kCorpus[0], flattened) << "literal-only rows all fold";
}

// n terms joined by op, each term made by term(i).
template <class Term>
std::string Joined(unsigned n, const char* op, Term term) {
  std::string text = term(0);
  for (unsigned i = 1; i < n; ++i) text += std::string(" ") + op + " " + term(i);
  return text;
}

TEST(ExpressionProgramTest, LargerExpressionsFallBackToTheWalk) {
  const auto property = [](unsigned i) { return "{" + std::to_string(1 + i % 8) + "}"; };
  const auto literal = [](unsigned i) { return std::to_string(i) + ".5"; };
  const auto nested = [](unsigned depth) {
    std::string text = "{1}";
    for (unsigned i = 0; i < depth; ++i) text = "{2} - (" + text + ")";
    return text;
  };
  const struct {
    std::string text;
    bool flattened;
  } rows[] = {
      // A sum of n reads takes n steps, one of them the return.
      {Joined(OvExpressionProgram::kMaxSteps, "+", property), true},
      {Joined(OvExpressionProgram::kMaxSteps + 1, "+", property), false},
      // Each literal that cannot fold is kept once.
      {"{1}" + Joined(OvExpressionProgram::kMaxConstants, "", [&](unsigned i) { return "* " + literal(i); }), true},
      {"{1}" + Joined(OvExpressionProgram::kMaxConstants + 1, "", [&](unsigned i) { return "* " + literal(i); }),
       false},
      // Right-nested operands wait on the stack.
      {nested(OvExpressionProgram::kMaxStackDepth / 2), true},
      {nested(OvExpressionProgram::kMaxStackDepth + 1), false},
      // Literal-only parts, however many, are one value (while the chain
      // stays within the walk's depth).
      {Joined(OvExpressionEvaluator::kMaxDepth - 1, "+", literal), true},
  };
  OvPropertyStorage storage;
  for (unsigned id = 1; id <= 8; ++id) storage.values[id] = id % 2 ? P::MakeFloat(id * 0.75f) : P::MakeS32(int32_t(id));
  for (const auto& row : rows) {
    OvOpList list;
    OvExpressionEvaluator evaluator(&list, &storage);
    const uint32_t root = ParseExpression(row.text, &list);
    OvExpressionProgram program;
    EXPECT_EQ(row.flattened, evaluator.prepare(root, &program)) << row.text;
    EXPECT_EQ(row.flattened, program.isFlattened());
    EXPECT_EQ(root, program.root());
    EXPECT_TRUE(Same(evaluator.evaluate(root), evaluator.evaluate(program))) << row.text;
  }
}

// A client whose every fetch gives a new value, so that the number and order
// of fetches shows in the results as well as in the log.
class CountingClient : public OvPropertyClient {
 public:
  CountingClient() : OvPropertyClient(4) {}
  void fetchProperty(unsigned short id, Property* slot) override {
    log.push_back(id);
    *slot = id % 2 ? P::MakeFloat(float(log.size()) * 1.5f) : P::MakeS64(int64_t(log.size()) * 10 + id);
  }
  std::vector<unsigned short> log;
};

TEST(ExpressionProgramTest, FetchesAndCallsComeInTheWalksOrder) {
  const char* const texts[] = {"{1} - {1}",          "{1} * 2 + {2} / {1}", "{2} > 20 ? {1} : {3}",
                               "cos({1}) + {1}",     "{1} + {9}",           "{2} - {2} * {2}",
                               "textW + {1} - {1}", "{3} * textX({1}) - {3}"};
  std::vector<P> results[2];
  std::vector<unsigned short> fetches[2];
  for (int prepared = 0; prepared < 2; ++prepared) {
    OvOpList list;
    OvPropertyStorage storage;
    CountingClient client;
    storage.client = &client;
    OvExpressionEvaluator evaluator(&list, &storage);
    // The callback rewrites a slot the client does not serve, and answers
    // with a value that depends on it.
    evaluator.setFunctionCall([](void* context, uint32_t id, const P*, unsigned) {
      auto* store = static_cast<OvPropertyStorage*>(context);
      store->values[9] = P::MakeS64(store->values[9].value.s64 + 1);
      return P::MakeS64(int64_t(id) * 1000 + store->values[9].value.s64);
    }, &storage);
    for (const char* text : texts) {
      const uint32_t root = ParseExpression(text, &list);
      OvExpressionProgram program;
      ASSERT_TRUE(evaluator.prepare(root, &program)) << text;
      results[prepared].push_back(prepared ? evaluator.evaluate(program) : evaluator.evaluate(root));
    }
    fetches[prepared] = client.log;
  }
  EXPECT_EQ(fetches[0], fetches[1]);
  for (size_t i = 0; i < results[0].size(); ++i) {
    EXPECT_TRUE(Same(results[0][i], results[1][i])) << texts[i] << "\n  walked " << Describe(results[0][i])
                                                    << "\n  prepared " << Describe(results[1][i]);
  }
}

TEST(ExpressionProgramTest, MisuseGivesNone) {
  OvOpList list, other;
  OvPropertyStorage storage;
  storage.values[1] = P::MakeS32(5);
  OvExpressionEvaluator evaluator(&list, &storage), otherEvaluator(&other, &storage), noList(nullptr, &storage);
  const uint32_t root = ParseExpression("{1} + 1", &list);
  OvExpressionProgram program, unprepared;
  EXPECT_FALSE(evaluator.prepare(root, nullptr));
  EXPECT_FALSE(unprepared.isFlattened());
  EXPECT_EQ(PropertyType::None, evaluator.evaluate(unprepared).type);
  ASSERT_TRUE(evaluator.prepare(root, &program));
  EXPECT_EQ(PropertyType::None, otherEvaluator.evaluate(program).type) << "prepared over another list";
  OvExpressionProgram copy = program;
  EXPECT_EQ(6, evaluator.evaluate(copy).value.s64) << "a program is a plain value";
  EXPECT_FALSE(noList.prepare(root, &program));
  EXPECT_EQ(PropertyType::None, noList.evaluate(program).type);
  EXPECT_EQ(PropertyType::None, evaluator.evaluate(program).type) << "prepared again over no list";
  // A program keeps the records as they were when it was prepared.
  const uint32_t literal = ParseExpression("40", &list);
  ASSERT_TRUE(evaluator.prepare(literal, &program));
  reinterpret_cast<OvInt64Node*>(list.findOp(literal))->setValue(41);
  EXPECT_EQ(40, evaluator.evaluate(program).value.s64);
  EXPECT_EQ(41, evaluator.evaluate(literal).value.s64);
}

}  // namespace
}  // namespace orvel
