// Compilation of an alphabet: filling its confusion matrix and offset table.
//
// This build compiles only what needs no measurement: an alphabet that is already compiled
// (nothing is recomputed) and an empty one (a 1 x 1 matrix and an empty offset table). The
// pairwise measurement of characters by the flexible sub-model tool and the blankness score
// is not part of this build; compiling an alphabet with characters throws
// xcOCDefs::NotImplemented before changing anything.
#include "oc/font/alphabet.h"

namespace {

const wchar_t* const kNoCompilation = L"Alphabet compilation is not available in this build.";

}  // namespace

void xcOCAlphabet::compile(xcDiagObject* /*diag*/, unsigned long /*flags*/) {
    if (m_compiled) return;
    if (!m_characters.empty()) throw xcOCDefs::NotImplemented(kNoCompilation);
    xcPersistent::mutating();
    m_matrix = xcNMMatrix(1, 1);
    m_offsets.clear();
    m_compiled = true;
}

void xcOCAlphabet::compileRow_(long /*row*/) { throw xcOCDefs::NotImplemented(kNoCompilation); }
