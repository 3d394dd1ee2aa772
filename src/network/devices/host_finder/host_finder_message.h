#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vexonetwork::network {

/// What appliances say to one another, as docs/host-finder.md describes it.
struct HostFinderMessage {
    enum class Type { kQuestion, kAnswer };

    Type type = Type::kQuestion;
    std::string token;  ///< 16 lower-case hexadecimal digits; an answer repeats the question's

    // Of an answer.
    std::string ipAddr;   ///< "192.0.2.1"
    std::string macAddr;  ///< lower-case colon form, of one station
    std::string friendlyName;
    std::string modelName;
    std::string serial;
    std::string firmware;

    bool operator==(const HostFinderMessage&) const = default;
};

/// A member that is left out of a message when there is nothing to say in it.
struct HostFinderText {
    const char* key;
    std::string HostFinderMessage::*member;
};
inline constexpr std::array kHostFinderTexts = {
    HostFinderText{"friendlyName", &HostFinderMessage::friendlyName},
    HostFinderText{"modelName", &HostFinderMessage::modelName},
    HostFinderText{"serial", &HostFinderMessage::serial},
    HostFinderText{"firmware", &HostFinderMessage::firmware}};

constexpr std::size_t kLongestHostFinderMessage = 1024;

/// Reads a datagram that anybody may have sent. Texts that are none (see IsHostFinderText) are left
/// empty. @return nothing when any other member is missing or wrong
std::optional<HostFinderMessage> ParseHostFinder(std::string_view datagram);

/// The datagram of a message; texts that ParseHostFinder would not take are left out.
std::string ToDatagram(const HostFinderMessage& message);

/// Whether a text may be a member: 1 to 64 bytes of UTF-8 (RFC 3629) without control characters.
bool IsHostFinderText(std::string_view text);

}  // namespace vexonetwork::network
