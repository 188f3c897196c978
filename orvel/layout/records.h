// Every op record of a layout: the drawing records, the expression nodes and
// expression properties, and the header, binding, number-format and locale
// records. Each record struct is tied here to its row of the op table: its
// type, and a size equal to the row's fixed part.
#pragma once

#include <cstddef>
#include <type_traits>

#include "orvel/layout/draw_records.h"
#include "orvel/layout/expression_records.h"
#include "orvel/layout/layout_records.h"
#include "orvel/layout/op_types.h"

namespace orvel {

// Whether an element id may name records of type T: the typed look-ups of a
// layout accept these types only.
template <class T>
struct OvIsElementRecord : std::false_type {};

#define ORVEL_OP_RECORD(value, Name, Record, fixed, variable, list, element, refs)                         \
  static_assert(Record::kType == value && sizeof(Record) == fixed && alignof(Record) == 4,                 \
                #Record " is the fixed part of its op type");                                              \
  template <>                                                                                              \
  struct OvIsElementRecord<Record> : std::integral_constant<bool, element> {};
ORVEL_OP_TYPES(ORVEL_OP_RECORD)
#undef ORVEL_OP_RECORD

}  // namespace orvel
