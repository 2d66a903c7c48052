#include "platform/clevel/memory.h"

#include <cstring>

xstd_status xsys_memory_copy(std::size_t count, const void* source, void* destination) {
    if (count == 0) return xstd_eSuccess;
    if (!source || !destination) return xstd_eBadArgument;
    std::memmove(destination, source, count);
    return xstd_eSuccess;
}
