#include "tools/arrange_page/planted_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

#include "oc/arrange/arrange_diag_text.h"
#include "oc/arrange/arrange_diags.h"
#include "oc/font/line_arrangement.h"
#include "platform/core/ellipse.h"
#include "platform/core/line.h"
#include "tools/synth/font.h"
#include "tools/synth/glyph_model.h"

namespace {

using Access = xc_ArrangeResultsAccess;

constexpr double kDark = 30.0, kLight = 220.0;

xcSynthSceneParams sceneParams(const xcPlantedRunOptions& o) {
    xcSynthSceneParams p;
    p.pixelSize = o.size;
    p.tones = {eDarkOnLight, kDark, kLight};
    p.jitter.position = 0.4;
    p.jitter.angle = 1.0;
    p.noiseSigma = 3.0;
    p.blurSigma = 0.5;
    p.seed = o.seed;
    const double s = o.size / 32.0;  // layouts are drawn for 32 px per em
    if (o.layout == xcPlantedRunOptions::eStraight) {
        p.width = std::lround(560 * s);
        p.height = std::lround(200 * s);
        xcSynthLineSpec a, b;
        a.text = L"LOT 2024-07";
        a.start = xcVector<2>(30 * s, 80 * s);
        a.angle = -3.0;
        b.text = L"EXP 12/26";
        b.start = xcVector<2>(36 * s, 160 * s);
        b.angle = -3.0;
        p.lines = {a, b};
        p.missing = {16};  // the first '2' of "12/26"
    } else {
        p.width = std::lround(420 * s);
        p.height = std::lround(420 * s);
        xcSynthLineSpec c;
        c.kind = xcSynthLineSpec::eCircular;
        c.text = L"QUALITY CONTROL 0042";
        c.centre = xcVector<2>(210 * s, 210 * s);
        c.radius = 150 * s;
        c.startAngle = -215.0;
        c.clockwise = true;
        p.lines = {c};
        p.missing = {5};  // the 'T' of "QUALITY"
    }
    // Into the client frame: a rigid motion keeps sizes and turning sense.
    const xc2Rigid& c = o.clientFromImage;
    const double turn = xcDegree(c.angle()).toDouble();
    p.clientFromImage = c.xform();
    for (xcSynthLineSpec& l : p.lines) {
        l.start = c.mapPoint(l.start);
        l.angle += turn;
        l.centre = c.mapPoint(l.centre);
        l.startAngle += turn;
    }
    return p;
}

xcPtrHandle_const<xcOCAlphabet> makeAlphabet(const xcSynthFont& font, const std::wstring& text,
                                             double size) {
    xcSynthGlyphParams gp;
    gp.pixelSize = size;
    gp.tones = {eDarkOnLight, kDark, kLight};
    xcOCAlphabet::ConstModels models;
    std::wstring seen;
    for (wchar_t c : text) {
        if (c == L'\n' || seen.find(c) != std::wstring::npos) continue;
        seen += c;
        const xcSynthGlyph g = xfSynthGlyphModel(font, static_cast<char32_t>(c), gp);
        const std::wstring name(1, c);
        if (g.blank) {
            const long w = g.cell.width(), h = g.cell.height();
            models.push_back(xcPtrHandle_const<xcOCModel>(
                new xcOCModel(static_cast<long>(c), xcPelBuffer_const<unsigned char>(),
                              xcPelRect(0, -h, w, h), xcOCModel::eBlank, name)));
        } else {
            models.push_back(xcPtrHandle_const<xcOCModel>(
                new xcOCModel(static_cast<long>(c), g.image, g.cell, xcOCModel::eNormal, name)));
        }
    }
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(models, 0.5, false));
}

xc_Pose poseOf(const xcSynthPose& p) { return xc_Pose(p.xform()); }

xc2Rigid rigidOf(const xc_Pose& p) { return xc2Rigid(p.translation, p.angle); }

}  // namespace

xcPlantedRun xfPlantedRun(const xcPlantedRunOptions& options, xcDiagObject* diag,
                          unsigned long flags) {
    const std::string path = options.font.find('/') != std::string::npos
                                 ? options.font
                                 : xcSynthFont::locate(options.font);
    const xcSynthFont font(path);
    const xcSynthSceneParams sp = sceneParams(options);
    xcPlantedRun run;
    run.scene = xfSynthScene(font, sp);
    std::wstring text;
    for (const xcSynthLineSpec& l : sp.lines) text += l.text;
    run.alphabet = makeAlphabet(font, text, options.size);
    for (wchar_t c : text) run.keys.push_back(static_cast<long>(c));
    if (options.layout == xcPlantedRunOptions::eStraight) {
        run.params.lineType(xcOCArrangeDefs::eStraight);
    } else {
        run.params.lineType(xcOCArrangeDefs::eCircular);
    }
    const auto start = std::chrono::steady_clock::now();

    const std::vector<xcSynthCharTruth>& truth = run.scene.truth.chars;
    const std::size_t n = truth.size();
    const xcOCAlphabet& alphabet = *run.alphabet;
    for (const xcSynthCharTruth& t : truth)
        run.cells.push_back({t.cell[3], t.cell[2], t.cell[1], t.cell[0]});

    // Positions: drawn characters matched at their true poses, the others inferred at the
    // layout's poses (every line of these scenes begins and ends with a drawn character).
    std::vector<xc_CharData> chars(n);
    std::vector<xc_Pose> poses(n);
    std::vector<double> scores(n, 0.0);
    std::vector<xcOCArrangeDefs::CharStatus> statuses(n, xcOCArrangeDefs::eUnknown);
    xc_ArrangePath bestPath;
    xc_ArrangeCost cost;
    cost.tanDeviations.assign(n, 0.0);
    cost.normDeviations.assign(n, 0.0);
    cost.orientDeviations.assign(n, 0.0);
    cost.scaleDeviations.assign(n, 0.0);
    cost.nominalPositions.assign(n, xcVector<2>());
    cost.expectedAngles.assign(n, xcRadian());
    for (std::size_t i = 0; i < n; ++i) {
        const xcSynthCharTruth& t = truth[i];
        const xcOCModel& m = *alphabet.character(run.keys[i]);
        chars[i].isBlank = m.charType() == xcOCModel::eBlank;
        chars[i].cellRect(xf_ArrangeCellRect(m));
        const xcVector<2> off = t.pose.position - t.nominal.position;
        if (t.drawn) {
            statuses[i] = xcOCArrangeDefs::eMatched;
            scores[i] = std::clamp(
                0.97 - 0.08 * off.len() - 0.02 * std::fabs(t.pose.angle - t.nominal.angle), 0.0,
                1.0);
            poses[i] = poseOf(t.pose);
        } else {
            statuses[i] = xcOCArrangeDefs::eInferred;
            poses[i] = poseOf(t.nominal);
        }
        bestPath.append(t.drawn ? 0 : -1, i == 0 || truth[i - 1].line != t.line);
        cost.nominalPositions[i] = t.nominal.position;
        cost.expectedAngles[i] = xcRadian(xcDegree(t.nominal.angle));
        if (t.drawn) {
            const double a = xcRadian(xcDegree(t.nominal.angle)).toDouble();
            const xcVector<2> u(std::cos(a), std::sin(a));
            cost.tanDeviations[i] = std::fabs(off.x() * u.x() + off.y() * u.y());
            cost.normDeviations[i] = std::fabs(off.x() * u.y() - off.y() * u.x());
            cost.orientDeviations[i] = std::fabs(t.pose.angle - t.nominal.angle) / 45.0;
            cost.scaleDeviations[i] = std::fabs(std::log2(t.pose.scale / t.nominal.scale));
        }
    }

    // One line per text line, with its layout's segment or arc.
    const long numLines = static_cast<long>(bestPath.numLines());
    for (long l = 0; l < numLines; ++l) {
        const long s = bestPath.lineStart(l);
        const long e = l + 1 < numLines ? bestPath.lineStart(l + 1) : bestPath.size();
        const xcSynthLineSpec& lineSpec = sp.lines[static_cast<std::size_t>(l)];
        double angleSum = 0.0, scaleSum = 0.0;
        long matched = 0;
        for (long i = s; i < e; ++i) {
            if (statuses[i] != xcOCArrangeDefs::eMatched) continue;
            angleSum += truth[i].pose.angle - truth[i].nominal.angle;
            scaleSum += truth[i].pose.scale;
            ++matched;
        }
        cost.lineAngles.push_back(xcRadian(xcDegree(matched ? angleSum / matched : 0.0)));
        cost.lineScales.push_back(matched ? scaleSum / matched : 1.0);
        if (lineSpec.kind == xcSynthLineSpec::eStraight) {
            cost.lineTypes.push_back(xcOCArrangeDefs::eStraight);
            cost.lineSegments.push_back(
                xcLineSeg(truth[s].nominal.position, truth[e - 1].nominal.position));
        } else {
            cost.lineTypes.push_back(xcOCArrangeDefs::eCircular);
            const xcVector<2> a = truth[s].nominal.position - lineSpec.centre;
            const xcVector<2> b = truth[e - 1].nominal.position - lineSpec.centre;
            const double a0 = std::atan2(a.y(), a.x());
            double span = std::atan2(b.y(), b.x()) - a0;
            if (lineSpec.clockwise && span < 0) span += 2 * std::numbers::pi;
            if (!lineSpec.clockwise && span > 0) span -= 2 * std::numbers::pi;
            cost.lineArcs.push_back(xcEllipseArc2(xcEllipse2(xcCircle(lineSpec.centre, lineSpec.radius)),
                                                  xcRadian(a0), xcRadian(span)));
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (statuses[i] == xcOCArrangeDefs::eMatched) {
            cost.cost[0] += 1.0 - scores[i];
            cost.cost[3] += run.params.normalTransCost() * cost.normDeviations[i];
            cost.cost[4] += run.params.tangentialTransCost() * cost.tanDeviations[i];
            cost.cost[5] += run.params.orientationCost() * cost.orientDeviations[i];
            cost.cost[6] += run.params.scaleCost() * cost.scaleDeviations[i];
        } else if (!chars[i].isBlank) {
            cost.cost[1] += run.params.unmatchedCharCost();
        }
    }
    cost.cost[2] = run.params.lineBreakCost() * static_cast<double>(numLines - 1);

    // The line arrangement: the arrangement's frame is position 0's rigid pose, each line's
    // pose its first character's in that frame, each character's pose relative to its line's
    // first character.
    const xc2Rigid frame = rigidOf(poses[0]);
    std::vector<xcPtrHandle_const<xcOCLine>> lines;
    std::vector<xc2Rigid> linePoses;
    for (long l = 0; l < numLines; ++l) {
        const long s = bestPath.lineStart(l);
        const long e = l + 1 < numLines ? bestPath.lineStart(l + 1) : bestPath.size();
        linePoses.push_back(l == 0 ? xc2Rigid() : frame.inverse() * rigidOf(poses[s]));
        std::vector<xcOCKeySet> sets;
        std::vector<xc2Rigid> charPoses;
        std::vector<double> scales;
        for (long i = s; i < e; ++i) {
            sets.emplace_back(std::vector<long>{run.keys[i]}, 0L);
            charPoses.push_back(i == s ? xc2Rigid()
                                       : rigidOf(poses[s]).inverse() * rigidOf(poses[i]));
            scales.push_back(poses[i].scale);
        }
        const std::size_t np = sets.size();
        lines.push_back(xcPtrHandle_const<xcOCLine>(
            new xcOCLine(sets, run.alphabet, charPoses, scales, std::vector<double>(np, 0.0),
                         std::vector<xcRadian>(np, xcRadian()), std::vector<double>(np, 0.0),
                         L"Line " + std::to_wstring(l))));
    }
    Access::arrangement(run.results, xcPtrHandle_const<xcOCLineArrangement>(new xcOCLineArrangement(
                                         lines, linePoses, 0.0, xcRadian(), L"")));
    Access::clientFromArrangementXform(run.results, frame.xform());
    Access::scores(run.results) = scores;
    Access::statusFlags(run.results) = statuses;
    Access::isFound(run.results, true);

    // The records, as the arranger makes them.
    const xcPelBuffer_const<unsigned char> image = run.scene.image;
    if (diag && xcDiagObject::shouldRecord(flags, xcDiagObject::eInput))
        xf_AddArrangeInputDiags(image, xcPelBuffer_const<unsigned char>(), alphabet, run.keys,
                                run.params, diag);
    const bool intermediate = diag &&
                              xcDiagObject::shouldRecord(flags, xcDiagObject::eIntermediate) &&
                              image.clientFromImageXformBase().isLinear();
    if (intermediate) {
        xf_AddImage(diag, image, L"OC Arranger: Intermediate", false);
        xf_AddBuildArrangementDiags(image, alphabet, run.keys, chars, poses, run.results.scores(),
                                    run.results.statusFlags(), run.params, bestPath, cost, true,
                                    diag);
    }
    if (diag) xf_AddArrangeOutputDiags(image, run.keys, alphabet, run.results, diag, flags);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return run;
}
