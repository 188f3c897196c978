// The glyph cache: per-glyph data that is costly to produce (a GlyphInfo
// followed by the glyph's bitmap, laid out by the font implementation) kept in
// one process-wide GlyphCache. Its core is a FIFO cache of at most 128 entries
// whose bytes live in one fixed 21000-byte buffer, allocated as a ring and
// evicted strictly oldest first. Nothing is allocated: the cache is a static
// object and entries hand out pointers into its buffer, valid until the entry
// is evicted or the cache flushed.
//
// A frame marks what it draws as in use (lookup and put do), so that a caller
// can ask before inserting whether the insertion would evict data still
// referenced in the frame; markAllUnused starts the next frame.
//
// No lock: the cache and the canvas glyph fetcher are plain process-wide state
// for the drawing thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"
#include "orvel/core/paint.h"
#include "orvel/text/font.h"

namespace orvel {

// What identifies one glyph's cached data, 16 bytes:
//   offset 0  u32  glyph id
//   offset 4  u32  typeface id (0 for a font without a typeface)
//   offset 8  f32  paint value: the paint's stroke width
//   offset 12 u32  packed: bits 0-15 font size, 16-25 low 10 bits of the
//                  weight, 26 variant, 27 the font's first further word is 1,
//                  28 its second is 0, 29 paint flag 0x20; 30-31 ignored
// Keys are equal when glyph and typeface agree, the paint values compare equal
// as floats (a NaN never matches, so a NaN key is never found) and the packed
// words agree in bits 0 to 29.
template <typename Glyph>
struct FontCacheKey {
  static constexpr uint32_t kWeightShift = 16;
  static constexpr uint32_t kWeightMask = 0x3FF;
  static constexpr uint32_t kVariantBit = 1u << 26;
  static constexpr uint32_t kFirstExtraIsOneBit = 1u << 27;
  static constexpr uint32_t kSecondExtraIsZeroBit = 1u << 28;
  static constexpr uint32_t kPaintFlagBit = 1u << 29;
  static constexpr uint32_t kPaintFlag = 0x20;  // the paint flags bit that kPaintFlagBit mirrors
  static constexpr uint32_t kComparedBits = 0x3FFFFFFF;

  Glyph glyph;
  uint32_t typeface;
  float paintValue;
  uint32_t packed;

  // The key of a glyph drawn with font and paint; variant sets bit 26.
  static FontCacheKey Make(const OvFont& font, const OvPaint& paint, Glyph glyph, bool variant) {
    const OvTypeface* typeface = font.getTypeface();
    const uint32_t packed =
        uint32_t(uint16_t(font.getSize())) | (uint32_t(font.getWeight() & kWeightMask) << kWeightShift) |
        (variant ? kVariantBit : 0) | (font.getExtraField(0) == 1 ? kFirstExtraIsOneBit : 0) |
        (font.getExtraField(1) == 0 ? kSecondExtraIsZeroBit : 0) | (paint.getFlags() & kPaintFlag ? kPaintFlagBit : 0);
    return FontCacheKey{glyph, typeface ? typeface->id : 0u, paint.getStrokeWidth(), packed};
  }

  bool operator==(const FontCacheKey& other) const {
    return glyph == other.glyph && typeface == other.typeface && paintValue == other.paintValue &&
           ((packed ^ other.packed) & kComparedBits) == 0;
  }
  bool operator!=(const FontCacheKey& other) const { return !(*this == other); }
};

static_assert(sizeof(FontCacheKey<unsigned int>) == 16, "FontCacheKey<unsigned int> is 16 bytes");
static_assert(offsetof(FontCacheKey<unsigned int>, typeface) == 4 &&
                  offsetof(FontCacheKey<unsigned int>, paintValue) == 8 &&
                  offsetof(FontCacheKey<unsigned int>, packed) == 12,
              "FontCacheKey field offsets");

// What a glyph cache offers its users. Virtual slots after the two destructor
// slots: lookup, put, putWillEvictInUse, flush, markAllUnused.
template <typename Key>
class ORVEL_API GlyphCacheInterface {
 public:
  // A cached entry: its key and its bytes inside the cache (size bytes at data).
  struct Entry {
    Key key;
    void* data;
    uint32_t size;
  };

  virtual ~GlyphCacheInterface();
  // On a hit marks the entry in use, fills *out and returns true. False on a
  // miss or a null out.
  virtual bool lookup(const Key& key, Entry* out) = 0;
  // Reserves size bytes for key, marked in use; the caller writes the data.
  virtual Entry put(const Key& key, unsigned short size) = 0;
  // Whether put(key, size) would evict an entry marked in use.
  virtual bool putWillEvictInUse(const Key& key, unsigned short size) const = 0;
  // Forgets every entry.
  virtual void flush() = 0;
  // Clears every entry's in-use mark.
  virtual void markAllUnused() = 0;
};

// The ring: up to Capacity entries over one BufferSize-byte buffer, evicted
// oldest first; the free space is always one run (free). Evicting the oldest
// entry E:
//   - a zero-size E leaves the run as it is;
//   - otherwise the run starts at 0 when E lies below the run's start (else it
//     keeps its start) and ends where the next live entry starts, or at the
//     buffer's end when there is none or the next one wrapped below E.
// So the space at the end of the buffer that a wrap skipped is given up until
// the ring comes round.
//
// put(key, size): a live entry with key and the same size is returned as it
// is (its in-use mark unchanged); with another size it is evicted first,
// together with everything older. Then a full ring evicts its oldest entry,
// and the oldest entries go until the free run holds size bytes. The entry
// takes the run's start. Should the run still be too short once the cache is
// empty (a size above BufferSize, or a run left short because the last
// entries evicted were zero-size ones), put returns an empty entry (null
// data, size 0) after those evictions and stores nothing: it never hands out
// space outside the buffer.
//
// putWillEvictInUse replays put's evictions exactly, the one a full ring makes
// included, without changing anything.
template <typename Key, unsigned int Capacity, unsigned int BufferSize>
class ORVEL_API FIFOCache : public GlyphCacheInterface<Key> {
  static_assert(Capacity >= 1 && Capacity <= 0x8000, "slot arithmetic wraps once");

 public:
  using Entry = typename GlyphCacheInterface<Key>::Entry;
  static constexpr unsigned int kCapacity = Capacity;
  static constexpr unsigned int kBufferSize = BufferSize;

  // A run of buffer bytes.
  struct BufferChunk {
    uint32_t start;
    uint32_t size;
  };
  // One ring slot: the key and where its bytes lie.
  struct Slot {
    Key key;
    uint32_t offset;  // into the buffer
    uint16_t size;
    uint8_t inUse;
  };

  // Empty: everything zero, the free run the whole buffer.
  FIFOCache();
  ~FIFOCache() override;
  FIFOCache(const FIFOCache&) = delete;
  FIFOCache& operator=(const FIFOCache&) = delete;

  bool lookup(const Key& key, Entry* out) override;
  Entry put(const Key& key, unsigned short size) override;
  // False on an empty cache and when key is live with the same size.
  bool putWillEvictInUse(const Key& key, unsigned short size) const override;
  // Empties the ring; the run becomes the whole buffer. The bytes stay.
  void flush() override;
  void markAllUnused() override;

  // Evicts the oldest entries up to and including the one with key. When no
  // live entry has key, all are evicted and "Error evicting fifo cache entry;
  // item not found" is logged.
  void evict(const Key& key);
  // The walk of evict(key) without changing the cache: starts *index entries
  // after the oldest, applies each eviction to *chunk instead of the free run
  // and advances *index past each entry it passes. True as soon as it passes
  // an entry in use (the one with key included); false when it reaches key.
  // Reaching the end without key logs "Error dry-run evicting fifo cache
  // entry; item not found" and returns false. False for a null index or chunk.
  bool evictWillEvictInUse(const Key& key, unsigned int* index, BufferChunk* chunk) const;

  // Inspection: live entries, the free run, the i-th live slot counted from
  // the oldest (null for i >= count()), and the buffer.
  unsigned int count() const { return fCount; }
  BufferChunk freeRun() const { return fFree; }
  const Slot* liveSlot(unsigned int i) const { return i < fCount ? &fEntries[slotOf(i)] : nullptr; }
  const unsigned char* buffer() const { return fBuffer; }

 private:
  unsigned int slotOf(unsigned int i) const { return fHead + i >= Capacity ? fHead + i - Capacity : fHead + i; }
  // The live index of key, or -1.
  int find(const Key& key) const;
  // The free run after evicting the i-th live entry from a ring whose run is chunk.
  BufferChunk afterEvicting(BufferChunk chunk, unsigned int i) const;
  void evictOldest();
  Entry entryOf(const Slot& slot) { return Entry{slot.key, fBuffer + slot.offset, slot.size}; }

  alignas(4) unsigned char fBuffer[BufferSize];
  BufferChunk fFree;
  Slot fEntries[Capacity];
  uint32_t fHead;   // slot of the oldest entry
  uint32_t fTail;   // slot after the newest
  uint32_t fCount;  // live entries
};

extern template class ORVEL_API GlyphCacheInterface<FontCacheKey<unsigned int>>;
extern template class ORVEL_API FIFOCache<FontCacheKey<unsigned int>, 128, 21000>;

// The process-wide cache: the FIFO ring, then a fixed table of up to 64
// entries whose bytes the font implementation owns (glyphs it keeps ready, for
// example); lookups search the ring first.
class ORVEL_API GlyphCache : public FIFOCache<FontCacheKey<unsigned int>, 128, 21000> {
 public:
  using Key = FontCacheKey<unsigned int>;
  static constexpr unsigned int kFixedCapacity = 64;

  // An empty ring and an empty fixed table.
  GlyphCache();
  ~GlyphCache() override;

  using FIFOCache::lookup;
  // The data of key (a ring hit is marked in use), rounded up to a multiple of
  // 4, or null on a miss. The rounded pointer never leaves the entry: a hit
  // with no byte at or after it (a zero-size entry, or one of fewer than 4
  // bytes at an unaligned address) returns null as well.
  const void* lookup(const Key& key);
  // As lookup, and *bytes receives the entry's bytes from the returned
  // pointer on (0 when null is returned). Null for a null bytes.
  const void* lookupData(const Key& key, uint32_t* bytes);
  // Appends an entry over data (not owned, must outlive the cache's use of
  // it). False, with nothing stored, for null data or a full table.
  bool addFixedEntry(const Key& key, const void* data, uint32_t size);
  unsigned int fixedCount() const { return fFixedCount; }

 private:
  // A key, a data pointer and a size: 24 bytes on the 32-bit target, like a
  // ring slot.
  struct FixedEntry {
    Key key;
    const void* data;
    uint32_t size;
  };
  FixedEntry fFixed[kFixedCapacity];
  uint16_t fFixedCount;
};

// The process-wide GlyphCache, constructed at load time (or by the first get()
// should another library's static initialiser come first).
class ORVEL_API GlyphCacheProvider {
 public:
  static GlyphCache* get();
};

// Constructs the process-wide cache in place, again: empty ring, whole buffer
// free, empty fixed table. Pointers it handed out lose their entries.
ORVEL_API void ConstructGlobalGlyphCache();

// The first 16 bytes of a glyph's cached data; the font implementation that
// fills the cache defines the words.
struct ORVEL_API GlyphInfo {
  uint32_t words[4];
};

static_assert(sizeof(GlyphInfo) == 16, "GlyphInfo is 16 bytes");

// The font implementation's glyph producer. The base class produces nothing.
// Built without RTTI like the library; its virtual table lives in the library.
class ORVEL_API GlyphFetcher {
 public:
  virtual ~GlyphFetcher();
  // The glyph as a bitmap in *out; false in the base class.
  virtual bool getGlyphAsBitmap(const OvFont& font, const OvPaint& paint, unsigned short glyph, OvBitmap* out);
  // Produces the glyph and puts its data into the process-wide cache under
  // key, the GlyphInfo first at the entry's data rounded up to a multiple of 4
  // (an entry may start at any byte: reserve 3 bytes more than that). False in
  // the base class.
  virtual bool loadGlyphAsBitmap(const OvFont& font, const OvPaint& paint, unsigned short glyph, OvBitmap* out,
                                 const FontCacheKey<unsigned int>& key);

  // Copies the glyph's GlyphInfo from the process-wide cache to *out: the key
  // with the variant bit set to variant, else the key with it inverted. On a
  // double miss, and only when variant is true, the canvas glyph fetcher loads
  // the glyph (under the first key) and the info is copied if it then is in
  // the cache. An entry with fewer than 16 bytes from its aligned start holds
  // no GlyphInfo and counts as a miss. False on a miss, without a canvas
  // fetcher, or for a null out.
  static bool getGlyphInfo(const OvFont& font, const OvPaint& paint, unsigned short glyph, bool variant,
                           GlyphInfo* out);

  // The process-wide fetcher (null at start) that getGlyphInfo loads through;
  // not owned, it must stay alive while set. Setting null clears it.
  static GlyphFetcher* GetCanvasGlyphFetcher();
  static void SetCanvasGlyphFetcher(GlyphFetcher* fetcher);
};

}  // namespace orvel
