#pragma once

#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network::module {

/// Shows how a module is written: logs a line at each step of its life and for each hello event.
class TestModule : public BaseModule {
  public:
    TestModule();
    ~TestModule() override;

    static BaseModule* Create();

    int ProcessRequest(const Json::Value& in, Json::Value& out) override;
    int InitialModule() override;
    int TerminateModule() override;
    int StartModule() override;
    int HookEvents() const override;

    /// @return 0, or -1 for a null event
    int OnHelloEvent(const event::BaseEvent* event);
};

}  // namespace vexonetwork::network::module
