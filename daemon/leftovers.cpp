#include "leftovers.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <vexobase/log.h>

namespace vexonetd {
namespace {

constexpr char kFolder[] = "/etc/iproute2/config";
constexpr std::array<std::string_view, 5> kGatewayFiles = {
    "gateway_database", "gateway_v4_priority", "gateway_v6_priority", "resolv4.conf",
    "resolv6.conf"};
constexpr std::string_view kMark = ".tmp.";
constexpr std::size_t kRandomLength = 6;

bool IsLeftover(std::string_view name) {
    const auto mark = name.rfind(kMark);
    return mark != name.npos && name.size() == mark + kMark.size() + kRandomLength
           && std::ranges::find(kGatewayFiles, name.substr(0, mark)) != kGatewayFiles.end();
}

void Remove(int folder, const char* name) {
    if (::unlinkat(folder, name, 0) == 0) {
        VEXO_LOG(LOG_NOTICE, "Removed [%s/%s], left by a daemon that was killed", kFolder, name);
    } else {
        VEXO_LOG(LOG_ERR, "Failed to remove [%s/%s]: %s", kFolder, name, std::strerror(errno));
    }
}

}  // namespace

void RemoveLeftovers() {
    DIR* folder = ::opendir(kFolder);
    if (folder == nullptr) {
        if (errno != ENOENT) {
            VEXO_LOG(LOG_ERR, "Failed to open folder [%s]: %s", kFolder, std::strerror(errno));
        }
        return;
    }
    while (const dirent* entry = ::readdir(folder)) {
        if (IsLeftover(entry->d_name)) {
            Remove(::dirfd(folder), entry->d_name);
        }
    }
    ::closedir(folder);
}

}  // namespace vexonetd
