#pragma once

#include <sys/stat.h>

namespace vexobase {

/// Whether a path, links not followed, still names the file that is open: the same device and
/// inode. A file that was removed and made anew is another one.
inline bool NamesOpenFile(const char* path, int fd) noexcept {
    struct stat open {};
    struct stat named {};
    return ::fstat(fd, &open) == 0 && ::lstat(path, &named) == 0 && open.st_dev == named.st_dev
           && open.st_ino == named.st_ino;
}

}  // namespace vexobase
