// Expression node records: the wire form of a parsed expression, stored in a
// layout's resource list and evaluated on the rendering device, and the
// expression property record that names an expression's root node. Every
// node is an op record (header word: type, 0x80 flag, size) followed by
// little-endian fields; records are only 4-byte aligned, so every field here
// is at most 32 bits wide and 64-bit values are read through accessors that
// copy bytes. A node reference is the logical offset of a node record in the
// same op list; children are always written before their parent. What the
// operator codes and function ids mean belongs to the expression language.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orvel/layout/op_types.h"

namespace orvel {

// Most arguments a call node carries.
constexpr uint32_t kMaxNodeArgs = 4;

// A child reference: a u64 on the wire whose low word is the child's logical
// offset and whose high word is written as zero (readers use the low word).
struct OvNodeRef {
  uint32_t offset;
  uint32_t high;
};
static_assert(sizeof(OvNodeRef) == 8 && alignof(OvNodeRef) == 4, "ref is 8 bytes, 4-aligned");
static_assert(offsetof(OvNodeRef, offset) == 0 && offsetof(OvNodeRef, high) == 4, "ref words");

// Operator node with N operands (kExp1, kExp2, kExp3).
//   0 u32 header | 4 u32 operator | 8 ref operand 1 | 16 ref 2 | 24 ref 3
template <uint32_t N>
struct OvExpNode {
  static_assert(N >= 1 && N <= 3, "operator nodes take 1 to 3 operands");
  static constexpr uint32_t kType = kExp1 + (N - 1);
  static constexpr uint32_t kSize = 8 + 8 * N;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  uint32_t op;  // the operator code
  OvNodeRef operands[N];
};
using OvExp1Node = OvExpNode<1>;
using OvExp2Node = OvExpNode<2>;
using OvExp3Node = OvExpNode<3>;

// Call node with N arguments (kFunc0 .. kFunc4).
//   0 u32 header | 4 u32 function id | 8 ref argument 1 | ... | 32 ref argument 4
template <uint32_t N>
struct OvFuncNode {
  static_assert(N >= 1 && N <= kMaxNodeArgs, "call nodes take 0 to 4 arguments");
  static constexpr uint32_t kType = kFunc0 + N;
  static constexpr uint32_t kSize = 8 + 8 * N;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  uint32_t id;  // the built-in function id
  OvNodeRef args[N];
};
template <>
struct OvFuncNode<0> {
  static constexpr uint32_t kType = kFunc0;
  static constexpr uint32_t kSize = 8;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  uint32_t id;  // the built-in function id
};
using OvFunc0Node = OvFuncNode<0>;
using OvFunc1Node = OvFuncNode<1>;
using OvFunc2Node = OvFuncNode<2>;
using OvFunc3Node = OvFuncNode<3>;
using OvFunc4Node = OvFuncNode<4>;

// Float literal.  0 u32 header | 4 f32 value
struct OvFloatNode {
  static constexpr uint32_t kType = kFloat;
  static constexpr uint32_t kSize = 8;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  float value;
};

// Integer literal.  0 u32 header | 4 s64 value (low word at 4, high word at 8;
// only 4-byte aligned, hence the byte array and accessors).
struct OvInt64Node {
  static constexpr uint32_t kType = kInt64;
  static constexpr uint32_t kSize = 12;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  unsigned char valueBytes[8];
  int64_t value() const {
    int64_t v;
    std::memcpy(&v, valueBytes, sizeof v);
    return v;
  }
  void setValue(int64_t v) { std::memcpy(valueBytes, &v, sizeof v); }
};

// String literal.  0 u32 header | 4 characters and their NUL | padding to a
// multiple of 4. Size (length + 8) & ~3. A reader must find the NUL within the
// record before using the text.
struct OvStringNode {
  static constexpr uint32_t kType = kString;
  static constexpr uint32_t kFixedSize = 4;
  uint32_t header;
  static constexpr uint32_t SizeFor(uint32_t length) { return (length + 8) & ~3u; }
};

// Property read.  0 u32 header | 4 u16 property id | 6 two padding bytes
struct OvExpProp {
  static constexpr uint32_t kType = kProperty;
  static constexpr uint32_t kSize = 8;
  static constexpr uint32_t kHeader = OpHeader(kType, kSize);
  uint32_t header;
  uint16_t id;
  uint16_t padding;
};

static_assert(sizeof(OvExp1Node) == 16 && OvExp1Node::kHeader == 0x00001094, "kExp1");
static_assert(sizeof(OvExp2Node) == 24 && OvExp2Node::kHeader == 0x00001895, "kExp2");
static_assert(sizeof(OvExp3Node) == 32 && OvExp3Node::kHeader == 0x00002096, "kExp3");
static_assert(offsetof(OvExp3Node, header) == 0 && offsetof(OvExp3Node, op) == 4 &&
                  offsetof(OvExp3Node, operands) == 8,
              "operator node fields");
static_assert(offsetof(OvExp1Node, operands) == 8 && offsetof(OvExp2Node, operands) == 8, "operands at 8");
static_assert(sizeof(OvFunc0Node) == 8 && OvFunc0Node::kHeader == 0x00000897, "kFunc0");
static_assert(sizeof(OvFunc1Node) == 16 && OvFunc1Node::kHeader == 0x00001098, "kFunc1");
static_assert(sizeof(OvFunc2Node) == 24 && OvFunc2Node::kHeader == 0x00001899, "kFunc2");
static_assert(sizeof(OvFunc3Node) == 32 && OvFunc3Node::kHeader == 0x0000209A, "kFunc3");
static_assert(sizeof(OvFunc4Node) == 40 && OvFunc4Node::kHeader == 0x0000289B, "kFunc4");
static_assert(offsetof(OvFunc0Node, id) == 4 && offsetof(OvFunc4Node, id) == 4 && offsetof(OvFunc4Node, args) == 8,
              "call node fields");
static_assert(offsetof(OvFunc1Node, args) == 8 && offsetof(OvFunc2Node, args) == 8 &&
                  offsetof(OvFunc3Node, args) == 8,
              "arguments at 8");
static_assert(sizeof(OvFloatNode) == 8 && offsetof(OvFloatNode, value) == 4 &&
                  OvFloatNode::kHeader == 0x0000089C,
              "kFloat");
static_assert(sizeof(OvInt64Node) == 12 && alignof(OvInt64Node) == 4 && offsetof(OvInt64Node, valueBytes) == 4 &&
                  OvInt64Node::kHeader == 0x00000C9D,
              "kInt64");
static_assert(sizeof(OvStringNode) == 4 && OvStringNode::SizeFor(0) == 8 && OvStringNode::SizeFor(3) == 8 &&
                  OvStringNode::SizeFor(4) == 12,
              "kString");
static_assert(sizeof(OvExpProp) == 8 && offsetof(OvExpProp, id) == 4 &&
                  offsetof(OvExpProp, padding) == 6 && OvExpProp::kHeader == 0x0000089F,
              "kProperty");
static_assert(sizeof(float) == 4, "f32");


// Type 19, in the resource list.
//   0 header | 4 u16 property id | 6 u16 PropertyType of the result
//   | 8 ref root node (u64: low word the node's logical offset, high word 0)
//   = 16 bytes
struct OvExpressionProperty {
  static constexpr uint32_t kType = kExpressionProperty;
  OvOp op;
  uint16_t propertyId;
  uint16_t resultType;
  OvNodeRef root;
  void set(uint16_t id, uint16_t type, uint32_t rootNode) {
    propertyId = id;
    resultType = type;
    root.offset = rootNode;
    root.high = 0;
  }
};
static_assert(offsetof(OvExpressionProperty, propertyId) == 4 && offsetof(OvExpressionProperty, resultType) == 6 &&
                  offsetof(OvExpressionProperty, root) == 8,
              "OvExpressionProperty");

}  // namespace orvel
