#include "vexo/dhcp_client.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>

#include <vexobase/log.h>

#include "vexo/system_manager.h"
#include "vlib/error.h"

namespace vexoplatform {

namespace {

/// The unit takes the name as it stands in its own, so that `br-lan` is no path; what would have
/// to be escaped there, or be an option of the client, is no interface to it.
bool CanBeInstance(const std::string& ifname) {
    return !ifname.empty() && ifname.front() != '-'
           && std::ranges::all_of(ifname, [](unsigned char c) {
                  return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '@';
              });
}

int QueueJob(const char* method, const std::string& ifname) {
    if (!CanBeInstance(ifname)) {
        VEXO_LOG(LOG_ERR,
                 "There is no DHCP client for interface [%s]: it has other characters "
                 "than letters, digits and -._@",
                 ifname.c_str());
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    auto manager = SystemManager::Connect();
    if (!manager || !manager->QueueJob(method, "dhclient4@" + ifname + ".service")) {
        VLIBCErrSet(VLIB_ERR_SYSTEMD_FAILED);
        return -1;
    }
    return 0;
}

}  // namespace

int RestartDhcpClient(const std::string& ifname) {
    return QueueJob("RestartUnit", ifname);
}

int StopDhcpClient(const std::string& ifname) {
    // The runtime directory of the unit stands from its start until it has stopped for good.
    if (::access(("/run/dhclient4-" + ifname).c_str(), F_OK) != 0) {
        return 0;
    }
    return QueueJob("StopUnit", ifname);
}

}  // namespace vexoplatform
