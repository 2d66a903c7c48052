// Archive helpers shared by the character records (module-private).
//
// - The records raise their unknown-version errors with the source name "oc/occhar" and a
//   fixed number per record (the key 136, the metrics 504, the character 1428), so that a
//   reader of the message can tell which record was too new.
// - Strings of 32-bit character codes (names and descriptions) are archived as a u32 count
//   followed by that many u32 codes, the same form as a wide string.
#pragma once

#include <string>

#include "platform/core/archive.h"

// The unknown-version error of a character record.
xcArchive::UnknownVersion xf_OCCharUnknownVersion(long number);

// Exchanges a string of 32-bit codes. Loading checks the count against the bytes left before
// allocating and replaces `s` only on success (xcArchive::BadData otherwise).
void xf_OCCharArchiveCodes(xcArchive& ar, std::u32string& s);
