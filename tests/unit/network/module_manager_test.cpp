#include <vexonetwork/network/event/hello_event.h>
#include <vexonetwork/network/module/test_module.h>

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
    EXPECT_EQ(module.Initialize(), 0) << "nothing to do";
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
    EXPECT_TRUE(spy.Has("module_manager", "Failed to start module [3]"));
}

TEST_F(Manager, TheStandardTableMakesThreeModulesOnce) {
    EXPECT_TRUE(manager.Initialize());
    EXPECT_FALSE(manager.IsModuleExist(MODULE_TEST));
    spy.Clear();
    EXPECT_TRUE(manager.Initialize());
    EXPECT_EQ(spy.Lines().front().priority, LOG_INFO);
    EXPECT_THAT(spy.Messages(), ElementsAre("The network module [2] has been created.",
                                            "The network module [3] has been created.",
                                            "The network module [4] has been created."));
}

const auto kOnEvent = static_cast<EventFunction>(&FakeModule::OnEvent);
const auto kOnEventOnce = static_cast<EventFunction>(&FakeModule::OnEventOnce);

/// An event whose follow-up fails at first.
struct FollowedEvent : HelloEvent {
    using HelloEvent::HelloEvent;
    int ProcessEvent() override { return followUps++ == 0 ? 5 : 0; }
    int followUps = 0;
};

TEST_F(Events, TheTableHoldsOneHandlerOfEachModule) {
    EventTable table;
    for (const MODULE_TYPE type : {MODULE_DEVICE_LIST, MODULE_ROUTE, MODULE_IPV6}) {
        EXPECT_EQ(table.Add(EVENT_HELLO, {type, kOnEvent}), 0);
    }
    EXPECT_EQ(table.Add(EVENT_RESERVED, {MODULE_RESERVED, kOnEvent}), 0);
    const std::tuple<int, int, EventFunction> refused[] = {{0, 3, kOnEvent}, {3, 9, kOnEvent},
                                                           {1, 0, kOnEvent}, {1, 6, kOnEvent},
                                                           {1, 5, nullptr},  {1, 3, kOnEventOnce}};
    for (const auto& [event, module, function] : refused) {
        EXPECT_EQ(table.Add(EVENT_TYPE(event), {MODULE_TYPE(module), function}), -1);
    }
    EXPECT_EQ(table.ListHandlers(EVENT_HELLO).at(1), EventHandler(MODULE_ROUTE, kOnEvent));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[4, 3, 2, ]event[2]/ modules[5, ]");

    EXPECT_TRUE(table.RemoveModule(MODULE_ROUTE));
    EXPECT_TRUE(table.RemoveModule(MODULE_RESERVED));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[4, 2, ]");
    EXPECT_TRUE(table.ListHandlers(EVENT_RESERVED).empty());
}

TEST_F(Events, AllModulesAreToldUntilAllHaveHandledIt) {
    Add<MODULE_ROUTE, MODULE_IPV6, MODULE_DEVICE_LIST>();
    manager.HookEvent(EVENT_HELLO, MODULE_TEST, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEventOnce);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_DEVICE_LIST, kOnEvent);
    FollowedEvent event("hi");
    results["event 3"] = 9;
    EXPECT_EQ(manager.NotifyEvent(&event), 2);
    EXPECT_THAT(steps, ElementsAre("event 3", "event 4")) << "although one unhooked itself";
    EXPECT_EQ(event.Process(), -1);
    EXPECT_EQ(event.Process(), -1) << "followed up, but not all modules have handled it";
    EXPECT_TRUE(spy.Has("module_manager", "Failed to handler event [1] by module [3] and ret=[9]"));
    results.clear();
    manager.UnHookEvent(EVENT_HELLO, MODULE_TEST);
    EXPECT_EQ(event.Process(), 0);
    EXPECT_EQ(event.Process(), 0);
    EXPECT_EQ(event.followUps, 2) << "not again once it succeeded";
    EXPECT_EQ(steps.size(), 8U) << "each of four attempts told both modules";
}

TEST_F(Events, TheTestModuleHearsHelloes) {
    manager.AddModule({MODULE_TEST, true, TestModule::Create});
    EXPECT_TRUE(manager.InitModules());
    EXPECT_EQ(HelloEvent("hi").Process(), 0);
    EXPECT_EQ(HelloEvent("").Process(), -1);
    EXPECT_TRUE(spy.Has("test_module", "TestModule process hello event [event:[1]/ msg:[hi]]"));
    EXPECT_TRUE(spy.Has("base_event", "The event [event:[1]/ msg:[]] is not valid."));
}

}  // namespace
}  // namespace vexotest
