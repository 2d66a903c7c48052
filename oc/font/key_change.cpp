#include "oc/font/key_change.h"

namespace {

void checkLineIndex(const xcOCLineArrangement& arrangement, long lineIndex) {
    if (lineIndex < 0 || lineIndex >= arrangement.numLines())
        throw xcOCDefs::BadParams(L"The supplied line index is not valid.");
}

// The worker of the four key changes.
xcPtrHandle<xcOCLineArrangement> changeKeys(const xcOCLineArrangement& arrangement, long lineIndex,
                                            long positionIndex, const std::vector<long>& keys,
                                            bool wildcard) {
    if (keys.empty())
        throw xcOCDefs::BadKey(L"At least one of the keys is not found in the alphabet.");
    checkLineIndex(arrangement, lineIndex);
    const auto ul = static_cast<std::size_t>(lineIndex);
    const xcOCLine& line = *arrangement.lines()[ul];
    if (positionIndex < 0 || positionIndex >= static_cast<long>(line.keySetSequence().size()))
        throw xcOCDefs::BadParams(L"The supplied position index is not valid.");
    const auto up = static_cast<std::size_t>(positionIndex);

    xcOCKeySet keySet = line.keySetSequence()[up];
    std::vector<long> indices;
    if (wildcard) {
        indices.push_back(-1);
    } else {
        const std::vector<long>& possible = keySet.keys();
        for (long key : keys) {
            long index = -1;
            for (std::size_t i = 0; i < possible.size() && index == -1; ++i)
                if (possible[i] == key) index = static_cast<long>(i);
            if (index == -1)
                throw xcOCDefs::BadKey(
                    L"The specified key is not in the keySet for this position.");
            indices.push_back(index);
        }
    }
    keySet.currentKeyIndices(indices);

    std::vector<xcOCKeySet> keySets = line.keySetSequence();
    keySets[up] = keySet;
    xcPtrHandle_const<xcOCLine> changed(
        new xcOCLine(keySets, line.alphabet(), line.charPoses(), line.charScales(),
                     line.translationUncertainties(), line.rotationUncertainties(),
                     line.scaleUncertainties(), line.name()));

    xcOCLineArrangement::ConstLines lines = arrangement.lines();
    lines[ul] = changed;
    return xcPtrHandle<xcOCLineArrangement>(new xcOCLineArrangement(
        lines, arrangement.linePoses(), arrangement.translationUncertainties(),
        arrangement.rotationUncertainties(), arrangement.name()));
}

}  // namespace

xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKey(const xcOCLineArrangement& arrangement,
                                                      long lineIndex, long positionIndex) {
    return changeKeys(arrangement, lineIndex, positionIndex, {0}, true);
}

xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKey(const xcOCLineArrangement& arrangement,
                                                      long lineIndex, long positionIndex,
                                                      long key) {
    return changeKeys(arrangement, lineIndex, positionIndex, {key}, false);
}

xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKeys(const xcOCLineArrangement& arrangement,
                                                       long lineIndex, long positionIndex,
                                                       const std::vector<long>& keys) {
    return changeKeys(arrangement, lineIndex, positionIndex, keys, false);
}

xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKeys(const xcOCLineArrangement& arrangement,
                                                       long lineIndex, long positionIndex,
                                                       const std::wstring& name) {
    checkLineIndex(arrangement, lineIndex);
    std::vector<long> keys;
    const xcOCLine& line = *arrangement.lines()[static_cast<std::size_t>(lineIndex)];
    for (const auto& c : line.alphabet()->characters())
        if (c->name() == name) keys.push_back(c->key());
    return changeKeys(arrangement, lineIndex, positionIndex, keys, false);
}
