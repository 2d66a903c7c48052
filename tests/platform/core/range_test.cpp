#include "platform/core/range.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/core/exception.h"
#include "tests/support/expect_error.h"

TEST(Range, KindsAndMembership) {
    xcRange e;
    EXPECT_TRUE(e.isEmpty());
    EXPECT_EQ(e.kind(), xcRange::eEmpty);
    EXPECT_FALSE(e.contains(0.0));
    EXPECT_EQ(e.length(), 0.0);

    xcRange f = xcRange::full();
    EXPECT_EQ(f.kind(), xcRange::eFull);
    EXPECT_TRUE(f.contains(-1e300));
    EXPECT_TRUE(f.contains(std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(f.contains(std::nan("")));
    EXPECT_TRUE(std::isinf(f.length()));

    xcRange r(-180.0, 180.0);
    EXPECT_EQ(r.kind(), xcRange::eNormal);
    EXPECT_TRUE(r.contains(-180.0));  // closed at both ends
    EXPECT_TRUE(r.contains(180.0));
    EXPECT_FALSE(r.contains(std::nextafter(180.0, 200.0)));
    EXPECT_DOUBLE_EQ(r.length(), 360.0);
    EXPECT_DOUBLE_EQ(r.middle(), 0.0);

    xcRange point(2.0, 2.0);  // a single value is a normal range, not the empty one
    EXPECT_TRUE(point.isNormal());
    EXPECT_TRUE(point.contains(2.0));
    EXPECT_NE(point, xcRange::empty());
}

TEST(Range, BadEndsThrowAndLeaveRangeUnchanged) {
    EXPECT_THROW(xcRange(2.0, 1.0), xcBadArgument);
    EXPECT_THROW(xcRange(std::nan(""), 1.0), xcBadArgument);
    expectError<xcBadArgument>([&] { xcRange(2.0, 1.0); },
                               L"Range start 2 is greater than its end 1");
    xcRange r(0.9, 1.1);
    EXPECT_THROW(r.start(1.5), xcBadArgument);
    EXPECT_THROW(r.end(0.5), xcBadArgument);
    EXPECT_EQ(r, xcRange(0.9, 1.1));
    r.end(2.0);
    r.start(0.5);
    EXPECT_EQ(r, xcRange(0.5, 2.0));
    EXPECT_THROW(xcRange(static_cast<xcRange::Kind>(7), 0, 1), xcBadArgument);
    EXPECT_THROW(xcRange::empty().clamp(1.0), xcBadArgument);
}

TEST(Range, KindConstructorMatchesArchiveForm) {
    EXPECT_EQ(xcRange(xcRange::eNormal, 1, 3), xcRange(1, 3));
    EXPECT_EQ(xcRange(xcRange::eEmpty, 5, 9), xcRange::empty());
    EXPECT_EQ(xcRange(xcRange::eFull, 0, 0), xcRange::full());
    EXPECT_THROW(xcRange(xcRange::eNormal, 3, 1), xcBadArgument);
    // Re-making a range from its own parts gives it back.
    for (const xcRange& r : {xcRange(), xcRange::full(), xcRange(-3.5, 4.25)})
        EXPECT_EQ(xcRange(r.kind(), r.start(), r.end()), r);
}

TEST(Range, SetOperations) {
    xcRange a(0, 10), b(5, 20), c(11, 12);
    EXPECT_EQ(a.intersect(b), xcRange(5, 10));
    EXPECT_TRUE(a.intersect(c).isEmpty());
    EXPECT_EQ(a.intersect(xcRange(10, 30)), xcRange(10, 10));  // touching ends share a value
    EXPECT_EQ(a.intersect(xcRange::full()), a);
    EXPECT_TRUE(a.intersect(xcRange::empty()).isEmpty());
    EXPECT_EQ(a.enclose(c), xcRange(0, 12));
    EXPECT_EQ(a.enclose(xcRange::empty()), a);
    EXPECT_EQ(xcRange::empty().enclose(c), c);
    EXPECT_TRUE(a.enclose(xcRange::full()).isFull());
    EXPECT_EQ(xcRange::empty().enclose(3.0), xcRange(3, 3));
    EXPECT_TRUE(a.contains(xcRange(2, 3)));
    EXPECT_FALSE(a.contains(b));
    EXPECT_TRUE(a.contains(xcRange::empty()));
    EXPECT_FALSE(a.contains(xcRange::full()));
    EXPECT_TRUE(xcRange::full().contains(a));
    EXPECT_DOUBLE_EQ(a.clamp(-3), 0.0);
    EXPECT_DOUBLE_EQ(a.clamp(13), 10.0);
    EXPECT_DOUBLE_EQ(a.clamp(4), 4.0);
}

TEST(Range, ToleranceAndText) {
    EXPECT_TRUE(xfRealEq(xcRange(1, 2), xcRange(1 + 1e-12, 2), 1e-10));
    EXPECT_FALSE(xfRealEq(xcRange(1, 2), xcRange(1.1, 2), 1e-3));
    EXPECT_FALSE(xfRealEq(xcRange(), xcRange::full()));
    EXPECT_TRUE(xfRealEq(xcRange::full(), xcRange::full()));
    EXPECT_EQ(xcRange(0.5, 2).text(), L"[0.5, 2]");
    EXPECT_EQ(xcRange().text(), L"empty");
    EXPECT_EQ(xcRange::full().text(), L"full");
}
