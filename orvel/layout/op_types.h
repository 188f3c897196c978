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

}  // namespace orvel
