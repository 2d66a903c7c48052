// xcOCLine: one line of text, a sequence of character positions.
//
// Each position has a key set (which characters may stand there and which is current), the
// pose of its character in line coordinates (xc2Rigid, radians), a character scale (> 0), and
// the translation (line units), rotation (radians) and relative scale uncertainties (>= 0)
// within which the character may deviate from that pose. A line refers to the alphabet whose
// keys it uses (shared through a const handle; never null).
//
// Invariants of every non-default constructor: the six per-position vectors have one length
// (the number of positions) and every possible key of every key set is a character of the
// alphabet. The default line has no positions and an empty alphabet of its own.
//
// Lines are immutable: they change only by assignment or by reading an archive; key changes
// (key_change.h) build new lines. Reference counted (xcRepBase); persistent, archive version 0.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oc/font/alphabet.h"
#include "oc/font/key_set.h"
#include "platform/core/rigid.h"

class xcOCLine : public xcRepBase, public xcPersistent {
public:
    using ModelHandle = xcPtrHandle_const<xcOCModel>;

    // No positions; a new empty alphabet.
    xcOCLine();
    // Poses identity, step, step * step, ...; the same scale and uncertainties everywhere.
    // Throws xcOCDefs::BadParams, in this order: "Alphabet must point to a valid object.",
    // "Character scale factors must be > 0", "Character translation uncertainty must be >= 0",
    // "Character rotation uncertainty must be >= 0", "Character scale uncertainty must be >= 0";
    // then xcOCDefs::BadKey "A key in the set sequence is not available in the supplied
    // alphabet.".
    xcOCLine(const std::vector<xcOCKeySet>& keySets,
             const xcPtrHandle_const<xcOCAlphabet>& alphabet, const xc2Rigid& step, double scale,
             double translationUncertainty, const xcRadian& rotationUncertainty,
             double scaleUncertainty, const std::wstring& name = L"");
    // Given poses; the same scalars everywhere. Checks: the alphabet; "Number of character poses
    // does not match the number of key sets."; the scale; "Character position uncertainty must
    // be >= 0"; "Character angular uncertainty must be >= 0"; the scale uncertainty; the keys.
    xcOCLine(const std::vector<xcOCKeySet>& keySets,
             const xcPtrHandle_const<xcOCAlphabet>& alphabet, const std::vector<xc2Rigid>& poses,
             double scale, double translationUncertainty, const xcRadian& rotationUncertainty,
             double scaleUncertainty, const std::wstring& name = L"");
    // Everything per position. Checks: the alphabet; the numbers of poses, scales, translation,
    // rotation and scale uncertainties; then position by position "Character scale factors must
    // be > 0", "Character translation uncertainties must be >= 0" (a value < 0), "Character
    // rotation uncertainties must be >= 0" (a value not >= 0), "Character scale uncertainties
    // must be >= 0" (a value < 0); then the keys.
    xcOCLine(const std::vector<xcOCKeySet>& keySets,
             const xcPtrHandle_const<xcOCAlphabet>& alphabet, const std::vector<xc2Rigid>& poses,
             const std::vector<double>& scales, const std::vector<double>& translationUncertainties,
             const std::vector<xcRadian>& rotationUncertainties,
             const std::vector<double>& scaleUncertainties, const std::wstring& name = L"");
    xcOCLine(const xcOCLine&) = default;
    xcOCLine& operator=(const xcOCLine&) = default;
    ~xcOCLine() override = default;

    long numPositions() const { return static_cast<long>(m_charPoses.size()); }
    const std::vector<xcOCKeySet>& keySetSequence() const { return m_keySets; }
    const xcPtrHandle_const<xcOCAlphabet>& alphabet() const { return m_alphabet; }
    const std::vector<xc2Rigid>& charPoses() const { return m_charPoses; }
    const std::vector<double>& charScales() const { return m_charScales; }
    const std::vector<double>& translationUncertainties() const {
        return m_translationUncertainties;
    }
    const std::vector<xcRadian>& rotationUncertainties() const { return m_rotationUncertainties; }
    const std::vector<double>& scaleUncertainties() const { return m_scaleUncertainties; }
    const std::wstring& name() const { return m_name; }

    // Whether position `pos` is a wild card. xcOCDefs::BadIndex "Invalid position index." for
    // pos outside [0, numPositions()).
    bool isWildcard(long pos) const;
    // The alphabet's model of the position's first current key. Throws xcOCDefs::BadIndex:
    // "Invalid position index.", "The specified position contains a wildcard character.", or
    // "The specified position has no current character." (an empty current set).
    const ModelHandle& character(long pos) const;
    // The models of all current keys of the position, in current order (empty for an empty
    // current set). Errors as for character() except the last.
    std::vector<ModelHandle> characters(long pos) const;
    // Positions that are not wild cards and whose current characters include a normal one.
    long numNormalChars() const;

    // The rectangle enclosing every character of the line (and, with includeConfusable, every
    // model the alphabet finds confusable with it) under the positions' own uncertainties and a
    // further placement: the characters' rectangles in line coordinates, taken by b^-1, placed
    // by a * b within translation t (both axes), rotation r and scale s, expressed in the frame
    // whose client-from-frame transform is c (see xcOCModel::encloseRect). Wild cards and
    // positions without a current key contribute nothing; without any contribution the result
    // is the default xcRect. Throws xcOCDefs::BadParams, in this order: "Translation
    // uncertainty must be >= 0", "Rotation uncertainty must be >= 0", "Scale uncertainty must
    // be >= 0"; with includeConfusable an uncompiled alphabet raises xcOCDefs::NotCompiled.
    xcRect encloseRect(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c,
                       double translationUncertainty, xcRadian rotationUncertainty,
                       double scaleUncertainty, bool includeConfusable) const;

    // Alphabets equal by value; position by position equal key sets, poses, scales and
    // uncertainties (exactly); equal names.
    bool operator==(const xcOCLine& o) const;
    bool operator!=(const xcOCLine& o) const { return !(*this == o); }

protected:
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    void checkPosition_(long pos) const;
    // The K check: every possible key is a character of the alphabet.
    void checkKeys_() const;

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    std::vector<xcOCKeySet> m_keySets;
    xcPtrHandle_const<xcOCAlphabet> m_alphabet;
    std::vector<xc2Rigid> m_charPoses;
    std::vector<double> m_charScales;
    std::vector<double> m_translationUncertainties;
    std::vector<xcRadian> m_rotationUncertainties;
    std::vector<double> m_scaleUncertainties;
    std::wstring m_name;
};
