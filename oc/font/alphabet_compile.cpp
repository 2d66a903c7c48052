// Compilation of an alphabet: filling its confusion matrix and offset table.
//
// Every row is computed by a worker thread (one at a time). A normal character's row trains the
// flexible sub-model tool on the character's image area and runs it on every other normal
// character's image area, brought into the reference's pixel geometry first when the two were
// captured at different resolutions. A blank character's row scores how much structure each
// normal character holds under the blank's image area: the characters scoring below the mean of
// the lowest quarter of the scores get a positive confusion with the blank.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "oc/font/alphabet.h"
#include "oc/font/alphabet_report.h"
#include "oc/imageutil/affine_clipping.h"
#include "oc/imageutil/blankness.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/attention.h"
#include "platform/core/pel_ops.h"
#include "platform/core/thread.h"
#include "platform/core/timeout.h"
#include "platform/diag/diag_object.h"
#include "platform/vision/sub_model_tool.h"

namespace {

constexpr long kBatchSize = 1;
constexpr long kThreadPriority = -1;
constexpr long kThreadStack = -1;
constexpr unsigned long kInputSelector = 0x10000;
constexpr unsigned long kResultsSelector = 0x20000;
constexpr unsigned long kDetailsSelector = 0x40000;
constexpr double kBlankReferenceFraction = 0.25;
constexpr long kResampleInterpolation = 3;

// The resampled mask becomes a clean 0 / 255 mask: 0-127 => 0, 128-255 => 255.
const std::array<unsigned char, 256> kBinarise = [] {
    std::array<unsigned char, 256> t{};
    for (int v = 0; v < 256; ++v) t[v] = v < 128 ? 0 : 255;
    return t;
}();

// The work order of one row, handed to a worker by address.
struct xc_CompileRowData {
    const xcOCAlphabet::ConstModels* characters = nullptr;
    long row = -1;
    xcNMMatrix* matrix = nullptr;
    xcOCAlphabet::OffsetTable* offsets = nullptr;
};

void blankRow(const xcOCAlphabet::ConstModels& chars, long i, xcNMMatrix& matrix,
              xcOCAlphabet::OffsetTable& offsets) {
    const long n = static_cast<long>(chars.size());
    const xcOCModel& blank = *chars[i];
    matrix(i, i) = 1.0;
    std::vector<double> scores;
    for (long j = 0; j < n; ++j) {
        if (j == i) continue;
        const xcOCModel& m = *chars[j];
        if (m.charType() == xcOCModel::eNormal) {
            const double s = xfScoreBlankness(m.image(), m.mask(), xcXform<2>(), blank.image(),
                                              blank.imageArea(), blank.mask());
            matrix(i, j) = s;
            scores.push_back(s);
        } else {
            matrix(i, j) = 0.0;
        }
    }
    if (scores.empty()) return;

    // The reference is the mean of the lowest quarter of the scores (rounded up).
    std::sort(scores.begin(), scores.end());
    const std::size_t k = static_cast<std::size_t>(
        std::ceil(kBlankReferenceFraction * static_cast<double>(scores.size())));
    if (k < scores.size()) scores.resize(k);
    double sum = 0.0;
    for (double s : scores) sum += s;
    const double mean = sum / static_cast<double>(scores.size());

    for (long j = 0; j < n; ++j) {
        if (j == i || chars[j]->charType() != xcOCModel::eNormal) continue;
        const double s = matrix(i, j);
        matrix(i, j) = (s < mean && mean != 0.0) ? 1.0 - s / mean : 0.0;
    }
    const double lowest = scores.front();
    offsets[i][0] = xcXform<2>(xcMatrix<2>(), xcVector<2>(mean, mean != 0.0 ? 1.0 - lowest / mean
                                                                            : 0.0));
}

// Resamples s (and sMask) into the pixel geometry of the reference image.
void resampleInto(const xcPelBuffer_const<unsigned char>& reference,
                  xcPelBuffer<unsigned char>& s, xcPelBuffer<unsigned char>& sMask) {
    const xcMatrix<2> m =
        (s.imageFromClientXform() * reference.clientFromImageXform()).matrix();
    // Two invertible transforms can still have a product that overflows or vanishes: then
    // there is no geometry to resample into.
    const double det = m.determinant();
    if (!(std::isfinite(det) && det != 0.0 && std::isfinite(m.element(0, 0)) &&
          std::isfinite(m.element(0, 1)) && std::isfinite(m.element(1, 0)) &&
          std::isfinite(m.element(1, 1))))
        throw xcOCDefs::BadParams(
            L"A character image's geometry cannot be resampled into the reference geometry.");
    if (!sMask.isBound()) {
        sMask = xcPelBuffer<unsigned char>(s.window());
        xfPelSet(sMask, static_cast<unsigned char>(255));
    }
    const xcPelRect& w = s.window();
    const xcVector<2> c((w.x() + (w.x() + w.width())) / 2.0, (w.y() + (w.y() + w.height())) / 2.0);
    const xcAffineRectangle a0(xcVector<2>(0.0, 0.0), static_cast<double>(w.width()),
                               static_cast<double>(w.height()));
    const xcXform<2> q(xcMatrix<2>(m.xRot(), m.yRot(), 1.0, 1.0), xcVector<2>());
    const xcPelRect e = a0.map(q).encloseImageRect(xcXform<2>());
    xcAffineRectangle a = xcAffineRectangle(xcVector<2>(0.0, 0.0), static_cast<double>(e.width()),
                                            static_cast<double>(e.height()))
                              .map(q);
    a.center(c);

    // The sample counts are signed 16-bit values: check the range before converting.
    const double nxr = a.xLength() / m.xScale();
    const double nyr = a.yLength() / m.yScale();
    constexpr double kMaxSamples = 32767.0;
    if (!(std::round(nxr) <= kMaxSamples && std::round(nyr) <= kMaxSamples))
        throw xcOCDefs::BadParams(
            L"A character image is too large to resample into the reference geometry.");
    const auto nx = static_cast<std::int16_t>(std::round(nxr));
    const auto ny = static_cast<std::int16_t>(std::round(nyr));
    if (nx <= 0 || ny <= 0)
        throw xcOCDefs::BadParams(L"A character image is too small to resample.");
    a.xLength(a.xLength() * nx / nxr);
    a.yLength(a.yLength() * ny / nyr);
    a.xRotation(m.xRot());
    a.skew(m.yRot() - m.xRot());
    a.center(c);
    const xcAffineRectangle client = a.map(s.clientFromImageXform());

    xcPelBuffer<unsigned char> image, mask;
    xfAffineTransformWithClipping(s, sMask, xcAffineSamplingParams(client, nx, ny,
                                                                   kResampleInterpolation),
                                  image, mask);
    if (mask.isBound()) {
        const long width = mask.width();
        for (long y = mask.window().y(); y < mask.window().y() + mask.height(); ++y) {
            unsigned char* p = mask.rowPointer(y);
            for (long x = 0; x < width; ++x) p[x] = kBinarise[p[x]];
        }
    }
    s = image;
    sMask = mask;
}

void normalRow(const xcOCAlphabet::ConstModels& chars, long i, xcNMMatrix& matrix,
               xcOCAlphabet::OffsetTable& offsets) {
    const long n = static_cast<long>(chars.size());
    const xcOCModel& model = *chars[i];

    xcPelBuffer_const<unsigned char> reference = model.image();
    reference.window(model.imageArea());
    xcPelBuffer_const<unsigned char> referenceMask = model.mask();
    if (referenceMask.isBound()) referenceMask.window(model.imageArea());

    xcDiagObject localDiag;
    xcFlexSubModelCorTrainParams trainParams;
    trainParams.coarseGrainLimit(1.0);
    trainParams.zonesAllowed(0);
    xc_SubModelTool tool;
    if (referenceMask.isBound())
        tool.train(xcFlexSubModel(reference, referenceMask, L""), trainParams, &localDiag, 0);
    else
        tool.train(xcFlexSubModel(reference, L""), trainParams, &localDiag, 0);

    const xcMatrix<2> referenceLinear = reference.imageFromClientXform().matrix();
    long w = reference.width(), h = reference.height();
    if (w % 2 != 0) ++w;
    if (h % 2 != 0) ++h;
    const xcPelRect partial(-w / 2, -h / 2, w, h);

    for (long j = 0; j < n; ++j) {
        if (j == i) continue;
        const xcOCModel& other = *chars[j];
        if (other.charType() == xcOCModel::eBlank) {
            matrix(i, j) = 0.0;
            continue;
        }
        const xcRect u = model.encloseRect(xcXform<2>(), xcXform<2>(),
                                           other.image().clientFromImageXform(), 0.0, xcRadian(),
                                           0.0);
        xcPelBuffer_const<unsigned char> narrowed = other.image();
        narrowed.window(other.imageArea());
        xcPelBuffer<unsigned char> s = xfPelCopy(narrowed);
        xcPelBuffer<unsigned char> sMask;
        if (other.mask().isBound()) {
            xcPelBuffer_const<unsigned char> nm = other.mask();
            nm.window(other.imageArea());
            sMask = xfPelCopy(nm);
        }
        if (s.imageFromClientXform().matrix() != referenceLinear) resampleInto(reference, s, sMask);

        xcFlexSubModelCorRunParams runParams;
        runParams.acceptThreshold(0.0);
        runParams.zonesEnabled(0);
        runParams.partialMatchRect(partial);
        runParams.xyUncertainty(xcVector<2>(u.width(), u.height()));
        const xc2XformLinear start{xcXform<2>()};

        xc_SubModelResultSet results;
        try {
            if (sMask.isBound())
                tool.run(s, sMask, start, runParams, {}, results, &localDiag, 0);
            else
                tool.run(s, start, runParams, {}, results, &localDiag, 0);
        } catch (const xcTimeout::Expired&) {
            throw;
        } catch (const xcException&) {
            continue;  // the pair keeps confusion 0 and the identity offset
        }
        if (!results.empty()) {
            const xc_SubModelResult& best = results.result(0);
            matrix(i, j) = best.score();
            offsets[i][j] = best.pose().linearAt(xcVector<2>()).xform();
        }
    }
}

// Thread entry: computes the row of one work order.
void compileRowWorker(void* argument) {
    auto* data = static_cast<xc_CompileRowData*>(argument);
    if (data == nullptr || data->characters == nullptr || data->matrix == nullptr ||
        data->offsets == nullptr)
        return;
    const xcOCAlphabet::ConstModels& chars = *data->characters;
    const long n = static_cast<long>(chars.size());
    const long i = data->row;
    if (i < 0 || i >= n) return;
    xcNMMatrix& matrix = *data->matrix;
    xcOCAlphabet::OffsetTable& offsets = *data->offsets;
    for (long j = 0; j < n; ++j) {
        matrix(i, j) = j == i ? 1.0 : 0.0;
        offsets[i][j] = xcXform<2>();
    }
    if (chars[i]->charType() == xcOCModel::eBlank)
        blankRow(chars, i, matrix, offsets);
    else
        normalRow(chars, i, matrix, offsets);
}

}  // namespace

void xcOCAlphabet::compile(xcDiagObject* diag, unsigned long flags) {
    if (diag != nullptr && xcDiagObject::shouldRecord(flags, kInputSelector))
        xf_AddAlphabet(diag, this, L"Alphabet Compilation Input", true);

    if (!m_compiled) {
        // A blank row samples the normal characters over the blank's image area, which no
        // image bounds: an area beyond the sampling limits fails here, before any work.
        for (const auto& c : m_characters) {
            const xcPelRect& area = c->imageArea();
            if (c->charType() == xcOCModel::eBlank &&
                (area.width() > xcAffineClippingLimits::kMaxOutputSide ||
                 area.height() > xcAffineClippingLimits::kMaxOutputSide ||
                 area.area() > xcAffineClippingLimits::kMaxOutputPels))
                throw xcOCDefs::BadParams(
                    L"A blank character's image area is too large to score: at most 16777216 "
                    L"pixels and 32767 on a side.");
        }
        xcPersistent::mutating();
        const long n = numChars();
        m_compiled = false;
        m_matrix = xcNMMatrix(std::max(1L, n), std::max(1L, n));
        m_offsets.resize(static_cast<std::size_t>(n));
        for (auto& row : m_offsets) row.assign(static_cast<std::size_t>(n), xcXform<2>());

        for (long start = 0; start < n; start += kBatchSize) {
            const long m = std::min(n - start, kBatchSize);
            std::vector<xc_CompileRowData> orders(static_cast<std::size_t>(m));
            std::vector<xcThreadID> threads;
            threads.reserve(orders.size());
            for (long k = 0; k < m; ++k)
                orders[k] = xc_CompileRowData{&m_characters, start + k, &m_matrix, &m_offsets};
            try {
                for (auto& order : orders)
                    threads.push_back(xfCreateThreadLib(&compileRowWorker, &order,
                                                        kThreadPriority, kThreadStack));
            } catch (...) {
                for (const auto& t : threads) xfWaitForThreadTermination(t);
                throw;
            }
            for (const auto& t : threads) xfWaitForThreadTermination(t);
            xcAttention::check();
        }
        m_compiled = true;
    }

    if (diag != nullptr && xcDiagObject::shouldRecord(flags, kDetailsSelector))
        diag->newDiagRecord()->recordAnnotation(L"Alphabet Compilation Details");
    if (diag != nullptr && xcDiagObject::shouldRecord(flags, kResultsSelector))
        xf_AddAlphabet(diag, this, L"Alphabet Compilation Results", false);
}

void xcOCAlphabet::compileRow_(long row) {
    xc_CompileRowData order{&m_characters, row, &m_matrix, &m_offsets};
    compileRowWorker(&order);
}
