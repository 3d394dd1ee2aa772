#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdio>
#include <functional>
#include <utility>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/json_reader.h>
#include <vexonetwork/utils/utils.h>
#include <vlib/net.h>

namespace vexonetwork::network {

namespace {

using Predicate = std::function<bool(const Json::Value& entry)>;

std::string TextOf(const Json::Value& entry, const char* key) {
    return utils::GetString(entry, key).value_or("");
}

bool HasGateway(const Json::Value& entry) {
    const std::string gateway = TextOf(entry, "gateway");
    return !gateway.empty() && gateway != "NULL";
}

bool IsWireless(const Json::Value& entry) {
    return TextOf(entry, "class") == "wlan" || TextOf(entry, "ifname").starts_with("wlan");
}

bool IsWired(const Json::Value& entry) {
    return !IsWireless(entry)
           && (TextOf(entry, "class") == "ethernet" || TextOf(entry, "ifname").starts_with("eth"));
}

Predicate PredicateOf(const std::string& type) {
    if (type == "wan") {
        return HasGateway;
    }
    if (type == "ethernet") {
        return IsWired;
    }
    return type == "wlan" ? IsWireless : Predicate();
}

bool IsSlave(const Json::Value& entry) {
    return utils::GetBool(entry, "slave").value_or(false);
}

}  // namespace

bool IsEthernetLinkDetected(const std::string& ifname) {
    const vexobase::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        VEXO_LOG(LOG_ERR, "Failed create socket datagram");
        return false;
    }
    ifreq request{};
    const int length =
        std::snprintf(request.ifr_name, sizeof request.ifr_name, "%s", ifname.c_str());
    // Differs only for a name with a NUL inside; a name that is too long is cut on purpose.
    if (length < 0 || static_cast<std::size_t>(length) != ifname.size()) {
        VEXO_LOG(LOG_ERR, "Failed to copy interface name %s", ifname.c_str());
        return false;
    }
    if (::ioctl(fd.Get(), SIOCGIFFLAGS, &request) < 0) {
        VEXO_LOG(LOG_ERR, "Failed get interface flags for %s", ifname.c_str());
        return false;
    }
    constexpr int kWanted = IFF_UP | IFF_RUNNING;
    return (request.ifr_flags & kWanted) == kWanted;
}

int GetSubnetFormat(const std::string& ip, const std::string& mask, std::string& subnet) {
    char input[1024] = {};
    char output[1024] = {};
    (ip + "/" + mask).copy(input, sizeof input - 1);
    if (ErrVLIBIpMaskToSubnet(input, output) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to translate to ip/mask format to a subnet format.");
        return -1;
    }
    subnet = output;
    return 0;
}

void FilterList(std::string type, Json::Value& list) {
    const Predicate isWanted = PredicateOf(type);
    if (!isWanted) {
        VEXO_LOG(LOG_ERR, "Unknown kind of gateways [%s]", type.c_str());
    }
    Json::Value kept(Json::arrayValue);
    for (Json::ArrayIndex i = 0; isWanted && list.isArray() && i < list.size(); ++i) {
        if (!IsSlave(list[i]) && isWanted(list[i])) {
            kept.append(list[i]);
        }
    }
    list = std::move(kept);
}

}  // namespace vexonetwork::network
