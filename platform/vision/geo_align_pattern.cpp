#include "platform/vision/geo_align_pattern.h"

#include <cmath>
#include <new>
#include <string>

#include "platform/core/attention.h"
#include "platform/core/timeout.h"
#include "platform/core/timer.h"
#include "platform/vision/geo_align_image.h"
#include "platform/vision/geo_align_model.h"
#include "platform/vision/geo_align_search.h"

namespace {

std::wstring widen(const char* s) {
    std::wstring w;
    for (; *s; ++s) w.push_back(static_cast<unsigned char>(*s));
    return w;
}

}  // namespace

xcGeoAlignPattern::xcGeoAlignPattern() = default;
xcGeoAlignPattern::~xcGeoAlignPattern() = default;
xcGeoAlignPattern::xcGeoAlignPattern(const xcGeoAlignPattern&) = default;
xcGeoAlignPattern& xcGeoAlignPattern::operator=(const xcGeoAlignPattern&) = default;

void xcGeoAlignPattern::grainLimits(double fine, double coarse) {
    m_fine = fine;
    m_coarse = coarse;
}

void xcGeoAlignPattern::train(const xcPelBuffer_const<unsigned char>& image, long trainFlags,
                              xcDiagObject*, unsigned long) {
    std::shared_ptr<const xc_GeoModel> model =
        xf_GeoTrain(image, trainFlags, m_autoGrain, m_fine, m_coarse);
    if (m_autoGrain) {
        m_fine = xf_GeoGrain(model->fineLevel);
        m_coarse = xf_GeoGrain(model->coarseLevel);
    }
    m_model = std::move(model);
}

const xc_GeoModel& xcGeoAlignPattern::model_() const {
    if (!m_model) throw xc_GeoDefs::NotTrained(L"The geometric pattern is not trained");
    return *m_model;
}

const xc2XformBase& xcGeoAlignPattern::trainClientFromImage() const {
    return *model_().clientFromImage;
}

xcPelRect xcGeoAlignPattern::trainWindow() const { return model_().window; }

long xcGeoAlignPattern::trainFlags() const { return model_().trainFlags; }

long xcGeoAlignPattern::numLevels() const { return static_cast<long>(model_().levels.size()); }

long xcGeoAlignPattern::numFitPoints() const {
    return static_cast<long>(model_().fitPoints.size());
}

void xcGeoAlignPattern::run(const xcPelBuffer_const<unsigned char>& image,
                            const xcGeoAlignRunParams& params, xcGeoAlignResultSet& results,
                            xcDiagObject* diag, unsigned long flags) const {
    run(image, xcPelBuffer_const<unsigned char>(), params, results, diag, flags);
}

void xcGeoAlignPattern::run(const xcPelBuffer_const<unsigned char>& image,
                            const xcPelBuffer_const<unsigned char>& mask,
                            const xcGeoAlignRunParams& params, xcGeoAlignResultSet& results,
                            xcDiagObject*, unsigned long) const {
    xc_GeoImageCache own(image, mask, false);
    run_(own, params, results);
}

void xcGeoAlignPattern::run(const xcGeoAlignImage& image, const xcGeoAlignRunParams& params,
                            xcGeoAlignResultSet& results, xcDiagObject*, unsigned long) const {
    run_(image.cache_(), params, results);
}

void xcGeoAlignPattern::run_(xc_GeoImageCache& cache, const xcGeoAlignRunParams& params,
                             xcGeoAlignResultSet& results) const {
    const xcPelBuffer_const<unsigned char>& image = cache.image;
    const xcPelBuffer_const<unsigned char>& mask = cache.mask;
    results.clear();
    const xcTimer timer(true);
    try {
        if (!m_model)
            throw xc_GeoDefs::BadRunInput(L"Geometric alignment run: the pattern is not trained");
        if (!image.isBound())
            throw xc_GeoDefs::BadRunInput(L"Geometric alignment run: the image is unbound");
        if (mask.isBound() && !mask.window().contains(image.window()))
            throw xc_GeoDefs::BadRunInput(
                L"Geometric alignment run: the mask's window does not contain the image's window");
        xcGeoAlignResultSet out;
        xf_GeoSearch(*m_model, cache, params, out);
        out.time(timer.elapsed());
        results = std::move(out);
    } catch (const xcTimeout::Expired&) {
        throw;
    } catch (const xcTimeout::InternalExpired&) {
        throw;
    } catch (const xcAttention::Aborted&) {
        throw;
    } catch (const xc_GeoDefs::InternalError&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw xc_GeoDefs::InternalError(L"Geometric alignment run: out of memory");
    } catch (const xcException& e) {
        throw xc_GeoDefs::InternalError(L"Geometric alignment run failed: " + e.message());
    } catch (const std::exception& e) {
        throw xc_GeoDefs::InternalError(L"Geometric alignment run failed: " + widen(e.what()));
    }
}
