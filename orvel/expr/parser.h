// The expression parser's C entry points and the values they trade in: the
// token codes and the semantic value of a token. A parse reads the tokens of
// one expression text and writes one node record per reduction into an op
// list (orvel/layout/expression_records.h); the layout builder drives it
// (OvLayoutBuilder::writeExpressionProperty), and its parse state
// (ParserContext) is the library's own.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"

namespace orvel {

// The semantic value of a token or, for the parser's nonterminals, of a node:
// node holds the logical offset of a node record and shares the first four
// bytes with the other members.
union parser_type {
  int64_t intValue;   // INT64: wrapped to 64 bits
  float floatValue;   // FLOAT
  char ident[17];     // IDENTIFIER: at most 16 characters and a NUL
  char text[20];      // STRING: at most 19 characters and a NUL
  uint32_t node;      // nonterminals: node reference
};

// Token codes. Single-character tokens (+ - * / % < > ! ? : ( ) { } ,) are
// their character codes.
enum OvExprToken : int {
  kTokenEnd = 0,  // end of input
  INT64 = 257,
  FLOAT = 258,
  IDENTIFIER = 259,
  STRING = 260,
  EQ = 261,   // ==
  NE = 262,   // !=
  LE = 263,   // <=
  GE = 264,   // >=
  OR = 265,   // ||
  AND = 266,  // &&
  // Outside the parser's range on purpose: it becomes a syntax error there.
  kTokenInvalid = 2147483647,
};

// The grammar's tokens in declaration order, so that the generated parser
// can check that its codes are these.
inline constexpr OvExprToken kGrammarTokens[] = {INT64, FLOAT, IDENTIFIER, STRING, EQ, NE, LE, GE, OR, AND};

class ParserContext;

}  // namespace orvel

extern "C" {
// Parses the context's token stream into node records; 0 when accepted, 1 on a
// syntax error or stack overflow (and for a null ctx).
ORVEL_API int expr_parse(orvel::ParserContext* ctx);
// The next token from the context's lexer; 0 (end of input) when ctx or its
// lexer is null.
ORVEL_API int expr_lex(orvel::parser_type* yylval, orvel::ParserContext* ctx);
// Reports msg as an error of the context's parse; does nothing for a null ctx.
ORVEL_API void expr_error(orvel::ParserContext* ctx, const char* msg);
// Kept for callers that set it; the parser never reads it.
ORVEL_API extern int expr_debug;
// Set to 0 by every expr_parse and incremented by a syntax error.
ORVEL_API extern int expr_nerrs;
}
