// Refinement of an arrangement: the positions whose pose was only inferred from their
// neighbours on the line are searched again, right where they were inferred, by correlation.
//
// For every distinct key of the target (blank characters excepted) one rotation- and
// scale-tolerant correlation model (oc/extract/rsi_ncc_search.h) is trained on the character's
// image area, at angles -3 ... 3 degrees in steps of 0.5 and scales 0.95 ... 1.065 in relative
// steps of 3 % (13 x 4 = 52 variants). The search image around each inferred pose is resampled
// upright and at model scale into the character's own pixel frame (the refinement region), and
// the model is run there; when it finds the character, the position becomes matched with the
// found pose and score.
//
// Frames. A pose maps the character model's client frame into the search image's client frame.
// The refinement region's pixels are the model image's pixel grid around the character's
// window, and its client coordinates are the search image's (a region point keeps the client
// coordinates of the image point it was sampled from).
#pragma once

#include <vector>

#include "oc/arrange/arrange_defs.h"
#include "oc/arrange/arrange_records.h"
#include "oc/extract/rsi_ncc_search_params.h"
#include "oc/font/alphabet.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/rep_base.h"
#include "platform/core/xform.h"

class xcDiagObject;

// The variant grid the refinement trains per key (angles -3 ... 3 degrees step 0.5, scales
// 0.95 ... 1.065 in relative steps of 0.03, base scale 1) and how it runs the models (accept
// 0.3, confusion 0.4, overlap 0.1, one instance, the default search rectangle).
xcRSINccSearchParams xf_RefineGridParams();
xcRSINccSearchRunParams xf_RefineRunParams();

// The whole-pixel rectangle (model image coordinates) that holds `start` scaled by 1.05 and
// turned by up to +-5 degrees about its centre: the bounding box of the arc of the circle
// through the corners of the scaled rectangle swept +-5 degrees about a corner, united with its
// reflection through the centre, its upper-left corner rounded down and its lower-right corner
// rounded up (a value within a relative 1e-11 of a whole number counts as that number).
xcPelRect xf_RefineBoundingRect(const xcPelRect& start);

// Cuts the refinement region of a character whose model window is `modelWindow` (model image
// coordinates), whose model image has the client-from-image transform `modelClientFromImage`,
// at the pose `pose` (model client -> search image client). Two attempts: the window grown by a
// third of its width on both sides along x and a third of its height along y (rounded down),
// then the window itself; each covers its bounding rectangle (xf_RefineBoundingRect) sampled
// bilinearly at one pixel per model pixel. The first attempt whose sampling stays inside the
// search image's whole buffer gives the region: window = that bounding rectangle (model image
// coordinates), client-from-image = pose o modelClientFromImage. Returns false, leaving
// `region` unbound, when the window is empty or both attempts would leave the image.
// Throws the sampling's errors (xcPel::UnboundWindow for an unbound image, xcBadArgument for a
// search image whose client transform is not linear or a pose that is not finite).
bool xf_CutRefineRegion(const xcPelBuffer_const<unsigned char>& image, const xcPelRect& modelWindow,
                        const xcXform<2>& modelClientFromImage, const xcXform<2>& pose,
                        xcPelBuffer<unsigned char>& region);

// What one refinement did, for callers that watch its cost.
struct xc_RefineCounts {
    long modelsBuilt = 0;     // correlation models trained (one per distinct non-blank key)
    long regionsCut = 0;      // inferred positions whose region could be cut
    long positionsFound = 0;  // inferred positions turned into matches
};

// Refines the inferred positions of an arrangement in place. keys, poses and statuses (and
// scores) have one entry per target position. Positions in target order; at the first
// position of each distinct key whose character is not blank, the key's model is trained from
// the character's image and mask windowed to its image area, then every position of that key
// from there on whose status is eInferred is searched: when the character is found there, its
// status becomes eMatched, its pose the best instance's pose over all variants (in the model's
// client frame) and its score that instance's score. Positions that are eMatched or eUnknown,
// blank characters, and positions whose region cannot be cut are left as they are; scores are
// written only at refined positions.
//
// Errors. Before any change: the keys must all be characters of the alphabet
// (xcOCDefs::BadKey) and the vectors must have one entry per key (xstd_assert_). While
// refining: xcTimeout::Expired from training or running a model ends the refinement with that
// exception (the positions refined so far keep their new values); any other xcException of a
// key's training skips that key's positions (they are tried again at the key's next position),
// and of a position's run leaves that position unchanged. diag and flags are not used: the
// refinement makes no diagnostics. `counts`, when not null, receives what was done.
void xf_RefineArrangement(const xcPelBuffer_const<unsigned char>& image,
                          const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                          const std::vector<long>& keys, std::vector<xc_Pose>& poses,
                          std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                          std::vector<double>& scores, xcDiagObject* diag, unsigned long flags,
                          xc_RefineCounts* counts = nullptr);
