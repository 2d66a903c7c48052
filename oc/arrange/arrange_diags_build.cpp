// "Build arrangement": how the best path was laid into lines, and what each position cost.
#include <iomanip>
#include <numbers>
#include <sstream>

#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags.h"
#include "oc/arrange/arrange_diags_level.h"
#include "platform/clevel/assert.h"
#include "platform/core/text.h"
#include "platform/diag/graphic_shapes.h"

namespace {

std::wstring costText(const xc_ArrangeCost& c) {
    return L"Best solution:\n"
           L"Line break cost\t\t" +
           xfStr(c.cost[2]) + L"\n" + L"Unmatched char cost\t" + xfStr(c.cost[1]) + L"\n" +
           L"Normal trans cost\t\t" + xfStr(c.cost[3]) + L"\n" + L"Tangential trans cost\t" +
           xfStr(c.cost[4]) + L"\n" + L"Orientation cost\t\t" + xfStr(c.cost[5]) + L"\n" +
           L"Scale cost\t\t" + xfStr(c.cost[6]) + L"\n" + L"Total cost\t\t\t" + xfStr(c.total()) +
           L"\n";
}

}  // namespace

void xf_AddBuildArrangementDiags(const xcPelBuffer_const<unsigned char>& image,
                                 const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                                 const std::vector<xc_CharData>& charData,
                                 const std::vector<xc_Pose>& poses,
                                 const std::vector<double>& scores,
                                 const std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                                 const xcOCArrangeParams& /*params*/,
                                 const xc_ArrangePath& bestPath, const xc_ArrangeCost& cost,
                                 bool finalValid, xcDiagObject* diag) {
    if (diag == nullptr || !finalValid) return;
    const std::size_t n = keys.size();
    if (cost.tanDeviations.size() != n || cost.normDeviations.size() != n ||
        cost.orientDeviations.size() != n || cost.scaleDeviations.size() != n)
        xstd_assert_(__LINE__, "cost record and target differ in length");
    if (charData.size() != n || poses.size() != n || scores.size() != n || statuses.size() != n ||
        static_cast<std::size_t>(bestPath.size()) > n)
        xstd_assert_(__LINE__, "position records and target differ in length");

    xc_ArrangeDiagLevel nested(*diag, 1);
    xcDiagRecord* record = xf_AddImage(diag, image, L"Build arrangement", false);

    std::size_t nextSegment = 0, nextArc = 0;
    const long numLines = static_cast<long>(bestPath.numLines());
    for (long l = 0; l < numLines; ++l) {
        const long s = bestPath.lineStart(l);
        const long e = l + 1 < numLines ? bestPath.lineStart(l + 1) : bestPath.size();
        const long type = l < static_cast<long>(cost.lineTypes.size())
                              ? static_cast<long>(cost.lineTypes[l])
                              : static_cast<long>(xcOCArrangeDefs::eDontCare);
        xcGraphicList graphics;
        if (type == xcOCArrangeDefs::eStraight && nextSegment < cost.lineSegments.size()) {
            graphics.append(xcGraphicHandle(new xcGraphicSimple<xcLineSeg>(
                cost.lineSegments[nextSegment++], xf_ArrangeLinePen())));
        } else if (type == xcOCArrangeDefs::eCircular && nextArc < cost.lineArcs.size()) {
            graphics.append(xcGraphicHandle(
                new xcGraphicSimple<xcEllipseArc2>(cost.lineArcs[nextArc++], xf_ArrangeLinePen())));
        }

        std::wostringstream t;
        t << std::setprecision(2);
        t << L"Line " << l << L":" << L"\n";
        t << (type == xcOCArrangeDefs::eStraight ? L"Straight" : L"Circular") << L", " << (e - s)
          << L" characters" << L"\n";
        const double angle = l < static_cast<long>(cost.lineAngles.size())
                                 ? cost.lineAngles[l].toDouble() * 180.0 / std::numbers::pi
                                 : 0.0;
        const double scale =
            l < static_cast<long>(cost.lineScales.size()) ? cost.lineScales[l] : 0.0;
        t << L"Average angle: " << angle << L" degrees" << L"\n";
        t << L"Aerage scale: " << scale << L"\n";
        t << L"\n";
        t << L"Cost details:" << L"\n";
        t << L"Index\tChar\tChoice\tMatch\tTan\tNorm\tRot\tScale" << L"\n";

        long matched = 0;
        double match = 0.0, tan = 0.0, norm = 0.0, rot = 0.0, scl = 0.0;
        for (long i = s; i < e; ++i) {
            xf_AddArrangeCharGraphic(graphics, charData[i].cellRect(), poses[i].xform(),
                                     statuses[i]);
            const std::wstring name =
                alphabet.hasCharacter(keys[i]) ? alphabet.character(keys[i])->name() : L"";
            t << i << L"\t'" << name << L"'\t";
            const long c = bestPath.choice(i);
            if (c >= 0) {
                t << c << L"\t" << 1.0 - scores[i] << L"\t" << cost.tanDeviations[i] << L"\t"
                  << cost.normDeviations[i] << L"\t" << cost.orientDeviations[i] << L"\t"
                  << cost.scaleDeviations[i];
                ++matched;
                match += 1.0 - scores[i];
                tan += cost.tanDeviations[i];
                norm += cost.normDeviations[i];
                rot += cost.orientDeviations[i];
                scl += cost.scaleDeviations[i];
            } else {
                t << L"--" << L"\t" << 0 << L"\t" << L"Character unmatched; pose "
                  << (statuses[i] == xcOCArrangeDefs::eInferred ? L"inferred" : L"unknown");
            }
            t << L"\n";
        }
        const double w = matched > 0 ? static_cast<double>(e - s) / matched : 1.0;
        t << L"Normalized total\t\t" << match << L"\t" << w * tan << L"\t" << w * norm << L"\t"
          << w * rot << L"\t" << w * scl << L"\n";
        t << L"\n" << std::ends;

        record->graphics(graphics, xcDisplay::eClientCoords, L"Line #" + xfStr(l) + L" graphics");
        record->text(t.str(), L"Line #" + xfStr(l) + L" details");
    }
    record->text(costText(cost), L"Arrangement cost");
}
