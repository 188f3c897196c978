// OvLayout: a finished, shippable picture. Three op lists (the draw list:
// layout header, drawing records, id table last; the resource list:
// typefaces, expression properties and nodes; the binding list) and a view of
// the element-id table, used in place in the draw list's bytes.
//
// A layout may come from another device. Every query here stays inside the
// draw list's bytes whatever its header, id table or offsets say: the id-table
// walk is bounded by the table record's own size, and a lying entry ends the
// search. Records handed back are only located (at least their 4-byte header
// lies in the list); a reader checks their type and size before reading on.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "orvel/core/export.h"
#include "orvel/layout/op_list.h"
#include "orvel/layout/op_types.h"
#include "orvel/layout/records.h"

namespace orvel {

// A dispatch table over op types: one entry per type, each null or a call of
// state.visit(const Record&) for the record type registered there. Walking a
// list calls the entry of each record's type in list order; types past 34,
// types without an entry and records shorter than their type's fixed size are
// skipped.
template <class V>
class OvOpVisitor {
 public:
  // Dispatches records of Record::kType to V::visit(const Record&).
  template <class Record>
  void registerVisitor() {
    static_assert(Record::kType < kOpTypeCount && sizeof(Record) <= OpFixedSize(Record::kType),
                  "a visited record lies within its type's fixed part");
    fEntries[Record::kType] = &Call<Record>;
  }

  // Walks list; false when a malformed header ended the walk early.
  bool visit(const OvOpList& list, V& state) const {
    return list.forEachOp([&](const OvOp* op, uint32_t) {
      const uint32_t type = op->type();
      if (type < kOpTypeCount && fEntries[type] && op->size() >= OpFixedSize(type)) fEntries[type](op, state);
      return true;
    });
  }

 private:
  using Entry = void (*)(const OvOp*, V&);
  template <class Record>
  static void Call(const OvOp* op, V& state) {
    state.visit(*reinterpret_cast<const Record*>(op));
  }

  Entry fEntries[kOpTypeCount] = {};
};

// One expression property of a layout's resource list.
struct OvExpressionPropertyInfo {
  uint32_t offset;      // logical offset of the property record in the resource list
  uint16_t propertyId;  // the id the value is published under
  uint16_t resultType;  // the declared PropertyType of the result
  uint32_t root;        // logical offset of the expression's root node
};

// One binding of a layout's binding list. name is the id that names the bound
// element in the id table (not NUL-terminated; null when no id names it, or
// before loadMap). A bitmap text binding (kind 14) has id 0 and its entries'
// first and second values in two arrays of count u16 each, inside the record;
// other bindings have count 0 and null arrays.
struct OvBindingInfo {
  const char* name;
  uint32_t nameLength;
  uint16_t id;
  uint16_t kind;
  uint32_t element;  // logical offset of the bound element in the draw list
  uint32_t count;
  const uint8_t* firsts;   // count little-endian u16, 2-aligned at least
  const uint8_t* seconds;  // count little-endian u16
};

class ORVEL_API OvLayout {
 public:
  // Property ids that getPropertiesInUse can report: 0 to 39.
  static constexpr uint32_t kMaxReportedProperties = 40;
  using PropertyIds = std::array<unsigned short, kMaxReportedProperties>;

  // Three empty lists, no id table.
  OvLayout();
  // Frees the three lists' buffers.
  ~OvLayout();
  OvLayout(const OvLayout&) = delete;
  OvLayout& operator=(const OvLayout&) = delete;

  // Empties the three lists and forgets the id table (look-ups fail until the
  // next loadMap).
  void reset();

  // Makes the id table usable: the draw list's first record must be a layout
  // header (type 17, at least 12 bytes) naming, by offset, a well-formed id
  // table record (type 11, lying wholly in its buffer). False otherwise, with
  // the previous table view kept.
  bool loadMap();

  // Looks id (idLength bytes; null never matches) up in the table, entry by
  // entry. On a match writes the record (null when no record lies at the
  // entry's offset) and the offset, and returns true. False, outputs
  // untouched, with no match, no table, or an entry that runs past the table.
  bool findElementById(const char* id, unsigned idLength, OvOp** op, unsigned* offset) const;
  // As above, but writes the offset and the record's type. Also false, outputs
  // untouched, when no record lies at the matching entry's offset.
  bool findElementById(const char* id, unsigned idLength, OvLayoutOpType* type, unsigned* offset) const;
  // As above for a NUL-terminated id; writes the record as a T* without
  // checking its type (ask the type form first when unsure). T is a record
  // type that an element id may name (OvIsElementRecord).
  template <class T>
  bool findElementById(const char* id, T** op) const;

  // The record at a logical offset of the draw list, as a T* (no type check);
  // false and null when no record lies there.
  template <class T>
  bool getElementRef(unsigned offset, T** op) const;

  // Writes, ascending from index 0, the property ids (0 to 39) that the
  // resource list's expression properties (type 19) and property nodes
  // (type 31) name, each once; returns how many. Ids of 40 or more are
  // ignored; a malformed header ends the walk with what was found before it.
  // A null ids gives 0.
  unsigned getPropertiesInUse(PropertyIds* ids) const;

  // Calls visit(const OvExpressionPropertyInfo&) for each expression property
  // of the resource list, in list order; visit returns false to stop.
  // Records shorter than their type are skipped; a malformed header ends the
  // walk (false is then returned).
  template <class Visit>
  bool forEachExpressionProperty(Visit&& visit) const;
  // Calls visit(const OvBindingInfo&) for each binding and bitmap text binding
  // of the binding list, in list order; visit returns false to stop. A bitmap
  // text binding whose entries run past its record is skipped, as are records
  // shorter than their type; a malformed header ends the walk (false).
  template <class Visit>
  bool forEachBinding(Visit&& visit) const;

  OvOpList& drawList() { return fDrawList; }
  const OvOpList& drawList() const { return fDrawList; }
  OvOpList& resourceList() { return fResourceList; }
  const OvOpList& resourceList() const { return fResourceList; }
  OvOpList& bindingList() { return fBindingList; }
  const OvOpList& bindingList() const { return fBindingList; }
  // First byte of the first id entry (null before a successful loadMap).
  const uint8_t* idEntries() const { return fIdEntries; }
  // Entry count that the header names (0 before a successful loadMap).
  uint32_t idCount() const { return fIdCount; }

 private:
  // The matching entry's record offset; false on no match or a lying entry.
  bool findEntry(const char* id, unsigned idLength, uint32_t* offset) const;
  // The id of the first entry naming the record at offset; false when none
  // does (or a lying entry comes first).
  bool findName(uint32_t offset, const char** name, uint32_t* length) const;
  // Calls match(chars, length, offset) for each entry in table order until it
  // returns true; false when none did or an entry runs past the table.
  template <class Match>
  bool findIdEntry(Match&& match) const;
  OvOp* locate(unsigned offset) const;

  OvOpList fDrawList;
  OvOpList fResourceList;
  OvOpList fBindingList;
  const uint8_t* fIdEntries;
  uint32_t fIdCount;
  uint32_t fIdBytes;  // bytes of the table behind its header: the walk's bound
};

template <class Visit>
bool OvLayout::forEachExpressionProperty(Visit&& visit) const {
  return fResourceList.forEachOp([&](const OvOp* op, uint32_t offset) {
    if (op->type() != kExpressionProperty || op->size() < sizeof(OvExpressionProperty)) return true;
    const auto* r = reinterpret_cast<const OvExpressionProperty*>(op);
    return bool(visit(OvExpressionPropertyInfo{offset, r->propertyId, r->resultType, r->root.offset}));
  });
}

template <class Visit>
bool OvLayout::forEachBinding(Visit&& visit) const {
  return fBindingList.forEachOp([&](const OvOp* op, uint32_t) {
    OvBindingInfo info{};
    if (op->type() == kBinding && op->size() >= sizeof(OvBindingRecord)) {
      const auto* r = reinterpret_cast<const OvBindingRecord*>(op);
      info.id = r->id;
      info.kind = r->kind;
      info.element = r->element;
    } else if (op->type() == kBitmapTextBinding && op->size() >= sizeof(OvBitmapTextBindingRecord)) {
      const auto* r = reinterpret_cast<const OvBitmapTextBindingRecord*>(op);
      if (r->count > (op->size() - sizeof *r) / 4) return true;
      info.kind = kBitmapTextBindingKind;
      info.element = r->element;
      info.count = r->count;
      info.firsts = reinterpret_cast<const uint8_t*>(r + 1);
      info.seconds = info.firsts + 2 * size_t(r->count);
    } else {
      return true;
    }
    findName(info.element, &info.name, &info.nameLength);
    return bool(visit(static_cast<const OvBindingInfo&>(info)));
  });
}

template <class T>
bool OvLayout::findElementById(const char* id, T** op) const {
  static_assert(OvIsElementRecord<T>::value, "ids name drawing and transform records only");
  if (!id) return false;
  OvOp* found;
  unsigned offset;
  if (!findElementById(id, unsigned(std::strlen(id)), &found, &offset)) return false;
  *op = reinterpret_cast<T*>(found);
  return true;
}

template <class T>
bool OvLayout::getElementRef(unsigned offset, T** op) const {
  static_assert(OvIsElementRecord<T>::value, "ids name drawing and transform records only");
  *op = reinterpret_cast<T*>(locate(offset));
  return *op != nullptr;
}

}  // namespace orvel
