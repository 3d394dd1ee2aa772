#include "facts/validation.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "failure.h"

namespace vexonetctl {
namespace {

// As the daemon counts: -1 appends, -2 leaves the entry where it is.
constexpr int kFirst = 0;
constexpr int kLast = -1;
constexpr int kKeep = -2;

using AddressBytes = std::array<std::uint8_t, sizeof(in6_addr)>;

std::optional<AddressBytes> ParseAddress(const Family& family, const std::string& text) {
    AddressBytes bytes{};
    if (::inet_pton(family.number, text.c_str(), bytes.data()) != 1) {
        return std::nullopt;
    }
    return bytes;
}

bool IsBlankOrControl(unsigned char c) {
    return c <= ' ' || c == 0x7f;
}

/// Of ADDRESS/LENGTH in IPv6; none when it is something else, or longer than that.
std::optional<int> LengthOfPrefix(const std::string& text, int longest) {
    const auto slash = std::min(text.find('/'), text.size());
    const std::string digits = text.substr(std::min(slash + 1, text.size()));
    if (!ParseAddress(kFamilies[1], text.substr(0, slash)) || digits.empty() || digits.size() > 3
        || digits.find_first_not_of("0123456789") != digits.npos) {
        return std::nullopt;
    }
    const int length = std::stoi(digits);
    return length > 0 && length <= longest ? std::optional(length) : std::nullopt;
}

/// Whether LANs could be given a part of it: no multicast, no link-local or reserved address.
bool IsForLans(const AddressBytes& prefix) {
    constexpr std::uint8_t kReserved = 0;
    constexpr std::uint8_t kMulticast = 0xff;
    const bool isLinkLocal = prefix[0] == 0xfe && (prefix[1] & 0xc0) == 0x80;
    return prefix[0] != kReserved && prefix[0] != kMulticast && !isLinkLocal;
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
    return ParseAddress(kFamilies[0], word) ? ""
                                            : "'" + word + "' is no IPv4 address such as 192.0.2.1";
}

std::string CheckAddressLengthV6(const std::string& word) {
    constexpr int kLongest = 128;
    return LengthOfPrefix(word, kLongest)
               ? ""
               : "'" + word + "' is no IPv6 address with a length such as 2001:db8::2/64";
}

std::string CheckRoutedPrefix(const std::string& word) {
    constexpr int kLongest = 64;
    if (!LengthOfPrefix(word, kLongest)) {
        return "'" + word + "' is no prefix of at most 64 bits such as 2001:db8:8::/48";
    }
    const auto address = ParseAddress(kFamilies[1], word.substr(0, word.find('/')));
    return address && IsForLans(*address)
               ? ""
               : "'" + word
                     + "' is no prefix that hosts of a LAN can have, such as 2001:db8:8::/48";
}

std::string CheckLanPrefix(const std::string& word) {
    const bool isAddress = ParseAddress(kFamilies[1], word).has_value();
    return isAddress || (word.ends_with("/64") && LengthOfPrefix(word, 64))
               ? ""
               : "'" + word + "' is no /64 such as 2001:db8:8::; see: vexonetctl prefix list";
}

int PriorityNumber(const std::string& word) {
    return ToPriority(word).value_or(kKeep);
}

bool SameAddress(const Family& family, const std::string& one, const std::string& other) {
    const auto bytes = ParseAddress(family, one);
    return bytes ? bytes == ParseAddress(family, other) : one == other;
}

std::string CheckedAddress(const Family& family, const std::string& option,
                           const std::string& text) {
    if (text == "none") {
        return "";
    }
    if (!ParseAddress(family, text)) {
        const bool v4 = family.number == AF_INET;
        throw Failure(kWrongUsage, option + ": '" + text + "' is no " + family.name
                                       + " address such as "
                                       + (v4 ? "192.0.2.1 (-6 for IPv6)" : "2001:db8::1")
                                       + "; 'none' clears the stored one");
    }
    return text;
}

}  // namespace vexonetctl
