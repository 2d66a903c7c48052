// ocarrange's batches: every image of a folder (PNG and PGM files, in name order) or of a list
// file (one path per line, relative to the list's folder), arranged by worker threads, one
// library call per image. JSON lines come out in input order; a progress line on a terminal;
// a summary at the end.
#pragma once

#include <string>
#include <vector>

#include "oc/font/alphabet.h"
#include "tools/ocarrange/options.h"

// The images of a --batch argument. Throws xcBadArgument when it names nothing usable.
std::vector<std::string> xfBatchImages(const std::string& dirOrList);

// Runs the batch; returns the exit code (0 all matched, 1 some image not all matched or not
// readable, 2 never: usage errors are found before).
int xfRunBatch(const xcArrangeCliOptions& options, const xcOCAlphabet& alphabet);
