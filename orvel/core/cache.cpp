#include "orvel/core/cache.h"

namespace orvel {

void CacheFlushAndInvalidate(const void*, unsigned int) {}

}  // namespace orvel
