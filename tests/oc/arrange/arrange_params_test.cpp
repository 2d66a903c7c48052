#include "oc/arrange/arrange_params.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <vector>

#include "oc/arrange/arrange_results.h"
#include "platform/core/archive.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
using D = xcOCArrangeDefs;

std::wstring badParamsMessage(const std::function<void()>& f) {
    try {
        f();
    } catch (const D::BadParams& e) {
        EXPECT_EQ(e.errorNumber(), 0x10007400);
        return e.message();
    }
    return L"<no error>";
}

}  // namespace

TEST(OCArrangeErrors, FactoriesNumbersArchivesAndRethrow) {
    std::set<long> numbers;
    for (auto [name, number] :
         {std::pair<const char*, long>{"xcOCArrangeDefs::BadParams", 0x10007400},
          {"xcOCArrangeDefs::BadMask", 0x10007401}}) {
        xcPersistentFactory make = xf_FindPersistentFactory(name);
        ASSERT_NE(make, nullptr) << name;
        std::unique_ptr<xcPersistent> obj(make());
        auto* err = dynamic_cast<D::Errors*>(obj.get());
        ASSERT_NE(err, nullptr);
        EXPECT_EQ(err->errorNumber(), number);
        EXPECT_EQ(err->message(), L"");
        numbers.insert(number);
    }
    EXPECT_EQ(numbers.size(), 2u);
    EXPECT_EQ(xf_FindPersistentFactory("xcOCArrangeDefs::Errors"), nullptr);
    EXPECT_EQ(D::BadMask(nullptr).message(), L"");

    // Through a pointer: same class and message come back.
    auto* original = new D::BadParams(L"Invalid max lines");
    xcArchive out;
    xcPersistent* p = original;
    out || p;
    delete original;
    std::vector<unsigned char> bytes = out.bytes();
    xcArchive in{std::span<const unsigned char>(bytes)};
    xcPersistent* q = nullptr;
    in || q;
    std::unique_ptr<xcPersistent> owned(q);
    auto* back = dynamic_cast<D::BadParams*>(q);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->message(), L"Invalid max lines");

    // A version byte of 1 at either level names that level.
    D::BadMask value(L"m");
    xcArchive vout;
    vout || value;
    std::vector<unsigned char> vb = vout.bytes();
    const std::size_t body = 8;
    for (int level = 0; level < 2; ++level) {
        std::vector<unsigned char> bad = vb;
        bad[body + level] = 1;
        xcArchive vin{std::span<const unsigned char>(bad)};
        D::BadMask target;
        try {
            vin || target;
            FAIL() << level;
        } catch (const xcArchive::UnknownVersion& e) {
            EXPECT_EQ(e.className(),
                      level == 0 ? L"xcOCArrangeDefs::BadMask" : L"xcOCArrangeDefs::Errors");
        }
    }

    xcException* heap = new D::BadMask(L"mask");
    try {
        heap->suicideAndRethrow();
        FAIL();
    } catch (const D::Errors& e) {
        EXPECT_NE(dynamic_cast<const D::BadMask*>(&e), nullptr);
        EXPECT_EQ(e.message(), L"mask");
    }
}

TEST(OCArrangeParams, DefaultsAndEqualityFieldByField) {
    const xcOCArrangeParams d;
    EXPECT_EQ(d.scaleRange(), xcRange(0.9, 1.1));
    EXPECT_EQ(d.minMatchScore(), 0.4);
    EXPECT_EQ(d.maxLines(), 2147483647L);
    EXPECT_EQ(d.lineType(), D::eDontCare);
    EXPECT_FALSE(d.isTextDirectionSpecified());
    EXPECT_EQ(d.straightTextDirection(), xcRadian(0.0));
    EXPECT_TRUE(d.isCircularTextDirectionClockwise());
    EXPECT_EQ(d.maxUnmatchedChars(), 2147483647L);
    EXPECT_EQ(d.orientationMode(), D::eAverage);
    EXPECT_EQ(d.orientationReference(), D::eRelative);
    EXPECT_EQ(d.expectedOrientation(), xcRadian(0.0));
    EXPECT_EQ(d.lineBreakCost(), 2.0);
    EXPECT_EQ(d.unmatchedCharCost(), 1.0);
    EXPECT_EQ(d.normalTransCost(), 1.0);
    EXPECT_EQ(d.tangentialTransCost(), 1.0);
    EXPECT_EQ(d.orientationCost(), 1.0);
    EXPECT_EQ(d.scaleCost(), 1.0);
    EXPECT_FALSE(d.compPoseUncertainties());
    EXPECT_EQ(d.maxCandidates(), 500000);
    EXPECT_EQ(d.timeout(), 10.0);
    EXPECT_TRUE(d == xcOCArrangeParams());

    const std::vector<std::function<void(xcOCArrangeParams&)>> changes = {
        [](auto& p) { p.scaleRange(xcRange(0.5, 2.0)); },
        [](auto& p) { p.minMatchScore(0.5); },
        [](auto& p) { p.maxLines(3); },
        [](auto& p) { p.lineType(D::eCircular); },
        [](auto& p) { p.isTextDirectionSpecified(true); },
        [](auto& p) { p.straightTextDirection(xcRadian(0.1)); },
        [](auto& p) { p.isCircularTextDirectionClockwise(false); },
        [](auto& p) { p.maxUnmatchedChars(0); },
        [](auto& p) { p.orientationMode(D::eSpecified); },
        [](auto& p) { p.orientationReference(D::eAbsolute); },
        [](auto& p) { p.expectedOrientation(xcRadian(-1.0)); },
        [](auto& p) { p.lineBreakCost(0.0); },
        [](auto& p) { p.unmatchedCharCost(3.0); },
        [](auto& p) { p.normalTransCost(0.5); },
        [](auto& p) { p.tangentialTransCost(0.5); },
        [](auto& p) { p.orientationCost(0.5); },
        [](auto& p) { p.scaleCost(0.5); },
        [](auto& p) { p.compPoseUncertainties(true); },
        [](auto& p) { p.maxCandidates(0); },
        [](auto& p) { p.timeout(0.0); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        xcOCArrangeParams p;
        changes[i](p);
        EXPECT_TRUE(p != d);
        EXPECT_FALSE(p == d);
        xcOCArrangeParams copy(p);
        EXPECT_TRUE(copy == p);
    }
}

TEST(OCArrangeParams, SettersCheckBoundariesAndKeepTheOldValue) {
    struct Case {
        const wchar_t* message;
        std::function<void(xcOCArrangeParams&)> set;
        bool valid;
    };
    const std::vector<Case> cases = {
        {L"Invalid scale range", [](auto& p) { p.scaleRange(xcRange(0.0, 1.1)); }, false},
        {L"Invalid scale range", [](auto& p) { p.scaleRange(xcRange(-0.5, 1.1)); }, false},
        {L"Invalid scale range", [](auto& p) { p.scaleRange(xcRange::empty()); }, false},
        {L"Invalid scale range", [](auto& p) { p.scaleRange(xcRange::full()); }, false},
        {L"Invalid scale range", [](auto& p) { p.scaleRange(xcRange(0.5, 2.0)); }, true},
        {L"Invalid min match score", [](auto& p) { p.minMatchScore(1.0); }, true},
        {L"Invalid min match score", [](auto& p) { p.minMatchScore(0.0); }, true},
        {L"Invalid min match score", [](auto& p) { p.minMatchScore(1.0000001); }, false},
        {L"Invalid min match score", [](auto& p) { p.minMatchScore(-0.1); }, false},
        {L"Invalid min match score", [](auto& p) { p.minMatchScore(kNaN); }, false},
        {L"Invalid max lines", [](auto& p) { p.maxLines(0); }, false},
        {L"Invalid max lines", [](auto& p) { p.maxLines(-5); }, false},
        {L"Invalid max lines", [](auto& p) { p.maxLines(1); }, true},
        {L"Invalid line type", [](auto& p) { p.lineType(static_cast<D::LineType>(3)); }, false},
        {L"Invalid line type", [](auto& p) { p.lineType(static_cast<D::LineType>(-1)); }, false},
        {L"Invalid line type", [](auto& p) { p.lineType(D::eStraight); }, true},
        {L"Invalid max unmatched chars", [](auto& p) { p.maxUnmatchedChars(-1); }, false},
        {L"Invalid max unmatched chars", [](auto& p) { p.maxUnmatchedChars(0); }, true},
        {L"Invalid orientation mode",
         [](auto& p) { p.orientationMode(static_cast<D::OrientationMode>(2)); }, false},
        {L"Invalid orientation mode", [](auto& p) { p.orientationMode(D::eSpecified); }, true},
        {L"Invalid orientation reference",
         [](auto& p) { p.orientationReference(static_cast<D::OrientationReference>(2)); }, false},
        {L"Invalid orientation reference", [](auto& p) { p.orientationReference(D::eAbsolute); },
         true},
        {L"Invalid line break cost", [](auto& p) { p.lineBreakCost(-1e-12); }, false},
        {L"Invalid line break cost", [](auto& p) { p.lineBreakCost(kNaN); }, false},
        {L"Invalid line break cost", [](auto& p) { p.lineBreakCost(0.0); }, true},
        {L"Invalid unmatched char cost", [](auto& p) { p.unmatchedCharCost(-1.0); }, false},
        {L"Invalid unmatched char cost", [](auto& p) { p.unmatchedCharCost(kNaN); }, false},
        {L"Invalid normal translation cost", [](auto& p) { p.normalTransCost(-1.0); }, false},
        {L"Invalid normal translation cost", [](auto& p) { p.normalTransCost(kNaN); }, false},
        {L"Invalid tangential translation cost", [](auto& p) { p.tangentialTransCost(-1.0); },
         false},
        {L"Invalid tangential translation cost", [](auto& p) { p.tangentialTransCost(kNaN); },
         false},
        {L"Invalid orientation cost", [](auto& p) { p.orientationCost(-1.0); }, false},
        {L"Invalid orientation cost", [](auto& p) { p.orientationCost(kNaN); }, false},
        {L"Invalid scale cost", [](auto& p) { p.scaleCost(-1.0); }, false},
        {L"Invalid scale cost", [](auto& p) { p.scaleCost(kNaN); }, false},
        {L"Invalid max candidates", [](auto& p) { p.maxCandidates(-1); }, false},
        {L"Invalid max candidates", [](auto& p) { p.maxCandidates(0); }, true},
        {L"Invalid timeout", [](auto& p) { p.timeout(-0.5); }, false},
        {L"Invalid timeout", [](auto& p) { p.timeout(kNaN); }, false},
        {L"Invalid timeout", [](auto& p) { p.timeout(0.0); }, true},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        xcOCArrangeParams p;
        if (cases[i].valid) {
            cases[i].set(p);
            EXPECT_TRUE(p != xcOCArrangeParams());
        } else {
            EXPECT_EQ(badParamsMessage([&] { cases[i].set(p); }), cases[i].message);
            EXPECT_TRUE(p == xcOCArrangeParams());
        }
    }
}

TEST(OCArrangeParams, ArchiveRoundTripAndVersionError) {
    xcOCArrangeParams p;
    p.scaleRange(xcRange(0.7, 1.4));
    p.minMatchScore(0.55);
    p.maxLines(4);
    p.lineType(D::eCircular);
    p.isTextDirectionSpecified(true);
    p.straightTextDirection(xcRadian(0.25));
    p.isCircularTextDirectionClockwise(false);
    p.maxUnmatchedChars(2);
    p.orientationMode(D::eSpecified);
    p.orientationReference(D::eAbsolute);
    p.expectedOrientation(xcRadian(-0.75));
    p.lineBreakCost(3.5);
    p.unmatchedCharCost(0.25);
    p.normalTransCost(1.5);
    p.tangentialTransCost(2.5);
    p.orientationCost(0.125);
    p.scaleCost(4.0);
    p.compPoseUncertainties(true);
    p.maxCandidates(1234);
    p.timeout(2.5);
    xcArchive out;
    out || p;
    std::vector<unsigned char> bytes = out.bytes();
    // Header 8, version 1, range 17, then 4 doubles, 4 longs/enums ... sum of the layout.
    EXPECT_EQ(bytes.size(),
              8u + 1 + 17 + 8 + 4 + 4 + 1 + 8 + 1 + 4 + 4 + 4 + 8 + 6 * 8 + 1 + 4 + 8);
    xcArchive in{std::span<const unsigned char>(bytes)};
    xcOCArrangeParams back;
    in || back;
    EXPECT_TRUE(in.atEnd());
    EXPECT_TRUE(back == p);
    EXPECT_EQ(back.maxCandidates(), 1234);

    std::vector<unsigned char> bad = bytes;
    bad[8] = 1;
    xcArchive badIn{std::span<const unsigned char>(bad)};
    xcOCArrangeParams untouched;
    try {
        badIn || untouched;
        FAIL();
    } catch (const xcArchive::UnknownVersion& e) {
        EXPECT_EQ(e.className(), L"oc/arrange");
    }
    EXPECT_TRUE(untouched == xcOCArrangeParams());
}
