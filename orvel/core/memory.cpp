#include "orvel/core/memory.h"

#include <cstdlib>

namespace orvel {
namespace {
OvAllocator gAllocator = {std::malloc, std::realloc, std::free};
}  // namespace

void SetAllocator(const OvAllocator* allocator) {
  gAllocator = allocator ? *allocator : OvAllocator{std::malloc, std::realloc, std::free};
}

void* OvMalloc(size_t size) { return gAllocator.allocate(size); }
void* OvRealloc(void* block, size_t size) { return gAllocator.reallocate(block, size); }
void OvFree(void* block) { gAllocator.release(block); }

}  // namespace orvel
