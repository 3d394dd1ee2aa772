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

/// What the fake modules did, as "STEP TYPE", and what such a step is to return when not 0.
inline std::vector<std::string> steps;
inline std::map<std::string, int> results;

/// A module that only writes down what it is asked to do.
class FakeModule : public module::BaseModule {
  public:
    explicit FakeModule(module::MODULE_TYPE moduleType)
        : BaseModule(moduleType), name(std::to_string(moduleType)) {}
    ~FakeModule() override { Step("destroy"); }

    int HookEvents() const override { return Step("hook"); }
    int InitialModule() override { return Step("init"); }
    int StartModule() override { return Step("start"); }
    int TerminateModule() override { return Step("terminate"); }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        out = in;
        return Step("request");
    }
    int OnEvent(const event::BaseEvent*) { return Step("event"); }
    int OnEventOnce(const event::BaseEvent* event) { return UnHookEvent(event->Type()); }

    template <module::MODULE_TYPE Type>
    static bool Add() {
        return module::ModuleManager::GetInstance().AddModule(
            {Type, true, []() -> module::BaseModule* { return new FakeModule(Type); }});
    }

  private:
    int Step(const std::string& what) const {
        steps.push_back(what + " " + name);
        const auto result = results.find(steps.back());
        return result == results.end() ? 0 : result->second;
    }

    std::string name;
};

/// What happened since the last call.
inline std::vector<std::string> TakeSteps() {
    return std::exchange(steps, {});
}

/// Leaves the process's manager without modules and hooks, the fakes without instructions.
inline void ForgetModules() {
    results.clear();
    for (int number = module::MODULE_TEST; number <= module::MODULE_RESERVED; ++number) {
        const auto type = static_cast<module::MODULE_TYPE>(number);
        module::ModuleManager::GetInstance().UnHookEvent(event::EVENT_HELLO, type);
        module::ModuleManager::GetInstance().RemoveModule(type);
    }
    steps.clear();
}

}  // namespace vexotest
