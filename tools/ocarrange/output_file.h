// An output file that appears whole or not at all: lines go to a temporary file beside the
// target, renamed over it by commit(); a file not committed is removed. "-" writes to
// standard output directly.
#pragma once

#include <cstdio>
#include <string>

class xcOutputFile {
public:
    // Throws xcBadArgument when the file cannot be created.
    explicit xcOutputFile(const std::string& path);
    ~xcOutputFile();
    xcOutputFile(const xcOutputFile&) = delete;
    xcOutputFile& operator=(const xcOutputFile&) = delete;

    // Writes `text` and a newline.
    void line(const std::string& text);
    // Finishes the file (renames it into place). Throws xcBadArgument on a write error.
    void commit();

private:
    std::string m_path, m_tmp;
    std::FILE* m_file = nullptr;
    bool m_stdout = false;
};
