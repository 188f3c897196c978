// The records a layout carries beside its drawing and its expressions: the
// layout header (draw list), the bindings (binding list), formatted numbers
// and the numeric locale (resource list), with the values the builder writes
// into them verbatim. Like
// every op record they are a wire format: fixed offsets, little-endian, every
// field at most 4 bytes wide so that the layout is the same on 32-bit ARM and
// x86-64 and a record needs only the 4-byte alignment op lists give it. Each
// struct is the record's fixed part, header word included, and is written with
// OvOpList::push<T>, which writes the header word and calls T::set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orvel/layout/op_list.h"
#include "orvel/layout/op_types.h"

namespace orvel {

// A number format, written verbatim; its bits are the rendering client's.
struct OvNumberFormat {
  uint32_t bits;
};

// Bytes of a numeric locale configuration.
constexpr uint32_t kNumberLocaleConfigSize = 68;

// A numeric locale configuration, written verbatim; the rendering client
// interprets its bytes.
struct OvNumberLocaleConfig {
  uint8_t bytes[kNumberLocaleConfigSize];
};

// One entry of a bitmap text binding: two values the rendering client pairs.
struct OvBitmapTextGlyphBinding {
  uint16_t first;
  uint16_t second;
};

// Type 17, the draw list's first record.
//   0 header | 4 u32 logical offset of the id table | 8 u32 id count   = 12 bytes
// Both written 0; the builder's finish fills them.
struct OvLayoutHeader {
  static constexpr uint32_t kType = kLayoutHeader;
  OvOp op;
  uint32_t idMapOffset;
  uint32_t idCount;
  void set() {
    idMapOffset = 0;
    idCount = 0;
  }
};

// Type 18, in the binding list.
//   0 header | 4 u16 binding id | 6 u16 binding kind
//   | 8 u32 element reference (logical offset of the element in the draw list)
//   = 12 bytes
struct OvBindingRecord {
  static constexpr uint32_t kType = kBinding;
  OvOp op;
  uint16_t id;
  uint16_t kind;
  uint32_t element;
  void set(uint16_t bindingId, uint16_t bindingKind, uint32_t elementRef) {
    id = bindingId;
    kind = bindingKind;
    element = elementRef;
  }
};

// Type 32, in the resource list.
//   0 header | 4 u16 first argument | 6 u16 second argument
//   | 8 u32 OvNumberFormat   = 12 bytes
struct OvFormattedNumberProperty {
  static constexpr uint32_t kType = kFormattedNumberProperty;
  OvOp op;
  uint16_t first;
  uint16_t second;
  OvNumberFormat format;
  void set(uint16_t a, uint16_t b, OvNumberFormat f) {
    first = a;
    second = b;
    format = f;
  }
};

// Type 33, in the resource list.
//   0 header | 4 the 68 bytes of an OvNumberLocaleConfig   = 72 bytes
struct OvNumericLocaleConfig {
  static constexpr uint32_t kType = kNumericLocaleConfig;
  OvOp op;
  OvNumberLocaleConfig config;
  void set(const OvNumberLocaleConfig& c) { std::memcpy(&config, &c, sizeof config); }
};

// The binding kind of a bitmap text binding record.
constexpr uint16_t kBitmapTextBindingKind = 14;

// Type 34, n entries, in the binding list.
//   0 header | 4 u32 n | 8 u32 element reference
//   | 12 n x u16 the entries' first values | 12 + 2n n x u16 their second values
// Size 12 + 4n. The two arrays follow one another, not interleaved.
struct OvBitmapTextBindingRecord {
  static constexpr uint32_t kType = kBitmapTextBinding;
  OvOp op;
  uint32_t count;
  uint32_t element;
  void set(uint32_t n, uint32_t elementRef) {
    count = n;
    element = elementRef;
  }
  // Tail bytes for n entries.
  static constexpr uint32_t TailFor(uint32_t n) { return 4 * n; }
};

// Most entries one bitmap text binding record can carry (24-bit size field).
constexpr uint32_t kMaxBitmapTextGlyphBindings = (kMaxOpSize - sizeof(OvBitmapTextBindingRecord)) / 4;

static_assert(sizeof(OvNumberFormat) == 4 && alignof(OvNumberFormat) == 4, "OvNumberFormat");
static_assert(sizeof(OvNumberLocaleConfig) == 68 && alignof(OvNumberLocaleConfig) == 1, "OvNumberLocaleConfig");
static_assert(sizeof(OvBitmapTextGlyphBinding) == 4 && offsetof(OvBitmapTextGlyphBinding, first) == 0 &&
                  offsetof(OvBitmapTextGlyphBinding, second) == 2,
              "OvBitmapTextGlyphBinding");


static_assert(offsetof(OvLayoutHeader, idMapOffset) == 4 && offsetof(OvLayoutHeader, idCount) == 8,
              "OvLayoutHeader");
static_assert(offsetof(OvBindingRecord, id) == 4 && offsetof(OvBindingRecord, kind) == 6 &&
                  offsetof(OvBindingRecord, element) == 8,
              "OvBindingRecord");
static_assert(offsetof(OvFormattedNumberProperty, first) == 4 && offsetof(OvFormattedNumberProperty, second) == 6 &&
                  offsetof(OvFormattedNumberProperty, format) == 8,
              "OvFormattedNumberProperty");
static_assert(offsetof(OvNumericLocaleConfig, config) == 4, "OvNumericLocaleConfig");
static_assert(offsetof(OvBitmapTextBindingRecord, count) == 4 && offsetof(OvBitmapTextBindingRecord, element) == 8,
              "OvBitmapTextBindingRecord");

}  // namespace orvel
