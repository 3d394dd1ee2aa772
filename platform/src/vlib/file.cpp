#include "vlib/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vexobase/same_file.h>
#include <vexobase/unique_fd.h>

#include "szlist_text.h"
#include "vlib/error.h"

namespace {

enum WantedType { kFiles = 2, kFolders = 1 };

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using UniqueDir = std::unique_ptr<DIR, CloseFolder>;

/// The entry's type, also on file systems that do not tell it with the name.
unsigned char TypeOf(DIR* folder, const dirent& entry) {
    struct stat info {};
    if (entry.d_type != DT_UNKNOWN
        || ::fstatat(::dirfd(folder), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return entry.d_type;
    }
    return static_cast<unsigned char>(IFTODT(info.st_mode));
}

bool IsWanted(unsigned char type, int wanted) {
    return ((wanted & kFiles) != 0 && (type == DT_REG || type == DT_LNK))
           || ((wanted & kFolders) != 0 && type == DT_DIR);
}

bool Matches(const char* name, const std::string& pattern) {
    if (pattern.find_first_of("*?[") == pattern.npos) {
        return std::strncmp(name, pattern.c_str(), pattern.size()) == 0;
    }
    return ::fnmatch(pattern.c_str(), name, FNM_PERIOD) == 0;
}

/// The next name in a folder; null at the end, and with errno on failure.
const dirent* NextEntry(DIR* folder) {
    errno = 0;
    return ::readdir(folder);
}

/// The matching names in byte order, or nothing with errno.
std::optional<std::vector<std::string>> NamesIn(DIR* folder, const std::string& pattern,
                                                int wanted) {
    std::vector<std::string> names;
    while (const dirent* const entry = NextEntry(folder)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != ".." && Matches(entry->d_name, pattern)
            && IsWanted(TypeOf(folder, *entry), wanted)) {
            names.emplace_back(name);
        }
    }
    if (errno != 0) {
        return std::nullopt;
    }
    std::sort(names.begin(), names.end());
    return names;
}

int Fail(int error) {
    VLIBCErrSet(error);
    return -1;
}

}  // namespace

extern "C" {

int VLIBCFileExist(const char* path) {
    struct stat info {};
    return path != nullptr && ::stat(path, &info) == 0 ? 1 : 0;
}

int VLIBCFileCheckDir(const char* path) {
    struct stat info {};
    return path != nullptr && ::stat(path, &info) == 0 && S_ISDIR(info.st_mode) ? 1 : 0;
}

int VLIBCFileEnumDir(const char* folder, const char* pattern, VLIBSZLIST** list, int type) {
    if (folder == nullptr || list == nullptr || *list == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const UniqueDir opened(::opendir(folder));
    if (!opened) {
        return Fail(errno == ENOENT ? VLIB_ERR_NOT_FOUND : VLIB_ERR_OPEN_FAILED);
    }
    const auto names = NamesIn(opened.get(), pattern == nullptr ? "" : pattern, type);
    if (!names) {
        return Fail(VLIB_ERR_OPEN_FAILED);
    }
    for (const std::string& name : *names) {
        if (vlib::PushText(*list, name) < 0) {
            return -1;
        }
    }
    return static_cast<int>(names->size());
}

int VLIBCFileLockByFile(const char* path, int exclusive, int* descriptor) {
    if (path == nullptr || descriptor == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    vexobase::UniqueFd fd(::open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd) {
        return Fail(VLIB_ERR_OPEN_FAILED);
    }
    if (::flock(fd.Get(), (exclusive != 0 ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK ? 0 : Fail(VLIB_ERR_OPEN_FAILED);
    }
    // Holders delete the file when they release it: what was waited for may be one that nobody else
    // will ever open again.
    if (!vexobase::NamesOpenFile(path, fd.Get())) {
        return 0;
    }
    *descriptor = fd.Release();
    return 1;
}

int VLIBCFileUnlockByFile(int descriptor) {
    if (descriptor < 0 || ::flock(descriptor, LOCK_UN) != 0) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    vexobase::UniqueFd(descriptor).Reset();
    return 1;
}
}
