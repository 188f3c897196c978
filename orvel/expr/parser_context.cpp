#include "orvel/expr/parser_context_internal.h"

#include <cstdio>
#include <cstring>
#include <map>

int expr_debug = 0;
int expr_nerrs = 0;

namespace orvel {

namespace {

using FuncTable = std::multimap<std::string, const OvFuncDesc*>;

// Process-wide; filled by the first context, in array order, so that entries of
// one name keep their array order.
FuncTable& Functions() {
  static FuncTable table;
  return table;
}

// The high word of every ref stays zero from the record's zero fill.
void StoreWord(uint8_t* record, size_t offset, uint32_t value) { std::memcpy(record + offset, &value, sizeof value); }

}  // namespace

ParserContext::ParserContext() : root(0), lexer(nullptr), opList(nullptr) {
  FuncTable& table = Functions();
  if (table.empty()) {
    for (const OvFuncDesc& desc : kFuncTable) table.emplace(desc.name, &desc);
  }
}

void ParserContext::reportError(const char* msg) {
  if (!msg) msg = "";
  if (!error.empty()) error += '\n';
  error += msg;
}

unsigned ParserContext::resolveFunc(const char* name, unsigned params) {
  const FuncTable& table = Functions();
  FuncTable::const_iterator it = table.lower_bound(name);
  // Past the run of equal names on purpose: a known name with another count
  // resolves to the next name, in byte order, that takes that count.
  if (it != table.end() && it->first == name) {
    for (; it != table.end(); ++it) {
      if (it->second->params == params) return it->second->id;
    }
  }
  char message[kFuncErrorBufferSize];
  std::snprintf(message, sizeof message, "Cannot find function %s with %d params", name, int(params));
  reportError(message);
  return kFuncNone;
}

void* ParserContext::appendNode(unsigned& out, uint32_t type, uint32_t size) {
  OvOp* op = opList ? opList->allocOp(type, size) : nullptr;
  if (!op) {
    reportError(kNodeWriteErrorMessage);
    return nullptr;
  }
  // Padding is zeroed so that no stale heap bytes travel in packets.
  std::memset(reinterpret_cast<uint8_t*>(op) + sizeof(OvOp), 0, size - sizeof(OvOp));
  out = opList->lastOpOffset();
  return op;
}

void ParserContext::newOperator(unsigned& out, OvExpressionType type, uint32_t count, const unsigned* operands) {
  auto* node = static_cast<uint8_t*>(appendNode(out, kExp1 + count - 1, 8 + 8 * count));
  if (!node) return;
  // Operator nodes of every width share one layout: op at 4, refs from 8.
  StoreWord(node, offsetof(OvExp3Node, op), type);
  for (uint32_t i = 0; i < count; ++i) StoreWord(node, offsetof(OvExp3Node, operands) + 8 * i, operands[i]);
}

void ParserContext::newCall(unsigned& out, const char* name, uint32_t count, const unsigned* args) {
  const unsigned id = resolveFunc(name, count);
  if (id == kFuncNone) return;
  auto* node = static_cast<uint8_t*>(appendNode(out, kFunc0 + count, 8 + 8 * count));
  if (!node) return;
  // Call nodes of every width share one layout: id at 4, refs from 8.
  StoreWord(node, offsetof(OvFunc4Node, id), id);
  for (uint32_t i = 0; i < count; ++i) StoreWord(node, offsetof(OvFunc4Node, args) + 8 * i, args[i]);
}

void ParserContext::newExp1(unsigned& out, OvExpressionType type, const unsigned& a) {
  const unsigned operands[] = {a};
  newOperator(out, type, 1, operands);
}

void ParserContext::newExp2(unsigned& out, OvExpressionType type, const unsigned& a, const unsigned& b) {
  const unsigned operands[] = {a, b};
  newOperator(out, type, 2, operands);
}

void ParserContext::newExp3(unsigned& out, OvExpressionType type, const unsigned& a, const unsigned& b,
                            const unsigned& c) {
  const unsigned operands[] = {a, b, c};
  newOperator(out, type, 3, operands);
}

void ParserContext::newFunc0(unsigned& out, const char* name) { newCall(out, name, 0, nullptr); }

void ParserContext::newFunc1(unsigned& out, const char* name, const unsigned& a) {
  const unsigned args[] = {a};
  newCall(out, name, 1, args);
}

void ParserContext::newFunc2(unsigned& out, const char* name, const unsigned& a, const unsigned& b) {
  const unsigned args[] = {a, b};
  newCall(out, name, 2, args);
}

void ParserContext::newFunc3(unsigned& out, const char* name, const unsigned& a, const unsigned& b,
                             const unsigned& c) {
  const unsigned args[] = {a, b, c};
  newCall(out, name, 3, args);
}

void ParserContext::newFunc4(unsigned& out, const char* name, const unsigned& a, const unsigned& b,
                             const unsigned& c, const unsigned& d) {
  const unsigned args[] = {a, b, c, d};
  newCall(out, name, 4, args);
}

void ParserContext::newInt64(unsigned& out, long long value) {
  auto* node = static_cast<OvInt64Node*>(appendNode(out, OvInt64Node::kType, OvInt64Node::kSize));
  if (node) node->setValue(value);
}

void ParserContext::newFloat(unsigned& out, float value) {
  auto* node = static_cast<OvFloatNode*>(appendNode(out, OvFloatNode::kType, OvFloatNode::kSize));
  if (node) node->value = value;
}

void ParserContext::newString(unsigned& out, const char* text) {
  if (!text) text = "";
  const size_t length = std::strlen(text);
  // Checked before the size is computed, so it cannot wrap.
  if (length > kMaxOpSize - OvStringNode::kFixedSize - 1) {
    reportError(kNodeWriteErrorMessage);
    return;
  }
  auto* node = static_cast<uint8_t*>(appendNode(out, OvStringNode::kType, OvStringNode::SizeFor(uint32_t(length))));
  if (node) std::memcpy(node + OvStringNode::kFixedSize, text, length + 1);
}

void ParserContext::newProperty(unsigned& out, unsigned short id) {
  auto* node = static_cast<OvExpProp*>(appendNode(out, OvExpProp::kType, OvExpProp::kSize));
  if (node) node->id = id;
}

}  // namespace orvel

int expr_lex(orvel::parser_type* yylval, orvel::ParserContext* ctx) {
  if (!ctx || !ctx->lexer || !yylval) return orvel::kTokenEnd;
  return ctx->lexer->lex(yylval);
}

void expr_error(orvel::ParserContext* ctx, const char* msg) {
  if (ctx) ctx->reportError(msg);
}
