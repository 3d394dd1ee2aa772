#include "vexobase/replace_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <optional>

#include "vexobase/unique_fd.h"

namespace vexobase {

namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr std::string_view kEnding = ".tmp.";
constexpr std::string_view kDrawn = "XXXXXX";

/// The file that is to take the place of another; removed unless it was renamed there.
class Replacement {
  public:
    explicit Replacement(const std::string& target)
        : path(target + std::string(kEnding) + std::string(kDrawn)) {
        fd.Reset(::mkostemp(path.data(), O_CLOEXEC));
    }
    ~Replacement() {
        if (fd) {
            const int saved = errno;
            ::unlink(path.c_str());
            errno = saved;
        }
    }

    int Fd() const { return fd.Get(); }

    int RenameTo(const std::string& target) {
        if (::rename(path.c_str(), target.c_str()) != 0) {
            return -1;
        }
        fd.Reset();
        return 0;
    }

  private:
    std::string path;
    UniqueFd fd;
};

/// The file that `path` names in the end, also when that file does not exist yet; still a link
/// when there are too many of them.
std::string ResolveLinks(std::string path) {
    constexpr int kMaxLinks = 40;
    for (int i = 0; i < kMaxLinks; ++i) {
        char target[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
        if (length < 0) {
            break;
        }
        const std::string_view link(target, static_cast<size_t>(length));
        const auto folder = link.starts_with('/') ? 0 : path.rfind('/') + 1;
        path.replace(folder, path.npos, link);
    }
    return path;
}

int ErrorOfType(mode_t mode) {
    if (S_ISLNK(mode)) {
        return ELOOP;
    }
    return S_ISDIR(mode) ? EISDIR : EINVAL;
}

using Attributes = std::optional<struct stat>;

/// Reads the attributes of the former file, if there is one. Only a file can be replaced: a device
/// or pipe of that name, also one that a link leads to, would be gone for good.
/// @return 0, or -1 with errno
int ReadAttributes(const std::string& path, Attributes& attributes) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return errno == ENOENT ? 0 : -1;
    }
    if (!S_ISREG(info.st_mode)) {
        errno = ErrorOfType(info.st_mode);
        return -1;
    }
    attributes = info;
    return 0;
}

int WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return -1;
        }
        bytes.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
    return 0;
}

int TakeOver(const Attributes& former, int fd) {
    if (!former) {
        return ::fchmod(fd, kNewFileMode);
    }
    if ((former->st_uid != ::geteuid() || former->st_gid != ::getegid())
        && ::fchown(fd, former->st_uid, former->st_gid) != 0) {
        return -1;
    }
    return ::fchmod(fd, former->st_mode & 07777);
}

void SyncFolderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
    const UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd) {
        ::fsync(fd.Get());
    }
}

}  // namespace

int ReplaceFile(const std::string& path, std::string_view contents, FolderSync folderSync) {
    const std::string target = ResolveLinks(path);
    Attributes former;
    if (ReadAttributes(target, former) != 0) {
        return -1;
    }
    Replacement replacement(target);
    if (replacement.Fd() < 0 || WriteAll(replacement.Fd(), contents) != 0
        || TakeOver(former, replacement.Fd()) != 0 || ::fsync(replacement.Fd()) != 0
        || replacement.RenameTo(target) != 0) {
        return -1;
    }
    // The new contents already stand; a folder that cannot be synced only risks the rename
    // in a power cut, and the former file is then still whole.
    if (folderSync == FolderSync::kNow) {
        SyncFolderOf(target);
    }
    return 0;
}

bool IsTemporaryName(std::string_view name) {
    const auto ending = name.rfind(kEnding);
    return ending != name.npos && name.size() == ending + kEnding.size() + kDrawn.size();
}

}  // namespace vexobase
