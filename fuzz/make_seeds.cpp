// orvel-fuzz-seeds: writes the seed inputs of the fuzz targets, made from
// real layouts, packet streams and expressions, in the input forms that the
// targets' headers describe. Its output is committed under fuzz/corpus; run it
// again when a wire format changes:
//
//   orvel-fuzz-seeds <repo>/fuzz/corpus
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "orvel/core/color.h"
#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/paint.h"
#include "orvel/expr/layout_builder.h"
#include "orvel/path/path.h"
#include "orvel/transport/packetizer.h"
#include "orvel/transport/transport_test_util_internal.h"

using namespace orvel;

namespace {

using Bytes = std::vector<uint8_t>;

// Where the split seed's lists go on in a second buffer: behind the draw
// list's header and first rectangle.
constexpr uint8_t kSecondBufferAt = 48;

// Property ids of the seed layouts, as a status screen would use them.
enum : uint16_t { kBatteryPercent = 3, kSecondsLeft = 4, kCharging = 5 };

void Put16(Bytes* out, uint32_t v) {
  out->push_back(uint8_t(v));
  out->push_back(uint8_t(v >> 8));
}

void Put32(Bytes* out, uint32_t v) {
  Put16(out, v);
  Put16(out, v >> 16);
}

void PutIds(Bytes* out, const std::vector<std::string>& ids) {
  for (size_t i = 0; i < ids.size(); ++i) {
    if (i) out->push_back(0);
    out->insert(out->end(), ids[i].begin(), ids[i].end());
  }
}

Bytes Stream(const OvOpList& list) {
  Bytes bytes(list.totalUsedSize());
  OvSerializeIt it;
  if (!bytes.empty()) list.serialize(bytes.data(), unsigned(bytes.size()), &it);
  return bytes;
}

bool WriteSeed(const std::string& dir, const char* name, const Bytes& bytes) {
  const std::string path = dir + "/" + name;
  FILE* f = std::fopen(path.c_str(), "wb");
  const bool ok = f && std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  if (f) std::fclose(f);
  std::printf("%s %s (%zu bytes)\n", ok ? "wrote" : "FAILED", path.c_str(), bytes.size());
  return ok;
}

// A status screen like orvel-demo's, kept small: shapes with ids, a path, a
// transform inside save/restore, bindings and three expression properties.
bool AuthorStatus(OvLayout* layout, OvBitmapStorage* bitmaps) {
  OvLayoutBuilder builder(layout, bitmaps);
  OvRecordingCanvas& canvas = builder.canvas();
  OvPaint fill;
  fill.setColor(MakeRGBA(0x20, 0x24, 0x2C, 0xFF));
  OvPaint stroke;
  stroke.setStrokeWidth(6);
  stroke.setStrokeCap(OvPaint::Cap::Round);
  canvas.writeRect({0, 0, 240, 240}, fill, "background");
  canvas.writeArc({40, 40, 200, 200}, 135, 270, false, stroke, "gauge");
  uint8_t verbs[4];
  OvPoint points[4];
  OvPathStorage storage = {verbs, 4, points, 4};
  OvPath trend(&storage);
  trend.moveTo({70, 200}).lineTo({100, 190}).lineTo({170, 184});
  canvas.writePath(trend, stroke, "trend");
  canvas.save();
  canvas.writeConcat(OvMatrix(1, 0, 150, 0, 1, 30, 0, 0, 1), "shift");
  canvas.writeRect({0, 0, 40, 20}, fill, "badge");
  canvas.restore();
  builder.writeBinding({"gauge", kBatteryPercent, 6});
  builder.writeBinding({"badge", kCharging, 2});
  std::string error;
  const bool ok = builder.writeExpressionProperty(20, PropertyType::Float, "{3} * 270.0 / 100", &error) &&
                  builder.writeExpressionProperty(21, PropertyType::S64, "floor({4} / 60)", &error) &&
                  builder.writeExpressionProperty(22, PropertyType::S64, "{5} ? 1 : {3} < 20 ? 2 : 0", &error);
  if (!ok) std::fprintf(stderr, "expression refused: %s\n", error.c_str());
  return ok && builder.finish();
}

// One rectangle and one string-valued expression: the smallest whole layout.
bool AuthorTiny(OvLayout* layout, OvBitmapStorage* bitmaps) {
  OvLayoutBuilder builder(layout, bitmaps);
  OvPaint paint;
  builder.canvas().writeRect({1, 2, 3, 4}, paint, "r");
  return builder.writeExpressionProperty(1, PropertyType::String, "str({6}, \"05.1\") + \"%\"", nullptr) &&
         builder.finish();
}

// The offsets worth probing: each expression property's root, and the
// records the ids name.
Bytes ProbeSection(const OvLayout& layout, const std::vector<std::string>& ids) {
  std::vector<uint32_t> offsets;
  layout.resourceList().forEachOp([&](const OvOp* op, uint32_t) {
    if (op->type() == kExpressionProperty && offsets.size() < 2)
      offsets.push_back(reinterpret_cast<const OvExpressionProperty*>(op)->root.offset);
    return true;
  });
  for (const std::string& id : ids) {
    OvOp* op;
    unsigned offset;
    if (offsets.size() < 4 && layout.findElementById(id.data(), unsigned(id.size()), &op, &offset))
      offsets.push_back(offset);
  }
  while (offsets.size() < 4) offsets.push_back(0);
  Bytes out;
  for (uint32_t offset : offsets) Put32(&out, offset);
  PutIds(&out, ids);
  return out;
}

// The depacketizer's input: every packet of capacity bytes behind its u16
// length, a zero length, then the probe section.
Bytes PacketStream(const OvLayout& layout, const OvBitmapStorage& bitmaps, uint32_t capacity, const Bytes& probes) {
  OvLayoutPacketizer packetizer(&layout, &bitmaps);
  Bytes out;
  for (const testing::Bytes& packet : testing::CollectPackets(packetizer, capacity)) {
    Put16(&out, uint32_t(packet.size()));
    out.insert(out.end(), packet.begin(), packet.end());
  }
  Put16(&out, 0);
  out.insert(out.end(), probes.begin(), probes.end());
  return out;
}

// The layout target's input: split, the three lists, the probe section.
Bytes ListParts(const OvLayout& layout, uint8_t split, const Bytes& probes) {
  Bytes out(1, split);
  for (const OvOpList* list : {&layout.drawList(), &layout.resourceList(), &layout.bindingList()}) {
    const Bytes bytes = Stream(*list);
    Put16(&out, uint32_t(bytes.size()));
    out.insert(out.end(), bytes.begin(), bytes.end());
  }
  out.insert(out.end(), probes.begin(), probes.end());
  return out;
}

Bytes Texts(const std::vector<std::string>& texts) {
  Bytes out;
  PutIds(&out, texts);
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: orvel-fuzz-seeds <fuzz/corpus directory>\n");
    return 2;
  }
  const std::string corpus = argv[1];
  const std::string depacketizer = corpus + "/depacketizer", layoutDir = corpus + "/layout",
                    expression = corpus + "/expression";
  const std::vector<std::string> statusIds = {"gauge", "trend", "badge", "shift", "background", "missing"};

  OvLayout status;
  OvHeapBitmapStorage statusBitmaps;
  OvBitmap* icon = statusBitmaps.allocate(7, 3, 2, 5);
  if (!icon || !AuthorStatus(&status, &statusBitmaps)) return 1;
  for (uint32_t i = 0; i < icon->rowBytes * icon->height; ++i) icon->pixels[i] = uint8_t(i * 37 + 11);
  const Bytes statusProbes = ProbeSection(status, statusIds);

  // Bitmaps as a sender with its own strides has them: padding to skip, a
  // colour type without pixels, a 1-byte-per-pixel image.
  OvLayout tiny;
  testing::StridedStorage stridedBitmaps;
  stridedBitmaps.add(3, 5, 2, 1, 7);
  stridedBitmaps.add(9, 3, 2, 4, 9);
  stridedBitmaps.add(5, 2, 1, 9, 3);
  OvHeapBitmapStorage noBitmaps;
  if (!AuthorTiny(&tiny, &noBitmaps)) return 1;
  const Bytes tinyProbes = ProbeSection(tiny, {"r", ""});

  bool ok = WriteSeed(depacketizer, "seed-status-64", PacketStream(status, statusBitmaps, 64, statusProbes)) &&
            WriteSeed(depacketizer, "seed-tiny-244", PacketStream(tiny, noBitmaps, 244, tinyProbes)) &&
            WriteSeed(depacketizer, "seed-strided-bitmaps-24", PacketStream(tiny, stridedBitmaps, 24, tinyProbes)) &&
            WriteSeed(layoutDir, "seed-status", ListParts(status, 0, statusProbes)) &&
            WriteSeed(layoutDir, "seed-status-split", ListParts(status, kSecondBufferAt, statusProbes)) &&
            WriteSeed(layoutDir, "seed-tiny", ListParts(tiny, 0, tinyProbes));

  const std::vector<std::vector<std::string>> expressionSeeds = {
      {"{3} * 270.0 / 100", "floor({4} / 60)", "{5} ? 1 : {3} < 20 ? 2 : 0"},
      {"str({6}, \"+08.2\") + \" left\"", "textW(1) / 2 + textX() - measureHeight(\"Ag\")",
       "colorARGB(255, {0}, 2, 3) == colorRGB(1, 2, 3)"},
      {"!({7} / -1 != {8} % 0) && 1.5e3f >= -.5 || {2} <= 12.", "cos(PI()) + sin(0.5) - ceil(2.1) * toIntS32(3e9)",
       "-(-{9}) % {10} + {13} + {14}"},
      {"cos(1, 2)", "1 +", "\"open", "007 + 0x10", "a_b", "{99} + {40}"},
  };
  const char* expressionNames[] = {"seed-status", "seed-calls", "seed-operators", "seed-refused"};
  for (size_t i = 0; ok && i < expressionSeeds.size(); ++i)
    ok = WriteSeed(expression, expressionNames[i], Texts(expressionSeeds[i]));
  return ok ? 0 : 1;
}
