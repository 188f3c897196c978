// orvel-gen-expr-cases: writes the table of the expression differential test
// (orvel/expr/expression_cases_test.inc). Each row pairs the text of a random
// integer expression with the same expression spelt as C++ with 64-bit
// literals, so that the C++ compiler computes the value (and, through the
// row's type, whether it is a truth value) the library must reproduce.
//
//   orvel-gen-expr-cases [seed [count]] > orvel/expr/expression_cases_test.inc
//
// The output depends on the seed and count only: the random source is a
// fixed-width generator of our own, not a standard distribution.
//
// Expressions are typed so that both languages agree on every operator:
// - an integer (the language's S64, C++ long long): literals, unary - and +,
//   + - * / %, and c ? integer : integer;
// - a truth value (the language's Bool, C++ bool): the six comparisons of two
//   integers, !, && and ||, and c ? truth : truth.
// Truth positions (operands of ! && ||, conditions of ?:) take either kind,
// since a non-zero S64 and a non-zero long long are both true. A truth value
// never meets arithmetic, a comparison or unary minus: there the language
// does not promote a Bool to an integer the way C++ promotes a bool (a Bool
// plus 1 is empty, a Bool equals no Bool), so such mixes are not generated.
// Every subexpression, including the branch of ?: that is not taken and both
// sides of && and ||, is evaluated here in checked 64-bit arithmetic; an
// expression with an overflow or an integer division or remainder by zero
// anywhere is thrown away.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

namespace {

constexpr uint64_t kDefaultSeed = 0x6f7276656c9e5a17ull;
constexpr int kDefaultCount = 400;
// Deepest operator nesting generated; the evaluator follows far deeper trees.
constexpr int kMaxDepth = 6;
// Longest text kept, so that rows stay readable.
constexpr size_t kMaxTextLength = 110;
// Fewest operators in a kept expression; a lone literal or "-1" tests little.
constexpr int kMinOperators = 2;
// Share of expressions (in percent) whose value is a truth value.
constexpr unsigned kTruthRootPercent = 35;
// Share of subexpressions (in percent) wrapped in parentheses they do not need.
constexpr unsigned kRedundantParenPercent = 8;

// splitmix64: a small generator whose sequence is the same everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : fState(seed) {}
  uint64_t next() {
    uint64_t z = (fState += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  // 0 .. n - 1.
  unsigned below(unsigned n) { return unsigned(next() % n); }
  bool percent(unsigned p) { return below(100) < p; }

 private:
  uint64_t fState;
};

// Binding strength, loosest first; both languages order these operators alike.
enum Level { kCondLevel = 1, kOrLevel, kAndLevel, kEqualityLevel, kRelationLevel, kAddLevel, kMulLevel,
             kPrefixLevel, kPrimaryLevel };

struct Node {
  enum Kind { kLiteral, kPrefix, kBinary, kConditional } kind;
  std::string op;  // operator text; empty for literals
  int64_t literal = 0;
  bool parens = false; // wrapped in parentheses it does not need
  std::unique_ptr<Node> a, b, c;
};
using NodePtr = std::unique_ptr<Node>;

int BinaryLevel(const std::string& op) {
  if (op == "||") return kOrLevel;
  if (op == "&&") return kAndLevel;
  if (op == "==" || op == "!=") return kEqualityLevel;
  if (op == "<" || op == ">" || op == "<=" || op == ">=") return kRelationLevel;
  if (op == "+" || op == "-") return kAddLevel;
  return kMulLevel;
}

// How tightly n binds as printed, before any parentheses of its own.
int LevelOf(const Node& n) {
  switch (n.kind) {
    case Node::kLiteral: return kPrimaryLevel;
    case Node::kPrefix: return kPrefixLevel;
    case Node::kBinary: return BinaryLevel(n.op);
    case Node::kConditional: return kCondLevel;
  }
  return kPrimaryLevel;
}

// Text of n where the context needs at least level minLevel; cxx spells the
// literals as long long.
std::string Print(const Node& n, int minLevel, bool cxx) {
  std::string s;
  switch (n.kind) {
    case Node::kLiteral:
      s = std::to_string(n.literal) + (cxx ? "LL" : "");
      break;
    case Node::kPrefix: {
      const std::string operand = Print(*n.a, kPrefixLevel, cxx);
      // "- -1", not "--1", which C++ reads as a decrement.
      const bool gap = operand[0] == '-' || operand[0] == '+';
      s = n.op + (gap ? " " : "") + operand;
      break;
    }
    case Node::kBinary:
      // Left-associative: the right operand must bind tighter.
      s = Print(*n.a, BinaryLevel(n.op), cxx) + " " + n.op + " " + Print(*n.b, BinaryLevel(n.op) + 1, cxx);
      break;
    case Node::kConditional:
      // C++ takes a logical-or expression as the condition, any expression in
      // the middle and a conditional at the right; the language agrees.
      s = Print(*n.a, kOrLevel, cxx) + " ? " + Print(*n.b, kCondLevel, cxx) + " : " + Print(*n.c, kCondLevel, cxx);
      break;
  }
  return n.parens || LevelOf(n) < minLevel ? "(" + s + ")" : s;
}

int CountOperators(const Node& n) {
  if (n.kind == Node::kLiteral) return 0;
  return 1 + CountOperators(*n.a) + (n.b ? CountOperators(*n.b) : 0) + (n.c ? CountOperators(*n.c) : 0);
}

// Checked 64-bit evaluation: false on overflow or a zero divisor anywhere.
bool Evaluate(const Node& n, int64_t* out) {
  if (n.kind == Node::kLiteral) {
    *out = n.literal;
    return true;
  }
  int64_t a = 0, b = 0, c = 0;
  if (!Evaluate(*n.a, &a) || (n.b && !Evaluate(*n.b, &b)) || (n.c && !Evaluate(*n.c, &c))) return false;
  const std::string& op = n.op;
  if (n.kind == Node::kConditional) {
    *out = a != 0 ? b : c;
    return true;
  }
  if (n.kind == Node::kPrefix) {
    if (op == "!") *out = a == 0;
    else if (op == "+") *out = a;
    else if (a == INT64_MIN) return false;
    else *out = -a;
    return true;
  }
  if (op == "+") {
    if ((b > 0 && a > INT64_MAX - b) || (b < 0 && a < INT64_MIN - b)) return false;
    *out = a + b;
  } else if (op == "-") {
    if ((b < 0 && a > INT64_MAX + b) || (b > 0 && a < INT64_MIN + b)) return false;
    *out = a - b;
  } else if (op == "*") {
    if (a > 0 ? (b > 0 ? a > INT64_MAX / b : b < INT64_MIN / a)
              : (b > 0 ? a < INT64_MIN / b : (a != 0 && b < INT64_MAX / a)))
      return false;
    *out = a * b;
  } else if (op == "/" || op == "%") {
    if (b == 0 || (a == INT64_MIN && b == -1)) return false;
    *out = op == "/" ? a / b : a % b;
  } else if (op == "<") *out = a < b;
  else if (op == ">") *out = a > b;
  else if (op == "<=") *out = a <= b;
  else if (op == ">=") *out = a >= b;
  else if (op == "==") *out = a == b;
  else if (op == "!=") *out = a != b;
  else if (op == "&&") *out = a != 0 && b != 0;
  else *out = a != 0 || b != 0;  // "||"
  return true;
}

class Generator {
 public:
  explicit Generator(uint64_t seed) : fRandom(seed) {}

  // A fresh random expression, a truth value or an integer.
  NodePtr expression() {
    return fRandom.percent(kTruthRootPercent) ? truthValue(kMaxDepth) : integer(kMaxDepth);
  }

 private:
  // Callers draw every random choice in its own statement: the order in which
  // function arguments and operands are evaluated is unspecified, and the
  // output must not depend on the compiler or its options.
  NodePtr make(Node::Kind kind, const char* op, NodePtr a, NodePtr b = nullptr, NodePtr c = nullptr) {
    return NodePtr(new Node{kind, op, 0, fRandom.percent(kRedundantParenPercent), std::move(a), std::move(b),
                            std::move(c)});
  }

  // Mostly small magnitudes, so that products and quotients stay interesting;
  // now and then a large one to reach far into the 64-bit range.
  NodePtr literal() {
    static constexpr uint64_t kRanges[] = {10, 10, 10, 100, 100, 1000, 100000, 10000000000ull};
    NodePtr n(new Node{Node::kLiteral, "", 0, false, nullptr, nullptr, nullptr});
    const uint64_t range = kRanges[fRandom.below(sizeof kRanges / sizeof kRanges[0])];
    n->literal = int64_t(fRandom.next() % range);
    return n;
  }

  NodePtr integer(int depth) {
    if (depth <= 0 || fRandom.percent(depth >= kMaxDepth ? 0 : 30)) return literal();
    static const char* const kArithmetic[] = {"+", "-", "*", "/", "%"};
    const unsigned pick = fRandom.below(20);
    if (pick < 13) {
      NodePtr a = integer(depth - 1);
      return make(Node::kBinary, kArithmetic[pick % 5], std::move(a), integer(depth - 1));
    }
    if (pick < 16) return make(Node::kPrefix, "-", integer(depth - 1));
    if (pick < 17) return make(Node::kPrefix, "+", integer(depth - 1));
    NodePtr a = condition(depth - 1);
    NodePtr b = integer(depth - 1);
    return make(Node::kConditional, "?", std::move(a), std::move(b), integer(depth - 1));
  }

  NodePtr truthValue(int depth) {
    static const char* const kComparisons[] = {"<", ">", "<=", ">=", "==", "!="};
    const unsigned pick = depth <= 1 ? 0 : fRandom.below(20);
    if (pick < 9) {
      const char* op = kComparisons[fRandom.below(6)];
      NodePtr a = integer(depth - 1);
      return make(Node::kBinary, op, std::move(a), integer(depth - 1));
    }
    if (pick < 12) return make(Node::kPrefix, "!", condition(depth - 1));
    if (pick < 17) {
      NodePtr a = condition(depth - 1);
      return make(Node::kBinary, pick % 2 ? "&&" : "||", std::move(a), condition(depth - 1));
    }
    NodePtr a = condition(depth - 1);
    NodePtr b = truthValue(depth - 1);
    return make(Node::kConditional, "?", std::move(a), std::move(b), truthValue(depth - 1));
  }

  // A truth position: an integer counts by being non-zero in both languages.
  NodePtr condition(int depth) { return fRandom.percent(60) ? truthValue(depth) : integer(depth); }

  Random fRandom;
};

}  // namespace

int main(int argc, char** argv) {
  const uint64_t seed = argc > 1 ? std::strtoull(argv[1], nullptr, 0) : kDefaultSeed;
  const int count = argc > 2 ? std::atoi(argv[2]) : kDefaultCount;
  Generator generator(seed);
  std::set<std::string> seen;

  std::printf("// Generated by orvel-gen-expr-cases (tools/gen_expr_cases.cpp); do not edit.\n");
  std::printf("// Regenerate: orvel-gen-expr-cases 0x%016" PRIx64 " %d > orvel/expr/expression_cases_test.inc\n",
              seed, count);
  std::printf("// Each row: the expression's text, then the same expression as C++ over long long.\n");
  for (int made = 0; made < count;) {
    const NodePtr root = generator.expression();
    int64_t value;
    if (CountOperators(*root) < kMinOperators || !Evaluate(*root, &value)) continue;
    const std::string text = Print(*root, kCondLevel, false);
    if (text.size() > kMaxTextLength || !seen.insert(text).second) continue;
    std::printf("ExpressionRow(\"%s\", %s),\n", text.c_str(), Print(*root, kCondLevel, true).c_str());
    ++made;
  }
  return 0;
}
