// Reports of an alphabet: its confusion matrix as text, and its records in a diagnostics object
// (general information with the matrix, then one image record per character and one per mask).
//
// All texts are wide strings whose lines end with a single line feed. Doubles are shown with
// three decimals, keys in 8-digit upper-case hexadecimal, names between single quotes.
#pragma once

#include <string>

class xcOCAlphabet;
class xcDiagObject;
class xcDiagRecord;

// The confusion matrix of a compiled alphabet as a tab-separated table ("Confusion matrix:",
// a header of quoted names, one row per character), followed, with listPairs, by
// "Confusing pairs:" and one line per ordered pair of distinct characters whose confusion is
// strictly above the alphabet's threshold (score, names, keys and offset translation). Empty
// for a null, empty or uncompiled alphabet. A confusing pair whose offset is not a pure
// translation breaks an invariant of the compilation and throws xcAssertionFailure.
std::wstring xf_ConfusionMatrix(const xcOCAlphabet* alphabet, bool listPairs);

// Appends to `diag` a record annotated `annotation` holding the alphabet's general
// information and confusion matrix (text "Alphabet general info"), and, with addCharacters, one
// level below it an image record per character (its information text, the image area and the
// client axes as graphics) and, one level further, a record per bound mask. Returns the
// alphabet's record; null (nothing written) when diag or alphabet is null. The diagnostics
// object's level is the same afterwards.
xcDiagRecord* xf_AddAlphabet(xcDiagObject* diag, const xcOCAlphabet* alphabet,
                             const std::wstring& annotation, bool addCharacters);
