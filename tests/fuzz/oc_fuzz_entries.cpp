#include "tests/fuzz/oc_fuzz_entries.h"

#include <algorithm>
#include <span>
#include <vector>

#include "oc/arrange/arrange.h"
#include "oc/font/alphabet.h"
#include "oc/font/key_set.h"
#include "oc/font/line_arrangement.h"
#include "oc/font/model.h"
#include "oc/font/oc_line.h"
#include "oc/occhar/oc_char.h"
#include "platform/core/archive.h"
#include "platform/io/pgm_io.h"
#include "platform/io/png_io.h"
#include "tests/fuzz/archive_fuzz_ops.h"

namespace {

// Runs a query; an xcException is a legitimate answer to a malformed object.
template <class F>
void ask(F f) {
    try {
        f();
    } catch (const xcException& e) {
        (void)e.what();
    }
}

// Writes the object (a value or a handle) into a new archive and reads it back: the stored
// form of whatever was read must load again. Every archive target ends with it.
template <class T>
void roundTrip(T& value) {
    ask([&] {
        xcArchive out;
        out || value;
        xcArchive in(out.bytes());
        T again;
        in || again;
    });
}

const xcXform<2> kIdentity;

void queryModel(const xcOCModel& m) {
    (void)m.key();
    (void)m.charType();
    (void)m.name();
    (void)m.description();
    const xcOCModel copy(m);
    (void)(copy == m);
    ask([&] { (void)xfRealEq(copy, m, 1e-9); });
    ask([&] { (void)m.encloseRect(kIdentity, kIdentity, kIdentity, 1.0, xcRadian(0.1), 0.1); });
    ask([&] {
        if (m.image().isBound())
            (void)m.encloseRect(kIdentity, kIdentity, m.image().clientFromImageXform(), 0.0,
                                xcRadian(), 0.0);
    });
    ask([&] {
        xcPelBuffer_const<unsigned char> cell = m.image();
        if (cell.isBound()) cell.window(m.imageArea(), false);
    });
}

void queryAlphabet(const xcOCAlphabet& a) {
    (void)a.name();
    (void)a.confusionThreshold();
    const long n = a.numChars();
    std::vector<long> keys;
    for (const auto& c : a.characters())
        if (c) keys.push_back(c->key());
    keys.push_back(-12345);  // absent
    const std::size_t k = std::min<std::size_t>(keys.size(), 6);
    for (std::size_t i = 0; i < k; ++i) {
        ask([&] { (void)a.characterIndex(keys[i]); });
        ask([&] { (void)a.character(keys[i]); });
        for (std::size_t j = 0; j < k; ++j) {
            ask([&] { (void)a.confusion(keys[i], keys[j]); });
            ask([&] { (void)a.areConfusable(keys[i], keys[j]); });
            ask([&] { (void)a.characterOffset(keys[i], keys[j]); });
        }
    }
    const xcOCAlphabet copy(a);
    (void)(copy == a);
    (void)n;
}

void queryKeySet(xcOCKeySet& s) {
    ask([&] { (void)s.currentKeyIndex(); });
    ask([&] { (void)s.currentKey(); });
    ask([&] { (void)s.currentKeys(); });
    (void)s.isCurrentWildcard();
    for (long key : s.keys()) {
        ask([&] { (void)s.hasConfusionOverrides(key); });
        ask([&] { (void)s.confusionOverrides(key); });
    }
    const xcOCKeySet copy(s);
    (void)(copy == s);
}

void queryLine(const xcOCLine& l) {
    const long n = std::min(l.numPositions(), 16L);
    for (long p = -1; p <= n; ++p) {
        ask([&] { (void)l.isWildcard(p); });
        ask([&] { (void)l.character(p); });
        ask([&] { (void)l.characters(p); });
    }
    ask([&] { (void)l.numNormalChars(); });
    for (bool confusable : {false, true})
        ask([&] {
            (void)l.encloseRect(kIdentity, kIdentity, kIdentity, 2.0, xcRadian(0.05), 0.05,
                                confusable);
        });
    const xcOCLine copy(l);
    (void)(copy == l);
}

void queryArrangement(const xcOCLineArrangement& a) {
    (void)a.numLines();
    for (bool confusable : {false, true})
        ask([&] {
            (void)a.encloseRect(kIdentity, kIdentity, kIdentity, 2.0, xcRadian(0.05), 0.05,
                                confusable);
        });
    const xcOCLineArrangement copy(a);
    (void)(copy == a);
}

void queryChar(xcOCChar& c) {
    ask([&] { (void)c.name(); });
    ask([&] { (void)c.description(); });
    ask([&] { (void)c.markOrImageArea(); });
    ask([&] { (void)c.threshold(); });
    ask([&] { (void)c.invert(); });
    for (bool inArea : {false, true}) {
        ask([&] { (void)c.image(inArea); });
        ask([&] { (void)c.mask(inArea); });
        ask([&] { (void)c.normalizedImage(inArea); });
        ask([&] { (void)c.binarizedImage(inArea); });
    }
    ask([&] { (void)c.imageMarkRect(); });
    ask([&] { (void)c.maskMarkRect(); });
    ask([&] { (void)c.normalizedImageMarkRect(); });
    ask([&] { (void)c.binarizedImageMarkRect(); });
    const xcOCChar copy(c);
    (void)(copy == c);
}

// The loaded values skip the setters' checks: each goes back through its setter, which keeps
// it or refuses it with BadParams, leaving the parameters as they were.
void queryArrangeParams(xcOCArrangeParams& p) {
    xcOCArrangeParams q;
    ask([&] { q.scaleRange(p.scaleRange()); });
    ask([&] { q.minMatchScore(p.minMatchScore()); });
    ask([&] { q.maxLines(p.maxLines()); });
    ask([&] { q.lineType(p.lineType()); });
    q.isTextDirectionSpecified(p.isTextDirectionSpecified());
    q.straightTextDirection(p.straightTextDirection());
    q.isCircularTextDirectionClockwise(p.isCircularTextDirectionClockwise());
    ask([&] { q.maxUnmatchedChars(p.maxUnmatchedChars()); });
    ask([&] { q.orientationMode(p.orientationMode()); });
    ask([&] { q.orientationReference(p.orientationReference()); });
    q.expectedOrientation(p.expectedOrientation());
    ask([&] { q.lineBreakCost(p.lineBreakCost()); });
    ask([&] { q.unmatchedCharCost(p.unmatchedCharCost()); });
    ask([&] { q.normalTransCost(p.normalTransCost()); });
    ask([&] { q.tangentialTransCost(p.tangentialTransCost()); });
    ask([&] { q.orientationCost(p.orientationCost()); });
    ask([&] { q.scaleCost(p.scaleCost()); });
    q.compPoseUncertainties(p.compPoseUncertainties());
    ask([&] { q.maxCandidates(p.maxCandidates()); });
    ask([&] { q.timeout(p.timeout()); });
    (void)(q == p);
    const xcOCArrangeParams copy(p);
    (void)(copy == p);
}

void queryArrangeResults(xcOCArrangeResults& r) {
    (void)r.isFound();
    (void)r.isSearchTruncated();
    (void)r.clientFromArrangementXform();
    const long n = static_cast<long>(std::min<std::size_t>(r.statusFlags().size(), 16));
    for (long p = -1; p <= n; ++p) ask([&] { (void)xfOCArrangeCharPose(r, p); });
    for (double s : r.scores()) (void)s;
    if (r.arrangement()) queryArrangement(*r.arrangement());
    const xcOCArrangeResults copy(r);
    (void)(copy == r);
}

// Reads one value of class T from the archive bytes and queries it.
template <class T, class Query>
void loadValue(const std::uint8_t* data, std::size_t size, Query query) {
    xcArchive ar(std::span<const unsigned char>(data, size));
    T value;
    ar || value;
    query(value);
    roundTrip(value);
}

// Reads one handle of class T from the archive bytes and queries what it holds.
template <class T, class Query>
void loadHandle(const std::uint8_t* data, std::size_t size, Query query) {
    xcArchive ar(std::span<const unsigned char>(data, size));
    xcPtrHandle<T> h;
    ar || h;
    if (!h) return;
    query(*h);
    roundTrip(h);
}

void fuzzArchive(const std::uint8_t* data, std::size_t size) {
    xcFuzzState st;
    xcArchive ar(std::span<const unsigned char>(data, size));
    for (int step = 0; step < 256 && !ar.atEnd(); ++step) {
        unsigned char op = 0;
        ar || op;
        xfFuzzExchangeStep(ar, static_cast<unsigned char>(op % kFuzzOps), st);
    }
}

void fuzzImage(const std::uint8_t* data, std::size_t size) {
    const xcPelBuffer<unsigned char> image =
        xfIsPgmData(data, size) ? xfDecodePgm(data, size) : xfDecodePng(data, size);
    // Every pixel of the window is readable.
    unsigned sum = 0;
    for (long y = 0; y < image.height(); ++y) {
        const unsigned char* row = image.rowPointer(image.window().y() + y);
        for (long x = 0; x < image.width(); ++x) sum += row[x];
    }
    (void)sum;
}

}  // namespace

void xfFuzzOne(xcFuzzTarget target, const std::uint8_t* data, std::size_t size) {
    try {
        switch (target) {
            case xcFuzzTarget::eArchive:
                fuzzArchive(data, size);
                break;
            case xcFuzzTarget::eImage:
                fuzzImage(data, size);
                break;
            case xcFuzzTarget::eModel:
                loadHandle<xcOCModel>(data, size, queryModel);
                break;
            case xcFuzzTarget::eAlphabet:
                loadHandle<xcOCAlphabet>(data, size, queryAlphabet);
                break;
            case xcFuzzTarget::eKeySet:
                loadValue<xcOCKeySet>(data, size, queryKeySet);
                break;
            case xcFuzzTarget::eLine:
                loadHandle<xcOCLine>(data, size, queryLine);
                break;
            case xcFuzzTarget::eLineArrangement:
                loadHandle<xcOCLineArrangement>(data, size, queryArrangement);
                break;
            case xcFuzzTarget::eChar:
                loadValue<xcOCChar>(data, size, queryChar);
                break;
            case xcFuzzTarget::eArrangeParams:
                loadValue<xcOCArrangeParams>(data, size, queryArrangeParams);
                break;
            case xcFuzzTarget::eArrangeResults:
                loadValue<xcOCArrangeResults>(data, size, queryArrangeResults);
                break;
        }
    } catch (const xcException& e) {
        (void)e.what();
    }
}
