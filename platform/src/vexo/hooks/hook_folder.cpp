#include "vexo/hooks/hook_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <vexobase/log.h>
#include <vexobase/unique_handle.h>

namespace vexoplatform {

namespace {

void CloseFolder(DIR* folder) {
    ::closedir(folder);
}
using Folder = vexobase::UniqueHandle<DIR, CloseFolder>;

bool OnlyRootWrites(const struct stat& info) {
    return info.st_uid == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

void LogSkipped(std::string_view path, const char* why) {
    VEXO_LOG(LOG_ERR, "Hook folder [%.*s] is skipped: %s", static_cast<int>(path.size()),
             path.data(), why);
}

/// @param path  of the folder, for messages
/// @return the open folder, or none, after a log line unless it is not there
vexobase::UniqueFd OpenTrusted(int above, const std::string& name, std::string_view path) {
    vexobase::UniqueFd fd(
        ::openat(above, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        if (errno != ENOENT) {
            LogSkipped(path, errno == ENOTDIR ? "it is a link or no folder" : std::strerror(errno));
        }
        return vexobase::UniqueFd();
    }
    if (!OnlyRootWrites(info)) {
        LogSkipped(path, "it is not root's alone");
        fd.Reset();
    }
    return fd;
}

vexobase::UniqueFd OpenTrustedPath(const std::string& path) {
    auto fd = OpenTrusted(AT_FDCWD, "/", "/");
    for (std::size_t begin = 1; fd && begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        fd = OpenTrusted(fd.Get(), path.substr(begin, end - begin),
                         std::string_view(path).substr(0, end));
        begin = end + 1;
    }
    return fd;
}

}  // namespace

HookFolder::HookFolder(const std::string& path) : folderPath(path), fd(OpenTrustedPath(path)) {}

std::optional<std::vector<std::string>> HookFolder::List() const {
    vexobase::UniqueFd readable(::openat(fd.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Folder folder(::fdopendir(readable.Get()));
    if (!folder) {
        VEXO_LOG(LOG_ERR, "Hook folder [%s] cannot be read: %s", folderPath.c_str(),
                 std::strerror(errno));
        return std::nullopt;
    }
    static_cast<void>(readable.Release());
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(folder.Get())) {
        names.emplace_back(entry->d_name);
    }
    std::ranges::sort(names);
    std::erase_if(names, [this](const std::string& name) { return !IsHook(name); });
    return names;
}

bool HookFolder::IsHook(const std::string& name) const {
    // Notes beside the hooks and scripts switched off by their mode are left out without a word.
    struct stat info {};
    if (::fstatat(fd.Get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || S_ISDIR(info.st_mode)
        || (info.st_mode & S_IXUSR) == 0) {
        return false;
    }
    const char* const wrong = !S_ISREG(info.st_mode)  ? "it is no regular file"
                              : !OnlyRootWrites(info) ? "it is not root's alone"
                                                      : nullptr;
    if (wrong != nullptr) {
        VEXO_LOG(LOG_ERR, "Hook [%s/%s] is skipped: %s", folderPath.c_str(), name.c_str(), wrong);
    }
    return wrong == nullptr;
}

}  // namespace vexoplatform
