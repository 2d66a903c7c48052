// Grey levels of synthetic images: which tone is ink and which is background.
#pragma once

#include <cmath>
#include <string>

#include "platform/core/exception.h"

// The same values as the module's polarity: dark marks on light, light marks on dark.
enum xcSynthPolarity { eDarkOnLight = 1, eLightOnDark = 2 };

// Two grey levels (0 ... 255, fractions allowed) and which of them is the ink.
struct xcSynthTones {
    xcSynthPolarity polarity = eDarkOnLight;
    double dark = 0.0;
    double light = 255.0;

    double ink() const { return polarity == eDarkOnLight ? dark : light; }
    double background() const { return polarity == eDarkOnLight ? light : dark; }

    // Throws xcBadArgument unless both levels lie in [0, 255] and the polarity is one of the
    // two values.
    void validate() const {
        if (polarity != eDarkOnLight && polarity != eLightOnDark)
            throw xcBadArgument(L"Polarity must be dark-on-light (1) or light-on-dark (2)");
        if (!(dark >= 0.0 && dark <= 255.0))
            throw xcBadArgument(L"Dark grey level must be in [0, 255], got " +
                                std::to_wstring(dark));
        if (!(light >= 0.0 && light <= 255.0))
            throw xcBadArgument(L"Light grey level must be in [0, 255], got " +
                                std::to_wstring(light));
    }
};

// The 8-bit value of a grey level: rounded to nearest (halves up), clamped to [0, 255].
inline unsigned char xfSynthQuantize(double v) {
    if (!(v > 0.0)) return 0;  // NaN included
    if (v >= 255.0) return 255;
    return static_cast<unsigned char>(std::floor(v + 0.5));
}
