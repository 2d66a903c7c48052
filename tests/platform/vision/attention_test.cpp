// The vision tools honour a caller's time-out: an expired tag ends each long loop.
#include <gtest/gtest.h>

#include "platform/core/attention.h"
#include "platform/vision/correlation.h"
#include "platform/vision/edge_detect.h"
#include "platform/vision/gradient.h"
#include "platform/vision/threshold.h"

TEST(VisionAttention, ExpiredTimeOutEndsEveryToolAndLeavesOutputs) {
    xcPelBuffer8 img(300, 200);
    for (long y = 0; y < 200; ++y)
        for (long x = 0; x < 300; ++x) img.set(x, y, static_cast<unsigned char>((x * 7 + y) & 255));
    xcEdgeletSet edges;
    xfEdgeDetect(img, xcEdgeletParams(), edges);  // before the time-out: runs to the end
    const long before = edges.size();
    ASSERT_GT(before, 0);

    xcAttentionTag tag;
    tag.attachTimeoutCustom(0.0, 0x80000064);
    EXPECT_THROW(xfEdgeDetect(img, xcEdgeletParams(), edges), xcTimeout::InternalExpired);
    EXPECT_EQ(edges.size(), before);
    xcGradientImage g;
    EXPECT_THROW(xfGradient(img, 1.0, g), xcTimeout::InternalExpired);
    EXPECT_FALSE(g.gx.isBound());
    xcThresholdResult t(7, 0.5, 1);
    EXPECT_THROW(xfThresholdWGV(img, t), xcTimeout::InternalExpired);
    EXPECT_EQ(t.threshold(), 7);
    xc_CorrelationModel<unsigned char> m(xcPelBuffer8(10, 10), xcPelBuffer8_const());
    xcPelBuffer<std::int16_t> scores;
    EXPECT_THROW(xf_corr_exhaustive(img, m, 2, scores), xcTimeout::InternalExpired);
    EXPECT_FALSE(scores.isBound());
    tag.detachTimeout();
    xfEdgeDetect(img, xcEdgeletParams(), edges);
    EXPECT_EQ(edges.size(), before);
}
