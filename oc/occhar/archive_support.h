// Archive helpers shared by the character records (module-private).
//
// - The records raise their unknown-version errors with the source name "oc/occhar" and a
//   fixed number per record (the key 136, the metrics 504, the character 1428), so that a
//   reader of the message can tell which record was too new.
#pragma once

#include <string>

#include "platform/core/archive.h"

// The unknown-version error of a character record.
xcArchive::UnknownVersion xf_OCCharUnknownVersion(long number);
