// The whole road's transport: a layout of about 1 MiB of records plus a
// 512x512 bitmap packetized and depacketized, beside memcpy moving the same
// bytes in pieces of the same size. Every byte is copied twice on the round
// trip, so 0.5 of memcpy is the limit.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstring>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/layout/layout.h"
#include "orvel/transport/depacketizer.h"
#include "orvel/transport/packetizer.h"
#include "memcpy_peer.h"
#include "ratio.h"

namespace {

using namespace orvel;

struct Scene {
  OvLayout layout;
  OvHeapBitmapStorage bitmaps;
  uint64_t payloadBytes = 0;

  Scene() {
    while (layout.drawList().totalUsedSize() + 36 <= (1u << 20)) {
      OvOp* op = layout.drawList().allocOp(kDrawRect, 36);
      std::memset(op + 1, 0x5A, 32);
    }
    OvBitmap* b = bitmaps.allocate(1, 512, 512, 5);
    std::memset(b->pixels, 0x33, size_t(b->rowBytes) * b->height);
    payloadBytes = layout.drawList().totalUsedSize() + 16 + uint64_t(b->rowBytes) * b->height;
  }
};

Scene& TheScene() {
  static Scene scene;
  return scene;
}

// A receiving device rebuilds layout after layout; in that steady state its
// allocator hands back memory it already holds. Glibc would otherwise map and
// fault in fresh pages for every 1 MiB block (Arg 1 measures that cold case).
void WarmHeap(bool warm) {
  mallopt(M_MMAP_THRESHOLD, warm ? 64 << 20 : 128 << 10);
  mallopt(M_TRIM_THRESHOLD, warm ? 256 << 20 : 128 << 10);
}

void BM_TransportRoundTrip(benchmark::State& state) {
  Scene& scene = TheScene();
  WarmHeap(state.range(1) == 0);
  const uint32_t capacity = uint32_t(state.range(0));
  std::vector<uint8_t> buffer(capacity);
  int64_t packets = 0;
  for (auto _ : state) {
    OvLayout received;
    OvHeapBitmapStorage storage;
    OvLayoutDepacketizer depacketizer(&received, &storage);
    OvLayoutPacketizer packetizer(&scene.layout, &scene.bitmaps);
    while (!packetizer.finished()) {
      OvLayoutPacketizer::Packet packet = {buffer.data(), capacity, 0};
      packetizer.nextPacket(&packet);
      depacketizer.receivePacket(buffer.data(), packet.size);
      ++packets;
    }
    benchmark::DoNotOptimize(depacketizer.finished());
  }
  WarmHeap(false);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(scene.payloadBytes));
  state.counters["time_per_packet"] =
      benchmark::Counter(double(packets), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_TransportRoundTrip)
    ->ArgsProduct({{244, 4096}, {0, 1}})
    ->ArgNames({"capacity", "cold"})
    ->Unit(benchmark::kMillisecond);

void BM_TransportMemcpy(benchmark::State& state) {
  orvel_bench::MemcpyInPieces(state, size_t(TheScene().payloadBytes), size_t(state.range(0)));
}
BENCHMARK(BM_TransportMemcpy)->Arg(244)->Arg(4096)->Unit(benchmark::kMillisecond);

using orvel_bench::Rate;
using orvel_bench::RegisterRatio;
const int kRatios[] = {
    RegisterRatio("transport round trip / memcpy, 244-byte packets", "BM_TransportRoundTrip/capacity:244/cold:0",
                  "BM_TransportMemcpy/244", Rate::kBytes, 0.15),
    RegisterRatio("transport round trip / memcpy, 4 KiB packets", "BM_TransportRoundTrip/capacity:4096/cold:0",
                  "BM_TransportMemcpy/4096", Rate::kBytes, 0.4),
    RegisterRatio("transport round trip, fresh pages / memcpy, 244-byte", "BM_TransportRoundTrip/capacity:244/cold:1",
                  "BM_TransportMemcpy/244", Rate::kBytes, 0.15),
    RegisterRatio("transport round trip, fresh pages / memcpy, 4 KiB", "BM_TransportRoundTrip/capacity:4096/cold:1",
                  "BM_TransportMemcpy/4096", Rate::kBytes, 0.4),
};

}  // namespace
