#include "oc/arrange/arrange_diag_text.h"

#include <algorithm>

#include "oc/font/alphabet.h"
#include "platform/core/line.h"
#include "platform/core/text.h"
#include "platform/diag/graphic_shapes.h"

std::wstring xf_ArrangeVectorText(const xcVector<2>& v) {
    return L"( " + xfStr(v.x()) + L" , " + xfStr(v.y()) + L" )";
}

std::wstring xf_ArrangeAngleText(xcRadian angle) {
    return xfDbl(xcDegree(angle).toDouble(), 3, false) + L" degrees ";
}

std::wstring xf_ArrangeRigidText(const xc2Rigid& rigid) {
    return L" < xc2Rigid > " + xf_ArrangeVectorText(rigid.translation()) + L" : " +
           xf_ArrangeAngleText(rigid.angle());
}

std::wstring xf_ArrangeXformText(const xcXform<2>& xform) {
    const xcMatrix<2>& m = xform.matrix();
    return L" < xc2Xform > " + xf_ArrangeVectorText(xform.trans()) + L" : " + L" < xc2Matrix > [ " +
           xfStr(m(0, 0)) + L" , " + xfStr(m(0, 1)) + L" , " + xfStr(m(1, 0)) + L" , " +
           xfStr(m(1, 1)) + L" ] ";
}

std::wstring xf_ArrangeDecomposedXformText(const xcXform<2>& xform) {
    const xcMatrix<2>& m = xform.matrix();
    return xf_ArrangeXformText(xform) + L" xRot=" + xf_ArrangeAngleText(m.xRot()) + L" yRot=" +
           xf_ArrangeAngleText(m.yRot()) + L" xScale=" + xfDbl(m.xScale(), 3, false) + L" yScale=" +
           xfDbl(m.yScale(), 3, false);
}

std::wstring xf_ArrangeCharTypeName(long type) {
    switch (type) {
        case xcOCModel::eNormal:
            return L"eNormal";
        case xcOCModel::eBlank:
            return L"eBlank";
        default:
            return L"BadEnumValue";
    }
}

std::wstring xf_ArrangeStatusName(long status) {
    switch (status) {
        case 0:
            return L"eMatched ";
        case 1:
            return L"eInferred";
        case 2:
            return L"eUnknown ";
        default:
            return L"BadEnumValue";
    }
}

std::wstring xf_ArrangeKeyListText(const std::vector<long>& keys, const xcOCAlphabet& alphabet) {
    std::wstring t = L"Number of characters: " + xfStr(keys.size()) + L"\n";
    t += L"Index\tKey\t\tName\tType\tSize\n";
    for (std::size_t i = 0; i < keys.size(); ++i) {
        t += xfStr(i) + L"\t" + xfHex(keys[i], 8) + L"\t";
        if (alphabet.hasCharacter(keys[i])) {
            const xcOCModel& m = *alphabet.character(keys[i]);
            t += L"'" + m.name() + L"'\t" + xf_ArrangeCharTypeName(m.charType()) + L"\t" +
                 xfStr(m.imageArea().width()) + L" x " + xfStr(m.imageArea().height());
        } else {
            t += L"Key not found in alphabet!";
        }
        t += L"\n";
    }
    return t;
}

// ---- Colours and pens ---------------------------------------------------------------------

bool xf_ArrangeStatusIsDrawn(long status) { return status == 0 || status == 1; }

xcColor xf_ArrangeStatusColor(long status) {
    return status == 0 ? xcColor::greenColor() : xcColor::orangeColor();
}

xcGraphicProps xf_ArrangeCellPen(long status) {
    return xcGraphicProps(xf_ArrangeStatusColor(status), 1, 0, false);
}

xcGraphicProps xf_ArrangeTickPen(long status) {
    return xcGraphicProps(xf_ArrangeStatusColor(status), 2, 0, false);
}

xcGraphicProps xf_ArrangeOriginPen() { return xcGraphicProps(xcColor::yellowColor(), 1, 0, false); }

xcGraphicProps xf_ArrangeLinePen() { return xcGraphicProps(xcColor::redColor(), 2, 0, false); }

// ---- The character graphic ----------------------------------------------------------------

xcAffineRectangle xf_ArrangeCellRect(const xcOCModel& model) {
    const xcPelRect& area = model.imageArea();
    xcXform<2> clientFromImage;
    if (model.image().isBound()) {
        const xc2XformBase& base = model.image().clientFromImageXformBase();
        clientFromImage = base.isLinear()
                              ? base.linearAt({0.0, 0.0}).xform()
                              : base.linearAt(xcVector<2>(area.ul()) +
                                              0.5 * xcVector<2>(static_cast<double>(area.width()),
                                                                static_cast<double>(area.height())))
                                    .xform();
    }
    return xcAffineRectangle(clientFromImage.mapPoint(area.ul()),
                             clientFromImage.mapPoint(area.ur()),
                             clientFromImage.mapPoint(area.ll()));
}

void xf_AddArrangeCharGraphic(xcGraphicList& list, const xcAffineRectangle& cellRect,
                              const xcXform<2>& clientFromChar, long status) {
    if (!xf_ArrangeStatusIsDrawn(status)) return;
    list.append(xcGraphicHandle(new xcGraphicSimple<xcAffineRectangle>(cellRect.map(clientFromChar),
                                                                       xf_ArrangeCellPen(status))));
    const double tick = 0.5 * std::min(cellRect.xLength(), cellRect.yLength());
    const xcVector<2> origin = clientFromChar.mapPoint({0.0, 0.0});
    list.append(xcGraphicHandle(new xcGraphicSimple<xcLineSeg>(
        xcLineSeg(origin, clientFromChar.mapPoint({tick, 0.0})), xf_ArrangeTickPen(status))));
    list.append(xcGraphicHandle(new xcGraphicPointIcon(origin, xf_ArrangeOriginPen())));
}
