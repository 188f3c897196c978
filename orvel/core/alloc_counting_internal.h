// Test-only allocation counting, for the tests that prove a path allocates
// nothing. Including this header replaces the global operator new/delete for
// the whole test binary and, outside AddressSanitizer builds (which own
// malloc), wraps the C allocator too; it also adds a test that the counter
// sees an allocation. Exactly one test file per binary may include it; other
// tests of that binary that count declare the functions below themselves.
// Only allocations between StartCountingAllocations() and
// StopCountingAllocations() are counted, so the rest of the binary is
// undisturbed.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

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
namespace testing {
namespace {

TEST(AllocationCountingTest, TheCounterSeesAnAllocation) {
  StartCountingAllocations();
  int* p = new int(3);
  const int counted = StopCountingAllocations();
  delete p;
  EXPECT_GE(counted, 1);
}

}  // namespace
}  // namespace testing
}  // namespace orvel
