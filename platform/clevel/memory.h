// Byte copies of the C-level layer.
#pragma once

#include <cstddef>

#include "platform/clevel/status.h"

// Copies `count` bytes from `source` to `destination` and returns xstd_eSuccess. The two
// areas may overlap (the copy behaves as if through a temporary). A count of 0 copies nothing
// and accepts null pointers; otherwise a null pointer gives xstd_eBadArgument and nothing is
// written.
xstd_status xsys_memory_copy(std::size_t count, const void* source, void* destination);
