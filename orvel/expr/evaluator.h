// OvExpressionEvaluator: computes the value of an expression stored as node
// records in a layout's resource list, on the device that renders it.
// Constants give their own types (kInt64 an S64, kFloat a Float, kString a
// String of at most 31 characters), kProperty reads the property store,
// operator nodes apply the Property operators (a conditional evaluates only
// the branch its condition's truth picks; && and || evaluate both sides), and
// calls are handed to a function callback.
//
// The records may come from another device and are not trusted:
// - a child reference must name a record that starts before the referring one
//   (the parser writes children first), so every walk moves backwards;
// - a record's size must fit in the bytes left in its buffer and be at least
//   its node type's size; a kString needs its NUL inside the record;
// - an unknown type, an operator that does not fit its node or any check above
//   failing makes that node evaluate to None;
// - more than kMaxDepth nested records or kMaxNodeVisits records read in one
//   evaluation (shared children can make a small list describe an enormous
//   tree) make the whole evaluation None.
// Preparation and evaluation allocate nothing and log nothing.
//
// A renderer that evaluates the same expressions every frame prepares each
// once, when the layout is complete, into an OvExpressionProgram (caller
// storage, expression_program.h) and evaluates the program every frame: the
// result is the one evaluate(reference) gives, without reading and checking
// the records again.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/expr/expression_program.h"
#include "orvel/expr/property.h"
#include "orvel/expr/property_storage.h"
#include "orvel/layout/op_list.h"

namespace orvel {

// Computes function functionId (an OvFuncId of expr_nodes.h) of argCount
// evaluated arguments (0 to 4). args is valid during the call only.
using OvFunctionCall = Property (*)(void* context, uint32_t functionId, const Property* args, unsigned argCount);

// The pure built-in functions: cos and sin of radians, PI, floor and ceil as
// Float (arguments as float), toIntS32 as an S32 (the argument's toS64 clamped
// to the 32-bit range, so floats saturate and NaN gives 0). Everything else,
// including a wrong argument count, gives None: the text functions (str,
// textX/Y/W/H, measureWidth/Height) and the colour builders (colorARGB,
// colorRGB) belong to the client, whose callback may delegate the rest here.
// context is not used.
ORVEL_API Property DefaultFunctionCall(void* context, uint32_t functionId, const Property* args, unsigned argCount);

class ORVEL_API OvExpressionEvaluator {
 public:
  // Deepest nesting of records one evaluation follows. A left-associated
  // chain nests one level per operator (a sum of n terms is n - 1 deep), and
  // hand-written expressions stay far below this.
  static constexpr unsigned kMaxDepth = 128;
  // Most records one evaluation reads.
  static constexpr uint32_t kMaxNodeVisits = 1u << 16;

  // nodes: the list holding the records (not owned; must outlive the
  // evaluator); storage: where kProperty reads (not owned), null for
  // OvPropertyStorage::getInstance(). Calls go to DefaultFunctionCall.
  explicit OvExpressionEvaluator(const OvOpList* nodes, OvPropertyStorage* storage = nullptr);

  // Routes calls to call with context (not owned); a null call restores
  // DefaultFunctionCall.
  void setFunctionCall(OvFunctionCall call, void* context);

  // The value of the node at logical offset reference; None when there is no
  // list or the records are malformed as described above.
  Property evaluate(uint32_t reference);

  // Reads the records under reference once, with every check above, and
  // stores them in program (not owned; only written here), flattened when
  // they fit its capacities. Returns whether they were; a program that was
  // not still evaluates, by the tree walk. False, with nothing written, for
  // a null program. The work is bounded like one evaluation's. Prepare again
  // after the records change.
  bool prepare(uint32_t reference, OvExpressionProgram* program) const;
  // What evaluate(program.root()) gives for the records as they were when
  // program was prepared, with this evaluator's store and call callback at
  // the time of the call; None for a program prepared over another list (or
  // none) or never prepared.
  Property evaluate(const OvExpressionProgram& program);

 private:
  Property evaluateNode(uint32_t reference, unsigned depth);
  Property evaluateCall(uint32_t functionId, const uint32_t* refs, unsigned count, unsigned depth);

  const OvOpList* fNodes;
  OvPropertyStorage* fStorage;
  OvFunctionCall fCall;
  void* fContext;
  uint32_t fVisits;
  bool fAborted;
};

}  // namespace orvel
