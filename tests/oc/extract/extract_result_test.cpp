// The extraction's value types: instances and their overlap test, character results (merge,
// overlap removal, index errors), string results (keys sharing one result) and the error.
#include <memory>
#include <span>

#include "extract_test_util.h"
#include "oc/extract/extract_result.h"
#include "platform/core/archive.h"
#include "platform/vision/geo_align_result.h"
#include "tests/support/expect_error.h"

namespace {

using Access = xc_OCExtractResultAccess;

// An instance whose footprint is the axis-aligned w x h rectangle at (x, y), scored `score`.
xc_OCExtractCharInstance rectInstance(double x, double y, double w, double h, double score = 0.5) {
    xc_OCExtractCharInstance i;
    i.score = score;
    i.pose = xcXform<2>::translation(xcVector<2>(x, y));
    i.affRect = xcAffineRectangle(xcVector<2>(x, y), xcVector<2>(x + w, y), xcVector<2>(x, y + h));
    return i;
}

}  // namespace

TEST(OCExtractCharInstance, DefaultAndConstructionFromAGeometricResult) {
    const xc_OCExtractCharInstance d;
    EXPECT_EQ(d.score, 0.0);
    EXPECT_EQ(d.pose, xcXform<2>());
    EXPECT_EQ(d.affRect, xcAffineRectangle());

    // Pose: turn by 90 degrees, then move by (100, 50); the pattern's client frame is its
    // training image shifted by (-2, -30).
    const xcXform<2> pose(xcMatrix<2>(0.0, -1.0, 1.0, 0.0), xcVector<2>(100.0, 50.0));
    const xcGeoAlignResult r(true, 0.83, 0.9, pose);
    const xcXform<2> clientFromImage = xcXform<2>::translation(xcVector<2>(-2.0, -30.0));
    const xc_OCExtractCharInstance i(r, clientFromImage, xcPelRect(2, 10, 10, 20));
    EXPECT_EQ(i.score, 0.83);
    EXPECT_EQ(i.pose, pose);
    // ul (2, 10) -> client (0, -20) -> (120, 50); ur (12, 10) -> (10, -20) -> (120, 60);
    // ll (2, 30) -> (0, 0) -> (100, 50).
    EXPECT_TRUE(xfRealEq(
        i.affRect,
        xcAffineRectangle(xcVector<2>(120, 50), xcVector<2>(120, 60), xcVector<2>(100, 50)),
        1e-12));
}

TEST(OCExtractCharInstance, OverlapTestIsInUnitsOfTheOtherRectangle) {
    const xc_OCExtractCharInstance a = rectInstance(0, 0, 10, 20);
    // Identical rectangles: centre distance 0.
    EXPECT_TRUE(a.isEqual(a, 0.0));
    // Centres 0.4 side lengths apart along x: the centre is the nearest of the five points
    // (corners about 0.51 away).
    const xc_OCExtractCharInstance b = rectInstance(4, 0, 10, 20);
    EXPECT_TRUE(b.isEqual(a, 0.5));
    EXPECT_FALSE(b.isEqual(a, 0.3));
    EXPECT_TRUE(b.isEqual(a, 0.4 + 1e-12));
    // Not symmetric: a small rectangle near a big one's centre is equal to it, the big one is
    // not equal to the small one with the same tolerance.
    const xc_OCExtractCharInstance big = rectInstance(0, 0, 100, 100);
    const xc_OCExtractCharInstance small = rectInstance(60, 60, 10, 10);
    EXPECT_TRUE(small.isEqual(big, 0.25));
    EXPECT_FALSE(big.isEqual(small, 0.25));
    // A corner close enough decides: a rectangle whose upper-left corner sits at the other's
    // centre.
    const xc_OCExtractCharInstance corner = rectInstance(5, 10, 40, 80);
    EXPECT_TRUE(corner.isEqual(a, 0.01));
    // Far apart.
    EXPECT_FALSE(rectInstance(500, 500, 10, 20).isEqual(a, 2.0));
}

TEST(OCExtractCharInstance, OrderByScoreIsStrictlyDescending) {
    const xc_OCExtractCharInstance a = rectInstance(0, 0, 1, 1, 0.9);
    const xc_OCExtractCharInstance b = rectInstance(0, 0, 1, 1, 0.4);
    EXPECT_TRUE(xc_OCExtractCharInstance::orderByScore(a, b));
    EXPECT_FALSE(xc_OCExtractCharInstance::orderByScore(b, a));
    EXPECT_FALSE(xc_OCExtractCharInstance::orderByScore(a, a));
}

TEST(OCExtractCharResult, InitAccessorsAndBadIndex) {
    xc_OCExtractCharResult r;
    EXPECT_FALSE(r.found());
    EXPECT_EQ(r.time(), 0.0);
    EXPECT_EQ(r.numInstances(), 0);
    EXPECT_EQ(r.symmetry(), xc_OCExtractDefs::eNotSymmetric);
    EXPECT_EQ(r.numOccurrences(), 0);
    EXPECT_EQ(r.rot180Pose(), xcXform<2>());
    EXPECT_EXTRACT_ERROR(r.score(0), L"Bad index");

    Access::append(r, rectInstance(0, 0, 10, 10, 0.7));
    const xcXform<2> turned(xcMatrix<2>(-1, 0, 0, -1), xcVector<2>(3, 4));
    r.rot180Pose(turned);
    r.symmetry(xc_OCExtractDefs::eSymmetric180);
    r.found(true);
    r.time(2.5);
    r.numOccurrences(3);
    EXPECT_EQ(r.score(0), 0.7);
    EXPECT_EQ(r.pose(0), xcXform<2>());
    EXPECT_EQ(r.affRect(0), rectInstance(0, 0, 10, 10).affRect);
    EXPECT_EXTRACT_ERROR(r.pose(1), L"Bad index");
    EXPECT_EXTRACT_ERROR(r.affRect(-1), L"Bad index");
    EXPECT_EXTRACT_ERROR(Access::doesOverlap(r, 0, 1, 0.5), L"Bad index");
    EXPECT_EQ(r.numInstances(), 1);

    // A copy has its own instances; init keeps rot180Pose.
    xc_OCExtractCharResult copy(r);
    r.init();
    EXPECT_EQ(r.numInstances(), 0);
    EXPECT_FALSE(r.found());
    EXPECT_EQ(r.symmetry(), xc_OCExtractDefs::eNotSymmetric);
    EXPECT_EQ(r.numOccurrences(), 0);
    EXPECT_EQ(r.rot180Pose(), turned);
    EXPECT_EQ(copy.numInstances(), 1);
    EXPECT_EQ(copy.numOccurrences(), 3);
    EXPECT_EQ(copy.time(), 2.5);
}

TEST(OCExtractCharResult, MergeAppendsInOrderAndAddsTimes) {
    xc_OCExtractCharResult a, b;
    for (double s : {0.2, 0.9}) Access::append(a, rectInstance(s * 10, 0, 5, 5, s));
    for (double s : {0.5, 0.1, 0.7}) Access::append(b, rectInstance(s * 10, 0, 5, 5, s));
    a.time(1.5);
    b.time(2.0);
    b.found(true);
    a.symmetry(xc_OCExtractDefs::eSymmetric180);
    b.numOccurrences(4);
    Access::merge(a, b);
    ASSERT_EQ(a.numInstances(), 5);
    const double order[] = {0.2, 0.9, 0.5, 0.1, 0.7};
    for (long i = 0; i < 5; ++i) EXPECT_EQ(a.score(i), order[i]) << i;
    EXPECT_EQ(a.time(), 3.5);
    EXPECT_TRUE(a.found());
    EXPECT_EQ(a.symmetry(), xc_OCExtractDefs::eSymmetric180);
    EXPECT_EQ(a.numOccurrences(), 0);

    Access::sort(a);
    const double sorted[] = {0.9, 0.7, 0.5, 0.2, 0.1};
    for (long i = 0; i < 5; ++i) EXPECT_EQ(a.score(i), sorted[i]) << i;
}

TEST(OCExtractCharResult, RemoveOverlappingKeepsEarlierInstances) {
    xc_OCExtractCharResult r;
    Access::append(r, rectInstance(100, 0, 10, 10, 0.95));  // overlaps nothing later
    Access::append(r, rectInstance(0, 0, 10, 10, 0.9));     // i = 1
    Access::append(r, rectInstance(1, 0, 10, 10, 0.8));     // overlaps 1
    Access::append(r, rectInstance(2, 1, 10, 10, 0.7));     // overlaps 1
    Access::append(r, rectInstance(50, 0, 10, 10, 0.6));    // apart
    Access::append(r, rectInstance(0, 2, 10, 10, 0.5));     // overlaps 1
    Access::append(r, rectInstance(101, 0, 10, 10, 0.4));   // overlaps 0 only
    EXPECT_TRUE(Access::doesOverlap(r, 1, 2, 0.3));
    EXPECT_FALSE(Access::doesOverlap(r, 1, 4, 0.3));
    Access::removeOverlapping(r, 1, 0.3);
    ASSERT_EQ(r.numInstances(), 4);
    const double kept[] = {0.95, 0.9, 0.6, 0.4};
    for (long i = 0; i < 4; ++i) EXPECT_EQ(r.score(i), kept[i]) << i;

    // Through the string result, and a null handle is ignored.
    xc_OCExtractStringResult s;
    xc_OCExtractCharResultHandle h(new xc_OCExtractCharResult(r));
    Access::deleteOverlapping(s, h, 0, 0.3);
    EXPECT_EQ(h->numInstances(), 3);
    Access::deleteOverlapping(s, xc_OCExtractCharResultHandle(), 0, 0.3);
}

TEST(OCExtractStringResult, SameKeyMergesIntoTheStoredResult) {
    xc_OCExtractStringResult s;
    EXPECT_EQ(s.searchTime(), 0.0);
    EXPECT_EQ(s.trainTime(), 0.0);
    EXPECT_TRUE(s.results().empty());
    EXPECT_TRUE(s.uniqueCharResults().empty());
    xc_OCExtractCharResultHandle first(new xc_OCExtractCharResult());
    xc_OCExtractCharResultHandle second(new xc_OCExtractCharResult());
    Access::append(*first, rectInstance(0, 0, 5, 5, 0.6));
    Access::append(*second, rectInstance(9, 0, 5, 5, 0.8));
    Access::add(s, 7, first);
    Access::add(s, 7, second);
    ASSERT_EQ(Access::byKey(s).size(), 1u);
    EXPECT_EQ(Access::byKey(s).at(7).get(), first.get());
    EXPECT_EQ(first->numInstances(), 2);
    EXPECT_EQ(second->numInstances(), 1);
    // A copy shares the character results.
    const xc_OCExtractStringResult copy = s;
    EXPECT_EQ(Access::byKey(copy).at(7).get(), first.get());
    s.init();
    EXPECT_TRUE(Access::byKey(s).empty());
}

TEST(OCExtractError, NumberFactoryArchiveAndRethrow) {
    xcPersistentFactory make = xf_FindPersistentFactory("xc_OCExtractDefs::xc_OCExtractError");
    ASSERT_NE(make, nullptr);
    std::unique_ptr<xcPersistent> made(make());
    auto* empty = dynamic_cast<xc_OCExtractDefs::xc_OCExtractError*>(made.get());
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->errorNumber(), 0x10007402);
    EXPECT_EQ(empty->string(), L"");

    // Round trip through a persistent pointer.
    xcPersistent* original = new xc_OCExtractDefs::xc_OCExtractError(L"Bad index");
    xcArchive out;
    out || original;
    delete original;
    const std::vector<unsigned char> bytes = out.bytes();
    xcArchive in{std::span<const unsigned char>(bytes)};
    xcPersistent* back = nullptr;
    in || back;
    std::unique_ptr<xcPersistent> owned(back);
    auto* e = dynamic_cast<xc_OCExtractDefs::xc_OCExtractError*>(back);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->string(), L"Bad index");

    // A version byte above 0 names the class.
    xc_OCExtractDefs::xc_OCExtractError value(L"m");
    xcArchive vout;
    vout || value;
    std::vector<unsigned char> bad = vout.bytes();
    ASSERT_EQ(bad[8], 0);
    bad[8] = 1;
    xcArchive vin{std::span<const unsigned char>(bad)};
    xc_OCExtractDefs::xc_OCExtractError target;
    if (const auto u = expectError<xcArchive::UnknownVersion>([&] { vin || target; })) {
        EXPECT_EQ(u->className(), L"xc_OCExtractDefs::xc_OCExtractError");
        EXPECT_EQ(u->number(), 0);
    }

    xcException* heap = new xc_OCExtractDefs::xc_OCExtractError(L"Refine error");
    EXPECT_THROW(heap->suicideAndRethrow(), xc_OCExtractDefs::xc_OCExtractError);
}
