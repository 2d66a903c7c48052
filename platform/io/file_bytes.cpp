#include "platform/io/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

std::vector<unsigned char> xf_ReadFileBytes(const std::filesystem::path& path,
                                            std::uint64_t maxBytes, std::size_t headBytes,
                                            const xf_FileHeadCheck& checkHead) {
    const auto fail = [&](const std::wstring& why) {
        throw xcIOError(L"Cannot read '" + xf_IOName(path) + L"': " + why);
    };
    Fd f;
    // Non-blocking, so that opening a FIFO without a writer returns at once.
    f.fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (f.fd < 0) throw xcIOError(L"Cannot open '" + xf_IOName(path) + L"': " + reason(errno));
    struct stat st {};
    if (::fstat(f.fd, &st) != 0) fail(reason(errno));
    if (S_ISDIR(st.st_mode)) fail(L"it is a directory");
    if (!S_ISREG(st.st_mode)) fail(L"it is not a regular file (a device, a FIFO or a socket)");
    const auto tooLarge = [&](std::uint64_t size) {
        fail(L"the file has " + std::to_wstring(size) + L" bytes, more than the " +
             std::to_wstring(maxBytes) + L" it may have");
    };
    if (static_cast<std::uint64_t>(st.st_size) > maxBytes)
        tooLarge(static_cast<std::uint64_t>(st.st_size));

    std::vector<unsigned char> bytes;
    const auto readUpTo = [&](std::size_t want) {
        unsigned char chunk[1 << 16];
        while (bytes.size() < want) {
            const std::size_t ask = std::min(sizeof chunk, want - bytes.size());
            const ssize_t n = ::read(f.fd, chunk, ask);
            if (n == 0) return false;
            if (n < 0) {
                if (errno == EINTR) continue;
                fail(reason(errno));
            }
            bytes.insert(bytes.end(), chunk, chunk + n);
        }
        return true;
    };
    bool more = true;
    if (checkHead) {
        more = readUpTo(headBytes);
        checkHead(bytes.data(), bytes.size());
    }
    bytes.reserve(static_cast<std::size_t>(st.st_size));
    // The file may grow while it is read: one byte beyond the limit is enough to refuse it.
    if (more && readUpTo(static_cast<std::size_t>(maxBytes) + 1)) tooLarge(bytes.size());
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
