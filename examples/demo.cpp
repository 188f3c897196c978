// orvel-demo: the whole road a layout takes. A status screen is authored on
// one device with OvLayoutBuilder, cut into packets of a chosen size, carried
// to the other device, rebuilt there by OvLayoutDepacketizer, checked against
// the original, and read as its renderer would: elements found by id, the
// properties it uses listed, and its expression properties evaluated.
//
//   orvel-demo [packet capacity in bytes, default 244]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "orvel/orvel.h"

using namespace orvel;

namespace {

// The application's property ids: values the rendering side supplies.
enum : uint16_t { kBatteryPercent = 3, kSecondsLeft = 4, kCharging = 5 };
// Ids of the expression properties the layout carries.
enum : uint16_t { kGaugeSweep = 20, kMinutesLeft = 21, kStatusColour = 22 };

unsigned CountRecords(const OvOpList& list) {
  unsigned n = 0;
  list.forEachOp([&](const OvOp*, uint32_t) { return ++n, true; });
  return n;
}

std::vector<uint8_t> Stream(const OvOpList& list) {
  std::vector<uint8_t> bytes(list.totalUsedSize());
  OvSerializeIt it;
  if (!bytes.empty()) list.serialize(bytes.data(), unsigned(bytes.size()), &it);
  return bytes;
}

bool Author(OvLayout* layout, OvHeapBitmapStorage* bitmaps) {
  OvLayoutBuilder builder(layout, bitmaps);
  OvRecordingCanvas& canvas = builder.canvas();
  OvPaint fill;
  fill.setColor(MakeRGBA(0x20, 0x24, 0x2C, 0xFF));
  OvPaint stroke;
  stroke.setColor(MakeRGBA(0x4C, 0xAF, 0x50, 0xFF));
  stroke.setStrokeWidth(6);
  stroke.setStrokeCap(OvPaint::Cap::Round);

  canvas.writeRect({0, 0, 240, 240}, fill, "background");
  fill.setColor(MakeRGBA(0x30, 0x36, 0x40, 0xFF));
  canvas.writeRoundRect({16, 16, 224, 224}, 18, 18, fill, "card");
  canvas.writeArc({40, 40, 200, 200}, 135, 270, false, stroke, "gauge");
  canvas.writeLine({56, 176}, {184, 176}, stroke, "divider");
  canvas.drawCircle(120, 120, 6, fill);

  // A small trend line over caller storage.
  uint8_t verbs[8];
  OvPoint points[8];
  OvPathStorage storage = {verbs, 8, points, 8};
  OvPath trend(&storage);
  trend.moveTo({70, 200}).lineTo({100, 190}).lineTo({130, 196}).lineTo({170, 184});
  canvas.writePath(trend, stroke, "trend");

  // A charging badge, moved into place inside save/restore.
  canvas.save();
  const OvMatrix shift(1, 0, 150, 0, 1, 30, 0, 0, 1);
  canvas.onBeforeTransform(shift);
  canvas.matrix().setConcat(canvas.matrix(), shift);
  canvas.writeRect({0, 0, 40, 20}, fill, "badge");
  canvas.restore();

  // The badge's icon travels as a bitmap.
  OvBitmap* icon = bitmaps->allocate(7, 13, 9, 5);
  if (!icon) return false;
  for (uint32_t y = 0; y < icon->height; ++y)
    for (uint32_t x = 0; x < icon->width; ++x) {
      const RGBA_8888 pixel = MakeRGBA(uint8_t(x * 19), uint8_t(y * 28), 0x80, 0xFF);
      std::memcpy(icon->pixels + y * icon->rowBytes + x * 4, &pixel, 4);
    }

  builder.writeBinding({"gauge", kBatteryPercent, 6});
  builder.writeBinding({"badge", kCharging, 2});
  builder.writeBinding({"no such element", 1, 3});  // dropped: no element bears it

  std::string error;
  bool ok = builder.writeExpressionProperty(kGaugeSweep, PropertyType::Float, "{3} * 270.0 / 100", &error) &&
            builder.writeExpressionProperty(kMinutesLeft, PropertyType::S64, "floor({4} / 60)", &error) &&
            builder.writeExpressionProperty(kStatusColour, PropertyType::S64,
                                            "{5} ? 1 : {3} < 20 ? 2 : 0", &error);
  if (!ok) {
    std::printf("expression refused: %s\n", error.c_str());
    return false;
  }
  // A typo is refused with the parser's message and leaves no property.
  builder.writeExpressionProperty(99, PropertyType::Float, "cos(1, 2, 3)", &error);
  std::printf("  refused expression \"cos(1, 2, 3)\": %s\n", error.c_str());
  return builder.finish();
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned capacity = argc > 1 ? unsigned(std::strtoul(argv[1], nullptr, 10)) : 244;
  if (capacity < 11) {
    std::fprintf(stderr, "orvel-demo: a packet needs at least 11 bytes to carry layout bytes\n");
    return 2;
  }
  std::printf("orvel-demo: the whole road, in packets of %u bytes\n\nauthoring device\n", capacity);
  OvLayout authored;
  OvHeapBitmapStorage authoredBitmaps;
  if (!Author(&authored, &authoredBitmaps)) return 1;
  const OvOpList* sentLists[3] = {&authored.drawList(), &authored.resourceList(), &authored.bindingList()};
  const char* listNames[3] = {"draw", "resource", "binding"};
  for (int i = 0; i < 3; ++i)
    std::printf("  %-8s list: %3u records, %5u bytes\n", listNames[i], CountRecords(*sentLists[i]),
                sentLists[i]->totalUsedSize());

  // The wire.
  std::vector<std::vector<uint8_t>> packets;
  size_t wireBytes = 0;
  OvLayoutPacketizer packetizer(&authored, &authoredBitmaps);
  std::vector<uint8_t> buffer(capacity);
  while (!packetizer.finished()) {
    OvLayoutPacketizer::Packet packet = {buffer.data(), capacity, 0};
    if (!packetizer.nextPacket(&packet)) return 1;
    packets.emplace_back(buffer.begin(), buffer.begin() + packet.size);
    wireBytes += packet.size;
  }
  std::printf("\nwire\n  %zu packets, %zu bytes\n", packets.size(), wireBytes);

  // The rendering device.
  OvLayout received;
  OvHeapBitmapStorage receivedBitmaps;
  OvLayoutDepacketizer depacketizer(&received, &receivedBitmaps);
  for (const auto& p : packets)
    if (!depacketizer.receivePacket(p.data(), unsigned(p.size()))) return 1;
  const OvOpList* gotLists[3] = {&received.drawList(), &received.resourceList(), &received.bindingList()};
  bool same = depacketizer.finished();
  for (int i = 0; i < 3; ++i) same = same && Stream(*sentLists[i]) == Stream(*gotLists[i]);
  const OvBitmap* sentIcon = authoredBitmaps.find(7);
  const OvBitmap* gotIcon = receivedBitmaps.find(7);
  for (uint32_t y = 0; same && gotIcon && y < sentIcon->height; ++y)
    same = std::memcmp(sentIcon->pixels + y * sentIcon->rowBytes, gotIcon->pixels + y * gotIcon->rowBytes,
                       sentIcon->width * 4u) == 0;
  std::printf("\nrendering device\n  op lists and bitmap: %s\n", same && gotIcon ? "identical" : "DIFFERENT");
  if (gotIcon)
    std::printf("  bitmap %u: %ux%u, colour type %u, rows of %u bytes (sender's %u)\n", gotIcon->id, gotIcon->width,
                gotIcon->height, gotIcon->colorType, gotIcon->rowBytes, sentIcon->rowBytes);
  if (!received.loadMap()) {
    std::printf("  the id map did not load\n");
    return 1;
  }
  std::printf("  elements by id:\n");
  for (const char* id : {"background", "card", "gauge", "divider", "trend", "badge", "missing"}) {
    OvLayoutOpType type;
    unsigned offset = 0;
    if (received.findElementById(id, unsigned(std::strlen(id)), &type, &offset))
      std::printf("    %-10s %-14s at offset %u\n", id, OpTypeName(type) ? OpTypeName(type) : "?", offset);
    else
      std::printf("    %-10s not found\n", id);
  }
  OvLayout::PropertyIds ids;
  const unsigned used = received.getPropertiesInUse(&ids);
  std::printf("  properties in use:");
  for (unsigned i = 0; i < used; ++i) std::printf(" %u", ids[i]);
  std::printf("\n");

  // The renderer's data, then the expression properties evaluated against it.
  OvPropertyStorage* store = OvPropertyStorage::getInstance();
  *store->get(kBatteryPercent) = Property::MakeS32(64);
  *store->get(kSecondsLeft) = Property::MakeS32(7425);
  *store->get(kCharging) = Property::MakeBool(false);
  std::printf("  with battery 64%%, 7425 s left, not charging:\n");
  OvExpressionEvaluator evaluator(&received.resourceList());
  unsigned evaluated = 0;
  received.resourceList().forEachOp([&](const OvOp* op, uint32_t) {
    if (op->type() != kExpressionProperty || op->size() < sizeof(OvExpressionProperty)) return true;
    const auto* prop = reinterpret_cast<const OvExpressionProperty*>(op);
    char text[32];
    unsigned length = 0;
    evaluator.evaluate(prop->root.offset).toString(text, &length, sizeof text, nullptr);
    std::printf("    property %u = %s\n", prop->propertyId, text);
    ++evaluated;
    return true;
  });
  return same && evaluated == 3 ? 0 : 1;
}
