#include "orvel/expr/layout_builder.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "orvel/core/log.h"
#include "orvel/expr/lexer_internal.h"
#include "orvel/expr/parser_context_internal.h"

namespace orvel {

namespace {

// The logical offset of the record name was given to; false when no element
// bears it.
bool FindElement(const OvRecordingCanvas& canvas, const std::string& name, uint32_t* offset) {
  const auto& ids = canvas.idMap();
  auto it = ids.find(name);
  if (it == ids.end()) return false;
  *offset = it->second.offset;
  return true;
}

}  // namespace

OvLayoutBuilder::OvLayoutBuilder(OvLayout* layout, OvBitmapStorage* bitmaps)
    : fLayout(layout),
      fHeader(OutOfMemoryMarker()),
      fCanvas(&layout->drawList(), &layout->resourceList(), bitmaps) {
  writeHeader();
}

OvLayoutHeader* OvLayoutBuilder::writeHeader() {
  OvOpList& list = fLayout->drawList();
  fHeader = list.push<OvLayoutHeader>(0) ? reinterpret_cast<OvLayoutHeader*>(list.lastOp()) : OutOfMemoryMarker();
  return fHeader;
}

void OvLayoutBuilder::writeBinding(const OvBinding& binding) {
  PendingBinding pending{binding.name ? binding.name : "", binding.id, binding.kind};
  if (binding.kind == kFirstBindingKind) {
    fPendingBindings.push_front(std::move(pending));
  } else {
    fPendingBindings.push_back(std::move(pending));
  }
}

void OvLayoutBuilder::writeBitmapTextBinding(const char* name, const std::vector<OvBitmapTextGlyphBinding>& entries) {
  fBitmapTextGlyphs.push_back(entries);
  fPendingBindings.push_back(
      PendingBinding{name ? name : "", uint16_t(fBitmapTextGlyphs.size() - 1), kBitmapTextBindingKind});
}

bool OvLayoutBuilder::writeExpressionProperty(unsigned id, PropertyType type, const char* expr, std::string* error) {
  Lexer lexer(expr ? expr : "");
  ParserContext context;
  context.lexer = &lexer;
  context.opList = &fLayout->resourceList();
  if (expr_parse(&context) == 0 && context.error.empty()) {
    // Parse success is the result; a property record that finds no room is
    // not reported.
    fLayout->resourceList().push<OvExpressionProperty>(0, uint16_t(id), uint16_t(type), context.root);
    return true;
  }
  if (error) {
    *error = context.error;
  } else {
    Log(kLogPriorityError, "error parsing Orvel expr: %s\n", context.error.c_str());
  }
  return false;
}

unsigned OvLayoutBuilder::writeFormattedNumberProperty(unsigned short first, unsigned short second,
                                                       OvNumberFormat format) {
  OvOpList& list = fLayout->resourceList();
  return list.push<OvFormattedNumberProperty>(0, first, second, format) ? list.lastOpOffset() : 0;
}

unsigned OvLayoutBuilder::writeNumericLocaleConfig(const OvNumberLocaleConfig& config) {
  OvOpList& list = fLayout->resourceList();
  return list.push<OvNumericLocaleConfig>(0, config) ? list.lastOpOffset() : 0;
}

void OvLayoutBuilder::writeBitmapTextRecord(const PendingBinding& binding, uint32_t element) {
  if (binding.id >= fBitmapTextGlyphs.size()) {
    FatalError("bitmap text binding index out of range");
    return;
  }
  const std::vector<OvBitmapTextGlyphBinding>& entries = fBitmapTextGlyphs[binding.id];
  if (entries.size() > kMaxBitmapTextGlyphBindings) return;
  const uint32_t n = uint32_t(entries.size());
  void* tail = fLayout->bindingList().push<OvBitmapTextBindingRecord>(OvBitmapTextBindingRecord::TailFor(n), n,
                                                                       element);
  if (!tail) return;
  // Two arrays, one after the other: every first value, then every second.
  uint8_t* firsts = static_cast<uint8_t*>(tail);
  uint8_t* seconds = firsts + 2 * size_t(n);
  for (uint32_t i = 0; i < n; ++i) {
    std::memcpy(firsts + 2 * size_t(i), &entries[i].first, sizeof(uint16_t));
    std::memcpy(seconds + 2 * size_t(i), &entries[i].second, sizeof(uint16_t));
  }
}

bool OvLayoutBuilder::finish() {
  for (const PendingBinding& binding : fPendingBindings) {
    uint32_t element;
    if (!FindElement(fCanvas, binding.name, &element)) continue;
    if (binding.kind == kBitmapTextBindingKind) {
      writeBitmapTextRecord(binding, element);
    } else {
      fLayout->bindingList().push<OvBindingRecord>(0, binding.id, binding.kind, element);
    }
  }
  fPendingBindings.clear();
  fBitmapTextGlyphs.clear();

  if (fHeader == OutOfMemoryMarker()) {
    // No header to record the table in: the table is written all the same,
    // but the layout cannot find it.
    fCanvas.build(nullptr, nullptr);
    return false;
  }
  fCanvas.build(&fHeader->idCount, &fHeader->idMapOffset);
  return fLayout->loadMap();
}

OvLayout* OvLayoutBuilder::build() {
  finish();
  return fLayout;
}

}  // namespace orvel
