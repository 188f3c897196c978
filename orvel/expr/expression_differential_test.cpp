// The expression language against the C++ compiler. Each row of
// expression_cases_test.inc (written by tools/gen_expr_cases.cpp) holds the
// text of an integer expression and the same expression compiled as C++ over
// long long, so the compiler supplies both the value and the kind of result.
// Every text is compiled through OvLayoutBuilder::writeExpressionProperty into
// one layout, and the root its property record names is evaluated. Results
// map as: a C++ long long must come back as an S64 of that value; a C++ bool
// as a Bool whose toS64 is 0 or 1.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/expr/evaluator.h"
#include "orvel/expr/layout_builder.h"

namespace orvel {
namespace {

struct ExpressionCase {
  const char* text;
  long long expected;
  bool truth;  // the C++ expression is a bool
};

template <typename T>
constexpr ExpressionCase ExpressionRow(const char* text, T value) {
  static_assert(std::is_same<T, long long>::value || std::is_same<T, bool>::value,
                "a row is a long long or a bool expression");
  return {text, static_cast<long long>(value), std::is_same<T, bool>::value};
}

// The rows lean on precedence instead of parentheses and use integers as
// truth values, both on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wint-in-bool-context"
constexpr ExpressionCase kCases[] = {
#include "orvel/expr/expression_cases_test.inc"
};
#pragma GCC diagnostic pop

PropertyType ExpectedType(const ExpressionCase& row) { return row.truth ? PropertyType::Bool : PropertyType::S64; }

const char* TypeName(PropertyType type) {
  return type == PropertyType::S64 ? "S64" : type == PropertyType::Bool ? "Bool" : "other";
}

TEST(ExpressionDifferential, TableHasBothKindsAndSigns) {
  unsigned truths = 0, negatives = 0;
  for (const ExpressionCase& row : kCases) {
    truths += row.truth;
    negatives += !row.truth && row.expected < 0;
  }
  EXPECT_GT(truths, 0u);
  EXPECT_GT(negatives, 0u);
}

TEST(ExpressionDifferential, EvaluatesAsTheCompilerDoes) {
  OvHeapBitmapStorage bitmaps;
  OvLayout layout;
  OvLayoutBuilder builder(&layout, &bitmaps);
  // Everything is written before anything is evaluated, so that later
  // expressions lie in later buffers of the list and refer across them.
  std::vector<uint32_t> roots;
  for (const ExpressionCase& row : kCases) {
    std::string error;
    const unsigned id = unsigned(roots.size());
    const bool accepted = builder.writeExpressionProperty(id, ExpectedType(row), row.text, &error);
    const OvOp* record = layout.resourceList().lastOp();
    uint32_t root = 0;
    if (accepted && record && record->type() == kExpressionProperty) {
      std::memcpy(&root, reinterpret_cast<const uint8_t*>(record) + offsetof(OvExpressionProperty, root), 4);
    }
    // Every row has operators, so its root is never the list's first record.
    EXPECT_TRUE(accepted && root != 0) << row.text << ": " << error;
    roots.push_back(root);
  }
  ASSERT_NE(layout.resourceList().firstBuffer(), layout.resourceList().lastBuffer());

  OvExpressionEvaluator evaluator(&layout.resourceList());
  for (size_t i = 0; i < roots.size(); ++i) {
    const ExpressionCase& row = kCases[i];
    const Property got = evaluator.evaluate(roots[i]);
    if (got.type != ExpectedType(row) || got.toS64() != row.expected) {
      ADD_FAILURE() << row.text << "\n  got " << TypeName(got.type) << " " << got.toS64() << "\n  expected "
                    << TypeName(ExpectedType(row)) << " " << row.expected;
    }
  }
}

}  // namespace
}  // namespace orvel
