#include "ipv4.h"

#include <arpa/inet.h>

#include <bit>
#include <charconv>
#include <cstdint>

namespace vlib {

std::optional<int> ParseDecimal(std::string_view text, int most) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '-'
        || (text.size() > 1 && text.front() == '0') || number > most) {
        return std::nullopt;
    }
    return number;
}

std::optional<in_addr> ParseIpv4(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 ? std::optional(address)
                                                             : std::nullopt;
}

in_addr Netmask(int prefix) {
    return in_addr{prefix == 0 ? 0 : htonl(~std::uint32_t{0} << (32 - prefix))};
}

std::optional<int> PrefixOf(in_addr netmask) {
    const int prefix = std::popcount(netmask.s_addr);
    return Netmask(prefix).s_addr == netmask.s_addr ? std::optional(prefix) : std::nullopt;
}

std::optional<int> ParsePrefix(const std::string& text) {
    if (text.find('.') == text.npos) {
        return ParseDecimal(text, 32);
    }
    const auto netmask = ParseIpv4(text);
    return netmask ? PrefixOf(*netmask) : std::nullopt;
}

std::string ToText(in_addr address) {
    char text[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

std::string NetworkText(in_addr address, int prefix) {
    address.s_addr &= Netmask(prefix).s_addr;
    return ToText(address) + "/" + std::to_string(prefix);
}

}  // namespace vlib
