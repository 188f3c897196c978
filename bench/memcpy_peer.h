// The memcpy peer: the same bytes moved in pieces of the same size, from one
// contiguous source into one piece-sized destination.
#pragma once

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace orvel_bench {

inline void MemcpyInPieces(benchmark::State& state, size_t total, size_t piece) {
  std::vector<unsigned char> src(total, 1), dst(piece);
  for (auto _ : state) {
    for (size_t at = 0; at < total; at += piece) {
      std::memcpy(dst.data(), src.data() + at, total - at < piece ? total - at : piece);
      benchmark::DoNotOptimize(dst.data());
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(total));
}

}  // namespace orvel_bench
