#include "orvel/core/aligned_allocator.h"

#include "orvel/core/log.h"

namespace orvel {

OvAlignedBuffer::~OvAlignedBuffer() = default;

uint8_t* OvExternalAlignedBuffer::base() { return fBase; }

void* OvAlignedBufferAllocator::alloc(unsigned int size, unsigned int alignment) {
  if (alignment == 0 || (alignment & (alignment - 1)) != 0) return nullptr;
  const uintptr_t cur = reinterpret_cast<uintptr_t>(fBuffer->base()) + fUsed;
  const uintptr_t aligned = (cur + alignment - 1) & ~uintptr_t(alignment - 1);
  // 64-bit sum: padding plus request cannot wrap.
  const uint64_t need = uint64_t(aligned - cur) + size;
  const uint32_t capacity = fBuffer->capacity();
  if (fUsed <= capacity && need <= capacity - fUsed) {
    fUsed += uint32_t(need);
    return reinterpret_cast<void*>(aligned);
  }
  Log(kLogPriorityError, "Insufficient buffer space to allocate %zu bytes\n", size_t(size));
  return nullptr;
}

}  // namespace orvel
