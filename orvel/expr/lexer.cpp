#include "orvel/expr/lexer_internal.h"

#include <cstdlib>
#include <cstring>

namespace orvel {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsFloatSuffix(char c) { return c == 'f' || c == 'F' || c == 'l' || c == 'L'; }

// Every scan below stops at the text's NUL (no class takes it), so only the
// string scan, which does take it, needs the end pointer.
const char* SkipDigits(const char* q) {
  while (IsDigit(*q)) ++q;
  return q;
}

// An exponent: e or E, an optional sign, at least one digit. Returns its end,
// or q itself when none is complete there.
const char* Exponent(const char* q) {
  if (*q != 'e' && *q != 'E') return q;
  const char* d = q + 1;
  if (*d == '+' || *d == '-') ++d;
  return IsDigit(*d) ? SkipDigits(d) : q;
}

void CopyCut(char* dst, const char* src, size_t len, size_t max) {
  if (len > max) len = max;
  std::memcpy(dst, src, len);
  dst[len] = '\0';
}

}  // namespace

Lexer::Lexer(const char* text)
    : input(text),
      p(text),
      pe(text + std::strlen(text) + 1),
      eof(pe),
      cs(kStartState),
      act(0),
      ts(nullptr),
      te(nullptr),
      numText() {}

int Lexer::produce(int token, const char* end) {
  te = end;
  p = end;
  return p == eof ? kTokenEnd : token;
}

int Lexer::scanNumber(parser_type* yylval) {
  const char* digitsEnd = SkipDigits(ts);
  // Integer: a lone 0 or [1-9][0-9]*; the leading zero never starts a longer one.
  const char* intEnd = ts == digitsEnd ? ts : (*ts == '0' ? ts + 1 : digitsEnd);
  // Float: digits '.' digits?, or '.' digits, with an optional exponent; or
  // digits with a required exponent; then an optional suffix letter.
  const char* floatEnd = ts;
  if (*digitsEnd == '.' && (digitsEnd != ts || IsDigit(digitsEnd[1]))) {
    floatEnd = Exponent(SkipDigits(digitsEnd + 1));
  } else if (digitsEnd != ts) {
    const char* e = Exponent(digitsEnd);
    if (e != digitsEnd) floatEnd = e;
  }
  if (floatEnd != ts && IsFloatSuffix(*floatEnd)) ++floatEnd;

  if (floatEnd > intEnd) {
    act = kActFloat;
    CopyCut(numText, ts, size_t(floatEnd - ts), kMaxFloatTextLength);
    yylval->floatValue = float(std::atof(numText));
    return produce(FLOAT, floatEnd);
  }
  if (intEnd == ts) return kTokenInvalid;  // a point with no digit behind it
  act = kActInt;
  uint64_t value = 0;  // wraps silently, by design
  for (const char* q = ts; q < intEnd; ++q) value = value * 10 + uint64_t(*q - '0');
  yylval->intValue = int64_t(value);
  return produce(INT64, intEnd);
}

int Lexer::scanIdentifier(parser_type* yylval) {
  const char* q = ts + 1;
  while (IsLetter(*q) || IsDigit(*q) || *q == '_') ++q;
  CopyCut(yylval->ident, ts, size_t(q - ts), kMaxIdentifierLength);
  return produce(IDENTIFIER, q);
}

int Lexer::scanString(parser_type* yylval) {
  const char* q = ts + 1;
  for (;;) {
    // A string still open at the end of the text ends the token stream.
    if (q == pe) {
      p = pe;
      return kTokenEnd;
    }
    char c = *q;
    if (c == '"') break;
    if (c == '\n') return kTokenInvalid;
    // A backslash takes any next character with it, unchanged.
    q += (c == '\\' && q + 1 != pe) ? 2 : 1;
  }
  CopyCut(yylval->text, ts + 1, size_t(q - ts - 1), kMaxStringLength);
  return produce(STRING, q + 1);
}

int Lexer::lex(parser_type* yylval) {
  std::memset(yylval, 0, sizeof(uint32_t));
  if (p == eof) return kTokenEnd;
  if (cs == kErrorState) return kTokenInvalid;
  while (p != pe && IsSpace(*p)) ++p;
  if (p == pe) return kTokenEnd;
  ts = p;
  const char c = *p;
  const char next = p + 1 != pe ? p[1] : '\0';
  int token = kTokenInvalid;
  if (c == '\0') {
    token = produce(kTokenEnd, p + 1);
  } else if (IsDigit(c) || c == '.') {
    token = scanNumber(yylval);
  } else if (IsLetter(c)) {
    token = scanIdentifier(yylval);
  } else if (c == '"') {
    token = scanString(yylval);
  } else if (next == '=' && (c == '=' || c == '!' || c == '<' || c == '>')) {
    token = produce(c == '=' ? EQ : c == '!' ? NE : c == '<' ? LE : GE, p + 2);
  } else if ((c == '|' || c == '&') && next == c) {
    token = produce(c == '|' ? OR : AND, p + 2);
  } else if (std::strchr("!%()*+,-/:<>?{}", c)) {
    token = produce(c, p + 1);
  }
  if (token == kTokenInvalid) cs = kErrorState;
  return token;
}

}  // namespace orvel
