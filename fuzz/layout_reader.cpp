#include "fuzz/layout_reader.h"

#include <cstring>

#include "fuzz/fuzz_setup.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORVEL_FUZZ_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVEL_FUZZ_ASAN 1
#endif
#endif
#ifdef ORVEL_FUZZ_ASAN
#include <sanitizer/asan_interface.h>
#endif
#include "orvel/layout/records.h"
#include "orvel/expr/evaluator.h"
#include "orvel/expr/expression_ops.h"

namespace orvel {
namespace fuzz {
namespace {

constexpr uint32_t kDefaultOffsets[kOffsetProbes] = {0, 12, 48, 96};
constexpr const char* kDefaultIds[] = {"background", "gauge", "trend", "badge", ""};
// What a look-up must leave alone when it fails.
constexpr unsigned kUntouched = 0xA5A5A5A5u;

// Makes the unused end of every buffer of a layout's lists unreadable while
// alive, so that AddressSanitizer reports a read past a list's bytes even
// where the buffer's block goes on.
class TailPoison {
 public:
  explicit TailPoison(const OvLayout& layout)
      : fLists{&layout.drawList(), &layout.resourceList(), &layout.bindingList()} {
    apply(true);
  }
  ~TailPoison() { apply(false); }
  TailPoison(const TailPoison&) = delete;
  TailPoison& operator=(const TailPoison&) = delete;

 private:
  void apply(bool poison) const {
#ifdef ORVEL_FUZZ_ASAN
    for (const OvOpList* list : fLists) {
      for (const OvOpBuffer* b = list->firstBuffer(); b; b = b->next) {
        if (poison) {
          ASAN_POISON_MEMORY_REGION(b->data + b->used, b->capacity - b->used);
        } else {
          ASAN_UNPOISON_MEMORY_REGION(b->data + b->used, b->capacity - b->used);
        }
      }
    }
#else
    (void)poison;
#endif
  }

  const OvOpList* fLists[3];
};

uint32_t HeaderOf(const void* record) {
  uint32_t header;
  std::memcpy(&header, record, sizeof header);
  return header;
}

// A renderer's first look at a located draw-list record: its header, then as
// much of it as its size claims and the list holds behind it.
void ReadLocated(const OvLayout& layout, const void* record, unsigned offset) {
  uint32_t left = 0;
  const OvOp* again = layout.drawList().findOp(offset, &left);
  FUZZ_CHECK(again == record);
  FUZZ_CHECK(left >= sizeof(OvOp));
  const uint32_t size = HeaderOf(record) >> 8;
  Consume(record, size < left ? size : left);
}

// Reads each visited record whole; the visitor promises its fixed part and
// the walk promises its full size lie in the list.
struct RecordReader {
  unsigned visited = 0;
  template <class Record>
  void visit(const Record& record) {
    const uint32_t size = HeaderOf(&record) >> 8;
    FUZZ_CHECK(size >= sizeof(Record));
    Consume(&record, size);
    ++visited;
  }
};

template <class... Records>
void RegisterAll(OvOpVisitor<RecordReader>& visitor) {
  (visitor.template registerVisitor<Records>(), ...);
}

void WalkList(const OvOpList& list) {
  OvOpVisitor<RecordReader> visitor;
  RegisterAll<OvDrawSimpleText, OvDrawRect, OvDrawLine, OvDrawBitmap, OvDrawArc, OvDrawCircle, OvDrawPath,
              OvDrawTextBlob, OvTransform, OvSave, OvRestore, OvIdMap, OvTypefaceData, OvCircularTextOp,
              OvDrawBitmapText, OvBitmapTypefaceData, OvLayoutHeader, OvBindingRecord, OvExpressionProperty,
              OvExp1Node, OvExp2Node, OvExp3Node, OvFunc0Node, OvFunc1Node, OvFunc2Node, OvFunc3Node, OvFunc4Node,
              OvFloatNode, OvInt64Node, OvStringNode, OvExpProp, OvFormattedNumberProperty,
              OvNumericLocaleConfig, OvBitmapTextBindingRecord>(visitor);
  RecordReader reader;
  const bool visitedAll = visitor.visit(list, reader);

  // The same records by the raw walk: each read whole, and the visitor must
  // have taken exactly those of a known type and at least their fixed size.
  unsigned eligible = 0;
  const bool walkedAll = list.forEachOp([&](const OvOp* op, uint32_t) {
    const uint32_t header = HeaderOf(op);
    const uint32_t type = header & 63;
    const uint32_t size = header >> 8;
    FUZZ_CHECK(size >= sizeof(OvOp));
    Consume(op, size);
    if (type < kOpTypeCount && OpFixedSize(type) != 0 && size >= OpFixedSize(type)) ++eligible;
    return true;
  });
  FUZZ_CHECK(visitedAll == walkedAll);
  FUZZ_CHECK(reader.visited == eligible);
}

// getElementRef in every form; each agrees with the draw list's own look-up.
template <class... Records>
void GetElementRefs(const OvLayout& layout, unsigned offset) {
  const OvOp* expected = layout.drawList().findOp(offset);
  auto one = [&](auto* typed) {
    using Record = std::remove_pointer_t<decltype(typed)>;
    Record* record = reinterpret_cast<Record*>(uintptr_t(kUntouched));
    const bool found = layout.getElementRef<Record>(offset, &record);
    FUZZ_CHECK(found == (expected != nullptr));
    FUZZ_CHECK(static_cast<const void*>(record) == expected);
    if (found) ReadLocated(layout, record, offset);
  };
  (one(static_cast<Records*>(nullptr)), ...);
}

// findElementById<T> for a NUL-terminated id in every form; each agrees with
// the length form's answer.
template <class... Records>
void FindTyped(const OvLayout& layout, const std::string& id, bool expectFound, const OvOp* expected) {
  auto one = [&](auto* typed) {
    using Record = std::remove_pointer_t<decltype(typed)>;
    Record* record = reinterpret_cast<Record*>(uintptr_t(kUntouched));
    const bool found = layout.findElementById<Record>(id.c_str(), &record);
    FUZZ_CHECK(found == expectFound);
    if (!found) {
      FUZZ_CHECK(record == reinterpret_cast<Record*>(uintptr_t(kUntouched)));
      return;
    }
    FUZZ_CHECK(static_cast<const void*>(record) == expected);
    if (record) Consume(record, sizeof(OvOp));
  };
  (one(static_cast<Records*>(nullptr)), ...);
}

void LookUpId(const OvLayout& layout, const std::string& id) {
  OvOp* op = reinterpret_cast<OvOp*>(uintptr_t(kUntouched));
  unsigned offset = kUntouched;
  const bool found = layout.findElementById(id.data(), unsigned(id.size()), &op, &offset);
  if (!found) {
    FUZZ_CHECK(op == reinterpret_cast<OvOp*>(uintptr_t(kUntouched)) && offset == kUntouched);
  } else {
    FUZZ_CHECK(op == layout.drawList().findOp(offset));
    if (op) ReadLocated(layout, op, offset);
  }

  OvLayoutOpType type = OvLayoutOpType(kUntouched);
  unsigned typedOffset = kUntouched;
  const bool typedFound = layout.findElementById(id.data(), unsigned(id.size()), &type, &typedOffset);
  FUZZ_CHECK(typedFound == (found && op != nullptr));
  if (typedFound) {
    FUZZ_CHECK(typedOffset == offset && uint32_t(type) == (HeaderOf(op) & 63));
  } else {
    FUZZ_CHECK(uint32_t(type) == kUntouched && typedOffset == kUntouched);
  }

  // The NUL-terminated forms see the id up to its first NUL, which the probe
  // parser never lets in.
  FindTyped<OvDrawLine, OvDrawSimpleText, OvDrawRect, OvDrawCircle, OvDrawArc, OvDrawBitmap, OvDrawPath,
            OvTransform>(layout, id, found, op);
  if (found) GetElementRefs<OvDrawLine, OvDrawSimpleText, OvDrawRect, OvDrawCircle, OvDrawArc, OvDrawBitmap,
                            OvDrawPath, OvTransform>(layout, offset);
}

void CheckPropertiesInUse(const OvLayout& layout) {
  FUZZ_CHECK(layout.getPropertiesInUse(nullptr) == 0);
  OvLayout::PropertyIds ids;
  ids.fill(0xFFFF);
  const unsigned count = layout.getPropertiesInUse(&ids);
  FUZZ_CHECK(count <= OvLayout::kMaxReportedProperties);
  for (unsigned i = 0; i < count; ++i) {
    FUZZ_CHECK(ids[i] < OvLayout::kMaxReportedProperties);
    FUZZ_CHECK(i == 0 || ids[i - 1] < ids[i]);
  }
}

void Evaluate(const OvLayout& layout, const Probes& probes) {
  OvExpressionEvaluator nowhere(nullptr);
  FUZZ_CHECK(nowhere.evaluate(0).type == PropertyType::None);

  OvExpressionEvaluator evaluator(&layout.resourceList());
  evaluator.setFunctionCall(&FunctionCall, nullptr);
  unsigned budget = kMaxEvaluations;
  layout.resourceList().forEachOp([&](const OvOp* op, uint32_t) {
    const uint32_t header = HeaderOf(op);
    if ((header & 63) != kExpressionProperty || (header >> 8) < sizeof(OvExpressionProperty)) return true;
    uint32_t root;
    std::memcpy(&root, reinterpret_cast<const uint8_t*>(op) + offsetof(OvExpressionProperty, root), sizeof root);
    EvaluateAndFormat(evaluator, root);
    return --budget > kOffsetProbes;
  });
  for (uint32_t offset : probes.offsets) {
    EvaluateAndFormat(evaluator, offset);
    --budget;
  }
  layout.resourceList().forEachOp([&](const OvOp*, uint32_t offset) {
    if (budget == 0) return false;
    EvaluateAndFormat(evaluator, offset);
    return --budget > 0;
  });
}

}  // namespace

Probes ParseProbes(const uint8_t* data, size_t size) {
  Probes probes;
  size_t at = 0;
  for (unsigned i = 0; i < kOffsetProbes; ++i) {
    probes.offsets[i] = kDefaultOffsets[i];
    if (size - at >= sizeof(uint32_t)) {
      std::memcpy(&probes.offsets[i], data + at, sizeof(uint32_t));
      at += sizeof(uint32_t);
    }
  }
  while (at < size && probes.ids.size() < kMaxIdProbes) {
    const uint8_t* end = static_cast<const uint8_t*>(std::memchr(data + at, 0, size - at));
    const size_t length = end ? size_t(end - (data + at)) : size - at;
    probes.ids.emplace_back(reinterpret_cast<const char*>(data + at), length);
    at += length + 1;
  }
  if (probes.ids.empty()) probes.ids.assign(std::begin(kDefaultIds), std::end(kDefaultIds));
  return probes;
}

void ReadLayout(OvLayout& layout, const Probes& probes) {
  const TailPoison poison(layout);
  const bool loaded = layout.loadMap();
  FUZZ_CHECK(!loaded || layout.idEntries() != nullptr);
  OvOp* op;
  unsigned offset;
  FUZZ_CHECK(!layout.findElementById(nullptr, 0, &op, &offset));

  for (const std::string& id : probes.ids) LookUpId(layout, id);
  for (uint32_t probe : probes.offsets)
    GetElementRefs<OvDrawLine, OvDrawSimpleText, OvDrawRect, OvDrawCircle, OvDrawArc, OvDrawBitmap, OvDrawPath,
                   OvTransform>(layout, probe);
  CheckPropertiesInUse(layout);
  WalkList(layout.drawList());
  WalkList(layout.resourceList());
  WalkList(layout.bindingList());
  Evaluate(layout, probes);
}

}  // namespace fuzz
}  // namespace orvel
