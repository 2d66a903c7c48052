// xcOCAlphabet: a font, an ordered set of character models with distinct keys.
//
// Besides its models (shared through const handles, in insertion order: a model's index is its
// row and column), an alphabet has a name, a confusion threshold in [0, 1] and, once compiled,
// an n x n confusion matrix and an n x n table of character offsets:
//   confusion(i, j)  how strongly character i can be mistaken for character j (1 on the
//                    diagonal), in [0, 1];
//   offset[i][j]     where character i then lies relative to character j (client units of j).
// The matrix is 1 x 1 while there are no characters.
//
// States: compiled or not. The default alphabet is empty and compiled; characters() and add()
// leave it not compiled; compile() compiles it; remove(), the name and threshold setters keep
// the state (a compiled alphabet stays compiled and consistent after a removal). Queries of
// the matrix and offsets need a compiled alphabet (xcOCDefs::NotCompiled otherwise).
//
// Every setter checks all its conditions first and changes nothing when one fails. Reference
// counted (xcRepBase); persistent with archive version 1 (versions 0 and 1 are read; a
// version-0 archive that was compiled is compiled again on reading).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oc/font/model.h"
#include "platform/core/nm_matrix.h"

class xcDiagObject;

class xcOCAlphabet : public xcRepBase, public xcPersistent {
public:
    using ConstModels = std::vector<xcPtrHandle_const<xcOCModel>>;
    using Models = std::vector<xcPtrHandle<xcOCModel>>;
    using OffsetTable = std::vector<std::vector<xcXform<2>>>;

    // Empty, compiled, threshold 0.5, 1 x 1 matrix.
    xcOCAlphabet();
    // Stores the name, sets the threshold (validated), then characters(characters, compile).
    // Throws the errors of confusionThreshold(double), characters() and compile().
    xcOCAlphabet(const ConstModels& characters, double confusionThreshold, bool compile,
                 const std::wstring& name = L"");
    xcOCAlphabet(const Models& characters, double confusionThreshold, bool compile,
                 const std::wstring& name = L"");
    // A copy starts not compiled with a 1 x 1 matrix, then takes the source by assignment.
    xcOCAlphabet(const xcOCAlphabet& o);
    // Copies threshold, offset table, name, characters (the models are shared) and the compiled
    // flag; the matrix only when the source is compiled.
    xcOCAlphabet& operator=(const xcOCAlphabet& o);
    ~xcOCAlphabet() override = default;

    const std::wstring& name() const { return m_name; }
    void name(const std::wstring& n) { m_name = n; }

    double confusionThreshold() const { return m_confusionThreshold; }
    // Accepts 0 <= t <= 1; otherwise (NaN included) xcOCDefs::BadParams "Confusion threshold
    // must be between 0 and 1.". The compiled flag is kept. The flag of the second form has
    // no effect.
    void confusionThreshold(double t);
    void confusionThreshold(double t, bool);

    bool isCompiled() const { return m_compiled; }
    long numChars() const { return static_cast<long>(m_characters.size()); }
    const ConstModels& characters() const { return m_characters; }
    // Index of the model with `key`, -1 if none.
    long characterIndex(long key) const;
    bool hasCharacter(long key) const { return characterIndex(key) != -1; }
    // The model with `key`; xcOCDefs::BadKey "The character for the specified key does not exist
    // in the alphabet." when there is none.
    const xcPtrHandle_const<xcOCModel>& character(long key) const;

    // Replaces all characters; the alphabet becomes not compiled, then is compiled when
    // `compile` is set. Throws xcOCDefs::BadParams for a null handle and xcOCDefs::SameKey
    // "The keys for at least two of the supplied characters are identical.", changing nothing.
    void characters(const ConstModels& characters, bool compile);
    void characters(const Models& characters, bool compile);
    // Appends characters (not compiled afterwards unless `compile`). Throws, in this order:
    // xcOCDefs::BadParams for a null handle; xcOCDefs::SameKey "At least one of the supplied
    // characters has the same key as one of the characters in the alphabet."; xcOCDefs::SameKey
    // "The keys for at least two of the supplied characters are identical.".
    void add(const xcPtrHandle_const<xcOCModel>& character, bool compile);
    void add(const ConstModels& characters, bool compile);
    void add(const Models& characters, bool compile);
    // Removes the characters with these keys; the last character moves into each freed index.
    // A compiled alphabet stays compiled: its matrix and offsets follow the moves. Throws, in
    // this order: xcOCDefs::BadKey "At least one of the supplied keys does not reference a
    // character in this alphabet."; xcOCDefs::SameKey "At least one of the supplied keys is
    // identical.". An empty list does nothing.
    void remove(long key);
    void remove(const std::vector<long>& keys);

    // Confusion of key1 with key2 (matrix element). Throws xcOCDefs::NotCompiled (empty
    // message) when not compiled, then xcOCDefs::BadKey when a key is absent.
    double confusion(long key1, long key2) const;
    // confusion(key1, key2) > threshold, the threshold being 0 when key1 is a blank character.
    // Throws xcOCDefs::BadKey when key1 is absent, then the errors of confusion(). Not
    // symmetric.
    bool areConfusable(long key1, long key2) const;
    // Offset of key1's character relative to key2's. Errors as for confusion().
    xcXform<2> characterOffset(long key1, long key2) const;

    // Computes the confusion matrix and offsets, recording the input, details and results that
    // `flags` selects into `diag` (may be null). An already compiled alphabet is not
    // recomputed. Each row runs on a worker thread, one at a time; the calling thread waits
    // and polls xcAttention::check() after each row (alphabet_compile.cpp). A sub-model run
    // that fails leaves its pair at confusion 0; any other error of a worker (a time-out, a
    // character that cannot be trained, placed or resampled: xcOCDefs::BadParams "A character
    // image is too large to resample into the reference geometry.", core and tool errors) and
    // the calling thread's abort or time-out end the compile with that error and leave the
    // alphabet not compiled; a later compile starts again. A blank character whose image area
    // exceeds the blankness sampling limits (more than 2^24 pixels or 32767 on a side:
    // xcAffineClippingLimits) fails before any work with xcOCDefs::BadParams "A blank
    // character's image area is too large to score: at most 16777216 pixels and 32767 on a
    // side.".
    void compile(xcDiagObject* diag = nullptr, unsigned long flags = 0);

    // The same characters (models equal by value, index by index), name, threshold (exactly)
    // and compiled flag. The matrix and offsets are not compared.
    bool operator==(const xcOCAlphabet& o) const;
    bool operator!=(const xcOCAlphabet& o) const { return !(*this == o); }

protected:
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    friend bool xfRealEq(const xcOCAlphabet& a, const xcOCAlphabet& b, double tolerance);

    // Throws xcOCDefs::BadParams when a handle is null.
    static void checkHandles_(const ConstModels& characters);
    // Computes one row of the matrix and offsets on the calling thread.
    void compileRow_(long row);
    static ConstModels toConst_(const Models& characters);
    // The indices of key1 and key2 for the matrix queries (errors as for confusion()).
    std::pair<long, long> compiledIndices_(long key1, long key2) const;

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    bool m_compiled = true;
    std::wstring m_name;
    double m_confusionThreshold = 0.5;
    ConstModels m_characters;
    xcNMMatrix m_matrix{1, 1};
    OffsetTable m_offsets;
};

// Equality with the models compared by xfRealEq(model, model, tolerance) and the thresholds
// by the core xfRealEq for doubles.
bool xfRealEq(const xcOCAlphabet& a, const xcOCAlphabet& b, double tolerance);
