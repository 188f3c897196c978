// Test-only: expression text parsed into node records, as the builder does.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "orvel/expr/parser_context_internal.h"

namespace orvel {
namespace testing {

// Parses text into list and returns the root; a parse error fails the test.
inline uint32_t ParseExpression(const std::string& text, OvOpList* list) {
  Lexer lexer(text.c_str());
  ParserContext ctx;
  ctx.lexer = &lexer;
  ctx.opList = list;
  EXPECT_EQ(expr_parse(&ctx), 0) << text;
  EXPECT_EQ(ctx.error, "") << text;
  return ctx.root;
}

}  // namespace testing
}  // namespace orvel
