#include "orvel/text/glyph_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <random>

#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

using Key = GlyphCache::Key;
using Entry = GlyphCache::Entry;
using Chunk = GlyphCache::BufferChunk;
using Lines = std::vector<std::string>;
constexpr uint32_t kSize = GlyphCache::kBufferSize;

Key K(unsigned glyph) { return Key{glyph, 1, 1.0f, 0}; }
// Offset of an entry's bytes in the cache's buffer; -1 for an empty entry.
long Offset(const GlyphCache& c, const Entry& e) {
  return e.data ? static_cast<const unsigned char*>(e.data) - c.buffer() : -1;
}

TEST(FontCacheKeyTest, PacksTheFontAndPaintAndComparesBitsZeroToTwentyNine) {
  OvTypeface typeface(nullptr, 0, nullptr, 9, true);
  OvFont font(&typeface), plain;  // plain: no typeface, weight 1001, further words 2, 5 below
  font.setSize(-2), font.setWeight(1000), plain.setExtraField(0, 2), plain.setExtraField(1, 5);
  OvPaint paint;
  paint.setStrokeWidth(2.5f), paint.setFlags(64 | 0x20);
  const Key key = Key::Make(font, paint, 77, true);
  EXPECT_TRUE(key.glyph == 77 && key.typeface == 9 && key.paintValue == 2.5f);
  EXPECT_EQ(key.packed, 0xFFFEu | 1000u << 16 | 0xFu << 26);
  const Key other = Key::Make(plain, OvPaint(), 1, false);
  EXPECT_TRUE(other.packed == (12u | 1001u << 16) && other.typeface == 0);
  const std::pair<Key, bool> rows[] = {
      {{77, 9, 2.5f, key.packed | 3u << 30}, true}, {{77, 9, 2.5f, key.packed ^ 1u << 29}, false},
      {{77, 9, 2.5f, key.packed ^ 1}, false},       {{78, 9, 2.5f, key.packed}, false},
      {{77, 8, 2.5f, key.packed}, false},           {{77, 9, 2.4f, key.packed}, false}};
  for (const auto& row : rows) EXPECT_EQ(key == row.first, row.second) << row.first.packed;
  EXPECT_TRUE((Key{1, 1, 0.0f, 0} == Key{1, 1, -0.0f, 0}));
  EXPECT_FALSE((Key{1, 1, NAN, 0} == Key{1, 1, NAN, 0}));
}

// One scripted session on one cache. result: put and lookup give the offset
// (-1 for an empty entry or a miss), kWill putWillEvictInUse. When count is
// given (not -1), the free run and the count after the step are checked too.
enum Op { kFill, kPut, kLookup, kWill, kUnused, kFlush, kEvict };
struct Step {
  Op op;
  unsigned glyph = 0, size = 0;  // kFill puts n glyphs from glyph on
  long result = 0;
  int64_t start = 0, free = 0, count = -1, n = 0;
};
// clang-format off
const Step kScript[] = {
    // 128 one-byte puts, then the 129th takes the first one's byte.
    {kFill, 0, 1, 0, 128, kSize - 128, 128, 128}, {kPut, 128, 1, 0, 1, 0, 128},
    {kLookup, 0, 0, -1}, {kLookup, 1, 0, 1}, {kLookup, 128, 0, 0},
    // Across the buffer's end: K0 goes and the run is [0, K1); K1 goes and the
    // run reaches K2; K2 goes and, K3 having wrapped, the run reaches the end.
    {kFlush, 0, 0, 0, 0, kSize, 0}, {kFill, 0, 7000, 0, kSize, 0, 3, 3}, {kPut, 3, 100, 0, 100, 6900, 3},
    {kPut, 4, 7000, 100, 7100, 6900, 3}, {kPut, 5, 7000, 7100, 14100, 6900, 3},
    // A live key with the same size comes back unchanged (still unused: the
    // dry run through all five evicts nothing in use); with another size it
    // goes with everything older.
    {kFlush}, {kFill, 0, 10, 0, 50, kSize - 50, 5, 5}, {kUnused}, {kPut, 3, 10, 30}, {kWill, 9, 20960, 0},
    {kPut, 2, 20, 0, 20, 10, 3}, {kLookup, 1, 0, -1}, {kLookup, 4, 0, 40},
    // putWillEvictInUse: empty; K0 in use; live with that size; after markAllUnused;
    // K0 alone makes room; K1 too; a re-put evicts K1 on the way.
    {kFlush}, {kWill, 0, 1, 0}, {kFill, 0, 7000, 0, kSize, 0, 3, 3}, {kWill, 9, 100, 1}, {kWill, 1, 7000, 0},
    {kUnused}, {kWill, 9, 100, 0}, {kLookup, 1, 0, 7000}, {kWill, 9, 7000, 0}, {kWill, 9, 7001, 1}, {kWill, 2, 5, 1},
    // A full ring evicts its oldest first; that cuts the run to [0, 100) and
    // the put goes on evicting, into the in-use K5.
    {kFlush}, {kPut, 0, 100, 0}, {kFill, 1, 1, 0, 227, kSize - 227, 128, 127}, {kUnused}, {kLookup, 5, 0, 104},
    {kWill, 200, 200, 1}, {kWill, 200, 104, 0}, {kPut, 200, 200, 0, 200, 0, 28}, {kLookup, 5, 0, -1},
    // Sizes that do not fit store nothing, after their evictions; a zero-size
    // entry evicted last leaves the run short.
    {kFlush}, {kPut, 1, 10, 0}, {kPut, 2, kSize + 1, -1, 0, kSize, 0}, {kPut, 3, 100, 0}, {kPut, 4, 0, 100},
    {kPut, 5, 30000, -1, 0, 100, 0}, {kPut, 6, 200, -1, 0, 100, 0}, {kPut, 7, 100, 0, 100, 0, 1},
    // Evicting an absent key evicts everything and logs.
    {kEvict, 9, 0, 0, 0, kSize, 0},
};
// clang-format on

TEST(FIFOCacheTest, ScriptedSessions) {
  GlyphCache cache;
  testing::LogCapture log;
  int row = 0;
  for (const Step& s : kScript) {
    Entry e;
    long got = 0;
    switch (s.op) {
      case kFill:
        for (unsigned g = s.glyph; g < s.glyph + s.n; ++g) cache.put(K(g), uint16_t(s.size));
        break;
      case kPut: got = Offset(cache, cache.put(K(s.glyph), uint16_t(s.size))); break;
      case kLookup: got = cache.lookup(K(s.glyph), &e) ? Offset(cache, e) : -1; break;
      case kWill: got = cache.putWillEvictInUse(K(s.glyph), uint16_t(s.size)); break;
      case kUnused: cache.markAllUnused(); break;
      case kFlush: cache.flush(); break;
      case kEvict: cache.evict(K(s.glyph)); break;
    }
    EXPECT_EQ(got, s.result) << "row " << row;
    const Chunk run = cache.freeRun();
    EXPECT_TRUE(s.count < 0 || (run.start == s.start && run.size == s.free && cache.count() == s.count))
        << "row " << row << ": " << run.start << " " << run.size << " " << cache.count();
    ++row;
  }
  EXPECT_EQ(log.lines, Lines{"Error evicting fifo cache entry; item not found"});
}

TEST(FIFOCacheTest, DryRunEvictionFromAnIndexAndNullArguments) {
  GlyphCache cache;
  for (unsigned g = 0; g < 3; ++g) cache.put(K(g), 10);
  cache.markAllUnused();
  Entry e;
  cache.lookup(K(0), &e);
  testing::LogCapture log;
  unsigned index = 1;
  Chunk chunk = cache.freeRun();
  EXPECT_FALSE(cache.evictWillEvictInUse(K(9), &index, &chunk));  // starts after the in-use K0
  EXPECT_EQ(index, 3u);
  EXPECT_TRUE(cache.evictWillEvictInUse(K(9), &(index = 0), &(chunk = cache.freeRun())));
  EXPECT_TRUE(index == 1 && chunk.start == 0 && chunk.size == 10);
  EXPECT_FALSE(cache.evictWillEvictInUse(K(9), nullptr, &chunk) || cache.evictWillEvictInUse(K(9), &index, nullptr));
  EXPECT_FALSE(cache.lookup(K(1), static_cast<Entry*>(nullptr)));
  EXPECT_EQ(log.lines, Lines{"Error dry-run evicting fifo cache entry; item not found"});
  EXPECT_EQ(log.priorities, std::vector<int>{kLogPriorityError});
}

TEST(GlyphCacheTest, LookupRoundsUpInsideTheEntryThenTriesTheFixedTable) {
  GlyphCache cache;
  const uint16_t sizes[] = {1, 20, 2, 0};  // at offsets 0, 1, 21 and 23
  for (unsigned g = 0; g < 4; ++g) cache.put(K(g), sizes[g]);
  alignas(4) static const unsigned char fixed[8] = {};
  EXPECT_TRUE(cache.addFixedEntry(K(1), fixed, 8) && cache.addFixedEntry(K(9), fixed + 1, 4));
  EXPECT_FALSE(cache.addFixedEntry(K(10), nullptr, 4));
  uint32_t bytes;
  EXPECT_TRUE(cache.lookupData(K(1), &bytes) == cache.buffer() + 4 && bytes == 17);  // the ring first
  EXPECT_TRUE(cache.lookupData(K(9), &bytes) == fixed + 4 && bytes == 1);
  // Rounding would leave the entry; misses; a null out.
  for (unsigned g : {2, 3, 11}) EXPECT_EQ(cache.lookup(K(g)), nullptr) << g;
  EXPECT_EQ(cache.lookupData(K(1), nullptr), nullptr);
  while (cache.fixedCount() < GlyphCache::kFixedCapacity) cache.addFixedEntry(K(12), fixed, 8);
  EXPECT_FALSE(cache.addFixedEntry(K(13), fixed, 8));
}

// Loads glyph g by putting the GlyphInfo {g, 1, 2, 3} under the key it is given.
class TestFetcher : public GlyphFetcher {
 public:
  bool loadGlyphAsBitmap(const OvFont&, const OvPaint&, unsigned short glyph, OvBitmap*, const Key& key) override {
    ++loads;
    Put(key, glyph, 16);
    return true;
  }
  static void Put(const Key& key, unsigned glyph, unsigned short size) {
    const GlyphInfo info{{glyph, 1, 2, 3}};
    std::memcpy(GlyphCacheProvider::get()->put(key, size).data, &info, size);
  }
  int loads = 0;
};

TEST(GlyphFetcherTest, GetGlyphInfoTriesBothVariantsThenLoadsOnlyAVariant) {
  const OvFont font;
  const OvPaint paint;
  TestFetcher fetcher;
  const struct {
    int cached;  // the variant cached for glyph 5 (-1 none, 2 variant 0 in a 12-byte entry)
    bool variant, fetcher, found;
    int loads;
  } rows[] = {{0, false, true, true, 0},   {1, false, true, true, 0}, {0, true, true, true, 0},
              {-1, false, true, false, 0}, {-1, true, true, true, 1}, {-1, true, false, false, 0},
              {2, false, true, false, 0}};
  for (const auto& row : rows) {
    ConstructGlobalGlyphCache();
    GlyphFetcher::SetCanvasGlyphFetcher(row.fetcher ? &fetcher : nullptr);
    fetcher.loads = 0;
    if (row.cached >= 0) TestFetcher::Put(Key::Make(font, paint, 5, row.cached == 1), 5, row.cached == 2 ? 12 : 16);
    GlyphInfo info{};
    EXPECT_EQ(GlyphFetcher::getGlyphInfo(font, paint, 5, row.variant, &info), row.found) << row.cached;
    EXPECT_TRUE(info.words[0] == (row.found ? 5u : 0u) && fetcher.loads == row.loads) << row.cached;
  }
  EXPECT_FALSE(GlyphFetcher::getGlyphInfo(font, paint, 5, true, nullptr));
  EXPECT_EQ(GlyphFetcher::GetCanvasGlyphFetcher(), &fetcher);
  GlyphFetcher::SetCanvasGlyphFetcher(nullptr);
  GlyphFetcher base;
  OvBitmap bitmap{};
  EXPECT_FALSE(base.getGlyphAsBitmap(font, paint, 5, &bitmap) || base.loadGlyphAsBitmap(font, paint, 5, &bitmap, K(5)));
  ConstructGlobalGlyphCache();
}

// The ring as a plain list, oldest first, with the eviction rule written out.
struct RingModel {
  struct Item {
    unsigned glyph;
    uint32_t offset, size;
    bool inUse;
  };
  std::deque<Item> items;
  uint32_t start = 0, room = kSize;
  bool evictedInUse = false;

  void evictOldest() {
    const Item old = items.front();
    items.pop_front();
    evictedInUse |= old.inUse;
    if (old.size == 0) return;
    const uint32_t to = !items.empty() && items.front().offset >= old.offset ? items.front().offset : kSize;
    start = old.offset < start ? 0 : start, room = to - start;
  }
  Item* find(unsigned glyph) {
    auto at = std::find_if(items.begin(), items.end(), [glyph](const Item& item) { return item.glyph == glyph; });
    return at == items.end() ? nullptr : &*at;
  }
  long put(unsigned glyph, uint32_t size) {
    evictedInUse = false;
    if (Item* item = find(glyph)) {
      if (item->size == size) return item->offset;
      while (items.front().glyph != glyph) evictOldest();
      evictOldest();
    }
    if (items.size() == GlyphCache::kCapacity) evictOldest();
    while (room < size && !items.empty()) evictOldest();
    if (room < size) return -1;
    items.push_back({glyph, start, size, true});
    start += size, room -= size;
    return items.back().offset;
  }
};

// Puts (with their dry runs), lookups, markAllUnused and flush at random. A
// glyph keeps its size but now and then gets a new one; odd seeds keep to
// small sizes, so that the ring fills all its slots, even ones mix in sizes up
// to and past the buffer.
TEST(FIFOCacheTest, RandomSequencesFollowAPlainModelOfTheRing) {
  constexpr uint32_t kGlyphs = 400;
  static GlyphCache cache;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    std::mt19937 random(seed);
    const auto next = [&random](uint32_t n) { return uint32_t(random() % n); };
    const auto newSize = [&]() {
      const uint32_t r = next(seed % 2 ? 90 : 100);
      return r < 5 ? 0 : r < 90 ? 1 + next(64) : r < 97 ? next(2000) : r < 99 ? next(9000) : 20000 + next(40000);
    };
    uint32_t sizes[kGlyphs];
    for (uint32_t& size : sizes) size = newSize();
    cache.flush();
    RingModel model;
    for (int step = 0; step < 5000; ++step) {
      const uint32_t op = next(1000), glyph = next(kGlyphs);
      if (next(100) == 0) sizes[glyph] = newSize();
      const uint16_t size = uint16_t(sizes[glyph]);
      Entry e;
      if (op < 600) {
        const bool predicted = cache.putWillEvictInUse(K(glyph), size);
        ASSERT_EQ(Offset(cache, cache.put(K(glyph), size)), model.put(glyph, size)) << seed << ":" << step;
        ASSERT_EQ(predicted, model.evictedInUse) << seed << ":" << step;
      } else if (op < 970) {
        RingModel::Item* item = model.find(glyph);
        if (item) item->inUse = true;
        ASSERT_EQ(cache.lookup(K(glyph), &e) ? Offset(cache, e) : -1, item ? long(item->offset) : -1);
      } else if (op < 995) {
        cache.markAllUnused();
        for (auto& item : model.items) item.inUse = false;
      } else {
        cache.flush();
        model = RingModel();
      }
      ASSERT_TRUE(cache.count() == model.items.size() && cache.freeRun().start == model.start &&
                  cache.freeRun().size == model.room)
          << seed << ":" << step;
      // Every slot as modelled; the live bytes and the free run lie in the buffer without overlapping.
      std::vector<std::pair<uint32_t, uint32_t>> spans;
      if (model.room) spans.push_back({model.start, model.room});
      for (unsigned i = 0; i < cache.count(); ++i) {
        const GlyphCache::Slot& slot = *cache.liveSlot(i);
        const RingModel::Item& item = model.items[i];
        ASSERT_TRUE(slot.key == K(item.glyph) && slot.offset == item.offset && slot.size == item.size &&
                    bool(slot.inUse) == item.inUse);
        if (item.size) spans.push_back({item.offset, item.size});
      }
      std::sort(spans.begin(), spans.end());
      for (size_t i = 0; i < spans.size(); ++i) {
        ASSERT_LE(spans[i].first + spans[i].second, i + 1 < spans.size() ? spans[i + 1].first : kSize);
      }
    }
  }
}

}  // namespace
}  // namespace orvel
