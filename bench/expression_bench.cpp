// Expressions: compiling a fixed set of representative property expressions
// into node records with OvLayoutBuilder::writeExpressionProperty, and
// evaluating the compiled nodes with OvExpressionEvaluator (through prepared
// programs, and for comparison straight from the records), beside muparser
// compiling (SetExpr and the first Eval, which builds its bytecode) and
// evaluating the nearest equivalent texts. Rates are expressions compiled or
// evaluated per second.
//
// The muparser texts are ours with every property reference {n} written as
// the variable p<n>. muparser lacks floor, ceil, toIntS32, % and prefix !, so
// they are defined on it; PI is a constant there, as muparser's own _pi is.
#include <benchmark/benchmark.h>
#include <muParser.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/layout/records.h"
#include "orvel/expr/evaluator.h"
#include "orvel/expr/expression_program.h"
#include "orvel/expr/layout_builder.h"
#include "orvel/expr/property_storage.h"
#include "orvel/layout/layout.h"
#include "ratio.h"

namespace {

using namespace orvel;

// Short and long, with calls, conditionals, logic and property references,
// as layouts use them (angles, progress bars, gauges, units, clamping).
const char* const kExpressions[] = {
    "{3} * 2",
    "{1} + {2}",
    "floor({4} / 2) + 4",
    "{5} > 10 ? 1 : 0",
    "cos({6} * PI / 180) * {7}",
    "sin({6} * PI / 180) * {7} + {8}",
    "toIntS32({9} * 100) % 360",
    "({1} - {2}) * ({1} + {2}) / ({3} + 1)",
    "{10} >= 0 && {10} <= 100 ? {10} : ({10} < 0 ? 0 : 100)",
    "ceil(({11} - {12}) / 3.5) * 3.5 + {12}",
    "!({5} == 3) || {13} != 0",
    "{1} * 0.25 + {2} * 0.5 + {3} * 0.125 - {4} / 8 + {5} * {6} - {7} + {8} * 2 - {9} / 4 + 1.5",
    "floor({14} / 60) * 60 + ceil({15} - 0.5)",
    "{16} < {17} ? {16} * 2 - 1 : {17} * 2 + 1",
    "-{3} + 2 * -{4}",
    "{18} > 0 ? ({19} > 0 ? toIntS32({18} * {19}) : floor({18})) : ({19} > 0 ? ceil({19}) : 0)",
};
constexpr int kCount = int(sizeof(kExpressions) / sizeof(kExpressions[0]));
constexpr unsigned kMaxPropertyId = 19;

// The property values both sides read: a mix of floats and integers.
Property PropertyValue(unsigned id) {
  return id % 3 == 0 ? Property::MakeS32(int32_t(id * 7)) : Property::MakeFloat(float(id) * 1.75f - 3.0f);
}

// Our text with each {n} written as the muparser variable pn.
std::string MuparserText(const char* text) {
  std::string out;
  for (const char* c = text; *c; ++c) {
    if (*c == '{') {
      out += 'p';
    } else if (*c != '}') {
      out += *c;
    }
  }
  return out;
}

double Floor(double x) { return std::floor(x); }
double Ceil(double x) { return std::ceil(x); }
double ToIntS32(double x) {
  if (std::isnan(x)) return 0;
  return x >= double(INT32_MAX) ? double(INT32_MAX) : x <= double(INT32_MIN) ? double(INT32_MIN) : std::trunc(x);
}
double Modulo(double a, double b) { return std::fmod(a, b); }
double Not(double x) { return x == 0 ? 1 : 0; }

// A muparser parser knowing our functions and the property variables.
class MuparserSide {
 public:
  MuparserSide() : fValues(kMaxPropertyId + 1) {
    for (unsigned id = 0; id <= kMaxPropertyId; ++id) {
      const Property v = PropertyValue(id);
      fValues[id] = v.isFloat() ? double(v.toFloat()) : double(v.toS64());
    }
  }

  // False, with the message in *error, when muparser rejects the set-up.
  bool define(mu::Parser* parser, std::string* error) {
    try {
      parser->DefineFun("floor", Floor);
      parser->DefineFun("ceil", Ceil);
      parser->DefineFun("toIntS32", ToIntS32);
      parser->DefineOprt("%", Modulo, mu::prMUL_DIV, mu::oaLEFT, true);
      parser->DefineInfixOprt("!", Not);
      parser->DefineConst("PI", 3.14159265358979323846);
      for (unsigned id = 0; id <= kMaxPropertyId; ++id) {
        parser->DefineVar("p" + std::to_string(id), &fValues[id]);
      }
    } catch (const mu::Parser::exception_type& e) {
      *error = e.GetMsg();
      return false;
    }
    return true;
  }

 private:
  std::vector<double> fValues;
};

// The muparser texts, made once.
const std::vector<std::string>& MuparserTexts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    for (const char* e : kExpressions) t.push_back(MuparserText(e));
    return t;
  }();
  return texts;
}

void SetItemCounters(benchmark::State& state) {
  state.SetItemsProcessed(int64_t(state.iterations()) * kCount);
  // Printed in seconds with an SI prefix ("25.3ns").
  state.counters["time_per_expr"] =
      benchmark::Counter(kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// One builder over one layout; each iteration compiles the whole set into the
// resource list and then empties that list, so the buffer the nodes go into
// is allocated and freed once per set, as for a new layout.
void BM_ExprCompileOrvel(benchmark::State& state) {
  OvLayout layout;
  OvHeapBitmapStorage bitmaps;
  OvLayoutBuilder builder(&layout, &bitmaps);
  std::string error;
  for (auto _ : state) {
    for (int i = 0; i < kCount; ++i) {
      if (!builder.writeExpressionProperty(unsigned(i), PropertyType::Float, kExpressions[i], &error)) {
        state.SkipWithError(("rejected: " + std::string(kExpressions[i]) + ": " + error).c_str());
        return;
      }
    }
    benchmark::DoNotOptimize(layout.resourceList().lastOp());
    layout.resourceList().reset();
  }
  SetItemCounters(state);
}
BENCHMARK(BM_ExprCompileOrvel);

// One parser, as one builder above; SetExpr then the first Eval, where
// muparser builds its bytecode (and evaluates it once).
void BM_ExprCompileMuparser(benchmark::State& state) {
  MuparserSide side;
  mu::Parser parser;
  std::string error;
  if (!side.define(&parser, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  const std::vector<std::string>& texts = MuparserTexts();
  try {
    for (auto _ : state) {
      for (const std::string& text : texts) {
        parser.SetExpr(text);
        benchmark::DoNotOptimize(parser.Eval());
      }
    }
  } catch (const mu::Parser::exception_type& e) {
    state.SkipWithError(("muparser: " + e.GetExpr() + ": " + e.GetMsg()).c_str());
    return;
  }
  SetItemCounters(state);
}
BENCHMARK(BM_ExprCompileMuparser);

// The layout an evaluation benchmark reads: the whole set compiled into one
// resource list, its roots, and a store holding the property values.
struct EvalLayout {
  OvLayout layout;
  OvHeapBitmapStorage bitmaps;
  OvPropertyStorage storage;
  uint32_t roots[kCount];

  // False, with the reason in *error, when the set cannot be compiled.
  bool build(std::string* error) {
    OvLayoutBuilder builder(&layout, &bitmaps);
    for (unsigned id = 0; id <= kMaxPropertyId; ++id) storage.values[id] = PropertyValue(id);
    for (int i = 0; i < kCount; ++i) {
      if (!builder.writeExpressionProperty(unsigned(i), PropertyType::Float, kExpressions[i], error)) {
        *error = "rejected: " + std::string(kExpressions[i]) + ": " + *error;
        return false;
      }
      roots[i] = reinterpret_cast<const OvExpressionProperty*>(layout.resourceList().lastOp())->root.offset;
    }
    return true;
  }
  // build(), marking the benchmark skipped with the reason when it fails.
  bool buildOrSkip(benchmark::State& state) {
    std::string error;
    if (build(&error)) return true;
    state.SkipWithError(error.c_str());
    return false;
  }
};

// How a renderer evaluates its properties every frame: each expression is
// prepared once per layout (left out of the timing, as muparser's bytecode
// build is) and the programs are evaluated.
void BM_ExprEvalOrvel(benchmark::State& state) {
  EvalLayout set;
  if (!set.buildOrSkip(state)) return;
  OvExpressionEvaluator evaluator(&set.layout.resourceList(), &set.storage);
  std::vector<OvExpressionProgram> programs(kCount);
  for (int i = 0; i < kCount; ++i) {
    // A program that falls back, or a None or different result, would not be
    // what is meant to be timed.
    const Property walked = evaluator.evaluate(set.roots[i]);
    const bool flattened = evaluator.prepare(set.roots[i], &programs[size_t(i)]);
    const Property run = evaluator.evaluate(programs[size_t(i)]);
    if (!flattened || walked.type == PropertyType::None || walked.type != run.type ||
        std::memcmp(&walked.value, &run.value, sizeof run.value) != 0) {
      state.SkipWithError(("not prepared as timed: " + std::string(kExpressions[i])).c_str());
      return;
    }
  }
  for (auto _ : state) {
    for (const OvExpressionProgram& program : programs) {
      Property result = evaluator.evaluate(program);
      benchmark::DoNotOptimize(result);
    }
  }
  SetItemCounters(state);
}
BENCHMARK(BM_ExprEvalOrvel);

// The same expressions evaluated from their records each time, as
// evaluate(reference) does: for comparison only.
void BM_ExprEvalOrvelTreeWalk(benchmark::State& state) {
  EvalLayout set;
  if (!set.buildOrSkip(state)) return;
  OvExpressionEvaluator evaluator(&set.layout.resourceList(), &set.storage);
  for (int i = 0; i < kCount; ++i) {
    if (evaluator.evaluate(set.roots[i]).type == PropertyType::None) {
      state.SkipWithError(("evaluates to None: " + std::string(kExpressions[i])).c_str());
      return;
    }
  }
  for (auto _ : state) {
    for (int i = 0; i < kCount; ++i) {
      Property result = evaluator.evaluate(set.roots[i]);
      benchmark::DoNotOptimize(result);
    }
  }
  SetItemCounters(state);
}
BENCHMARK(BM_ExprEvalOrvelTreeWalk);

// One parser per expression, its bytecode built before timing.
void BM_ExprEvalMuparser(benchmark::State& state) {
  MuparserSide side;
  std::vector<mu::Parser> parsers(kCount);
  const std::vector<std::string>& texts = MuparserTexts();
  std::string error;
  try {
    for (int i = 0; i < kCount; ++i) {
      if (!side.define(&parsers[size_t(i)], &error)) {
        state.SkipWithError(error.c_str());
        return;
      }
      parsers[size_t(i)].SetExpr(texts[size_t(i)]);
      parsers[size_t(i)].Eval();
    }
    for (auto _ : state) {
      for (const mu::Parser& parser : parsers) benchmark::DoNotOptimize(parser.Eval());
    }
  } catch (const mu::Parser::exception_type& e) {
    state.SkipWithError(("muparser: " + e.GetExpr() + ": " + e.GetMsg()).c_str());
    return;
  }
  SetItemCounters(state);
}
BENCHMARK(BM_ExprEvalMuparser);

const int kRatios[] = {
    orvel_bench::RegisterRatio("expression compile/s, orvel / muparser", "BM_ExprCompileOrvel",
                               "BM_ExprCompileMuparser", orvel_bench::Rate::kItems, 10.0),
    orvel_bench::RegisterRatio("expression evaluations/s, orvel / muparser", "BM_ExprEvalOrvel",
                               "BM_ExprEvalMuparser", orvel_bench::Rate::kItems, 1.0),
};

}  // namespace
