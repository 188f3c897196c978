// Test support for the transport suites: a bitmap storage with caller-chosen
// strides (the sending side's odd paddings), and packet collection.
#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "orvel/core/bitmap.h"
#include "orvel/transport/packetizer.h"

namespace orvel {
namespace testing {

// Bitmaps in insertion order, each row padded to the stride it was given.
class StridedStorage : public OvBitmapStorage {
 public:
  OvBitmap* allocate(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType) override {
    return add(id, width, height, colorType, width * BytesPerPixel(colorType));
  }
  OvBitmap* add(uint32_t id, uint16_t width, uint16_t height, uint16_t colorType, uint32_t rowBytes) {
    auto entry = std::make_unique<Entry>();
    entry->pixels.resize(size_t(rowBytes) * height);
    for (size_t i = 0; i < entry->pixels.size(); ++i) entry->pixels[i] = uint8_t(id * 31 + i * 7);
    entry->bitmap = OvBitmap{entry->pixels.data(), rowBytes, width, height, colorType, id};
    fEntries.push_back(std::move(entry));
    return &fEntries.back()->bitmap;
  }
  bool contains(uint32_t id) const override {
    for (const auto& e : fEntries)
      if (e->bitmap.id == id) return true;
    return false;
  }
  bool empty() const override { return fEntries.empty(); }
  const OvBitmap* first() const override { return fEntries.empty() ? nullptr : &fEntries[0]->bitmap; }
  const OvBitmap* next(const OvBitmap* current) const override {
    for (size_t i = 0; i + 1 < fEntries.size(); ++i)
      if (&fEntries[i]->bitmap == current) return &fEntries[i + 1]->bitmap;
    return nullptr;
  }

 private:
  struct Entry {
    std::vector<uint8_t> pixels;
    OvBitmap bitmap;
  };
  std::vector<std::unique_ptr<Entry>> fEntries;
};

using Bytes = std::vector<uint8_t>;

// Asks for packets of `capacity` bytes until the sequence ends (or `most`).
inline std::vector<Bytes> CollectPackets(OvLayoutPacketizer& packetizer, uint32_t capacity, size_t most = 1u << 20) {
  std::vector<Bytes> packets;
  Bytes buffer(capacity);
  while (!packetizer.finished() && packets.size() < most) {
    OvLayoutPacketizer::Packet packet = {buffer.data(), capacity, 0};
    if (!packetizer.nextPacket(&packet)) break;
    packets.emplace_back(buffer.begin(), buffer.begin() + packet.size);
  }
  return packets;
}

// The pixel bytes of a bitmap's rows, without padding.
inline Bytes PixelRows(const OvBitmap& b) {
  Bytes out;
  const uint32_t w = b.width * BytesPerPixel(b.colorType);
  for (uint32_t y = 0; y < b.height; ++y) out.insert(out.end(), b.pixels + size_t(y) * b.rowBytes, b.pixels + size_t(y) * b.rowBytes + w);
  return out;
}

}  // namespace testing
}  // namespace orvel
