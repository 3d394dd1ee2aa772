#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "vlib/error.h"
#include "vlib/file.h"
#include "vlib/net.h"

namespace {

constexpr const char* kSystemInfoFile = "/etc/vexoinfo.conf";
constexpr int kDefaultTopology = 2;

/// A decimal number without sign, blanks or leading zeros, which others take for octal.
std::optional<int> ParseDecimal(std::string_view text, int most) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '-'
        || (text.size() > 1 && text.front() == '0') || number > most) {
        return std::nullopt;
    }
    return number;
}

std::optional<uint32_t> ParseAddress(const std::string& text) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

/// The length of a prefix given as a number or as a contiguous netmask.
std::optional<int> ParsePrefix(const std::string& text) {
    if (text.find('.') == text.npos) {
        return ParseDecimal(text, 32);
    }
    const auto netmask = ParseAddress(text);
    if (!netmask || std::countl_one(*netmask) != std::popcount(*netmask)) {
        return std::nullopt;
    }
    return std::popcount(*netmask);
}

}  // namespace

extern "C" {

int VLIBNetTopologyGet(int /*options*/) {
    char value[32];
    if (VLIBCFileGetKeyValue(kSystemInfoFile, "net_topology", value, sizeof value, 0) < 1) {
        return kDefaultTopology;
    }
    constexpr int kMost = 255;
    return ParseDecimal(value, kMost).value_or(kDefaultTopology);
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
    const auto address = ParseAddress(std::string(ipMask, slash));
    const auto prefix = ParsePrefix(slash + 1);
    if (!address || !prefix) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const uint32_t netmask = *prefix == 0 ? 0 : ~uint32_t{0} << (32 - *prefix);
    const in_addr network{htonl(*address & netmask)};
    char dotted[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &network, dotted, sizeof dotted);
    std::snprintf(subnet, sizeof dotted + 3, "%s/%d", dotted, *prefix);
    return 0;
}
}
