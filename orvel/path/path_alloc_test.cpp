// Proves that building, iterating and arc approximation allocate nothing.
// This file holds the path test binary's allocation-counting hooks.
#include <gtest/gtest.h>

#include "orvel/core/alloc_counting_internal.h"
#include "orvel/core/log.h"
#include "orvel/core/test_helpers_internal.h"
#include "orvel/path/arc.h"

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
}

}  // namespace
}  // namespace orvel
