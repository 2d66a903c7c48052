#include "oc/arrange/line_evaluation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "platform/clevel/assert.h"
#include "platform/vision/circle_fit.h"
#include "platform/vision/line_fit.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kUnits45 = 4.0 / std::numbers::pi;  // radians to units of 45 degrees
constexpr double kMinSweep = 5.0 * std::numbers::pi / 180.0;
constexpr double kSpacingLow = 0.8;
constexpr double kSpacingHigh = 2.5;

using Sym = xc_OCExtractDefs::Symmetry;

double norm0(double a) { return xcRadian(a).norm().toDouble(); }             // [0, 2 pi)
double signedNorm(double a) { return xcRadian(a).signedNorm().toDouble(); }  // (-pi, pi]

xcVector<2> rotated(const xcVector<2>& v, double a) {
    const double c = std::cos(a), s = std::sin(a);
    return {c * v.x() - s * v.y(), s * v.x() + c * v.y()};
}

// The matched characters of one line, in target order.
struct Matched {
    std::vector<long> pos;  // target position
    std::vector<xcVector<2>> p;
    std::vector<double> theta, s, l;
    std::vector<Sym> sym;
    void clear() {
        pos.clear();
        p.clear();
        theta.clear();
        s.clear();
        l.clear();
        sym.clear();
    }
};

// One shape tried for a line: its geometry, the layout of positions s ... b and its totals.
struct Pass {
    bool feasible = false;
    bool circular = false;
    // Straight: a point of the line, the unit direction from the first character to the last,
    // its angle, and the first and last matched characters' along-line coordinates.
    xcVector<2> point, dir;
    double alpha = 0.0, tFirst = 0.0, tLast = 0.0;
    // Circular: centre, radius, angle of each matched character about the centre, sweep and
    // tangent offset.
    xcVector<2> centre;
    double radius = 0.0, psi = 0.0, tau = 0.0;
    std::vector<double> phi;
    // Relative (or absolute) angles of the matched characters and their average.
    std::vector<double> rel;
    double omega = 0.0;
    // Per position s ... b: nominal point, local direction, expected angle, deviations.
    std::vector<xcVector<2>> nominal;
    std::vector<double> delta, expected, tan, norm, orient;
    double tanSum = 0.0, normSum = 0.0, orientSum = 0.0, spacing = 0.0, total = 0.0;
};

bool straightPass(const Matched& mc, const xcOCArrangeParams& params, Pass& pass) {
    const std::size_t m = mc.p.size();
    const xcLineFitResult fit =
        xfLineFit(mc.p, xcLineFitParams(0, 0, std::numeric_limits<double>::infinity()));
    if (!fit.valid()) return false;
    const std::vector<double>& t = fit.alongs();
    const double d = t[m - 1] - t[0];
    for (std::size_t k = 1; k < m; ++k) {
        if (d < 0 ? !(t[k] < t[k - 1]) : !(t[k] > t[k - 1])) return false;
    }
    const double fitAngle = fit.angle().toDouble();
    const double a = d <= 0 ? fitAngle + kPi : fitAngle;
    pass.dir = xcVector<2>(std::cos(a), std::sin(a));
    const double nAngle = fitAngle + kPi / 2;
    pass.point = xcVector<2>(std::cos(nAngle), std::sin(nAngle)) * fit.distance();
    if (params.isTextDirectionSpecified()) {
        const double u = params.straightTextDirection().toDouble();
        if (pass.dir.dot(xcVector<2>(std::cos(u), std::sin(u))) < 0) return false;
    }
    pass.alpha = a;
    pass.tFirst = pass.dir.dot(mc.p[0] - pass.point);
    pass.tLast = pass.dir.dot(mc.p[m - 1] - pass.point);
    const bool relative = params.orientationReference() == xcOCArrangeDefs::eRelative;
    pass.rel.resize(m);
    for (std::size_t k = 0; k < m; ++k) pass.rel[k] = relative ? mc.theta[k] - a : mc.theta[k];
    return true;
}

bool circularPass(const Matched& mc, const xcOCArrangeParams& params, bool clockwise, Pass& pass) {
    const std::size_t m = mc.p.size();
    const xcCircleFitResult fit =
        xfCircleFit(mc.p, xcCircleFitParams(0, 1.0, 0, std::numeric_limits<double>::infinity()));
    if (!fit.valid() || fit.radius() == 0.0) return false;
    pass.centre = fit.center();
    pass.radius = fit.radius();
    // The sense of the arc from the first character through the middle to the last.
    const xcVector<2> mid = (mc.p[m / 2] + mc.p[(m - 1) / 2]) * 0.5;
    const bool ccw = (mid - mc.p[0]).cross(mc.p[m - 1] - mid) >= 0;
    pass.phi.resize(m);
    double sum = 0.0;
    for (std::size_t k = 0; k < m; ++k) {
        const xcVector<2> v = mc.p[k] - pass.centre;
        if (v.x() == 0.0 && v.y() == 0.0) return false;
        pass.phi[k] = v.angle();
        if (k == 0) continue;
        const double step =
            ccw ? norm0(pass.phi[k] - pass.phi[k - 1]) : norm0(pass.phi[k - 1] - pass.phi[k]);
        if (step <= 0.0 || step >= kPi) return false;
        sum += step;
        if (sum >= kTwoPi) return false;
    }
    pass.psi = ccw ? norm0(pass.phi[m - 1] - pass.phi[0]) : -norm0(pass.phi[0] - pass.phi[m - 1]);
    if (std::fabs(pass.psi) < kMinSweep) return false;
    if (params.isTextDirectionSpecified() && (pass.psi >= 0) != clockwise) return false;
    pass.tau = pass.psi >= 0 ? kPi / 2 : -kPi / 2;
    const bool relative = params.orientationReference() == xcOCArrangeDefs::eRelative;
    pass.rel.resize(m);
    for (std::size_t k = 0; k < m; ++k)
        pass.rel[k] = relative ? mc.theta[k] - (pass.phi[k] + pass.tau) : mc.theta[k];
    return true;
}

// Everything a feasible pass shares: average orientation, layout of positions s ... b and the
// deviations of the matched characters from it.
void layoutAndDeviations(const Matched& mc, long s, long b, double sigma,
                         const std::vector<xc_CharData>& charData, const xcOCArrangeParams& params,
                         Pass& pass) {
    const std::size_t m = mc.p.size();
    const bool relative = params.orientationReference() == xcOCArrangeDefs::eRelative;

    // Average orientation: characters symmetric under a half turn join the sum the way that
    // agrees with it; characters symmetric under every angle do not count.
    xcVector<2> sum(0.0, 0.0);
    for (std::size_t k = 0; k < m; ++k)
        if (mc.sym[k] == xc_OCExtractDefs::eNotSymmetric)
            sum += xcVector<2>(std::cos(pass.rel[k]), std::sin(pass.rel[k]));
    for (std::size_t k = 0; k < m; ++k) {
        if (mc.sym[k] != xc_OCExtractDefs::eSymmetric180) continue;
        const xcVector<2> u(std::cos(pass.rel[k]), std::sin(pass.rel[k]));
        if (u.dot(sum) >= 0)
            sum += u;
        else
            sum -= u;
    }
    pass.omega = (sum.x() == 0.0 && sum.y() == 0.0) ? 0.0 : std::atan2(sum.y(), sum.x());
    const double rho = params.orientationMode() == xcOCArrangeDefs::eSpecified
                           ? params.expectedOrientation().toDouble()
                           : pass.omega;

    // Unscaled widths along the line, from the relative angle of each position.
    const long L = b - s + 1;
    const std::size_t nL = static_cast<std::size_t>(L);
    std::vector<double> w(nL);
    std::vector<long> match(nL, -1);  // index into mc, or -1
    for (std::size_t k = 0; k < m; ++k)
        match[static_cast<std::size_t>(mc.pos[k] - s)] = static_cast<long>(k);
    for (long j = 0; j < L; ++j) {
        const double local =
            pass.circular ? pass.phi[0] + j * pass.psi / (L - 1) + kPi / 2 : pass.alpha;
        const long k = match[static_cast<std::size_t>(j)];
        const double r = k >= 0 ? mc.theta[static_cast<std::size_t>(k)] - local
                                : (relative ? pass.omega : pass.omega - local);
        const xc_CharData& cd = charData[static_cast<std::size_t>(s + j)];
        w[static_cast<std::size_t>(j)] = std::max(std::fabs(rotated(cd.cellDiagonal1(), r).x()),
                                                  std::fabs(rotated(cd.cellDiagonal2(), r).x()));
    }
    double W = 0.5 * (w[0] + w[nL - 1]);
    for (std::size_t j = 1; j + 1 < nL; ++j) W += w[j];

    pass.nominal.resize(nL);
    pass.delta.resize(nL);
    if (!pass.circular) {
        const double g = (pass.tLast - pass.tFirst - W) / (L - 1);
        double coord = pass.tFirst;
        for (std::size_t j = 0; j < nL; ++j) {
            if (j == nL - 1)
                coord = pass.tLast;
            else if (j > 0)
                coord += 0.5 * (w[j - 1] + w[j]) + g;
            pass.nominal[j] = pass.point + pass.dir * coord;
            pass.delta[j] = pass.alpha;
        }
    } else {
        const double R = pass.radius;
        const double g = (pass.psi - W / R) / (L - 1);
        double a = pass.phi[0];
        for (std::size_t j = 0; j < nL; ++j) {
            if (j == nL - 1)
                a = pass.phi[0] + pass.psi;
            else if (j > 0)
                a += (w[j - 1] + w[j]) / (2 * R) + g;
            pass.nominal[j] = pass.centre + xcVector<2>(std::cos(a), std::sin(a)) * R;
            pass.delta[j] = a + pass.tau;
        }
    }

    // Deviations of each position from the layout, and the spacing of neighbours.
    pass.expected.assign(nL, 0.0);
    pass.tan.assign(nL, 0.0);
    pass.norm.assign(nL, 0.0);
    pass.orient.assign(nL, 0.0);
    pass.tanSum = pass.normSum = pass.orientSum = pass.spacing = 0.0;
    double prevW = 0.0;
    xcVector<2> prevQ;
    std::size_t q = 0;  // the matched character at or after position j
    for (std::size_t j = 0; j < nL; ++j) {
        while (static_cast<std::size_t>(mc.pos[q] - s) < j) ++q;
        const bool matched = static_cast<std::size_t>(mc.pos[q] - s) == j;
        const xc_CharData& cd = charData[static_cast<std::size_t>(s) + j];
        const double turn = mc.theta[q] - pass.delta[j];
        const xcVector<2> d1 = rotated(cd.cellDiagonal1(), turn);
        const xcVector<2> d2 = rotated(cd.cellDiagonal2(), turn);
        const double si = matched ? mc.s[q] : sigma;
        const double Wi = si * std::max(std::fabs(d1.x()), std::fabs(d2.x()));
        const double Hi = si * std::max(std::fabs(d1.y()), std::fabs(d2.y()));
        const xcVector<2> Q = matched ? mc.p[q] : pass.nominal[j];
        if (j > 0) {
            const double A = 0.5 * (prevW + Wi);
            const double lo = kSpacingLow * A, hi = kSpacingHigh * A;
            const double gap = (Q - prevQ).len();
            if (gap < lo) pass.spacing += (lo - gap) / lo;
            if (gap > hi) pass.spacing += (gap - hi) / A;
        }
        prevW = Wi;
        prevQ = Q;
        pass.expected[j] = relative ? rho + pass.delta[j] : rho;
        if (!matched) continue;
        const xcVector<2> off = rotated(mc.p[q] - pass.nominal[j], -pass.delta[j]);
        pass.tan[j] = std::fabs(off.x()) / Wi;
        pass.norm[j] = std::fabs(off.y()) / Hi;
        double o = 0.0;
        if (mc.sym[q] != xc_OCExtractDefs::eSymmetricAllAngles) {
            o = std::fabs(signedNorm(mc.theta[q] - pass.expected[j])) * kUnits45;
            if (mc.sym[q] == xc_OCExtractDefs::eSymmetric180 && o > 2.0) o = 4.0 - o;
        }
        pass.orient[j] = o;
        pass.tanSum += pass.tan[j];
        pass.normSum += pass.norm[j];
        pass.orientSum += o;
    }
    pass.total =
        pass.normSum * params.normalTransCost() + pass.tanSum * params.tangentialTransCost() +
        pass.orientSum * params.orientationCost() + pass.spacing * params.tangentialTransCost();
}

}  // namespace

bool xf_EvaluateArrangeLine(const xc_ArrangePath& path, long l,
                            const std::vector<xc_CharData>& charData,
                            const std::vector<std::vector<xc_Pose>>& candPoses,
                            const xcOCArrangeParams& params, bool flipped, bool final,
                            xc_ArrangeCost& cost, xc_LineSums& sums) {
    const long s = path.lineStart(l), e = path.lineEnd(l);
    Matched mc;
    for (long i = s; i < e; ++i) {
        const long c = path.choice(i);
        if (c < 0) continue;
        const xc_Pose& pose = candPoses[static_cast<std::size_t>(i)][static_cast<std::size_t>(c)];
        mc.pos.push_back(i);
        mc.p.push_back(pose.translation);
        mc.theta.push_back(pose.angle.toDouble());
        mc.s.push_back(pose.scale);
        mc.l.push_back(pose.logScale);
        mc.sym.push_back(charData[static_cast<std::size_t>(i)].symmetry);
        if (final) {
            cost.nominalPositions[static_cast<std::size_t>(i)] = pose.translation;
            cost.expectedAngles[static_cast<std::size_t>(i)] = pose.angle;
        }
    }
    const std::size_t m = mc.p.size();
    if (m < 2) {
        cost.lineTypes.push_back(xcOCArrangeDefs::eDontCare);
        cost.lineAngles.push_back(m == 1 ? xcRadian(mc.theta[0]) : xcRadian(0.0));
        cost.lineScales.push_back(m == 1 ? mc.s[0] : 1.0);
        return true;
    }
    if (mc.pos[0] != s) xstd_assert_(__LINE__, "a line of two matched characters starts unmatched");
    const long b = mc.pos[m - 1];

    // Scale: the line's scale is the geometric mean; deviations in octaves.
    double lambda = 0.0;
    for (double v : mc.l) lambda += v;
    lambda /= static_cast<double>(m);
    const double sigma = std::exp(lambda);
    cost.lineScales.push_back(sigma);
    double scaleDev = 0.0;
    for (std::size_t k = 0; k < m; ++k) {
        const double dev = (mc.l[k] - lambda) / std::numbers::ln2;
        scaleDev += std::fabs(dev);
        if (final) cost.scaleDeviations[static_cast<std::size_t>(mc.pos[k])] = dev;
    }

    const xcOCArrangeDefs::LineType type = params.lineType();
    const bool clockwise = params.isCircularTextDirectionClockwise() != flipped;
    Pass straight, circle;
    circle.circular = true;
    if (!(type == xcOCArrangeDefs::eCircular && m >= 3)) {
        straight.feasible = straightPass(mc, params, straight);
        if (straight.feasible) layoutAndDeviations(mc, s, b, sigma, charData, params, straight);
    }
    if (type != xcOCArrangeDefs::eStraight && m >= 3) {
        circle.feasible = circularPass(mc, params, clockwise, circle);
        if (circle.feasible) layoutAndDeviations(mc, s, b, sigma, charData, params, circle);
    }
    if (!straight.feasible && !circle.feasible) return false;
    // On equal totals the straight line stays.
    const Pass& chosen = (straight.feasible && !(circle.feasible && straight.total > circle.total))
                             ? straight
                             : circle;

    const double weight = static_cast<double>(e - s) / static_cast<double>(m);
    sums.normal += chosen.normSum * weight;
    sums.tangential += chosen.tanSum * weight;
    sums.orientation += chosen.orientSum * weight;
    sums.scale += scaleDev * weight;
    sums.spacing += chosen.spacing;
    cost.lineAngles.push_back(xcRadian(chosen.omega));
    cost.lineTypes.push_back(chosen.circular ? xcOCArrangeDefs::eCircular
                                             : xcOCArrangeDefs::eStraight);

    if (final) {
        for (long i = s; i <= b; ++i) {
            const std::size_t j = static_cast<std::size_t>(i - s);
            const std::size_t ui = static_cast<std::size_t>(i);
            cost.nominalPositions[ui] = chosen.nominal[j];
            cost.expectedAngles[ui] = xcRadian(chosen.expected[j]);
            if (path.choice(i) < 0) continue;
            cost.tanDeviations[ui] = chosen.tan[j];
            cost.normDeviations[ui] = chosen.norm[j];
            cost.orientDeviations[ui] = chosen.orient[j];
        }
        if (!chosen.circular) {
            cost.lineSegments.emplace_back(chosen.point + chosen.dir * chosen.tFirst,
                                           chosen.point + chosen.dir * chosen.tLast);
        } else {
            cost.lineArcs.emplace_back(xcEllipse2(chosen.centre, chosen.radius, chosen.radius),
                                       xcRadian(chosen.phi[0]), xcRadian(chosen.psi));
        }
    }
    return true;
}

void xf_FinishArrangeLines(const xc_LineSums& sums, const xcOCArrangeParams& params,
                           xc_ArrangeCost& cost) {
    cost.cost[3] = sums.normal * params.normalTransCost();
    cost.cost[4] = sums.tangential * params.tangentialTransCost();
    cost.cost[5] = sums.orientation * params.orientationCost();
    cost.cost[6] = sums.scale * params.scaleCost();
    cost.cost[7] = sums.spacing * params.tangentialTransCost();
}

bool xf_EvaluateArrangeLines(const xc_ArrangePath& path, const std::vector<long>& /*keys*/,
                             const std::vector<xc_CharData>& charData,
                             const std::vector<std::vector<xc_Pose>>& candPoses,
                             const std::vector<std::vector<double>>& /*candScores*/,
                             const xcOCArrangeParams& params, bool flipped, bool final,
                             xc_ArrangeCost& cost) {
    if (final) cost.zeroPositions(static_cast<std::size_t>(path.size()));
    xc_LineSums sums;
    for (long l = 0; l < path.numLines(); ++l) {
        if (!xf_EvaluateArrangeLine(path, l, charData, candPoses, params, flipped, final, cost,
                                    sums))
            return false;
    }
    xf_FinishArrangeLines(sums, params, cost);
    return true;
}
