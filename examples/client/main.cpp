// A client of the installed library: its own renderer, bitmap storage,
// property provider, path sink, save stack and backing buffer, driven through
// the library's base classes, next to the library's own polymorphic classes.
// Exits 0 when every call landed where it should.
#include <cstdio>
#include <cstring>
#include <vector>

#include "orvel/orvel.h"

using namespace orvel;

namespace {

int gFailures = 0;

void Check(bool ok, const char* what) {
  if (!ok) {
    std::printf("client: FAILED %s\n", what);
    ++gFailures;
  }
}

// The receiving device's renderer: counts what it is asked to draw.
class CountingCanvas : public OvCanvas {
 public:
  explicit CountingCanvas(OvCanvasStateStorage* storage) : OvCanvas(OvImageInfo{{1, 2, 3}}, storage) {}
  void drawRect(const OvRect&, const OvPaint&) override { ++draws; }
  void drawPath(const OvPath&, const OvPaint&) override { ++draws; }
  void drawBitmap(const OvBitmap&, float, float, const OvPaint&) override { ++draws; }
  void drawLine(float, float, float, float, const OvPaint&) override { ++draws; }
  void drawCircle(float, float, float, const OvPaint&) override { ++draws; }
  void drawSimpleText(const void*, unsigned, OvTextEncoding, float, float, const OvFont&, const OvPaint&) override {
    ++draws;
  }
  void drawTextBlob(const OvTextBlob*, float, float, const OvPaint&) override { ++draws; }
  void drawArcImpl(const OvRect&, float, float, bool, const OvPaint&) override { ++draws; }
  int draws = 0;
};

class OneSlotStack : public OvCanvasStateStorage {
 public:
  int save(const OvCanvasState& state) override { return saved = state, depth = 1; }
  void restore(OvCanvasState* out) override { *out = saved, depth = 0; }
  void clear() override { depth = 0; }
  OvCanvasState saved{};
  int depth = 0;
};

class VectorBitmapStorage : public OvBitmapStorage {
 public:
  OvBitmap* allocate(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType) override {
    if (used) return nullptr;
    used = true;
    pixels.assign(size_t(width) * height * 4, 0);
    bitmap = {pixels.data(), uint32_t(width) * 4, width, height, colorType, id};
    return &bitmap;
  }
  bool contains(uint32_t id) const override { return used && bitmap.id == id; }
  bool empty() const override { return !used; }
  const OvBitmap* first() const override { return used ? &bitmap : nullptr; }
  const OvBitmap* next(const OvBitmap*) const override { return nullptr; }
  std::vector<uint8_t> pixels;
  OvBitmap bitmap{};
  bool used = false;
};

class Battery : public OvPropertyClient {
 public:
  Battery() : OvPropertyClient(8) {}
  void fetchProperty(unsigned short id, Property* slot) override { *slot = Property::MakeS64(id * 10); }
};

class PointCounter : public PathInterface {
 public:
  void rewind() override { points = 0; }
  bool empty() const override { return points == 0; }
  void moveTo(const OvPoint&) override { ++points; }
  void lineTo(const OvPoint&) override { ++points; }
  void quadTo(const OvPoint&, const OvPoint&) override { points += 2; }
  void cubicTo(const OvPoint&, const OvPoint&, const OvPoint&) override { points += 3; }
  void arcTo(const OvRect& oval, float start, float sweep, bool force) override {
    if (force) moveTo({oval.left, oval.top});
    OvPathUtils::CubicApproxArc(oval, start, sweep, this);
  }
  void close() override {}
  bool getLastPt(OvPoint*) const override { return points != 0; }
  bool getFirstContourPt(OvPoint*) const override { return points != 0; }
  int points = 0;
};

// A font engine that knows one glyph per character and 10 units per glyph.
class MonospaceBackend : public OvFontBackend {
 public:
  float measureText(const OvFont&, const void*, unsigned length, OvTextEncoding, OvRect* bounds) override {
    if (bounds) *bounds = {0, -10, 10.0f * length, 0};
    return 10.0f * length;
  }
  int textToGlyphs(const OvFont&, const void* text, unsigned length, OvTextEncoding, unsigned short* glyphs,
                   int maxGlyphs) override {
    const uint8_t* bytes = static_cast<const uint8_t*>(text);
    for (unsigned i = 0; glyphs && i < length && int(i) < maxGlyphs; ++i) glyphs[i] = bytes[i];
    return int(length);
  }
  unsigned short mapChar(const OvFont&, unsigned int character) override { return uint16_t(character); }
};

// The client's own span shader: one flat colour.
class FlatShader : public priv::OvShaderBase {
 public:
  FlatShader() : OvShaderBase(OvMatrix(), nullptr) {}
  void shadeSpan(const Span& span, RGBA_8888* out) const override {
    for (int i = 0; i < span.count; ++i) out[i] = 0xFF0000FF;
  }
};

// Shader memory the client keeps on the stack.
class StackShaderStorage : public OvShaderStorageBase {
 public:
  StackShaderStorage() : OvShaderStorageBase(&info) {}
  OvShaderInfo info;
};

// The font implementation's glyph producer: loads a glyph into the cache with
// its GlyphInfo (the glyph id in the first word) at the entry's aligned start.
class CacheFiller : public GlyphFetcher {
 public:
  bool loadGlyphAsBitmap(const OvFont&, const OvPaint&, unsigned short glyph, OvBitmap* out,
                         const FontCacheKey<unsigned int>& key) override {
    GlyphCacheInterface<FontCacheKey<unsigned int>>* cache = GlyphCacheProvider::get();
    const GlyphInfo info{{glyph, 0, 0, 0}};
    const GlyphCacheInterface<FontCacheKey<unsigned int>>::Entry entry = cache->put(key, sizeof info + 3);
    if (!entry.data) return false;
    const uintptr_t at = (reinterpret_cast<uintptr_t>(entry.data) + 3) & ~uintptr_t(3);
    std::memcpy(reinterpret_cast<void*>(at), &info, sizeof info);
    *out = OvBitmap{};
    return true;
  }
};

class ArrayBuffer : public OvAlignedBuffer {
 public:
  ArrayBuffer() : OvAlignedBuffer(sizeof bytes) {}
  uint8_t* base() override { return bytes; }
  alignas(16) uint8_t bytes[64];
};

void Renderers() {
  OneSlotStack stack;
  CountingCanvas mine(&stack);
  OvCanvas& canvas = mine;
  canvas.save();
  canvas.drawRoundRect({0, 0, 10, 10}, 2, 2, OvPaint());
  canvas.drawArc({0, 0, 10, 10}, 0, 90, false, OvPaint());
  canvas.restore();
  Check(mine.draws == 2 && stack.depth == 0, "client canvas through OvCanvas");

  OvCanvasStateStorageFixed<1> fixed;
  CountingCanvas second(&fixed);
  OvCanvas* both = new Ov2WayCanvas(&mine, &second);
  both->drawLine(0, 0, 1, 1, OvPaint());
  Check(both->save() == -1 && mine.draws == 3 && second.draws == 1, "Ov2WayCanvas through OvCanvas");
  delete both;

  OvLayout layout;
  VectorBitmapStorage storage;
  OvCanvas* recorder = new OvRecordingCanvas(&layout.drawList(), &layout.resourceList(), &storage);
  recorder->drawRect({1, 2, 3, 4}, OvPaint());
  recorder->save();
  delete recorder;
  Check(layout.drawList().totalUsedSize() == 36 + 4, "OvRecordingCanvas through OvCanvas");
}

void Storages() {
  VectorBitmapStorage mine;
  OvBitmapStorage* storage = &mine;
  OvBitmap* bitmap = storage->allocate(7, 2, 2, 5);
  const uint8_t src[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  OvBitmapStorage::copyData(src, 8, bitmap);
  Check(storage->contains(7) && mine.pixels[15] == 16, "client bitmap storage");

  OvBitmapStorage* heap = new OvHeapBitmapStorage();
  Check(heap->allocate(9, 3, 1, 5) && heap->contains(9) && heap->first()->id == 9, "OvHeapBitmapStorage");
  delete heap;

  Battery battery;
  OvPropertyStorage* properties = OvPropertyStorage::getInstance();
  properties->client = &battery;
  Check(properties->get(3)->toS64() == 30, "client property provider");
  properties->client = nullptr;
}

void Paths() {
  PointCounter mine;
  PathInterface* sink = &mine;
  sink->arcTo({0, 0, 2, 2}, 0, 180, true);
  Check(mine.points == 7, "client path sink");

  uint8_t verbs[8];
  OvPoint points[16];
  OvPathStorage storage{verbs, 8, points, 16};
  OvPath path(&storage);
  PathInterface* proxy = new OvPathProxy(&path);
  proxy->moveTo({0, 0});
  proxy->lineTo({1, 1});
  Check(!proxy->empty() && path.countVerbs() == 2, "OvPathProxy through PathInterface");
  delete proxy;
}

void Fonts() {
  MonospaceBackend mine;
  OvFontBackend* backend = &mine;
  SetFontBackend(backend);
  const OvTypeface typeface = OvTypeface::MakeNull();
  const OvFont font(&typeface);
  unsigned short glyphs[4];
  Check(font.measureText("abc", 3, kUTF8, nullptr) == 30 && font.textToGlyphs("ab", 2, kUTF8, glyphs, 4) == 2 &&
            glyphs[1] == 'b' && font.mapChar('x') == 'x',
        "client font backend");
  SetFontBackend(nullptr);
}

void Shaders() {
  StackShaderStorage storage;
  const OvPoint ends[2] = {{0, 0}, {4, 0}};
  const float positions[2] = {0, 1};
  const RGBA_8888 colors[2] = {0xFF000000, 0xFFFFFFFF};
  OvShader linear = OvShader::MakeLinearGradient(&storage, ends, positions, colors, 2, nullptr);
  const OvShaderInfo* info = nullptr;
  Check(linear.getInfo(&info) == OvShader::kLinearGradient && info == &storage.info, "client shader storage");

  OvMatrix toGradient(0.25f, 0, 0, 0, 0.25f, 0, 0, 0, 1);
  RGBA_8888 pixels[4];
  const priv::OvShaderBase* shaders[] = {new priv::OvLinearGradientShader(toGradient, info),
                                         new priv::OvRadialGradientShader(toGradient, info), new FlatShader()};
  shaders[0]->shadeSpan({0, 0, 4}, pixels);
  Check(pixels[0] == 0xFF000000 && pixels[2] == 0xFF7F7F7F, "OvLinearGradientShader through OvShaderBase");
  shaders[2]->shadeSpan({0, 0, 4}, pixels);
  Check(pixels[3] == 0xFF0000FF, "client span shader");
  for (const priv::OvShaderBase* shader : shaders) delete shader;
}

void Glyphs() {
  CacheFiller mine;
  GlyphFetcher* fetcher = &mine;
  GlyphFetcher::SetCanvasGlyphFetcher(fetcher);
  const OvFont font;
  const OvPaint paint;
  OvBitmap bitmap{};
  GlyphInfo info{};
  Check(fetcher->loadGlyphAsBitmap(font, paint, 7, &bitmap, FontCacheKey<unsigned int>::Make(font, paint, 7, false)) &&
            GlyphFetcher::getGlyphInfo(font, paint, 7, false, &info) && info.words[0] == 7 &&
            GlyphFetcher::getGlyphInfo(font, paint, 8, true, &info) && info.words[0] == 8,
        "client glyph fetcher");
  GlyphFetcher::SetCanvasGlyphFetcher(nullptr);

  GlyphFetcher* base = new GlyphFetcher();
  Check(!base->getGlyphAsBitmap(font, paint, 7, &bitmap), "GlyphFetcher");
  delete base;
  GlyphCache* cache = new GlyphCache();
  GlyphCacheInterface<FontCacheKey<unsigned int>>* fifo = cache;
  fifo->put(FontCacheKey<unsigned int>{1, 2, 3, 4}, 10);
  fifo->markAllUnused();
  Check(cache->count() == 1 && !fifo->putWillEvictInUse({5, 2, 3, 4}, 21000), "GlyphCache through its interface");
  delete cache;
}

void Buffers() {
  ArrayBuffer mine;
  OvAlignedBufferAllocator allocator(&mine);
  Check(allocator.alloc(10, 8) == mine.bytes, "client backing buffer");

  alignas(16) static uint8_t memory[32];
  OvAlignedBuffer* external = new OvExternalAlignedBuffer(memory, sizeof memory);
  Check(external->base() == memory && external->capacity() == 32, "OvExternalAlignedBuffer");
  delete external;
}

}  // namespace

int main() {
  Renderers();
  Storages();
  Paths();
  Fonts();
  Shaders();
  Glyphs();
  Buffers();
  std::printf("client: %s\n", gFailures ? "failed" : "every polymorphic class works from the shared object");
  return gFailures ? 1 : 0;
}
