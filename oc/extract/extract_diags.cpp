// Diagnostics of the extraction model: after a search, the run parameters and the found
// instances as a text record ("Result details"), and one graphics record per instance with the
// character's footprint (green), a needle along its x axis (green, 2 pixels wide) and, for a
// symmetric character, blue needles in the other orientations in which it matches itself.
#include <algorithm>
#include <numbers>
#include <ostream>
#include <sstream>

#include "oc/extract/extract_model.h"
#include "platform/core/line.h"
#include "platform/diag/color.h"
#include "platform/diag/diag_object.h"
#include "platform/diag/graphic_shapes.h"

namespace {

constexpr unsigned long kParamsBit = 0x10000;
constexpr unsigned long kResultsBit = 0x20000;
constexpr long kClientCoords = 2;

xcXform<2> turn(double degrees) {
    return xcXform<2>(xcMatrix<2>::rotation(xcRadian(degrees * std::numbers::pi / 180.0)),
                      xcVector<2>());
}

// The segment s mapped by x.
xcLineSeg mapped(const xcXform<2>& x, const xcLineSeg& s) {
    return xcLineSeg(x.mapPoint(s.p1()), x.mapPoint(s.p2()));
}

}  // namespace

void xc_OCExtractModel::drawTrainDiags_(const xcOCAlphabet&,
                                        const xcPelBuffer_const<unsigned char>&,
                                        const std::vector<long>&, xcDiagObject*, unsigned long) {}

void xc_OCExtractModel::drawRuntimeDiags_(const xcOCAlphabet& alphabet,
                                          const xcPelBuffer_const<unsigned char>&,
                                          const xc_OCExtractRunParams& runParams,
                                          const xc_OCExtractStringResult& stringResult,
                                          xcDiagObject* diag, unsigned long flags) {
    if (diag == nullptr) return;
    std::wostream& os = m_diagText;
    if (xcDiagObject::shouldRecord(flags, kParamsBit)) {
        os << L"Runtime Params" << std::endl
           << L"==============" << std::endl
           << L"Accept Thresh = " << runParams.acceptThreshold() << std::endl
           << L"Confusion Thresh = " << runParams.confusionThreshold() << std::endl
           << L"Overlap =" << runParams.overlap() << std::endl;
    }
    if (!xcDiagObject::shouldRecord(flags, kResultsBit)) return;

    const auto& unique = stringResult.uniqueCharResults();
    const size_t n = std::min(unique.size(), m_patterns.size());
    os << std::endl << L"Final Results" << std::endl;
    for (size_t u = 0; u < n; ++u) {
        if (!m_patterns[u]) continue;
        const xc_OCExtractCharResult& r = *unique[u];
        const std::wstring& name = alphabet.character(m_keys[u])->name();
        os << (r.found() ? L"Found" : L"Could not find") << L" Char Model '" << name << L"'"
           << std::endl;
        for (long t = 0; t < r.numInstances(); ++t) {
            const xcXform<2> pose = r.pose(t);
            os << L" \t Instance #" << t << L" \t Score= " << r.score(t) << L" \t Angle= "
               << xcDegree(pose.xRot()).toDouble() << L" \t Scale=" << pose.xScale() << std::endl;
        }
        os << std::endl;
    }
    os << std::ends;
    xf_AddText(diag, m_diagText.str(), L"Result details");

    for (size_t u = 0; u < n; ++u) {
        if (!m_patterns[u]) continue;
        const xc_OCExtractCharResult& r = *unique[u];
        const xcOCModel& model = *alphabet.character(m_keys[u]);
        const double length = 0.5 * static_cast<double>(std::min(model.imageArea().width(),
                                                                 model.imageArea().height()));
        const xcLineSeg needle(xcVector<2>(0.0, 0.0), xcVector<2>(length, 0.0));
        for (long t = 0; t < r.numInstances(); ++t) {
            xcGraphicList list;
            // The record's name ends where the title's null character would end it.
            std::wostringstream title;
            title << L"Character '" << model.name() << L"'" << L" Result #" << t;
            list.append(xcGraphicHandle(new xcGraphicSimple<xcAffineRectangle>(
                            r.affRect(t), xcColor::greenColor())),
                        true);
            const xcXform<2> pose = r.pose(t);
            std::vector<double> turns;
            if (r.symmetry() == xc_OCExtractDefs::eSymmetricAllAngles)
                turns = {180.0, 90.0, 270.0};
            else if (r.symmetry() == xc_OCExtractDefs::eSymmetric180)
                turns = {180.0};
            for (const double a : turns)
                list.append(xcGraphicHandle(new xcGraphicSimple<xcLineSeg>(
                                mapped(pose * turn(a), needle), xcColor::blueColor())),
                            true);
            list.append(
                xcGraphicHandle(new xcGraphicSimple<xcLineSeg>(
                    mapped(pose, needle), xcGraphicProps(xcColor::greenColor(), 2, 0, false))),
                true);
            xf_AddGraphics(diag, list, title.str(), kClientCoords);
        }
    }
}
