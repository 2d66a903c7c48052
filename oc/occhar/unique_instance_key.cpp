// The unique-instance rule of character keys: the members of xcOCChar that give a key an
// instance no other key of the same character code uses.
#include <algorithm>
#include <vector>

#include "oc/occhar/oc_char.h"

namespace {

// The unique-instance rule over the keys [begin, end) (see makeUniqueInstanceKey).
template <class It, class KeyOf>
xcOCCharKey uniqueInstanceKey(const xcOCCharKey& key, It begin, It end, KeyOf keyOf) {
    std::vector<long> used;
    bool taken = false;
    for (It it = begin; it != end; ++it) {
        const xcOCCharKey& k = keyOf(*it);
        if (!k.equalCharacterCode(key) || !k.isInstanceSpecified()) continue;
        used.push_back(k.instance());
        if (k.instance() == key.instance()) taken = true;
    }
    if (used.size() >= 2147483647u) throw xcOCDefs::BadParams(L"All key values in use");
    if (key.isInstanceSpecified() && !taken) return key;
    std::sort(used.begin(), used.end());
    // The first gap among the non-negative instances in use. Repeated or negative instances
    // are skipped, so the result is always unused.
    long next = 0;
    for (long u : used) {
        if (u < next) continue;
        if (u != next) break;
        ++next;
    }
    xcOCCharKey result = key;
    result.instance(next);
    return result;
}

}  // namespace

xcOCCharKey xcOCChar::makeUniqueInstanceKey(const xcOCCharKey& key,
                                            const std::vector<xcOCCharKey>& keys) {
    return uniqueInstanceKey(key, keys.begin(), keys.end(),
                             [](const xcOCCharKey& k) -> const xcOCCharKey& { return k; });
}

xcOCCharKey xcOCChar::makeUniqueInstanceKey(const xcOCCharKey& key,
                                            const std::vector<xcOCChar>& chars) {
    return uniqueInstanceKey(key, chars.begin(), chars.end(),
                             [](const xcOCChar& c) -> const xcOCCharKey& { return c.key(); });
}

bool xcOCChar::makeUniqueInstanceKeys(std::vector<xcOCCharKey>& keys) {
    if (keys.empty()) return false;
    std::vector<xcOCCharKey> result = keys;
    if (!result.front().isInstanceSpecified()) result.front().instance(0);
    bool changed = false;
    for (std::size_t i = 1; i < result.size(); ++i) {
        const xcOCCharKey unique = uniqueInstanceKey(
            result[i], result.begin(), result.begin() + static_cast<std::ptrdiff_t>(i),
            [](const xcOCCharKey& k) -> const xcOCCharKey& { return k; });
        if (unique != result[i]) {
            result[i] = unique;
            changed = true;
        }
    }
    keys.swap(result);
    return changed;
}
