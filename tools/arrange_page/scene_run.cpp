#include "tools/arrange_page/scene_run.h"

#include <chrono>
#include <cmath>

#include "oc/arrange/arrange.h"
#include "tools/fontkit/synth_alphabet.h"
#include "tools/synth/font.h"

namespace {

constexpr double kDark = 30.0, kLight = 220.0;

// The texts avoid characters whose edges run mostly in one direction (H, I, L, T, 1, ...):
// the extraction keeps no pattern for them, so at a line's end nothing would place them.
xcSynthSceneParams sceneParams(const xcSceneRunOptions& o) {
    xcSynthSceneParams p;
    p.pixelSize = o.size;
    p.tones = {eDarkOnLight, kDark, kLight};
    p.jitter.position = 0.4;
    p.jitter.angle = 1.0;
    p.noiseSigma = 3.0;
    p.blurSigma = 0.5;
    p.seed = o.seed;
    const double s = o.size / 32.0;  // layouts are drawn for 32 px per em
    if (o.layout == xcSceneRunOptions::eStraight) {
        p.width = std::lround(560 * s);
        p.height = std::lround(200 * s);
        xcSynthLineSpec a, b;
        a.text = L"BOX 4852 KRS";
        a.start = xcVector<2>(30 * s, 80 * s);
        a.angle = -3.0;
        b.text = L"QPD 6039 AZG";
        b.start = xcVector<2>(36 * s, 160 * s);
        b.angle = -3.0;
        p.lines = {a, b};
        p.missing = {17};  // the '0' of "6039"
    } else {
        p.width = std::lround(420 * s);
        p.height = std::lround(420 * s);
        xcSynthLineSpec c;
        c.kind = xcSynthLineSpec::eCircular;
        c.text = L"PARADOX 6098 SKY QZ";
        c.centre = xcVector<2>(210 * s, 210 * s);
        c.radius = 150 * s;
        c.startAngle = -215.0;
        c.clockwise = true;
        p.lines = {c};
        p.missing = {5};  // the 'O' of "PARADOX"
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

}  // namespace

xcSceneRun xfSceneRun(const xcSceneRunOptions& options, xcDiagObject* diag, unsigned long flags) {
    const std::string path = options.font.find('/') != std::string::npos
                                 ? options.font
                                 : xcSynthFont::locate(options.font);
    const xcSynthFont font(path);
    const xcSynthSceneParams sp = sceneParams(options);
    xcSceneRun run;
    run.scene = xfSynthScene(font, sp);
    std::wstring text;
    for (const xcSynthLineSpec& l : sp.lines) text += l.text;
    xcSynthGlyphParams gp;
    gp.pixelSize = options.size;
    gp.tones = sp.tones;
    run.alphabet = xfSynthCentredAlphabet(*xfSynthAlphabet(font, text, gp));
    run.keys = xfSynthKeys(text);
    for (const xcSynthCharTruth& t : run.scene.truth.chars)
        run.cells.push_back({t.cell[3], t.cell[2], t.cell[1], t.cell[0]});
    run.params.lineType(options.layout == xcSceneRunOptions::eStraight
                            ? xcOCArrangeDefs::eStraight
                            : xcOCArrangeDefs::eCircular);

    const auto start = std::chrono::steady_clock::now();
    xfOCArrange(run.scene.image, *run.alphabet, run.keys, run.params, run.results, diag, flags);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return run;
}
