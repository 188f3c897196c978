// The codes that expression node records carry: the operator of an operator
// node and the built-in function of a call node, with the function table the
// parser resolves names against. The records themselves are layout records
// (orvel/layout/expression_records.h).
#pragma once

#include <cstdint>

#include "orvel/layout/expression_records.h"

namespace orvel {

// The operator of a kExp1/kExp2/kExp3 node; each means the Property operator
// of the same name (kConditional picks its second or third operand by the
// truth of the first).
enum OvExpressionType : uint32_t {
  kAdd = 0,           // binary +      kExp2
  kSubtract = 1,      // binary -      kExp2
  kMultiply = 2,      // *             kExp2
  kDivide = 3,        // /             kExp2
  kModulo = 4,        // %             kExp2
  kEqual = 5,         // ==            kExp2
  kNotEqual = 6,      // !=            kExp2
  kLess = 7,          // <             kExp2
  kGreater = 8,       // >             kExp2
  kLessEqual = 9,     // <=            kExp2
  kGreaterEqual = 10, // >=            kExp2
  kLogicalOr = 11,    // ||            kExp2
  kLogicalAnd = 12,   // &&            kExp2
  kConditional = 13,  // ? :           kExp3
  kLogicalNot = 14,   // prefix !      kExp1
  kNegate = 15,       // prefix -      kExp1
};
constexpr uint32_t kLastExpressionType = kNegate;

// Built-in function ids written into call nodes. The text functions are
// overloaded by arity: the 0 suffix takes no argument, the 1 suffix one.
enum OvFuncId : uint32_t {
  kFuncNone = 0,  // never written: resolution failed
  kFuncCos = 1,
  kFuncSin = 2,
  kFuncPI = 3,
  kFuncStr = 4,
  kFuncTextX0 = 5,
  kFuncTextY0 = 6,
  kFuncTextW0 = 7,
  kFuncTextH0 = 8,
  kFuncTextX1 = 9,
  kFuncTextY1 = 10,
  kFuncTextW1 = 11,
  kFuncTextH1 = 12,
  kFuncColorARGB = 13,
  kFuncColorRGB = 14,
  kFuncFloor = 15,
  kFuncCeil = 16,
  kFuncMeasureWidth = 17,
  kFuncMeasureHeight = 18,
  kFuncToIntS32 = 19,
};

// A built-in function: the id written into call nodes, its name and arity.
struct OvFuncDesc {
  uint32_t id;
  const char* name;
  uint32_t params;
};

constexpr uint32_t kFuncCount = 19;
constexpr uint32_t kMaxFuncArgs = kMaxNodeArgs;

// The built-in functions in table order (the order the parser's name table is
// filled in); entry i has id i + 1.
inline constexpr OvFuncDesc kFuncTable[kFuncCount] = {
    {kFuncCos, "cos", 1},           {kFuncSin, "sin", 1},
    {kFuncPI, "PI", 0},             {kFuncStr, "str", 2},
    {kFuncTextX0, "textX", 0},      {kFuncTextY0, "textY", 0},
    {kFuncTextW0, "textW", 0},      {kFuncTextH0, "textH", 0},
    {kFuncTextX1, "textX", 1},      {kFuncTextY1, "textY", 1},
    {kFuncTextW1, "textW", 1},      {kFuncTextH1, "textH", 1},
    {kFuncColorARGB, "colorARGB", 4}, {kFuncColorRGB, "colorRGB", 3},
    {kFuncFloor, "floor", 1},       {kFuncCeil, "ceil", 1},
    {kFuncMeasureWidth, "measureWidth", 1}, {kFuncMeasureHeight, "measureHeight", 1},
    {kFuncToIntS32, "toIntS32", 1},
};

}  // namespace orvel
