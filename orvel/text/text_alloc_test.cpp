// Proves that walking text, placing it on a circle and using the glyph cache
// allocate nothing: the shared hooks count operator new and malloc, and the
// library's own C allocator is routed to a failing one while counting, so
// neither kind of heap use can pass unseen.
#include "orvel/core/alloc_counting_internal.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/text/encoding.h"
#include "orvel/text/glyph_cache.h"
#include "orvel/text/text_on_path.h"

namespace orvel {
namespace {

TEST(TextAllocationTest, IteratingAndPlacingAllocateNothing) {
  const OvFont font;  // no backend: every character and measure logs its fatal stub
  const char text[] = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xFF";
  uint16_t glyphs[16];
  OvRSXform xforms[16];
  OvTextOnPath::RSXFormStorage storage{16, 0, glyphs, xforms}, none{0, 0, nullptr, nullptr};
  int logged = 0;
  SetLogSink([](void* count, int, const char*, const char*) { ++*static_cast<int*>(count); }, &logged);
  testing::FailingAllocator libraryAllocator(0);

  testing::StartCountingAllocations();
  int steps = 0;
  for (uint32_t e = 0; e < kTextEncodingCount; ++e) {
    TextIteratorState state{&font, reinterpret_cast<const unsigned char*>(text), 0, sizeof text - 1};
    const TextIterator next = GetIteratorForEncoding(OvTextEncoding(e));
    for (unsigned short g; next(&state, &g);) ++steps;
  }
  GetIteratorForEncoding(OvTextEncoding(9));  // fatal, logged
  const float span = OvTextOnPath::PlaceOnCircle(text, sizeof text - 1, kUTF8, font, {0, 0, 50, 0, true}, &storage);
  OvTextOnPath::PlaceOnCircle(text, sizeof text - 1, kUTF8, font, {0, 0, 50, 0, false}, &none);  // logged
  const int allocations = testing::StopCountingAllocations();
  SetLogSink(nullptr, nullptr);

  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(libraryAllocator.allocations() + libraryAllocator.failures(), 0);
  EXPECT_EQ(steps, 5 + 5 + 2 + 5);  // 11 bytes: 5 UTF-8 characters, 5 units of 16, 2 of 32
  EXPECT_EQ(storage.count, 5);
  EXPECT_EQ(span, 0);
  // Two lines per fatal stub: 12 maps walking, the bad encoding, 5 maps and 5
  // measures placing, 1 map and 1 measure before the exhaustion line.
  EXPECT_EQ(logged, 2 * 12 + 2 + 2 * 10 + 2 * 2 + 1);
}

// Loads a glyph by putting an entry that holds a GlyphInfo wherever it starts.
class PuttingFetcher : public GlyphFetcher {
 public:
  bool loadGlyphAsBitmap(const OvFont&, const OvPaint&, unsigned short, OvBitmap*,
                         const FontCacheKey<unsigned int>& key) override {
    return GlyphCacheProvider::get()->put(key, sizeof(GlyphInfo) + 3).data != nullptr;
  }
};

TEST(TextAllocationTest, GlyphCachePutsLookupsAndGlyphInfoAllocateNothing) {
  const OvFont font;
  PuttingFetcher fetcher;
  GlyphFetcher::SetCanvasGlyphFetcher(&fetcher);
  GlyphCache* cache = GlyphCacheProvider::get();
  testing::FailingAllocator libraryAllocator(0);
  int done = 0;
  GlyphCache::Entry entry;
  GlyphInfo info;

  testing::StartCountingAllocations();
  for (unsigned g = 0; g < 300; ++g) {  // round the ring and the buffer
    cache->putWillEvictInUse({g, 1, 1, 0}, uint16_t(g));
    done += cache->put({g, 1, 1, 0}, uint16_t(g)).size == g && cache->lookup({g, 1, 1, 0}, &entry) &&
            !cache->lookup({g + 1, 1, 1, 0}, &entry);
    if (g % 64 == 0) cache->markAllUnused();
  }
  for (unsigned short g = 0; g < 20; ++g) {  // a load, a hit, the other variant's hit, a miss without a load
    done += GlyphFetcher::getGlyphInfo(font, OvPaint(), g, true, &info) &&
            GlyphFetcher::getGlyphInfo(font, OvPaint(), g, true, &info) &&
            GlyphFetcher::getGlyphInfo(font, OvPaint(), g, false, &info) &&
            !GlyphFetcher::getGlyphInfo(font, OvPaint(), g + 100, false, &info);
  }
  const int allocations = testing::StopCountingAllocations();
  GlyphFetcher::SetCanvasGlyphFetcher(nullptr);
  ConstructGlobalGlyphCache();

  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(libraryAllocator.allocations() + libraryAllocator.failures(), 0);
  EXPECT_EQ(done, 300 + 20);
}

}  // namespace
}  // namespace orvel
