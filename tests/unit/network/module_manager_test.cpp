#include <vexonetwork/network/event/hello_event.h>

#include "fake_module.h"

namespace vexotest {
namespace {

using Manager = FakeModules;
using Events = FakeModules;

TEST_F(Manager, TheStateOfAModuleDecidesWhatIsDone) {
    FakeModule module(MODULE_ROUTE);
    EXPECT_EQ(module.Start(), -1) << "created";
    results = {{"hook 3", 7}, {"terminate 3", 9}};
    EXPECT_EQ(module.Initialize(), 7);
    results = {{"init 3", 8}};
    EXPECT_EQ(module.Initialize(), 8);
    results = {{"start 3", 5}};
    EXPECT_EQ(module.Initialize(), 0);
    EXPECT_EQ(module.Start(), 5);
    results = {{"terminate 3", 6}};
    EXPECT_EQ(module.Start(), 0) << "a failed start leaves the module initialised";
    EXPECT_EQ(module.Terminate(), 6);
    EXPECT_EQ(module.Start(), -1) << "still started";
    EXPECT_EQ(module.Initialize(), 0) << "a started module is initialised again";
    results.clear();
    EXPECT_EQ(module.Terminate(), 0);
    EXPECT_EQ(module.Start(), -1) << "terminated";
    EXPECT_THAT(steps, ElementsAre("hook 3", "terminate 3", "hook 3", "init 3", "terminate 3",
                                   "hook 3", "init 3", "start 3", "start 3", "terminate 3",
                                   "hook 3", "init 3", "terminate 3"));
}

TEST_F(Manager, VisitsAllModulesInOrderWhateverFails) {
    EXPECT_TRUE(manager.AddModule({MODULE_ROUTE, false, nullptr})) << "disabled";
    EXPECT_FALSE(manager.AddModule({MODULE_ROUTE, true, []() -> BaseModule* { return nullptr; }}));
    EXPECT_TRUE(manager.Start()) << "nothing to start";
    Add<MODULE_DEVICE_LIST, MODULE_ROUTE, MODULE_IPV6>();
    results = {{"init 2", -1}, {"start 3", -1}, {"terminate 3", -1}};
    EXPECT_FALSE(manager.InitModules());
    EXPECT_FALSE(manager.Start());
    EXPECT_FALSE(manager.RemoveModule(MODULE_ROUTE)) << "removed, although it did not terminate";
    EXPECT_TRUE(manager.RemoveModule(MODULE_ROUTE)) << "nothing to remove";
    Json::Value value;
    EXPECT_EQ(manager.ProcessRequest(MODULE_ROUTE, value, value), -1);
    EXPECT_THAT(steps, ElementsAre("hook 2", "init 2", "terminate 2", "hook 3", "init 3", "hook 4",
                                   "init 4", "start 3", "start 4", "terminate 3", "destroy 3"));
}

const auto kOnEvent = static_cast<EventFunction>(&FakeModule::OnEvent);
const auto kOnEventOnce = static_cast<EventFunction>(&FakeModule::OnEventOnce);

TEST_F(Events, AllModulesAreToldUntilAllHaveHandledIt) {
    Add<MODULE_ROUTE, MODULE_IPV6, MODULE_DEVICE_LIST>();
    manager.HookEvent(EVENT_HELLO, MODULE_TEST, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEventOnce);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_DEVICE_LIST, kOnEvent);
    HelloEvent event("hi");
    results["event 3"] = 9;
    EXPECT_EQ(manager.NotifyEvent(&event), 2);
    EXPECT_THAT(steps, ElementsAre("event 3", "event 4")) << "although one unhooked itself";
    EXPECT_EQ(event.Process(), -1) << "not all modules have handled it";
    results.clear();
    manager.UnHookEvent(EVENT_HELLO, MODULE_TEST);
    EXPECT_EQ(event.Process(), 0);
    EXPECT_EQ(steps.size(), 6U) << "each of three attempts told both modules";
}

}  // namespace
}  // namespace vexotest
