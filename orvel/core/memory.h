// The C allocator that the library's heap users (op lists, parser context,
// typeface data, bitmap storage) go through. Applications may route it to their
// own allocator; tests use it to make any allocation fail.
#pragma once

#include <cstddef>

#include "orvel/core/export.h"

namespace orvel {

// malloc/realloc/free-compatible functions; all three must be set together.
struct OvAllocator {
  void* (*allocate)(size_t size);
  void* (*reallocate)(void* block, size_t size);
  void (*release)(void* block);
};

// Installs allocator for every later allocation; null restores the C library's.
// Blocks must be released by the allocator that made them: switch only while
// the library holds no blocks. Not synchronised.
ORVEL_API void SetAllocator(const OvAllocator* allocator);

ORVEL_API void* OvMalloc(size_t size);
ORVEL_API void* OvRealloc(void* block, size_t size);
ORVEL_API void OvFree(void* block);

}  // namespace orvel
