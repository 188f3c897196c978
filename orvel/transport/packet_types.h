// The layout packet protocol, shared by the packetizer and the depacketizer.
// Every packet starts with two bytes: a reserved zero byte, then the packet
// type. Multi-byte fields are little-endian and unaligned; packets are tightly
// packed.
//
//   layout op packet   0: 00 01 | 2: u32 total size | 6: u32 op list | 10: payload
//   bitmap packet      0: 00 02 | 2: u32 payload length | 6: payload
//   finished packet    0: 00 03
//
// A bitmap's stream is its 16-byte BitmapInfo followed by height x rowBytes
// bytes of the sender's pixel memory, whole rows with their padding.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvel {
namespace OvLayoutPacketTypes {

enum PacketType : uint8_t {
  kLayoutOpPacketType = 1,
  kBitmapPacketType = 2,
  kFinishedPacketType = 3,
};

// Which of the layout's three op lists a layout op packet carries. On the wire
// a u32, compared whole: 0x101 is no list.
enum OpList : uint32_t {
  kNoOpList = 0,
  kDrawOpList = 1,
  kResourceOpList = 2,
  kBindingOpList = 3,
};

constexpr uint32_t kPacketHeaderSize = 2;
constexpr uint32_t kLayoutOpPacketHeaderSize = 10;
constexpr uint32_t kBitmapPacketHeaderSize = 6;
constexpr uint32_t kFinishedPacketSize = 2;

// The fields of a layout op packet's head, as read from offsets 2 and 6.
struct LayoutOpPacket {
  uint32_t totalSize;
  uint32_t opList;
};

// The field of a bitmap packet's head, as read from offset 2 (the receiver
// goes by the packet length instead).
struct BitmapPacket {
  uint32_t payloadLength;
};

//   0: u32 id | 4: u32 rowBytes | 8: u16 width | 10: u16 height
//  12: u16 colour type | 14: u16 reserved (0)
struct BitmapInfo {
  uint32_t id;
  uint32_t rowBytes;
  uint16_t width;
  uint16_t height;
  uint16_t colorType;
  uint16_t reserved;
};
static_assert(sizeof(BitmapInfo) == 16, "BitmapInfo is 16 bytes on the wire");
static_assert(offsetof(BitmapInfo, rowBytes) == 4 && offsetof(BitmapInfo, width) == 8 &&
                  offsetof(BitmapInfo, height) == 10 && offsetof(BitmapInfo, colorType) == 12 &&
                  offsetof(BitmapInfo, reserved) == 14,
              "BitmapInfo field offsets");

}  // namespace OvLayoutPacketTypes
}  // namespace orvel
