// Moving a character's client frame: the client coordinates of a buffer made smaller by a
// vector, whatever its client-from-image transform. A linear transform takes the translation
// into its matrix; a non-linear one is wrapped (once: shifting a wrapped transform again only
// adds to its shift).
#pragma once

#include "platform/core/pel_buffer.h"
#include "platform/core/vector.h"

// Makes the client coordinates of `buffer` smaller by v: the point that had client
// coordinates p has p - v afterwards. The pixels and the window do not change.
void xf_ShiftClientFrame(xc_PelBuffer& buffer, const xcVector<2>& v);
