// The OC Arranger: where do the characters of a target string stand in an image?
//
// xfOCArrange finds every instance of every target character (one geometric pattern per
// distinct key, any angle, the parameters' scale range), chooses for each target position the
// instance that fits a straight or circular line of text best, and answers per position:
//   eMatched   a found character stands there (score and pose of that instance);
//   eInferred  no character was found there, but the position lies on a line between matched
//              characters: its pose is where the line model puts it (score 0), unless a
//              correlation search at that pose found the character after all (then eMatched);
//   eUnknown   the position could not be placed (score 0).
// Lines may be straight or circular at any angle; several lines are allowed (maxLines).
//
// Frames: the image's client frame throughout. A character pose maps the character model's
// client frame (its image's client-from-image transform) into the image's client frame.
// results.arrangement() holds one xcOCLine per line; results.clientFromArrangementXform() maps
// the arrangement's frame (the rigid pose of the first character) into the image's client
// frame.
//
// Example: find "LOT 42" in `image`, with an alphabet built from trained character images.
//
//     #include "oc/arrange/arrange.h"
//
//     std::vector<long> target;                     // one key per position
//     for (wchar_t c : std::wstring(L"LOT 42")) target.push_back(c);  // keys = code points
//     xcOCArrangeParams params;                     // defaults: scale 0.9 ... 1.1, any line
//     params.lineType(xcOCArrangeDefs::eStraight);
//     params.maxLines(1);
//     xcOCArrangeResults results;
//     xfOCArrange(image, alphabet, target, params, results, nullptr, 0);
//     for (std::size_t i = 0; i < target.size(); ++i)
//         if (results.statusFlags()[i] != xcOCArrangeDefs::eMatched) { /* reject the part */ }
//
// Errors, all before anything is searched: an unbound image or (second overload) mask,
// xcPel::UnboundWindow; a mask whose window differs in size or offset from the image's,
// xcOCArrangeDefs::BadMask; a target key the alphabet lacks, xcOCDefs::BadKey. A caller's own
// time-out or cancellation (xcAttention) ends the call with the core library's exception.
// params.timeout() bounds each character's search: a character that runs out of time keeps
// what it found, and results.isSearchTruncated() is then true.
//
// Diagnostics (diag may be null): flags 0x10000 record the input ("OC Arranger: Input"),
// 0x40000 the intermediate steps ("OC Arranger: Intermediate", "Search for characters",
// "Build arrangement"), 0x20000 the output ("OC Arranger: Output"). Records never change the
// results; xfWriteDiagHtml (platform/diag/html_writer.h) turns them into a report page.
//
// Cost: one pattern training per distinct key plus one search of the image per key, then a
// best-first path search bounded by params.maxCandidates(). Re-entrant: one call per image
// may run on each thread; the caller must not change the inputs during a call.
#pragma once

#include <vector>

#include "oc/arrange/arrange_defs.h"
#include "oc/arrange/arrange_params.h"
#include "oc/arrange/arrange_results.h"
#include "oc/font/alphabet.h"
#include "platform/core/pel_buffer.h"

class xcDiagObject;

// Arranges the target `keys` (alphabet keys, one per position, repetitions allowed) found in
// `image`; fills `results` (reset to defaults first, once the inputs are valid).
void xfOCArrange(const xcPelBuffer_const<unsigned char>& image, const xcOCAlphabet& alphabet,
                 const std::vector<long>& keys, const xcOCArrangeParams& params,
                 xcOCArrangeResults& results, xcDiagObject* diag = nullptr,
                 unsigned long flags = 0);

// The same with a care mask over the image's window: pels >= 128 are searched, pels < 128
// are not. The mask must be bound and have the image's window size and offset.
void xfOCArrange(const xcPelBuffer_const<unsigned char>& image,
                 const xcPelBuffer_const<unsigned char>& mask, const xcOCAlphabet& alphabet,
                 const std::vector<long>& keys, const xcOCArrangeParams& params,
                 xcOCArrangeResults& results, xcDiagObject* diag = nullptr,
                 unsigned long flags = 0);

// The pose of target position `position` in the image's client frame, scale included, read
// back from the results' arrangement (line pose, character pose and scale, composed with
// clientFromArrangementXform()): where the character's model client frame lies in the image.
// Throws xcOCDefs::BadIndex "Invalid position index." when the results hold no arrangement or
// no such position.
xcXform<2> xfOCArrangeCharPose(const xcOCArrangeResults& results, long position);

// The worker of both: `mask` may be unbound (no mask).
void xfOCArrange_(const xcPelBuffer_const<unsigned char>& image,
                  const xcPelBuffer_const<unsigned char>& mask, const xcOCAlphabet& alphabet,
                  const std::vector<long>& keys, const xcOCArrangeParams& params,
                  xcOCArrangeResults& results, xcDiagObject* diag, unsigned long flags);
