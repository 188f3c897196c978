// Fuzz target: a packet stream from a hostile sender, received into a fresh
// layout and heap bitmap storage and then read as a renderer reads it.
//
// Input: packets, each behind its u16 little-endian length; a zero length (or
// the end of the input) ends the stream, and a length past the input's end
// takes what is left. The bytes after a zero length are the probe section of
// layout_reader.h.
//
// Checked on top of the sanitizers: the state never returns to receiving op
// lists and stays finished once finished; the three lists hold exactly the
// payload bytes of the accepted layout op packets; every stored bitmap's
// pixels can be read whole; a depacketizer without layout or storage takes
// the same stream without harm.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/layout_reader.h"
#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/transport/depacketizer.h"

using namespace orvel;

namespace {

struct Packet {
  const uint8_t* data;
  unsigned length;
};

// Splits the stream part of the input; *probes gets where the probe section
// starts.
std::vector<Packet> SplitPackets(const uint8_t* data, size_t size, size_t* probes) {
  std::vector<Packet> packets;
  size_t at = 0;
  while (size - at >= 2) {
    const unsigned length = unsigned(data[at] | data[at + 1] << 8);
    at += 2;
    if (length == 0) break;
    const unsigned taken = length < size - at ? length : unsigned(size - at);
    packets.push_back({data + at, taken});
    at += taken;
  }
  *probes = at;
  return packets;
}

void ReadBitmaps(const OvHeapBitmapStorage& storage) {
  for (const OvBitmap* b = storage.first(); b; b = storage.next(b)) {
    FUZZ_CHECK(storage.contains(b->id));
    const size_t bytes = size_t(b->rowBytes) * b->height;
    FUZZ_CHECK(b->pixels || bytes == 0);
    if (b->pixels) fuzz::Consume(b->pixels, bytes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::BeginInput();
  size_t probeStart = 0;
  const std::vector<Packet> packets = SplitPackets(data, size, &probeStart);
  {
    OvLayout layout;
    OvHeapBitmapStorage storage;
    OvLayoutDepacketizer depacketizer(&layout, &storage);
    uint64_t accepted = 0;
    bool leftOpLists = false;
    for (const Packet& p : packets) {
      const OvLayoutDepacketizer::State before = depacketizer.state();
      const bool ok = depacketizer.receivePacket(p.data, p.length);
      const OvLayoutDepacketizer::State after = depacketizer.state();
      if (ok && p.length >= 2 && p.data[1] == OvLayoutPacketTypes::kLayoutOpPacketType)
        accepted += p.length - OvLayoutPacketTypes::kLayoutOpPacketHeaderSize;
      leftOpLists = leftOpLists || after != OvLayoutDepacketizer::kReceivingOpLists;
      FUZZ_CHECK(!leftOpLists || after != OvLayoutDepacketizer::kReceivingOpLists);
      FUZZ_CHECK(before != OvLayoutDepacketizer::kFinished || (after == before && !ok));
      FUZZ_CHECK(depacketizer.finished() == (after == OvLayoutDepacketizer::kFinished));
      FUZZ_CHECK(after <= OvLayoutDepacketizer::kFinished);
    }
    const uint64_t stored = uint64_t(layout.drawList().totalUsedSize()) + layout.resourceList().totalUsedSize() +
                            layout.bindingList().totalUsedSize();
    FUZZ_CHECK(stored == accepted);
    ReadBitmaps(storage);
    fuzz::ReadLayout(layout, fuzz::ParseProbes(data + probeStart, size - probeStart));
  }
  {
    OvLayoutDepacketizer nowhere(nullptr, nullptr);
    for (const Packet& p : packets) nowhere.receivePacket(p.data, p.length);
    FUZZ_CHECK(nowhere.bitmapReceive().bitmap == nullptr);
  }
  FUZZ_CHECK(fuzz::HeapInUse() == 0);
  return 0;
}
