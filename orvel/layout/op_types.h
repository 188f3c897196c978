// The op record types of a layout and the header word every record starts
// with. Record layouts live beside their writers (layout records, expression
// nodes, builder records); this table is the one source of their type values.
#pragma once

#include <cstdint>

#include "orvel/layout/op_list.h"

namespace orvel {

enum OvLayoutOpType : uint32_t {
  kDrawSimpleText = 0,
  kDrawRect = 1,
  kDrawLine = 2,
  kDrawBitmap = 3,
  kDrawArc = 4,
  kDrawCircle = 5,
  kDrawPath = 6,
  kDrawTextBlob = 7,
  kTransform = 8,
  kSave = 9,
  kRestore = 10,
  kIdMap = 11,
  // 12 is unused: no writer, no reader.
  kTypeface = 13,
  kCircularText = 14,
  kDrawBitmapText = 15,
  kBitmapTypeface = 16,
  kLayoutHeader = 17,
  kBinding = 18,
  kExpressionProperty = 19,
  kExp1 = 20,
  kExp2 = 21,
  kExp3 = 22,
  kFunc0 = 23,
  kFunc1 = 24,
  kFunc2 = 25,
  kFunc3 = 26,
  kFunc4 = 27,
  kFloat = 28,
  kInt64 = 29,
  kString = 30,
  kProperty = 31,
  kFormattedNumberProperty = 32,
  kNumericLocaleConfig = 33,
  kBitmapTextBinding = 34,
};

constexpr uint32_t kLastOpType = kBitmapTextBinding;
constexpr uint32_t kOpTypeCount = kLastOpType + 1;

// The size table every writer, reader and test shares. `fixed` is the size in
// bytes of a record's fixed part, header included; a record with a variable
// tail is (fixed + tail bytes) rounded up to a multiple of 4, a fixed record is
// exactly `fixed`. Type 12 has no record (fixed 0).
struct OvOpTypeSize {
  uint32_t fixed;
  bool variable;
};

inline constexpr OvOpTypeSize kOpTypeSizes[kOpTypeCount] = {
    {64, true},    // kDrawSimpleText: + text capacity
    {36, false},   // kDrawRect
    {36, false},   // kDrawLine
    {48, false},   // kDrawBitmap
    {48, false},   // kDrawArc
    {32, false},   // kDrawCircle
    {32, true},    // kDrawPath: + 8 x points + verbs
    {56, true},    // kDrawTextBlob: + 10 x glyphs
    {40, false},   // kTransform
    {4, false},    // kSave
    {4, false},    // kRestore
    {4, true},     // kIdMap: + entries of 8 + id length rounded up to 4
    {0, false},    // 12: unused
    {12, true},    // kTypeface: + font data bytes
    {108, false},  // kCircularText
    {52, true},    // kDrawBitmapText: + 2 x glyphs
    {20, true},    // kBitmapTypeface: + 4 x glyph entries
    {12, false},   // kLayoutHeader
    {12, false},   // kBinding
    {16, false},   // kExpressionProperty
    {16, false},   // kExp1
    {24, false},   // kExp2
    {32, false},   // kExp3
    {8, false},    // kFunc0
    {16, false},   // kFunc1
    {24, false},   // kFunc2
    {32, false},   // kFunc3
    {40, false},   // kFunc4
    {8, false},    // kFloat
    {12, false},   // kInt64
    {4, true},     // kString: + characters and their NUL
    {8, false},    // kProperty
    {12, false},   // kFormattedNumberProperty
    {72, false},   // kNumericLocaleConfig
    {12, true},    // kBitmapTextBinding: + 4 x entries
};

// Fixed part of a record of the given type; 0 for type 12 and types past 34.
constexpr uint32_t OpFixedSize(uint32_t type) { return type < kOpTypeCount ? kOpTypeSizes[type].fixed : 0; }

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
                  OpFixedHeader(kExpressionProperty) == 0x00001093 &&
                  OpFixedHeader(kFormattedNumberProperty) == 0x00000CA0 &&
                  OpFixedHeader(kNumericLocaleConfig) == 0x000048A1 && OpFixedHeader(kProperty) == 0x0000089F,
              "header words of the fixed-size records");
static_assert(OpRecordSize(kDrawSimpleText, 5) == 72 && OpRecordSize(kDrawSimpleText, 9) == 76 &&
                  OpRecordSize(kDrawPath, 3 * 8 + 4) == 60 && OpRecordSize(kString, 3 + 1) == 8 &&
                  OpRecordSize(kBitmapTypeface, 4 * 3) == 32,
              "size rules of the variable records");

}  // namespace orvel
