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
using vexotest::FakeInfo;
using vexotest::FakeModule;
using vexotest::results;
using vexotest::TakeSteps;

const auto kOnEvent = static_cast<EventFunction>(&FakeModule::OnEvent);
const auto kOnEventOnce = static_cast<EventFunction>(&FakeModule::OnEventOnce);

constexpr MODULE_TYPE kNoModule{0};
constexpr MODULE_TYPE kBeyondModules{6};

/// An event whose follow-up the test lets fail.
struct PlainEvent : BaseEvent {
    explicit PlainEvent(EVENT_TYPE eventType) : BaseEvent(eventType) {}
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
    ~Events() override {
        for (const MODULE_TYPE type : {MODULE_TEST, MODULE_IPV6, MODULE_ROUTE}) {
            manager.UnHookEvent(EVENT_HELLO, type);
        }
        vexotest::ForgetModules();
    }

    vexotest::SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
};

TEST_F(Events, TableRefusesBadAndRepeatedHandlers) {
    EventTable table;
    struct Case {
        int event;
        EventHandler handler;
        int result;
        int line;
        std::string message;
    };
    const std::vector<Case> cases = {
        {0, {MODULE_ROUTE, kOnEvent}, -1, 58, "event [0] is invalid"},
        {3, {}, -1, 58, "event [3] is invalid"},
        {1, {kNoModule, kOnEvent}, -1, 62, "invalid handler"},
        {1, {kBeyondModules, kOnEvent}, -1, 62, "invalid handler"},
        {1, {MODULE_ROUTE, nullptr}, -1, 62, "invalid handler"},
        {1, {MODULE_ROUTE, kOnEvent}, 0, 0, ""},
        {1, {MODULE_ROUTE, kOnEventOnce}, -1, 73, "The module [3] has been registered."},
        {2, {MODULE_RESERVED, kOnEvent}, 0, 0, ""},
    };
    for (const Case& c : cases) {
        spy.Clear();
        EXPECT_EQ(table.Add(static_cast<EVENT_TYPE>(c.event), c.handler), c.result) << c.message;
        if (c.result != 0) {
            EXPECT_TRUE(spy.Has(LOG_ERR, "event_table", c.line, c.message)) << c.message;
        }
    }
    EXPECT_THAT(table.ListHandlers(EVENT_HELLO), ElementsAre(EventHandler(MODULE_ROUTE, kOnEvent)));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[3, ]event[2]/ modules[5, ]");
}

TEST_F(Events, TableForgetsAnEventWithItsLastHandler) {
    EventTable table;
    EXPECT_TRUE(table.RemoveModule(MODULE_ROUTE));
    EXPECT_EQ(table.ToStr(), "");
    for (const MODULE_TYPE type : {MODULE_DEVICE_LIST, MODULE_ROUTE, MODULE_IPV6}) {
        table.Add(EVENT_HELLO, {type, kOnEvent});
    }
    table.Add(EVENT_RESERVED, {MODULE_ROUTE, kOnEvent});

    EXPECT_EQ(table.Remove(EVENT_HELLO, MODULE_TEST), 0);
    EXPECT_TRUE(table.RemoveModule(MODULE_ROUTE));
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[4, 2, ]");
    EXPECT_FALSE(table.IsEventExist(EVENT_RESERVED));
    EXPECT_EQ(table.Remove(EVENT_RESERVED, MODULE_ROUTE), 0);

    table.RemoveModule(MODULE_DEVICE_LIST);
    table.RemoveModule(MODULE_IPV6);
    EXPECT_FALSE(table.IsEventExist(EVENT_HELLO));
    EXPECT_THAT(table.ListHandlers(EVENT_HELLO), IsEmpty());
}

TEST_F(Events, EveryHandlerRunsAndFailuresAreCounted) {
    manager.AddModule(FakeInfo<MODULE_ROUTE>());
    manager.AddModule(FakeInfo<MODULE_IPV6>());
    manager.HookEvent(EVENT_HELLO, MODULE_TEST, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEvent);
    EXPECT_EQ(manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEvent), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 229,
                        "Failed to register event [1] by module [2] with ret=[-1]"));

    results["event event:[1] 3"] = 9;
    const PlainEvent event(EVENT_HELLO);
    EXPECT_EQ(manager.NotifyEvent(&event), 2);
    EXPECT_THAT(TakeSteps(), ElementsAre("event event:[1] 3", "event event:[1] 2"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 261, "NULL pointer for module [1]"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 267,
                        "Failed to handler event [1] by module [3] and ret=[9]"));

    EXPECT_EQ(manager.NotifyEvent(nullptr), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 246, "NULL Event Pointer"));
    const HelloEvent silent("");
    EXPECT_EQ(manager.NotifyEvent(&silent), -1);
    EXPECT_TRUE(spy.Has(LOG_ERR, "module_manager", 250, "Invalid event [event:[1]/ msg:[]]"));
    const PlainEvent unheard(EVENT_RESERVED);
    EXPECT_EQ(manager.NotifyEvent(&unheard), 0);
}

TEST_F(Events, AHandlerMayUnhookItself) {
    manager.AddModule(FakeInfo<MODULE_ROUTE>());
    manager.AddModule(FakeInfo<MODULE_IPV6>());
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEventOnce);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEvent);
    const PlainEvent event(EVENT_HELLO);
    EXPECT_EQ(manager.NotifyEvent(&event), 0);
    EXPECT_EQ(manager.NotifyEvent(&event), 0);
    EXPECT_THAT(TakeSteps(), ElementsAre("once 3", "event event:[1] 2", "event event:[1] 2"));
}

TEST_F(Events, ProcessResumesAtTheUnfinishedStage) {
    manager.AddModule(FakeInfo<MODULE_ROUTE>());
    manager.AddModule(FakeInfo<MODULE_IPV6>());
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_IPV6, kOnEvent);
    PlainEvent event(EVENT_HELLO);

    results["event event:[1] 3"] = 1;
    event.result = 5;
    EXPECT_EQ(event.Process(), -1);
    EXPECT_EQ(event.followUps, 1) << "the follow-up comes even after a failed notification";
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_event", 40, "Failed to notify event[1] to manager"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_event", 86, "Failed to notify event [1] to manager"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_event", 63, "Failed to process event [event:[1]]"));

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
    EXPECT_TRUE(manager.Start());
    HelloEvent silent("");
    EXPECT_EQ(silent.Process(), -1);
    HelloEvent hello("hi");
    EXPECT_EQ(hello.Process(), 0);
    EXPECT_FALSE(manager.RemoveModule(MODULE_TEST));
    EXPECT_THAT(spy.Messages(),
                ElementsAre("Constructor of Test Module",
                            "Success to hook hello event by test module", "Initial Test Module",
                            "Start Test Module", "The event [event:[1]/ msg:[]] is not valid.",
                            "TestModule process hello event [event:[1]/ msg:[hi]]",
                            "process by hello event", "Terminate Test Module",
                            "Destructor of Test Module"));

    manager.AddModule({MODULE_TEST, true, TestModule::Create});
    EXPECT_FALSE(manager.InitModules()) << "the removed module's subscription stays";
    EXPECT_TRUE(spy.Has(LOG_ERR, "test_module", 61, "Failed to hook hello event by test module"));
    EXPECT_TRUE(spy.Has(LOG_ERR, "base_module", 64, "Failed to hook event [1] of module [1]"));
}

}  // namespace
