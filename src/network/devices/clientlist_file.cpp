#include "network/devices/clientlist_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace vexonetwork::network {

using vexobase::UniqueFd;

namespace {

constexpr off_t kMaxBytes = off_t{64} << 20;
constexpr mode_t kMode = 0644;

bool IsOwn(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_nlink == 1 && info.st_uid == ::geteuid();
}

/// A stranger's folder is not ours to empty: it goes on beside its place.
void MoveAside(const std::string& folder) {
    std::string other = folder + ".XXXXXX";
    if (::mkdtemp(other.data()) != nullptr && ::rename(folder.c_str(), other.c_str()) != 0) {
        ::rmdir(other.c_str());
    }
}

/// Frees the name of what somebody else has put there.
void Clear(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || IsOwn(info)) {
        return;
    }
    if (S_ISDIR(info.st_mode)) {
        if (info.st_uid != ::geteuid()) {
            MoveAside(path);
        }
    } else if (!S_ISCHR(info.st_mode) && !S_ISBLK(info.st_mode)) {
        ::unlink(path.c_str());
    }
}

/// What the descriptor was opened on, as the name may stand for something else by now.
bool IsPlain(const UniqueFd& fd, struct stat& info) {
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        return false;
    }
    errno = EINVAL;
    return S_ISREG(info.st_mode) && info.st_uid == ::geteuid();
}

}  // namespace

std::optional<std::string> ReadPlainFile(const std::string& path) {
    // A pipe without a writer would keep a plain open waiting.
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!IsPlain(fd, info)) {
        return std::nullopt;
    }
    if (info.st_size > kMaxBytes) {
        errno = EFBIG;
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(info.st_size), '\0');
    std::size_t taken = 0;
    while (taken < text.size()) {
        const ssize_t length = ::read(fd.Get(), text.data() + taken, text.size() - taken);
        if (length < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (length == 0) {
            break;
        }
        taken += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
    text.resize(taken);
    return text;
}

UniqueFd OpenPlainFile(const std::string& path) {
    Clear(path);
    // Not emptied by the open: somebody may have been faster, and then it is not ours to empty.
    UniqueFd fd(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kMode));
    struct stat info {};
    if (!IsPlain(fd, info) || !IsOwn(info) || ::ftruncate(fd.Get(), 0) != 0) {
        fd.Reset();
    }
    return fd;
}

bool WriteAll(const UniqueFd& fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd.Get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

}  // namespace vexonetwork::network
