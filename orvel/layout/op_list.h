// OvOpList: the append-only store of a layout's op records. A chain of heap
// buffers; records are appended to the last buffer, never span two buffers and
// never move, so a record's address stays valid until reset(). A record is
// named by its logical offset: the sum of the sizes of the records pushed
// before it, which is also its position in the stream serialize() produces.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/export.h"

namespace orvel {

// Every record begins with one little-endian header word: type in bits 0-5,
// bit 6 clear, bit 7 set, size in bytes (header included, a multiple of 4) in
// bits 8-31.
struct OvOp {
  uint32_t header;
  uint32_t type() const { return header & 63; }
  uint32_t size() const { return header >> 8; }
};
static_assert(sizeof(OvOp) == 4, "OvOp is the header word");

constexpr uint32_t kOpHeaderFlag = 0x80;
// Largest record: the size field is 24 bits and records are multiples of 4.
constexpr uint32_t kMaxOpSize = 0xFFFFFC;
// Header words below this are malformed: their size is under 4.
constexpr uint32_t kMinOpHeader = 1024;

constexpr uint32_t OpHeader(uint32_t type, uint32_t size) { return size << 8 | kOpHeaderFlag | type; }

// One heap block: this header, then capacity bytes of data. 16 bytes on 32-bit
// targets; the pointers widen it on 64-bit hosts.
struct OvOpBuffer {
  uint8_t* data;  // the byte right behind this header
  uint32_t capacity;
  uint32_t used;  // bytes filled from data on
  OvOpBuffer* next;
};

// The caller-held cursor of a serialisation in progress. A cursor whose buffer
// is null has not started.
struct OvSerializeIt {
  const uint8_t* position = nullptr;
  const OvOpBuffer* buffer = nullptr;
};

class ORVEL_API OvOpList {
 public:
  using Destructor = void (*)(const void* op);
  static constexpr uint32_t kDefaultMinimumBufferSize = 4096;
  static constexpr uint32_t kBufferHeaderSize = uint32_t(sizeof(OvOpBuffer));

  // table (not owned; must outlive the list) holds per-type clean-up
  // functions that reset() calls for each record; it may be null.
  explicit OvOpList(const Destructor* table = nullptr, uint32_t tableLength = 0);
  ~OvOpList();
  OvOpList(const OvOpList&) = delete;
  OvOpList& operator=(const OvOpList&) = delete;

  // Runs the destructor table over every record (stopping at a malformed
  // header), frees every buffer and empties the list.
  void reset();

  // Chains a new buffer of max(minimum buffer size, n + header) bytes, whether
  // or not the last one had room. False, list unchanged, when the allocation
  // fails or n + header does not fit in 32 bits.
  bool addBuffer(unsigned n);
  // True at once when the last buffer has n bytes free; else addBuffer(n).
  bool reserve(unsigned n);

  // The one routine behind every record writer: makes room for a record of
  // size bytes, writes its header word and makes it the last record. Null
  // (list unchanged) when size is not a multiple of 4 in [4, kMaxOpSize], when
  // type is over 63, or when no buffer could be had.
  OvOp* allocOp(uint32_t type, uint32_t size);

  // Pushes a record of type T (T::kType; sizeof(T) is its fixed part, header
  // included) with extra bytes of variable tail, size rounded up to 4, and sets
  // its fields with T::set(fields...). Returns the tail's address (where the
  // caller copies points, text or glyphs), or null when nothing was pushed.
  template <class T, class... Fields>
  void* push(uint32_t extra, const Fields&... fields) {
    if (extra > kMaxOpSize - sizeof(T)) return nullptr;
    OvOp* op = allocOp(T::kType, (uint32_t(sizeof(T)) + extra + 3) & ~3u);
    if (!op) return nullptr;
    reinterpret_cast<T*>(op)->set(fields...);
    return reinterpret_cast<uint8_t*>(op) + sizeof(T);
  }

  // Sum of the used bytes of every buffer: the length of the stream.
  uint32_t totalUsedSize() const;

  // Copies up to cap next bytes of the stream into dst, continuing from it.
  // Returns the count copied; 0 for a list without buffers.
  uint32_t serialize(unsigned char* dst, unsigned cap, OvSerializeIt* it) const;
  // True when the list is empty or the cursor stands at the end of the stream.
  bool iteratorFinished(const OvSerializeIt& it) const;

  // For the receiving side: the next n bytes of the last buffer, now counted as
  // used. Null when there is no last buffer or fewer than n bytes are free
  // (call reserve() first).
  uint8_t* deserialize(unsigned n);

  // Appends other's whole chain to this list without copying and empties other.
  void move(OvOpList& other);

  // Visits every record in stream order as visit(const OvOp* op, uint32_t
  // offset); visit returns false to stop. Zero words where a buffer's records
  // start are padding and skipped. A header below kMinOpHeader, one whose size
  // is not a multiple of 4 or one whose size runs past the buffer's used bytes
  // ends the walk: then false is returned; otherwise true. Never reads outside
  // the used bytes, and every record visited is 4-byte aligned.
  template <class Visit>
  bool forEachOp(Visit&& visit) const {
    uint32_t base = 0;
    for (const OvOpBuffer* b = fFirst; b; b = b->next) {
      const uint8_t* start = SkipPadding(b);
      const uint8_t* p = start;
      const uint8_t* end = b->data + b->used;
      while (p < end) {
        if (end - p < 4) return false;
        const OvOp* op = reinterpret_cast<const OvOp*>(p);
        if (op->header < kMinOpHeader || op->size() > uint32_t(end - p) || (op->size() & 3) != 0) return false;
        if (!visit(op, base + uint32_t(p - start))) return true;
        p += op->size();
      }
      base += uint32_t(end - start);
    }
    return true;
  }

  // The record at logical offset, or null when the offset lies past the stream,
  // falls off a 4-byte boundary of its buffer (no record starts there), or
  // fewer than 4 bytes are left behind it in its buffer. *bytesLeft (when
  // given) receives the bytes from the record to its buffer's used end; the
  // header itself is not checked.
  const OvOp* findOp(uint32_t offset, uint32_t* bytesLeft = nullptr) const;
  OvOp* findOp(uint32_t offset, uint32_t* bytesLeft = nullptr);

  const OvOpBuffer* firstBuffer() const { return fFirst; }
  const OvOpBuffer* lastBuffer() const { return fLast; }
  uint32_t minimumBufferSize() const { return fMinimumBufferSize; }
  uint32_t lastOpOffset() const { return fLastOpOffset; }
  uint32_t lastOpSize() const { return fLastOpSize; }
  OvOp* lastOp() const { return fLastOp; }

 private:
  static const uint8_t* SkipPadding(const OvOpBuffer* b);

  uint32_t fMinimumBufferSize;
  OvOpBuffer* fFirst;
  OvOpBuffer* fLast;
  uint32_t fLastOpOffset;
  uint32_t fLastOpSize;
  OvOp* fLastOp;
  const Destructor* fDestructors;
  uint32_t fDestructorCount;
};

}  // namespace orvel
