#include "vexo/ipv6/ipv6_config.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <vector>

#include <vexobase/interface_name.h>
#include <vexobase/unique_handle.h>

#include "vexo/interfaces/ifcfg.h"
#include "vexo/ipv6_conf.h"
#include "vlib/error.h"
#include "vlib/file.h"
#include "vlib/ipv4.h"

namespace vexoplatform {

namespace {

constexpr int kLongestPrefix = 128;

// In the order of VEXO_IPV6_….
constexpr const char* kWords[] = {"auto", "off", "dhcp", "manual", "slaac-dhcp"};

std::optional<int> MethodOf(const std::string& word) {
    const auto* const place = std::ranges::find_if(
        kWords, [&](const char* each) { return ::strcasecmp(word.c_str(), each) == 0; });
    return place == std::end(kWords) ? std::nullopt
                                     : std::optional(static_cast<int>(place - std::begin(kWords)));
}

std::string Value(const ConfigValues& values, std::string_view key) {
    const std::string* value = FindValue(values, key);
    return value == nullptr ? std::string() : *value;
}

bool IsYes(const ConfigValues& values, std::string_view key) {
    const std::string* value = FindValue(values, key);
    return value != nullptr && ::strncasecmp(value->c_str(), "yes", 3) == 0;
}

void ReadMethod(const ConfigValues& values, Ipv6Config& config) {
    if (const std::string* word = FindValue(values, "IPV6_METHOD")) {
        config.method = MethodOf(*word);
        config.badMethod = config.method ? "" : *word;
    } else if (::strcasecmp(Value(values, "IPV6INIT").c_str(), "no") == 0) {
        config.method = VEXO_IPV6_OFF;
    }
}

}  // namespace

bool HasIpv6Settings(const char* ifname) {
    const std::string_view name = ifname == nullptr ? "" : ifname;
    return vexobase::IsInterfaceName(name) && name != "all" && name != "default";
}

std::optional<Ipv6Config> ReadIpv6Config(const std::string& ifname) {
    const auto values = ReadConfigValues(ifname);
    Ipv6Config config;
    if (!values) {
        return errno == ENOENT ? std::optional(config) : std::nullopt;
    }
    config.exists = true;
    ReadMethod(*values, config);
    config.address = Value(*values, "IPV6ADDR");
    config.prefix = Value(*values, "IPV6PREFIXLENG");
    config.gateway = Value(*values, "IPV6_DEFAULTGW");
    config.router = IsYes(*values, "IPV6ROUTER");
    config.slave = IsYes(*values, "SLAVE");
    return config;
}

int StoreIpv6Config(const std::string& ifname, const Ipv6Config& before, const Ipv6Config& after) {
    vexobase::UniqueHandle<VLIBSZHASH, VLIBCSzHashFree> changes(VLIBCSzHashAlloc(4));
    int result = changes ? 0 : -1;
    const auto put = [&](const char* key, const std::string& value) {
        result |= VLIBCSzHashSetValue(changes.Address(), key, value.c_str());
    };
    if (after.method && after.method != before.method) {
        put("IPV6_METHOD", kWords[*after.method]);
    }
    const std::pair<const char*, std::string Ipv6Config::*> texts[] = {
        {"IPV6ADDR", &Ipv6Config::address},
        {"IPV6PREFIXLENG", &Ipv6Config::prefix},
        {"IPV6_DEFAULTGW", &Ipv6Config::gateway},
    };
    for (const auto& [key, text] : texts) {
        if (after.*text != before.*text) {
            put(key, after.*text);
        }
    }
    if (result != 0 || changes->count == 0) {
        return result;
    }
    return VLIBCFileSetKeys(ConfigPath(ifname).c_str(), changes.Get(), nullptr, 0);
}

bool IsHostAddress(const std::string& address) {
    in6_addr number{};
    return ::inet_pton(AF_INET6, address.c_str(), &number) == 1 && !IN6_IS_ADDR_UNSPECIFIED(&number)
           && !IN6_IS_ADDR_LOOPBACK(&number) && !IN6_IS_ADDR_MULTICAST(&number)
           && !IN6_IS_ADDR_V4MAPPED(&number);
}

std::optional<Ipv6Address> StaticAddress(const Ipv6Config& config) {
    const auto prefix = vlib::ParseDecimal(config.prefix, kLongestPrefix);
    if (!IsHostAddress(config.address) || !prefix || *prefix == 0) {
        return std::nullopt;
    }
    Ipv6Address result{{}, *prefix};
    ::inet_pton(AF_INET6, config.address.c_str(), &result.address);
    return result;
}

}  // namespace vexoplatform
