#include "leftovers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>

#include <vexobase/log.h>

namespace vexonetd {
namespace {

struct WrittenFile {
    std::string_view name;
    bool isBeginning = false;  ///< of the names of several files
    bool isShared = false;     ///< commands write it too, maybe now
};

constexpr WrittenFile kConfigFiles[] = {
    {"gateway_database"},   {"gateway_v4_priority"}, {"gateway_v6_priority"},
    {"gateway_v4_dormant"}, {"gateway_v6_dormant"},  {"resolv4.conf"},
    {"resolv6.conf"},       {"policy", false, true}, {"static-table", false, true}};
constexpr WrittenFile kTableFiles[] = {{"rt_tables", false, true}};
constexpr WrittenFile kRouterFiles[] = {{"ipv6-", true, true}};

struct Folder {
    const char* path;
    std::span<const WrittenFile> files;
};

constexpr Folder kFolders[] = {{"/etc/iproute2/config", kConfigFiles},
                               {"/etc/iproute2", kTableFiles},
                               {"/etc/sysconfig/networking", kRouterFiles}};

constexpr std::string_view kMark = ".tmp.";
constexpr std::size_t kRandomLength = 6;

/// Nobody takes this long to write a file.
constexpr time_t kLongestWriteSeconds = 60;

/// The file that a temporary one was to become.
const WrittenFile* TargetOf(std::string_view name, std::span<const WrittenFile> files) {
    const auto mark = name.rfind(kMark);
    if (mark == name.npos || name.size() != mark + kMark.size() + kRandomLength) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(files, [&](const WrittenFile& file) {
        return file.isBeginning ? name.starts_with(file.name) : name.substr(0, mark) == file.name;
    });
    return found == files.end() ? nullptr : &*found;
}

bool IsOld(int folder, const char* name) {
    struct stat status {};
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0
           && status.st_mtime + kLongestWriteSeconds < ::time(nullptr);
}

void Remove(const Folder& folder, int fd, const char* name) {
    if (::unlinkat(fd, name, 0) == 0) {
        VEXO_LOG(LOG_NOTICE, "Removed [%s/%s], left by a process that was killed", folder.path,
                 name);
    } else if (errno != ENOENT) {
        VEXO_LOG(LOG_ERR, "Failed to remove [%s/%s]: %s", folder.path, name, std::strerror(errno));
    }
}

void Sweep(const Folder& folder) {
    DIR* stream = ::opendir(folder.path);
    if (stream == nullptr) {
        if (errno != ENOENT) {
            VEXO_LOG(LOG_ERR, "Failed to open folder [%s]: %s", folder.path, std::strerror(errno));
        }
        return;
    }
    const int fd = ::dirfd(stream);
    while (const dirent* entry = ::readdir(stream)) {
        const WrittenFile* target = TargetOf(entry->d_name, folder.files);
        if (target != nullptr && (!target->isShared || IsOld(fd, entry->d_name))) {
            Remove(folder, fd, entry->d_name);
        }
    }
    ::closedir(stream);
}

}  // namespace

void RemoveLeftovers() {
    for (const Folder& folder : kFolders) {
        Sweep(folder);
    }
}

}  // namespace vexonetd
