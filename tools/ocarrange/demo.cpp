#include "tools/ocarrange/demo.h"

#include <cstdio>

#include "platform/core/char_code.h"
#include "platform/io/image_file.h"
#include "tools/fontkit/synth_alphabet.h"
#include "tools/ocarrange/arrange_run.h"
#include "tools/synth/scene.h"

int xfRunDemo(bool quiet, const char* reportFolder) {
    const xcSynthFont font(xcSynthFont::locate("DejaVuSansMono.ttf"));
    xcSynthSceneParams sp;
    sp.pixelSize = 28.0;
    sp.tones = xcSynthTones{eDarkOnLight, 35.0, 215.0};
    sp.blurSigma = 0.7;
    sp.noiseSigma = 4.0;
    sp.gradient = 0.1;
    sp.seed = 2026;
    xcSynthLineSpec straight;
    straight.text = L"BOX 4852 KRS 6039";
    straight.start = xcVector<2>(30.0, 125.0);
    straight.angle = -12.0;
    xcSynthLineSpec circle;
    circle.kind = xcSynthLineSpec::eCircular;
    circle.text = L"GAZ DPQ ACGZ PDQ";
    circle.centre = xcVector<2>(430.0, 300.0);
    circle.radius = 110.0;
    circle.startAngle = -170.0;
    circle.clockwise = true;
    sp.lines = {straight, circle};
    const xcSynthScene scene = xfSynthScene(font, sp);

    const std::wstring target = straight.text + circle.text;
    xcSynthGlyphParams gp;
    gp.pixelSize = sp.pixelSize;
    gp.tones = sp.tones;
    // Origins at the cell centres: a half-turn symmetric character found upside down (O, X,
    // 0, S, Z, 8) keeps its origin on the line.
    const auto alphabet = xfSynthCentredAlphabet(*xfSynthAlphabet(font, target, gp));
    xcOCArrangeParams params;

    xcArrangeRun run = xfRunArrange(scene.image, xcPelBuffer_const<unsigned char>(), *alphabet,
                                    target, params, reportFolder);
    run.file = "(embedded demo scene)";
    std::printf("ocarrange demo: \"%s\" and \"%s\" (DejaVu Sans Mono, 28 px, 640 x 480)\n",
                xfToUtf8(straight.text).c_str(), xfToUtf8(circle.text).c_str());
    std::fputs(quiet ? (xfArrangeVerdict(run) + "\n").c_str() : xfArrangeTable(run).c_str(),
               stdout);
    std::printf("report page: %s/index.html\n", reportFolder);
    return run.allMatched() ? 0 : 1;
}
