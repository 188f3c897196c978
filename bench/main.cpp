// Runs every benchmark, then prints each registered ratio of ours to the peer
// library (or memcpy) measured in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ratio.h"

namespace orvel_bench {
namespace {

struct Pair {
  std::string label, ours, peer;
  Rate rate;
  double target;
};

std::vector<Pair>& Pairs() {
  static std::vector<Pair> pairs;
  return pairs;
}

// Plain tabular console output (no colour codes in logs), recording each
// run's rates for the ratios.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  RecordingReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      auto bytes = run.counters.find("bytes_per_second");
      auto items = run.counters.find("items_per_second");
      if (bytes != run.counters.end()) fBytes[run.benchmark_name()] = bytes->second;
      if (items != run.counters.end()) fItems[run.benchmark_name()] = items->second;
    }
  }
  std::map<std::string, double> fBytes, fItems;
};

}  // namespace

int RegisterRatio(const std::string& label, const std::string& ours, const std::string& peer, Rate rate,
                  double target) {
  Pairs().push_back({label, ours, peer, rate, target});
  return 0;
}

}  // namespace orvel_bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  orvel_bench::RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n");
  for (const auto& p : orvel_bench::Pairs()) {
    auto& table = p.rate == orvel_bench::Rate::kBytes ? reporter.fBytes : reporter.fItems;
    auto a = table.find(p.ours), b = table.find(p.peer);
    if (a == table.end() || b == table.end() || b->second == 0) continue;
    const double ratio = a->second / b->second;
    std::printf("ratio %-40s %8.3f  (target >= %.2f: %s)\n", p.label.c_str(), ratio, p.target,
                ratio >= p.target ? "met" : "NOT met");
  }
  benchmark::Shutdown();
  return 0;
}
