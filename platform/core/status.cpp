#include "platform/core/status.h"

#include <limits>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/core/exception.h"
#include "platform/core/text.h"

namespace {

struct ConverterRegistry {
    std::mutex mutex;
    std::map<long, xcExceptionConverter> converters;
};

// Built on first use, so registrations from other libraries' load-time initialisers find it
// whatever the order in which libraries initialise.
ConverterRegistry& registry() {
    static ConverterRegistry r;
    return r;
}

}  // namespace

void xfRegisterExceptionConverter(long id, xcExceptionConverter converter) {
    if (!converter) throw xcBadArgument(L"Exception converter " + xfStr(id) + L" is empty");
    ConverterRegistry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.converters[id] = std::move(converter);
}

bool xfUnregisterExceptionConverter(long id) {
    ConverterRegistry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.converters.erase(id) > 0;
}

std::int32_t xfThrowExceptionOnFailure(long status) {
    if (status < std::numeric_limits<std::int32_t>::min() ||
        status > static_cast<long>(std::numeric_limits<std::uint32_t>::max()))
        throw xcBadArgument(L"Value " + xfStr(status) + L" is not a 32-bit status");
    const auto s = static_cast<std::int32_t>(static_cast<std::uint32_t>(status));
    if (s >= 0) return s;

    // Converters run on a snapshot, outside the lock: they throw, and may register others.
    std::vector<xcExceptionConverter> snapshot;
    {
        ConverterRegistry& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        snapshot.reserve(r.converters.size());
        for (const auto& entry : r.converters) snapshot.push_back(entry.second);
    }
    for (const xcExceptionConverter& convert : snapshot) convert(s);
    throw xcStatusError(s, L"C-level call failed with status 0x" + xfHex(s, 8) +
                               L" that no exception converter handles");
}
