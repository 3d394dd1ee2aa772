#include <vexonetwork/hook/gateway_change_hook.h>

namespace vexonetwork::hook {
namespace {

std::string OrAny(const std::string& address) {
    return address.empty() ? "0.0.0.0" : address;
}

}  // namespace

GatewayChangeHook::GatewayChangeHook(const std::string& action, const std::string& ifname,
                                     const std::string& destination, const std::string& gateway)
    : BaseHook("net", "gateway_change") {
    SetEnv("ACTION", action);
    SetEnv("IFNAME", ifname);
    SetEnv("DESTINATION", OrAny(destination));
    SetEnv("GATEWAY", OrAny(gateway));
}

bool GatewayChangeHook::IsValid() const {
    return !GetEnv("ACTION").empty() && !GetEnv("IFNAME").empty();
}

}  // namespace vexonetwork::hook
