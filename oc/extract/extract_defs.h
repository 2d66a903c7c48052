#pragma once

struct xc_OCExtractDefs {
    enum Symmetry { eNotSymmetric = 0, eSymmetric180 = 1, eSymmetricAllAngles = 2 };
};
