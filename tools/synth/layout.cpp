#include "tools/synth/layout.h"

#include <cmath>
#include <numbers>

#include "platform/core/angle.h"
#include "platform/core/exception.h"

namespace {

constexpr double kFar = 1e7;  // largest coordinate or radius accepted, px

bool finite(const xcVector<2>& v) { return std::isfinite(v.x()) && std::isfinite(v.y()); }
bool near(const xcVector<2>& v) { return std::fabs(v.x()) <= kFar && std::fabs(v.y()) <= kFar; }

void validate(const xcSynthLineSpec& l, double globalScale) {
    if (!(std::isfinite(globalScale) && globalScale > 0.0 && globalScale <= 100.0))
        throw xcBadArgument(L"Global scale must be in (0, 100], got " +
                            std::to_wstring(globalScale));
    if (!(std::isfinite(l.scale) && l.scale > 0.0 && l.scale <= 100.0))
        throw xcBadArgument(L"Line scale must be in (0, 100], got " + std::to_wstring(l.scale));
    if (!(std::isfinite(l.pitch) && l.pitch >= 0.0 && l.pitch <= kFar))
        throw xcBadArgument(L"Character pitch must be >= 0, got " + std::to_wstring(l.pitch));
    if (!(std::isfinite(l.advanceScale) && l.advanceScale > 0.0 && l.advanceScale <= 100.0))
        throw xcBadArgument(L"Advance scale must be in (0, 100], got " +
                            std::to_wstring(l.advanceScale));
    if (l.kind == xcSynthLineSpec::eStraight) {
        if (!finite(l.start) || !near(l.start) || !std::isfinite(l.angle))
            throw xcBadArgument(L"Line start and angle must be finite");
    } else if (l.kind == xcSynthLineSpec::eCircular) {
        if (!finite(l.centre) || !near(l.centre) || !std::isfinite(l.startAngle))
            throw xcBadArgument(L"Circle centre and start angle must be finite");
        if (!(std::isfinite(l.radius) && l.radius > 0.0 && l.radius <= kFar))
            throw xcBadArgument(L"Circle radius must be > 0, got " + std::to_wstring(l.radius));
    } else {
        throw xcBadArgument(L"Unknown line kind " + std::to_wstring(static_cast<int>(l.kind)));
    }
}

}  // namespace

xcXform<2> xcSynthPose::xform() const {
    return xcXform<2>(position, scale, 1.0, 0.0, xcRadian(xcDegree(angle)));
}

std::vector<xcSynthPose> xfSynthLayoutLine(const xcSynthFont& font, double pixelSize,
                                           const xcSynthLineSpec& line, double globalScale) {
    validate(line, globalScale);
    const double scale = globalScale * line.scale;
    std::vector<double> steps;
    steps.reserve(line.text.size());
    for (wchar_t c : line.text) {
        const double adv = font.metrics(static_cast<char32_t>(c), pixelSize).advance;
        steps.push_back(line.pitch > 0.0 ? line.pitch : adv * scale * line.advanceScale);
    }
    std::vector<xcSynthPose> poses(steps.size());
    if (line.kind == xcSynthLineSpec::eStraight) {
        const double a = xcRadian(xcDegree(line.angle)).toDouble();
        const xcVector<2> u(std::cos(a), std::sin(a));
        xcVector<2> p = line.start;
        for (std::size_t k = 0; k < steps.size(); ++k) {
            poses[k] = {p, line.angle, scale};
            p += u * steps[k];
        }
        return poses;
    }
    const double r = line.radius, sense = line.clockwise ? 1.0 : -1.0;
    double phi = xcRadian(xcDegree(line.startAngle)).toDouble();
    for (std::size_t k = 0; k < steps.size(); ++k) {
        if (steps[k] > 2.0 * r)
            throw xcBadArgument(L"Character step " + std::to_wstring(steps[k]) +
                                L" px is longer than the circle's diameter " +
                                std::to_wstring(2.0 * r) + L" px");
        const double beta = 2.0 * std::asin(steps[k] / (2.0 * r));  // polar angle of the chord
        const xcVector<2> p = line.centre + xcVector<2>(std::cos(phi), std::sin(phi)) * r;
        // The chord from this origin to the next runs at phi + sense (beta / 2 + 90 deg).
        const double turn = phi + sense * (0.5 * beta + 0.5 * std::numbers::pi);
        poses[k] = {p, line.turnWithArc ? xcDegree(xcRadian(turn)).signedNorm().toDouble() : 0.0,
                    scale};
        phi += sense * beta;
    }
    return poses;
}
