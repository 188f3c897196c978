#include "fuzz/fuzz_setup.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "orvel/core/log.h"
#include "orvel/core/memory.h"
#include "orvel/expr/expression_ops.h"
#include "orvel/expr/expression_program.h"
#include "orvel/expr/property_storage.h"

namespace orvel {
namespace fuzz {
namespace {

// Each block carries its size in front, in a prefix that keeps the C
// allocator's alignment.
constexpr size_t kBlockPrefix = alignof(std::max_align_t) < 16 ? 16 : alignof(std::max_align_t);

size_t gHeapInUse = 0;
uint64_t gDigest = 0;
volatile uint64_t gDigestSink = 0;

bool Permit(size_t size) { return size <= kHeapBudget && size <= kHeapBudget - gHeapInUse; }

void* Allocate(size_t size) {
  if (!Permit(size)) return nullptr;
  uint8_t* block = static_cast<uint8_t*>(std::malloc(kBlockPrefix + size));
  if (!block) return nullptr;
  std::memcpy(block, &size, sizeof size);
  gHeapInUse += size;
  return block + kBlockPrefix;
}

void Release(void* p) {
  if (!p) return;
  uint8_t* block = static_cast<uint8_t*>(p) - kBlockPrefix;
  size_t size;
  std::memcpy(&size, block, sizeof size);
  gHeapInUse -= size;
  std::free(block);
}

void* Reallocate(void* p, size_t size) {
  if (!p) return Allocate(size);
  void* grown = Allocate(size);
  if (!grown) return nullptr;
  size_t old;
  std::memcpy(&old, static_cast<uint8_t*>(p) - kBlockPrefix, sizeof old);
  std::memcpy(grown, p, old < size ? old : size);
  Release(p);
  return grown;
}

void DiscardLog(void*, int, const char*, const char*) {}

// One value of every type and the awkward ones of each (the extremes of
// division, NaN, infinities, a full-length string, the reserved Opaque tag and
// a tag no type has), repeated over the store's slots.
Property SlotValue(unsigned id) {
  Property odd;
  switch (id % 20) {
    case 0: return Property::MakeU8(200);
    case 1: return Property::MakeU16(65535);
    case 2: return Property::MakeU32(4000000000u);
    case 3: return Property::MakeU64(UINT64_MAX);
    case 4: return Property::MakeS8(-128);
    case 5: return Property::MakeS16(-3);
    case 6: return Property::MakeS32(7425);
    case 7: return Property::MakeS64(INT64_MIN);
    case 8: return Property::MakeS64(-1);
    case 9: return Property::MakeFloat(std::numeric_limits<float>::quiet_NaN());
    case 10: return Property::MakeFloat(std::numeric_limits<float>::infinity());
    case 11: return Property::MakeFloat(-3.0e38f);
    case 12: return Property::MakeFloat(0.5f);
    case 13: return Property::MakeString("0123456789012345678901234567890");
    case 14: return Property::MakeString("%s%n%99999f");
    case 15: return Property::MakeBool(true);
    case 16: return Property::MakeBool(false);
    case 17: return Property();
    case 18:
      odd.type = PropertyType::Opaque;
      std::memset(&odd.value, 0xA5, sizeof odd.value);
      return odd;
    default:
      odd.type = PropertyType(0xDEADu);
      std::memset(&odd.value, 0xFF, sizeof odd.value);
      return odd;
  }
}

// Colour channels as a renderer packs them.
Property PackColour(const Property* args, unsigned count) {
  uint32_t argb = count == 3 ? 0xFF000000u : 0;
  for (unsigned i = 0; i < count; ++i) argb |= (uint32_t(args[i].toS64()) & 0xFF) << (8 * (count - 1 - i));
  return Property::MakeU32(argb);
}

// The same value: type, text, integer, truth and float (NaN matching any
// NaN, which the two ways of computing need not give with the same bits).
bool SameValue(const Property& a, const Property& b) {
  char textA[kPropertyStringSize], textB[kPropertyStringSize];
  unsigned lengthA = 0, lengthB = 0;
  a.toString(textA, &lengthA, sizeof textA, nullptr);
  b.toString(textB, &lengthB, sizeof textB, nullptr);
  const float fa = a.toFloat(), fb = b.toFloat();
  const bool sameFloat = (std::isnan(fa) && std::isnan(fb)) || std::memcmp(&fa, &fb, sizeof fa) == 0;
  return a.type == b.type && lengthA == lengthB && std::memcmp(textA, textB, lengthA) == 0 &&
         a.toS64() == b.toS64() && a.toBool() == b.toBool() && sameFloat;
}

}  // namespace

void BeginInput() {
  static const bool installed = [] {
    static const OvAllocator kBudgeted = {&Allocate, &Reallocate, &Release};
    SetAllocator(&kBudgeted);
    SetLogSink(&DiscardLog, nullptr);
    return true;
  }();
  (void)installed;
  OvPropertyStorage* store = OvPropertyStorage::getInstance();
  for (unsigned id = 0; id < OvPropertyStorage::kSlotCount; ++id) store->values[id] = SlotValue(id);
}

size_t HeapInUse() { return gHeapInUse; }

Property FunctionCall(void* context, uint32_t functionId, const Property* args, unsigned argCount) {
  switch (functionId) {
    case kFuncStr: {
      if (argCount != 2) return Property();
      char flags[kPropertyStringSize] = {};
      unsigned length = 0;
      if (args[1].isString()) std::memcpy(flags, args[1].value.str, sizeof flags - 1);
      char text[kPropertyStringSize];
      args[0].toString(text, &length, sizeof text, flags);
      FUZZ_CHECK(length <= sizeof text);
      text[length < sizeof text ? length : sizeof text - 1] = '\0';
      return Property::MakeString(text);
    }
    case kFuncTextX0: case kFuncTextY0: case kFuncTextW0: case kFuncTextH0:
      return Property::MakeFloat(12.5f);
    case kFuncTextX1: case kFuncTextY1: case kFuncTextW1: case kFuncTextH1:
    case kFuncMeasureWidth: case kFuncMeasureHeight:
      return argCount == 1 ? Property::MakeFloat(args[0].toFloat() * 0.5f) : Property();
    case kFuncColorARGB:
    case kFuncColorRGB:
      return PackColour(args, argCount);
    default:
      return DefaultFunctionCall(context, functionId, args, argCount);
  }
}

void EvaluateAndFormat(OvExpressionEvaluator& evaluator, uint32_t reference) {
  const Property value = evaluator.evaluate(reference);
  OvExpressionProgram program;
  FUZZ_CHECK(!evaluator.prepare(reference, nullptr));
  evaluator.prepare(reference, &program);
  FUZZ_CHECK(program.root() == reference);
  FUZZ_CHECK(SameValue(evaluator.evaluate(program), value));
  OvExpressionEvaluator nowhere(nullptr);
  FUZZ_CHECK(nowhere.evaluate(program).type == PropertyType::None);
  char text[64];
  unsigned length = 0;
  value.toString(text, &length, sizeof text, nullptr);
  FUZZ_CHECK(length <= sizeof text);
  Consume(text, length);
  value.toString(text, &length, 8, "+08.3");
  FUZZ_CHECK(length <= 8);
  Consume(text, length);
  const int64_t integer = value.toS64();
  const float real = value.toFloat();
  const bool truth = value.toBool();
  Consume(&integer, sizeof integer);
  Consume(&real, sizeof real);
  Consume(&truth, sizeof truth);
}

void Consume(const void* bytes, size_t length) {
  const uint8_t* p = static_cast<const uint8_t*>(bytes);
  uint64_t h = gDigest;
  for (size_t i = 0; i < length; ++i) h = (h ^ p[i]) * 0x100000001B3ull;
  gDigest = h;
  gDigestSink = h;
}

void CheckFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: fuzz check failed: %s\n", file, line, condition);
  std::abort();
}

}  // namespace fuzz
}  // namespace orvel
