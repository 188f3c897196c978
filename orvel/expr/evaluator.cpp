#include "orvel/expr/evaluator.h"

#include <cmath>
#include <cstring>

#include "orvel/expr/expr_nodes.h"

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

// Fixed size and child count of node types kExp1 .. kProperty.
struct NodeShape {
  uint32_t minimumSize;
  unsigned children;
};
constexpr NodeShape kShapes[] = {
    {OvExp1Node::kSize, 1},  {OvExp2Node::kSize, 2},  {OvExp3Node::kSize, 3},    {OvFunc0Node::kSize, 0},
    {OvFunc1Node::kSize, 1}, {OvFunc2Node::kSize, 2}, {OvFunc3Node::kSize, 3},   {OvFunc4Node::kSize, 4},
    {OvFloatNode::kSize, 0}, {OvInt64Node::kSize, 0}, {OvStringNode::SizeFor(0), 0}, {OvPropertyNode::kSize, 0},
};
static_assert(sizeof(kShapes) / sizeof(kShapes[0]) == kProperty - kExp1 + 1, "one shape per node type");

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

}  // namespace

Property DefaultFunctionCall(void*, uint32_t functionId, const Property* args, unsigned argCount) {
  if (functionId == kFuncPI) return argCount == 0 ? Property::MakeFloat(kPi) : Property();
  if (argCount != 1 || !args) return Property();
  const float x = args[0].toFloat();
  switch (functionId) {
    case kFuncCos: return Property::MakeFloat(std::cos(x));
    case kFuncSin: return Property::MakeFloat(std::sin(x));
    case kFuncFloor: return Property::MakeFloat(std::floor(x));
    case kFuncCeil: return Property::MakeFloat(std::ceil(x));
    case kFuncToIntS32: return Property::MakeS32(ClampToS32(args[0].toS64()));
    default: return Property();
  }
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

  uint32_t bytesLeft = 0;
  const OvOp* op = fNodes->findOp(reference, &bytesLeft);
  if (!op) return Property();
  const uint8_t* p = reinterpret_cast<const uint8_t*>(op);
  const uint32_t header = ReadU32(p, 0);
  const uint32_t type = header & 63, size = header >> 8;
  if ((header & 0xC0) != kOpHeaderFlag || type < kExp1 || type > kProperty) return Property();
  const NodeShape& shape = kShapes[type - kExp1];
  if (size > bytesLeft || size < shape.minimumSize) return Property();

  const uint32_t code = type <= kFunc4 ? ReadU32(p, kCodeOffset) : 0;  // operator or function id
  if (!FitsNode(type, code)) return Property();
  uint32_t refs[kMaxFuncArgs];
  for (unsigned i = 0; i < shape.children; ++i) {
    refs[i] = ReadU32(p, kFirstRefOffset + i * sizeof(OvNodeRef));
    if (refs[i] >= reference) return Property();  // children always come first
  }

  switch (type) {
    case kExp1: return ApplyUnary(code, evaluateNode(refs[0], depth + 1));
    case kExp2: {
      const Property a = evaluateNode(refs[0], depth + 1);
      const Property b = evaluateNode(refs[1], depth + 1);
      return ApplyBinary(code, a, b);
    }
    case kExp3: {
      const bool chooseFirst = evaluateNode(refs[0], depth + 1).toBool();
      return evaluateNode(chooseFirst ? refs[1] : refs[2], depth + 1);
    }
    case kFloat: {
      float v;
      std::memcpy(&v, p + offsetof(OvFloatNode, value), sizeof v);
      return Property::MakeFloat(v);
    }
    case kInt64: {
      int64_t v;
      std::memcpy(&v, p + offsetof(OvInt64Node, valueBytes), sizeof v);
      return Property::MakeS64(v);
    }
    case kString: {
      const char* text = reinterpret_cast<const char*>(p + OvStringNode::kFixedSize);
      if (!std::memchr(text, 0, size - OvStringNode::kFixedSize)) return Property();
      return Property::MakeString(text);
    }
    case kProperty: {
      uint16_t id;
      std::memcpy(&id, p + offsetof(OvPropertyNode, id), sizeof id);
      return *fStorage->get(id);
    }
    default: return evaluateCall(code, refs, shape.children, depth);
  }
}

Property OvExpressionEvaluator::evaluateCall(uint32_t functionId, const uint32_t* refs, unsigned count,
                                             unsigned depth) {
  Property args[kMaxFuncArgs];
  for (unsigned i = 0; i < count; ++i) args[i] = evaluateNode(refs[i], depth + 1);
  if (fAborted) return Property();
  return fCall(fContext, functionId, args, count);
}

}  // namespace orvel
