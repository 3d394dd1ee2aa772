#pragma once

#include <gmock/gmock.h>
#include <syslog.h>

#include <functional>
#include <map>

#include <vexonetwork/network/module/module_manager.h>

#include "support/syslog_spy.h"

namespace vexotest {

using namespace vexonetwork::network::event;
using namespace vexonetwork::network::module;
using testing::ElementsAre;

/// What the fake modules did, as "STEP TYPE", and what such a step is to return when not 0.
inline std::vector<std::string> steps;
inline std::map<std::string, int> results;

/// The requests that reached them, as "TYPE METHOD MEMBER=VALUE...", and how they are answered.
inline std::vector<std::string> requests;
inline std::function<int(Json::Value& reply)> answer = [](Json::Value&) { return 0; };

/// A module that only writes down what it is asked to do.
class FakeModule : public BaseModule {
  public:
    using BaseModule::BaseModule;
    ~FakeModule() override { Step("destroy"); }

    int HookEvents() const override { return Step("hook"); }
    int InitialModule() override { return Step("init"); }
    int StartModule() override { return Step("start"); }
    int TerminateModule() override { return Step("terminate"); }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        requests.push_back(ToStr().back() + (" " + in["method"].asString()));
        for (const std::string& member : in.getMemberNames()) {
            requests.back() += member == "method" ? "" : " " + member + "=" + in[member].asString();
        }
        return answer(out);
    }
    int OnEvent(const BaseEvent*) { return Step("event"); }
    int OnEventOnce(const BaseEvent* event) { return UnHookEvent(event->Type()); }

  private:
    int Step(const std::string& what) const {
        steps.push_back(what + " " + ToStr().back());
        return results[steps.back()];
    }
};

/// The process's manager, with fake modules; left without modules and hooks.
class FakeModules : public testing::Test {
  protected:
    ~FakeModules() override {
        results.clear();
        for (const auto type : {MODULE_TEST, MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST}) {
            manager.UnHookEvent(EVENT_HELLO, type);
            manager.RemoveModule(type);
        }
        steps.clear();
    }

    template <MODULE_TYPE... Types>
    void Add() {
        (manager.AddModule({Types, true, []() -> BaseModule* { return new FakeModule(Types); }}),
         ...);
    }

    SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
};

}  // namespace vexotest
