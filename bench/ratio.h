// Pairs of benchmarks whose rate ratio the benchmark main prints at the end.
#pragma once

#include <string>

namespace orvel_bench {

enum class Rate { kBytes, kItems };

// After the run, prints "ratio <label>: <ours / peer>" using the named
// benchmarks' bytes or items per second, and the target beside it.
int RegisterRatio(const std::string& label, const std::string& ours, const std::string& peer, Rate rate,
                  double target);

}  // namespace orvel_bench
