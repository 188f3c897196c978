// ParserContext: what one expression parse writes into. The parser calls its
// node writers once per reduction; each appends one node record (see
// expr_nodes.h) to the target op list, children before parents, and hands back
// the record's logical offset. Errors of the parse are gathered as text.
//
// The C entry points (parser.h) drive a parse: expr_parse pulls tokens through
// expr_lex from the context's Lexer and reports through expr_error. There is no
// error recovery: the first syntax error ends the parse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "orvel/expr/expression_ops.h"
#include "orvel/expr/lexer_internal.h"
#include "orvel/expr/parser.h"
#include "orvel/layout/op_list.h"

namespace orvel {

// The parser's state and value stacks start at this depth and double when full.
constexpr unsigned kParserInitialStackDepth = 200;
// A push beyond this depth fails the parse with "yacc stack overflow".
constexpr unsigned kParserMaxStackDepth = 2048;
// Room for one "Cannot find function %s with %d params" message.
constexpr size_t kFuncErrorBufferSize = 256;
// Reported when a node record cannot be written (no op list, or it cannot grow).
constexpr const char* kNodeWriteErrorMessage = "cannot write expression node";

class ParserContext {
 public:
  // Empty error, root 0, no lexer and op list. The first context of the process
  // fills the built-in function table (not synchronised).
  ParserContext();

  // Appends msg to error, behind a line feed unless error is empty; null counts
  // as an empty message.
  void reportError(const char* msg);

  // The id of the built-in called as name with params arguments, or 0 after
  // reporting "Cannot find function <name> with <params> params". The search
  // starts at the first entry named name and goes on past the other entries of
  // that name, in byte order of names, to the first with params arguments.
  unsigned resolveFunc(const char* name, unsigned params);

  // Node writers: each appends one record to opList and stores its logical
  // offset in out. When the record cannot be written (or, for calls, the
  // function cannot be resolved) out is left as it was and an error reported.
  void newExp1(unsigned& out, OvExpressionType type, const unsigned& a);
  void newExp2(unsigned& out, OvExpressionType type, const unsigned& a, const unsigned& b);
  void newExp3(unsigned& out, OvExpressionType type, const unsigned& a, const unsigned& b, const unsigned& c);
  void newFunc0(unsigned& out, const char* name);
  void newFunc1(unsigned& out, const char* name, const unsigned& a);
  void newFunc2(unsigned& out, const char* name, const unsigned& a, const unsigned& b);
  void newFunc3(unsigned& out, const char* name, const unsigned& a, const unsigned& b, const unsigned& c);
  void newFunc4(unsigned& out, const char* name, const unsigned& a, const unsigned& b, const unsigned& c,
                const unsigned& d);
  void newInt64(unsigned& out, long long value);
  void newFloat(unsigned& out, float value);
  // text: NUL-terminated; copied whole with its NUL.
  void newString(unsigned& out, const char* text);
  void newProperty(unsigned& out, unsigned short id);

  uint32_t root;     // node reference of the whole expression; 0 until accepted
  Lexer* lexer;      // not owned; must outlive the parse
  OvOpList* opList;  // not owned; receives the node records
  std::string error; // every message of this parse, joined by line feeds

 private:
  // The one place node records are made: a zero-filled record of type and size
  // in opList, its offset in out; null (error reported) when none was made.
  void* appendNode(unsigned& out, uint32_t type, uint32_t size);
  void newOperator(unsigned& out, OvExpressionType type, uint32_t count, const unsigned* operands);
  void newCall(unsigned& out, const char* name, uint32_t count, const unsigned* args);
};

}  // namespace orvel
