// Glyph cache: lookups (a hit in a full ring, and a miss that scans all 128
// keys), puts that keep evicting, and getGlyphInfo hits. None of them
// allocates (orvel/text/text_alloc_test.cpp proves it); there is no peer.
#include <benchmark/benchmark.h>

#include "orvel/text/glyph_cache.h"

namespace {

using orvel::GlyphCache;
using Key = GlyphCache::Key;

constexpr unsigned kEntries = GlyphCache::kCapacity;
constexpr unsigned short kEntryBytes = 100;

Key KeyOf(unsigned glyph) { return Key{glyph, 1, 1.0f, 0}; }

GlyphCache& FullCache() {
  static GlyphCache cache;
  cache.flush();
  for (unsigned g = 0; g < kEntries; ++g) cache.put(KeyOf(g), kEntryBytes);
  return cache;
}

void BM_GlyphCacheLookupHit(benchmark::State& state) {
  GlyphCache& cache = FullCache();
  GlyphCache::Entry entry;
  unsigned g = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.lookup(KeyOf(g), &entry));
    g = (g + 37) % kEntries;  // hits spread over the ring
  }
  state.SetItemsProcessed(int64_t(state.iterations()));
}
BENCHMARK(BM_GlyphCacheLookupHit);

void BM_GlyphCacheLookupMiss(benchmark::State& state) {
  GlyphCache& cache = FullCache();
  GlyphCache::Entry entry;
  for (auto _ : state) benchmark::DoNotOptimize(cache.lookup(KeyOf(kEntries), &entry));
  state.SetItemsProcessed(int64_t(state.iterations()));
}
BENCHMARK(BM_GlyphCacheLookupMiss);

void BM_GlyphCachePut(benchmark::State& state) {
  GlyphCache& cache = FullCache();
  unsigned g = kEntries;
  for (auto _ : state) {
    // New keys of varying size: each put evicts the oldest entries, and the
    // buffer wraps every couple of hundred puts.
    benchmark::DoNotOptimize(cache.put(KeyOf(g), uint16_t(kEntryBytes + (g & 63))).data);
    ++g;
  }
  state.SetItemsProcessed(int64_t(state.iterations()));
}
BENCHMARK(BM_GlyphCachePut);

void BM_GetGlyphInfo(benchmark::State& state) {
  orvel::ConstructGlobalGlyphCache();
  GlyphCache* cache = orvel::GlyphCacheProvider::get();
  const orvel::OvFont font;
  const orvel::OvPaint paint;
  for (unsigned short g = 0; g < kEntries; ++g) cache->put(Key::Make(font, paint, g, false), kEntryBytes);
  orvel::GlyphInfo info;
  unsigned short g = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(orvel::GlyphFetcher::getGlyphInfo(font, paint, g, false, &info));
    g = (g + 37) % kEntries;
  }
  state.SetItemsProcessed(int64_t(state.iterations()));
  orvel::ConstructGlobalGlyphCache();
}
BENCHMARK(BM_GetGlyphInfo);

}  // namespace
