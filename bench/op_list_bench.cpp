// Op list: pushing records, and serialising a list of about 1 MiB in pieces
// beside memcpy moving the same bytes in pieces of the same size.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "orvel/layout/op_list.h"
#include "memcpy_peer.h"
#include "ratio.h"

namespace {

using orvel::OvOpList;

struct Record36 {
  static constexpr uint32_t kType = 1;
  orvel::OvOp op;
  float f[8];
  void set(float v) {
    for (float& x : f) x = v;
  }
};
static_assert(sizeof(Record36) == 36, "36-byte record");

constexpr int kRecords = 1 << 14;

void BM_Push36(benchmark::State& state) {
  for (auto _ : state) {
    OvOpList list;
    for (int i = 0; i < kRecords; ++i) benchmark::DoNotOptimize(list.push<Record36>(0, float(i)));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kRecords);
  state.SetBytesProcessed(int64_t(state.iterations()) * kRecords * 36);
}
BENCHMARK(BM_Push36);

constexpr uint32_t kListBytes = 1 << 20;

void FillMegabyte(OvOpList* list) {
  while (list->totalUsedSize() + 36 <= kListBytes) list->push<Record36>(0, 1.0f);
}

void BM_Serialize(benchmark::State& state) {
  OvOpList list;
  FillMegabyte(&list);
  const unsigned piece = unsigned(state.range(0));
  std::vector<unsigned char> dst(piece);
  for (auto _ : state) {
    orvel::OvSerializeIt it;
    while (list.serialize(dst.data(), piece, &it) != 0) benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * list.totalUsedSize());
}
BENCHMARK(BM_Serialize)->Arg(244)->Arg(4096);

void BM_MemcpyPieces(benchmark::State& state) {
  OvOpList list;
  FillMegabyte(&list);
  orvel_bench::MemcpyInPieces(state, list.totalUsedSize(), size_t(state.range(0)));
}
BENCHMARK(BM_MemcpyPieces)->Arg(244)->Arg(4096);

using orvel_bench::Rate;
using orvel_bench::RegisterRatio;
const int kRatios[] = {
    RegisterRatio("op list serialize / memcpy, 244-byte pieces", "BM_Serialize/244", "BM_MemcpyPieces/244",
                  Rate::kBytes, 0.0),
    RegisterRatio("op list serialize / memcpy, 4 KiB pieces", "BM_Serialize/4096", "BM_MemcpyPieces/4096",
                  Rate::kBytes, 0.8),
};

}  // namespace
