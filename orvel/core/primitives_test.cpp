// Pixel-row helpers, the bump allocator and the log conventions.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "orvel/core/aligned_allocator.h"
#include "orvel/core/log.h"
#include "orvel/core/opts.h"
#include "orvel/core/test_helpers_internal.h"

namespace orvel {
namespace {

TEST(OptsTest, MemsetWritesExactlyCountWords) {
  for (int count : {-1, 0, 1, 3, 4, 7, 8, 9, 17}) {
    std::vector<uint32_t> w(20, 0xAAAAAAAAu);
    std::vector<uint16_t> h(20, 0xAAAA);
    OvOpts::memset32(w.data(), 0x12345678u, count);
    OvOpts::memset16(h.data(), 0x1234, count);
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(w[i], i < count ? 0x12345678u : 0xAAAAAAAAu) << "count " << count << " word " << i;
      EXPECT_EQ(h[i], i < count ? 0x1234 : 0xAAAA) << "count " << count << " half " << i;
    }
  }
}

TEST(OptsTest, RGBAToBGRA) {
  const unsigned src[9] = {0x11223344u, 0xAABBCCDDu, 0x00FF00FFu, 1, 2, 3, 4, 5, 0x80000000u};
  for (int count : {1, 3, 4, 9}) {
    unsigned out[9] = {};
    unsigned inPlace[9];
    std::copy(src, src + 9, inPlace);
    OvOpts::RGBA_to_BGRA(out, src, count);
    OvOpts::RGBA_to_BGRA(inPlace, inPlace, count);
    for (int i = 0; i < 9; ++i) {
      const unsigned v = src[i];
      const unsigned want = ((v >> 16) & 0xFF) | (v & 0xFF00FF00u) | ((v & 0xFF) << 16);
      EXPECT_EQ(out[i], i < count ? want : 0u) << count << "/" << i;
      EXPECT_EQ(inPlace[i], i < count ? want : v) << "in place " << count << "/" << i;
    }
  }
  unsigned one = 0x11223344u;
  OvOpts::RGBA_to_BGRA(&one, &one, 1);
  EXPECT_EQ(one, 0x11443322u);
}

TEST(AlignedAllocatorTest, AlignsAndRefuses) {
  OvInlineAlignedBuffer<64> buffer;
  OvAlignedBufferAllocator alloc(&buffer);
  uint8_t* base = buffer.base();
  ASSERT_EQ(alloc.alloc(3, 1), base);
  ASSERT_EQ(alloc.used(), 3u);
  EXPECT_EQ(alloc.alloc(10, 8), base + 8);
  EXPECT_EQ(alloc.used(), 18u);
  EXPECT_EQ(alloc.alloc(8, 3), nullptr) << "alignment must be a power of two";
  EXPECT_EQ(alloc.alloc(8, 0), nullptr);

  testing::LogCapture log;
  EXPECT_EQ(alloc.alloc(47, 1), nullptr);
  EXPECT_EQ(alloc.used(), 18u);
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(log.lines[0], "Insufficient buffer space to allocate 47 bytes\n");
  EXPECT_EQ(log.priorities[0], 6);
  EXPECT_EQ(log.tags[0], "orvel");
  EXPECT_EQ(alloc.alloc(46, 1), base + 18) << "exactly the rest fits";
  EXPECT_EQ(alloc.alloc(0xFFFFFFFFu, 16), nullptr) << "padding plus size must not wrap";
  alloc.reset();
  EXPECT_EQ(alloc.alloc(64, 16), base);
}

TEST(AlignedAllocatorTest, ExternalBuffer) {
  alignas(8) uint8_t memory[32];
  OvExternalAlignedBuffer buffer(memory, sizeof memory);
  OvAlignedBufferAllocator alloc(&buffer);
  EXPECT_EQ(alloc.alloc(32, 8), memory);
  OvExternalAlignedBuffer none(nullptr, 100);
  OvAlignedBufferAllocator empty(&none);
  testing::LogCapture log;
  EXPECT_EQ(empty.alloc(1, 1), nullptr);
}

TEST(LogTest, FatalErrorAndAbortHandlerLines) {
  testing::LogCapture log;
  FatalError("save stack empty");
  ov_abort_handler();
  const std::vector<std::string> want = {
      "Orvel fatal error: \"save stack empty\"\n",
      "ov_abort_handler(): Orvel unrecoverable error",
      "ov_abort_handler(): Orvel unrecoverable error",
  };
  EXPECT_EQ(log.lines, want);
  for (size_t i = 0; i < log.lines.size(); ++i) {
    EXPECT_EQ(log.priorities[i], kLogPriorityError);
    EXPECT_EQ(log.tags[i], "orvel");
  }
}

TEST(LogTest, NullSinkRestoresPlatformLog) {
  int calls = 0;
  SetLogSink([](void* ctx, int, const char*, const char*) { ++*static_cast<int*>(ctx); }, &calls);
  Log(kLogPriorityError, "one %d", 1);
  SetLogSink(nullptr, nullptr);
  Log(kLogPriorityError, "to the platform log");
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace orvel
