#include "vexo/ipv6_conf.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <vexobase/log.h>

#include "vexo/ipv6/ipv6_config.h"
#include "vexo/ipv6/ipv6_kernel.h"
#include "vexo/ipv6/ipv6_setup.h"
#include "vexo/out_text.h"
#include "vlib/error.h"
#include "vlib/ipv4.h"

namespace {

using vexoplatform::Ipv6Config;

constexpr int kLongestPrefix = 128;

int Fail(int code) {
    VLIBCErrSet(code);
    return -1;
}

bool HasRoom(const std::string& text, const char* buffer, int size) {
    return buffer == nullptr || (size > 0 && text.size() < static_cast<std::size_t>(size));
}

bool IsMethod(int method) {
    return method >= VEXO_IPV6_AUTOMATIC && method <= VEXO_IPV6_STATELESS_DHCP;
}

/// Null and an empty text name no address.
bool IsAddressOrNone(const char* text) {
    return text == nullptr || *text == '\0' || vexoplatform::IsHostAddress(text);
}

/// These three follow what routers advertise. As anybody on the link can advertise, that is in
/// force until the next boot, and is stored only where the administrator has stored a method.
bool FollowsRouters(int method) {
    return method != VEXO_IPV6_OFF && method != VEXO_IPV6_MANUAL;
}

Ipv6Config Changed(const Ipv6Config& before, int method, const char* address, int prefix,
                   const char* gateway) {
    Ipv6Config after = before;
    const bool isAskedFor = address != nullptr || prefix != 0 || gateway != nullptr;
    if (before.method || !before.badMethod.empty() || isAskedFor || !FollowsRouters(method)) {
        after.method = method;
    }
    after.address = address == nullptr ? before.address : address;
    after.prefix = prefix == 0 ? before.prefix : std::to_string(prefix);
    after.gateway = gateway == nullptr ? before.gateway : gateway;
    return after;
}

}  // namespace

int VEXONetIPv6ConfGet(const char* ifname, int* method, char* address, int addressSize, int* prefix,
                       char* gateway, int gatewaySize) {
    if (!vexoplatform::HasIpv6Settings(ifname) || method == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto config = vexoplatform::ReadIpv6Config(ifname);
    if (!config) {
        return Fail(VLIB_ERR_OPEN_FAILED);
    }
    if (!config->badMethod.empty() || !HasRoom(config->address, address, addressSize)
        || !HasRoom(config->gateway, gateway, gatewaySize)) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    *method = vexoplatform::MethodInForce(ifname, *config);
    if (address != nullptr) {
        vexoplatform::PutOut(config->address, address, addressSize);
    }
    if (prefix != nullptr) {
        *prefix = vlib::ParseDecimal(config->prefix, kLongestPrefix).value_or(0);
    }
    if (gateway != nullptr) {
        vexoplatform::PutOut(config->gateway, gateway, gatewaySize);
    }
    return 0;
}

int VEXONetIPv6ConfSet(int method, const char* ifname, const char* address, int prefix,
                       const char* gateway) {
    if (!vexoplatform::HasIpv6Settings(ifname) || !IsMethod(method) || !IsAddressOrNone(address)
        || !IsAddressOrNone(gateway) || prefix < 0 || prefix > kLongestPrefix) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    if (!vexoplatform::HasIpv6(ifname)) {
        VEXO_LOG(LOG_ERR, "Interface [%s] has no IPv6: %s", ifname, std::strerror(errno));
        return Fail(VLIB_ERR_NOT_FOUND);
    }
    const auto before = vexoplatform::ReadIpv6Config(ifname);
    if (!before) {
        VEXO_LOG(LOG_ERR, "Failed to read the configuration of [%s]: %s", ifname,
                 std::strerror(errno));
        return Fail(VLIB_ERR_OPEN_FAILED);
    }
    const Ipv6Config after = Changed(*before, method, address, prefix, gateway);
    const int stored = vexoplatform::StoreIpv6Config(ifname, *before, after);
    if (stored != 0) {
        VEXO_LOG(LOG_ERR, "Failed to store the IPv6 method of [%s]: %s", ifname,
                 std::strerror(errno));
    }
    const int applied = vexoplatform::ApplyIpv6Method(ifname, method, after);
    return stored == 0 && applied == 0 ? 0 : -1;
}

int VEXOLnxIPv6ProcAction(const char* ifname, int action) {
    if (!vexoplatform::HasIpv6Settings(ifname)
        || (action != VEXO_IPV6_ENABLE && action != VEXO_IPV6_DISABLE)) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const bool isDone = vexoplatform::PutIpv6Setting(ifname, "disable_ipv6", action) >= 0;
    return isDone ? 0 : Fail(VLIB_ERR_WRITE_FAILED);
}
