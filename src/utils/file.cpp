#include <sys/stat.h>

#include <array>
#include <fstream>
#include <sstream>

#include <vexobase/log.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

namespace vexonetwork::utils {

namespace {

constexpr std::array kIPv6Keys = {"IPV6INIT", "IPV6ADDR", "IPV6PREFIXLENG", "IPV6_DEFAULTGW",
                                  "IPV6DNS"};

std::string IfcfgPath(const std::string& ifname) {
    return "/etc/sysconfig/network-scripts/ifcfg-" + ifname;
}

}  // namespace

int CheckAndMakeDir(const std::string& dir, unsigned int mode) {
    if (VLIBCFileCheckDir(dir.c_str()) == 1 || ::mkdir(dir.c_str(), 0755) == 0) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "Failed to mkdir [%s][%u]", dir.c_str(), mode);
    return -1;
}

std::string FileToStr(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    // Not through stream iterators: they throw when the path turns out to be a folder.
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

bool SetProcEntry(const std::string& path, const std::string& value) {
    std::ofstream entry(path, std::ios::trunc);
    const bool opened = entry.is_open();
    // The kernel takes a setting from one write call, so the newline goes with the value.
    entry << value + "\n";
    return opened;
}

int CopyIfcfgIPv6Attrs(const std::string& fromIf, const std::string& toIf) {
    const std::string from = IfcfgPath(fromIf);
    const std::string to = IfcfgPath(toIf);
    for (const char* key : kIPv6Keys) {
        char value[1024] = {};
        if (VLIBCFileGetKeyValue(from.c_str(), key, value, sizeof value, 0) <= 0) {
            continue;
        }
        if (VLIBCFileSetKeyValue(to.c_str(), key, value, nullptr) < 0) {
            VEXO_LOG(LOG_ERR, "Failed to copy [%s=%s] from %s to %s", key, value, from.c_str(),
                     to.c_str());
            return -1;
        }
    }
    return 0;
}

}  // namespace vexonetwork::utils
