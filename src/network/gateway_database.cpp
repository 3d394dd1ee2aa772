#include "network/gateway_database.h"

#include <vlib/exec.h>
#include <vlib/file.h>

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

bool SameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/// Every writer replaces the file, so another content is another file.
bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
           && SameTime(a.st_mtim, b.st_mtim) && SameTime(a.st_ctim, b.st_ctim);
}

}  // namespace

bool GatewayDatabase::Load() {
    struct stat now {};
    if (::stat(path.c_str(), &now) == 0 && SameFile(now, readFrom)) {
        return true;
    }
    readFrom = {};
    contents = utils::ConfigSection(path);
    if (contents.Read() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to read config [%s]", path.c_str());
        return false;
    }
    readFrom = now;
    return true;
}

int GatewayDatabase::Differs(const std::string& section, const std::string& key,
                             const std::string& value) {
    if (VLIBCFileExist(path.c_str()) != 1) {
        return 1;
    }
    if (!Load()) {
        return -1;
    }
    if (!contents.Find(section)) {
        return 1;
    }
    // A copy, as asking for an absent key would put it into the file.
    utils::ConfigSection asked = contents;
    return asked.GetKeyValue(section, key) == value ? 0 : 1;
}

int GatewayDatabase::Merge(const utils::ConfigSection& changes) {
    if (VLIBCFileExist(path.c_str()) != 1) {
        const char* const arguments[] = {path.c_str(), nullptr};
        VLIBCExec_S("/bin/touch", arguments);
    }
    if (!Load()) {
        return -1;
    }
    utils::ConfigSection merged = contents;
    for (const auto& [section, pairs] : utils::ConfigSection(changes).GetKeyValues()) {
        for (const auto& [key, value] : pairs) {
            merged.AddKeyValue(section, key, value);
        }
    }
    if (merged.Write() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to set file[%s]", path.c_str());
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::network::module
