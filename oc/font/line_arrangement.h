// xcOCLineArrangement: the lines of text found in an image, the arranger's result shape.
//
// Each line (shared through a const handle) has a pose in arrangement coordinates (xc2Rigid,
// radians) and translation (arrangement units) and rotation (radians) uncertainties of that
// pose, >= 0. The four per-line vectors have one length.
//
// Arrangements are immutable: key changes (key_change.h) return new arrangements. Reference
// counted (xcRepBase); persistent, archive version 0.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oc/font/oc_line.h"

class xcOCLineArrangement : public xcRepBase, public xcPersistent {
public:
    using ConstLines = std::vector<xcPtrHandle_const<xcOCLine>>;
    using Lines = std::vector<xcPtrHandle<xcOCLine>>;

    // No lines, empty name.
    xcOCLineArrangement();
    // Line poses identity, step, step * step, ...; the same uncertainties for every line.
    // Throws xcOCDefs::BadParams, in this order: "Line translation uncertainty must be >= 0",
    // "Line rotation uncertainty must be >= 0" (NaN fails both), then the null-line error.
    xcOCLineArrangement(const ConstLines& lines, const xc2Rigid& step,
                        double translationUncertainty, const xcRadian& rotationUncertainty,
                        const std::wstring& name = L"");
    // Given poses. Checks: the two uncertainties as above, then "The number of line poses does
    // not match the number of lines.", then the null-line error.
    xcOCLineArrangement(const ConstLines& lines, const std::vector<xc2Rigid>& poses,
                        double translationUncertainty, const xcRadian& rotationUncertainty,
                        const std::wstring& name = L"");
    // Everything per line. Checks: the number of poses; "The number of translation
    // uncertainties does not match the number of lines."; "The number of rotation
    // uncertainties does not match the number of lines."; then line by line "Line position
    // uncertaintiesp must be >= 0" (a value < 0) and "Line rotation uncertainties must be >= 0"
    // (a value not >= 0); then the null-line error.
    xcOCLineArrangement(const ConstLines& lines, const std::vector<xc2Rigid>& poses,
                        const std::vector<double>& translationUncertainties,
                        const std::vector<xcRadian>& rotationUncertainties,
                        const std::wstring& name = L"");
    // The same three forms from non-const handles.
    xcOCLineArrangement(const Lines& lines, const xc2Rigid& step, double translationUncertainty,
                        const xcRadian& rotationUncertainty, const std::wstring& name = L"");
    xcOCLineArrangement(const Lines& lines, const std::vector<xc2Rigid>& poses,
                        double translationUncertainty, const xcRadian& rotationUncertainty,
                        const std::wstring& name = L"");
    xcOCLineArrangement(const Lines& lines, const std::vector<xc2Rigid>& poses,
                        const std::vector<double>& translationUncertainties,
                        const std::vector<xcRadian>& rotationUncertainties,
                        const std::wstring& name = L"");
    xcOCLineArrangement(const xcOCLineArrangement&) = default;
    xcOCLineArrangement& operator=(const xcOCLineArrangement&) = default;
    ~xcOCLineArrangement() override = default;

    long numLines() const { return static_cast<long>(m_lines.size()); }
    const ConstLines& lines() const { return m_lines; }
    const std::vector<xc2Rigid>& linePoses() const { return m_linePoses; }
    const std::vector<double>& translationUncertainties() const {
        return m_translationUncertainties;
    }
    const std::vector<xcRadian>& rotationUncertainties() const { return m_rotationUncertainties; }
    const std::wstring& name() const { return m_name; }

    // The rectangle enclosing every line (see xcOCLine::encloseRect): each line's rectangle
    // under its own pose and uncertainties, taken by b^-1 and placed by a * b within t, r and
    // s, expressed through c. The default xcRect for an arrangement without lines. Throws
    // xcOCDefs::BadParams, in this order: "Translation uncertainty must be >= 0", "Rotation
    // uncertainty must be >= 0", "Scale uncertainty must be >= 0"; and the lines' errors.
    xcRect encloseRect(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c,
                       double translationUncertainty, xcRadian rotationUncertainty,
                       double scaleUncertainty, bool includeConfusable) const;

    // Lines equal by value, line by line with equal poses and uncertainties; equal names.
    bool operator==(const xcOCLineArrangement& o) const;
    bool operator!=(const xcOCLineArrangement& o) const { return !(*this == o); }

protected:
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    static ConstLines toConst_(const Lines& lines);
    // Throws xcOCDefs::BadParams "Every line handle must refer to a line." for a null handle.
    static void checkLines_(const ConstLines& lines);

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    ConstLines m_lines;
    std::vector<xc2Rigid> m_linePoses;
    std::vector<double> m_translationUncertainties;
    std::vector<xcRadian> m_rotationUncertainties;
    std::wstring m_name;
};
