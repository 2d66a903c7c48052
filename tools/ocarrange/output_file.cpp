#include "tools/ocarrange/output_file.h"

#include <cstdio>
#include <filesystem>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"

xcOutputFile::xcOutputFile(const std::string& path) : m_path(path) {
    if (path == "-") {
        m_stdout = true;
        m_file = stdout;
        return;
    }
    m_tmp = path + ".part";
    m_file = std::fopen(m_tmp.c_str(), "wb");
    if (!m_file) throw xcBadArgument(xfFromUtf8("cannot create the file '" + path + "'"));
}

xcOutputFile::~xcOutputFile() {
    if (m_stdout || !m_file) return;
    std::fclose(m_file);
    std::remove(m_tmp.c_str());
}

void xcOutputFile::line(const std::string& text) {
    std::fputs(text.c_str(), m_file);
    std::fputc('\n', m_file);
    if (m_stdout) std::fflush(m_file);
}

void xcOutputFile::commit() {
    if (m_stdout) {
        std::fflush(stdout);
        return;
    }
    const bool ok = std::fflush(m_file) == 0 && !std::ferror(m_file);
    std::fclose(m_file);
    m_file = nullptr;
    std::error_code ec;
    if (ok) std::filesystem::rename(m_tmp, m_path, ec);
    if (!ok || ec) {
        std::remove(m_tmp.c_str());
        throw xcBadArgument(xfFromUtf8("cannot write the file '" + m_path + "'"));
    }
}
