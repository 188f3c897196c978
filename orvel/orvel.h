// The umbrella header: every public header of the library.
#pragma once

#include "orvel/core/aligned_allocator.h"
#include "orvel/core/bitmap.h"
#include "orvel/core/cache.h"
#include "orvel/core/color.h"
#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/core/heap_bitmap_storage.h"
#include "orvel/core/log.h"
#include "orvel/core/matrix.h"
#include "orvel/core/memory.h"
#include "orvel/core/opts.h"
#include "orvel/core/paint.h"
#include "orvel/layout/op_list.h"
