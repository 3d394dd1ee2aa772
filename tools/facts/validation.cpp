#include "facts/validation.h"

#include <net/if.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

#include <vexobase/ip_prefix.h>
#include <vexonetwork/ipv6/router/routed_prefix.h>

#include "failure.h"

namespace vexonetctl {
namespace {

// As the daemon counts: -1 appends, -2 leaves the entry where it is.
constexpr int kFirst = 0;
constexpr int kLast = -1;
constexpr int kKeep = -2;

using vexobase::IpPrefix;
using vexobase::ParseAddress;
using vexobase::ParsePrefix;

bool IsBlankOrControl(unsigned char c) {
    return c <= ' ' || c == 0x7f;
}

/// The network of ADDRESS/LENGTH in IPv6; none when it is something else, or longer than that.
std::optional<IpPrefix> PrefixV6(const std::string& text, int longest) {
    const auto prefix = ParsePrefix(AF_INET6, text, vexobase::HostBits::kMasked);
    const bool isOne = prefix && text.find('/') != text.npos && prefix->Length() > 0
                       && prefix->Length() <= longest;
    return isOne ? prefix : std::nullopt;
}

std::optional<int> ToPriority(std::string_view word) {
    if (word == "first" || word == "last" || word == "keep") {
        return word == "first" ? kFirst : word == "last" ? kLast : kKeep;
    }
    constexpr std::size_t kMaxDigits = std::numeric_limits<int>::digits10;
    if (word.empty() || word.size() > kMaxDigits
        || word.find_first_not_of("0123456789") != word.npos) {
        return std::nullopt;
    }
    return std::stoi(std::string(word));
}

}  // namespace

std::string CheckInterfaceName(const std::string& name) {
    if (name.empty() || name.size() >= IFNAMSIZ) {
        return "an interface name has 1 to " + std::to_string(IFNAMSIZ - 1) + " characters";
    }
    if (name == "." || name == ".." || name.find_first_of("/:") != name.npos
        || std::ranges::any_of(name, IsBlankOrControl)) {
        return "an interface name is not . or .. and has no slash, colon or blank";
    }
    return "";
}

std::string CheckClassWord(const std::string& word) {
    constexpr std::size_t kMax = 64;
    if (word.empty() || word.size() > kMax || std::ranges::any_of(word, IsBlankOrControl)) {
        return "a class is one word of at most 64 characters";
    }
    // On the bus this word says that the class stays as it is.
    return word == "NULL" ? "NULL is no class; leave --class out to keep the present one" : "";
}

std::string CheckPriority(const std::string& word) {
    return ToPriority(word) ? "" : "a priority is first, last, keep or a number from 0";
}

std::string CheckOnOrOff(const std::string& word) {
    return word == "on" || word == "off" ? "" : "'" + word + "' is neither on nor off";
}

std::string CheckAddressV4(const std::string& word) {
    return ParseAddress(AF_INET, word) ? "" : "'" + word + "' is no IPv4 address such as 192.0.2.1";
}

std::string CheckAddressLengthV6(const std::string& word) {
    constexpr int kLongest = 128;
    return PrefixV6(word, kLongest)
               ? ""
               : "'" + word + "' is no IPv6 address with a length such as 2001:db8::2/64";
}

std::string CheckRoutedPrefix(const std::string& word) {
    constexpr int kLongest = 64;
    if (!PrefixV6(word, kLongest)) {
        return "'" + word + "' is no prefix of at most 64 bits such as 2001:db8:8::/48";
    }
    return vexo::network::ipv6::router::IsRoutedPrefix(word)
               ? ""
               : "'" + word
                     + "' is no prefix that hosts of a LAN can have, such as 2001:db8:8::/48";
}

std::string CheckLanPrefix(const std::string& word) {
    const bool isAddress = ParseAddress(AF_INET6, word).has_value();
    return isAddress || (word.ends_with("/64") && PrefixV6(word, 64))
               ? ""
               : "'" + word + "' is no /64 such as 2001:db8:8::; see: vexonetctl prefix list";
}

int PriorityNumber(const std::string& word) {
    return ToPriority(word).value_or(kKeep);
}

bool SameAddress(const Family& family, const std::string& one, const std::string& other) {
    const auto address = ParseAddress(family.number, one);
    return address ? address == ParseAddress(family.number, other) : one == other;
}

std::string CheckedAddress(const Family& family, const std::string& option,
                           const std::string& text) {
    if (text == "none") {
        return "";
    }
    if (!ParseAddress(family.number, text)) {
        const bool v4 = family.number == AF_INET;
        throw Failure(kWrongUsage, option + ": '" + text + "' is no " + family.name
                                       + " address such as "
                                       + (v4 ? "192.0.2.1 (-6 for IPv6)" : "2001:db8::1")
                                       + "; 'none' clears the stored one");
    }
    return text;
}

}  // namespace vexonetctl
