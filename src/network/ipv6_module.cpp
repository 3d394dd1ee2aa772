#include <vexobase/log.h>
#include <vexonetwork/network/module/ipv6_module.h>

namespace vexonetwork::network::module {

BaseModule* IPv6Module::Create() {
    return new IPv6Module;
}

int IPv6Module::ProcessRequest(const Json::Value& /*in*/, Json::Value& /*out*/) {
    VEXO_LOG(LOG_ERR, "Requests are not served yet");
    return -1;
}

}  // namespace vexonetwork::network::module
