// OvExpressionProgram: caller-owned storage for one expression prepared for
// evaluation every frame. OvExpressionEvaluator::prepare reads the expression's
// node records once, applying every check the tree walk applies, and flattens
// them here into a short list of steps (children before parents, the two
// branches of a conditional behind jumps, literal-only parts computed ahead)
// over a copy of the literals; evaluate(program) then runs the steps without
// touching the records again. Property reads and calls still happen at run
// time, in the order of the tree walk.
//
// An expression that needs more than kMaxSteps steps, kMaxConstants literals
// or kMaxStackDepth values in flight, or that reaches the tree walk's own
// limits (OvExpressionEvaluator::kMaxDepth, kMaxNodeVisits), is not
// flattened: its program keeps only the root, and evaluating it walks the
// records as evaluate(reference) does. Either way the result is exactly what
// evaluate(reference) gives. A flattened program holds copies, so it goes on
// giving what the records said when it was prepared; prepare again after
// they change.
//
// A program is a plain value: it owns no memory, may be copied, and refers to
// nothing but the list it was prepared from (by address, to recognise it and
// for the tree walk).
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/expr/property.h"
#include "orvel/layout/op_list.h"

namespace orvel {

class ORVEL_API OvExpressionProgram {
 public:
  // Most steps one program holds. Each record becomes at most one step (a
  // conditional two), plus the final one; hand-written property expressions
  // need a few dozen.
  static constexpr unsigned kMaxSteps = 64;
  // Most literals (and literal-only parts) one program keeps.
  static constexpr unsigned kMaxConstants = 16;
  // Most values one program holds at once while it runs: the operands waiting
  // for their operator, arguments waiting for their call.
  static constexpr unsigned kMaxStackDepth = 16;

  // A program that was never prepared: it evaluates to None.
  OvExpressionProgram() : fNodes(nullptr), fRoot(0), fStepCount(0), fConstantCount(0), fSteps() {}

  // True when the expression runs as steps; false when it falls back to the
  // tree walk (too large or too deep) or was never prepared.
  bool isFlattened() const { return fStepCount != 0; }
  // Steps in use (0 when not flattened).
  unsigned stepCount() const { return fStepCount; }
  // The logical offset of the expression's root record.
  uint32_t root() const { return fRoot; }

 private:
  friend class OvExpressionEvaluator;

  const OvOpList* fNodes;  // the list prepared from; null when never prepared
  uint32_t fRoot;
  uint16_t fStepCount;
  uint16_t fConstantCount;
  // The steps, laid out by the evaluator: two words each.
  static constexpr unsigned kStepBytes = 8;
  alignas(8) uint8_t fSteps[kMaxSteps * kStepBytes];
  Property fConstants[kMaxConstants];
};

}  // namespace orvel
