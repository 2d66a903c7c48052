// Module-private file access of the image readers and writers: whole-file reads with clear
// errors, and writes that never leave a half-written file behind.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The file name as shown in messages (its UTF-8 bytes decoded).
std::wstring xf_IOName(const std::filesystem::path& path);

// Every byte of the file. Throws xcIOError naming the file when it is missing, is a directory
// or cannot be read.
std::vector<unsigned char> xf_ReadFileBytes(const std::filesystem::path& path);

// Writes `bytes` to path + ".tmp-<pid>-<n>", then renames it over `path`: a reader sees either
// the old file or the complete new one. On failure the temporary file is removed, `path` is
// untouched, and xcIOError names the file and the reason.
void xf_WriteFileAtomically(const std::filesystem::path& path,
                            const std::vector<unsigned char>& bytes);
