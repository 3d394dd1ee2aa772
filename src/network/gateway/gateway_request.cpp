#include "network/gateway/gateway_request.h"

#include <algorithm>
#include <cstddef>

#include <vexonetwork/utils/json_reader.h>

#include "network/interface_name.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

// The database's values are read back through a buffer of 256 bytes.
constexpr std::size_t kMostAddressBytes = 255;
constexpr std::size_t kMostClassBytes = 64;

void LogBadMember(const Json::Value& request, const char* key) {
    const std::string method = utils::GetString(request, "method").value_or("");
    VEXO_LOG(LOG_ERR, "Bad [%s] in request [%.32s]", key, method.c_str());
}

bool HasControlCharacter(const std::string& text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

/// Reads a member that may be absent; the word "NULL" stands for an absent one.
/// @return whether the request is fit to be served
bool ReadOptionalText(const Json::Value& request, const char* key, std::size_t most,
                      std::optional<std::string>& text) {
    if (!request.isMember(key)) {
        return true;
    }
    text = utils::GetString(request, key);
    if (!text || text->size() > most || HasControlCharacter(*text)) {
        LogBadMember(request, key);
        return false;
    }
    if (*text == "NULL") {
        text.reset();
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadInterface(const Json::Value& request, const char* key) {
    auto name = utils::GetString(request, key);
    if (!name || !IsInterfaceName(*name)) {
        LogBadMember(request, key);
        return std::nullopt;
    }
    return name;
}

std::optional<bool> ReadFlag(const Json::Value& request, const char* key) {
    const auto flag = utils::GetBool(request, key);
    if (!flag) {
        LogBadMember(request, key);
    }
    return flag;
}

std::optional<AddRequest> ReadAddRequest(const Json::Value& request) {
    const auto ifname = ReadInterface(request, "ifname");
    if (!ifname) {
        return std::nullopt;
    }
    const auto priority = utils::GetInt(request, "priority");
    if (!priority) {
        LogBadMember(request, "priority");
        return std::nullopt;
    }
    AddRequest wanted{*ifname, *priority, {}, {}, {}};
    if (!ReadOptionalText(request, "gateway", kMostAddressBytes, wanted.gateway)
        || !ReadOptionalText(request, "dns", kMostAddressBytes, wanted.dns)
        || !ReadOptionalText(request, "class", kMostClassBytes, wanted.interfaceClass)) {
        return std::nullopt;
    }
    return wanted;
}

}  // namespace vexonetwork::network::module
