// OvLayoutDepacketizer: the receiving half of the layout transport. Packets go
// in one at a time, in order; op list slices are appended to the target
// layout's lists and bitmaps are recreated in the target storage, converting
// the sender's row stride to the storage's own.
//
// Packets come from another device and are treated as hostile: nothing is
// read outside a packet or written outside the space reserved for a list or
// allocated for a bitmap. Every rejection is logged and returns false; what
// was stored before stays, and the state never moves back. There is no reset:
// a new layout needs a new depacketizer.
#pragma once

#include <cstdint>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"
#include "orvel/layout/layout.h"
#include "orvel/transport/packet_types.h"

namespace orvel {

class ORVEL_API OvLayoutDepacketizer {
 public:
  enum State : uint32_t {
    kReceivingOpLists = 0,
    kExpectingBitmapInfo = 1,
    kReceivingBitmapPixels = 2,
    kFinished = 3,
  };

  // The bitmap being received.
  struct BitmapReceiveState {
    OvLayoutPacketTypes::BitmapInfo info;  // as received; rowBytes is the sender's stride
    uint32_t infoBytesReceived;
    OvBitmap* bitmap;    // allocated once the info is complete
    uint32_t row;        // destination row being filled
    uint32_t rowOffset;  // bytes of the current source row consumed
  };

  // Neither pointer is owned; both must outlive the depacketizer.
  OvLayoutDepacketizer(OvLayout* layout, OvBitmapStorage* storage);

  // Takes one whole packet; true when it was accepted.
  bool receivePacket(const unsigned char* data, unsigned int length);
  // True once the finished packet has been accepted.
  bool finished() const { return fState == kFinished; }

  // The layout op part: header fields as read from offsets 2 and 6.
  bool receivePacket(const OvLayoutPacketTypes::LayoutOpPacket& header, const unsigned char* payload,
                     unsigned int payloadLength);
  // The bitmap part: payload from packet offset 6.
  bool receivePacket(const OvLayoutPacketTypes::BitmapPacket& packet, const unsigned char* payload,
                     unsigned int payloadLength);

  // The checked change of state: to 1 from 0 or 2, to 2 from 1, to 3 from 0
  // or 1, to 0 never; 4 and above are stored unchecked. Rejections are logged.
  bool transitionToState(State state);

  // The layout's first, second or third op list for 1, 2, 3 (the whole u32 is
  // compared); otherwise logs and gives null.
  OvOpList* getOpList(OvLayoutPacketTypes::OpList list);

  // Asks the storage for a bitmap of the info's id, width, height and colour
  // type (the storage picks its own stride). Null when the storage refuses, or
  // hands back a bitmap that cannot hold the described pixels.
  OvBitmap* allocateBitmap(const OvLayoutPacketTypes::BitmapInfo& info);

  // Copies pixel bytes of a bitmap's stream into state->bitmap, row by row,
  // skipping the sender's row padding; *consumed gets the bytes used. False
  // (logged) when the sender's row offset is inconsistent with its stride.
  static bool CopyBitmapPixelData(const unsigned char* src, unsigned int length, BitmapReceiveState* state,
                                  unsigned int* consumed);

  State state() const { return fState; }
  uint32_t currentOpList() const { return fCurrentOpList; }
  const BitmapReceiveState& bitmapReceive() const { return fBitmapReceive; }

 private:
  bool bitmapComplete() const;

  OvLayout* fLayout;
  OvBitmapStorage* fBitmapStorage;
  State fState;
  uint32_t fCurrentOpList;
  BitmapReceiveState fBitmapReceive;
};

}  // namespace orvel
