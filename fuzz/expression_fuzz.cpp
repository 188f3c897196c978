// Fuzz target: expression texts, tokenised, parsed into node records both by
// the layout builder and by a bare parser context, and evaluated where
// accepted; the builder's layout is then finished and read as a renderer
// reads it.
//
// Input: up to kMaxTexts texts separated by NUL bytes. Text i becomes property
// i of declared type i % 13; odd ones have their parse errors logged rather
// than returned.
//
// Checked on top of the sanitizers: the lexer ends within one call per
// character and never scans past the text's NUL; an accepted expression's
// root names a node record; the builder and the bare parse of one text agree
// on acceptance and on the value.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/layout_reader.h"
#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/paint.h"
#include "orvel/expr/evaluator.h"
#include "orvel/expr/layout_builder.h"
#include "orvel/expr/lexer_internal.h"
#include "orvel/expr/parser_context_internal.h"

using namespace orvel;

namespace {

constexpr unsigned kMaxTexts = 8;
constexpr unsigned kPropertyTypeCount = 13;

std::vector<std::string> SplitTexts(const uint8_t* data, size_t size) {
  std::vector<std::string> texts;
  size_t at = 0;
  while (at <= size && texts.size() < kMaxTexts) {
    const uint8_t* end = at < size ? static_cast<const uint8_t*>(std::memchr(data + at, 0, size - at)) : nullptr;
    const size_t length = end ? size_t(end - (data + at)) : size - at;
    texts.emplace_back(reinterpret_cast<const char*>(data + at), length);
    at += length + 1;
  }
  return texts;
}

// Every token of text; the scan must end, and stay inside the text.
void Tokenise(const std::string& text) {
  Lexer lexer(text.c_str());
  parser_type value;
  size_t calls = 0;
  for (;;) {
    const int token = lexer.lex(&value);
    FUZZ_CHECK(lexer.p >= lexer.input && lexer.p <= lexer.pe);
    FUZZ_CHECK(lexer.pe == text.c_str() + text.size() + 1);
    if (token == kTokenEnd || token == kTokenInvalid) break;
    FUZZ_CHECK(++calls <= text.size());
    fuzz::Consume(&token, sizeof token);
    if (token == IDENTIFIER) FUZZ_CHECK(std::memchr(value.ident, 0, sizeof value.ident) != nullptr);
    if (token == STRING) FUZZ_CHECK(std::memchr(value.text, 0, sizeof value.text) != nullptr);
  }
}

// An accepted expression that wrote nodes (between logical offsets start and
// end of list) has its root among them; one that wrote none (the empty text)
// has root 0.
void CheckRoot(const OvOpList& list, uint32_t start, uint32_t end, uint32_t root) {
  if (end == start) {
    FUZZ_CHECK(root == 0);
    return;
  }
  FUZZ_CHECK(root >= start && root < end);
  const OvOp* node = list.findOp(root);
  FUZZ_CHECK(node != nullptr);
  uint32_t header;
  std::memcpy(&header, node, sizeof header);
  FUZZ_CHECK((header & 63) >= kExp1 && (header & 63) <= kProperty);
}

struct Outcome {
  bool accepted;
  PropertyType type;
  std::string text;
};

Outcome Evaluate(const OvOpList& list, uint32_t root) {
  OvExpressionEvaluator evaluator(&list);
  evaluator.setFunctionCall(&fuzz::FunctionCall, nullptr);
  fuzz::EvaluateAndFormat(evaluator, root);
  const Property value = evaluator.evaluate(root);
  char text[kPropertyStringSize + 1] = {};
  unsigned length = 0;
  value.toString(text, &length, kPropertyStringSize, nullptr);
  return {true, value.type, std::string(text, length)};
}

// The bare parse, as the builder drives it but with the context's own error.
Outcome ParseAlone(const std::string& text) {
  OvOpList list;
  Lexer lexer(text.c_str());
  ParserContext context;
  context.lexer = &lexer;
  context.opList = &list;
  const int result = expr_parse(&context);
  FUZZ_CHECK(result == 0 || result == 1);
  fuzz::Consume(context.error.data(), context.error.size());
  if (result != 0 || !context.error.empty()) return {false, PropertyType::None, ""};
  CheckRoot(list, 0, list.totalUsedSize(), context.root);
  return Evaluate(list, context.root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::BeginInput();
  const std::vector<std::string> texts = SplitTexts(data, size);
  {
    OvLayout layout;
    OvHeapBitmapStorage bitmaps;
    {
      OvLayoutBuilder builder(&layout, &bitmaps);
      OvPaint paint;
      builder.canvas().writeRect({0, 0, 10, 10}, paint, "background");
      for (unsigned i = 0; i < texts.size(); ++i) {
        const std::string& text = texts[i];
        Tokenise(text);
        std::string error;
        OvOpList& resources = layout.resourceList();
        const uint32_t start = resources.totalUsedSize();
        const bool accepted = builder.writeExpressionProperty(i, PropertyType(i % kPropertyTypeCount), text.c_str(),
                                                              i % 2 ? nullptr : &error);
        fuzz::Consume(error.data(), error.size());
        const Outcome alone = ParseAlone(text);
        FUZZ_CHECK(accepted == alone.accepted);
        if (!accepted) continue;
        const OvOp* property = resources.lastOp();
        FUZZ_CHECK(property && property->type() == kExpressionProperty);
        FUZZ_CHECK(resources.lastOpOffset() + sizeof(OvExpressionProperty) == resources.totalUsedSize());
        uint32_t root;
        std::memcpy(&root, reinterpret_cast<const uint8_t*>(property) + offsetof(OvExpressionProperty, root),
                    sizeof root);
        CheckRoot(resources, start, resources.lastOpOffset(), root);
        const Outcome built = Evaluate(resources, root);
        // An empty text's root 0 names whatever the list holds first, which
        // differs between the two lists.
        if (resources.lastOpOffset() != start) FUZZ_CHECK(built.type == alone.type && built.text == alone.text);
      }
      builder.finish();
    }
    fuzz::ReadLayout(layout, fuzz::ParseProbes(nullptr, 0));
  }
  FUZZ_CHECK(fuzz::HeapInUse() == 0);
  return 0;
}
