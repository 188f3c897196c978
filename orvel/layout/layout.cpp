#include "orvel/layout/layout.h"

#include <cstddef>
#include <cstring>

namespace orvel {
namespace {

uint32_t ReadU32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

struct PropertyFlags {
  uint8_t seen[OvLayout::kMaxReportedProperties] = {};
  void mark(uint16_t id) {
    if (id < OvLayout::kMaxReportedProperties) seen[id] = 1;
  }
  void visit(const OvExpressionProperty& r) { mark(r.propertyId); }
  void visit(const OvExpProp& r) { mark(r.id); }
};

}  // namespace

OvLayout::OvLayout()
    : fDrawList(nullptr, 0),
      fResourceList(nullptr, 0),
      fBindingList(nullptr, 0),
      fIdEntries(nullptr),
      fIdCount(0),
      fIdBytes(0) {}

OvLayout::~OvLayout() { reset(); }

void OvLayout::reset() {
  fDrawList.reset();
  fResourceList.reset();
  fBindingList.reset();
  // The table lived in the freed draw list; forget it rather than keep a
  // dangling view.
  fIdEntries = nullptr;
  fIdCount = 0;
  fIdBytes = 0;
}

bool OvLayout::loadMap() {
  uint32_t left = 0;
  const OvOp* header = fDrawList.findOp(0, &left);
  const uint32_t headerSize = OpFixedSize(kLayoutHeader);
  if (!header || header->type() != kLayoutHeader || header->size() < headerSize || left < headerSize) return false;
  const uint8_t* h = reinterpret_cast<const uint8_t*>(header);
  const uint32_t mapOffset = ReadU32(h + offsetof(OvLayoutHeader, idMapOffset));
  const uint32_t count = ReadU32(h + offsetof(OvLayoutHeader, idCount));

  const OvOp* map = fDrawList.findOp(mapOffset, &left);
  if (!map || map->type() != kIdMap || map->header < kMinOpHeader || map->size() > left) return false;
  fIdEntries = reinterpret_cast<const uint8_t*>(map) + sizeof(OvOp);
  fIdCount = count;
  fIdBytes = map->size() - uint32_t(sizeof(OvOp));
  return true;
}

template <class Match>
bool OvLayout::findIdEntry(Match&& match) const {
  if (!fIdEntries) return false;
  uint32_t at = 0;
  for (uint32_t i = 0; i < fIdCount; ++i) {
    if (at > fIdBytes || fIdBytes - at < sizeof(OvIdMapEntry)) return false;
    const uint8_t* entry = fIdEntries + at;
    const uint32_t length = ReadU32(entry + offsetof(OvIdMapEntry, length));
    if (length > fIdBytes - at - sizeof(OvIdMapEntry)) return false;
    const char* chars = reinterpret_cast<const char*>(entry + sizeof(OvIdMapEntry));
    if (match(chars, length, ReadU32(entry + offsetof(OvIdMapEntry, offset)))) return true;
    // Cannot wrap: at + 8 + length is within the table, whose size is below 2^24.
    at = (at + uint32_t(sizeof(OvIdMapEntry)) + length + 3) & ~3u;
  }
  return false;
}

bool OvLayout::findEntry(const char* id, unsigned idLength, uint32_t* offset) const {
  if (!id) return false;
  return findIdEntry([&](const char* chars, uint32_t length, uint32_t at) {
    if (length != idLength || (length != 0 && std::memcmp(chars, id, length) != 0)) return false;
    *offset = at;
    return true;
  });
}

bool OvLayout::findName(uint32_t offset, const char** name, uint32_t* length) const {
  return findIdEntry([&](const char* chars, uint32_t n, uint32_t at) {
    if (at != offset) return false;
    *name = chars;
    *length = n;
    return true;
  });
}

OvOp* OvLayout::locate(unsigned offset) const { return const_cast<OvOp*>(fDrawList.findOp(offset)); }

bool OvLayout::findElementById(const char* id, unsigned idLength, OvOp** op, unsigned* offset) const {
  uint32_t target;
  if (!findEntry(id, idLength, &target)) return false;
  *op = locate(target);
  *offset = target;
  return true;
}

bool OvLayout::findElementById(const char* id, unsigned idLength, OvLayoutOpType* type, unsigned* offset) const {
  uint32_t target;
  if (!findEntry(id, idLength, &target)) return false;
  const OvOp* op = locate(target);
  if (!op) return false;
  *type = OvLayoutOpType(op->type());
  *offset = target;
  return true;
}

unsigned OvLayout::getPropertiesInUse(PropertyIds* ids) const {
  if (!ids) return 0;
  OvOpVisitor<PropertyFlags> visitor;
  visitor.registerVisitor<OvExpressionProperty>();
  visitor.registerVisitor<OvExpProp>();
  PropertyFlags flags;
  visitor.visit(fResourceList, flags);
  unsigned count = 0;
  for (uint16_t id = 0; id < kMaxReportedProperties; ++id) {
    if (flags.seen[id]) (*ids)[count++] = id;
  }
  return count;
}

}  // namespace orvel
