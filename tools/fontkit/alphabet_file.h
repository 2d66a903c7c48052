// Alphabet files: an alphabet written with the module's own persistence (one archive holding
// the alphabet as a persistent pointer, so its models, matrix and offsets round-trip exactly).
//
// Reading checks what it reads: a file that is not an archive, a truncated one or one holding
// something else than an alphabet throws xcBadArgument naming the file and the reason;
// nothing is returned half read. Writing goes to a temporary file beside the target that is
// renamed over it at the end, so a failed write leaves no partial file.
#pragma once

#include <filesystem>

#include "oc/font/alphabet.h"

xcPtrHandle<xcOCAlphabet> xfReadAlphabetFile(const std::filesystem::path& path);
void xfWriteAlphabetFile(const xcPtrHandle_const<xcOCAlphabet>& alphabet,
                         const std::filesystem::path& path);

// True when the file starts like an archive (the magic bytes), whatever it holds.
bool xfLooksLikeArchiveFile(const std::filesystem::path& path);
