// The one cursor over packet bytes: little-endian, unaligned fields written or
// read in sequence, with every access bounded by the packet's length.
#pragma once

#include <cstdint>
#include <cstring>

namespace orvel {
namespace priv {

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
