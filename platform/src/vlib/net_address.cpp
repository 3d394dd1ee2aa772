#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "ipv4.h"
#include "vlib/error.h"
#include "vlib/file.h"
#include "vlib/net.h"

namespace {

using vlib::ParseDecimal;
using vlib::ParseIpv4;

constexpr const char* kSystemInfoFile = "/etc/vexoinfo.conf";
constexpr int kDefaultTopology = 2;

}  // namespace

extern "C" {

int VLIBNetTopologyGet(int /*options*/) {
    char value[32];
    if (VLIBCFileGetKeyValue(kSystemInfoFile, "net_topology", value, sizeof value, 0) < 1) {
        return kDefaultTopology;
    }
    constexpr int kMax = 255;
    return ParseDecimal(value, kMax).value_or(kDefaultTopology);
}

int BlVLIBIsIpAddr(const char* text) {
    in6_addr address{};
    return text != nullptr
                   && (::inet_pton(AF_INET, text, &address) == 1
                       || ::inet_pton(AF_INET6, text, &address) == 1)
               ? 1
               : 0;
}

int cVLIBISepIP(const char* text, int parts[4]) {
    if (text == nullptr || parts == nullptr) {
        return 0;
    }
    std::array<int, 4> octets{};
    std::string_view rest(text);
    for (size_t count = 0; count < octets.size(); ++count) {
        const auto dot = rest.find('.');
        const auto octet = ParseDecimal(rest.substr(0, dot), 255);
        if (!octet) {
            return 0;
        }
        octets[count] = *octet;
        if (dot == rest.npos) {
            std::copy_n(octets.begin(), count + 1, parts);
            return static_cast<int>(count) + 1;
        }
        rest.remove_prefix(dot + 1);
    }
    return 0;
}

int ErrVLIBIpMaskToSubnet(const char* ipMask, char* subnet) {
    const char* const slash = ipMask == nullptr ? nullptr : std::strchr(ipMask, '/');
    if (slash == nullptr || subnet == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto address = ParseIpv4(std::string(ipMask, slash));
    const auto prefix = vlib::ParsePrefix(slash + 1);
    if (!address || !prefix) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const std::string network = vlib::NetworkText(*address, *prefix);
    std::memcpy(subnet, network.c_str(), network.size() + 1);
    return 0;
}
}
