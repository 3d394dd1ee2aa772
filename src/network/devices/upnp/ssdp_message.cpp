#include "network/devices/upnp/ssdp_message.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <charconv>

namespace vexonetwork::network {

namespace {

using std::chrono::seconds;

constexpr std::string_view kRootDevice = "upnp:rootdevice";
constexpr std::size_t kMaxUsn = 256;
constexpr std::size_t kMaxLocation = 1024;
constexpr seconds kShortestLife = std::chrono::minutes(1);
constexpr seconds kLongestLife = std::chrono::hours(24);

/// The members that are read, by their numbers in Headers.
enum Member { kNt, kNts, kSt, kUsn, kLocation, kCacheControl, kBootId, kNextBootId, kConfigId };
constexpr std::string_view kNames[] = {"NT",
                                       "NTS",
                                       "ST",
                                       "USN",
                                       "LOCATION",
                                       "CACHE-CONTROL",
                                       "BOOTID.UPNP.ORG",
                                       "NEXTBOOTID.UPNP.ORG",
                                       "CONFIGID.UPNP.ORG"};

bool IsSame(std::string_view text, std::string_view other) {
    return text.size() == other.size()
           && ::strncasecmp(text.data(), other.data(), text.size()) == 0;
}

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return IsSame(text.substr(0, prefix.size()), prefix);
}

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == text.npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Takes the first line, without its end, off a text.
std::string_view TakeLine(std::string_view& text) {
    const auto end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

class Headers {
  public:
    /// @return whether no member was given twice: which of the two counts, nobody can tell
    bool Read(std::string_view text) {
        while (!text.empty()) {
            const std::string_view line = TakeLine(text);
            if (line.empty()) {
                break;
            }
            const auto colon = line.find(':');
            if (colon != line.npos
                && !Take(line.substr(0, colon), Trimmed(line.substr(colon + 1)))) {
                return false;
            }
        }
        return true;
    }

    bool Has(Member member) const { return values[member].has_value(); }
    std::string_view operator[](Member member) const { return values[member].value_or(""); }

    /// @return nothing for what is no number
    std::optional<std::uint32_t> Number(Member member) const {
        const std::string_view text = (*this)[member];
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || end != text.data() + text.size()) {
            return std::nullopt;
        }
        return number;
    }

  private:
    bool Take(std::string_view name, std::string_view value) {
        for (std::size_t i = 0; i < std::size(kNames); ++i) {
            if (IsSame(name, kNames[i])) {
                const bool isFirst = !values[i];
                values[i] = value;
                return isFirst;
            }
        }
        return true;
    }

    std::optional<std::string_view> values[std::size(kNames)];
};

/// The "max-age" among the directives (RFC 9111 section 5.2), within bounds.
std::optional<seconds> LifetimeIn(std::string_view directives) {
    while (!directives.empty()) {
        const auto end = std::min(directives.find(','), directives.size());
        const std::string_view directive = Trimmed(directives.substr(0, end));
        directives.remove_prefix(std::min(end + 1, directives.size()));
        const auto equals = directive.find('=');
        if (equals == directive.npos || !IsSame(Trimmed(directive.substr(0, equals)), "max-age")) {
            continue;
        }
        const std::string_view text = Trimmed(directive.substr(equals + 1));
        std::uint32_t number = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
        if (result.ec == std::errc::result_out_of_range) {
            return kLongestLife;
        }
        if (result.ec == std::errc{}) {
            return std::clamp(seconds(number), kShortestLife, kLongestLife);
        }
    }
    return std::nullopt;
}

bool IsSuccess(std::string_view startLine) {
    constexpr std::string_view kVersion = "HTTP/1.";
    return BeginsWith(startLine, kVersion)
           && startLine.substr(kVersion.size()).substr(0, 5).find(" 200") == 1;
}

std::optional<SsdpMessage::Kind> KindOf(std::string_view startLine, const Headers& headers) {
    using enum SsdpMessage::Kind;
    if (IsSuccess(startLine)) {
        return headers[kSt] == kRootDevice ? std::optional(kAnswer) : std::nullopt;
    }
    if (!BeginsWith(startLine, "NOTIFY * HTTP/1.") || headers[kNt] != kRootDevice) {
        return std::nullopt;
    }
    const std::pair<std::string_view, SsdpMessage::Kind> kinds[] = {
        {"ssdp:alive", kHere}, {"ssdp:update", kUpdate}, {"ssdp:byebye", kFarewell}};
    for (const auto& [name, kind] : kinds) {
        if (headers[kNts] == name) {
            return kind;
        }
    }
    return std::nullopt;
}

/// Whether a text has a length within bounds and nothing that could disturb a log line.
bool IsPlain(std::string_view text, std::size_t most) {
    return !text.empty() && text.size() <= most
           && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

bool IsRootUsn(std::string_view usn) {
    return IsPlain(usn, kMaxUsn) && BeginsWith(usn, "uuid:") && usn.ends_with("::upnp:rootdevice");
}

}  // namespace

std::optional<SsdpMessage> ParseSsdp(std::string_view datagram) {
    if (datagram.size() > kMaxSsdpBytes || datagram.find('\0') != datagram.npos) {
        return std::nullopt;
    }
    const std::string_view startLine = TakeLine(datagram);
    Headers headers;
    if (!headers.Read(datagram)) {
        return std::nullopt;
    }
    const auto kind = KindOf(startLine, headers);
    if (!kind || !IsRootUsn(headers[kUsn])) {
        return std::nullopt;
    }
    SsdpMessage message;
    message.kind = *kind;
    message.usn = headers[kUsn];
    if (*kind == SsdpMessage::Kind::kFarewell) {
        return message;
    }
    if (!IsPlain(headers[kLocation], kMaxLocation)) {
        return std::nullopt;
    }
    message.location = headers[kLocation];
    message.lifetime = LifetimeIn(headers[kCacheControl]).value_or(message.lifetime);
    const bool isRenamed = *kind == SsdpMessage::Kind::kUpdate && headers.Has(kNextBootId);
    message.bootId = headers.Number(isRenamed ? kNextBootId : kBootId);
    message.configId = headers.Number(kConfigId);
    return message;
}

bool IsMalformedSsdp(std::string_view datagram) {
    return datagram.size() > kMaxSsdpBytes
           || (!BeginsWith(datagram, "M-SEARCH") && datagram.find(kRootDevice) != datagram.npos);
}

bool IsServedBy(std::string_view location, in_addr host) {
    char address[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &host, address, sizeof address);
    const std::string origin = std::string("http://") + address;
    if (!BeginsWith(location, origin)) {
        return false;
    }
    location.remove_prefix(origin.size());
    if (location.starts_with(':')) {
        location.remove_prefix(1);
        std::uint16_t port = 0;
        const auto [end, error] =
            std::from_chars(location.data(), location.data() + location.size(), port);
        if (error != std::errc{} || port == 0) {
            return false;
        }
        location.remove_prefix(static_cast<std::size_t>(end - location.data()));
    }
    return location.starts_with('/');
}

}  // namespace vexonetwork::network
