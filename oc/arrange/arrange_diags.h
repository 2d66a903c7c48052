// The arranger's diagnostic records: what xfOCArrange was given, how it built its
// arrangement, and what it returns, as image records of the search image with named texts and
// graphics attached (diag_object.h). Graphics are in client coordinates (coordinate system 2)
// of the search image; texts follow the layouts of arrange_diag_text.h.
//
// Records and their nesting (L = the diagnostics object's level when the call starts; every
// call leaves the level as it found it, also when it throws):
//   xf_AddArrangeInputDiags      L    "OC Arranger: Input"   texts "Image info", "Alphabet
//                                                           info", "Target string", "Run params"
//                                L+1  "Runtime mask"         (only when the mask is bound)
//                                L+1  "Alphabet details"     and its characters (alphabet report)
//   xf_AddBuildArrangementDiags  L+1  "Build arrangement"    per line l: graphics "Line #l
//                                                           graphics", text "Line #l details";
//                                                           then text "Arrangement cost"
//   xf_AddArrangeOutputDiags     L    "OC Arranger: Output"  text "Overall info", graphics
//                                                           "Arrangement graphics" (every line)
//                                L+1  "Details for line #l"  graphics "Graphics", text "Details"
//
// None of these calls changes anything but the diagnostics object, and none does anything
// when diag is null. Sizes that the arranger keeps consistent (the cost record's per-position
// vectors against the keys, a line's per-position vectors) are checked with the C-level
// assertion (xcAssertionFailure), before any record is made.
#pragma once

#include <vector>

#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_records.h"
#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "oc/font/oc_line.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/rigid.h"
#include "platform/diag/diag_object.h"
#include "platform/diag/graphic_list.h"

// The input record (the caller checks the 0x10000 flag). `mask` may be unbound (no mask).
void xf_AddArrangeInputDiags(const xcPelBuffer_const<unsigned char>& image,
                             const xcPelBuffer_const<unsigned char>& mask,
                             const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                             const xcOCArrangeParams& params, xcDiagObject* diag);

// "Build arrangement" (the caller checks the 0x40000 flag and the image's transform): per line
// of `bestPath`, its fitted line or arc (red), the graphic of each matched (green) or inferred
// (orange) character at its pose, and a cost table; then the total cost. Records nothing when
// `finalValid` is false. The cost record's per-position vectors must have one entry per key.
void xf_AddBuildArrangementDiags(const xcPelBuffer_const<unsigned char>& image,
                                 const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                                 const std::vector<xc_CharData>& charData,
                                 const std::vector<xc_Pose>& poses,
                                 const std::vector<double>& scores,
                                 const std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                                 const xcOCArrangeParams& params, const xc_ArrangePath& bestPath,
                                 const xc_ArrangeCost& cost, bool finalValid, xcDiagObject* diag);

// The output record, when `flags` selects 0x20000: the results' overview and, per line of the
// arrangement, a nested "Details for line #l" record (xf_AddArrangeLineDetails).
void xf_AddArrangeOutputDiags(const xcPelBuffer_const<unsigned char>& image,
                              const std::vector<long>& keys, const xcOCAlphabet& alphabet,
                              const xcOCArrangeResults& results, xcDiagObject* diag,
                              unsigned long flags);

// The details of one line of an arrangement, attached to the record that the caller has just
// made ("Graphics", then "Details"): the text of every position and character, and, appended
// to `graphics` (shared by all lines), each drawn character at clientFromArrangement ∘
// linePose ∘ character pose ∘ scale and the line's enclosing rectangle (yellow) when one of
// its characters is not eUnknown. A character's status is that of the first target position
// holding its key (eUnknown when none does). Nothing happens for a null line or a null diag.
// The line's numbers of positions, poses, scales and key sets must agree.
void xf_AddArrangeLineDetails(const xcPtrHandle_const<xcOCLine>& line, const xc2Rigid& linePose,
                              const std::vector<long>& keys,
                              const std::vector<xcOCArrangeDefs::CharStatus>& statuses,
                              const xcXform<2>& clientFromArrangement, xcDiagObject* diag,
                              xcGraphicList& graphics);
