#include "oc/font/key_set.h"

#include <algorithm>
#include <cstdint>

#include "oc/font/alphabet.h"

namespace {

const wchar_t* const kIndicesNotValid =
    L"At least one of the current key indices is not valid for specified set of possible keys.";
const wchar_t* const kOnlyOne = L"Set of current key indices must contain only one element.";
const wchar_t* const kNotMember = L"The specified key is not a member of the key set.";
const wchar_t* const kNoOverride = L"There are no confusion keys overrides for the specified key.";

template <class T>
bool hasDuplicate(const std::vector<T>& v) {
    for (std::size_t i = 0; i < v.size(); ++i)
        for (std::size_t j = i + 1; j < v.size(); ++j)
            if (v[i] == v[j]) return true;
    return false;
}

bool indicesFit(const std::vector<long>& indices, std::size_t numKeys) {
    const long n = static_cast<long>(numKeys);
    return std::all_of(indices.begin(), indices.end(), [n](long i) { return i >= -1 && i < n; });
}

}  // namespace

xcOCKeySet::xcOCKeySet() : m_currentKeyIndices{-1} {}

xcOCKeySet::xcOCKeySet(const std::vector<long>& keys, long currentKeyIndex)
    : m_currentKeyIndices{currentKeyIndex} {
    this->keys(keys);
}

xcOCKeySet::xcOCKeySet(const std::vector<long>& keys, std::vector<long> currentKeyIndices) {
    this->keys(keys);
    this->currentKeyIndices(currentKeyIndices);
}

xcOCKeySet::xcOCKeySet(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                       const std::vector<std::wstring>& names, const std::wstring& currentName) {
    if (hasDuplicate(names))
        throw xcOCDefs::SameKey(
            L"Possible character names for a character position must be unique.");
    if (!alphabet) throw xcOCDefs::BadParams(L"Alphabet must point to a valid object.");
    for (const std::wstring& name : names) {
        bool found = false;
        for (const auto& c : alphabet->characters()) {
            if (c->name() != name) continue;
            found = true;
            m_keys.push_back(c->key());
            if (name == currentName)
                m_currentKeyIndices.push_back(static_cast<long>(m_keys.size()) - 1);
        }
        if (!found)
            throw xcOCDefs::BadKey(
                L"At least one of the character names is not found in the supplied alphabet.");
    }
    if (m_currentKeyIndices.empty())
        throw xcOCDefs::BadIndex(
            L"Current character is not valid for specified set of possible character names.");
}

void xcOCKeySet::keys(const std::vector<long>& k) {
    if (hasDuplicate(k))
        throw xcOCDefs::SameKey(L"Possible keys for a character position must be unique.");
    if (!indicesFit(m_currentKeyIndices, k.size())) throw xcOCDefs::BadIndex(kIndicesNotValid);
    std::vector<long> keys = k;
    m_keys.swap(keys);
    m_overrideKeys.clear();
    m_overrideLists.clear();
}

void xcOCKeySet::currentKeyIndices(const std::vector<long>& v) {
    if (hasDuplicate(v)) throw xcOCDefs::BadIndex(L"Key indices must be unique.");
    if (!indicesFit(v, m_keys.size())) throw xcOCDefs::BadIndex(kIndicesNotValid);
    m_currentKeyIndices = v;
}

long xcOCKeySet::currentKeyIndex() const {
    if (m_currentKeyIndices.size() != 1) throw xcOCDefs::BadParams(kOnlyOne);
    return m_currentKeyIndices.front();
}

void xcOCKeySet::currentKeyIndex(long i) {
    if (m_currentKeyIndices.size() != 1) throw xcOCDefs::BadParams(kOnlyOne);
    if (i < -1 || i >= static_cast<long>(m_keys.size()))
        throw xcOCDefs::BadIndex(
            L"Current key index is not valid for specified set of possible keys.");
    m_currentKeyIndices.front() = i;
}

long xcOCKeySet::keyAt_(long index) const {
    if (index < 0 || index >= static_cast<long>(m_keys.size()))
        throw xcOCDefs::BadIndex(kIndicesNotValid);
    return m_keys[static_cast<std::size_t>(index)];
}

long xcOCKeySet::currentKey() const {
    if (m_currentKeyIndices.empty()) throw xcOCDefs::BadParams(kOnlyOne);
    if (m_currentKeyIndices.front() == -1)
        throw xcOCDefs::BadKey(L"Wild-card characters have no key.");
    if (m_currentKeyIndices.size() > 1) throw xcOCDefs::BadParams(kOnlyOne);
    return keyAt_(m_currentKeyIndices.front());
}

std::vector<long> xcOCKeySet::currentKeys() const {
    std::vector<long> keys;
    keys.reserve(m_currentKeyIndices.size());
    for (long i : m_currentKeyIndices) {
        if (i == -1) throw xcOCDefs::BadKey(L"Wild-card characters have no key index.");
        keys.push_back(keyAt_(i));
    }
    return keys;
}

bool xcOCKeySet::isCurrentWildcard() const {
    return std::find(m_currentKeyIndices.begin(), m_currentKeyIndices.end(), -1L) !=
           m_currentKeyIndices.end();
}

void xcOCKeySet::checkMember_(long key) const {
    if (std::find(m_keys.begin(), m_keys.end(), key) == m_keys.end())
        throw xcOCDefs::BadKey(kNotMember);
}

long xcOCKeySet::overrideIndex_(long key) const {
    for (std::size_t i = 0; i < m_overrideKeys.size(); ++i)
        if (m_overrideKeys[i] == key) return static_cast<long>(i);
    return -1;
}

void xcOCKeySet::confusionOverrides(long key, const std::vector<long>& list) {
    checkMember_(key);
    const long i = overrideIndex_(key);
    if (i != -1) {
        m_overrideLists[static_cast<std::size_t>(i)] = list;
        return;
    }
    // Reserve both first, so that the two vectors grow together or not at all.
    m_overrideKeys.reserve(m_overrideKeys.size() + 1);
    m_overrideLists.reserve(m_overrideLists.size() + 1);
    m_overrideLists.push_back(list);
    m_overrideKeys.push_back(key);
}

const std::vector<long>& xcOCKeySet::confusionOverrides(long key) const {
    checkMember_(key);
    const long i = overrideIndex_(key);
    if (i == -1) throw xcOCDefs::BadKey(kNoOverride);
    return m_overrideLists[static_cast<std::size_t>(i)];
}

void xcOCKeySet::removeConfusionOverrides(long key) {
    checkMember_(key);
    const long i = overrideIndex_(key);
    if (i == -1) throw xcOCDefs::BadKey(kNoOverride);
    const auto ui = static_cast<std::size_t>(i);
    m_overrideKeys[ui] = m_overrideKeys.back();
    m_overrideLists[ui].swap(m_overrideLists.back());
    m_overrideKeys.pop_back();
    m_overrideLists.pop_back();
}

bool xcOCKeySet::hasConfusionOverrides(long key) const {
    checkMember_(key);
    return overrideIndex_(key) != -1;
}

bool xcOCKeySet::operator==(const xcOCKeySet& o) const {
    if (m_keys != o.m_keys || m_currentKeyIndices != o.m_currentKeyIndices) return false;
    if (m_overrideKeys.size() != o.m_overrideKeys.size()) return false;
    for (std::size_t i = 0; i < m_overrideKeys.size(); ++i) {
        const long j = o.overrideIndex_(m_overrideKeys[i]);
        if (j == -1 || m_overrideLists[i] != o.m_overrideLists[static_cast<std::size_t>(j)])
            return false;
    }
    return true;
}

xcArchive& operator||(xcArchive& ar, xcOCKeySet& keySet) {
    xcArchive::Exchange ex(ar);
    std::uint8_t version = 2;
    ar || version;
    if (version > 2) throw xcArchive::UnknownVersion(std::string("oc/oc"), 1573);
    std::vector<long> keys = keySet.m_keys;
    std::vector<long> current = keySet.m_currentKeyIndices;
    std::vector<long> overrideKeys = keySet.m_overrideKeys;
    std::vector<std::vector<long>> overrideLists = keySet.m_overrideLists;
    ar || keys;
    if (version == 0) {
        long index = 0;
        ar || index;
        current.assign(1, index);
    } else {
        ar || current;
    }
    if (version >= 2) {
        ar || overrideKeys || overrideLists;
        if (ar.isLoading() && overrideKeys.size() != overrideLists.size())
            ar.badData(L"a key set's override keys and lists differ in number");
    } else {
        overrideKeys.clear();
        overrideLists.clear();
    }
    ex.commit();
    if (ar.isLoading()) {
        keySet.m_keys.swap(keys);
        keySet.m_currentKeyIndices.swap(current);
        keySet.m_overrideKeys.swap(overrideKeys);
        keySet.m_overrideLists.swap(overrideLists);
    }
    return ar;
}
