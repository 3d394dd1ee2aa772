#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <vexonetwork/network/module/module_manager.h>

namespace vexotest {

namespace module = vexonetwork::network::module;
namespace event = vexonetwork::network::event;

/// What the fake modules did, as "STEP TYPE", and what each such step is to return when not 0.
inline std::vector<std::string> steps;
inline std::map<std::string, int> results;

/// A module that only writes down what it is asked to do.
class FakeModule : public module::BaseModule {
  public:
    explicit FakeModule(module::MODULE_TYPE moduleType)
        : BaseModule(moduleType), name(moduleType) {}
    ~FakeModule() override { Step("destroy"); }

    int HookEvents() const override { return Step("hook"); }
    int InitialModule() override { return Step("init"); }
    int StartModule() override { return Step("start"); }
    int TerminateModule() override { return Step("terminate"); }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        out["echo"] = in;
        return Step("request");
    }

    int OnEvent(const event::BaseEvent* event) { return Step("event " + event->ToStr()); }
    int OnEventOnce(const event::BaseEvent* event) {
        UnHookEvent(event->Type());
        return Step("once");
    }

  private:
    int Step(const std::string& what) const {
        steps.push_back(what + " " + std::to_string(name));
        const auto result = results.find(steps.back());
        return result == results.end() ? 0 : result->second;
    }

    int name;
};

template <module::MODULE_TYPE Type>
module::ModuleManager::MODULE_INFO FakeInfo() {
    return {Type, true, []() -> module::BaseModule* { return new FakeModule(Type); }};
}

/// What happened since the last call.
inline std::vector<std::string> TakeSteps() {
    return std::exchange(steps, {});
}

/// Leaves the process's manager without modules and the fakes without instructions.
inline void ForgetModules() {
    results.clear();
    for (int type = module::MODULE_TEST; type <= module::MODULE_RESERVED; ++type) {
        module::ModuleManager::GetInstance().RemoveModule(static_cast<module::MODULE_TYPE>(type));
    }
    steps.clear();
}

}  // namespace vexotest
