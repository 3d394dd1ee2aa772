#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "fake_module.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::network::module;
using testing::Contains;
using testing::ElementsAre;
using vexotest::FakeModule;
using vexotest::results;
using vexotest::TakeSteps;

class Manager : public testing::Test {
  protected:
    ~Manager() override { vexotest::ForgetModules(); }

    vexotest::SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
};

TEST_F(Manager, TheStateOfAModuleDecidesWhatIsDone) {
    FakeModule module(MODULE_ROUTE);
    EXPECT_EQ(module.Start(), -1) << "created";
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 130, "Module [3] is not initialized"));

    results = {{"hook 3", 7}};
    EXPECT_EQ(module.Initialize(), 7);
    results = {{"init 3", 8}, {"terminate 3", 9}};
    EXPECT_EQ(module.Initialize(), 8);
    EXPECT_THAT(TakeSteps(),
                ElementsAre("hook 3", "terminate 3", "hook 3", "init 3", "terminate 3"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 92, "Failed to hook event of module [3]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 96, "Failed to init module [3]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 115, "Failed to terminate module [3]"));
    EXPECT_EQ(module.Start(), -1) << "not initialised";

    results = {{"start 3", 5}};
    EXPECT_EQ(module.Initialize(), 0);
    EXPECT_EQ(module.Initialize(), 0) << "nothing to do";
    EXPECT_EQ(module.Start(), 5);
    results = {{"terminate 3", 6}};
    EXPECT_EQ(module.Start(), 0) << "a failed start leaves the module initialised";
    EXPECT_EQ(module.Start(), -1) << "started";
    EXPECT_EQ(module.Terminate(), 6);
    EXPECT_EQ(module.Start(), -1) << "still started";
    EXPECT_EQ(module.Initialize(), 0) << "a started module is initialised again";
    EXPECT_THAT(TakeSteps(), ElementsAre("hook 3", "init 3", "start 3", "start 3", "terminate 3",
                                         "hook 3", "init 3"));
    results.clear();
    EXPECT_EQ(module.Terminate(), 0);
    EXPECT_EQ(module.Start(), -1) << "terminated";
}

TEST_F(Manager, WalksAllModulesInOrderWhateverFails) {
    EXPECT_TRUE(manager.Start()) << "nothing to start";
    EXPECT_TRUE(FakeModule::Add<MODULE_DEVICE_LIST>());
    EXPECT_TRUE(FakeModule::Add<MODULE_ROUTE>());
    EXPECT_TRUE(FakeModule::Add<MODULE_IPV6>());
    results = {{"init 2", -1}, {"start 3", -1}};
    EXPECT_FALSE(manager.InitModules());
    EXPECT_FALSE(manager.Start());
    EXPECT_THAT(TakeSteps(), ElementsAre("hook 2", "init 2", "terminate 2", "hook 3", "init 3",
                                         "hook 4", "init 4", "start 3", "start 4"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 93, "Failed to init module [2]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 114, "Failed to start module [3]"));
    spy.Clear();
    manager.Dump();
    EXPECT_THAT(spy.Messages(),
                ElementsAre("module: [module:2]", "module: [module:3]", "module: [module:4]"));
}

TEST_F(Manager, AddsServesAndRemoves) {
    EXPECT_TRUE(manager.AddModule({MODULE_ROUTE, false, nullptr})) << "disabled";
    EXPECT_FALSE(manager.AddModule({MODULE_ROUTE, true, []() -> BaseModule* { return nullptr; }}));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 147, "Failed to create module [3]"));
    EXPECT_TRUE(manager.RemoveModule(MODULE_ROUTE)) << "nothing to remove";
    EXPECT_TRUE(FakeModule::Add<MODULE_ROUTE>());

    Json::Value out;
    EXPECT_EQ(manager.ProcessRequest(MODULE_RESERVED, "asked", out), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 213, "Failed to find module [5]"));
    results = {{"request 3", 4}, {"terminate 3", -1}};
    EXPECT_EQ(manager.ProcessRequest(MODULE_ROUTE, "asked", out), 4);
    EXPECT_EQ(out, "asked");

    EXPECT_FALSE(manager.RemoveModule(MODULE_ROUTE));
    EXPECT_THAT(TakeSteps(), ElementsAre("request 3", "terminate 3", "destroy 3"));
    EXPECT_EQ(manager.GetModule(MODULE_ROUTE), nullptr);
}

TEST_F(Manager, TheStandardTableMakesThreeModulesOnce) {
    EXPECT_TRUE(manager.Initialize());
    EXPECT_FALSE(manager.IsModuleExist(MODULE_TEST));
    spy.Clear();
    EXPECT_TRUE(manager.Initialize());
    EXPECT_THAT(spy.Messages(), ElementsAre("The network module [2] has been created.",
                                            "The network module [3] has been created.",
                                            "The network module [4] has been created."));
    EXPECT_TRUE(manager.Start());
    Json::Value out;
    EXPECT_EQ(manager.ProcessRequest(MODULE_IPV6, out, out), -1);
    EXPECT_EQ(manager.ProcessRequest(MODULE_DEVICE_LIST, out, out), -1);
    EXPECT_THAT(spy.Messages(), Contains("Requests are not served yet").Times(2));
}

}  // namespace
