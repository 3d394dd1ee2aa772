#include "network/gateway/gateway_request.h"

#include <algorithm>
#include <cstddef>

#include <vexonetwork/utils/json_reader.h>

#include "network/gateway/gateway_family.h"
#include "network/interface_name.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

// The database's values are read back through a buffer of 256 bytes.
constexpr std::size_t kMaxAddressBytes = 255;
constexpr std::size_t kMaxClassBytes = 64;

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

std::optional<bool> ReadFlag(const Json::Value& request, const char* key) {
    const auto flag = utils::GetBool(request, key);
    if (!flag) {
        LogBadMember(request, key);
    }
    return flag;
}

}  // namespace

std::optional<GATEWAY_TYPE> ReadType(const Json::Value& request) {
    const auto name = utils::GetString(request, "type");
    for (const GATEWAY_TYPE type : {GTYPE_V4, GTYPE_V6}) {
        if (name == FindFamily(type)->name) {
            return type;
        }
    }
    return std::nullopt;
}

std::optional<GATEWAY_TYPE> ReadList(const Json::Value& request, const char* complaint) {
    const auto list = ReadType(request);
    if (!list) {
        VEXO_LOG(LOG_ERR, "%s", complaint);
    }
    return list;
}

std::optional<std::string> ReadInterface(const Json::Value& request, const char* key) {
    auto name = utils::GetString(request, key);
    if (!name || !IsInterfaceName(*name)) {
        LogBadMember(request, key);
        return std::nullopt;
    }
    return name;
}

std::optional<AddRequest> ReadAddRequest(const Json::Value& request) {
    const auto list = ReadList(request, "Unknown type to add info");
    const auto ifname = list ? ReadInterface(request, "ifname") : std::nullopt;
    if (!ifname) {
        return std::nullopt;
    }
    const auto priority = utils::GetInt(request, "priority");
    if (!priority) {
        LogBadMember(request, "priority");
        return std::nullopt;
    }
    AddRequest wanted{*list, *ifname, *priority, {}, {}, {}};
    if (!ReadOptionalText(request, "gateway", kMaxAddressBytes, wanted.gateway)
        || !ReadOptionalText(request, "dns", kMaxAddressBytes, wanted.dns)
        || !ReadOptionalText(request, "class", kMaxClassBytes, wanted.interfaceClass)) {
        return std::nullopt;
    }
    return wanted;
}

std::optional<EntryRequest> ReadDeleteRequest(const Json::Value& request) {
    const auto list = ReadList(request, "Unknown type to delete info");
    const auto ifname = list ? ReadInterface(request, "ifname") : std::nullopt;
    return ifname ? std::optional(EntryRequest{*list, *ifname}) : std::nullopt;
}

std::optional<SlaveRequest> ReadSlaveRequest(const Json::Value& request) {
    // Support tools know this line, although nothing is deleted.
    const auto list = ReadList(request, "Unknown type to delete info");
    const auto ifname = list ? ReadInterface(request, "ifname") : std::nullopt;
    const auto slave = ifname ? ReadFlag(request, "slave") : std::nullopt;
    return slave ? std::optional(SlaveRequest{*list, *ifname, *slave}) : std::nullopt;
}

std::optional<CopyRequest> ReadCopyRequest(const Json::Value& request) {
    const auto list = ReadList(request, "Unknown type to get data");
    const auto source = list ? ReadInterface(request, "interface_source") : std::nullopt;
    const auto destination =
        source ? ReadInterface(request, "interface_destination") : std::nullopt;
    const auto deletes = destination ? ReadFlag(request, "interface_source_delete") : std::nullopt;
    return deletes ? std::optional(CopyRequest{*list, *source, *destination, *deletes})
                   : std::nullopt;
}

}  // namespace vexonetwork::network::module
