// The hook through which memory handed to another agent has its data cache
// flushed and invalidated. On the platforms orvel targets it does nothing, but
// callers still call it wherever they hand memory over.
#pragma once

#include "orvel/core/export.h"

namespace orvel {

ORVEL_API void CacheFlushAndInvalidate(const void* address, unsigned int length);

}  // namespace orvel
