// What the packetizer and the depacketizer share: the one cursor over packet
// bytes, and the choice of a layout's op list by its wire value.
#pragma once

#include <cstdint>
#include <cstring>

#include "orvel/transport/packet_types.h"

namespace orvel {
namespace priv {

// The layout's first, second or third op list for wire value 1, 2 or 3 (the
// whole u32 compared); null for any other value or a null layout. Layout is
// OvLayout or const OvLayout.
template <class Layout>
auto OpListOf(Layout* layout, uint32_t which) -> decltype(&layout->drawList()) {
  if (!layout) return nullptr;
  switch (which) {
    case OvLayoutPacketTypes::kDrawOpList:
      return &layout->drawList();
    case OvLayoutPacketTypes::kResourceOpList:
      return &layout->resourceList();
    case OvLayoutPacketTypes::kBindingOpList:
      return &layout->bindingList();
    default:
      return nullptr;
  }
}

// Little-endian, unaligned fields written or read in sequence, with every
// access bounded by the packet's length.

class PacketCursor {
 public:
  PacketCursor(uint8_t* data, uint32_t length) : fData(data), fLength(length), fAt(0) {}

  uint32_t position() const { return fAt; }
  uint32_t remaining() const { return fLength - fAt; }
  uint8_t* here() const { return fData + fAt; }

  // Writers: false, nothing written, when the field does not fit.
  bool put16(uint16_t v) { return putBytes(&v, 2); }
  bool put32(uint32_t v) { return putBytes(&v, 4); }
  bool putBytes(const void* src, uint32_t n) {
    if (n > remaining()) return false;
    if (n) std::memcpy(fData + fAt, src, n);
    fAt += n;
    return true;
  }
  // Writes v at an absolute offset already passed over.
  void patch32(uint32_t offset, uint32_t v) {
    if (offset <= fLength && 4 <= fLength - offset) std::memcpy(fData + offset, &v, 4);
  }
  bool skip(uint32_t n) {
    if (n > remaining()) return false;
    fAt += n;
    return true;
  }

  // Readers: false, nothing read, when the field lies past the end.
  bool get32(uint32_t* v) { return getBytes(v, 4); }
  bool getBytes(void* dst, uint32_t n) {
    if (n > remaining()) return false;
    if (n) std::memcpy(dst, fData + fAt, n);
    fAt += n;
    return true;
  }

 private:
  uint8_t* fData;
  uint32_t fLength;
  uint32_t fAt;
};

}  // namespace priv
}  // namespace orvel
