#include "platform/vision/geo_align_refine.h"

#include <algorithm>
#include <cmath>

#include "platform/core/attention.h"
#include "platform/core/linear_solve.h"
#include "platform/vision/geo_align_edge.h"

namespace {

constexpr double kReachFirst = 2.5;    // search reach of the first fit step, level pixels
constexpr double kReach = 1.5;         // of the second step and of the final correspondences
constexpr double kReachSettled = 1.0;  // of the steps after the second
constexpr int kMaxIterations = 40;
constexpr double kConverged = 2e-3;   // a step moving no point farther (level pixels) ends the fit
constexpr int kGiveUpAfter = 2;       // steps before a hopeless candidate is given up
constexpr double kHuber = 0.5;        // level pixels
constexpr float kMinCos = 0.7f;       // an edge's direction within about 45 degrees
constexpr double kMaxMove = 1.5;      // largest point movement of one fit step, level pixels
constexpr double kCovered = 1.0;      // an edge within this distance covers its point
constexpr double kNear = 0.5;         // the score counts a point as far as its edge is this near
constexpr double kExplained = 1.5;    // clutter: an edge this close to a turned point is explained
constexpr double kBlendStart = 2.0;   // the blur blend a fit starts from (a moderate blur)
constexpr double kBlendPrior = 1e-3;  // weight of the blend's prior, px^2 per point

struct Turned {
    double qx = 0, qy = 0;  // level coordinates
    double vx = 0, vy = 0;  // s R p, level-0 units
    double bx = 0, by = 0;  // s R dp/du: how the point moves with the blur blend
    float nx = 0, ny = 0;   // turned normal
};

class Fitter {
public:
    Fitter(const xc_GeoModel& model, const xc_GeoPyramid& pyr, const xc_GeoRunSetup& setup)
        : m_model(model),
          m_pyr(pyr),
          m_setup(setup),
          m_level(setup.fitLevel),
          m_g(xf_GeoGrain(setup.fitLevel)),
          m_thr(static_cast<float>(xc_GeoGradField::kUnits * setup.contrast)) {}

    xc_GeoFit run(const xc_GeoPose& start, bool leastSquares, bool clutter, double giveUp);

private:
    void blend(double u);
    void turn(const xc_GeoPose& pose);
    bool findEdge(const Turned& t, double reach, double& delta) const;
    bool step(xc_GeoPose& pose, double reach, long& close);
    bool settledApart(const xc_GeoPose& a, double ua, const xc_GeoPose& b, double ub) const;
    double agreement(const Turned& t) const;
    long clutterCount(const xc_GeoPose& pose) const;

    const xc_GeoModel& m_model;
    const xc_GeoPyramid& m_pyr;
    const xc_GeoRunSetup& m_setup;
    int m_level;
    double m_g;
    float m_thr;
    float m_sign = 1.0f;
    xc_GeoGradField m_field;
    double m_u = 0;                   // blur blend: 0 ... kFitSets - 1 along the model's sets
    std::vector<xc_GeoPoint> m_pts;   // the fit points at the blend
    std::vector<xc_GeoPoint> m_dpts;  // their derivative with respect to the blend
    std::vector<Turned> m_t;
};

// Whether two poses and blends lie within the convergence tolerance of each other (the farthest
// point moves by at most kConverged level pixels, the blend by kConverged).
bool Fitter::settledApart(const xc_GeoPose& a, double ua, const xc_GeoPose& b, double ub) const {
    const double r = m_model.radius() * a.scale;
    const double move = std::hypot(a.x - b.x, a.y - b.y) +
                        r * (std::fabs(a.angle - b.angle) + std::fabs(std::log(a.scale / b.scale)));
    return move <= kConverged * m_g && std::fabs(ua - ub) <= kConverged;
}

// The fit points at blend u: linear between the two model sets around u.
void Fitter::blend(double u) {
    const int last = xc_GeoModel::kFitSets - 1;
    m_u = std::clamp(u, 0.0, static_cast<double>(last));
    const int k = std::min(last - 1, static_cast<int>(m_u));
    const float t = static_cast<float>(m_u - k);
    const std::vector<xc_GeoPoint>& a = m_model.fitSets[static_cast<size_t>(k)];
    const std::vector<xc_GeoPoint>& b = m_model.fitSets[static_cast<size_t>(k + 1)];
    m_pts.resize(a.size());
    m_dpts.resize(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
        m_pts[i] = a[i];
        m_dpts[i].x = b[i].x - a[i].x;
        m_dpts[i].y = b[i].y - a[i].y;
        m_pts[i].x = a[i].x + t * m_dpts[i].x;
        m_pts[i].y = a[i].y + t * m_dpts[i].y;
    }
}

void Fitter::turn(const xc_GeoPose& pose) {
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    m_t.resize(m_pts.size());
    for (size_t i = 0; i < m_pts.size(); ++i) {
        const xc_GeoPoint& p = m_pts[i];
        const xc_GeoPoint& d = m_dpts[i];
        Turned& t = m_t[i];
        t.vx = pose.scale * (c * p.x - s * p.y);
        t.vy = pose.scale * (s * p.x + c * p.y);
        t.bx = pose.scale * (c * d.x - s * d.y);
        t.by = pose.scale * (s * d.x + c * d.y);
        t.qx = (pose.x + t.vx) / m_g;
        t.qy = (pose.y + t.vy) / m_g;
        t.nx = static_cast<float>(c * p.ux - s * p.uy);
        t.ny = static_cast<float>(s * p.ux + c * p.uy);
    }
}

// The edge along t's normal nearest to t within `reach`: delta is its signed distance along
// the normal, level pixels.
bool Fitter::findEdge(const Turned& t, double reach, double& delta) const {
    xc_GeoEdgeProbe probe;
    probe.reach = reach;
    probe.threshold = m_thr;
    probe.minCos = kMinCos;
    probe.sign = m_sign;
    return xf_GeoEdgeAlongNormal(m_field, t.qx, t.qy, t.nx, t.ny, probe, delta);
}

// One Gauss-Newton step over the translation, the angle and scale where they are searched, and
// the blur blend; false when nothing moves any more (or cannot: too few edges, a singular
// system). A weak prior holds the blend where the edges do not tell.
bool Fitter::step(xc_GeoPose& pose, double reach, long& close) {
    turn(pose);
    int idx[5];
    int k = 0;
    idx[k++] = 0;
    idx[k++] = 1;
    if (m_setup.angleFree) idx[k++] = 2;
    if (m_setup.scaleFree) idx[k++] = 3;
    idx[k++] = 4;
    double A[5][5] = {}, b[5] = {};
    long found = 0;
    close = 0;
    for (const Turned& t : m_t) {
        double delta;
        if (!findEdge(t, reach, delta)) continue;
        ++found;
        if (std::fabs(delta) <= kCovered) ++close;
        const double r = delta * m_g;  // level-0 units
        const double ad = std::fabs(delta);
        const double w = ad <= kHuber ? 1.0 : kHuber / ad;
        const double row[5] = {t.nx, t.ny, t.nx * -t.vy + t.ny * t.vx, t.nx * t.vx + t.ny * t.vy,
                               t.nx * t.bx + t.ny * t.by};
        for (int i = 0; i < k; ++i) {
            const double ri = row[idx[i]] * w;
            b[i] += ri * r;
            for (int j = 0; j <= i; ++j) A[i][j] += ri * row[idx[j]];
        }
    }
    if (found < std::max<long>(k + 2, static_cast<long>(m_t.size() / 10))) return false;
    A[k - 1][k - 1] += kBlendPrior * m_g * m_g * static_cast<double>(found);
    for (int i = 0; i < k; ++i)
        for (int j = 0; j < i; ++j) A[j][i] = A[i][j];
    double trace = 0;
    for (int i = 0; i < k; ++i) trace += A[i][i];
    for (int i = 0; i < k; ++i) A[i][i] += 1e-9 * trace;
    double x[5] = {};
    const size_t n = static_cast<size_t>(k);
    if (!xfLinearSolve({&A[0][0], 25}, 5, {b, n}, {x, n})) return false;
    double dt[5] = {};
    for (int i = 0; i < k; ++i) dt[idx[i]] = x[i];
    // Keep a step within kMaxMove pixels of movement of the farthest point.
    const double r = m_model.radius() * pose.scale;
    const double move = std::hypot(dt[0], dt[1]) + r * (std::fabs(dt[2]) + std::fabs(dt[3]));
    if (move > kMaxMove * m_g) {
        const double f = kMaxMove * m_g / move;
        for (double& v : dt) v *= f;
    }
    pose.x += dt[0];
    pose.y += dt[1];
    pose.angle = m_setup.clampAngle(pose.angle + dt[2]);
    pose.scale = m_setup.clampScale(pose.scale * std::exp(dt[3]));
    const double u = m_u;
    blend(m_u + std::clamp(dt[4], -1.0, 1.0));
    return move > kConverged * m_g || std::fabs(m_u - u) > kConverged;
}

double Fitter::agreement(const Turned& t) const {
    float gx, gy;
    if (!m_field.sample(t.qx, t.qy, gx, gy)) return 0.0;
    const float m = std::sqrt(gx * gx + gy * gy);
    if (m < m_thr || m <= 0.0f) return 0.0;
    return std::max(0.0f, m_sign * (gx * t.nx + gy * t.ny) / m);
}

// Edge pixels (magnitude maxima across the edge, contrast reached) inside the footprint that
// no turned point explains.
long Fitter::clutterCount(const xc_GeoPose& pose) const {
    const double c = std::cos(pose.angle), s = std::sin(pose.angle);
    const xcPelRect& win = m_model.window;
    const double rx = m_model.reference.x(), ry = m_model.reference.y();
    const long x0 = m_field.x0() + 1, y0 = m_field.y0() + 1;
    const long x1 = m_field.x0() + m_field.width() - 1, y1 = m_field.y0() + m_field.height() - 1;
    const long w = x1 - x0, h = y1 - y0;
    if (w <= 0 || h <= 0) return 0;
    std::vector<unsigned char> explained(static_cast<size_t>(w * h), 0);
    const long e = static_cast<long>(std::ceil(kExplained));
    for (const Turned& t : m_t) {
        const long px = static_cast<long>(std::floor(t.qx)),
                   py = static_cast<long>(std::floor(t.qy));
        for (long y = std::max(y0, py - e); y <= std::min(y1 - 1, py + e); ++y)
            for (long x = std::max(x0, px - e); x <= std::min(x1 - 1, px + e); ++x) {
                const double dx = x + 0.5 - t.qx, dy = y + 0.5 - t.qy;
                if (dx * dx + dy * dy <= kExplained * kExplained)
                    explained[static_cast<size_t>((y - y0) * w + (x - x0))] = 1;
            }
    }
    const float t2 = m_thr * m_thr;
    long count = 0;
    for (long y = y0; y < y1; ++y)
        for (long x = x0; x < x1; ++x) {
            if (explained[static_cast<size_t>((y - y0) * w + (x - x0))]) continue;
            // Inside the footprint: the pixel centre mapped back into the training window.
            const double qx = (x + 0.5) * m_g - pose.x, qy = (y + 0.5) * m_g - pose.y;
            const double px = (c * qx + s * qy) / pose.scale + rx;
            const double py = (-s * qx + c * qy) / pose.scale + ry;
            if (px < 0 || py < 0 || px >= win.width() || py >= win.height()) continue;
            const float gx = m_field.gx(x, y), gy = m_field.gy(x, y);
            const float m2 = gx * gx + gy * gy;
            if (m2 < t2 || m2 <= 0.0f) continue;
            const int ax = std::abs(static_cast<int>(gx)), ay = std::abs(static_cast<int>(gy));
            long dx = 1, dy = 0;
            if (ay * 1000L > ax * 2414L) {
                dx = 0;
                dy = 1;
            } else if (ay * 1000L > ax * 414L) {
                dy = (gx > 0) == (gy > 0) ? 1 : -1;
            }
            auto mag2 = [&](long xx, long yy) {
                const float a = m_field.gx(xx, yy), b = m_field.gy(xx, yy);
                return a * a + b * b;
            };
            if (m2 > mag2(x - dx, y - dy) && m2 >= mag2(x + dx, y + dy)) ++count;
        }
    return count;
}

xc_GeoFit Fitter::run(const xc_GeoPose& start, bool leastSquares, bool clutter, double giveUp) {
    blend(kBlendStart);
    // The gradient window: the points of the start pose, with room for the fit to move.
    turn(start);
    double xmin = 1e300, ymin = 1e300, xmax = -1e300, ymax = -1e300;
    for (const Turned& t : m_t) {
        xmin = std::min(xmin, t.qx);
        xmax = std::max(xmax, t.qx);
        ymin = std::min(ymin, t.qy);
        ymax = std::max(ymax, t.qy);
    }
    const long margin = static_cast<long>(kReachFirst + 2 * kMaxMove) + 3;
    const long fx0 = static_cast<long>(std::floor(xmin)) - margin;
    const long fy0 = static_cast<long>(std::floor(ymin)) - margin;
    m_field.compute(m_pyr.plane(m_level), m_pyr.hasMask() ? &m_pyr.maskPlane(m_level) : nullptr,
                    0.0, fx0, fy0, static_cast<long>(std::ceil(xmax)) + margin - fx0 + 1,
                    static_cast<long>(std::ceil(ymax)) + margin - fy0 + 1);

    // Without polarity, the instance's polarity is the one that agrees best at the start.
    m_sign = 1.0f;
    if (!m_setup.polarity) {
        double sum = 0;
        for (const Turned& t : m_t) {
            float gx, gy;
            if (m_field.sample(t.qx, t.qy, gx, gy)) {
                const float m = std::sqrt(gx * gx + gy * gy);
                if (m >= m_thr && m > 0) sum += (gx * t.nx + gy * t.ny) / m;
            }
        }
        m_sign = sum < 0 ? -1.0f : 1.0f;
    }

    xc_GeoFit fit;
    fit.pose = start;
    fit.sign = m_sign;
    if (leastSquares) {
        const long n = static_cast<long>(m_pts.size());
        // The pose and blend before the previous step.
        xc_GeoPose lastPose;
        double lastU = -1.0;
        for (int it = 0; it < kMaxIterations; ++it) {
            xcAttention::check();
            long close = 0;
            const double reach = it == 0 ? kReachFirst : it == 1 ? kReach : kReachSettled;
            const xc_GeoPose before = fit.pose;
            const double beforeU = m_u;
            if (!step(fit.pose, reach, close)) break;
            // A candidate whose points still mostly miss their edges after a few steps will not
            // reach the accept threshold: its score is taken where it stands.
            if (it >= kGiveUpAfter && static_cast<double>(close) < giveUp * n) break;
            // Back within the convergence tolerance of where it was two steps (of the same
            // reach) ago, the fit swings between two poses (correspondences flipping to and
            // fro) and would until the last step: it ends where that step would leave it.
            if (it >= 3 && settledApart(fit.pose, m_u, lastPose, lastU)) {
                if ((kMaxIterations - 1 - it) % 2 != 0) {
                    fit.pose = before;
                    blend(beforeU);
                }
                break;
            }
            lastPose = before;
            lastU = beforeU;
        }
    }
    // Score and coverage: each point's agreement counts as far as its edge is near.
    turn(fit.pose);
    double sum = 0;
    long covered = 0;
    for (const Turned& t : m_t) {
        double delta;
        if (!findEdge(t, kReach, delta) || std::fabs(delta) > kCovered) continue;
        ++covered;
        if (std::fabs(delta) < kNear)
            sum += agreement(t) * (1.0 - (delta / kNear) * (delta / kNear));
    }
    const double n = static_cast<double>(std::max<size_t>(1, m_t.size()));
    double denom = n;
    if (clutter) {
        // Unexplained edge pixels weigh as many pattern points as the thinning left per pixel.
        const double perPixel =
            n / std::max(n, static_cast<double>(m_model.levels.front().numEdges));
        denom += perPixel * static_cast<double>(clutterCount(fit.pose));
    }
    fit.score = sum / denom;
    fit.coverage = covered / n;
    return fit;
}

}  // namespace

xc_GeoFit xf_GeoFit(const xc_GeoPose& start, const xc_GeoModel& model, const xc_GeoPyramid& pyr,
                    const xc_GeoRunSetup& setup, bool leastSquares, bool clutter, double giveUp) {
    Fitter f(model, pyr, setup);
    return f.run(start, leastSquares, clutter, giveUp);
}
