#include "oc/font/oc_line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

using Keys = std::vector<long>;
using AlphabetHandle = xcPtrHandle_const<xcOCAlphabet>;
using Poses = std::vector<xc2Rigid>;
using Reals = std::vector<double>;
using Angles = std::vector<xcRadian>;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Keys 1 (normal, 10 x 20), 2 (normal, 30 x 6), 3 (blank, 5 x 20), 4 (normal, 4 x 4).
ConstModels fontModels() {
    return ConstModels{normalModel(1, L"l", 10, 20), normalModel(2, L"m", 30, 6),
                       blankModel(3, L" ", xcPelRect(0, 0, 5, 20)), normalModel(4, L".", 4, 4)};
}

AlphabetHandle font() { return AlphabetHandle(new xcOCAlphabet(fontModels(), 0.5, false)); }

std::vector<xcOCKeySet> sets(std::initializer_list<long> currentKeys) {
    std::vector<xcOCKeySet> v;
    for (long k : currentKeys)
        v.push_back(k < 0 ? xcOCKeySet(Keys{1, 2}, -1) : xcOCKeySet(Keys{k}, 0));
    return v;
}

void expectRect(const xcRect& r, double x, double y, double w, double h, double tol = 1e-9) {
    EXPECT_NEAR(r.ul().x(), x, tol);
    EXPECT_NEAR(r.ul().y(), y, tol);
    EXPECT_NEAR(r.width(), w, tol);
    EXPECT_NEAR(r.height(), h, tol);
}

}  // namespace

TEST(OCLine, DefaultHasNoPositionsAndItsOwnEmptyAlphabet) {
    const xcOCLine a, b;
    EXPECT_EQ(a.numPositions(), 0);
    ASSERT_FALSE(a.alphabet().isNull());
    EXPECT_EQ(a.alphabet()->numChars(), 0);
    EXPECT_NE(a.alphabet().get(), b.alphabet().get());
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a.numNormalChars(), 0);
    EXPECT_EQ(a.encloseRect({}, {}, {}, 0, xcRadian(0), 0, false), xcRect());
}

TEST(OCLine, StepPoseFormChecksInOrder) {
    const auto f = font();
    const xc2Rigid step({12.0, 1.0}, xcRadian(0.1));
    const std::vector<xcOCKeySet> ks = sets({1, 2, 4});
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLine(ks, AlphabetHandle(), step, 0.0, -1, xcRadian(-1), -1); },
        L"Alphabet must point to a valid object.");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, step, 0.0, -1, xcRadian(-1), -1); },
                                     L"Character scale factors must be > 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, step, kNaN, 0, xcRadian(0), 0); },
                                     L"Character scale factors must be > 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, step, 1.0, -1, xcRadian(-1), -1); },
                                     L"Character translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, step, 1.0, 0, xcRadian(-1), -1); },
                                     L"Character rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, step, 1.0, 0, xcRadian(0), kNaN); },
                                     L"Character scale uncertainty must be >= 0");
    // A key absent from the alphabet fails even when it is not current.
    std::vector<xcOCKeySet> absent = ks;
    absent[1] = xcOCKeySet(Keys{2, 99}, 0);
    expectError<xcOCDefs::BadKey>(
        [&] { xcOCLine(absent, f, step, 1.0, 0, xcRadian(0), 0); },
        L"A key in the set sequence is not available in the supplied alphabet.");

    const xcOCLine line(ks, f, step, 1.5, 2.0, xcRadian(0.05), 0.1, L"row");
    ASSERT_EQ(line.numPositions(), 3);
    EXPECT_EQ(line.charPoses()[0], xc2Rigid());
    EXPECT_EQ(line.charPoses()[1], step);
    EXPECT_EQ(line.charPoses()[2], step * step);
    EXPECT_EQ(line.charScales(), (Reals{1.5, 1.5, 1.5}));
    EXPECT_EQ(line.translationUncertainties(), (Reals{2.0, 2.0, 2.0}));
    EXPECT_EQ(line.rotationUncertainties(), (Angles(3, xcRadian(0.05))));
    EXPECT_EQ(line.scaleUncertainties(), (Reals{0.1, 0.1, 0.1}));
    EXPECT_EQ(line.name(), L"row");
    EXPECT_EQ(line.alphabet().get(), f.get());
    EXPECT_EQ(line.keySetSequence(), ks);
}

TEST(OCLine, PoseVectorFormChecksInOrder) {
    const auto f = font();
    const std::vector<xcOCKeySet> ks = sets({1, 2});
    const Poses two(2), three(3);
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLine(ks, AlphabetHandle(), three, 0.0, -1, xcRadian(-1), -1); },
        L"Alphabet must point to a valid object.");
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLine(ks, f, three, 0.0, -1, xcRadian(-1), -1); },
        L"Number of character poses does not match the number of key sets.");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, two, -2.0, -1, xcRadian(-1), -1); },
                                     L"Character scale factors must be > 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, two, 1.0, -1, xcRadian(-1), -1); },
                                     L"Character position uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, two, 1.0, 0, xcRadian(kNaN), -1); },
                                     L"Character angular uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, two, 1.0, 0, xcRadian(0), -1); },
                                     L"Character scale uncertainty must be >= 0");
    expectError<xcOCDefs::BadKey>(
        [&] {
            xcOCLine(sets({1, 7}), f, two, 1.0, 0, xcRadian(0), 0);
        },
        L"A key in the set sequence is not available in the supplied alphabet.");
    const Poses poses{xc2Rigid({3, 4}, xcRadian(0.5)), xc2Rigid({-1, 0}, xcRadian(0))};
    const xcOCLine line(ks, f, poses, 2.0, 1.0, xcRadian(0.1), 0.0);
    EXPECT_EQ(line.charPoses(), poses);
    EXPECT_EQ(line.charScales(), (Reals{2.0, 2.0}));
}

TEST(OCLine, AllVectorsFormChecksCountsBeforeValues) {
    const auto f = font();
    const std::vector<xcOCKeySet> ks = sets({1, 2});
    const Poses p(2);
    const Reals one{1.0, 1.0}, zero{0.0, 0.0};
    const Angles r0(2, xcRadian(0));
    auto make = [&](const Poses& poses, const Reals& s, const Reals& t, const Angles& r,
                    const Reals& u) { return xcOCLine(ks, f, poses, s, t, r, u); };
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLine(ks, AlphabetHandle(), Poses(1), one, zero, r0, zero); },
        L"Alphabet must point to a valid object.");
    expectError<xcOCDefs::BadParams>(
        [&] { make(Poses(1), Reals{}, zero, r0, zero); },
        L"Number of character poses does not match the number of key sets.");
    expectError<xcOCDefs::BadParams>(
        [&] { make(p, Reals{1.0}, Reals{}, r0, zero); },
        L"Number of character scales does not match the number of key sets.");
    expectError<xcOCDefs::BadParams>(
        [&] { make(p, one, Reals{}, Angles{}, zero); },
        L"Number of translation uncertainties does not match the number of key sets.");
    // A rotation count mismatch is reported before any per-position value.
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, Reals{-1.0, 1.0}, zero, Angles(1), zero);
        },
        L"Number of rotation uncertainties does not match the number of key sets.");
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, Reals{-1.0, 1.0}, zero, r0, Reals{0.0});
        },
        L"Number of scale uncertainties does not match the number of key sets.");
    // Position by position: position 0's last check fails before position 1's first.
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, Reals{1.0, 0.0}, zero, r0, Reals{-1.0, 0.0});
        },
        L"Character scale uncertainties must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, Reals{1.0, 0.0}, zero, r0, zero);
        },
        L"Character scale factors must be > 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, one, Reals{0.0, -1.0}, Angles{xcRadian(0), xcRadian(-1)}, zero);
        },
        L"Character translation uncertainties must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, one, zero, Angles{xcRadian(0), xcRadian(kNaN)}, zero);
        },
        L"Character rotation uncertainties must be >= 0");
    // Only values below 0 fail the translation and scale checks: a NaN passes them.
    EXPECT_NO_THROW(make(p, one, Reals{kNaN, 0.0}, r0, Reals{0.0, kNaN}));
    expectError<xcOCDefs::BadKey>(
        [&] {
            xcOCLine(sets({1, 5}), f, p, one, zero, r0, zero);
        },
        L"A key in the set sequence is not available in the supplied alphabet.");
    // The same uncertainty -1 in the three forms gives three messages.
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, xc2Rigid(), 1.0, -1, xcRadian(0), 0); },
                                     L"Character translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLine(ks, f, p, 1.0, -1, xcRadian(0), 0); },
                                     L"Character position uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            make(p, one, Reals{-1, -1}, r0, zero);
        },
        L"Character translation uncertainties must be >= 0");
}

TEST(OCLine, PositionQueries) {
    const auto f = font();
    std::vector<xcOCKeySet> ks = sets({-1, 3, 1, 4});
    ks.push_back(xcOCKeySet(Keys{3, 2, 1}, Keys{2, 0}));  // normal 1 then blank 3
    ks.push_back(xcOCKeySet(Keys{1}, Keys{}));            // no current key
    const xcOCLine line(ks, f, xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0, xcRadian(0), 0);
    EXPECT_TRUE(line.isWildcard(0));
    EXPECT_FALSE(line.isWildcard(1));
    expectError<xcOCDefs::BadIndex>([&] { line.isWildcard(line.numPositions()); },
                                    L"Invalid position index.");
    expectError<xcOCDefs::BadIndex>([&] { line.isWildcard(-1); }, L"Invalid position index.");
    expectError<xcOCDefs::BadIndex>([&] { line.character(0); },
                                    L"The specified position contains a wildcard character.");
    expectError<xcOCDefs::BadIndex>([&] { line.characters(0); },
                                    L"The specified position contains a wildcard character.");
    expectError<xcOCDefs::BadIndex>([&] { line.character(6); }, L"Invalid position index.");
    EXPECT_EQ(line.character(2).get(), f->character(1).get());
    EXPECT_EQ(line.character(4).get(), f->character(1).get());  // the first current key
    const auto both = line.characters(4);
    ASSERT_EQ(both.size(), 2u);
    EXPECT_EQ(both[1].get(), f->character(3).get());
    EXPECT_TRUE(line.characters(5).empty());
    expectError<xcOCDefs::BadIndex>([&] { line.character(5); },
                                    L"The specified position has no current character.");
    // Wild card, blank, normal, normal, normal among blank: 3.
    EXPECT_EQ(line.numNormalChars(), 3);
    const xcOCLine four(sets({-1, 3, 1, 4}), f, xc2Rigid(), 1.0, 0, xcRadian(0), 0);
    EXPECT_EQ(four.numNormalChars(), 2);
}

TEST(OCLine, EncloseRectOfPlacedCharacters) {
    const auto f = font();
    const Poses poses{xc2Rigid({100, 50}, xcRadian(0)), xc2Rigid({120, 50}, xcRadian(0)),
                      xc2Rigid({0, 0}, xcRadian(0))};
    const xcOCLine line(sets({1, 2, -1}), f, poses, 2.0, 0.0, xcRadian(0), 0.0);
    const xcXform<2> id;
    // Model 1 (10 x 20) at (100, 50) scaled 2, model 2 (30 x 6) at (120, 50) scaled 2; the
    // wild card adds nothing.
    expectRect(line.encloseRect(id, id, id, 0, xcRadian(0), 0, false), 100, 50, 80, 40);
    // A further translation uncertainty grows every side; a placement a moves the result.
    expectRect(
        line.encloseRect(xcXform<2>::translation({-100, -50}), id, id, 1.0, xcRadian(0), 0, false),
        -1, -1, 82, 42);
    // Expressed in a frame whose client-from-frame transform scales by 2.
    expectRect(
        line.encloseRect(id, id, xcXform<2>(xcMatrix<2>(2, 0, 0, 2), {}), 0, xcRadian(0), 0, false),
        50, 25, 40, 20);
    // A quarter turn of one position's pose.
    const xcOCLine turned(sets({1}), f, Poses{xc2Rigid({5, 5}, xcRadian(std::numbers::pi / 2))},
                          1.0, 0.0, xcRadian(0), 0.0);
    expectRect(turned.encloseRect(id, id, id, 0, xcRadian(0), 0, false), -15, 5, 20, 10);
    // A line of wild cards has nothing to enclose.
    const xcOCLine wild(sets({-1, -1}), f, xc2Rigid(), 1.0, 0, xcRadian(0), 0);
    EXPECT_EQ(wild.encloseRect(id, id, id, 3, xcRadian(1), 1, false), xcRect());
    expectError<xcOCDefs::BadParams>(
        [&] { wild.encloseRect(id, id, id, 0, xcRadian(-1), -1, false); },
        L"Rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] { wild.encloseRect(id, id, id, kNaN, xcRadian(0), 0, false); },
        L"Translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] { wild.encloseRect(id, id, id, 0, xcRadian(0), -1, false); },
        L"Scale uncertainty must be >= 0");
}

TEST(OCLine, EncloseRectWithConfusableCharacters) {
    // 1 is confusable with 2 (0.9 > 0.5); 4 with nothing.
    xcNMMatrix m = distinctMatrix(4);
    m(0, 1) = 0.9;
    const AlphabetHandle f = compiledAlphabet(fontModels(), m, distinctOffsets(4));
    const xcOCLine line(sets({1, 4}), f, Poses{xc2Rigid(), xc2Rigid({100, 0}, xcRadian(0))}, 1.0,
                        0.0, xcRadian(0), 0.0);
    const xcXform<2> id;
    const xcRect plain = line.encloseRect(id, id, id, 0, xcRadian(0), 0, false);
    const xcRect grown = line.encloseRect(id, id, id, 0, xcRadian(0), 0, true);
    expectRect(plain, 0, 0, 104, 20);
    EXPECT_EQ(grown.enclose(plain), grown);  // grows at least to the plain result
    expectRect(grown, 0, 0, 104, 20);        // model 2 (30 x 6) lies inside already
    // Make model 2 reach beyond: a line of key 1 alone.
    const xcOCLine single(sets({1}), f, Poses{xc2Rigid()}, 1.0, 0.0, xcRadian(0), 0.0);
    expectRect(single.encloseRect(id, id, id, 0, xcRadian(0), 0, false), 0, 0, 10, 20);
    expectRect(single.encloseRect(id, id, id, 0, xcRadian(0), 0, true), 0, 0, 30, 20);
    // Confusion needs a compiled alphabet.
    const xcOCLine uncompiled(sets({4}), font(), Poses{xc2Rigid()}, 1.0, 0, xcRadian(0), 0);
    expectError<xcOCDefs::NotCompiled>(
        [&] { uncompiled.encloseRect(id, id, id, 0, xcRadian(0), 0, true); }, L"");
}

TEST(OCLine, EqualityComparesByValue) {
    const std::vector<xcOCKeySet> ks = sets({1, 2});
    const xcOCLine a(ks, font(), xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5, xcRadian(0.1), 0.2,
                     L"x");
    const xcOCLine b(ks, font(), xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5, xcRadian(0.1), 0.2,
                     L"x");
    EXPECT_TRUE(a == b);  // different alphabet objects with equal contents
    EXPECT_TRUE(a != xcOCLine(ks, font(), xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5, xcRadian(0.1),
                              0.2, L"y"));
    EXPECT_TRUE(a != xcOCLine(ks, font(), xc2Rigid({10, 1e-9}, xcRadian(0)), 1.0, 0.5,
                              xcRadian(0.1), 0.2, L"x"));
    EXPECT_TRUE(a != xcOCLine(ks, font(), xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5, xcRadian(0.1),
                              0.25, L"x"));
    EXPECT_TRUE(a != xcOCLine(sets({1, -1}), font(), xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5,
                              xcRadian(0.1), 0.2, L"x"));
    auto renamed = fontModels();
    renamed[3] = normalModel(4, L",", 4, 4);
    EXPECT_TRUE(a != xcOCLine(ks, AlphabetHandle(new xcOCAlphabet(renamed, 0.5, false)),
                              xc2Rigid({10, 0}, xcRadian(0)), 1.0, 0.5, xcRadian(0.1), 0.2, L"x"));
}

TEST(OCLine, ArchiveRoundTripKeepsASharedAlphabetShared) {
    const auto f = font();
    std::vector<xcOCKeySet> ks = sets({1, -1, 4});
    ks[0].confusionOverrides(1, Keys{2});
    const xcPtrHandle_const<xcOCLine> l1(new xcOCLine(
        ks, f, Poses{xc2Rigid({1, 2}, xcRadian(0.3)), xc2Rigid(), xc2Rigid()}, Reals{1, 2, 3},
        Reals{0.5, 0, 0}, Angles(3, xcRadian(0.01)), Reals{0, 0.1, 0}, L"first"));
    const xcPtrHandle_const<xcOCLine> l2(
        new xcOCLine(sets({2}), f, xc2Rigid(), 1.0, 0, xcRadian(0), 0, L"second"));
    xcArchive out;
    xcPtrHandle_const<xcOCLine> s1 = l1, s2 = l2;
    out || s1 || s2;
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    xcPtrHandle_const<xcOCLine> r1, r2;
    in || r1 || r2;
    ASSERT_FALSE(r1.isNull());
    ASSERT_FALSE(r2.isNull());
    EXPECT_TRUE(*r1 == *l1);
    EXPECT_TRUE(*r2 == *l2);
    EXPECT_EQ(r1->alphabet().get(), r2->alphabet().get());
    EXPECT_NE(r1->alphabet().get(), f.get());
    EXPECT_EQ(r1->keySetSequence()[0].confusionOverrides(1), (Keys{2}));
}

TEST(OCLine, TooNewVersionIsRefused) {
    xcOCLine line(sets({1}), font(), xc2Rigid(), 1.0, 0, xcRadian(0), 0, L"keep");
    std::vector<unsigned char> b = storeValue(line);
    EXPECT_EQ(b[kBodyOffset], 0);
    b[kBodyOffset] = 1;
    xcOCLine target;
    if (const auto e = expectError<xcArchive::UnknownVersion>([&] { loadValue(b, target); })) {
        EXPECT_EQ(e->className(), L"");
        EXPECT_EQ(e->number(), 0);
    }
    EXPECT_TRUE(target == xcOCLine());
}
