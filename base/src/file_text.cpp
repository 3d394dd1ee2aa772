#include "vexobase/file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "vexobase/unique_fd.h"

namespace vexobase {

namespace {

constexpr size_t kLeastBuffer = 4096;

/// Reads until the buffer is full or the file ends.
ssize_t Fill(int fd, char* buffer, size_t room) {
    size_t filled = 0;
    while (filled < room) {
        const ssize_t got = ::read(fd, buffer + filled, room - filled);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            return -1;
        }
        filled += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return static_cast<ssize_t>(filled);
}

/// A file as long as it was when it was opened. It spares the read that tells the end.
std::optional<FileText> ReadKnown(int fd, size_t size) {
    auto bytes = std::make_unique_for_overwrite<char[]>(size);
    const ssize_t got = Fill(fd, bytes.get(), size);
    return got < 0 ? std::nullopt
                   : std::optional(FileText(std::move(bytes), static_cast<size_t>(got)));
}

std::optional<FileText> ReadAll(int fd, size_t room) {
    auto bytes = std::make_unique_for_overwrite<char[]>(room);
    size_t size = 0;
    for (;;) {
        const ssize_t got = Fill(fd, bytes.get() + size, room - size);
        if (got < 0) {
            return std::nullopt;
        }
        size += static_cast<size_t>(got);
        if (size > kMaxFileBytes) {
            errno = EFBIG;
            return std::nullopt;
        }
        if (size < room) {
            return FileText(std::move(bytes), size);
        }
        auto larger = std::make_unique_for_overwrite<char[]>(room * 2);
        std::memcpy(larger.get(), bytes.get(), size);
        bytes = std::move(larger);
        room *= 2;
    }
}

}  // namespace

std::optional<FileText> ReadFileText(const char* path) {
    // Some files stand in folders that others may write to: a pipe put there must not hold us up.
    const UniqueFd fd(::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        return std::nullopt;
    }
    const auto size = std::min(static_cast<size_t>(info.st_size), kMaxFileBytes);
    if (S_ISREG(info.st_mode) && size > 0 && size < kMaxFileBytes) {
        return ReadKnown(fd.Get(), size);
    }
    return ReadAll(fd.Get(), std::max(size + 1, kLeastBuffer));
}

}  // namespace vexobase
