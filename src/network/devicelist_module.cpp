#include <vexobase/log.h>
#include <vexonetwork/network/module/devicelist_module.h>

namespace vexonetwork::network::module {

BaseModule* DeviceListModule::Create() {
    return new DeviceListModule;
}

int DeviceListModule::ProcessRequest(const Json::Value& /*in*/, Json::Value& /*out*/) {
    VEXO_LOG(LOG_ERR, "Requests are not served yet");
    return -1;
}

}  // namespace vexonetwork::network::module
