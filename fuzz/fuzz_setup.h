// What every fuzz target sets up before it hands the library an input: a
// silent log, a heap with a budget, property values of every type and a
// function callback such as a renderer installs. Also FUZZ_CHECK, the
// harness's own assertion on a promise the library makes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/expr/evaluator.h"
#include "orvel/expr/property.h"

namespace orvel {
namespace fuzz {

// Most bytes the library may hold from its allocator at once, and so also the
// largest single block. A hostile total size or bitmap geometry meets a device
// that is out of memory instead of reaching libFuzzer's malloc limit.
constexpr size_t kHeapBudget = size_t(32) << 20;

// Installs the discarding log sink and the budgeted allocator (once per
// process), and fills the property store afresh, so that runs do not depend
// on one another.
void BeginInput();

// Bytes the library holds from its allocator now.
size_t HeapInUse();

// The renderer's side of calls: str formats its first argument with its second
// as the printf flags, the text metrics and colour builders give numbers, and
// the rest goes to DefaultFunctionCall.
Property FunctionCall(void* context, uint32_t functionId, const Property* args, unsigned argCount);

// Evaluates reference in evaluator by the tree walk and as a prepared
// program, checks that both give the same value (and that the program means
// nothing to an evaluator of no list), and formats the value twice (plain and
// with flags), as a renderer printing it would.
void EvaluateAndFormat(OvExpressionEvaluator& evaluator, uint32_t reference);

// Adds bytes to a running digest that is finally stored where the optimiser
// cannot drop it, so that every read the harness makes happens.
void Consume(const void* bytes, size_t length);

// Ends the process with a message when a promise does not hold.
[[noreturn]] void CheckFailed(const char* condition, const char* file, int line);

}  // namespace fuzz
}  // namespace orvel

#define FUZZ_CHECK(condition) \
  ((condition) ? (void)0 : ::orvel::fuzz::CheckFailed(#condition, __FILE__, __LINE__))
