#include "oc/extract/search_result.h"

#include "oc/extract/extract_defs.h"
#include "platform/core/exception.h"

namespace {

[[noreturn]] void throwRefineError() { throw xc_OCExtractDefs::xc_OCExtractError(L"Refine error"); }

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
