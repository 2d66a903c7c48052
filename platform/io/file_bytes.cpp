#include "platform/io/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"

namespace {

std::wstring reason(int err) { return xfFromUtf8(std::strerror(err)); }

// Closes a descriptor on scope exit unless released.
struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

}  // namespace

std::wstring xf_IOName(const std::filesystem::path& path) { return xfFromUtf8(path.string()); }

std::vector<unsigned char> xf_ReadFileBytes(const std::filesystem::path& path) {
    Fd f;
    f.fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (f.fd < 0) throw xcIOError(L"Cannot open '" + xf_IOName(path) + L"': " + reason(errno));
    struct stat st {};
    if (::fstat(f.fd, &st) != 0)
        throw xcIOError(L"Cannot read '" + xf_IOName(path) + L"': " + reason(errno));
    if (S_ISDIR(st.st_mode))
        throw xcIOError(L"Cannot read '" + xf_IOName(path) + L"': it is a directory");

    std::vector<unsigned char> bytes;
    if (S_ISREG(st.st_mode) && st.st_size > 0) bytes.reserve(static_cast<std::size_t>(st.st_size));
    unsigned char chunk[1 << 16];
    for (;;) {
        const ssize_t n = ::read(f.fd, chunk, sizeof chunk);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            throw xcIOError(L"Cannot read '" + xf_IOName(path) + L"': " + reason(errno));
        }
        bytes.insert(bytes.end(), chunk, chunk + n);
    }
    return bytes;
}

void xf_WriteFileAtomically(const std::filesystem::path& path,
                            const std::vector<unsigned char>& bytes) {
    static std::atomic<unsigned long> counter{0};
    std::filesystem::path tmp = path;
    tmp += ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);

    const auto fail = [&](const std::wstring& why, bool created) {
        if (created) ::unlink(tmp.c_str());
        throw xcIOError(L"Cannot write '" + xf_IOName(path) + L"': " + why);
    };

    Fd f;
    f.fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (f.fd < 0) fail(reason(errno), false);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(f.fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(reason(errno), true);
        }
        done += static_cast<std::size_t>(n);
    }
    const int fd = f.fd;
    f.fd = -1;
    if (::close(fd) != 0) fail(reason(errno), true);
    if (::rename(tmp.c_str(), path.c_str()) != 0) fail(reason(errno), true);
}
