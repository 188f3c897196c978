// The op record types of a layout, in one table: each type once, with its
// number, record struct, fixed size, whether a variable tail follows, the op
// list it lives in, whether an element id may name it, and how many
// expression-node references it carries. The enum, the size table, the names,
// the element predicate and the evaluator's node shapes all come from it, and
// records.h ties every record struct to its row with static_asserts.
#pragma once

#include <cstdint>

#include "orvel/layout/op_list.h"

namespace orvel {

// The list a record type lives in (the wire values of the three lists; kNone
// for the type without records).
enum class OvOpListKind : uint8_t { kNone = 0, kDraw = 1, kResource = 2, kBinding = 3 };

// X(value, Name, Record, fixed, variable, list, element, refs):
//   fixed     size of the record's fixed part, header included; a variable
//             record is (fixed + tail) rounded up to a multiple of 4
//   variable  whether a tail follows the fixed part
//   list      the op list the record lives in
//   element   whether an element id may name the record (typed look-ups)
//   refs      expression-node references the record carries (nodes only)
// Type 12 has no row: no writer and no reader use it.
#define ORVEL_OP_TYPES(X)                                                               \
  X(0, DrawSimpleText, OvDrawSimpleText, 64, true, kDraw, true, 0)     /* + capacity */ \
  X(1, DrawRect, OvDrawRect, 36, false, kDraw, true, 0)                                 \
  X(2, DrawLine, OvDrawLine, 36, false, kDraw, true, 0)                                 \
  X(3, DrawBitmap, OvDrawBitmap, 48, false, kDraw, true, 0)                             \
  X(4, DrawArc, OvDrawArc, 48, false, kDraw, true, 0)                                   \
  X(5, DrawCircle, OvDrawCircle, 32, false, kDraw, true, 0)                             \
  X(6, DrawPath, OvDrawPath, 32, true, kDraw, true, 0)         /* + 8 P + V */          \
  X(7, DrawTextBlob, OvDrawTextBlob, 56, true, kDraw, true, 0) /* + 10 glyphs */        \
  X(8, Transform, OvTransform, 40, false, kDraw, true, 0)                               \
  X(9, Save, OvSave, 4, false, kDraw, false, 0)                                         \
  X(10, Restore, OvRestore, 4, false, kDraw, false, 0)                                  \
  X(11, IdMap, OvIdMap, 4, true, kDraw, false, 0) /* + entries */                       \
  X(13, Typeface, OvTypefaceData, 12, true, kResource, false, 0) /* + font bytes */     \
  X(14, CircularText, OvCircularTextOp, 108, false, kDraw, false, 0)                    \
  X(15, DrawBitmapText, OvDrawBitmapText, 52, true, kDraw, true, 0) /* + 2 glyphs */    \
  X(16, BitmapTypeface, OvBitmapTypefaceData, 20, true, kResource, false, 0) /* + 4G */ \
  X(17, LayoutHeader, OvLayoutHeader, 12, false, kDraw, false, 0)                       \
  X(18, Binding, OvBindingRecord, 12, false, kBinding, false, 0)                        \
  X(19, ExpressionProperty, OvExpressionProperty, 16, false, kResource, false, 0)       \
  X(20, Exp1, OvExp1Node, 16, false, kResource, false, 1)                               \
  X(21, Exp2, OvExp2Node, 24, false, kResource, false, 2)                               \
  X(22, Exp3, OvExp3Node, 32, false, kResource, false, 3)                               \
  X(23, Func0, OvFunc0Node, 8, false, kResource, false, 0)                              \
  X(24, Func1, OvFunc1Node, 16, false, kResource, false, 1)                             \
  X(25, Func2, OvFunc2Node, 24, false, kResource, false, 2)                             \
  X(26, Func3, OvFunc3Node, 32, false, kResource, false, 3)                             \
  X(27, Func4, OvFunc4Node, 40, false, kResource, false, 4)                             \
  X(28, Float, OvFloatNode, 8, false, kResource, false, 0)                              \
  X(29, Int64, OvInt64Node, 12, false, kResource, false, 0)                             \
  X(30, String, OvStringNode, 4, true, kResource, false, 0) /* + text and NUL */        \
  X(31, Property, OvExpProp, 8, false, kResource, false, 0)                             \
  X(32, FormattedNumberProperty, OvFormattedNumberProperty, 12, false, kResource, false, 0) \
  X(33, NumericLocaleConfig, OvNumericLocaleConfig, 72, false, kResource, false, 0)     \
  X(34, BitmapTextBinding, OvBitmapTextBindingRecord, 12, true, kBinding, false, 0) /* + 4n */

enum OvLayoutOpType : uint32_t {
#define ORVEL_OP_ENUM(value, Name, Record, fixed, variable, list, element, refs) k##Name = value,
  ORVEL_OP_TYPES(ORVEL_OP_ENUM)
#undef ORVEL_OP_ENUM
};

constexpr uint32_t kLastOpType = kBitmapTextBinding;
constexpr uint32_t kOpTypeCount = kLastOpType + 1;

// One row of the table, by type value. The unused type 12 (and any type past
// 34, which OpTypeInfo maps to it) has a zero fixed size and no name.
struct OvOpTypeInfo {
  const char* name;  // "DrawRect"; null for type 12
  uint32_t fixed;
  bool variable;
  OvOpListKind list;
  bool element;
  uint8_t refs;
};

namespace priv {
struct OvOpTypeTable {
  OvOpTypeInfo rows[kOpTypeCount + 1];  // the last row stands for every unknown type
  constexpr OvOpTypeTable() : rows() {
    // Every row written once before the table's own rows: GCC does not take
    // rows that are only value-initialised as constant.
    for (OvOpTypeInfo& row : rows) row = OvOpTypeInfo{nullptr, 0, false, OvOpListKind::kNone, false, 0};
#define ORVEL_OP_ROW(value, Name, Record, fixed, variable, list, element, refs) \
  rows[value] = OvOpTypeInfo{#Name, fixed, variable, OvOpListKind::list, element, refs};
    ORVEL_OP_TYPES(ORVEL_OP_ROW)
#undef ORVEL_OP_ROW
  }
};
inline constexpr OvOpTypeTable kOpTypeTable;
}  // namespace priv

// The row of a type; types 12 and past 34 give an empty row (fixed size 0,
// null name).
constexpr const OvOpTypeInfo& OpTypeInfo(uint32_t type) {
  return priv::kOpTypeTable.rows[type < kOpTypeCount ? type : kOpTypeCount];
}

// Fixed part of a record of the given type; 0 for type 12 and types past 34.
constexpr uint32_t OpFixedSize(uint32_t type) { return OpTypeInfo(type).fixed; }

// The type's name without its k ("DrawRect"), or null for type 12 and types
// past 34.
constexpr const char* OpTypeName(uint32_t type) { return OpTypeInfo(type).name; }

// Size of a record with `tail` bytes behind its fixed part: rounded up to 4.
// The caller keeps tail at most kMaxOpSize - OpFixedSize(type).
constexpr uint32_t OpRecordSize(uint32_t type, uint32_t tail) { return (OpFixedSize(type) + tail + 3) & ~3u; }

// Header word of a record without tail: the constant header of a fixed-size
// type, the empty form of a variable one (0 for type 12 and types past 34).
constexpr uint32_t OpFixedHeader(uint32_t type) {
  return OpFixedSize(type) ? OpHeader(type, OpFixedSize(type)) : 0;
}

static_assert(OpFixedHeader(kDrawRect) == 0x00002481 && OpFixedHeader(kDrawLine) == 0x00002482 &&
                  OpFixedHeader(kDrawBitmap) == 0x00003083 && OpFixedHeader(kDrawArc) == 0x00003084 &&
                  OpFixedHeader(kDrawCircle) == 0x00002085 && OpFixedHeader(kTransform) == 0x00002888 &&
                  OpFixedHeader(kSave) == 0x00000489 && OpFixedHeader(kRestore) == 0x0000048A &&
                  OpFixedHeader(kIdMap) == 0x0000048B && OpFixedHeader(kCircularText) == 0x00006C8E &&
                  OpFixedHeader(kLayoutHeader) == 0x00000C91 && OpFixedHeader(kBinding) == 0x00000C92 &&
                  OpFixedHeader(kExpressionProperty) == 0x00001093 && OpFixedHeader(kExp1) == 0x00001094 &&
                  OpFixedHeader(kExp2) == 0x00001895 && OpFixedHeader(kExp3) == 0x00002096 &&
                  OpFixedHeader(kFunc0) == 0x00000897 && OpFixedHeader(kFunc4) == 0x0000289B &&
                  OpFixedHeader(kFloat) == 0x0000089C && OpFixedHeader(kInt64) == 0x00000C9D &&
                  OpFixedHeader(kFormattedNumberProperty) == 0x00000CA0 &&
                  OpFixedHeader(kNumericLocaleConfig) == 0x000048A1 && OpFixedHeader(kProperty) == 0x0000089F,
              "header words of the fixed-size records");
static_assert(OpRecordSize(kDrawSimpleText, 5) == 72 && OpRecordSize(kDrawSimpleText, 9) == 76 &&
                  OpRecordSize(kDrawPath, 3 * 8 + 4) == 60 && OpRecordSize(kString, 3 + 1) == 8 &&
                  OpRecordSize(kBitmapTypeface, 4 * 3) == 32 && OpFixedSize(12) == 0 && OpFixedSize(35) == 0,
              "size rules of the variable records");

}  // namespace orvel
