#include "network/devices/device_texts.h"

#include <algorithm>

#include "utils/field_scanner.h"

namespace vexonetwork::network {

namespace {

constexpr std::string_view kSpace = " \t\n\v\f\r";

/// "xx:xx:xx:xx:xx:xx"
constexpr std::size_t kMacLength = 17;
constexpr std::size_t kFirstColon = 2;
constexpr std::size_t kLastColon = 14;

/// The kernel's MAC of an address that it asks for and nobody answers.
constexpr std::string_view kNobody = "00:00:00:00:00:00";

constexpr std::size_t kLongestLine = 1023;

bool HasMacForm(std::string_view text) {
    return text.size() == kMacLength && text[kFirstColon] == ':' && text[kLastColon] == ':';
}

std::string_view LineAround(std::string_view text, std::size_t place) {
    const std::size_t before = text.rfind('\n', place);
    const std::size_t begin = before == text.npos ? 0 : before + 1;
    return text.substr(begin, std::min(text.find('\n', place), text.size()) - begin);
}

std::string NameOfLease(std::string_view line) {
    utils::FieldScanner fields(line);
    std::string_view expiry;
    std::string_view mac;
    std::string_view address;
    std::string_view name;
    return fields.Read(expiry) && fields.Read(mac) && fields.Read(address) && fields.Read(name)
               ? std::string(name)
               : "";
}

/// The line that a buffer of 1,024 bytes takes: a longer one comes in parts. Removed from `text`.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1);
    const std::string_view line = text.substr(0, std::min(end + 1, kLongestLine));
    text.remove_prefix(line.size());
    return line.substr(0, line.find('\0'));
}

/// Both spellings are about: that of the appliance's own nmblookup and that of everybody's.
bool HasMark(std::string_view line, std::string_view own, std::string_view common) {
    return line.find(own) != line.npos || line.find(common) != line.npos;
}

std::string_view FirstPart(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    line = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(line.find_first_not_of(kSpace), line.size()));
    return line.substr(0, line.find_last_not_of(kSpace) + 1);
}

}  // namespace

std::optional<ArpDevice> ParseArpLine(std::string_view line) {
    utils::FieldScanner fields(line);
    std::string_view words[6];
    for (std::string_view& word : words) {
        if (!fields.Read(word)) {
            return std::nullopt;
        }
    }
    const auto& [address, type, flags, mac, mask, ifname] = words;
    if (ifname.find("br") == ifname.npos || mac == kNobody) {
        return std::nullopt;
    }
    return ArpDevice{std::string(address), std::string(mac), std::string(ifname)};
}

void ReadLeases(std::string_view leases, NamesByMac& names) {
    std::size_t open = 0;  // MACs whose line is still to come
    NamesByMac found;
    for (auto& [mac, name] : names) {
        if (HasMacForm(mac)) {
            ++open;
        } else if (const auto place = leases.find(mac); place != leases.npos) {
            name = NameOfLease(LineAround(leases, place));
        }
    }
    std::string key;
    for (auto colon = leases.find(':', kFirstColon); open > 0 && colon != leases.npos;
         colon = leases.find(':', colon + 1)) {
        const std::string_view window = leases.substr(colon - kFirstColon, kMacLength);
        if (!HasMacForm(window)) {
            continue;
        }
        key.assign(window);
        if (names.contains(key) && found.try_emplace(key).second) {
            found[key] = NameOfLease(LineAround(leases, colon));
            --open;
        }
    }
    for (auto& [mac, name] : found) {
        names[mac] = std::move(name);
    }
}

std::string ParseNodeStatus(std::string_view answer) {
    while (!answer.empty()) {
        const std::string_view line = TakeLine(answer);
        if (HasMark(line, "#ACTIVE$", "<ACTIVE>") && !HasMark(line, "#GROUP$", "<GROUP>")) {
            return std::string(FirstPart(line));
        }
    }
    return "";
}

}  // namespace vexonetwork::network
