// Normalised correlation of a small model image at every placement inside a larger image.
//
// A correlation model holds an 8-bit model image and which of its pixels take part (the
// care pels). Its mask follows the correlation convention: a mask value of 128 or more marks a
// pixel the model LEAVES OUT, a value below 128 a care pel (callers that hold a care mask,
// 255 = use, invert it first). For a placement of the model with its upper-left pixel on image
// pixel (x, y), the image sums are taken under the care pels only and
//
//     r = (n Sxy - Sx Sy) / sqrt((n Sxx - Sx^2) (n Syy - Sy^2))
//
// with x the model values, y the image values and n the number of care pels; r is 0 when
// either variance is 0 (a flat model or a flat image patch).
//
// The exhaustive correlation scores every placement wholly inside the image's window into a
// signed 16-bit score image: integer sums throughout, sliding column sums for the image's sum
// and sum of squares when every model pixel is cared for, and an inner product loop over whole
// rows of placements that the compiler vectorises.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/core/pel_buffer.h"

class xc_CorrelationDefs {
public:
    // What xf_corr_score returns.
    enum ScoreMode {
        eRSquared = 0,  // r^2 for r > 0, else 0; in [0, 1]
        eR = 1,         // r, in [-1, 1]
        eR1000 = 2,     // round(1000 r), in [-1000, 1000] (a signed 16-bit value)
    };
};

// Sums over the care pels: their number, the sum of their values and of their squares.
struct xc_CorrelationSums {
    long long n = 0;
    long long sum = 0;
    long long sumSq = 0;
};

template <class T>
class xc_CorrelationModel;

template <>
class xc_CorrelationModel<unsigned char> {
public:
    // Largest number of model pixels (width * height): keeps every sum exact in 64 bits.
    static constexpr long kMaxPels = 10000000;

    // Copies the window of the bound `image`. `ignoreMask`, when bound, must have a window of
    // the same size (read at the same offset from each window's corner); its values >= 128
    // leave pixels out. Throws xcPel::UnboundWindow for an unbound image, xcBadArgument for a
    // mask of another size or a model larger than kMaxPels.
    xc_CorrelationModel(const xcPelBuffer_const<unsigned char>& image,
                        const xcPelBuffer_const<unsigned char>& ignoreMask);

    long width() const { return m_w; }
    long height() const { return m_h; }
    long nCarePels() const { return static_cast<long>(m_sums.n); }
    // n * sum(x^2) - sum(x)^2 over the care pels: n^2 times their variance.
    double variance() const;
    const xc_CorrelationSums& sums() const { return m_sums; }
    // True when every model pixel is a care pel.
    bool allCare() const { return m_sums.n == static_cast<long long>(m_w) * m_h; }

    // Row-major model values with the left-out pixels set to 0, and the care flags (1 or 0).
    const std::vector<unsigned char>& values() const { return m_values; }
    const std::vector<unsigned char>& care() const { return m_care; }

private:
    long m_w = 0, m_h = 0;
    std::vector<unsigned char> m_values;
    std::vector<unsigned char> m_care;
    xc_CorrelationSums m_sums;
};

// The best placement of an exhaustive correlation.
class xc_CorrelationBest {
public:
    // Records a placement whose upper-left model pixel lies on image pixel (x, y).
    void initFromScore(long x, long y, short score) {
        m_found = true;
        m_x = x;
        m_y = y;
        m_score = score;
    }
    bool found() const { return m_found; }
    long x() const { return m_x; }
    long y() const { return m_y; }
    short score() const { return m_score; }

private:
    bool m_found = false;
    long m_x = 0, m_y = 0;
    short m_score = 0;
};

// Makes `scores` a new zeroed buffer with one entry per placement of a modelWidth x
// modelHeight model wholly inside `imageWindow`: window (imageWindow.x, imageWindow.y,
// imageWindow.width - modelWidth + 1, imageWindow.height - modelHeight + 1), so the entry at
// image coordinates (x, y) is the placement whose upper-left model pixel lies on image pixel
// (x, y). When no placement fits, the window has that corner and size 0 x 0. Returns the
// window. Throws xcBadArgument for a negative model size.
xcPelRect xf_corr_alloc_space(const xcPelRect& imageWindow, long modelWidth, long modelHeight,
                              xcPelBuffer<std::int16_t>& scores);

// The correlation score of one placement from its six sums (n care pels; model sum and sum of
// squares; image sum and sum of squares under the care pels; sum of products) in `scoreMode`
// (xc_CorrelationDefs::ScoreMode). Sums must come from at most kMaxPels pels of 8-bit values.
// Throws xcBadArgument for an unknown mode.
double xf_corr_score(long long n, long long sumModel, long long sumSqModel, long long sumImage,
                     long long sumSqImage, long long sumProducts, int scoreMode);

// The 16-bit entry of a score image: round(1000 * xf_corr_score) in modes eRSquared and eR,
// and xf_corr_score itself in mode eR1000.
std::int16_t xf_corr_score16(long long n, long long sumModel, long long sumSqModel,
                             long long sumImage, long long sumSqImage, long long sumProducts,
                             int scoreMode);

// Correlates `model` at every placement wholly inside the window of the bound `image`, in
// placement order (rows top to bottom, left to right), writing xf_corr_score16 of each
// placement into `scores` (allocated by xf_corr_alloc_space; its client-from-image transform
// is the image's). Returns the best placement (the first of equal best scores; not found when
// there is no placement). Polls xcAttention::check() at least once per row of placements.
// Throws xcPel::UnboundWindow for an unbound image, xcBadArgument for an unknown score mode;
// `scores` is unchanged when it throws before scoring.
xc_CorrelationBest xf_corr_exhaustive(const xcPelBuffer_const<unsigned char>& image,
                                      const xc_CorrelationModel<unsigned char>& model,
                                      int scoreMode, xcPelBuffer<std::int16_t>& scores);
