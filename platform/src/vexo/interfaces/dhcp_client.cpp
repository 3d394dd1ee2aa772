#include "vexo/interfaces/dhcp_client.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include <vexobase/log.h>

#include "vexo/services/unit_jobs.h"
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

constexpr char kStop[] = "StopUnit";

struct Unit {
    const char* program;
    std::string instance;

    std::string Name() const { return std::string(program) + "@" + instance + ".service"; }
};

Unit Client4(const std::string& ifname) {
    return {"dhclient4", ifname};
}

Unit Client6(const std::string& ifname, const char* kind) {
    return {"dhclient6", ifname + "-" + kind};
}

int QueueJob(const char* method, const std::string& ifname, const Unit& unit) {
    if (!CanBeInstance(ifname)) {
        VEXO_LOG(LOG_ERR,
                 "There is no DHCP client for interface [%s]: it has other characters "
                 "than letters, digits and -._@",
                 ifname.c_str());
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    if (!QueueUnitJob(method, unit.Name())) {
        VLIBCErrSet(VLIB_ERR_SYSTEMD_FAILED);
        return -1;
    }
    return 0;
}

/// The runtime directory of a unit stands from its start until it has stopped for good.
bool Runs(const Unit& unit) {
    if (const char* job = PendingUnitJob(unit.Name())) {
        return std::string_view(job) != kStop;
    }
    const std::string folder = std::string("/run/") + unit.program + "-" + unit.instance;
    return ::access(folder.c_str(), F_OK) == 0;
}

int Stop(const std::string& ifname, const Unit& unit) {
    return Runs(unit) ? QueueJob(kStop, ifname, unit) : 0;
}

}  // namespace

int RestartDhcpClient(const std::string& ifname) {
    return QueueJob("RestartUnit", ifname, Client4(ifname));
}

int StopDhcpClient(const std::string& ifname) {
    return Stop(ifname, Client4(ifname));
}

bool DhcpClientRuns(const std::string& ifname) {
    return Runs(Client4(ifname));
}

int StartDhcp6Client(const std::string& ifname, const char* kind) {
    return QueueJob("StartUnit", ifname, Client6(ifname, kind));
}

int RestartDhcp6Client(const std::string& ifname, const char* kind) {
    return QueueJob("RestartUnit", ifname, Client6(ifname, kind));
}

int StopDhcp6Client(const std::string& ifname, const char* kind) {
    return Stop(ifname, Client6(ifname, kind));
}

bool Dhcp6ClientRuns(const std::string& ifname, const char* kind) {
    return Runs(Client6(ifname, kind));
}

}  // namespace vexoplatform
