#include "network/policy_table.h"

#include <arpa/inet.h>

#include <optional>

#include <vlib/file.h>

#include "network/interface_name.h"
#include "network/parse_number.h"
#include "utils/sz_containers.h"

#define VEXO_LOG_SOURCE "policy_route"
#include <vexobase/log.h>

namespace vexonetwork::network {
namespace {

bool IsAddress(IPType type, const std::string& text) {
    in6_addr address{};
    return ::inet_pton(type == IPType::V4 ? AF_INET : AF_INET6, text.c_str(), &address) == 1;
}

PolicyTableRoute ReadRoute(const std::string& path, const char* section) {
    utils::UniqueSzHash pairs(VLIBCSzHashAlloc(1024));
    if (!pairs || VLIBCFileGetSection(path.c_str(), section, pairs.Address()) < 0) {
        return {};
    }
    const auto value = [&pairs](const char* key) -> std::string {
        const char* text = VLIBCSzHashGetValue(pairs.Get(), key);
        return text == nullptr ? "" : text;
    };
    return {value("destination"), value("gateway"), value("ifname"), value("metric")};
}

/// The family a route belongs to, whether or not the rest of it is sound.
std::optional<IPType> FamilyOf(const PolicyTableRoute& route) {
    const std::string& text = route.destination == "default" ? route.gateway : route.destination;
    for (const IPType type : {IPType::V4, IPType::V6}) {
        if (IsPrefix(type, text)) {
            return type;
        }
    }
    return std::nullopt;
}

bool IsSound(IPType type, const PolicyTableRoute& route) {
    return (route.gateway.empty() || IsAddress(type, route.gateway))
           && (route.ifname.empty() || IsInterfaceName(route.ifname))
           && (route.metric.empty() || ParseNumber(route.metric))
           && !(route.gateway.empty() && route.ifname.empty());
}

/// The addresses that stand for "no gateway"; the kernel takes none as a next hop.
bool IsUnspecified(const std::string& gateway) {
    return gateway == "::" || gateway == "0.0.0.0";
}

}  // namespace

bool IsPrefix(IPType type, const std::string& text) {
    const auto slash = text.find('/');
    if (!IsAddress(type, text.substr(0, slash))) {
        return false;
    }
    if (slash == text.npos) {
        return true;
    }
    const auto length = ParseNumber(std::string_view(text).substr(slash + 1));
    return length && *length <= (type == IPType::V4 ? 32U : 128U);
}

PolicyTable ReadPolicyTable(IPType type, const std::string& table) {
    const std::string path = "/etc/iproute2/config/" + table + "-table";
    PolicyTable result;
    utils::UniqueSzList sections(VLIBCSzListAlloc(1024));
    if (!sections || VLIBCFileExist(path.c_str()) != 1) {
        return result;
    }
    if (VLIBCFileEnumSection(path.c_str(), sections.Address()) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to read config [%s]", path.c_str());
        result.malformed = true;
        return result;
    }
    // Section by section, so that an empty one spoils none of the others.
    for (int i = 0; i < sections->count; ++i) {
        const char* section = VLIBCSzListGet(sections.Get(), i);
        PolicyTableRoute route = ReadRoute(path, section);
        const auto family = FamilyOf(route);
        if (family && *family != type) {
            continue;
        }
        if (IsUnspecified(route.gateway)) {
            route.gateway.clear();
        }
        if (!family || !IsSound(type, route)) {
            VEXO_LOG(LOG_ERR, "Bad route [%.32s] in [%s]", section, path.c_str());
            result.malformed = true;
            continue;
        }
        result.routes.push_back(std::move(route));
    }
    return result;
}

}  // namespace vexonetwork::network
