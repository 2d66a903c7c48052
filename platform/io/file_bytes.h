// Module-private file access of the image readers and writers: whole-file reads with clear
// errors, and writes that never leave a half-written file behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// The file name as shown in messages (its UTF-8 bytes decoded).
std::wstring xf_IOName(const std::filesystem::path& path);

// Checks the first bytes of a file (fewer than asked when the file is shorter) and throws
// xcIOError when they cannot start what the caller reads.
using xf_FileHeadCheck = std::function<void(const unsigned char* head, std::size_t size)>;

// Every byte of the regular file at `path`. The file is opened without blocking (a FIFO
// without a writer does not hang) and refused unless it is a regular file of at most
// `maxBytes` bytes; then its first `headBytes` bytes go through `checkHead` (when given)
// before the rest is read, so content of the wrong kind costs a few bytes of reading. Throws
// xcIOError naming the file when it is missing, is a directory, a device, a FIFO or a socket,
// is too large, or cannot be read.
std::vector<unsigned char> xf_ReadFileBytes(const std::filesystem::path& path,
                                            std::uint64_t maxBytes,
                                            std::size_t headBytes = 0,
                                            const xf_FileHeadCheck& checkHead = {});

// Writes `bytes` to path + ".tmp-<pid>-<n>", then renames it over `path`: a reader sees either
// the old file or the complete new one. On failure the temporary file is removed, `path` is
// untouched, and xcIOError names the file and the reason.
void xf_WriteFileAtomically(const std::filesystem::path& path,
                            const std::vector<unsigned char>& bytes);
