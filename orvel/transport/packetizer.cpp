#include "orvel/transport/packetizer.h"

#include <cstring>

#include "orvel/core/cache.h"
#include "orvel/core/log.h"
#include "orvel/transport/transport_internal.h"

namespace orvel {

using namespace OvLayoutPacketTypes;

namespace {

constexpr uint16_t PacketHeader(PacketType type) { return uint16_t(type << 8); }

}  // namespace

OvLayoutPacketizer::OvLayoutPacketizer(const OvLayout* layout, const OvBitmapStorage* storage)
    : fLayout(layout),
      fBitmapStorage(storage),
      fState(kNotStarted),
      fCurrentOpList(kNoOpList),
      fSerializeIt(),
      fBitmapIterator(),
      fTotalSize(0),
      fBytesSent(0) {}

bool OvLayoutPacketizer::nextPacket(Packet* packet) {
  // Every field is restored on failure, so the caller may retry with more room.
  const State state = fState;
  const uint8_t opList = fCurrentOpList;
  const OvSerializeIt it = fSerializeIt;
  const BitmapIteratorState bitmap = fBitmapIterator;
  const uint32_t total = fTotalSize, sent = fBytesSent;
  if (packet && step(packet)) {
    if (packet->size) CacheFlushAndInvalidate(packet->data, packet->size);
    return true;
  }
  fState = state;
  fCurrentOpList = opList;
  fSerializeIt = it;
  fBitmapIterator = bitmap;
  fTotalSize = total;
  fBytesSent = sent;
  // The makers log their own failures; a null packet is logged here.
  if (!packet) Log(kLogPriorityError, "Layout packetization error; cursor write failed");
  return false;
}

bool OvLayoutPacketizer::step(Packet* packet) {
  if (fState == kNotStarted) {
    initialize();
    fState = kSendingOpLists;
  }
  if (fState == kSendingOpLists) {
    while (!moreLayoutPackets()) {
      if (!advanceToNextOpList()) {
        fState = kSendingBitmaps;
        break;
      }
    }
    if (fState == kSendingOpLists) return makeNextLayoutOpPacket(packet);
  }
  if (fState == kSendingBitmaps) {
    if (moreBitmaps()) return makeNextBitmapPacket(packet);
    fState = kFinishedPacketDue;
  }
  if (fState == kFinishedPacketDue) {
    if (!makeFinishedPacket(packet)) return false;
    fState = kDone;
    return true;
  }
  packet->size = 0;
  return true;
}

void OvLayoutPacketizer::initialize() {
  fCurrentOpList = kDrawOpList;
  fTotalSize = fLayout ? fLayout->drawList().totalUsedSize() : 0;
  fSerializeIt = OvSerializeIt();
  fBitmapIterator = BitmapIteratorState();
  if (fBitmapStorage && !fBitmapStorage->empty()) Load(fBitmapStorage->first(), &fBitmapIterator);
  fBytesSent = 0;
}

bool OvLayoutPacketizer::advanceToNextOpList() {
  fSerializeIt = OvSerializeIt();
  fBytesSent = 0;
  if (fCurrentOpList == kDrawOpList || fCurrentOpList == kResourceOpList) {
    if (fLayout) {
      ++fCurrentOpList;
      fTotalSize = priv::OpListOf(fLayout, fCurrentOpList)->totalUsedSize();
      return true;
    }
  } else if (fCurrentOpList != kBindingOpList) {
    Log(kLogPriorityError, "Layout packetization error; invalid oplist state for oplist advance");
  }
  fTotalSize = 0;
  fCurrentOpList = kNoOpList;
  return false;
}

bool OvLayoutPacketizer::moreBitmaps() const {
  return fBitmapStorage && !fBitmapStorage->empty() && fBitmapIterator.bitmap;
}

void OvLayoutPacketizer::Load(const OvBitmap* bitmap, BitmapIteratorState* it) {
  *it = BitmapIteratorState();
  it->bitmap = bitmap;
  if (bitmap) it->info = BitmapInfo{bitmap->id, bitmap->rowBytes, bitmap->width, bitmap->height, bitmap->colorType, 0};
}

bool OvLayoutPacketizer::advanceBitmapIterator(BitmapIteratorState* it) const {
  if (!fBitmapStorage || !it) return false;
  const OvBitmap* next = it->bitmap ? fBitmapStorage->next(it->bitmap) : fBitmapStorage->first();
  if (!next) return false;
  Load(next, it);
  return true;
}

const OvOpList* OvLayoutPacketizer::getCurrentOpList() const {
  const OvOpList* list = priv::OpListOf(fLayout, fCurrentOpList);
  if (!list) Log(kLogPriorityError, "Layout packetization error; invalid oplist state for oplist getter");
  return list;
}

bool OvLayoutPacketizer::makeNextLayoutOpPacket(Packet* packet) {
  if (!packet || !packet->data || packet->capacity < kLayoutOpPacketHeaderSize) {
    Log(kLogPriorityError, "Layout packetization error; cursor write failed");
    return false;
  }
  const OvOpList* list = getCurrentOpList();
  if (!list) return false;
  priv::PacketCursor out(packet->data, packet->capacity);
  out.put16(PacketHeader(kLayoutOpPacketType));
  out.put32(0);
  out.put32(0);
  const uint32_t room = out.remaining();
  const uint32_t remaining = fTotalSize - fBytesSent;
  const uint32_t n = list->serialize(out.here(), room < remaining ? room : remaining, &fSerializeIt);
  out.skip(n);
  fBytesSent += n;
  out.patch32(2, fTotalSize);
  out.patch32(6, fCurrentOpList);
  packet->size = out.position();
  return true;
}

bool OvLayoutPacketizer::makeNextBitmapPacket(Packet* packet) {
  if (!packet || !packet->data || packet->capacity < kBitmapPacketHeaderSize) {
    Log(kLogPriorityError, "Layout packetization error; cursor write failed");
    return false;
  }
  BitmapIteratorState& it = fBitmapIterator;
  priv::PacketCursor out(packet->data, packet->capacity);
  out.put16(PacketHeader(kBitmapPacketType));
  out.put32(0);
  if (it.infoBytesSent < sizeof(BitmapInfo)) {
    const uint32_t left = uint32_t(sizeof(BitmapInfo)) - it.infoBytesSent;
    const uint32_t n = out.remaining() < left ? out.remaining() : left;
    out.putBytes(reinterpret_cast<const uint8_t*>(&it.info) + it.infoBytesSent, n);
    it.infoBytesSent += n;
  }
  const uint64_t pixelBytes = it.bitmap ? uint64_t(it.bitmap->height) * it.bitmap->rowBytes : 0;
  const uint64_t remaining = pixelBytes - it.pixelBytesSent;
  const uint32_t room = out.remaining();
  if (room > 0 && remaining > 0) {
    const uint32_t n = remaining < room ? uint32_t(remaining) : room;
    out.putBytes(it.bitmap->pixels + it.pixelBytesSent, n);
    it.pixelBytesSent += n;
  } else if (remaining == 0 && it.infoBytesSent == sizeof(BitmapInfo)) {
    // A bitmap is left only once its whole info has gone, and never in a
    // call that carried pixels: after the last pixels comes one empty packet.
    if (!advanceBitmapIterator(&it)) it = BitmapIteratorState();
  }
  out.patch32(2, out.position() - kBitmapPacketHeaderSize);
  packet->size = out.position();
  return true;
}

bool OvLayoutPacketizer::makeFinishedPacket(Packet* packet) const {
  if (!packet || !packet->data || packet->capacity < kFinishedPacketSize) {
    Log(kLogPriorityError, "Layout packetization error; cursor write failed");
    return false;
  }
  priv::PacketCursor out(packet->data, packet->capacity);
  out.put16(PacketHeader(kFinishedPacketType));
  packet->size = out.position();
  return true;
}

}  // namespace orvel
