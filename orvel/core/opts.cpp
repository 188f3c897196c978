#include "orvel/core/opts.h"

#include <cstdint>

namespace orvel {
namespace OvOpts {
namespace {

inline unsigned int Swap02(unsigned int v) { return ((v >> 16) & 0xFF) | (v & 0xFF00FF00u) | ((v & 0xFF) << 16); }

}  // namespace

void memset32(void* dst, unsigned int value, int count) {
  uint32_t* p = static_cast<uint32_t*>(dst);
  for (; count >= 4; count -= 4, p += 4) {
    p[0] = value;
    p[1] = value;
    p[2] = value;
    p[3] = value;
  }
  for (; count > 0; --count) *p++ = value;
}

void memset16(void* dst, unsigned short value, int count) {
  uint16_t* p = static_cast<uint16_t*>(dst);
  for (; count >= 8; count -= 8, p += 8) {
    for (int i = 0; i < 8; ++i) p[i] = value;
  }
  for (; count > 0; --count) *p++ = value;
}

void RGBA_to_BGRA(unsigned int* dst, const unsigned int* src, int count) {
  if (count <= 0) return;
  int i = 0;
  const uintptr_t d = reinterpret_cast<uintptr_t>(dst), s = reinterpret_cast<uintptr_t>(src);
  const uintptr_t bytes = uintptr_t(count) * sizeof(unsigned int);
  const bool disjoint = d + bytes <= s || s + bytes <= d;
  if (count >= 4 && disjoint) {
    for (; count - i >= 4; i += 4) {
      dst[i] = Swap02(src[i]);
      dst[i + 1] = Swap02(src[i + 1]);
      dst[i + 2] = Swap02(src[i + 2]);
      dst[i + 3] = Swap02(src[i + 3]);
    }
  }
  for (; i < count; ++i) dst[i] = Swap02(src[i]);
}

}  // namespace OvOpts
}  // namespace orvel
