// orvel-demo: the road a drawing takes, as far as the library goes today.
// Records go into an op list on the authoring side, the list is cut into
// small pieces as a transport would carry them, and the receiving side rebuilds
// it with reserve/deserialize and checks every byte.
#include <cstdio>
#include <cstring>
#include <vector>

#include "orvel/orvel.h"

using namespace orvel;

namespace {

// A rectangle record: header, colour, then left, top, right, bottom.
struct DemoRect {
  static constexpr uint32_t kType = 1;
  OvOp op;
  RGBA_8888 colour;
  OvRect rect;
  void set(RGBA_8888 c, const OvRect& r) {
    colour = c;
    rect = r;
  }
};

constexpr unsigned kPieceSize = 61;  // deliberately not a multiple of 4

}  // namespace

int main() {
  // Authoring side: a transform followed by a grid of rectangles.
  OvOpList authored;
  OvMatrix shift;
  shift.m[2] = 12.5f;
  OvMatrix zoom(2, 0, 0, 0, 2, 0, 0, 0, 1);
  OvMatrix transform;
  transform.setConcat(shift, zoom);
  OvOp* t = authored.allocOp(8, 4 + sizeof(OvMatrix));
  if (!t) return 1;
  std::memcpy(t + 1, transform.m, sizeof(OvMatrix));
  for (int i = 0; i < 400; ++i) {
    OvRect r{float(i % 20) * 10, float(i / 20) * 10, float(i % 20) * 10 + 8, float(i / 20) * 10 + 8};
    if (!authored.push<DemoRect>(0, MakeRGBA(uint8_t(i), 0x80, 0x40, 0xFF), r)) return 1;
  }
  const uint32_t total = authored.totalUsedSize();

  // The wire: pieces of kPieceSize bytes.
  std::vector<std::vector<unsigned char>> pieces;
  OvSerializeIt it;
  while (!authored.iteratorFinished(it)) {
    std::vector<unsigned char> piece(kPieceSize);
    piece.resize(authored.serialize(piece.data(), kPieceSize, &it));
    pieces.push_back(piece);
  }

  // Receiving side: reserve the announced size once, then append each piece.
  OvOpList received;
  if (!received.reserve(total)) return 1;
  for (const auto& piece : pieces) {
    uint8_t* dst = received.deserialize(unsigned(piece.size()));
    if (!dst) return 1;
    std::memcpy(dst, piece.data(), piece.size());
  }

  // Check: same stream, same records.
  std::vector<unsigned char> a(total), b(received.totalUsedSize());
  OvSerializeIt ia, ib;
  authored.serialize(a.data(), unsigned(a.size()), &ia);
  received.serialize(b.data(), unsigned(b.size()), &ib);
  unsigned rects = 0, transforms = 0;
  bool wellFormed = received.forEachOp([&](const OvOp* op, uint32_t) {
    rects += op->type() == DemoRect::kType;
    transforms += op->type() == 8;
    return true;
  });
  const bool same = a == b;
  const OvOp* last = received.findOp(authored.lastOpOffset());
  OvRect lastRect;
  if (last) std::memcpy(&lastRect, reinterpret_cast<const uint8_t*>(last) + 8, sizeof lastRect);
  const OvPoint corner = transform.mapXY(lastRect.right, lastRect.bottom);

  std::printf("orvel-demo\n");
  std::printf("  authored : %u records (%u transform, %u rectangles), %u bytes in the op list\n",
              transforms + rects, transforms, rects, total);
  std::printf("  wire     : %zu pieces of at most %u bytes\n", pieces.size(), kPieceSize);
  std::printf("  received : %u bytes, stream %s, walk %s\n", received.totalUsedSize(),
              same ? "identical" : "DIFFERENT", wellFormed ? "clean" : "MALFORMED");
  std::printf("  last rectangle found at offset %u, its far corner maps to (%g, %g)\n",
              authored.lastOpOffset(), corner.x, corner.y);
  return same && wellFormed && last ? 0 : 1;
}
