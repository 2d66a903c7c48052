#include "tools/synth/scene.h"

#include <algorithm>
#include <cmath>

#include "platform/core/angle.h"
#include "platform/core/exception.h"
#include "tools/synth/coverage.h"
#include "tools/synth/effects.h"
#include "tools/synth/random.h"

namespace {

// Random streams of one seed, one per purpose.
enum Stream : std::uint64_t {
    eJitterStream = 1,
    eDamageStream = 2,
    eDistractorStream = 3,
    eNoiseStream = 4,
    eSaltPepperStream = 5
};

constexpr double kAvoidGap = 2.0;  // px kept between distractors and target cells
constexpr int kPlacementTries = 100;

using Quad = std::array<xcVector<2>, 4>;

void check(bool ok, const std::wstring& message) {
    if (!ok) throw xcBadArgument(message);
}

std::wstring num(double v) { return std::to_wstring(v); }

// The cell corners (origin, lower-right, upper-right, upper-left) of a cellWidth x cellHeight
// cell under `xform`.
Quad cellQuad(const xcXform<2>& xform, long cw, long ch) {
    const double w = static_cast<double>(cw), h = static_cast<double>(ch);
    return {xform.mapPoint({0.0, 0.0}), xform.mapPoint({w, 0.0}), xform.mapPoint({w, -h}),
            xform.mapPoint({0.0, -h})};
}

Quad mapQuad(const xcXform<2>& xform, const Quad& q) {
    return {xform.mapPoint(q[0]), xform.mapPoint(q[1]), xform.mapPoint(q[2]), xform.mapPoint(q[3])};
}

// True when two convex quadrilaterals come closer than `gap` (separating-axis test).
bool closerThan(const Quad& a, const Quad& b, double gap) {
    for (const Quad* q : {&a, &b}) {
        for (int i = 0; i < 4; ++i) {
            const xcVector<2> axis = ((*q)[(i + 1) % 4] - (*q)[i]).perp().unit();
            if (axis.len2() == 0.0) continue;
            double a0 = 1e300, a1 = -1e300, b0 = 1e300, b1 = -1e300;
            for (int k = 0; k < 4; ++k) {
                a0 = std::min(a0, a[k].dot(axis));
                a1 = std::max(a1, a[k].dot(axis));
                b0 = std::min(b0, b[k].dot(axis));
                b1 = std::max(b1, b[k].dot(axis));
            }
            if (a1 + gap <= b0 || b1 + gap <= a0) return false;
        }
    }
    return true;
}

bool clearOf(const Quad& q, const std::vector<Quad>& cells) {
    for (const Quad& c : cells)
        if (closerThan(q, c, kAvoidGap)) return false;
    return true;
}

// Combines a shape's coverage into the scene's coverage: total = total + c (1 - total).
void composite(xcSynthField& total, const xcSynthCoverage& c) {
    const xcPelRect r = c.rect().intersect(xcPelRect(0, 0, total.width(), total.height()));
    for (long y = r.y(); y < r.y() + r.height(); ++y) {
        double* t = total.row(y) + r.x();
        const double* s = c.row(y) + (r.x() - c.rect().x());
        for (long i = 0; i < r.width(); ++i) t[i] += s[i] * (1.0 - t[i]);
    }
}

void validate(const xcSynthFont& font, const xcSynthSceneParams& p, long numChars) {
    check(p.width >= 1 && p.width <= 16384 && p.height >= 1 && p.height <= 16384,
          L"Scene width and height must be in [1, 16384], got " + std::to_wstring(p.width) +
              L" x " + std::to_wstring(p.height));
    check(p.width * p.height <= (1L << 25), L"Scene has more than 2^25 pixels");
    const xcMatrix<2>& m = p.clientFromImage.matrix();
    const double det = m.determinant();
    check(std::isfinite(det) && det != 0.0 && std::isfinite(p.clientFromImage.trans().x()) &&
              std::isfinite(p.clientFromImage.trans().y()),
          L"Scene client-from-image transform must be finite and invertible");
    check(std::isfinite(p.pixelSize) && p.pixelSize > 0.0 && p.pixelSize <= 4096.0,
          L"Pixel size must be in (0, 4096], got " + num(p.pixelSize));
    p.tones.validate();
    check(p.jitter.position >= 0.0 && p.jitter.position <= 1000.0,
          L"Position jitter must be in [0, 1000] px, got " + num(p.jitter.position));
    check(p.jitter.angle >= 0.0 && p.jitter.angle <= 180.0,
          L"Angle jitter must be in [0, 180] degrees, got " + num(p.jitter.angle));
    check(p.jitter.scale >= 0.0 && p.jitter.scale < 1.0,
          L"Scale jitter must be in [0, 1), got " + num(p.jitter.scale));
    check(p.gradient >= 0.0 && p.gradient < 1.0,
          L"Illumination gradient must be in [0, 1), got " + num(p.gradient));
    check(std::isfinite(p.gradientAngle), L"Illumination angle must be finite");
    check(p.blurSigma >= 0.0 && p.blurSigma <= 100.0,
          L"Blur sigma must be in [0, 100] pixels, got " + num(p.blurSigma));
    check(p.noiseSigma >= 0.0 && p.noiseSigma <= 255.0,
          L"Noise sigma must be in [0, 255] grey levels, got " + num(p.noiseSigma));
    check(p.saltPepper >= 0.0 && p.saltPepper <= 1.0,
          L"Salt-and-pepper fraction must be in [0, 1], got " + num(p.saltPepper));
    check(p.distractorGlyphs >= 0 && p.distractorGlyphs <= 10000,
          L"Number of distractor glyphs must be in [0, 10000]");
    check(p.distractorLines >= 0 && p.distractorLines <= 10000,
          L"Number of distractor lines must be in [0, 10000]");
    check(p.distractorLineWidth > 0.0 && p.distractorLineWidth <= 1000.0,
          L"Distractor line width must be in (0, 1000] px, got " + num(p.distractorLineWidth));
    if (p.distractorGlyphs > 0) {
        bool any = false;
        for (wchar_t c : p.distractorChars)
            any = any || !font.outline(static_cast<char32_t>(c)).empty();
        check(any, L"Distractor characters must include one that is not blank");
    }
    check(p.damagedFraction >= 0.0 && p.damagedFraction <= 1.0,
          L"Damaged fraction must be in [0, 1], got " + num(p.damagedFraction));
    check(p.damageAmount > 0.0 && p.damageAmount <= 1.0,
          L"Damage amount must be in (0, 1], got " + num(p.damageAmount));
    check(p.missingFraction >= 0.0 && p.missingFraction <= 1.0,
          L"Missing fraction must be in [0, 1], got " + num(p.missingFraction));
    for (const std::vector<long>* list : {&p.damaged, &p.missing})
        for (long i : *list)
            check(i >= 0 && i < numChars,
                  std::wstring(list == &p.damaged ? L"Damaged" : L"Missing") +
                      L" character index " + std::to_wstring(i) + L" is outside [0, " +
                      std::to_wstring(numChars) + L")");
}

// The erased region of a damaged character, in its model's client frame: a band or a block
// of the glyph's ink box (the box of its outline's points, within the cell).
Quad damageRegion(const xcSynthOutline& outline, const xcSynthGlyphMetrics& m, double amount,
                  long kind, double u1, double u2) {
    xcSynthBounds b = xfSynthOutlineBounds(outline, m.clientFromFont);
    b.x0 = std::max(b.x0, 0.0);
    b.x1 = std::min(b.x1, static_cast<double>(m.cellWidth));
    b.y0 = std::max(b.y0, -static_cast<double>(m.cellHeight));
    b.y1 = std::min(b.y1, 0.0);
    if (b.x1 <= b.x0 || b.y1 <= b.y0)
        b = {0.0, -static_cast<double>(m.cellHeight), static_cast<double>(m.cellWidth), 0.0};
    const double bw = b.x1 - b.x0, bh = b.y1 - b.y0;
    double x0 = b.x0, x1 = b.x1, y0 = b.y0, y1 = b.y1;
    if (kind == 0) {  // horizontal band
        y0 = b.y0 + u1 * (1.0 - amount) * bh;
        y1 = y0 + amount * bh;
    } else if (kind == 1) {  // vertical band
        x0 = b.x0 + u1 * (1.0 - amount) * bw;
        x1 = x0 + amount * bw;
    } else {  // block
        const double f = std::sqrt(amount);
        x0 = b.x0 + u1 * (1.0 - f) * bw;
        x1 = x0 + f * bw;
        y0 = b.y0 + u2 * (1.0 - f) * bh;
        y1 = y0 + f * bh;
    }
    return {xcVector<2>(x0, y0), xcVector<2>(x1, y0), xcVector<2>(x1, y1), xcVector<2>(x0, y1)};
}

// The nominal poses of every line's characters (checks every line and character).
std::vector<std::vector<xcSynthPose>> layoutLines(const xcSynthFont& font,
                                                  const xcSynthSceneParams& p) {
    std::vector<std::vector<xcSynthPose>> nominal;
    for (std::size_t li = 0; li < p.lines.size(); ++li) {
        try {
            nominal.push_back(xfSynthLayoutLine(font, p.pixelSize, p.lines[li], p.globalScale));
        } catch (const xcBadArgument& e) {
            throw xcBadArgument(L"Line " + std::to_wstring(li) + L": " + e.string());
        }
    }
    return nominal;
}

// The truth's description of the scene as a whole.
void describeScene(const xcSynthFont& font, const xcSynthSceneParams& p, xcSynthTruth& truth) {
    truth.width = p.width;
    truth.height = p.height;
    truth.clientFromImage = p.clientFromImage;
    truth.pixelSize = p.pixelSize;
    truth.ink = p.tones.ink();
    truth.background = p.tones.background();
    truth.polarity = p.tones.polarity;
    truth.seed = p.seed;
    truth.fontPath = font.path();
    truth.fontName = font.familyName() + " " + font.styleName();
}

// Every target character: its jittered pose, whether it is missing or damaged, its ink added
// to `coverage` and its cell (image coordinates) to `targetCells`.
void drawTargetChars(const xcSynthFont& font, const xcSynthSceneParams& p, long numChars,
                     const std::vector<std::vector<xcSynthPose>>& nominal, xcSynthField& coverage,
                     std::vector<Quad>& targetCells, xcSynthTruth& truth) {
    const xcXform<2> imageFromClient = p.clientFromImage.inverse();
    const xcPelRect window(0, 0, p.width, p.height);
    xcSynthRandom jitterRandom(p.seed, eJitterStream), damageRandom(p.seed, eDamageStream);
    std::vector<char> listedMissing(static_cast<std::size_t>(numChars), 0);
    std::vector<char> listedDamaged(static_cast<std::size_t>(numChars), 0);
    for (long i : p.missing) listedMissing[static_cast<std::size_t>(i)] = 1;
    for (long i : p.damaged) listedDamaged[static_cast<std::size_t>(i)] = 1;

    long n = 0;
    for (std::size_t li = 0; li < p.lines.size(); ++li) {
        const std::wstring& text = p.lines[li].text;
        for (std::size_t k = 0; k < text.size(); ++k, ++n) {
            xcSynthCharTruth t;
            t.code = static_cast<char32_t>(text[k]);
            t.line = static_cast<long>(li);
            t.index = static_cast<long>(k);
            const xcSynthOutline& outline = font.outline(t.code);
            const xcSynthGlyphMetrics m = font.metrics(t.code, p.pixelSize);
            // A fixed number of draws per character keeps the streams aligned whatever the
            // options.
            const double jx = jitterRandom.uniform(-1.0, 1.0), jy = jitterRandom.uniform(-1.0, 1.0);
            const double ja = jitterRandom.uniform(-1.0, 1.0), js = jitterRandom.uniform(-1.0, 1.0);
            const double missDraw = damageRandom.uniform(), damageDraw = damageRandom.uniform();
            const long damageKind = damageRandom.index(3);
            const double du1 = damageRandom.uniform(), du2 = damageRandom.uniform();

            t.nominal = nominal[li][k];
            t.pose = t.nominal;
            t.pose.position += xcVector<2>(jx, jy) * p.jitter.position;
            t.pose.angle += ja * p.jitter.angle;
            t.pose.scale *= 1.0 + js * p.jitter.scale;
            t.xform = t.pose.xform();
            t.cell = cellQuad(t.xform, m.cellWidth, m.cellHeight);
            targetCells.push_back(mapQuad(imageFromClient, t.cell));

            t.blank = outline.empty();
            t.missing = !t.blank && (listedMissing[static_cast<std::size_t>(n)] ||
                                     missDraw < p.missingFraction);
            t.drawn = !t.blank && !t.missing;
            t.damaged = t.drawn && (listedDamaged[static_cast<std::size_t>(n)] ||
                                    damageDraw < p.damagedFraction);
            if (t.drawn) {
                const xcXform<2> imageFromModel = imageFromClient * t.xform;
                xcSynthCoverage c =
                    xfSynthRenderOutline(outline, imageFromModel * m.clientFromFont, window);
                if (t.damaged) {
                    const Quad q = damageRegion(outline, m, p.damageAmount, damageKind, du1, du2);
                    const Quad qs = mapQuad(t.xform, q);
                    t.erased.assign(qs.begin(), qs.end());
                    const Quad qi = mapQuad(imageFromModel, q);
                    xcSynthCoverage e(c.rect());
                    e.addPolygon({qi.begin(), qi.end()});
                    e.resolve();
                    c.erase(e);
                }
                composite(coverage, c);
            }
            truth.chars.push_back(std::move(t));
        }
    }
}

// Distractor glyphs at random places, angles and scales (away from the text when asked).
void drawDistractorGlyphs(const xcSynthFont& font, const xcSynthSceneParams& p,
                          const std::vector<Quad>& targetCells, xcSynthRandom& dr,
                          xcSynthField& coverage, xcSynthTruth& truth) {
    const xcXform<2> imageFromClient = p.clientFromImage.inverse();
    const xcPelRect window(0, 0, p.width, p.height);
    const double w = static_cast<double>(p.width), h = static_cast<double>(p.height);
    std::vector<char32_t> dchars;
    if (p.distractorGlyphs > 0)
        for (wchar_t c : p.distractorChars)
            if (!font.outline(static_cast<char32_t>(c)).empty())
                dchars.push_back(static_cast<char32_t>(c));
    for (long i = 0; i < p.distractorGlyphs; ++i) {
        for (int attempt = 0; attempt < kPlacementTries; ++attempt) {
            const char32_t code =
                dchars[static_cast<std::size_t>(dr.index(static_cast<long>(dchars.size())))];
            const double cx = dr.uniform(0.0, w), cy = dr.uniform(0.0, h);
            const xcVector<2> centre(cx, cy);
            const double angle = dr.uniform(-180.0, 180.0);
            const double scale = p.globalScale * dr.uniform(0.7, 1.3);
            const xcSynthGlyphMetrics m = font.metrics(code, p.pixelSize);
            xcSynthPose pose{xcVector<2>(), angle, scale};
            const xcVector<2> half(0.5 * static_cast<double>(m.cellWidth),
                                   -0.5 * static_cast<double>(m.cellHeight));
            pose.position = p.clientFromImage.mapPoint(centre) - pose.xform().mapVector(half);
            const xcXform<2> imageFromModel = imageFromClient * pose.xform();
            const Quad q = cellQuad(imageFromModel, m.cellWidth, m.cellHeight);
            if (p.distractorsAvoidText && !clearOf(q, targetCells)) continue;
            composite(coverage, xfSynthRenderOutline(font.outline(code),
                                                     imageFromModel * m.clientFromFont, window));
            xcSynthDistractor d;
            d.kind = xcSynthDistractor::eGlyph;
            d.code = code;
            d.pose = pose;
            truth.distractors.push_back(d);
            break;
        }
    }
}

// Distractor strokes at random places and directions (away from the text when asked).
void drawDistractorLines(const xcSynthSceneParams& p, const std::vector<Quad>& targetCells,
                         xcSynthRandom& dr, xcSynthField& coverage, xcSynthTruth& truth) {
    const xcPelRect window(0, 0, p.width, p.height);
    const double w = static_cast<double>(p.width), h = static_cast<double>(p.height);
    const double hw = 0.5 * p.distractorLineWidth;
    for (long i = 0; i < p.distractorLines; ++i) {
        for (int attempt = 0; attempt < kPlacementTries; ++attempt) {
            const double cx = dr.uniform(0.0, w), cy = dr.uniform(0.0, h);
            const xcVector<2> centre(cx, cy);
            const double len = std::max(3.0, dr.uniform(0.1, 0.4) * std::min(w, h));
            const double a = xcRadian(xcDegree(dr.uniform(0.0, 180.0))).toDouble();
            const xcVector<2> u(std::cos(a), std::sin(a));
            const xcVector<2> p0 = centre - u * (0.5 * len), p1 = centre + u * (0.5 * len);
            const xcVector<2> nrm = u.perp() * hw;
            const Quad q = {p0 - nrm, p1 - nrm, p1 + nrm, p0 + nrm};
            if (p.distractorsAvoidText && !clearOf(q, targetCells)) continue;
            xcSynthCoverage c(xcSynthBounds{std::min({q[0].x(), q[1].x(), q[2].x(), q[3].x()}),
                                            std::min({q[0].y(), q[1].y(), q[2].y(), q[3].y()}),
                                            std::max({q[0].x(), q[1].x(), q[2].x(), q[3].x()}),
                                            std::max({q[0].y(), q[1].y(), q[2].y(), q[3].y()})}
                                  .pixels()
                                  .intersect(window));
            c.addPolygon({q.begin(), q.end()});
            c.resolve();
            composite(coverage, c);
            xcSynthDistractor d;
            d.kind = xcSynthDistractor::eStroke;
            d.from = p.clientFromImage.mapPoint(p0);
            d.to = p.clientFromImage.mapPoint(p1);
            d.width = p.distractorLineWidth;
            truth.distractors.push_back(d);
            break;
        }
    }
}

// Grey levels from the ink coverage, then the effects, into the scene's image.
xcPelBuffer<unsigned char> finishImage(xcSynthField& coverage, const xcSynthSceneParams& p) {
    const double bg = p.tones.background(), span = p.tones.ink() - bg;
    for (long y = 0; y < p.height; ++y) {
        double* v = coverage.row(y);
        for (long x = 0; x < p.width; ++x) v[x] = bg + v[x] * span;
    }
    xfSynthApplyGain(coverage, p.gradient, p.gradientAngle);
    xfSynthBlur(coverage, p.blurSigma);
    xcSynthRandom noiseRandom(p.seed, eNoiseStream), saltRandom(p.seed, eSaltPepperStream);
    xfSynthAddNoise(coverage, p.noiseSigma, noiseRandom);
    xfSynthSaltPepper(coverage, p.saltPepper, saltRandom);
    xcPelBuffer<unsigned char> image = xfSynthToPels(coverage);
    image.clientFromImageXform(p.clientFromImage);
    return image;
}

}  // namespace

xcSynthScene xfSynthScene(const xcSynthFont& font, const xcSynthSceneParams& p) {
    long numChars = 0;
    for (const xcSynthLineSpec& l : p.lines) numChars += static_cast<long>(l.text.size());
    validate(font, p, numChars);
    const std::vector<std::vector<xcSynthPose>> nominal = layoutLines(font, p);

    xcSynthScene scene;
    describeScene(font, p, scene.truth);
    xcSynthField coverage(p.width, p.height, 0.0);
    std::vector<Quad> targetCells;  // image coordinates, every target position
    drawTargetChars(font, p, numChars, nominal, coverage, targetCells, scene.truth);
    xcSynthRandom dr(p.seed, eDistractorStream);  // one stream for glyphs, then strokes
    drawDistractorGlyphs(font, p, targetCells, dr, coverage, scene.truth);
    drawDistractorLines(p, targetCells, dr, coverage, scene.truth);
    scene.image = finishImage(coverage, p);
    return scene;
}
