// A bump allocator over a buffer it does not own. Space is handed out aligned
// and never given back one block at a time: reset() returns all of it at once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/export.h"

namespace orvel {

// The client's backing buffer: its capacity in bytes sits right behind the
// virtual table pointer, and its base address comes from the third virtual
// operation (after the two destructor entries).
class ORVEL_API OvAlignedBuffer {
 public:
  explicit OvAlignedBuffer(uint32_t capacity) : fCapacity(capacity) {}
  virtual ~OvAlignedBuffer();
  virtual uint8_t* base() = 0;
  uint32_t capacity() const { return fCapacity; }

 protected:
  uint32_t fCapacity;
};

// A backing buffer over caller memory (not owned; must outlive the buffer).
class ORVEL_API OvExternalAlignedBuffer : public OvAlignedBuffer {
 public:
  OvExternalAlignedBuffer(void* memory, uint32_t capacity)
      : OvAlignedBuffer(memory ? capacity : 0), fBase(static_cast<uint8_t*>(memory)) {}
  uint8_t* base() override;

 private:
  uint8_t* fBase;
};

// A backing buffer that holds its N bytes inline, 16-byte aligned.
template <uint32_t N>
class OvInlineAlignedBuffer : public OvAlignedBuffer {
 public:
  OvInlineAlignedBuffer() : OvAlignedBuffer(N) {}
  uint8_t* base() override { return fStorage; }

 private:
  alignas(16) uint8_t fStorage[N];
};

class ORVEL_API OvAlignedBufferAllocator {
 public:
  // buffer is not owned and must outlive the allocator.
  explicit OvAlignedBufferAllocator(OvAlignedBuffer* buffer) : fBuffer(buffer), fUsed(0) {}

  // size bytes aligned to alignment, or null when they do not fit (logs
  // "Insufficient buffer space to allocate %zu bytes\n"; nothing is used).
  // An alignment that is not a power of two is refused with null, unlogged.
  void* alloc(unsigned int size, unsigned int alignment);

  // Bytes handed out so far, padding included, measured from the base.
  uint32_t used() const { return fUsed; }
  // Makes the whole buffer available again.
  void reset() { fUsed = 0; }

 private:
  OvAlignedBuffer* fBuffer;
  uint32_t fUsed;
};

}  // namespace orvel
