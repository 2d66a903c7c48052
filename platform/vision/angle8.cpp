#include "platform/vision/angle8.h"

namespace xc_Angle8Detail {

const Thresholds& thresholds() {
    static const Thresholds t = [] {
        Thresholds r{};
        for (int j = 0; j < 32; ++j)
            r.v[j] = static_cast<std::int64_t>(
                std::llround(std::tan((j + 0.5) * std::numbers::pi / 128.0) * 65536.0));
        return r;
    }();
    return t;
}

}  // namespace xc_Angle8Detail
