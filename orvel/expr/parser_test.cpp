// The records a parse writes, its failures and limits, function resolution
// and the node bytes.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "orvel/core/test_helpers_internal.h"
#include "orvel/expr/parser_context_internal.h"

namespace orvel {
namespace {

const char* const kOpNames[] = {"add", "sub", "mul", "div", "mod", "eq",  "ne",  "lt",
                                "gt",  "le",  "ge",  "or",  "and", "cond", "not", "neg"};

uint32_t Word(const OvOp* op, uint32_t at) {
  uint32_t w;
  std::memcpy(&w, reinterpret_cast<const uint8_t*>(op) + at, sizeof w);
  return w;
}

struct Parsed {
  int result, nerrs;
  uint32_t root;
  std::string error;
  std::string nodes;  // one item per record; a reference to an earlier record as #index, else @low:high
  bool rootIsLast;
};

Parsed Parse(const std::string& text, OvOpList* list = nullptr) {
  OvOpList own;
  OvOpList& target = list ? *list : own;
  Lexer lexer(text.c_str());
  ParserContext ctx;
  ctx.lexer = &lexer;
  ctx.opList = &target;
  expr_nerrs = 12345;
  Parsed p{expr_parse(&ctx), expr_nerrs, ctx.root, ctx.error, "", false};
  std::map<uint32_t, size_t> index;  // offset -> record index
  target.forEachOp([&](const OvOp* op, uint32_t offset) {
    const uint32_t type = op->type(), code = Word(op, 4);
    const bool isExp = type >= kExp1 && type <= kExp3, isCall = type >= kFunc0 && type <= kFunc4;
    char buf[64];
    float f;
    std::memcpy(&f, &code, sizeof f);
    std::snprintf(buf, sizeof buf, "float %g", double(f));
    std::string s = buf;
    if (type == kInt64) s = "int " + std::to_string(int64_t(uint64_t(Word(op, 8)) << 32 | code));
    else if (type == kString) s = std::string("str '") + (reinterpret_cast<const char*>(op) + 4) + "'";
    else if (type == kProperty) s = "prop " + std::to_string(reinterpret_cast<const OvExpProp*>(op)->id);
    else if (isCall) s = "call" + std::to_string(code);
    else if (type != kFloat) s = isExp && code <= kLastExpressionType ? kOpNames[code] : "?";
    const uint32_t refs = isExp ? type - kExp1 + 1 : isCall ? type - kFunc0 : 0;
    for (uint32_t at = 8; at < 8 + 8 * refs; at += 8) {
      auto it = index.find(Word(op, at));
      if (it != index.end() && Word(op, at + 4) == 0) std::snprintf(buf, sizeof buf, " #%zu", it->second);
      else std::snprintf(buf, sizeof buf, " @%x:%x", Word(op, at), Word(op, at + 4));
      s += buf;
    }
    p.nodes += (p.nodes.empty() ? "" : ", ") + s;
    p.rootIsLast = offset == p.root;
    const size_t i = index.size();
    index[offset] = i;
    return true;
  });
  return p;
}

// Accepted texts: the records written, in order; the root is the last record.
TEST(ParserTest, NodeSequences) {
  const struct { const char* text; const char* nodes; } rows[] = {
      // Empty texts (an open string ends the tokens) write nothing and leave the root 0.
      {"", ""}, {"  \t", ""}, {"\"open", ""},
      // Every binary level associates to the left.
      {"1 + 2 + 3", "int 1, int 2, add #0 #1, int 3, add #2 #3"},
      {"1 - 2 - 3", "int 1, int 2, sub #0 #1, int 3, sub #2 #3"},
      {"1 * 2 / 3 % 4", "int 1, int 2, mul #0 #1, int 3, div #2 #3, int 4, mod #4 #5"},
      {"1 == 2 != 3", "int 1, int 2, eq #0 #1, int 3, ne #2 #3"},
      {"1 < 2 > 3 <= 4 >= 5", "int 1, int 2, lt #0 #1, int 3, gt #2 #3, int 4, le #4 #5, int 5, ge #6 #7"},
      {"1 && 2 && 3", "int 1, int 2, and #0 #1, int 3, and #2 #3"},
      {"1 || 2 || 3", "int 1, int 2, or #0 #1, int 3, or #2 #3"},
      // One level above the next.
      {"1 + 2 * 3", "int 1, int 2, int 3, mul #1 #2, add #0 #3"},
      {"1 < 2 + 3", "int 1, int 2, int 3, add #1 #2, lt #0 #3"},
      {"1 == 2 < 3", "int 1, int 2, int 3, lt #1 #2, eq #0 #3"},
      {"1 && 2 == 3", "int 1, int 2, int 3, eq #1 #2, and #0 #3"},
      {"1 || 2 && 3", "int 1, int 2, int 3, and #1 #2, or #0 #3"},
      {"1 || 2 ? 3 : 4", "int 1, int 2, or #0 #1, int 3, int 4, cond #2 #3 #4"},
      {"1 ? 2 : 3 || 4", "int 1, int 2, int 3, int 4, or #2 #3, cond #0 #1 #4"},
      // The conditional to the right; its middle operand may be anything.
      {"1 ? 2 : 3 ? 4 : 5", "int 1, int 2, int 3, int 4, int 5, cond #2 #3 #4, cond #0 #1 #5"},
      {"1 ? 2 ? 3 : 4 : 5", "int 1, int 2, int 3, int 4, cond #1 #2 #3, int 5, cond #0 #4 #5"},
      // Prefix operators bind tightest; unary plus and parentheses write nothing.
      {"-1 * 2", "int 1, neg #0, int 2, mul #1 #2"}, {"!1 + 2", "int 1, not #0, int 2, add #1 #2"},
      {"!-+1", "int 1, neg #0, not #1"}, {"+5", "int 5"}, {"(5)", "int 5"},
      {"-(1 + 2)", "int 1, int 2, add #0 #1, neg #2"},
      {"1.5", "float 1.5"}, {"\"hi\"", "str 'hi'"}, {"{7}", "prop 7"}, {"{70000}", "prop 4464"},
      // Calls of 0 to 4 arguments; a bare name is a call without arguments.
      {"PI", "call3"}, {"PI()", "call3"}, {"textW", "call7"}, {"textW(1)", "int 1, call11 #0"},
      {"textH(textY)", "call6, call12 #0"}, {"str(1, 2)", "int 1, int 2, call4 #0 #1"},
      {"colorRGB(1, 2, 3)", "int 1, int 2, int 3, call14 #0 #1 #2"},
      {"colorARGB(1, 2, 3, 4)", "int 1, int 2, int 3, int 4, call13 #0 #1 #2 #3"},
      {"floor(textW(1) / 2) + 4", "int 1, call11 #0, int 2, div #1 #2, call15 #3, int 4, add #4 #5"},
      // Past the run of equal names to the next name with that count.
      {"PI(1)", "int 1, call16 #0"}, {"cos(1, 2)", "int 1, int 2, call4 #0 #1"},
      {"colorARGB(1)", "int 1, call1 #0"},
  };
  for (const auto& row : rows) {
    const Parsed p = Parse(row.text);
    EXPECT_TRUE(p.result == 0 && p.nerrs == 0) << row.text;
    EXPECT_EQ(p.error, "") << row.text;
    EXPECT_EQ(p.nodes, row.nodes) << row.text;
    EXPECT_TRUE(p.rootIsLast || (p.nodes.empty() && p.root == 0)) << row.text;
  }
}

TEST(ParserTest, Failures) {
  const struct {
    const char* text;
    int result, nerrs;
    const char* error;
    const char* nodes;  // written before the parse stopped; they stay
  } rows[] = {
      {"f(1,2,3,4,5)", 1, 1, "syntax error", "int 1, int 2, int 3, int 4"}, {"f(1,)", 1, 1, "syntax error", "int 1"},
      {"f(,1)", 1, 1, "syntax error", ""}, {"f(1 2)", 1, 1, "syntax error", "int 1"}, {"{x}", 1, 1, "syntax error", ""},
      {"{1.5}", 1, 1, "syntax error", ""}, {"{-1}", 1, 1, "syntax error", ""}, {"1 +", 1, 1, "syntax error", "int 1"},
      {"(1", 1, 1, "syntax error", "int 1"}, {"1 ? 2", 1, 1, "syntax error", "int 1, int 2"},
      // A bare name is not reduced before the bad token (no call, no lookup), nor 1 + 2 once 3 has no action.
      {"a = b", 1, 1, "syntax error", ""}, {"PI $", 1, 1, "syntax error", ""},
      {"1 + 2 3", 1, 1, "syntax error", "int 1, int 2"},
      // Unresolved calls write no node, keep the name's bytes as their value and let the parse go on.
      {"foo(1)", 0, 0, "Cannot find function foo with 1 params", "int 1"},
      {"foo(1) + bar", 0, 0, "Cannot find function foo with 1 params\nCannot find function bar with 0 params",
       "int 1, add @6f6f66:0 @726162:0"},
      {"textY(1, 2, 3)", 0, 0, "Cannot find function textY with 3 params", "int 1, int 2, int 3"},
      {"toIntS32()", 0, 0, "Cannot find function toIntS32 with 0 params", ""},
      {"foo(1) +", 1, 1, "Cannot find function foo with 1 params\nsyntax error", "int 1"},
  };
  for (const auto& row : rows) {
    const Parsed p = Parse(row.text);
    EXPECT_EQ(p.result, row.result) << row.text;
    EXPECT_EQ(p.nerrs, row.nerrs) << row.text;
    EXPECT_EQ(p.error, row.error) << row.text;
    EXPECT_EQ(p.nodes, row.nodes) << row.text;
  }
  EXPECT_EQ(Parse("foo(1)").root, 0x006f6f66u) << "\"foo\" as the root's preset value";
}

// At its deepest the stack holds state 0, every (, the inner expr and one ).
std::string Nested(int depth) { return std::string(depth, '(') + "1" + std::string(depth, ')'); }

TEST(ParserTest, StackGrowsToItsLimitThenOverflows) {
  const int deepest = int(kParserMaxStackDepth) - 3;
  const struct { std::string text; int result; const char* error; const char* nodes; } rows[] = {
      {Nested(deepest), 0, "", "int 1"},
      {Nested(deepest + 1), 1, "yacc stack overflow", "int 1"},  // fails shifting the first )
      {std::string(kParserMaxStackDepth - 2, '-') + "1", 0, "", nullptr},  // one prefix fewer fits exactly
      {std::string(kParserMaxStackDepth - 1, '-') + "1", 1, "yacc stack overflow", ""},
  };
  for (const auto& row : rows) {
    const Parsed p = Parse(row.text);
    EXPECT_EQ(p.result, row.result) << row.text.size();
    EXPECT_EQ(p.nerrs, 0) << row.text.size();  // not a syntax error
    EXPECT_EQ(p.error, row.error) << row.text.size();
    EXPECT_EQ(p.nodes, row.nodes ? row.nodes : p.nodes) << row.text.size();
  }
}

TEST(ParserTest, StacksDoubleAreFreedAndMayFail) {
  std::vector<size_t> want;  // the state stack (ints) and the value stack, doubling from 200
  for (size_t n : {200, 400, 800, 1600, 2048}) want.insert(want.end(), {n * sizeof(int), n * sizeof(parser_type)});
  OvOpList list;
  ASSERT_TRUE(list.reserve(64));  // so the list takes no block during the parse
  for (int depth : {int(kParserMaxStackDepth) - 3, int(kParserMaxStackDepth) - 2}) {
    testing::FailingAllocator counter;
    Parse(Nested(depth), &list);
    EXPECT_EQ(counter.sizes(), want) << depth;
    EXPECT_EQ(counter.releases(), 2) << depth;  // realloc moved the rest
  }
  testing::FailingAllocator none(0);
  EXPECT_EQ(Parse("1").error, "yacc stack overflow") << "no stack at all";
  none.allow(2);  // stacks but no node buffer: accepted, and the error says why
  const Parsed p = Parse("-1");
  EXPECT_TRUE(p.result == 0 && p.nodes.empty());
  EXPECT_EQ(p.error, std::string(kNodeWriteErrorMessage) + "\n" + kNodeWriteErrorMessage);
}

TEST(ParserTest, NullArgumentsAndErrorJoining) {
  expr_nerrs = 5;
  EXPECT_EQ(expr_parse(nullptr), 1);
  EXPECT_EQ(expr_nerrs, 0);
  ParserContext ctx;  // no lexer: the text is empty; no op list: no nodes
  parser_type v;
  EXPECT_EQ(expr_lex(&v, &ctx), 0);
  EXPECT_EQ(expr_lex(&v, nullptr), 0);
  expr_error(nullptr, "x");
  Lexer lexer("1");
  ctx.lexer = &lexer;
  EXPECT_EQ(expr_parse(&ctx), 0);
  EXPECT_EQ(ctx.error, kNodeWriteErrorMessage);
  ctx.reportError(nullptr);
  ctx.reportError("two");
  EXPECT_EQ(ctx.error, std::string(kNodeWriteErrorMessage) + "\n\ntwo");
}

TEST(ParserContextTest, ResolveFunc) {
  const struct { const char* name; unsigned params, id; } rows[] = {
      {"cos", 1, 1},     {"sin", 1, 2},       {"PI", 0, 3},          {"str", 2, 4},          {"textX", 0, 5},
      {"textY", 0, 6},   {"textW", 0, 7},     {"textH", 0, 8},       {"textX", 1, 9},        {"textY", 1, 10},
      {"textW", 1, 11},  {"textH", 1, 12},    {"colorARGB", 4, 13},  {"colorRGB", 3, 14},    {"floor", 1, 15},
      {"ceil", 1, 16},   {"measureWidth", 1, 17}, {"measureHeight", 1, 18}, {"toIntS32", 1, 19}, {"PI", 1, 16},
      {"cos", 2, 4},     {"ceil", 0, 8},      {"PI", 4, 13},         {"str", 3, 0},          {"pi", 0, 0},
      {"", 0, 0},        {"textXY", 1, 0},
  };
  for (const auto& row : rows) {
    ParserContext ctx;
    EXPECT_EQ(ctx.resolveFunc(row.name, row.params), row.id) << row.name << " " << row.params;
    EXPECT_EQ(ctx.error.empty(), row.id != 0) << row.name;
  }
}

// Exact bytes of every node record, written one after the other.
TEST(ParserContextTest, NodeBytes) {
  OvOpList list;
  ParserContext ctx;
  ctx.opList = &list;
  unsigned r[14] = {};
  ctx.newInt64(r[0], -2);
  ctx.newFloat(r[1], 1.5f);
  ctx.newString(r[2], "abc");
  ctx.newString(r[3], "abcd");
  ctx.newProperty(r[4], 0xBEEF);
  ctx.newExp1(r[5], kNegate, r[0]);
  ctx.newExp2(r[6], kLogicalAnd, r[0], r[1]);
  ctx.newExp3(r[7], kConditional, r[0], r[1], r[2]);
  ctx.newFunc0(r[8], "PI");
  ctx.newFunc1(r[9], "cos", r[1]);
  ctx.newFunc2(r[10], "str", r[1], r[2]);
  ctx.newFunc3(r[11], "colorRGB", r[1], r[2], r[3]);
  ctx.newFunc4(r[12], "colorARGB", r[1], r[2], r[3], r[4]);
  r[13] = 77;
  ctx.newFunc1(r[13], "nope", r[1]);  // nothing; r[13] unchanged
  EXPECT_EQ(std::vector<unsigned>(r, r + 14),
            (std::vector<unsigned>{0, 12, 20, 28, 40, 48, 64, 88, 120, 128, 144, 168, 200, 77}));
  EXPECT_EQ(ctx.error, "Cannot find function nope with 1 params");
  const std::vector<uint32_t> expected = {
      0x00000C9D, 0xFFFFFFFE, 0xFFFFFFFF, 0x0000089C, 0x3FC00000,                       // int -2, float 1.5
      0x0000089E, 0x00636261, 0x00000C9E, 0x64636261, 0x00000000,                       // "abc", "abcd"
      0x0000089F, 0x0000BEEF, 0x00001094, 15, 0, 0,                                     // property, neg
      0x00001895, 12, 0, 0, 12, 0, 0x00002096, 13, 0, 0, 12, 0, 20, 0,                  // and, cond
      0x00000897, 3, 0x00001098, 1, 12, 0, 0x00001899, 4, 12, 0, 20, 0,                 // PI, cos, str
      0x0000209A, 14, 12, 0, 20, 0, 28, 0, 0x0000289B, 13, 12, 0, 20, 0, 28, 0, 40, 0,  // colorRGB, colorARGB
  };
  std::vector<uint32_t> words(expected.size());
  OvSerializeIt it;
  ASSERT_EQ(list.totalUsedSize(), 4 * words.size());
  ASSERT_EQ(list.serialize(reinterpret_cast<unsigned char*>(words.data()), unsigned(4 * words.size()), &it),
            4 * words.size());
  EXPECT_EQ(words, expected);
}

}  // namespace
}  // namespace orvel
