#pragma once

#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network::module {

/// Knows the devices on the LAN.
class DeviceListModule : public BaseModule {
  public:
    DeviceListModule() : BaseModule(MODULE_DEVICE_LIST) {}

    static BaseModule* Create();

    /// Fails: requests are not served yet.
    int ProcessRequest(const Json::Value& in, Json::Value& out) override;
    int InitialModule() override { return 0; }
    int TerminateModule() override { return 0; }
    int StartModule() override { return 0; }
};

}  // namespace vexonetwork::network::module
