// xcOCKeySet: the characters that may stand at one position of a line.
//
// A key set holds the possible keys of the position (pairwise distinct), the current key
// indices (indices into the possible keys, each in [-1, number of keys), pairwise distinct;
// -1 marks a wild card: any character may stand there and it has no key), and optional
// per-key confusion overrides (for a possible key, the keys declared confusable with it at
// this position; stored, compared and archived, not interpreted by the module).
//
// A plain value (no virtual functions, not reference counted), archived by value inside a
// line with operator|| (version 2; versions 0 to 2 are read). Every setter checks first and
// changes nothing when it throws.
#pragma once

#include <string>
#include <vector>

#include "oc/defs/oc_defs.h"
#include "platform/core/archive.h"
#include "platform/core/rep_base.h"

class xcOCAlphabet;

class xcOCKeySet {
public:
    // No keys; current key indices [-1] (a wild card).
    xcOCKeySet();
    // Current key indices [currentKeyIndex], then keys(keys): throws xcOCDefs::SameKey for
    // repeated keys, then xcOCDefs::BadIndex when the index is outside [-1, keys.size()).
    xcOCKeySet(const std::vector<long>& keys, long currentKeyIndex);
    // keys(keys), then currentKeyIndices(currentKeyIndices).
    xcOCKeySet(const std::vector<long>& keys, std::vector<long> currentKeyIndices);
    // From character names: the keys of the alphabet's characters bearing each name (names in
    // order, characters in alphabet order); those bearing `currentName` become current.
    // Throws, in this order: xcOCDefs::SameKey "Possible character names for a character
    // position must be unique."; xcOCDefs::BadParams "Alphabet must point to a valid object."
    // for a null alphabet; xcOCDefs::BadKey "At least one of the character names is not found
    // in the supplied alphabet."; xcOCDefs::BadIndex "Current character is not valid for
    // specified set of possible character names.".
    xcOCKeySet(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
               const std::vector<std::wstring>& names, const std::wstring& currentName);

    // The possible keys.
    const std::vector<long>& keys() const { return m_keys; }
    // Throws xcOCDefs::SameKey "Possible keys for a character position must be unique.", then
    // xcOCDefs::BadIndex "At least one of the current key indices is not valid for specified
    // set of possible keys." when a current index does not fit the new keys. On success all
    // overrides are dropped; the current key indices are kept.
    void keys(const std::vector<long>& k);

    const std::vector<long>& currentKeyIndices() const { return m_currentKeyIndices; }
    // Throws xcOCDefs::BadIndex "Key indices must be unique.", then xcOCDefs::BadIndex "At
    // least one of the current key indices is not valid for specified set of possible keys.".
    // An empty vector is accepted.
    void currentKeyIndices(const std::vector<long>& v);
    // The single current index (may be -1). Throws xcOCDefs::BadParams "Set of current key
    // indices must contain only one element." unless there is exactly one.
    long currentKeyIndex() const;
    // Replaces the single current index: the error above, then xcOCDefs::BadIndex "Current key
    // index is not valid for specified set of possible keys." for i outside [-1, keys).
    void currentKeyIndex(long i);
    // The key of the single current index. Throws xcOCDefs::BadParams (empty current set),
    // xcOCDefs::BadKey "Wild-card characters have no key." (first index -1), xcOCDefs::BadParams
    // (more than one index), in this order.
    long currentKey() const;
    // The keys of all current indices, in order. A wild card throws xcOCDefs::BadKey
    // "Wild-card characters have no key index.".
    std::vector<long> currentKeys() const;
    // True when any current index is -1 (false for an empty current set).
    bool isCurrentWildcard() const;

    // Sets (replacing) the override list of a possible key. Throws xcOCDefs::BadKey "The
    // specified key is not a member of the key set." for another key. The list is not checked.
    void confusionOverrides(long key, const std::vector<long>& list);
    // The override list of `key`. Throws the member error above, then xcOCDefs::BadKey "There
    // are no confusion keys overrides for the specified key.".
    const std::vector<long>& confusionOverrides(long key) const;
    // Removes the override of `key` (the last override takes its place); errors as above.
    void removeConfusionOverrides(long key);
    // Whether `key` has an override; the member error for another key.
    bool hasConfusionOverrides(long key) const;

    const std::vector<long>& overrideKeys() const { return m_overrideKeys; }
    const std::vector<std::vector<long>>& overrideLists() const { return m_overrideLists; }

    // Keys and current indices equal in order; the same overrides in any order.
    bool operator==(const xcOCKeySet& o) const;
    bool operator!=(const xcOCKeySet& o) const { return !(*this == o); }

private:
    friend xcArchive& operator||(xcArchive& ar, xcOCKeySet& keySet);

    // The key at current index `index`; xcOCDefs::BadIndex when the index does not fit the
    // keys (possible only for a key set read from an archive).
    long keyAt_(long index) const;
    // Throws xcOCDefs::BadKey unless `key` is a possible key.
    void checkMember_(long key) const;
    // Index of `key` among the override keys, -1 if none.
    long overrideIndex_(long key) const;

    std::vector<long> m_currentKeyIndices;
    std::vector<long> m_keys;
    std::vector<long> m_overrideKeys;
    std::vector<std::vector<long>> m_overrideLists;
};

// Version 2: keys, current key indices, override keys, override lists (vector forms of
// signed 32-bit values). Version 0 holds one current index instead of the vector, versions 0
// and 1 no overrides (read as none). A version above 2 throws xcArchive::UnknownVersion naming
// "oc/oc" with the number 1573. A failed read leaves the key set unchanged.
xcArchive& operator||(xcArchive& ar, xcOCKeySet& keySet);

// Least bytes of an archived key set (version 0 with no keys).
template <>
struct xc_ArchiveMinBytes<xcOCKeySet> : std::integral_constant<std::size_t, 10> {};
