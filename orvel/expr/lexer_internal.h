// Lexer: turns the text of one property expression into tokens for the
// expression parser, one token per lex() call, by longest match (on a tie the
// earlier rule wins). There are no escapes, no octal or hexadecimal literals;
// long identifiers, strings and float texts are cut silently and integers wrap.
#pragma once

#include <cstdint>

#include "orvel/expr/parser.h"

namespace orvel {

constexpr unsigned kMaxIdentifierLength = 16;
constexpr unsigned kMaxStringLength = 19;
constexpr unsigned kMaxFloatTextLength = 19;

class Lexer {
 public:
  static constexpr int kStartState = 10;
  static constexpr int kErrorState = 0;
  // act values: which number pattern the pending longest match took.
  static constexpr int kActFloat = 1;
  static constexpr int kActInt = 2;

  // text: NUL-terminated, not owned; must outlive every lex() call. Its NUL is
  // scanned as the end-of-input token.
  explicit Lexer(const char* text);

  // The next token's code; fills *yylval for INT64, FLOAT, IDENTIFIER and
  // STRING (its first 32-bit word is zeroed for every call). 0 at the end of
  // the text and for a string still open there; kTokenInvalid for a character
  // no rule takes, and again for every later call (the error state sticks).
  int lex(parser_type* yylval);

  const char* input;
  const char* p;    // scan position
  const char* pe;   // one past the text's NUL
  const char* eof;  // equal to pe
  int cs;           // kStartState, or kErrorState after an invalid character
  int act;          // kActFloat or kActInt for the last number scanned, else 0
  const char* ts;   // start of the last token
  const char* te;   // end of the last token
  char numText[kMaxFloatTextLength + 1];

 private:
  int scanNumber(parser_type* yylval);
  int scanIdentifier(parser_type* yylval);
  int scanString(parser_type* yylval);
  int produce(int token, const char* end);
};

}  // namespace orvel
