#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <vexonetwork/network/event/hello_event.h>
#include <vexonetwork/network/module/test_module.h>

#include "fake_module.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::network::event;
using namespace vexonetwork::network::module;
using testing::ElementsAre;
using testing::IsEmpty;
using vexotest::FakeModule;
using vexotest::results;
using vexotest::TakeSteps;

const auto kOnEvent = static_cast<EventFunction>(&FakeModule::OnEvent);
const auto kOnEventOnce = static_cast<EventFunction>(&FakeModule::OnEventOnce);

/// An event whose follow-up the test lets fail.
struct PlainEvent : BaseEvent {
    PlainEvent() : BaseEvent(EVENT_HELLO) {}
    bool IsValid() const override { return true; }
    int ProcessEvent() override {
        ++followUps;
        return result;
    }
    int result = 0;
    int followUps = 0;
};

class Events : public testing::Test {
  protected:
    ~Events() override { vexotest::ForgetModules(); }

    vexotest::SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
};

TEST_F(Events, TheTableRefusesBadAndRepeatedHandlers) {
    EventTable table;
    const auto add = [&table](int event, int module, EventFunction function) {
        return table.Add(static_cast<EVENT_TYPE>(event),
                         {static_cast<MODULE_TYPE>(module), function});
    };
    EXPECT_EQ(add(0, 3, kOnEvent), -1);
    EXPECT_EQ(add(3, 9, kOnEvent), -1);
    EXPECT_EQ(add(1, 0, kOnEvent), -1);
    EXPECT_EQ(add(1, 6, kOnEvent), -1);
    EXPECT_EQ(add(1, 3, nullptr), -1);
    EXPECT_EQ(add(1, 3, kOnEvent), 0);
    EXPECT_EQ(add(1, 3, kOnEventOnce), -1);
    EXPECT_EQ(add(2, 5, kOnEvent), 0);
    EXPECT_THAT(spy.Messages(), ElementsAre("event [0] is invalid", "event [3] is invalid",
                                            "invalid handler", "invalid handler", "invalid handler",
                                            "The module [3] has been registered."));
    EXPECT_TRUE(spy.Has(LOG_ERR, "event_table", 73, "The module [3] has been registered."));
    EXPECT_EQ(table.ListHandlers(EVENT_HELLO).at(0), EventHandler(MODULE_ROUTE, kOnEvent));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[3, ]event[2]/ modules[5, ]");
}

TEST_F(Events, TheTableForgetsAnEventWithItsLastHandler) {
    EventTable table;
    for (const MODULE_TYPE type : {MODULE_DEVICE_LIST, MODULE_ROUTE, MODULE_IPV6}) {
        table.Add(EVENT_HELLO, {type, kOnEvent});
    }
    table.Add(EVENT_RESERVED, {MODULE_ROUTE, kOnEvent});
    EXPECT_EQ(table.Remove(EVENT_HELLO, MODULE_TEST), 0);
    EXPECT_TRUE(table.RemoveModule(MODULE_ROUTE));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[4, 2, ]");
    EXPECT_EQ(table.Remove(EVENT_RESERVED, MODULE_ROUTE), 0);
    EXPECT_FALSE(table.IsEventExist(EVENT_RESERVED));
    EXPECT_THAT(table.ListHandlers(EVENT_RESERVED), IsEmpty());
}

TEST_F(Events, EveryHandlerRunsAndFailuresAreCounted) {
    FakeModule::Add<MODULE_ROUTE>();
    FakeModule::Add<MODULE_IPV6>();
    FakeModule::Add<MODULE_DEVICE_LIST>();
    manager.HookEvent(EVENT_HELLO, MODULE_TEST, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEventOnce);
    manager.HookEvent(EVENT_HELLO, MODULE_DEVICE_LIST, kOnEvent);
    results["event 3"] = 9;
    const PlainEvent event;
    EXPECT_EQ(manager.NotifyEvent(&event), 2);
    EXPECT_THAT(TakeSteps(), ElementsAre("event 3", "event 4")) << "although one unhooked itself";
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 261, "NULL pointer for module [1]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 267,
                        "Failed to handler event [1] by module [3] and ret=[9]"));
    EXPECT_EQ(manager.NotifyEvent(nullptr), -1);
    const HelloEvent silent("");
    EXPECT_EQ(manager.NotifyEvent(&silent), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 250, "Invalid event [event:[1]/ msg:[]]"));
}

TEST_F(Events, ProcessResumesAtTheUnfinishedStage) {
    FakeModule::Add<MODULE_ROUTE>();
    FakeModule::Add<MODULE_IPV6>();
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEvent);
    PlainEvent event;
    results["event 3"] = 1;
    event.result = 5;
    EXPECT_EQ(event.Process(), -1);
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to handler event [1] by module [3] and ret=[1]",
                                            "Failed to notify event[1] to manager",
                                            "Failed to notify event [1] to manager",
                                            "Failed to process event [event:[1]]"));
    event.result = 0;
    EXPECT_EQ(event.Process(), -1) << "followed up, but not all modules have handled it";
    results.clear();
    EXPECT_EQ(event.Process(), 0);
    EXPECT_EQ(event.followUps, 2);
    EXPECT_EQ(TakeSteps().size(), 6u) << "each attempt tells all modules";
    EXPECT_EQ(event.Process(), 0);
    EXPECT_THAT(TakeSteps(), IsEmpty()) << "once it is done it stays done";
}

TEST_F(Events, TheTestModuleHearsHelloes) {
    manager.AddModule({MODULE_TEST, true, TestModule::Create});
    EXPECT_TRUE(manager.InitModules());
    EXPECT_EQ(HelloEvent("").Process(), -1);
    EXPECT_EQ(HelloEvent("hi").Process(), 0);
    manager.RemoveModule(MODULE_TEST);
    EXPECT_THAT(
        spy.Messages(),
        ElementsAre("Constructor of Test Module", "Success to hook hello event by test module",
                    "Initial Test Module", "The event [event:[1]/ msg:[]] is not valid.",
                    "TestModule process hello event [event:[1]/ msg:[hi]]",
                    "process by hello event", "Terminate Test Module",
                    "Destructor of Test Module"));
    manager.AddModule({MODULE_TEST, true, TestModule::Create});
    EXPECT_FALSE(manager.InitModules()) << "the removed module's subscription stays";
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 64, "Failed to hook event [1] of module [1]"));
}

}  // namespace
