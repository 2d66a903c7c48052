// Mirror fill: completes a buffer whose data lie in a rectangle D inside its window by
// reflecting D outward, edge pixel repeated (the pixel next to D repeats D's edge pixel).
#pragma once

#include "platform/core/pel_buffer.h"

// Fills the bands of `buf`'s window around `data` (image coordinates): first the top and
// bottom bands over D's columns from D's rows, then the left and right bands of every row from
// the columns next to them, so corners come from the already filled bands. Asserts (through
// xstd_assert_) that D is not empty and lies inside the window.
void xf_MirrorFill(const xcPelBuffer<unsigned char>& buf, const xcPelRect& data);
