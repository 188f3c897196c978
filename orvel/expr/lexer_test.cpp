// Token sequences, the length cuts, and the end and error states.
#include "orvel/expr/lexer_internal.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace orvel {
namespace {

// The token stream of text up to the end token (or the first invalid one), as
// "int 5, float 1.5, id a, str 'x', ==, +, invalid".
std::string Tokens(const char* text) {
  static const char* const kPairs[] = {"==", "!=", "<=", ">=", "||", "&&"};  // EQ to AND
  Lexer lexer(text);
  std::string out;
  for (int guard = 0; guard < 64; ++guard) {
    parser_type v;
    std::memset(&v, 0, sizeof v);
    const int token = lexer.lex(&v);
    if (token == kTokenEnd) break;
    char item[64];
    if (token == INT64) std::snprintf(item, sizeof item, "int %lld", static_cast<long long>(v.intValue));
    else if (token == FLOAT) std::snprintf(item, sizeof item, "float %.9g", double(v.floatValue));
    else if (token == IDENTIFIER) std::snprintf(item, sizeof item, "id %s", v.ident);
    else if (token == STRING) std::snprintf(item, sizeof item, "str '%s'", v.text);
    else if (token >= EQ && token <= AND) std::snprintf(item, sizeof item, "%s", kPairs[token - EQ]);
    else if (token == kTokenInvalid) std::snprintf(item, sizeof item, "invalid");
    else std::snprintf(item, sizeof item, "%c", char(token));
    out += (out.empty() ? "" : ", ") + std::string(item);
    if (token == kTokenInvalid) break;
  }
  return out;
}

TEST(LexerTest, TokenSequences) {
  const struct { const char* text; const char* tokens; } rows[] = {
      {"", ""}, {" \t\n\v\f\r", ""}, {"a==b", "id a, ==, id b"}, {"a = b", "id a, invalid"},
      {"a!=b<=c>=d||e&&f", "id a, !=, id b, <=, id c, >=, id d, ||, id e, &&, id f"},
      {"!%()*+,-/:<>?{}", "!, %, (, ), *, +, ,, -, /, :, <, >, ?, {, }"}, {"< =", "<, invalid"},
      {"|", "invalid"}, {"&", "invalid"}, {"=", "invalid"}, {"$", "invalid"}, {"'a'", "invalid"}, {"~", "invalid"},
      {".", "invalid"}, {".e5", "invalid"}, {"1.5f", "float 1.5"}, {"10L", "int 10, id L"}, {"1f", "int 1, id f"},
      {"1.5.5", "float 1.5, float 0.5"}, {"007", "int 0, int 0, int 7"}, {"007.5", "float 7.5"},
      {"0x10", "int 0, id x10"}, {"18446744073709551617", "int 1"}, {"18446744073709551615", "int -1"},
      {"9223372036854775808", "int -9223372036854775808"}, {"1e+", "int 1, id e, +"}, {"1e5", "float 100000"},
      {"1E-2L", "float 0.00999999978"}, {"12.", "float 12"}, {"12.e1", "float 120"}, {".5", "float 0.5"},
      {"1.5e+3F", "float 1500"}, {"1.5ex", "float 1.5, id ex"}, {"_a", "invalid"}, {"A1", "id A1"},
      {"a_1 b", "id a_1, id b"}, {"abcdefghijklmnopqrstuvwxyz", "id abcdefghijklmnop"},
      {"abcdefghijklmnop", "id abcdefghijklmnop"}, {"abcdefghijklmnopq+", "id abcdefghijklmnop, +"},
      {"\"a\\\"b\"", "str 'a\\\"b'"}, {"\"\"", "str ''"}, {"\"abcdefghijklmnopqrs\"", "str 'abcdefghijklmnopqrs'"},
      {"\"abcdefghijklmnopqrst\"", "str 'abcdefghijklmnopqrs'"}, {"\"a\nb\"", "invalid"}, {"\"abc", ""},
      {"1 + \"abc", "int 1, +"}, {"\"ab\\", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(Tokens(row.text), row.tokens) << "text: " << row.text;
}

TEST(LexerTest, FloatTextIsCutAtNineteenCharacters) {
  const struct { const char* text; float value; } rows[] = {
      {"0.00000000000000005", float(5e-17)},   // 19 characters: all used
      {"0.000000000000000055", float(5e-17)},  // 20: the last digit is cut
      {"0.0000000000000005f", float(5e-16)},   // the suffix counts
  };
  for (const auto& row : rows) {
    Lexer lexer(row.text);
    parser_type v;
    EXPECT_EQ(lexer.lex(&v), FLOAT) << row.text;
    EXPECT_EQ(v.floatValue, row.value) << row.text;
    EXPECT_EQ(std::string(lexer.numText), std::string(row.text).substr(0, kMaxFloatTextLength)) << row.text;
    EXPECT_EQ(lexer.lex(&v), kTokenEnd) << row.text;
  }
}

TEST(LexerTest, EndAndInvalidStatesStick) {
  const char* text = "12";
  Lexer lexer(text);
  EXPECT_TRUE(lexer.pe == text + 3 && lexer.eof == lexer.pe && lexer.cs == Lexer::kStartState) << "the NUL is scanned";
  parser_type v;
  EXPECT_EQ(lexer.lex(&v), INT64);
  EXPECT_EQ(lexer.lex(&v), kTokenEnd);
  EXPECT_EQ(lexer.lex(&v), kTokenEnd);
  // lex zeroes only the value's first word.
  Lexer bad("$ 1");
  std::memset(&v, 0xAB, sizeof v);
  EXPECT_EQ(bad.lex(&v), kTokenInvalid);
  EXPECT_TRUE(bad.cs == Lexer::kErrorState && v.node == 0 && static_cast<unsigned char>(v.text[4]) == 0xAB);
  EXPECT_EQ(bad.lex(&v), kTokenInvalid);
}

}  // namespace
}  // namespace orvel
