// Automatic grey-level thresholds: the threshold that splits an 8-bit image's pixels into the
// two groups of least within-group variance (Otsu's criterion).
//
// Convention: a threshold t in 0 .. 256 puts the pixels with value < t into the low group and
// those with value >= t into the high group. t = 0 puts every pixel into the high group and
// t = 256 every pixel into the low group; xfThresholdWGV returns 0 only when no pixel is
// cared for, and never returns 256.
//
// Score: the between-group variance of the split divided by the total variance, in [0, 1]. It
// is greater than 0 exactly when the cared-for pixels hold at least two grey levels (then the
// best split separates two non-empty groups), and 1 when they hold exactly two levels.
#pragma once

#include "platform/core/pel_buffer.h"

class xcThresholdResult {
public:
    xcThresholdResult() = default;
    xcThresholdResult(int threshold, double score, long count)
        : m_threshold(threshold), m_score(score), m_count(count) {}

    // The grey threshold, 0 .. 256 (see the convention above).
    int threshold() const { return m_threshold; }
    // Between-group over total variance, 0 .. 1; 0 when there is no split.
    double score() const { return m_score; }
    // Number of pixels that took part (the cared-for pixels).
    long count() const { return m_count; }

private:
    int m_threshold = 0;
    double m_score = 0.0;
    long m_count = 0;
};

// Threshold of minimal within-group variance over the window of the bound 8-bit `image`.
// Where several thresholds split the pixels into the same two groups (an empty gap of grey
// levels between the groups), the one in the middle of the gap is chosen: with the low group
// ending at level a and the high group starting at level b, t = (a + b + 1) / 2 (integer
// division). With a single grey level g the threshold is g (every pixel in the high group) and
// the score 0. Throws xcPel::UnboundWindow for an unbound image.
void xfThresholdWGV(const xcPelBuffer_const<unsigned char>& image, xcThresholdResult& result);

// The same over the pixels whose `mask` value is 128 or more. The mask must be bound and cover
// the image's window (it is read at the same image coordinates); otherwise xcBadArgument.
// No cared-for pixel gives threshold 0, score 0 and count 0.
void xfThresholdWGV(const xcPelBuffer_const<unsigned char>& image,
                    const xcPelBuffer_const<unsigned char>& mask, xcThresholdResult& result);

// The same from a 256-bin histogram of grey levels (counts >= 0).
xcThresholdResult xfThresholdWGV(const long long (&histogram)[256]);
