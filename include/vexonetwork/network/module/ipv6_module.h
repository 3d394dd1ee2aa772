#pragma once

#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network::module {

/// Keeps the IPv6 settings of interfaces that are configured automatically.
class IPv6Module : public BaseModule {
  public:
    IPv6Module() : BaseModule(MODULE_IPV6) {}

    static BaseModule* Create();

    /// Fails: requests are not served yet.
    int ProcessRequest(const Json::Value& in, Json::Value& out) override;
    int InitialModule() override { return 0; }
    int TerminateModule() override { return 0; }
    int StartModule() override { return 0; }
};

}  // namespace vexonetwork::network::module
