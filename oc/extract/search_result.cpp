#include "oc/extract/search_result.h"

#include "platform/core/exception.h"

namespace {

// TEMPORARY: switches to xc_OCExtractDefs::xc_OCExtractError when the extraction's error
// family lands.
[[noreturn]] void throwRefineError() { throw xcBadArgument(L"Refine error"); }

}  // namespace

void xc_SearchResult::init() {
    m_found = false;
    m_time = 0.0;
    m_instances.clear();
}

const xc_SearchInstance& xc_SearchResult::instance(long i) const {
    if (i < 0 || i >= numInstances()) throwRefineError();
    return m_instances[static_cast<std::size_t>(i)];
}
