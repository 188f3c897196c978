// OvLayoutPacketizer: cuts a finished layout and its bitmaps into packets, one
// per call, into a buffer whose capacity the caller chooses. On the wire: all
// of op list 1, 2 and 3 (empty lists skipped), then every bitmap of the
// storage in its iteration order (info, pixels, then an empty bitmap packet),
// then the finished packet.
//
// A failed call (null buffer, or too little room for the packet in hand) logs
// "Layout packetization error; cursor write failed", returns false and leaves
// every field exactly as it was, so the same packet can be asked for again
// with a larger buffer. The layout and the storage must not change between
// the first and the last call.
#pragma once

#include <cstdint>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"
#include "orvel/layout/layout.h"
#include "orvel/layout/op_list.h"
#include "orvel/transport/packet_types.h"

namespace orvel {

class ORVEL_API OvLayoutPacketizer {
 public:
  // The caller's output buffer; size is set by the packetizer.
  struct Packet {
    uint8_t* data;
    uint32_t capacity;
    uint32_t size;
  };

  enum State : uint32_t {
    kNotStarted = 0,
    kSendingOpLists = 1,
    kSendingBitmaps = 2,
    kFinishedPacketDue = 3,
    kDone = 4,
  };

  // The bitmap being sent and how much of its stream has gone.
  struct BitmapIteratorState {
    const OvBitmap* bitmap;
    OvLayoutPacketTypes::BitmapInfo info;
    uint32_t infoBytesSent;
    uint32_t pixelBytesSent;
  };

  // Neither pointer is owned; both must outlive the packetizer. storage may be
  // null: then no bitmaps are sent.
  OvLayoutPacketizer(const OvLayout* layout, const OvBitmapStorage* storage);

  // Writes the next packet and its length into packet. True when a packet was
  // written, and also once the sequence is complete (size 0 then).
  bool nextPacket(Packet* packet);
  // True once the finished packet has been written.
  bool finished() const { return fState == kDone; }

  // The start step: op list 1 from its start, the storage's first bitmap
  // loaded; the state is left alone.
  void initialize();
  bool moreLayoutPackets() const { return fBytesSent < fTotalSize; }
  // Moves to the next op list; true if there is one (false after list 3, with
  // no list current). The state is left alone.
  bool advanceToNextOpList();
  // True while a bitmap remains to be sent.
  bool moreBitmaps() const;
  // Loads the storage's first bitmap (it->bitmap null) or the one after
  // it->bitmap into it; false, it untouched, when there is none.
  bool advanceBitmapIterator(BitmapIteratorState* it) const;

  // One packet of each kind. False (logged, nothing advanced) when the buffer
  // is null or too small: 10 bytes for a layout op packet (11 to carry
  // payload), 6 for a bitmap packet, 2 for the finished packet.
  bool makeNextLayoutOpPacket(Packet* packet);
  bool makeNextBitmapPacket(Packet* packet);
  bool makeFinishedPacket(Packet* packet) const;

  // The layout's first, second or third op list for the current list 1 to 3;
  // otherwise logs and returns null.
  const OvOpList* getCurrentOpList() const;
  // Returns its argument and changes nothing: the packetizer sets its state
  // directly.
  State transitionToState(State state) const { return state; }

  State state() const { return fState; }
  uint8_t currentOpList() const { return fCurrentOpList; }
  const BitmapIteratorState& bitmapIterator() const { return fBitmapIterator; }
  uint32_t totalSize() const { return fTotalSize; }
  uint32_t bytesSent() const { return fBytesSent; }

 private:
  bool step(Packet* packet);
  static void Load(const OvBitmap* bitmap, BitmapIteratorState* it);

  const OvLayout* fLayout;
  const OvBitmapStorage* fBitmapStorage;
  State fState;
  uint8_t fCurrentOpList;
  OvSerializeIt fSerializeIt;
  BitmapIteratorState fBitmapIterator;
  uint32_t fTotalSize;
  uint32_t fBytesSent;
};

}  // namespace orvel
