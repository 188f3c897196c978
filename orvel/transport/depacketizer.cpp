#include "orvel/transport/depacketizer.h"

#include <cstring>

#include "orvel/core/log.h"
#include "orvel/transport/transport_internal.h"

namespace orvel {

using namespace OvLayoutPacketTypes;

namespace {

void Reject(const char* what) { Log(kLogPriorityError, "Layout depacketize error; %s", what); }

void RejectTransition(uint32_t from, uint32_t to) {
  Log(kLogPriorityError, "Layout depacketize error; invalid state transition %d -> %d", int(from), int(to));
}

}  // namespace

OvLayoutDepacketizer::OvLayoutDepacketizer(OvLayout* layout, OvBitmapStorage* storage)
    : fLayout(layout), fBitmapStorage(storage), fState(kReceivingOpLists), fCurrentOpList(kNoOpList), fBitmapReceive() {}

bool OvLayoutDepacketizer::receivePacket(const unsigned char* data, unsigned int length) {
  if (!data || length < kPacketHeaderSize) {
    Reject("invalid packet header");
    return false;
  }
  // The cursor only reads; the packet's bytes are never written.
  priv::PacketCursor in(const_cast<unsigned char*>(data), length);
  in.skip(kPacketHeaderSize);
  const uint8_t type = data[1];
  switch (type) {
    case kFinishedPacketType:
      if (fState == kReceivingOpLists || fState == kExpectingBitmapInfo) {
        fState = kFinished;
        return true;
      }
      RejectTransition(fState, kFinished);
      return false;
    case kBitmapPacketType: {
      if (fState == kReceivingOpLists) fState = kExpectingBitmapInfo;
      if (fState != kExpectingBitmapInfo && fState != kReceivingBitmapPixels) {
        Reject("invalid state for packet");
        return false;
      }
      BitmapPacket head = {0};
      if (in.get32(&head.payloadLength) && receivePacket(head, in.here(), in.remaining())) return true;
      Reject("failed receiving bitmap op packet");
      return false;
    }
    case kLayoutOpPacketType: {
      if (fState != kReceivingOpLists) {
        Reject("invalid state for packet");
        return false;
      }
      LayoutOpPacket head = {0, 0};
      if (in.get32(&head.totalSize) && in.get32(&head.opList) && receivePacket(head, in.here(), in.remaining())) {
        return true;
      }
      Reject("failed receiving layout op packet");
      return false;
    }
    default:
      Log(kLogPriorityError, "Layout depacketize error; unhandled packet type %u", unsigned(type));
      return false;
  }
}

OvOpList* OvLayoutDepacketizer::getOpList(OpList list) {
  OvOpList* chosen = priv::OpListOf(fLayout, list);
  if (!chosen) Log(kLogPriorityError, "Layout depacketization error; invalid oplist value for oplist getter");
  return chosen;
}

bool OvLayoutDepacketizer::receivePacket(const LayoutOpPacket& header, const unsigned char* payload,
                                         unsigned int payloadLength) {
  // Without a layout there is nowhere to put the bytes; not worth a message.
  if (!fLayout && header.opList >= kDrawOpList && header.opList <= kBindingOpList) return false;
  OvOpList* list = getOpList(OpList(header.opList));
  if (!list) return false;
  if (header.opList != fCurrentOpList) {
    if (!list->reserve(header.totalSize)) {
      Log(kLogPriorityError, "Layout depacketize error; failed to reserve %u bytes", header.totalSize);
      return false;
    }
    fCurrentOpList = header.opList;
  }
  if (payloadLength == 0) {
    Reject("unexpected empty layout packet.");
    return false;
  }
  uint8_t* dst = list->deserialize(payloadLength);
  if (!dst) {
    Log(kLogPriorityError, "Layout depacketize error; failed to reserve %zu bytes", size_t(payloadLength));
    return false;
  }
  std::memcpy(dst, payload, payloadLength);
  return true;
}

bool OvLayoutDepacketizer::bitmapComplete() const {
  const BitmapReceiveState& r = fBitmapReceive;
  return r.row >= r.info.height || (r.row + 1 == r.info.height && r.rowOffset == r.info.rowBytes);
}

bool OvLayoutDepacketizer::receivePacket(const BitmapPacket&, const unsigned char* payload, unsigned int payloadLength) {
  priv::PacketCursor in(const_cast<unsigned char*>(payload), payload ? payloadLength : 0);
  while (in.remaining() > 0) {
    BitmapReceiveState& r = fBitmapReceive;
    if (fState == kExpectingBitmapInfo) {
      const uint32_t want = uint32_t(sizeof(BitmapInfo)) - r.infoBytesReceived;
      const uint32_t n = in.remaining() < want ? in.remaining() : want;
      in.getBytes(reinterpret_cast<uint8_t*>(&r.info) + r.infoBytesReceived, n);
      r.infoBytesReceived += n;
      if (r.infoBytesReceived == sizeof(BitmapInfo)) {
        r.bitmap = allocateBitmap(r.info);
        if (!r.bitmap) {
          Reject("failed to allocate storage for bitmap");
          return false;
        }
        if (!transitionToState(kReceivingBitmapPixels)) return false;
      }
    } else if (fState == kReceivingBitmapPixels) {
      unsigned int consumed = 0;
      if (!CopyBitmapPixelData(in.here(), in.remaining(), &r, &consumed)) {
        Reject("error copying bitmap pixel data");
        return false;
      }
      in.skip(consumed);
      if (bitmapComplete()) {
        r = BitmapReceiveState();
        if (!transitionToState(kExpectingBitmapInfo)) return false;
      } else if (consumed == 0) {
        // Cannot happen for a consistent state; refuse rather than spin.
        Reject("error copying bitmap pixel data");
        return false;
      }
    } else {
      Reject("invalid state for bitmap packet");
      return false;
    }
  }
  return true;
}

bool OvLayoutDepacketizer::transitionToState(State state) {
  bool allowed;
  switch (state) {
    case kReceivingOpLists:
      Log(kLogPriorityError, "Layout depacketize error; invalid state transition to %d", int(state));
      return false;
    case kExpectingBitmapInfo:
      allowed = fState == kReceivingOpLists || fState == kReceivingBitmapPixels;
      break;
    case kReceivingBitmapPixels:
      allowed = fState == kExpectingBitmapInfo;
      break;
    case kFinished:
      allowed = fState == kReceivingOpLists || fState == kExpectingBitmapInfo;
      break;
    default:
      allowed = true;
      break;
  }
  if (!allowed) {
    RejectTransition(fState, state);
    return false;
  }
  fState = state;
  return true;
}

OvBitmap* OvLayoutDepacketizer::allocateBitmap(const BitmapInfo& info) {
  if (!fBitmapStorage) return nullptr;
  OvBitmap* bitmap = fBitmapStorage->allocate(info.id, info.width, info.height, info.colorType);
  if (!bitmap) return nullptr;
  // The copy trusts the bitmap's geometry; a storage that hands back less than
  // was asked for is treated as having refused.
  const uint64_t rowPixels = uint64_t(info.width) * BytesPerPixel(info.colorType);
  const bool fits = bitmap->width >= info.width && bitmap->height >= info.height && bitmap->rowBytes >= rowPixels &&
                    (bitmap->pixels || info.height == 0 || rowPixels == 0);
  return fits ? bitmap : nullptr;
}

bool OvLayoutDepacketizer::CopyBitmapPixelData(const unsigned char* src, unsigned int length,
                                               BitmapReceiveState* state, unsigned int* consumed) {
  unsigned int used = 0;
  if (length > 0 && state->bitmap) {
    const uint32_t S = state->info.rowBytes;
    const uint32_t W = uint32_t(state->info.width) * BytesPerPixel(state->info.colorType);
    while (state->row < state->info.height) {
      if (state->rowOffset > S) {
        Log(kLogPriorityError, "Layout depacketize error; unexpected src row offset.");
        return false;
      }
      if (state->rowOffset == S) {
        ++state->row;
        state->rowOffset = 0;
        if (state->row >= state->info.height) break;
        continue;
      }
      const uint32_t left = length - used;
      uint32_t n;
      if (state->rowOffset < W) {
        n = W - state->rowOffset < left ? W - state->rowOffset : left;
        uint8_t* dst = state->bitmap->pixels + size_t(state->row) * state->bitmap->rowBytes + state->rowOffset;
        std::memcpy(dst, src + used, n);
      } else {
        n = S - state->rowOffset < left ? S - state->rowOffset : left;
      }
      state->rowOffset += n;
      used += n;
      // A finished row is stepped past only when more bytes arrive.
      if (used == length) break;
    }
  }
  *consumed = used;
  return true;
}

}  // namespace orvel
