#include "oc/font/line_arrangement.h"

#include <gtest/gtest.h>

#include <limits>

#include "font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

using Keys = std::vector<long>;
using LineHandle = xcPtrHandle_const<xcOCLine>;
using Lines = xcOCLineArrangement::ConstLines;
using Poses = std::vector<xc2Rigid>;
using Reals = std::vector<double>;
using Angles = std::vector<xcRadian>;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

xcPtrHandle_const<xcOCAlphabet> font() {
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(
        ConstModels{normalModel(1, L"a", 10, 20), normalModel(2, L"b", 10, 20)}, 0.5, false));
}

// A line of `n` positions of key 1, 12 units apart.
LineHandle line(const xcPtrHandle_const<xcOCAlphabet>& f, long n, const std::wstring& name) {
    return LineHandle(new xcOCLine(std::vector<xcOCKeySet>(n, xcOCKeySet(Keys{1, 2}, 0)), f,
                                   xc2Rigid({12, 0}, xcRadian(0)), 1.0, 0.0, xcRadian(0), 0.0,
                                   name));
}

}  // namespace

TEST(OCLineArrangement, DefaultHasNoLines) {
    const xcOCLineArrangement a;
    EXPECT_EQ(a.numLines(), 0);
    EXPECT_TRUE(a.name().empty());
    EXPECT_TRUE(a == xcOCLineArrangement());
    EXPECT_EQ(a.encloseRect({}, {}, {}, 1, xcRadian(1), 1, false), xcRect());
}

TEST(OCLineArrangement, ConstructorsCheckInOrder) {
    const auto f = font();
    const Lines ls{line(f, 2, L"a"), line(f, 3, L"b")};
    const xc2Rigid step({0, 30}, xcRadian(0.01));
    // Step form: uncertainties only, so no count can fail.
    expectError<xcOCDefs::BadParams>([&] { xcOCLineArrangement(ls, step, -1.0, xcRadian(-1)); },
                                     L"Line translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLineArrangement(ls, step, kNaN, xcRadian(0)); },
                                     L"Line translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>([&] { xcOCLineArrangement(ls, step, 0.0, xcRadian(kNaN)); },
                                     L"Line rotation uncertainty must be >= 0");
    // Pose form: the uncertainties come before the count.
    expectError<xcOCDefs::BadParams>([&] { xcOCLineArrangement(ls, Poses(1), 0.0, xcRadian(-1)); },
                                     L"Line rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLineArrangement(ls, Poses(1), 0.0, xcRadian(0)); },
        L"The number of line poses does not match the number of lines.");
    // All-vectors form: counts, then line by line.
    const Poses p(2);
    const Reals t0{0, 0};
    const Angles r0(2, xcRadian(0));
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLineArrangement(ls, Poses(3), Reals{}, Angles{}); },
        L"The number of line poses does not match the number of lines.");
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLineArrangement(ls, p, Reals{-1}, Angles{}); },
        L"The number of translation uncertainties does not match the number of "
        L"lines.");
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCLineArrangement(ls, p, Reals{-1, 0}, Angles{});
        },
        L"The number of rotation uncertainties does not match the number of lines.");
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCLineArrangement(ls, p, Reals{0, -1}, Angles{xcRadian(-1), xcRadian(0)});
        },
        L"Line rotation uncertainties must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCLineArrangement(ls, p, Reals{0, -1}, r0);
        },
        L"Line position uncertaintiesp must be >= 0");
    EXPECT_NO_THROW(xcOCLineArrangement(ls, p, Reals{kNaN, 0}, r0));
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCLineArrangement(ls, p, t0, Angles{xcRadian(0), xcRadian(kNaN)});
        },
        L"Line rotation uncertainties must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCLineArrangement(Lines{ls[0], LineHandle()}, p, t0, r0);
        },
        L"Every line handle must refer to a line.");

    const xcOCLineArrangement stepped(ls, step, 0.5, xcRadian(0.02), L"page");
    ASSERT_EQ(stepped.numLines(), 2);
    EXPECT_EQ(stepped.linePoses(), (Poses{xc2Rigid(), step}));
    EXPECT_EQ(stepped.translationUncertainties(), (Reals{0.5, 0.5}));
    EXPECT_EQ(stepped.rotationUncertainties(), (Angles(2, xcRadian(0.02))));
    EXPECT_EQ(stepped.name(), L"page");
    EXPECT_EQ(stepped.lines()[1].get(), ls[1].get());
    const xcOCLineArrangement three(Lines{ls[0], ls[1], ls[0]}, step, 0, xcRadian(0));
    EXPECT_EQ(three.linePoses()[2], step * step);

    // The forms taking non-const handles build the same arrangement.
    std::vector<xcPtrHandle<xcOCLine>> mutableLines{xfConstCast(ls[0]), xfConstCast(ls[1])};
    EXPECT_TRUE(xcOCLineArrangement(mutableLines, step, 0.5, xcRadian(0.02), L"page") == stepped);
    EXPECT_TRUE(xcOCLineArrangement(mutableLines, Poses{xc2Rigid(), step}, 0.5, xcRadian(0.02),
                                    L"page") == stepped);
    EXPECT_TRUE(xcOCLineArrangement(mutableLines, Poses{xc2Rigid(), step}, Reals{0.5, 0.5},
                                    Angles(2, xcRadian(0.02)), L"page") == stepped);
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCLineArrangement(mutableLines, Poses(1), Reals{}, Angles{}); },
        L"The number of line poses does not match the number of lines.");
}

TEST(OCLineArrangement, EncloseRectPlacesEveryLine) {
    const auto f = font();
    // Line a: two characters 10 x 20 at x = 0 and 12; line b: one character.
    const Lines ls{line(f, 2, L"a"), line(f, 1, L"b")};
    const xcOCLineArrangement arr(
        ls, Poses{xc2Rigid({100, 0}, xcRadian(0)), xc2Rigid({100, 40}, xcRadian(0))}, Reals{0, 2},
        Angles(2, xcRadian(0)));
    const xcXform<2> id;
    const xcRect r = arr.encloseRect(id, id, id, 0, xcRadian(0), 0, false);
    // Line a spans (100, 0)-(122, 20); line b (98, 38)-(112, 62) with its uncertainty 2.
    EXPECT_NEAR(r.ul().x(), 98, 1e-9);
    EXPECT_NEAR(r.ul().y(), 0, 1e-9);
    EXPECT_NEAR(r.lr().x(), 122, 1e-9);
    EXPECT_NEAR(r.lr().y(), 62, 1e-9);
    // A further placement through a, with b^-1 undoing b.
    const xcXform<2> b(xcMatrix<2>(2, 0, 0, 2), {5, 5});
    const xcRect moved =
        arr.encloseRect(xcXform<2>::translation({-98, 0}), b, id, 0, xcRadian(0), 0, false);
    EXPECT_NEAR(moved.ul().x(), 0, 1e-9);
    EXPECT_NEAR(moved.lr().y(), 62, 1e-9);
    expectError<xcOCDefs::BadParams>(
        [&] { arr.encloseRect(id, id, id, -1, xcRadian(-1), -1, false); },
        L"Translation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] { arr.encloseRect(id, id, id, 0, xcRadian(-1), -1, false); },
        L"Rotation uncertainty must be >= 0");
    expectError<xcOCDefs::BadParams>(
        [&] { arr.encloseRect(id, id, id, 0, xcRadian(0), kNaN, false); },
        L"Scale uncertainty must be >= 0");
}

TEST(OCLineArrangement, EqualityComparesLinesByValue) {
    const Lines ls{line(font(), 2, L"a")};
    const Lines same{line(font(), 2, L"a")};
    const xcOCLineArrangement a(ls, xc2Rigid(), 1.0, xcRadian(0.5), L"n");
    EXPECT_TRUE(a == xcOCLineArrangement(same, xc2Rigid(), 1.0, xcRadian(0.5), L"n"));
    EXPECT_TRUE(a != xcOCLineArrangement(Lines{line(font(), 3, L"a")}, xc2Rigid(), 1.0,
                                         xcRadian(0.5), L"n"));
    EXPECT_TRUE(a != xcOCLineArrangement(ls, xc2Rigid(), 1.5, xcRadian(0.5), L"n"));
    EXPECT_TRUE(a != xcOCLineArrangement(ls, xc2Rigid(), 1.0, xcRadian(0.25), L"n"));
    EXPECT_TRUE(a != xcOCLineArrangement(ls, Poses{xc2Rigid({0, 1}, xcRadian(0))}, 1.0,
                                         xcRadian(0.5), L"n"));
    EXPECT_TRUE(a != xcOCLineArrangement(ls, xc2Rigid(), 1.0, xcRadian(0.5), L"m"));
    EXPECT_TRUE(a != xcOCLineArrangement());
}

TEST(OCLineArrangement, ArchiveRoundTripKeepsSharedLinesShared) {
    const auto f = font();
    const LineHandle l1 = line(f, 2, L"one"), l2 = line(f, 1, L"two");
    // One arrangement holds l1 twice; another shares l2 with it.
    const xcPtrHandle_const<xcOCLineArrangement> a1(new xcOCLineArrangement(
        Lines{l1, l2, l1}, xc2Rigid({0, 25}, xcRadian(0.001)), 0.5, xcRadian(0.01), L"a1"));
    const xcPtrHandle_const<xcOCLineArrangement> a2(new xcOCLineArrangement(
        Lines{l2}, Poses{xc2Rigid({3, 3}, xcRadian(1))}, Reals{4}, Angles{xcRadian(0.2)}, L"a2"));
    xcArchive out;
    xcPtrHandle_const<xcOCLineArrangement> s1 = a1, s2 = a2;
    out || s1 || s2;
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    xcPtrHandle_const<xcOCLineArrangement> r1, r2;
    in || r1 || r2;
    EXPECT_TRUE(in.atEnd());
    ASSERT_FALSE(r1.isNull());
    ASSERT_FALSE(r2.isNull());
    EXPECT_TRUE(*r1 == *a1);
    EXPECT_TRUE(*r2 == *a2);
    EXPECT_EQ(r1->lines()[0].get(), r1->lines()[2].get());
    EXPECT_EQ(r1->lines()[1].get(), r2->lines()[0].get());
    EXPECT_NE(r1->lines()[0].get(), l1.get());
    // And the lines share their alphabet.
    EXPECT_EQ(r1->lines()[0]->alphabet().get(), r2->lines()[0]->alphabet().get());
}

TEST(OCLineArrangement, TooNewVersionIsRefused) {
    xcOCLineArrangement a(Lines{line(font(), 1, L"x")}, xc2Rigid(), 0, xcRadian(0), L"keep");
    std::vector<unsigned char> b = storeValue(a);
    EXPECT_EQ(b[kBodyOffset], 0);
    b[kBodyOffset] = 1;
    xcOCLineArrangement target;
    if (const auto e = expectError<xcArchive::UnknownVersion>([&] { loadValue(b, target); })) {
        EXPECT_EQ(e->className(), L"");
        EXPECT_EQ(e->number(), 0);
    }
    EXPECT_TRUE(target == xcOCLineArrangement());
}
