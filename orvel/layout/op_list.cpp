#include "orvel/layout/op_list.h"

#include <cstring>

#include "orvel/core/memory.h"

namespace orvel {

static_assert(sizeof(void*) != 4 || sizeof(OvOpBuffer) == 16, "a buffer header is 16 bytes on 32-bit targets");

OvOpList::OvOpList(const Destructor* table, uint32_t tableLength)
    : fMinimumBufferSize(kDefaultMinimumBufferSize),
      fFirst(nullptr),
      fLast(nullptr),
      fLastOpOffset(0),
      fLastOpSize(0),
      fLastOp(nullptr),
      fDestructors(table),
      fDestructorCount(tableLength) {}

OvOpList::~OvOpList() { reset(); }

const uint8_t* OvOpList::SkipPadding(const OvOpBuffer* b) {
  const uint8_t* p = b->data;
  const uint8_t* end = b->data + b->used;
  while (end - p >= 4 && *reinterpret_cast<const uint32_t*>(p) == 0) p += 4;
  return p;
}

void OvOpList::reset() {
  if (fDestructors && fFirst) {
    forEachOp([this](const OvOp* op, uint32_t) {
      if (op->type() < fDestructorCount && fDestructors[op->type()]) fDestructors[op->type()](op);
      return true;
    });
  }
  for (OvOpBuffer* b = fFirst; b;) {
    OvOpBuffer* next = b->next;
    OvFree(b);
    b = next;
  }
  fFirst = nullptr;
  fLast = nullptr;
  fLastOpOffset = 0;
  fLastOpSize = 0;
  fLastOp = nullptr;
}

bool OvOpList::addBuffer(unsigned n) {
  if (n > UINT32_MAX - kBufferHeaderSize) return false;
  uint32_t blockSize = n + kBufferHeaderSize;
  if (blockSize < fMinimumBufferSize) blockSize = fMinimumBufferSize;
  void* block = OvMalloc(blockSize);
  if (!block) return false;
  OvOpBuffer* b = static_cast<OvOpBuffer*>(block);
  b->data = static_cast<uint8_t*>(block) + kBufferHeaderSize;
  b->capacity = blockSize - kBufferHeaderSize;
  b->used = 0;
  b->next = nullptr;
  if (fLast) {
    fLast->next = b;
  } else {
    fFirst = b;
  }
  fLast = b;
  return true;
}

bool OvOpList::reserve(unsigned n) {
  if (fLast && n <= fLast->capacity - fLast->used) return true;
  return addBuffer(n);
}

OvOp* OvOpList::allocOp(uint32_t type, uint32_t size) {
  if (type > 63 || size < 4 || size > kMaxOpSize || (size & 3) != 0) return nullptr;
  if (!fLast || size > fLast->capacity - fLast->used) {
    if (!addBuffer(size)) return nullptr;
  }
  OvOp* op = reinterpret_cast<OvOp*>(fLast->data + fLast->used);
  fLast->used += size;
  op->header = OpHeader(type, size);
  fLastOp = op;
  fLastOpOffset += fLastOpSize;
  fLastOpSize = size;
  return op;
}

uint32_t OvOpList::totalUsedSize() const {
  uint32_t total = 0;
  for (const OvOpBuffer* b = fFirst; b; b = b->next) total += b->used;
  return total;
}

uint32_t OvOpList::serialize(unsigned char* dst, unsigned cap, OvSerializeIt* it) const {
  if (!fFirst || !fLast) return 0;
  if (!it->buffer) {
    it->buffer = fFirst;
    it->position = fFirst->data;
  }
  uint32_t written = 0;
  for (;;) {
    const OvOpBuffer* b = it->buffer;
    const uint8_t* end = b->data + b->used;
    if (b == fLast && it->position == end) break;
    if (written == cap) break;
    const size_t avail = size_t(end - it->position);
    if (avail > 0) {
      const uint32_t n = avail < cap - written ? uint32_t(avail) : cap - written;
      std::memcpy(dst + written, it->position, n);
      it->position += n;
      written += n;
    } else {
      if (!b->next) break;
      it->buffer = b->next;
      it->position = b->next->data;
    }
  }
  return written;
}

bool OvOpList::iteratorFinished(const OvSerializeIt& it) const {
  if (!fLast || !fFirst || totalUsedSize() == 0) return true;
  return it.buffer == fLast && it.position == fLast->data + fLast->used;
}

uint8_t* OvOpList::deserialize(unsigned n) {
  if (!fLast || n > fLast->capacity - fLast->used) return nullptr;
  uint8_t* p = fLast->data + fLast->used;
  fLast->used += n;
  return p;
}

void OvOpList::move(OvOpList& other) {
  if (&other == this || !other.fLast || !other.fFirst || other.totalUsedSize() == 0) return;
  if (fLast) {
    fLast->next = other.fFirst;
  } else {
    fFirst = other.fFirst;
  }
  fLast = other.fLast;
  other.fFirst = nullptr;
  fLastOpOffset = fLastOpOffset + fLastOpSize + other.fLastOpOffset;
  fLastOpSize = other.fLastOpSize;
  if (other.fLastOp) fLastOp = other.fLastOp;
  other.reset();
}

const OvOp* OvOpList::findOp(uint32_t offset, uint32_t* bytesLeft) const {
  for (const OvOpBuffer* b = fFirst; b; b = b->next) {
    const uint8_t* p = SkipPadding(b);
    const uint32_t n = uint32_t(b->data + b->used - p);
    if (offset < n) {
      // Records are multiples of 4 long and start 4-aligned in their buffer,
      // so none starts elsewhere; received bytes that say otherwise (an odd
      // offset, or a buffer filled to an odd length) name no record.
      if ((offset & 3) != 0 || n - offset < 4) return nullptr;
      if (bytesLeft) *bytesLeft = n - offset;
      return reinterpret_cast<const OvOp*>(p + offset);
    }
    offset -= n;
  }
  return nullptr;
}

OvOp* OvOpList::findOp(uint32_t offset, uint32_t* bytesLeft) {
  return const_cast<OvOp*>(static_cast<const OvOpList*>(this)->findOp(offset, bytesLeft));
}

}  // namespace orvel
