#include "network/devices/host_finder/host_finder_message.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include <vexonetwork/utils/json_reader.h>

#include "utils/utf8.h"

namespace vexonetwork::network {

namespace {

using Type = HostFinderMessage::Type;

constexpr int kVersion = 1;
constexpr char kQuestion[] = "question";
constexpr char kAnswer[] = "answer";
constexpr std::size_t kTokenLength = 16;
constexpr std::size_t kMacLength = 17;  // "xx:xx:xx:xx:xx:xx"
constexpr std::size_t kLongestText = 64;

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

bool IsToken(std::string_view text) {
    return text.size() == kTokenLength && std::all_of(text.begin(), text.end(), IsHexDigit);
}

bool IsAddress(const std::string& text) {
    in_addr address{};
    return text.size() < INET_ADDRSTRLEN && text.find('\0') == text.npos
           && ::inet_pton(AF_INET, text.c_str(), &address) == 1;
}

/// Whether this is the address of one station: not zero, no group's.
bool IsStation(std::string_view mac) {
    if (mac.size() != kMacLength || mac == "00:00:00:00:00:00") {
        return false;
    }
    for (std::size_t i = 0; i < mac.size(); ++i) {
        if (i % 3 == 2 ? mac[i] != ':' : !IsHexDigit(mac[i])) {
            return false;
        }
    }
    unsigned first = 0;
    std::from_chars(mac.data(), mac.data() + 2, first, 16);
    return first % 2 == 0;
}

std::optional<Type> TypeOf(const Json::Value& object) {
    const auto type = utils::GetString(object, "type");
    if (type == kQuestion) {
        return Type::kQuestion;
    }
    return type == kAnswer ? std::optional(Type::kAnswer) : std::nullopt;
}

bool ReadAnswer(const Json::Value& object, HostFinderMessage& message) {
    message.ipAddr = utils::GetString(object, "ipAddr").value_or("");
    message.macAddr = utils::GetString(object, "macAddr").value_or("");
    for (const auto& [key, member] : kHostFinderTexts) {
        std::string text = utils::GetString(object, key).value_or("");
        if (IsHostFinderText(text)) {
            message.*member = std::move(text);
        }
    }
    return IsAddress(message.ipAddr) && IsStation(message.macAddr);
}

}  // namespace

bool IsHostFinderText(std::string_view text) {
    if (text.empty() || text.size() > kLongestText) {
        return false;
    }
    while (!text.empty()) {
        const auto character = utils::TakeCharacter(text);
        if (!character || utils::IsControl(*character)) {
            return false;
        }
    }
    return true;
}

std::optional<HostFinderMessage> ParseHostFinder(std::string_view datagram) {
    Json::Value object;
    if (datagram.size() > kLongestHostFinderMessage
        || !utils::ParseJson(std::string(datagram), object)
        || utils::GetInt(object, "version") != kVersion) {
        return std::nullopt;
    }
    const auto type = TypeOf(object);
    auto token = utils::GetString(object, "token");
    if (!type || !token || !IsToken(*token)) {
        return std::nullopt;
    }
    HostFinderMessage message;
    message.type = *type;
    message.token = std::move(*token);
    if (message.type == Type::kAnswer && !ReadAnswer(object, message)) {
        return std::nullopt;
    }
    return message;
}

std::string ToDatagram(const HostFinderMessage& message) {
    Json::Value object(Json::objectValue);
    object["version"] = kVersion;
    object["token"] = message.token;
    if (message.type == Type::kQuestion) {
        object["type"] = kQuestion;
        return utils::ToCompactText(object);
    }
    object["type"] = kAnswer;
    object["ipAddr"] = message.ipAddr;
    object["macAddr"] = message.macAddr;
    for (const auto& [key, member] : kHostFinderTexts) {
        if (IsHostFinderText(message.*member)) {
            object[key] = message.*member;
        }
    }
    return utils::ToCompactText(object);
}

}  // namespace vexonetwork::network
