// Reports of the character records, for people reading diagnostics (never read back).
//
// xf_OCCharKeyText renders a key as four lines, each ending in a line feed:
//     Character code : <code>
//     Instance : <instance>
//     Variant : <variant>
//     FontID : <font ID>
// with the numbers as xfStr prints them; open values print as numbers (63488, -1).
//
// xf_AddOCChar writes one record for a character: its whole image (image(false), shared
// pixels) under the title, a text "Key" holding "Name : <name>\n" (left out when the name is
// not representable), the key text and "Polarity : <1, 2 or 4>\n", and one graphic list
// "rect(s)" of unfilled rectangle outlines - the mark rect in green and the cell rect in
// orange - drawn in client coordinates (system 2) when more client rectangles than image
// rectangles are specified, otherwise in image coordinates (system 1). Detected mark
// rectangles are not drawn.
#pragma once

#include <string>

#include "oc/occhar/char_key.h"
#include "oc/occhar/oc_char.h"
#include "platform/diag/diag_object.h"

std::wstring xf_OCCharKeyText(const xcOCCharKey& key);

// Returns the new record, owned by `diag`; null (and nothing done) when diag is null. Errors
// of the diagnostics and graphics libraries and of reading the metrics pass to the caller;
// the image record may then already exist.
xcDiagRecord* xf_AddOCChar(xcDiagObject* diag, const xcOCChar& c, const std::wstring& title);
