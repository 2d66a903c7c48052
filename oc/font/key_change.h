// Key changes: corrected copies of a line arrangement with other current keys at one position.
//
// Each function returns a handle to a new arrangement; the given arrangement and its lines are
// never changed. The changed line is rebuilt (with every check of its constructor) and every
// other line is shared with the given arrangement.
//
// Errors, in this order: xcOCDefs::BadKey "At least one of the keys is not found in the
// alphabet." (an empty key list); xcOCDefs::BadParams "The supplied line index is not valid.";
// xcOCDefs::BadParams "The supplied position index is not valid."; xcOCDefs::BadKey "The
// specified key is not in the keySet for this position." (a key that is not a possible key of
// the position); xcOCDefs::BadIndex "Key indices must be unique." (a key given twice).
#pragma once

#include <string>
#include <vector>

#include "oc/font/line_arrangement.h"

// Makes the position a wild card (current key indices [-1]).
xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKey(const xcOCLineArrangement& arrangement,
                                                      long lineIndex, long positionIndex);
// Makes `key` the only current key of the position.
xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKey(const xcOCLineArrangement& arrangement,
                                                      long lineIndex, long positionIndex, long key);
// Makes the given keys current, in the given order.
xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKeys(const xcOCLineArrangement& arrangement,
                                                       long lineIndex, long positionIndex,
                                                       const std::vector<long>& keys);
// Makes current every key whose character in the line's alphabet bears `name` (in alphabet
// order). The line index is checked first; a name no character bears gives the empty-list
// error.
xcPtrHandle<xcOCLineArrangement> xfOCChangeCurrentKeys(const xcOCLineArrangement& arrangement,
                                                       long lineIndex, long positionIndex,
                                                       const std::wstring& name);
