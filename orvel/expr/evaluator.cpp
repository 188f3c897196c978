#include "orvel/expr/evaluator.h"

#include <cmath>
#include <cstring>
#include <type_traits>

#include "orvel/expr/expression_ops.h"
#include "orvel/expr/property_internal.h"

namespace orvel {

namespace {

constexpr float kPi = 3.14159265358979323846f;

// Operator and call nodes keep their code at 4 and their child references
// from 8 on, 8 bytes apart, whatever their arity.
constexpr size_t kCodeOffset = offsetof(OvExp1Node, op);
constexpr size_t kFirstRefOffset = offsetof(OvExp1Node, operands);
static_assert(offsetof(OvFunc1Node, id) == kCodeOffset && offsetof(OvFunc1Node, args) == kFirstRefOffset,
              "call nodes share the operator nodes' field positions");
static_assert(sizeof(OvNodeRef) == 8 && offsetof(OvNodeRef, offset) == 0, "a reference's low word comes first");

// Records are only 4-byte aligned and a hostile reference need not even be
// that, so every field is copied out.
uint32_t ReadU32(const uint8_t* p, size_t offset) {
  uint32_t v;
  std::memcpy(&v, p + offset, sizeof v);
  return v;
}

bool FitsNode(uint32_t type, uint32_t code) {
  switch (type) {
    case kExp1: return code == kLogicalNot || code == kNegate;
    case kExp2: return code <= kLogicalAnd;
    case kExp3: return code == kConditional;
    default: return true;
  }
}

// A node record that passed every check of the header.
struct Record {
  const uint8_t* bytes;  // the record; a leaf's value is read from it
  uint32_t type;         // kExp1 .. kProperty
  uint32_t code;         // the operator or function id; 0 for leaves
  unsigned children;     // references in refs
  uint32_t refs[kMaxFuncArgs];  // the children, each starting before the record
};

// The record at reference; false when it is malformed (it evaluates to None).
__attribute__((always_inline)) inline bool ReadRecord(const OvOpList& nodes, uint32_t reference, Record* record) {
  uint32_t bytesLeft = 0;
  const OvOp* op = nodes.findOp(reference, &bytesLeft);
  if (!op) return false;
  const uint8_t* p = reinterpret_cast<const uint8_t*>(op);
  const uint32_t header = ReadU32(p, 0);
  const uint32_t type = header & 63, size = header >> 8;
  if ((header & 0xC0) != kOpHeaderFlag || type < kExp1 || type > kProperty) return false;
  const OvOpTypeInfo& shape = OpTypeInfo(type);
  if (size > bytesLeft || size < shape.fixed) return false;

  const uint32_t code = type <= kFunc4 ? ReadU32(p, kCodeOffset) : 0;  // operator or function id
  if (!FitsNode(type, code)) return false;
  for (unsigned i = 0; i < shape.refs; ++i) {
    record->refs[i] = ReadU32(p, kFirstRefOffset + i * sizeof(OvNodeRef));
    if (record->refs[i] >= reference) return false;  // children always come first
  }
  if (type == kString && !std::memchr(p + OvStringNode::kFixedSize, 0, size - OvStringNode::kFixedSize)) return false;
  record->bytes = p;
  record->type = type;
  record->code = code;
  record->children = shape.refs;
  return true;
}

// The value of a kFloat, kInt64 or kString record.
Property Literal(const Record& record) {
  switch (record.type) {
    case kFloat: {
      float v;
      std::memcpy(&v, record.bytes + offsetof(OvFloatNode, value), sizeof v);
      return Property::MakeFloat(v);
    }
    case kInt64: {
      int64_t v;
      std::memcpy(&v, record.bytes + offsetof(OvInt64Node, valueBytes), sizeof v);
      return Property::MakeS64(v);
    }
    case kString: return Property::MakeString(reinterpret_cast<const char*>(record.bytes + OvStringNode::kFixedSize));
    default: return Property();
  }
}

uint16_t PropertyId(const Record& record) {
  uint16_t id;
  std::memcpy(&id, record.bytes + offsetof(OvExpProp, id), sizeof id);
  return id;
}

Property ApplyUnary(uint32_t code, const Property& a) { return code == kNegate ? -a : !a; }

Property ApplyBinary(uint32_t code, const Property& a, const Property& b) {
  switch (code) {
    case kAdd: return a + b;
    case kSubtract: return a - b;
    case kMultiply: return a * b;
    case kDivide: return a / b;
    case kModulo: return a % b;
    case kEqual: return a == b;
    case kNotEqual: return a != b;
    case kLess: return a < b;
    case kGreater: return a > b;
    case kLessEqual: return a <= b;
    case kGreaterEqual: return a >= b;
    case kLogicalOr: return a || b;
    case kLogicalAnd: return a && b;
    default: return Property();
  }
}

int32_t ClampToS32(int64_t v) { return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : int32_t(v); }

// DefaultFunctionCall's result (None included) as a scalar, for argCount
// arguments of which the first is arg: the prepared programs call it
// straight from registers.
__attribute__((always_inline)) inline priv::Scalar CallBuiltin(uint32_t functionId, unsigned argCount,
                                                               const priv::Scalar& arg) {
  const priv::Scalar none = {PropertyType::None, 0.0f, 0};
  if (functionId == kFuncPI) return argCount == 0 ? priv::FloatScalar(kPi) : none;
  if (argCount != 1) return none;
  switch (functionId) {
    case kFuncCos: return priv::FloatScalar(std::cos(priv::AsFloat(arg)));
    case kFuncSin: return priv::FloatScalar(std::sin(priv::AsFloat(arg)));
    case kFuncFloor: return priv::FloatScalar(std::floor(priv::AsFloat(arg)));
    case kFuncCeil: return priv::FloatScalar(std::ceil(priv::AsFloat(arg)));
    case kFuncToIntS32: return {PropertyType::S32, 0.0f, uint32_t(ClampToS32(priv::ToS64(arg)))};
    default: return none;
  }
}

}  // namespace

Property DefaultFunctionCall(void*, uint32_t functionId, const Property* args, unsigned argCount) {
  // Every built-in takes at most one argument; a null args counts as none.
  const priv::Scalar none = {PropertyType::None, 0.0f, 0};
  if (!args && argCount != 0) return Property();
  Property result;
  priv::Store(CallBuiltin(functionId, argCount, argCount != 0 ? priv::ScalarOf(args[0]) : none), &result);
  return result;
}

OvExpressionEvaluator::OvExpressionEvaluator(const OvOpList* nodes, OvPropertyStorage* storage)
    : fNodes(nodes),
      fStorage(storage ? storage : OvPropertyStorage::getInstance()),
      fCall(&DefaultFunctionCall),
      fContext(nullptr),
      fVisits(0),
      fAborted(false) {}

void OvExpressionEvaluator::setFunctionCall(OvFunctionCall call, void* context) {
  fCall = call ? call : &DefaultFunctionCall;
  fContext = context;
}

Property OvExpressionEvaluator::evaluate(uint32_t reference) {
  if (!fNodes) return Property();
  fVisits = 0;
  fAborted = false;
  Property result = evaluateNode(reference, 0);
  return fAborted ? Property() : result;
}

Property OvExpressionEvaluator::evaluateNode(uint32_t reference, unsigned depth) {
  if (fAborted || depth >= kMaxDepth || fVisits >= kMaxNodeVisits) {
    fAborted = true;
    return Property();
  }
  ++fVisits;

  Record r;
  if (!ReadRecord(*fNodes, reference, &r)) return Property();
  switch (r.type) {
    case kExp1: return ApplyUnary(r.code, evaluateNode(r.refs[0], depth + 1));
    case kExp2: {
      const Property a = evaluateNode(r.refs[0], depth + 1);
      const Property b = evaluateNode(r.refs[1], depth + 1);
      return ApplyBinary(r.code, a, b);
    }
    case kExp3: {
      const bool chooseFirst = evaluateNode(r.refs[0], depth + 1).toBool();
      return evaluateNode(chooseFirst ? r.refs[1] : r.refs[2], depth + 1);
    }
    case kFloat:
    case kInt64:
    case kString: return Literal(r);
    case kProperty: return *fStorage->get(PropertyId(r));
    default: return evaluateCall(r.code, r.refs, r.children, depth);
  }
}

Property OvExpressionEvaluator::evaluateCall(uint32_t functionId, const uint32_t* refs, unsigned count,
                                             unsigned depth) {
  Property args[kMaxFuncArgs];
  for (unsigned i = 0; i < count; ++i) args[i] = evaluateNode(refs[i], depth + 1);
  if (fAborted) return Property();
  return fCall(fContext, functionId, args, count);
}

// Prepared programs: the records are flattened into steps once, and the steps
// run on a small value stack.

namespace {

// One step of a flattened expression, as a program stores it.
struct ExpressionStep {
  uint8_t op;
  uint8_t code;    // the operator of a binary step, the argument count of a call
  uint16_t index;  // a literal's place in the program, or a property id
  uint32_t word;   // a jump's target step, or a function id
};
// A program keeps its steps as kMaxSteps slots of 8 bytes, 8-aligned.
static_assert(sizeof(ExpressionStep) == 8 && alignof(ExpressionStep) <= 8, "a step is two words");

// What a step does. The value stack grows upwards; "top" is its last value.
enum StepOp : uint8_t {
  kPushConstant,    // push constants[index]
  kPushProperty,    // push the store's slot index (always below its slot count)
  kNegateTop,       // top = -top
  kNotTop,          // top = !top
  kJumpUnless,      // pop a value; continue at step word when it is false
  kJump,            // continue at step word
  kCall,            // replace the top code values by the call of function word
  kReturn,          // the top value is the result
  // Then the binary steps: kBinary + form * kBinaryOperators + operator.
  kBinary,
};

// Binary operators: kAdd .. kLogicalAnd.
constexpr unsigned kBinaryOperators = kLogicalAnd + 1;

// Where a binary step finds its operands: on the stack (S), a literal (C,
// constants[index], or [word] for the right one), a property read (P, slot
// index, or slot word for the right one). A step with a stack operand leaves
// its result in that operand's place; the others push it.
enum Form : unsigned {
  kSS,  // pop b, top = top code b
  kSC,  // top = top code C
  kSP,  // top = top code P
  kPC,  // push P code C
  kPP,  // push P code P
  kCP,  // push C code P
  kFormCount,
};

constexpr unsigned kStepOpCount = kBinary + kFormCount * kBinaryOperators;
// The dispatch table covers every value of an op's low seven bits.
constexpr unsigned kStepOpTableSize = 128;
static_assert(kStepOpCount <= kStepOpTableSize && kStepOpTableSize - kStepOpCount == 42, "42 invalid entries");

// Writes the steps of one expression into a program's arrays. Each flatten()
// appends the steps that leave the node's value on top of the stack, so a
// node whose steps are a single kPushConstant is a literal (or a literal-only
// part, computed here with the same operators) that its parent may fold.
class Flattener {
 public:
  Flattener(const OvOpList& nodes, ExpressionStep* steps, Property* constants)
      : fNodes(nodes), fSteps(steps), fConstants(constants) {}

  // False when the steps do not fit the program, or the records nest or fan
  // out past the tree walk's limits; the program then falls back to the walk.
  bool flatten(uint32_t reference, unsigned depth);
  bool finish() { return emit(kReturn); }

  unsigned stepCount() const { return fStepCount; }
  unsigned constantCount() const { return fConstantCount; }

 private:
  bool emit(uint8_t op, uint16_t index = 0, uint32_t word = 0, uint8_t code = 0) {
    if (fStepCount == OvExpressionProgram::kMaxSteps) return false;
    fSteps[fStepCount++] = ExpressionStep{op, code, index, word};
    return true;
  }
  // Moves the stack height by delta; false past the program's stack.
  bool push(int delta) {
    fHeight = unsigned(int(fHeight) + delta);
    return fHeight <= OvExpressionProgram::kMaxStackDepth;
  }
  bool emitConstant(const Property& value) {
    if (fConstantCount == OvExpressionProgram::kMaxConstants) return false;
    fConstants[fConstantCount] = value;
    return push(1) && emit(kPushConstant, uint16_t(fConstantCount++));
  }
  // Whether the steps from mark on are one literal push.
  bool literalFrom(unsigned mark) const { return fStepCount == mark + 1 && fSteps[mark].op == kPushConstant; }
  // Takes back the last step, a literal push, and returns its value.
  Property popLiteral() {
    const ExpressionStep& step = fSteps[--fStepCount];
    --fHeight;
    if (step.index + 1u == fConstantCount) --fConstantCount;
    return fConstants[step.index];
  }
  bool flattenBinary(const Record& r, unsigned depth);
  bool flattenConditional(const Record& r, unsigned depth);

  const OvOpList& fNodes;
  ExpressionStep* fSteps;
  Property* fConstants;
  unsigned fStepCount = 0;
  unsigned fConstantCount = 0;
  unsigned fHeight = 0;
  uint32_t fVisits = 0;
};

bool Flattener::flatten(uint32_t reference, unsigned depth) {
  // Past the tree walk's own limits the walk gives up; leave it to decide.
  if (depth >= OvExpressionEvaluator::kMaxDepth || fVisits >= OvExpressionEvaluator::kMaxNodeVisits) return false;
  ++fVisits;

  Record r;
  if (!ReadRecord(fNodes, reference, &r)) return emitConstant(Property());
  switch (r.type) {
    case kExp1: {
      const unsigned mark = fStepCount;
      if (!flatten(r.refs[0], depth + 1)) return false;
      if (literalFrom(mark)) return emitConstant(ApplyUnary(r.code, popLiteral()));
      return emit(r.code == kNegate ? kNegateTop : kNotTop);
    }
    case kExp2: return flattenBinary(r, depth);
    case kExp3: return flattenConditional(r, depth);
    case kFloat:
    case kInt64:
    case kString: return emitConstant(Literal(r));
    case kProperty: {
      const uint16_t id = PropertyId(r);
      // The store answers None for ids past its slots, without asking anyone.
      if (id >= OvPropertyStorage::kSlotCount) return emitConstant(Property());
      return push(1) && emit(kPushProperty, id);
    }
    default: {  // a call
      for (unsigned i = 0; i < r.children; ++i) {
        if (!flatten(r.refs[i], depth + 1)) return false;
      }
      return push(1 - int(r.children)) && emit(kCall, 0, r.code, uint8_t(r.children));
    }
  }
}

bool Flattener::flattenBinary(const Record& r, unsigned depth) {
  const unsigned left = fStepCount;
  if (!flatten(r.refs[0], depth + 1)) return false;
  const unsigned right = fStepCount;
  if (!flatten(r.refs[1], depth + 1)) return false;
  const uint8_t code = uint8_t(r.code);
  if (literalFrom(right) && right == left + 1 && fSteps[left].op == kPushConstant) {
    const Property b = popLiteral();
    const Property a = popLiteral();
    return emitConstant(ApplyBinary(code, a, b));
  }
  // An operand that is one push is read straight from where it lies, by a
  // step that names both operands.
  const bool leftPush = right == left + 1 && fSteps[left].op <= kPushProperty;
  const bool rightPush = fStepCount == right + 1 && fSteps[right].op <= kPushProperty;
  if (leftPush && rightPush) {
    ExpressionStep& step = fSteps[left];
    const Form form = step.op == kPushConstant ? kCP : fSteps[right].op == kPushConstant ? kPC : kPP;
    step.op = uint8_t(kBinary + form * kBinaryOperators + code);
    step.code = code;
    step.word = fSteps[right].index;
    --fStepCount;
    return push(-1);
  }
  if (rightPush) {
    const Form form = fSteps[right].op == kPushConstant ? kSC : kSP;
    fSteps[right].op = uint8_t(kBinary + form * kBinaryOperators + code);
    fSteps[right].code = code;
    return push(-1);
  }
  return push(-1) && emit(uint8_t(kBinary + kSS * kBinaryOperators + code), 0, 0, code);
}

bool Flattener::flattenConditional(const Record& r, unsigned depth) {
  const unsigned mark = fStepCount;
  if (!flatten(r.refs[0], depth + 1)) return false;
  if (literalFrom(mark)) return flatten(popLiteral().toBool() ? r.refs[1] : r.refs[2], depth + 1);

  const unsigned jumpUnless = fStepCount;
  if (!push(-1) || !emit(kJumpUnless) || !flatten(r.refs[1], depth + 1)) return false;
  const unsigned jump = fStepCount;
  if (!emit(kJump)) return false;
  fSteps[jumpUnless].word = fStepCount;
  // Each branch leaves one value; the second starts from the same height.
  if (!push(-1) || !flatten(r.refs[2], depth + 1)) return false;
  fSteps[jump].word = fStepCount;
  return true;
}

// The property read of the tree walk: the store fetches from its client
// first when one is attached, else the slot is read as it stands.
__attribute__((always_inline)) inline const Property& Read(OvPropertyStorage* storage, uint16_t id) {
  return storage->client ? *storage->get(id) : storage->values[id];
}

constexpr priv::Arith ArithOf(uint32_t code) {
  return code == kAdd ? priv::Arith::kAdd
         : code == kSubtract ? priv::Arith::kSubtract
         : code == kMultiply ? priv::Arith::kMultiply
                             : priv::Arith::kDivide;
}

// a kCode b when the operands are numbers (any values for && and ||);
// Unhandled() leaves the operator to decide.
template <uint32_t kCode>
__attribute__((always_inline)) inline priv::Scalar Fast(const priv::Scalar& a, const priv::Scalar& b) {
  if constexpr (kCode <= kDivide) {
    // Which NaN comes out of two depends on the order the compiler put the
    // operands in, so a NaN is left to the operator's own code.
    const priv::Scalar r = priv::NumberArithmetic(ArithOf(kCode), a, b);
    return r.type == PropertyType::Float && r.f != r.f ? priv::Unhandled() : r;
  } else if constexpr (kCode == kModulo) {
    if (!priv::IsIntegerType(a.type) || !priv::IsIntegerType(b.type)) return priv::Unhandled();
    return priv::S64Scalar(
        priv::Remainder(priv::WidenedInteger(a.type, a.bits), priv::WidenedInteger(b.type, b.bits)));
  } else if constexpr (kCode >= kEqual && kCode <= kGreaterEqual) {
    // != <= >= are the negations of == > <.
    constexpr bool kNegated = kCode == kNotEqual || kCode == kLessEqual || kCode == kGreaterEqual;
    constexpr priv::Compare kCompare = kCode == kEqual || kCode == kNotEqual ? priv::Compare::kEqual
                                       : kCode == kLess || kCode == kGreaterEqual ? priv::Compare::kLess
                                                                                  : priv::Compare::kGreater;
    bool holds;
    if (!priv::NumberCompared(kCompare, a, b, &holds)) return priv::Unhandled();
    return priv::BoolScalar(holds != kNegated);
  } else if constexpr (kCode == kLogicalOr) {
    return priv::BoolScalar(priv::Truth(a) || priv::Truth(b));
  } else {
    static_assert(kCode == kLogicalAnd, "every binary operator");
    return priv::BoolScalar(priv::Truth(a) && priv::Truth(b));
  }
}

// A binary step the inline path did not take: the operator gets whole
// values, a held operand (a or b null) stored where it would lie, and the
// result goes to top. Returns the new top.
Property* ApplySlowly(uint32_t code, const Property* a, const Property* b, const priv::Scalar& x,
                      const priv::Scalar& y, Property* top) {
  if (!a) {
    priv::Store(x, top);
    a = top;
  }
  if (!b) {
    priv::Store(y, top + 1);
    b = top + 1;
  }
  const Property result = ApplyBinary(code, *a, *b);
  *top = result;
  return top + 1;
}

// Values in flight, left unconstructed: each is written before it is read.
union ValueStack {
  ValueStack() {}
  Property values[OvExpressionProgram::kMaxStackDepth];
};

}  // namespace

bool OvExpressionEvaluator::prepare(uint32_t reference, OvExpressionProgram* program) const {
  if (!program) return false;
  program->fNodes = fNodes;
  program->fRoot = reference;
  program->fStepCount = 0;
  program->fConstantCount = 0;
  if (!fNodes) return false;
  Flattener flattener(*fNodes, reinterpret_cast<ExpressionStep*>(program->fSteps), program->fConstants);
  if (!flattener.flatten(reference, 0) || !flattener.finish()) return false;
  program->fStepCount = uint16_t(flattener.stepCount());
  program->fConstantCount = uint16_t(flattener.constantCount());
  return true;
}

Property OvExpressionEvaluator::evaluate(const OvExpressionProgram& program) {
  if (!program.fNodes || program.fNodes != fNodes) return Property();
  if (!program.isFlattened()) return evaluate(program.fRoot);

  const ExpressionStep* const steps = reinterpret_cast<const ExpressionStep*>(program.fSteps);
  const Property* const constants = program.fConstants;
  OvPropertyStorage* const storage = fStorage;
  const bool builtins = fCall == &DefaultFunctionCall;
  ValueStack stack;
  // The values are stack.values up to top and, when isHeld is set, the
  // scalar (heldType, heldF, heldBits) above them: the result of an inline
  // path stays in registers until something needs it in memory. (Three plain
  // variables, so that the compiler can keep them in registers.)
  Property* top = stack.values;
  bool isHeld = false;
  PropertyType heldType = PropertyType::None;
  float heldF = 0.0f;
  uint64_t heldBits = 0;
  const auto hold = [&](const priv::Scalar& v) __attribute__((always_inline)) {
    heldType = v.type;
    heldF = v.f;
    heldBits = v.bits;
    isHeld = true;
  };
  const auto spill = [&]() __attribute__((always_inline)) {
    if (isHeld) priv::Store({heldType, heldF, heldBits}, top++);
    isHeld = false;
  };
  // The top value as a scalar, taken off the stack.
  const auto pop = [&]() __attribute__((always_inline)) -> priv::Scalar {
    if (!isHeld) return priv::ScalarOf(*--top);
    isHeld = false;
    return {heldType, heldF, heldBits};
  };
  // One binary step: its operands by form, then operator kCode.
  const auto binary = [&](const ExpressionStep& s, auto form, auto code) __attribute__((always_inline)) {
    constexpr unsigned kForm = decltype(form)::value;
    constexpr uint32_t kCode = decltype(code)::value;
    priv::Scalar x, y;
    const Property* a = nullptr;  // where x was read, null when it was held
    const Property* b = nullptr;
    if constexpr (kForm == kSS) {
      if (isHeld) {
        y = pop();
      } else {
        b = --top;
        y = priv::ScalarOf(*b);
      }
      a = --top;
      x = priv::ScalarOf(*a);
    } else if constexpr (kForm == kSC || kForm == kSP) {
      if (isHeld) {
        x = pop();
      } else {
        a = --top;
        x = priv::ScalarOf(*a);
      }
      b = kForm == kSC ? &constants[s.index] : &Read(storage, s.index);
      y = priv::ScalarOf(*b);
    } else {
      spill();
      if constexpr (kForm == kCP) {
        a = &constants[s.index];
      } else if (kForm == kPP && storage->client) {
        // A client's fetch for the right one may rewrite the left one's slot,
        // which must be read as it was: keep a copy on the stack.
        *top = *storage->get(s.index);
        a = top;
      } else {
        a = &Read(storage, s.index);
      }
      x = priv::ScalarOf(*a);
      b = kForm == kPC ? &constants[s.word] : &Read(storage, uint16_t(s.word));
      y = priv::ScalarOf(*b);
    }
    const priv::Scalar r = Fast<kCode>(x, y);
    if (r.type != priv::kUnhandled) return hold(r);
    top = ApplySlowly(kCode, a, b, x, y, top);
  };

  // Threaded dispatch: every step ends by jumping straight to the handler
  // of the next. The table has an entry for every value of an op's low
  // seven bits; prepare writes only the first kStepOpCount.
#define ORVEL_BINARY_LABEL(form, code) &&binary_##form##_##code,
#define ORVEL_BINARY_LABELS(form)                                                                 \
  ORVEL_BINARY_LABEL(form, kAdd) ORVEL_BINARY_LABEL(form, kSubtract) ORVEL_BINARY_LABEL(form, kMultiply) \
  ORVEL_BINARY_LABEL(form, kDivide) ORVEL_BINARY_LABEL(form, kModulo) ORVEL_BINARY_LABEL(form, kEqual)   \
  ORVEL_BINARY_LABEL(form, kNotEqual) ORVEL_BINARY_LABEL(form, kLess) ORVEL_BINARY_LABEL(form, kGreater) \
  ORVEL_BINARY_LABEL(form, kLessEqual) ORVEL_BINARY_LABEL(form, kGreaterEqual)                           \
  ORVEL_BINARY_LABEL(form, kLogicalOr) ORVEL_BINARY_LABEL(form, kLogicalAnd)
#define ORVEL_INVALID_8 &&invalid, &&invalid, &&invalid, &&invalid, &&invalid, &&invalid, &&invalid, &&invalid,
  static const void* const kHandlers[kStepOpTableSize] = {
      &&pushConstant, &&pushProperty, &&negateTop, &&notTop, &&jumpUnless, &&jump, &&call, &&returnTop,
      ORVEL_BINARY_LABELS(kSS) ORVEL_BINARY_LABELS(kSC) ORVEL_BINARY_LABELS(kSP)
      ORVEL_BINARY_LABELS(kPC) ORVEL_BINARY_LABELS(kPP) ORVEL_BINARY_LABELS(kCP)
      ORVEL_INVALID_8 ORVEL_INVALID_8 ORVEL_INVALID_8 ORVEL_INVALID_8 ORVEL_INVALID_8 &&invalid, &&invalid,
  };
#undef ORVEL_INVALID_8
#undef ORVEL_BINARY_LABELS
#undef ORVEL_BINARY_LABEL
  const ExpressionStep* s = steps;
#define ORVEL_NEXT_STEP() goto* kHandlers[(s = next++)->op & (kStepOpTableSize - 1)]
  const ExpressionStep* next = steps;
  ORVEL_NEXT_STEP();

pushConstant:
  spill();
  *top++ = constants[s->index];
  ORVEL_NEXT_STEP();
pushProperty:
  spill();
  *top++ = Read(storage, s->index);
  ORVEL_NEXT_STEP();
negateTop: {
  const bool wasHeld = isHeld;
  const priv::Scalar x = pop();
  const priv::Scalar r = priv::Negated(x);
  if (r.type != priv::kUnhandled) {
    hold(r);
    ORVEL_NEXT_STEP();
  }
  if (wasHeld) priv::Store(x, top);  // the operator wants the whole value
  const Property result = -*top;
  *top++ = result;
  ORVEL_NEXT_STEP();
}
notTop:
  hold(priv::BoolScalar(!priv::Truth(pop())));
  ORVEL_NEXT_STEP();
jumpUnless:
  if (!priv::Truth(pop())) next = steps + s->word;
  ORVEL_NEXT_STEP();
jump:
  next = steps + s->word;
  ORVEL_NEXT_STEP();
call:
  if (builtins) {
    // The built-ins read at most one argument, as a scalar; the rest give None.
    priv::Scalar first = {PropertyType::None, 0.0f, 0};
    if (s->code == 1) {
      first = pop();
    } else {
      spill();
      top -= s->code;
    }
    hold(CallBuiltin(s->word, s->code, first));
    ORVEL_NEXT_STEP();
  }
  spill();
  top -= s->code;  // the arguments
  {
    const Property result = fCall(fContext, s->word, top, s->code);
    *top++ = result;
  }
  ORVEL_NEXT_STEP();
returnTop:
  spill();
  return top[-1];
invalid:
  return Property();  // never written by prepare

#define ORVEL_BINARY_HANDLER(form, code)                                                         \
  binary_##form##_##code:                                                                        \
  binary(*s, std::integral_constant<unsigned, form>(), std::integral_constant<uint32_t, code>()); \
  ORVEL_NEXT_STEP();
#define ORVEL_BINARY_HANDLERS(form)                                                                              \
  ORVEL_BINARY_HANDLER(form, kAdd) ORVEL_BINARY_HANDLER(form, kSubtract) ORVEL_BINARY_HANDLER(form, kMultiply)   \
  ORVEL_BINARY_HANDLER(form, kDivide) ORVEL_BINARY_HANDLER(form, kModulo) ORVEL_BINARY_HANDLER(form, kEqual)     \
  ORVEL_BINARY_HANDLER(form, kNotEqual) ORVEL_BINARY_HANDLER(form, kLess) ORVEL_BINARY_HANDLER(form, kGreater)   \
  ORVEL_BINARY_HANDLER(form, kLessEqual) ORVEL_BINARY_HANDLER(form, kGreaterEqual)                               \
  ORVEL_BINARY_HANDLER(form, kLogicalOr) ORVEL_BINARY_HANDLER(form, kLogicalAnd)
  ORVEL_BINARY_HANDLERS(kSS)
  ORVEL_BINARY_HANDLERS(kSC)
  ORVEL_BINARY_HANDLERS(kSP)
  ORVEL_BINARY_HANDLERS(kPC)
  ORVEL_BINARY_HANDLERS(kPP)
  ORVEL_BINARY_HANDLERS(kCP)
#undef ORVEL_BINARY_HANDLERS
#undef ORVEL_BINARY_HANDLER
#undef ORVEL_NEXT_STEP
}

}  // namespace orvel
