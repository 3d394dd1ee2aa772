// What an advertisement means for the interface it came in on.

#include <arpa/inet.h>
#include <netinet/icmp6.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <vexo/ipv6_conf.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "network/log_budget.h"
#include "network/advertisements/router_status.h"

#define VEXO_LOG_SOURCE "ipv6_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr double kSilenceAllowed = 900.0;  // seconds
constexpr milliseconds kNdiscTime = std::chrono::seconds(5);
constexpr milliseconds kPublicationInterval = std::chrono::seconds(1);

constexpr int kMethodAutomatic = 0;
constexpr int kMethodOff = 1;
constexpr int kMethodDhcp = 2;
constexpr int kMethodManual = 3;
constexpr int kMethodStatelessDhcp = 4;

constexpr int kOptionUnit = 8;  // RFC 4861 section 4.6: lengths count units of 8 bytes
constexpr int kPrefixOffset = 16;

/// A prefix information option with flag A that is long enough for its prefix.
bool HasAutonomousPrefix(const unsigned char* option, int length) {
    return option[0] == ND_OPT_PREFIX_INFORMATION
           && length >= kPrefixOffset + static_cast<int>(sizeof(in6_addr))
           && (option[3] & ND_OPT_PI_FLAG_AUTO) != 0;
}

/// Whether the text comes up in what a program writes, before the deadline, its end, or more than
/// it could have to say.
bool Says(FILE* stream, std::string_view wanted, steady_clock::time_point deadline) {
    constexpr std::size_t kMostOutput = 65536;
    std::string seen;
    for (std::size_t total = 0; total < kMostOutput;) {
        pollfd event{::fileno(stream), POLLIN, 0};
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        char part[1024];
        if (left.count() <= 0) {
            return false;
        }
        const int ready = ::poll(&event, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        const ssize_t length = ready > 0 ? ::read(event.fd, part, sizeof part) : -1;
        if (length <= 0) {
            return false;
        }
        seen.append(part, static_cast<std::size_t>(length));
        total += static_cast<std::size_t>(length);
        if (seen.find(wanted) != seen.npos) {
            return true;
        }
        // Only what the text may begin with is still of interest.
        seen.erase(0, seen.size() - std::min(seen.size(), wanted.size() - 1));
    }
    return false;
}

}  // namespace

/// Each line that a stranger can cause without end asks first.
bool IPv6Module::MayLog() {
    unsigned leftOut = 0;
    const bool may = log_budget->Spend(leftOut);
    if (leftOut != 0) {
        VEXO_LOG(LOG_ERR, "%u lines about advertisements were left out", leftOut);
    }
    return may;
}

const char* IPv6Module::print_addr(const in6_addr* addr, char* text) {
    if (::inet_ntop(AF_INET6, addr, text, INET6_ADDRSTRLEN) == nullptr) {
        VEXO_LOG(LOG_ERR, "print_addr: failed to inet_ntop");
        std::strcpy(text, "[invalid address]");
    }
    return text;
}

std::vector<std::string> IPv6Module::RaAutoPrefixGet(unsigned char* ra, int len,
                                                     const char* /*ifname*/) {
    std::vector<std::string> prefixes;
    const unsigned char* option = ra + sizeof(nd_router_advert);
    int remaining = len - static_cast<int>(sizeof(nd_router_advert));
    while (remaining >= 1) {
        // A lone byte has no length.
        const int length = remaining == 1 ? 0 : option[1] * kOptionUnit;
        if (length == 0) {
            if (MayLog()) {
                VEXO_LOG(LOG_ERR, "zero length option in RA");
            }
            break;
        }
        if (length > remaining) {
            if (MayLog()) {
                VEXO_LOG(
                    LOG_ERR,
                    "option length greater than total length in RA (type %d, optlen %d, len %d)",
                    option[0], length, remaining);
            }
            break;
        }
        if (HasAutonomousPrefix(option, length)) {
            in6_addr prefix;
            char text[INET6_ADDRSTRLEN];
            std::memcpy(&prefix, option + kPrefixOffset, sizeof prefix);
            prefixes.emplace_back(print_addr(&prefix, text));
        }
        remaining -= length;
        option += length;
    }
    return prefixes;
}

bool IPv6Module::IsRaValid(unsigned char* ra, int len, const std::string& ifname, bool managed) {
    if (!managed && RaAutoPrefixGet(ra, len, ifname.c_str()).empty()) {
        if (MayLog()) {
            VEXO_LOG(LOG_INFO, "Ignore stateless RA which has no prefix information.");
        }
        return false;
    }
    return true;
}

bool IPv6Module::Ipv6Enable(const std::string& ifname) {
    int method = 0;
    int prefix = 0;
    char address[256] = "";
    char gateway[256] = "";
    if (VEXONetIPv6ConfGet(ifname.c_str(), &method, address, sizeof address, &prefix, gateway,
                           sizeof gateway)
        == -1) {
        if (MayLog()) {
            VEXO_LOG(LOG_ERR, "Fail to get ipv6 config(%s)", ifname.c_str());
        }
        return false;
    }
    const std::string path = "/etc/sysconfig/network-scripts/ifcfg-" + ifname;
    constexpr char kKey[] = "IPV6ROUTER";
    char value[256] = "";
    if (VLIBCFileGetKeyValue(path.c_str(), kKey, value, sizeof value, 0) < 0 && MayLog()) {
        VEXO_LOG(LOG_DEBUG, "Failed to get key [%s] in [%s], treated as NOT a router", kKey,
                 path.c_str());
    }
    const bool isRouterItself = std::string_view(value).starts_with("yes");
    return method != kMethodOff && method != kMethodManual && !isRouterItself && ifname != "lbr0";
}

bool IPv6Module::AskOnceInBurst(Question question, std::map<std::string, bool>& answers,
                                const std::string& ifname) {
    if (!in_burst) {
        return (this->*question)(ifname);
    }
    const auto [answer, isNew] = answers.try_emplace(ifname);
    if (isNew) {
        answer->second = (this->*question)(ifname);
    }
    return answer->second;
}

bool IPv6Module::IsRaExchangeable(const std::string& ifname) {
    const double silence =
        std::fabs(std::difftime(std::time(nullptr), ra_records[ifname].last_ra_time));
    if (MayLog()) {
        VEXO_LOG(LOG_INFO, "difftime = %f", silence);
    }
    return silence > kSilenceAllowed;
}

bool IPv6Module::IsGatewayReachable(const std::string& ifname) {
    const std::string& gateway = ra_records[ifname].gateway;
    if (gateway.empty()) {
        return false;
    }
    const auto deadline = steady_clock::now() + kNdiscTime;
    FILE* stream = VLIBCPopen("/usr/bin/ndisc6", "r", gateway.c_str(), ifname.c_str(), nullptr);
    if (stream == nullptr) {
        return false;
    }
    const bool reachable = Says(stream, "Target link-layer address", deadline);
    // It may hang, or go on for as long as someone listens.
    VLIBCPkill(stream);
    return reachable;
}

bool IPv6Module::IsRaStateChange(const std::string& ifname, bool managed, bool other) {
    switch (ra_records[ifname].state) {
        case RA_STATE_MANAGED:
            return !managed;
        case RA_STATE_OTHER:
            return managed || !other;
        case RA_STATE_SLAAC:
            return managed || other;
        default:
            return true;
    }
}

void IPv6Module::ProcessRA(const std::string& router, const std::string& ifname, unsigned char* ra,
                           int len, bool managed, bool other) {
    if (MayLog()) {
        VEXO_LOG(LOG_INFO, "Process RA from [%s] on interface [%s]", router.c_str(),
                 ifname.c_str());
    }
    ForgetRequested();
    if (!IsRaValid(ra, len, ifname, managed)) {
        return;
    }
    published = false;
    RaRecord& record = ra_records[ifname];
    if (!AskOnceInBurst(&IPv6Module::Ipv6Enable, burst_answers, ifname)) {
        record = {};
        return;
    }
    if (record.gateway == router) {
        record.last_ra_time = std::time(nullptr);
        if (!IsRaStateChange(ifname, managed, other)) {
            if (MayLog()) {
                VEXO_LOG(LOG_INFO, "State [%d] does not change.", record.state);
            }
            return;
        }
    } else {
        if (AskOnceInBurst(&IPv6Module::IsGatewayReachable, burst_neighbours, ifname)
            && !IsRaExchangeable(ifname)) {
            if (MayLog()) {
                VEXO_LOG(LOG_INFO, "Original gateway [%s] reachable.", record.gateway.c_str());
            }
            return;
        }
        burst_neighbours.erase(ifname);
        record = {.gateway = "", .last_ra_time = std::time(nullptr), .state = RA_STATE_NONE};
    }
    record.gateway = router;
    AddGateway(router, ifname);
    ApplyFlags(ifname, managed, other);
}

void IPv6Module::AddGateway(const std::string& router, const std::string& ifname) {
    Json::Value request(Json::objectValue);
    request["method"] = "ADD_GATEWAY_DATA";
    request["type"] = "GTYPE_V6";
    request["priority"] = -2;
    request["ifname"] = ifname;
    request["gateway"] = router;
    request["dns"] = "NULL";
    Json::Value reply;
    if (ModuleManager::GetInstance().ProcessRequest(MODULE_ROUTE, request, reply) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to add gateway data ifname=%s, gateway=%s", ifname.c_str(),
                 router.c_str());
    }
}

void IPv6Module::ApplyFlags(const std::string& ifname, bool managed, bool other) {
    struct Choice {
        RaState state;
        int method;
    };
    const Choice choice = managed ? Choice{RA_STATE_MANAGED, kMethodDhcp}
                          : other ? Choice{RA_STATE_OTHER, kMethodStatelessDhcp}
                                  : Choice{RA_STATE_SLAAC, kMethodAutomatic};
    ra_records[ifname].state = choice.state;
    last_changes[ifname] = steady_clock::now();
    VEXONetIPv6ConfSet(choice.method, ifname.c_str(), nullptr, 0, nullptr);
}

void IPv6Module::Publish() {
    PublishRouters(ra_records);
    published = true;
    burst_answers.clear();
    burst_neighbours.clear();
    next_publication = steady_clock::now() + kPublicationInterval;
}

}  // namespace vexonetwork::network::module
