// Test-only helpers shared by the suites: a log capture on the library's log
// sink, and allocators that fail on demand or count what they hand out.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "orvel/core/log.h"
#include "orvel/core/memory.h"

namespace orvel {
namespace testing {

// Collects every diagnostic while alive. Lines keep their exact text.
class LogCapture {
 public:
  LogCapture() { SetLogSink(&Sink, this); }
  ~LogCapture() { SetLogSink(nullptr, nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines;
  std::vector<int> priorities;
  std::vector<std::string> tags;

 private:
  static void Sink(void* context, int priority, const char* tag, const char* message) {
    auto* self = static_cast<LogCapture*>(context);
    self->lines.emplace_back(message);
    self->priorities.push_back(priority);
    self->tags.emplace_back(tag);
  }
};

// Routes the library's allocator while alive: the first `allowed` allocations
// succeed, later ones fail (allowed < 0: none fail). Counts blocks and sizes.
class FailingAllocator {
 public:
  explicit FailingAllocator(int allowed = -1) {
    State& s = state();
    s = State{};
    s.allowed = allowed;
    static const OvAllocator kHooks = {&Allocate, &Reallocate, &Release};
    SetAllocator(&kHooks);
  }
  ~FailingAllocator() { SetAllocator(nullptr); }
  FailingAllocator(const FailingAllocator&) = delete;
  FailingAllocator& operator=(const FailingAllocator&) = delete;

  // Lets `n` more allocations succeed from now on (n < 0: all of them).
  void allow(int n) { state().allowed = n < 0 ? -1 : state().made + n; }
  int allocations() const { return state().made; }
  int failures() const { return state().failed; }
  int releases() const { return state().released; }
  const std::vector<size_t>& sizes() const { return state().sizes; }

 private:
  struct State {
    int allowed = -1;
    int made = 0;
    int failed = 0;
    int released = 0;
    std::vector<size_t> sizes;
  };
  static State& state() {
    static State s;
    return s;
  }
  static bool Permit(size_t size) {
    State& s = state();
    if (s.allowed >= 0 && s.made >= s.allowed) {
      ++s.failed;
      return false;
    }
    ++s.made;
    s.sizes.push_back(size);
    return true;
  }
  static void* Allocate(size_t size) { return Permit(size) ? std::malloc(size) : nullptr; }
  static void* Reallocate(void* block, size_t size) { return Permit(size) ? std::realloc(block, size) : nullptr; }
  static void Release(void* block) {
    if (block) ++state().released;
    std::free(block);
  }
};

}  // namespace testing
}  // namespace orvel
