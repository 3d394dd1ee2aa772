#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "fake_module.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::network::module;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using vexotest::FakeInfo;
using vexotest::FakeModule;
using vexotest::results;
using vexotest::TakeSteps;

class ModuleTest : public testing::Test {
  protected:
    ~ModuleTest() override { vexotest::ForgetModules(); }

    vexotest::SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
};

using LifeCycle = ModuleTest;
using Manager = ModuleTest;

TEST_F(LifeCycle, FailedInitialisationTerminates) {
    struct Case {
        std::map<std::string, int> failures;
        int result;
        std::vector<std::string> steps;
        std::vector<std::string> log;
    };
    const std::vector<Case> cases = {
        {{{"hook 3", 7}}, 7, {"hook 3", "terminate 3"}, {"Failed to hook event of module [3]"}},
        {{{"init 3", 8}}, 8, {"hook 3", "init 3", "terminate 3"}, {"Failed to init module [3]"}},
        {{{"init 3", 8}, {"terminate 3", 9}},
         8,
         {"hook 3", "init 3", "terminate 3"},
         {"Failed to init module [3]", "Failed to terminate module [3]"}},
    };
    for (const Case& c : cases) {
        FakeModule module(MODULE_ROUTE);
        results = c.failures;
        TakeSteps();
        spy.Clear();
        EXPECT_EQ(module.Initialize(), c.result);
        EXPECT_EQ(TakeSteps(), c.steps);
        EXPECT_EQ(spy.Messages(), c.log);
        EXPECT_EQ(module.Start(), -1);
        EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 130, "Module [3] is not initialized"));
        EXPECT_THAT(TakeSteps(), IsEmpty());

        results.clear();
        EXPECT_EQ(module.Initialize(), 0) << "cannot be initialised after a failure";
    }
}

TEST_F(LifeCycle, StateDecidesWhatIsDone) {
    FakeModule module(MODULE_ROUTE);
    EXPECT_EQ(module.Start(), -1) << "created";
    EXPECT_EQ(module.Initialize(), 0);
    EXPECT_EQ(module.Initialize(), 0);
    EXPECT_THAT(TakeSteps(), ElementsAre("hook 3", "init 3"));

    results["start 3"] = 5;
    EXPECT_EQ(module.Start(), 5);
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 138, "Failed to start module [3]"));
    results.clear();
    EXPECT_EQ(module.Start(), 0) << "a failed start leaves the module initialised";
    EXPECT_EQ(module.Start(), -1) << "started";
    EXPECT_THAT(TakeSteps(), ElementsAre("start 3", "start 3"));

    results["terminate 3"] = 6;
    EXPECT_EQ(module.Terminate(), 6);
    EXPECT_EQ(module.Start(), -1) << "still started";
    EXPECT_EQ(module.Initialize(), 0);
    EXPECT_THAT(TakeSteps(), ElementsAre("terminate 3", "hook 3", "init 3"));

    results.clear();
    EXPECT_EQ(module.Terminate(), 0);
    EXPECT_EQ(module.Start(), -1) << "terminated";
}

TEST_F(Manager, WalksAllModulesInOrderWhateverFails) {
    EXPECT_TRUE(manager.Start());
    EXPECT_TRUE(manager.AddModule(FakeInfo<MODULE_DEVICE_LIST>()));
    EXPECT_TRUE(manager.AddModule(FakeInfo<MODULE_ROUTE>()));
    EXPECT_TRUE(manager.AddModule(FakeInfo<MODULE_IPV6>()));
    results = {{"init 2", -1}, {"start 3", -1}};

    EXPECT_FALSE(manager.InitModules());
    EXPECT_THAT(TakeSteps(), ElementsAre("hook 2", "init 2", "terminate 2", "hook 3", "init 3",
                                         "hook 4", "init 4"));
    EXPECT_FALSE(manager.Start());
    EXPECT_THAT(TakeSteps(), ElementsAre("start 3", "start 4"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 93, "Failed to init module [2]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 114, "Failed to start module [2]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 114, "Failed to start module [3]"));

    spy.Clear();
    manager.Dump();
    EXPECT_THAT(spy.Messages(),
                ElementsAre("module: [module:2]", "module: [module:3]", "module: [module:4]"));
}

TEST_F(Manager, ANullModuleIsCountedAndCanBeRemoved) {
    manager.AddModule(FakeInfo<MODULE_IPV6>());
    delete manager.GetModule(MODULE_IPV6);
    manager.FindModule(MODULE_IPV6)->second = nullptr;
    EXPECT_FALSE(manager.InitModules());
    EXPECT_FALSE(manager.Start());
    manager.Dump();
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 87, "Null module pointer"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 109, "Null module pointer"));
    EXPECT_FALSE(manager.RemoveModule(MODULE_IPV6));
}

TEST_F(Manager, AddsEnabledNewModulesOnly) {
    auto info = FakeInfo<MODULE_ROUTE>();
    info.enabled = false;
    EXPECT_TRUE(manager.AddModule(info));
    EXPECT_FALSE(manager.IsModuleExist(MODULE_ROUTE));

    info = {MODULE_ROUTE, true, []() -> BaseModule* { return nullptr; }};
    EXPECT_FALSE(manager.AddModule(info));
    EXPECT_FALSE(manager.IsModuleExist(MODULE_ROUTE));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 147, "Failed to create module [3]"));

    EXPECT_TRUE(manager.AddModule(FakeInfo<MODULE_ROUTE>()));
    const BaseModule* first = manager.GetModule(MODULE_ROUTE);
    EXPECT_TRUE(manager.AddModule(FakeInfo<MODULE_ROUTE>()));
    EXPECT_EQ(manager.GetModule(MODULE_ROUTE), first);
    EXPECT_TRUE(
        spy.Has(LOG_INFO, "module_manager", 141, "The network module [3] has been created."));
}

TEST_F(Manager, HandsRequestsToTheModule) {
    manager.AddModule(FakeInfo<MODULE_ROUTE>());
    Json::Value in;
    Json::Value out;
    in["method"] = "X";
    EXPECT_EQ(manager.ProcessRequest(MODULE_RESERVED, in, out), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 213, "Failed to find module [5]"));
    EXPECT_TRUE(out.isNull());

    EXPECT_EQ(manager.ProcessRequest(MODULE_ROUTE, in, out), 0);
    EXPECT_EQ(out["echo"], in);
    results["request 3"] = 4;
    EXPECT_EQ(manager.ProcessRequest(MODULE_ROUTE, in, out), 4);
    EXPECT_TRUE(
        spy.Has(LOG_ERR, "module_manager", 217, "Failed to process request from module [3]"));
}

TEST_F(Manager, RemovingDestroysEvenWhenTerminatingFails) {
    EXPECT_TRUE(manager.RemoveModule(MODULE_ROUTE)) << "nothing to remove";
    manager.AddModule(FakeInfo<MODULE_ROUTE>());
    results["terminate 3"] = -1;
    EXPECT_FALSE(manager.RemoveModule(MODULE_ROUTE));
    EXPECT_THAT(TakeSteps(), ElementsAre("terminate 3", "destroy 3"));
    EXPECT_EQ(manager.GetModule(MODULE_ROUTE), nullptr);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 171, "Failed to terminiate module [3]"));
}

TEST_F(Manager, TheStandardTableMakesThreeModulesOnce) {
    EXPECT_TRUE(manager.Initialize());
    EXPECT_FALSE(manager.IsModuleExist(MODULE_TEST));
    for (const MODULE_TYPE type : {MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST}) {
        EXPECT_TRUE(manager.IsModuleExist(type)) << type;
    }
    spy.Clear();
    EXPECT_TRUE(manager.Initialize());
    EXPECT_THAT(spy.Messages(), ElementsAre("The network module [2] has been created.",
                                            "The network module [3] has been created.",
                                            "The network module [4] has been created."));
    EXPECT_TRUE(manager.Start());

    spy.Clear();
    Json::Value out;
    EXPECT_EQ(manager.ProcessRequest(MODULE_IPV6, Json::Value(), out), -1);
    EXPECT_EQ(manager.ProcessRequest(MODULE_DEVICE_LIST, Json::Value(), out), -1);
    EXPECT_THAT(spy.Messages(), Contains("Requests are not served yet").Times(2));
}

}  // namespace
