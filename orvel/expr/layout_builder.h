// OvLayoutBuilder: the authoring front end of a layout. The client draws
// through the builder's recording canvas and adds what drawing cannot say: the
// layout header, expression-valued properties (parsed into expression nodes),
// formatted-number properties, the numeric locale, and data bindings that
// attach named elements to values. finish() resolves the bindings against the
// element ids the canvas recorded, writes them, completes the header and the id
// table and loads the layout's id map.
//
// Call order: construct; draw and call the write operations in any order; then
// finish() (or build()) once. One thread at a time per builder; the first
// expression of the process fills the parser's shared function table and must
// not race with another parse.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "orvel/core/bitmap.h"
#include "orvel/core/export.h"
#include "orvel/layout/records.h"
#include "orvel/expr/property.h"
#include "orvel/layout/layout.h"
#include "orvel/layout/recording_canvas.h"

namespace orvel {

// A data binding: the element named name (an id given to the canvas) is bound
// with id and kind; both are the rendering client's. Kind 6 bindings are
// written before all others; kind 14 belongs to bitmap text bindings.
struct OvBinding {
  const char* name;  // copied by writeBinding; null names no element
  uint16_t id;
  uint16_t kind;
};

class ORVEL_API OvLayoutBuilder {
 public:
  // Binding kinds with a meaning of their own here.
  static constexpr uint16_t kFirstBindingKind = 6;
  static constexpr uint16_t kBitmapTextBindingKind = orvel::kBitmapTextBindingKind;
  // The header field's value when its record could not be allocated.
  static constexpr intptr_t kOutOfMemory = -12;

  // layout and bitmaps: not owned; must be non-null and outlive the builder.
  // Builds the canvas over the layout's draw and resource lists and writes the
  // layout header as the draw list's next (for an empty layout, first) record.
  OvLayoutBuilder(OvLayout* layout, OvBitmapStorage* bitmaps);
  OvLayoutBuilder(const OvLayoutBuilder&) = delete;
  OvLayoutBuilder& operator=(const OvLayoutBuilder&) = delete;

  // The canvas to draw on; records into the layout.
  OvRecordingCanvas& canvas() { return fCanvas; }
  OvLayout* layout() const { return fLayout; }

  // Writes another layout header and makes it the builder's: its address, or
  // OutOfMemoryMarker() (-12, also kept as the header) when it could not be
  // allocated.
  OvLayoutHeader* writeHeader();
  // The builder's header record, or OutOfMemoryMarker().
  OvLayoutHeader* header() const { return fHeader; }
  // The -12 marker as a header pointer; never dereferenced.
  static OvLayoutHeader* OutOfMemoryMarker() { return reinterpret_cast<OvLayoutHeader*>(kOutOfMemory); }

  // Queues a binding (name copied); nothing is written until finish().
  void writeBinding(const OvBinding& binding);
  // Queues a kind-14 binding for name with a copy of entries. Its binding id
  // is the entries' index among the bitmap text bindings as u16, so the
  // 65537th and later of one builder reuse the indices of earlier ones.
  void writeBitmapTextBinding(const char* name, const std::vector<OvBitmapTextGlyphBinding>& entries);

  // Parses expr (NUL-terminated; null counts as the empty text) into
  // expression nodes in the resource list and writes an expression property
  // of id (low 16 bits) and the declared result type (stored, not checked)
  // naming the root node. True when the expression was accepted, even when
  // the property record itself could not be allocated. False on a syntax
  // error, a stack overflow or an unknown function: the messages are assigned
  // to *error when error is non-null, otherwise logged as "error parsing Orvel
  // expr: <messages>". Nodes of a failed parse stay in the list, unreferenced.
  bool writeExpressionProperty(unsigned id, PropertyType type, const char* expr, std::string* error);
  // Writes a formatted number property; its logical offset in the resource
  // list, or 0 when the list could not grow (0 is also the offset of a record
  // written first into an empty list).
  unsigned writeFormattedNumberProperty(unsigned short first, unsigned short second, OvNumberFormat format);
  // Writes the numeric locale configuration; its logical offset, or 0 as above.
  unsigned writeNumericLocaleConfig(const OvNumberLocaleConfig& config);

  // Writes the queued bindings to the binding list (kind 6 first, newest
  // first; then the others in call order), skipping those whose name no
  // element bears, those the list has no room for and bitmap text bindings of
  // more than kMaxBitmapTextGlyphBindings entries; empties the queues;
  // has the canvas write the id table into the header; returns
  // OvLayout::loadMap(). A kind-14 binding whose id is past the bitmap text
  // bindings is a fatal error ("bitmap text binding index out of range") and
  // is skipped. With the header at the -12 marker the id table is still
  // written but nowhere recorded, and false is returned without loading.
  bool finish();
  // finish(), then the layout.
  OvLayout* build();

 private:
  struct PendingBinding {
    std::string name;
    uint16_t id;
    uint16_t kind;
  };

  void writeBitmapTextRecord(const PendingBinding& binding, uint32_t element);

  OvLayout* fLayout;
  OvLayoutHeader* fHeader;
  OvRecordingCanvas fCanvas;
  std::list<PendingBinding> fPendingBindings;
  std::vector<std::vector<OvBitmapTextGlyphBinding>> fBitmapTextGlyphs;
};

}  // namespace orvel
