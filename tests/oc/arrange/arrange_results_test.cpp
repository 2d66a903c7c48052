#include "oc/arrange/arrange_results.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"

namespace {

using D = xcOCArrangeDefs;
using A = xc_ArrangeResultsAccess;

xcOCArrangeResults filled(bool withArrangement) {
    xcOCArrangeResults r;
    A::isFound(r, true);
    A::isSearchTruncated(r, true);
    if (withArrangement)
        A::arrangement(r, xcPtrHandle_const<xcOCLineArrangement>(new xcOCLineArrangement()));
    A::clientFromArrangementXform(
        r, xcXform<2>(xcMatrix<2>::rotation(xcRadian(0.3)), xcVector<2>(12.5, -3.0)));
    A::statusFlags(r) = {D::eMatched, D::eInferred, D::eUnknown};
    A::scores(r) = {0.9, 0.0, 0.0};
    return r;
}

// Writes a results archive by hand with the given version byte and trailing doubles.
std::vector<unsigned char> handWritten(signed char version, int trailing) {
    xcArchive out;
    signed char v = version;
    bool found = true, truncated = false;
    xcPtrHandle_const<xcOCLineArrangement> none;
    xcXform<2> x(xcMatrix<2>(), xcVector<2>(1.0, 2.0));
    std::vector<std::uint32_t> statuses = {0, 2};
    std::vector<double> scores = {0.75, 0.0};
    out || v || found || truncated || none || x || statuses || scores;
    for (int i = 0; i < trailing; ++i) {
        double d = 42.0 + i;
        out || d;
    }
    return out.bytes();
}

}  // namespace

TEST(OCArrangeResults, InitialValuesAndEquality) {
    const xcOCArrangeResults r;
    EXPECT_FALSE(r.isFound());
    EXPECT_FALSE(r.isSearchTruncated());
    EXPECT_FALSE(r.arrangement());
    EXPECT_EQ(r.clientFromArrangementXform(), xcXform<2>::identity());
    EXPECT_TRUE(r.statusFlags().empty());
    EXPECT_TRUE(r.scores().empty());

    EXPECT_TRUE(filled(false) == filled(false));
    EXPECT_TRUE(filled(true) == filled(true));  // distinct but equal arrangements
    EXPECT_TRUE(filled(true) != filled(false));
    EXPECT_TRUE(filled(false) != filled(true));
    xcOCArrangeResults s = filled(true);
    A::scores(s)[0] = 0.8;
    EXPECT_TRUE(s != filled(true));
    s = filled(true);
    A::statusFlags(s)[2] = D::eInferred;
    EXPECT_TRUE(s != filled(true));
    s = filled(true);
    A::isSearchTruncated(s, false);
    EXPECT_TRUE(s != filled(true));
    // A copy shares the arrangement.
    xcOCArrangeResults c(s);
    EXPECT_EQ(c.arrangement().get(), s.arrangement().get());
}

TEST(OCArrangeResults, ArchiveRoundTripAndVersions) {
    for (bool withArrangement : {false, true}) {
        SCOPED_TRACE(withArrangement);
        xcOCArrangeResults r = filled(withArrangement);
        xcArchive out;
        out || r;
        EXPECT_EQ(out.bytes()[8], 1);  // version 1 is written
        std::vector<unsigned char> bytes = out.bytes();
        xcArchive in{std::span<const unsigned char>(bytes)};
        xcOCArrangeResults back;
        in || back;
        EXPECT_TRUE(in.atEnd());
        EXPECT_TRUE(back == r);
    }

    // Version 0 carries two doubles that are read and dropped.
    std::vector<unsigned char> v0 = handWritten(0, 2);
    xcArchive in0{std::span<const unsigned char>(v0)};
    xcOCArrangeResults r0;
    in0 || r0;
    EXPECT_TRUE(in0.atEnd());
    EXPECT_TRUE(r0.isFound());
    EXPECT_EQ(r0.clientFromArrangementXform().trans(), xcVector<2>(1.0, 2.0));
    ASSERT_EQ(r0.statusFlags().size(), 2u);
    EXPECT_EQ(r0.statusFlags()[1], D::eUnknown);
    EXPECT_EQ(r0.scores()[0], 0.75);

    std::vector<unsigned char> v1 = handWritten(1, 0);
    xcArchive in1{std::span<const unsigned char>(v1)};
    xcOCArrangeResults r1;
    in1 || r1;
    EXPECT_TRUE(in1.atEnd());
    EXPECT_TRUE(r1 == r0);

    std::vector<unsigned char> v2 = handWritten(2, 0);
    xcArchive in2{std::span<const unsigned char>(v2)};
    xcOCArrangeResults r2 = filled(false);
    try {
        in2 || r2;
        FAIL();
    } catch (const xcArchive::UnknownVersion& e) {
        EXPECT_EQ(e.className(), L"oc/arrange");
    }
    EXPECT_TRUE(r2 == filled(false));

    // A bad container version of the statuses.
    std::vector<unsigned char> badVec = handWritten(1, 0);
    const std::size_t statusVersion = 8 + 1 + 1 + 1 + 1 + 48;
    ASSERT_EQ(badVec[statusVersion], 0);
    badVec[statusVersion] = 1;
    xcArchive inBad{std::span<const unsigned char>(badVec)};
    xcOCArrangeResults rb;
    EXPECT_THROW(inBad || rb, xcArchive::UnknownVersion);
    EXPECT_TRUE(rb == xcOCArrangeResults());
}
