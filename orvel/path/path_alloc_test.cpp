// Proves that building, iterating and arc approximation allocate nothing.
// This file replaces the global operator new/delete for the whole path test
// binary and, outside AddressSanitizer builds (which own malloc), wraps the C
// allocator too; only allocations between StartCountingAllocations() and
// StopCountingAllocations() are counted, so the rest of the binary is
// undisturbed. Other tests of this binary that count declare those two.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "orvel/core/log.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/path/arc.h"

namespace orvel {
namespace testing {
namespace {
bool gCounting = false;
int gAllocations = 0;
}  // namespace

void NoteAllocation() { gAllocations += gCounting; }
void StartCountingAllocations() { gAllocations = 0, gCounting = true; }
// The number of allocations since the matching start.
int StopCountingAllocations() { return gCounting = false, gAllocations; }

}  // namespace testing
}  // namespace orvel

#if !defined(__SANITIZE_ADDRESS__)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
void* malloc(size_t size) noexcept { return orvel::testing::NoteAllocation(), __libc_malloc(size); }
void* calloc(size_t n, size_t size) noexcept { return orvel::testing::NoteAllocation(), __libc_calloc(n, size); }
void* realloc(void* p, size_t size) noexcept { return orvel::testing::NoteAllocation(), __libc_realloc(p, size); }
void free(void* p) noexcept { __libc_free(p); }
}
#endif

// The other forms of new and delete default to these two.
void* operator new(size_t size) {
  orvel::testing::NoteAllocation();
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace orvel {
namespace {

TEST(PathAllocationTest, BuildingIteratingAndArcsAllocateNothing) {
  uint8_t verbs[32], fewVerbs[2];
  OvPoint points[64], fewPoints[2];
  OvPathStorage storage{verbs, 32, points, 64}, full{fewVerbs, 2, fewPoints, 2};
  int logged = 0, cubics = 0, walked = 0;
  SetLogSink([](void* count, int, const char*, const char*) { ++*static_cast<int*>(count); }, &logged);
  testing::FailingAllocator libraryAllocator(0);  // any library heap use fails and is counted

  testing::StartCountingAllocations();
  OvPath path(&storage);
  path.moveTo({1, 2}).lineTo({3, 4}).quadTo({5, 6}, {7, 8}).cubicTo({1, 1}, {2, 2}, {3, 3}).close();
  path.arcTo({0, 0, 10, 20}, 45, 400, true);
  OvPathProxy proxy(&path);
  proxy.arcTo({0, 0, 10, 20}, 45, -100, false);
  OvPathUtils::CubicApproxArc({0, 0, 4, 4}, 0, 300, &proxy);
  OvPathUtils::cubicApproxArc({0, 0, 4, 4}, 10, 190, &cubics,
                              [](void* n, const OvPoint&, const OvPoint&, const OvPoint&) { ++*static_cast<int*>(n); });
  const OvPathUtils::ArcCubic one = OvPathUtils::cubicApproxArc({0, 0, 4, 4}, 10, 80);
  OvPath refused(&full);
  refused.moveTo({0, 0}).lineTo({1, 1}).close();  // two refusals, logged
  OvPath::Iter iter(OvPath::MakeView(storage, path.countVerbs(), path.countPoints(), path.countContours()));
  OvPoint pts[4];
  while (iter.next(pts) != OvPath::Done) ++walked;
  path.rewind();
  const int allocations = testing::StopCountingAllocations();

  SetLogSink(nullptr, nullptr);
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(libraryAllocator.allocations() + libraryAllocator.failures(), 0);
  // The work above really ran.
  EXPECT_EQ(logged, 2);
  EXPECT_EQ(cubics, 3);
  EXPECT_EQ(walked, 18);
  EXPECT_NE(one.end.x, 0.0f);
  // And the counter itself sees an allocation.
  testing::StartCountingAllocations();
  int* p = new int(3);
  const int counted = testing::StopCountingAllocations();
  delete p;
  EXPECT_GE(counted, 1);
}

}  // namespace
}  // namespace orvel
