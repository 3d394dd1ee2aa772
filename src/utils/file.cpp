#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <fstream>

#include <vexobase/file_text.h>
#include <vexobase/key_value_text.h>
#include <vexobase/log.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

#include "utils/sz_containers.h"

namespace vexonetwork::utils {

namespace {

constexpr std::array kIPv6Keys = {"IPV6INIT", "IPV6ADDR", "IPV6PREFIXLENG", "IPV6_DEFAULTGW",
                                  "IPV6DNS"};

std::string IfcfgPath(const std::string& ifname) {
    return "/etc/sysconfig/network-scripts/ifcfg-" + ifname;
}

}  // namespace

int CheckAndMakeDir(const std::string& dir, unsigned int mode) {
    // Another may make it between the look and the making.
    if (VLIBCFileCheckDir(dir.c_str()) == 1 || ::mkdir(dir.c_str(), 0755) == 0
        || (errno == EEXIST && VLIBCFileCheckDir(dir.c_str()) == 1)) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "Failed to mkdir [%s][%u]", dir.c_str(), mode);
    return -1;
}

std::string FileToStr(const std::string& path) {
    const auto text = vexobase::ReadFileText(path.c_str());
    return text ? std::string(text->View()) : "";
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
    UniqueSzHash pairs(VLIBCSzHashAlloc(64));
    // Verbatim, so that quotes around a list go along.
    if (VLIBCFileGetKeys(from.c_str(), nullptr, pairs.Address(), "=") < 0) {
        return 0;
    }
    for (const char* key : kIPv6Keys) {
        const char* const found = VLIBCSzHashGetValue(pairs.Get(), key);
        const std::string value(vexobase::Trim(found == nullptr ? "" : found));
        if (vexobase::Unquote(value).empty()) {
            continue;
        }
        if (VLIBCFileSetKeyValue(to.c_str(), key, value.c_str(), nullptr) < 0) {
            VEXO_LOG(LOG_ERR, "Failed to copy [%s=%s] from %s to %s", key, value.c_str(),
                     from.c_str(), to.c_str());
            return -1;
        }
    }
    return 0;
}

}  // namespace vexonetwork::utils
