#include "orvel/text/glyph_cache.h"

#include <cstring>
#include <new>

#include "orvel/core/log.h"

namespace orvel {

template <typename Key>
GlyphCacheInterface<Key>::~GlyphCacheInterface() = default;

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
FIFOCache<Key, Capacity, BufferSize>::FIFOCache()
    : fBuffer{}, fFree{0, BufferSize}, fEntries{}, fHead(0), fTail(0), fCount(0) {}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
FIFOCache<Key, Capacity, BufferSize>::~FIFOCache() = default;

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
int FIFOCache<Key, Capacity, BufferSize>::find(const Key& key) const {
  // The live slots are at most two runs of the array: up to its end, then
  // from its start.
  const unsigned int first = fCount < Capacity - fHead ? fCount : Capacity - fHead;
  for (unsigned int i = 0; i < first; ++i) {
    if (fEntries[fHead + i].key == key) return int(i);
  }
  for (unsigned int i = first; i < fCount; ++i) {
    if (fEntries[i - first].key == key) return int(i);
  }
  return -1;
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
bool FIFOCache<Key, Capacity, BufferSize>::lookup(const Key& key, Entry* out) {
  const int i = out ? find(key) : -1;
  if (i < 0) return false;
  Slot& slot = fEntries[slotOf(unsigned(i))];
  slot.inUse = 1;
  *out = entryOf(slot);
  return true;
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
typename FIFOCache<Key, Capacity, BufferSize>::BufferChunk FIFOCache<Key, Capacity, BufferSize>::afterEvicting(
    BufferChunk chunk, unsigned int i) const {
  const Slot& evicted = fEntries[slotOf(i)];
  if (evicted.size == 0) return chunk;
  const uint32_t start = evicted.offset < chunk.start ? 0 : chunk.start;
  uint32_t end = BufferSize;
  if (i + 1 < fCount) {
    const uint32_t next = fEntries[slotOf(i + 1)].offset;
    if (next >= evicted.offset) end = next;
  }
  // Offsets and run starts never pass the buffer's end, so end >= start for
  // the cache's own run; a caller's arbitrary chunk only gets a wrapped value.
  return BufferChunk{start, end - start};
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
void FIFOCache<Key, Capacity, BufferSize>::evictOldest() {
  fFree = afterEvicting(fFree, 0);
  fHead = slotOf(1);
  if (--fCount == 0) fHead = fTail = 0;
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
void FIFOCache<Key, Capacity, BufferSize>::evict(const Key& key) {
  while (fCount > 0) {
    const bool found = fEntries[fHead].key == key;
    evictOldest();
    if (found) return;
  }
  Log(kLogPriorityError, "Error evicting fifo cache entry; item not found");
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
bool FIFOCache<Key, Capacity, BufferSize>::evictWillEvictInUse(const Key& key, unsigned int* index,
                                                               BufferChunk* chunk) const {
  if (!index || !chunk) return false;
  while (*index < fCount) {
    const Slot& slot = fEntries[slotOf(*index)];
    *chunk = afterEvicting(*chunk, (*index)++);
    if (slot.inUse) return true;
    if (slot.key == key) return false;
  }
  Log(kLogPriorityError, "Error dry-run evicting fifo cache entry; item not found");
  return false;
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
typename FIFOCache<Key, Capacity, BufferSize>::Entry FIFOCache<Key, Capacity, BufferSize>::put(const Key& key,
                                                                                               unsigned short size) {
  const int found = find(key);
  if (found >= 0) {
    Slot& slot = fEntries[slotOf(unsigned(found))];
    if (slot.size == size) return entryOf(slot);
    evict(key);
  }
  if (fCount == Capacity) evictOldest();
  while (fFree.size < size && fCount > 0) evictOldest();
  if (fFree.size < size) return Entry{key, nullptr, 0};
  Slot& slot = fEntries[fTail];
  slot = Slot{key, fFree.start, size, 1};
  fTail = fTail + 1 == Capacity ? 0 : fTail + 1;
  ++fCount;
  fFree.start += size;
  fFree.size -= size;
  return entryOf(slot);
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
bool FIFOCache<Key, Capacity, BufferSize>::putWillEvictInUse(const Key& key, unsigned short size) const {
  if (fCount == 0) return false;
  unsigned int index = 0;
  BufferChunk chunk = fFree;
  const int found = find(key);
  if (found >= 0) {
    if (fEntries[slotOf(unsigned(found))].size == size) return false;
    if (evictWillEvictInUse(key, &index, &chunk)) return true;
  }
  // A full ring evicts its oldest entry before it looks at the room, and that
  // eviction may shorten the run (the end of the buffer is given up).
  if (fCount - index == Capacity) {
    if (fEntries[fHead].inUse) return true;
    chunk = afterEvicting(chunk, index++);
  }
  for (; chunk.size < size && index < fCount; ++index) {
    if (fEntries[slotOf(index)].inUse) return true;
    chunk = afterEvicting(chunk, index);
  }
  return false;
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
void FIFOCache<Key, Capacity, BufferSize>::flush() {
  fHead = fTail = fCount = 0;
  fFree = BufferChunk{0, BufferSize};
}

template <typename Key, unsigned int Capacity, unsigned int BufferSize>
void FIFOCache<Key, Capacity, BufferSize>::markAllUnused() {
  for (unsigned int i = 0; i < fCount; ++i) fEntries[slotOf(i)].inUse = 0;
}

template class GlyphCacheInterface<FontCacheKey<unsigned int>>;
template class FIFOCache<FontCacheKey<unsigned int>, 128, 21000>;

static_assert(sizeof(GlyphCache::Slot) == 24, "a ring slot is 24 bytes");
static_assert(sizeof(void*) != 4 || sizeof(GlyphCache::Entry) == 24, "an entry is 24 bytes on the 32-bit target");

GlyphCache::GlyphCache() : fFixed{}, fFixedCount(0) {}

GlyphCache::~GlyphCache() = default;

const void* GlyphCache::lookup(const Key& key) {
  uint32_t bytes;
  return lookupData(key, &bytes);
}

const void* GlyphCache::lookupData(const Key& key, uint32_t* bytes) {
  if (!bytes) return nullptr;
  *bytes = 0;
  Entry hit;
  const void* data = nullptr;
  uint32_t size = 0;
  if (FIFOCache::lookup(key, &hit)) {
    data = hit.data, size = hit.size;
  } else {
    for (unsigned int i = 0; i < fFixedCount && !data; ++i) {
      if (fFixed[i].key == key) data = fFixed[i].data, size = fFixed[i].size;
    }
  }
  // The distance up to the next multiple of 4; the rounded pointer must still
  // lie inside the entry.
  const uint32_t pad = uint32_t(0u - reinterpret_cast<uintptr_t>(data)) & 3u;
  if (!data || pad >= size) return nullptr;
  *bytes = size - pad;
  return static_cast<const unsigned char*>(data) + pad;
}

bool GlyphCache::addFixedEntry(const Key& key, const void* data, uint32_t size) {
  if (!data || fFixedCount >= kFixedCapacity) return false;
  fFixed[fFixedCount++] = FixedEntry{key, data, size};
  return true;
}

namespace {

// Raw static storage (bss): the cache is built in place, never on the heap,
// and no destructor is registered for exit.
alignas(GlyphCache) unsigned char gCacheStorage[sizeof(GlyphCache)];
GlyphCache* gCache = nullptr;
GlyphFetcher* gCanvasFetcher = nullptr;

// Copies the GlyphInfo of key when the cache holds one.
bool CopyGlyphInfo(const GlyphCache::Key& key, GlyphInfo* out) {
  uint32_t bytes;
  const void* data = GlyphCacheProvider::get()->lookupData(key, &bytes);
  if (!data || bytes < sizeof(GlyphInfo)) return false;
  std::memcpy(out, data, sizeof(GlyphInfo));
  return true;
}

}  // namespace

void ConstructGlobalGlyphCache() { gCache = new (gCacheStorage) GlyphCache(); }

GlyphCache* GlyphCacheProvider::get() {
  if (!gCache) ConstructGlobalGlyphCache();
  return gCache;
}

namespace {
[[maybe_unused]] const GlyphCache* const gConstructedAtLoad = GlyphCacheProvider::get();
}  // namespace

GlyphFetcher::~GlyphFetcher() = default;

bool GlyphFetcher::getGlyphAsBitmap(const OvFont&, const OvPaint&, unsigned short, OvBitmap*) { return false; }

bool GlyphFetcher::loadGlyphAsBitmap(const OvFont&, const OvPaint&, unsigned short, OvBitmap*,
                                     const FontCacheKey<unsigned int>&) {
  return false;
}

bool GlyphFetcher::getGlyphInfo(const OvFont& font, const OvPaint& paint, unsigned short glyph, bool variant,
                                GlyphInfo* out) {
  if (!out) return false;
  const GlyphCache::Key key = GlyphCache::Key::Make(font, paint, glyph, variant);
  GlyphCache::Key inverted = key;
  inverted.packed ^= GlyphCache::Key::kVariantBit;
  if (CopyGlyphInfo(key, out) || CopyGlyphInfo(inverted, out)) return true;
  if (!variant || !gCanvasFetcher) return false;
  OvBitmap bitmap{};
  return gCanvasFetcher->loadGlyphAsBitmap(font, paint, glyph, &bitmap, key) && CopyGlyphInfo(key, out);
}

GlyphFetcher* GlyphFetcher::GetCanvasGlyphFetcher() { return gCanvasFetcher; }

void GlyphFetcher::SetCanvasGlyphFetcher(GlyphFetcher* fetcher) { gCanvasFetcher = fetcher; }

}  // namespace orvel
