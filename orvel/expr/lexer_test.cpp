#include "orvel/expr/lexer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace orvel {
namespace {

// The token stream of text up to the end token (or the first invalid one), as
// "int 5, float 1.5, id a, str 'x', ==, +, invalid".
std::string Tokens(const char* text) {
  Lexer lexer(text);
  std::string out;
  for (int guard = 0; guard < 64; ++guard) {
    parser_type v;
    std::memset(&v, 0, sizeof v);
    const int token = lexer.lex(&v);
    if (token == kTokenEnd) break;
    std::string item;
    char buf[64];
    switch (token) {
      case kTokenInt64:
        std::snprintf(buf, sizeof buf, "int %lld", static_cast<long long>(v.intValue));
        item = buf;
        break;
      case kTokenFloat:
        std::snprintf(buf, sizeof buf, "float %.9g", double(v.floatValue));
        item = buf;
        break;
      case kTokenIdentifier: item = std::string("id ") + v.ident; break;
      case kTokenString: item = std::string("str '") + v.text + "'"; break;
      case kTokenEq: item = "=="; break;
      case kTokenNe: item = "!="; break;
      case kTokenLe: item = "<="; break;
      case kTokenGe: item = ">="; break;
      case kTokenOr: item = "||"; break;
      case kTokenAnd: item = "&&"; break;
      case kTokenInvalid: item = "invalid"; break;
      default: item = std::string(1, char(token)); break;
    }
    out += (out.empty() ? "" : ", ") + item;
    if (token == kTokenInvalid) break;
  }
  return out;
}

struct LexRow {
  const char* text;
  const char* tokens;
};

TEST(LexerTest, TokenSequences) {
  const LexRow rows[] = {
      {"", ""},
      {" \t\n\v\f\r", ""},
      {"a==b", "id a, ==, id b"},
      {"a = b", "id a, invalid"},
      {"a!=b<=c>=d||e&&f", "id a, !=, id b, <=, id c, >=, id d, ||, id e, &&, id f"},
      {"!%()*+,-/:<>?{}", "!, %, (, ), *, +, ,, -, /, :, <, >, ?, {, }"},
      {"< =", "<, invalid"},
      {"|", "invalid"},
      {"&", "invalid"},
      {"=", "invalid"},
      {"$", "invalid"},
      {"#", "invalid"},
      {"[1]", "invalid"},
      {"~", "invalid"},
      {"'a'", "invalid"},
      {".", "invalid"},
      {".e5", "invalid"},
      {"1.5f", "float 1.5"},
      {"10L", "int 10, id L"},
      {"1f", "int 1, id f"},
      {"1.5.5", "float 1.5, float 0.5"},
      {"007", "int 0, int 0, int 7"},
      {"007.5", "float 7.5"},
      {"0x10", "int 0, id x10"},
      {"18446744073709551617", "int 1"},
      {"18446744073709551615", "int -1"},
      {"9223372036854775808", "int -9223372036854775808"},
      {"1e+", "int 1, id e, +"},
      {"1e5", "float 100000"},
      {"1E-2L", "float 0.00999999978"},
      {"12.", "float 12"},
      {"12.e1", "float 120"},
      {".5", "float 0.5"},
      {"1.5e+3F", "float 1500"},
      {"1.5ex", "float 1.5, id ex"},
      {"_a", "invalid"},
      {"A1", "id A1"},
      {"a_1 b", "id a_1, id b"},
      {"abcdefghijklmnopqrstuvwxyz", "id abcdefghijklmnop"},
      {"abcdefghijklmnop", "id abcdefghijklmnop"},
      {"abcdefghijklmnopq+", "id abcdefghijklmnop, +"},
      {"\"a\\\"b\"", "str 'a\\\"b'"},
      {"\"\"", "str ''"},
      {"\"abcdefghijklmnopqrs\"", "str 'abcdefghijklmnopqrs'"},
      {"\"abcdefghijklmnopqrst\"", "str 'abcdefghijklmnopqrs'"},
      {"\"a\nb\"", "invalid"},
      {"\"abc", ""},
      {"1 + \"abc", "int 1, +"},
      {"\"ab\\", ""},
  };
  for (const LexRow& row : rows) {
    EXPECT_EQ(Tokens(row.text), row.tokens) << "text: " << row.text;
  }
}

TEST(LexerTest, FloatTextIsCutAtNineteenCharacters) {
  struct {
    const char* text;
    float value;
  } rows[] = {
      {"0.00000000000000005", float(5e-17)},   // 19 characters: all used
      {"0.000000000000000055", float(5e-17)},  // 20: the last digit is cut
      {"0.0000000000000005f", float(5e-16)},   // the suffix counts
  };
  for (const auto& row : rows) {
    Lexer lexer(row.text);
    parser_type v;
    EXPECT_EQ(lexer.lex(&v), kTokenFloat) << row.text;
    EXPECT_EQ(v.floatValue, row.value) << row.text;
    EXPECT_EQ(std::string(lexer.numText), std::string(row.text).substr(0, kMaxFloatTextLength)) << row.text;
    EXPECT_EQ(lexer.lex(&v), kTokenEnd) << row.text;
  }
}

TEST(LexerTest, ScannerFields) {
  const char* text = "12 3.5";
  Lexer lexer(text);
  EXPECT_EQ(lexer.input, text);
  EXPECT_EQ(lexer.p, text);
  EXPECT_EQ(lexer.pe, text + 7);
  EXPECT_EQ(lexer.eof, lexer.pe);
  EXPECT_EQ(lexer.cs, Lexer::kStartState);
  EXPECT_EQ(lexer.act, 0);
  parser_type v;
  ASSERT_EQ(lexer.lex(&v), kTokenInt64);
  EXPECT_EQ(lexer.act, Lexer::kActInt);
  EXPECT_EQ(lexer.ts, text);
  EXPECT_EQ(lexer.te, text + 2);
  ASSERT_EQ(lexer.lex(&v), kTokenFloat);
  EXPECT_EQ(lexer.act, Lexer::kActFloat);
  EXPECT_EQ(lexer.ts, text + 3);
  EXPECT_EQ(lexer.te, text + 6);
  EXPECT_EQ(lexer.lex(&v), kTokenEnd);
  EXPECT_EQ(lexer.p, lexer.eof);
  EXPECT_EQ(lexer.lex(&v), kTokenEnd);  // and so on at the end
}

TEST(LexerTest, InvalidStateSticksAndFirstWordIsZeroed) {
  Lexer lexer("$ 1");
  parser_type v;
  std::memset(&v, 0xAB, sizeof v);
  EXPECT_EQ(lexer.lex(&v), kTokenInvalid);
  EXPECT_EQ(lexer.cs, Lexer::kErrorState);
  EXPECT_EQ(v.node, 0u);
  EXPECT_EQ(static_cast<unsigned char>(v.text[4]), 0xABu);  // only the first word
  EXPECT_EQ(lexer.lex(&v), kTokenInvalid);
}

}  // namespace
}  // namespace orvel
