#include "oc/arrange/arrange_records.h"

#include <cmath>

xc_Pose::xc_Pose(const xcVector<2>& t, xcRadian a, double s)
    : translation(t), angle(a), scale(s), logScale(std::log(s)) {}

xc_Pose::xc_Pose(const xcXform<2>& x) : translation(x.trans()) {
    const xcMatrix<2>& m = x.matrix();
    const double sinSum = m(1, 0) - m(0, 1);
    const double cosSum = m(0, 0) + m(1, 1);
    angle = (sinSum == 0.0 && cosSum == 0.0) ? xcRadian(0.0) : xcRadian(std::atan2(sinSum, cosSum));
    scale = std::sqrt(std::fabs(m.determinant()));
    logScale = std::log(scale);
}

xcXform<2> xc_Pose::xform() const {
    const double c = scale * std::cos(angle.toDouble());
    const double s = scale * std::sin(angle.toDouble());
    return xcXform<2>(xcMatrix<2>(c, -s, s, c), translation);
}

void xc_CharData::cellRect(const xcAffineRectangle& r) {
    m_cellRect = r;
    m_cellDiagonal1 = r.cornerPx() - r.cornerPy();
    m_cellDiagonal2 = r.cornerPx() + r.cornerPy() - r.cornerPo() * 2.0;
}

void xc_CharData::cellRect(const xcPelRect& imageArea, const xcXform<2>& clientFromImage) {
    cellRect(xcAffineRectangle(clientFromImage.mapPoint(imageArea.ul().toVector()),
                               clientFromImage.mapPoint(imageArea.ur().toVector()),
                               clientFromImage.mapPoint(imageArea.ll().toVector())));
}

void xc_ArrangePath::append(long choice, bool newLine) {
    if (newLine) m_lineStarts.push_back(size());
    m_choices.push_back(choice);
}

void xc_ArrangePath::removeLast() {
    if (!m_lineStarts.empty() && m_lineStarts.back() == size() - 1) m_lineStarts.pop_back();
    m_choices.pop_back();
}

void xc_ArrangePath::clear() {
    m_choices.clear();
    m_lineStarts.clear();
}

void xc_ArrangePath::reserve(std::size_t n) {
    m_choices.reserve(n);
    m_lineStarts.reserve(n);
}

void xc_ArrangeCost::reset() {
    cost.fill(0.0);
    lineTypes.clear();
    lineSegments.clear();
    lineArcs.clear();
    lineAngles.clear();
    lineScales.clear();
    tanDeviations.clear();
    normDeviations.clear();
    orientDeviations.clear();
    scaleDeviations.clear();
    nominalPositions.clear();
    expectedAngles.clear();
}

void xc_ArrangeCost::zeroPositions(std::size_t n) {
    tanDeviations.assign(n, 0.0);
    normDeviations.assign(n, 0.0);
    orientDeviations.assign(n, 0.0);
    scaleDeviations.assign(n, 0.0);
    nominalPositions.assign(n, xcVector<2>());
    expectedAngles.assign(n, xcRadian());
}

double xc_ArrangeCost::total() const {
    double t = 0.0;
    for (double c : cost) t += c;
    return t;
}
