#include <fcntl.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <utility>

#include <vexonetwork/network/event/hello_event.h>
#include <vexonetwork/network/module/test_module.h>
#include <vexonetwork/utils/create_pid_file.h>

#include "fake_module.h"
#include "support/files.h"

namespace vexotest {
namespace {

using Manager = FakeModules;
using Events = FakeModules;
using namespace testing;

/// What was logged since the last call, a line each: "LEVEL SOURCE:LINE MESSAGE".
std::string Logged(SyslogSpy& spy) {
    std::string lines = "\n";
    for (const LogLine& line : spy.Lines()) {
        lines += std::to_string(line.level) + " " + line.source + ":" + std::to_string(line.line)
                 + " " + line.message + "\n";
    }
    spy.Clear();
    return lines;
}

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
    EXPECT_EQ(module.Terminate(), 6);
    EXPECT_EQ(module.Start(), 0) << "neither a failed start nor a failed end has changed it";
    EXPECT_EQ(module.Initialize(), 0) << "a started module is initialised again";
    results.clear();
    EXPECT_EQ(module.Terminate(), 0);
    EXPECT_EQ(module.Start(), -1) << "terminated";
    EXPECT_THAT(steps, ElementsAre("hook 3", "terminate 3", "hook 3", "init 3", "terminate 3",
                                   "hook 3", "init 3", "start 3", "terminate 3", "start 3",
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

/// An event that is told to nobody, and fails.
class FailingEvent : public BaseEvent {
  public:
    FailingEvent() : BaseEvent(EVENT_RESERVED) {}
    bool IsValid() const override { return true; }
    int ProcessEvent() override { return 5; }
};

TEST_F(Manager, SaysWhatFailsAtItsPlaceInTheCatalogue) {
    FakeModule module(MODULE_IPV6);
    HelloEvent hello("hi");
    HelloEvent empty("");
    FailingEvent failing;
    Json::Value value;
    const auto fail = [](const std::string& step) { results = {{step, 7}}; };
    Add<MODULE_ROUTE>();
    Add<MODULE_ROUTE>();
    manager.AddModule({MODULE_TEST, true, []() -> BaseModule* { return nullptr; }});
    manager.Start();
    fail("hook 3"), manager.InitModules();
    fail("init 3"), manager.InitModules();
    fail("start 3"), manager.InitModules(), manager.Start();
    manager.Dump();
    answer = [](Json::Value&) { return 9; };
    EXPECT_EQ(manager.ProcessRequest(MODULE_ROUTE, value, value), 9);
    manager.ProcessRequest(MODULE_RESERVED, value, value);
    manager.NotifyEvent(nullptr);
    manager.NotifyEvent(&empty);
    empty.Process();
    module.HookEvent(EVENT_TYPE(3), kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, nullptr);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEvent);
    manager.HookEvent(EVENT_HELLO, MODULE_ROUTE, kOnEventOnce);
    fail("event 3"), module.HookEvent(EVENT_HELLO, kOnEvent), hello.Process();
    EXPECT_EQ(failing.Process() + failing.Process(), -2) << "it is tried again";
    fail("terminate 3"), manager.RemoveModule(MODULE_ROUTE);
    // What was deleted behind the manager's back.
    Add<MODULE_DEVICE_LIST>();
    delete std::exchange(manager.FindModule(MODULE_DEVICE_LIST)->second, nullptr);
    EXPECT_FALSE(manager.InitModules() || manager.Start());
    manager.Dump();
    EXPECT_FALSE(manager.RemoveModule(MODULE_DEVICE_LIST));
    EXPECT_EQ(Logged(spy), R"(
6 module_manager:141 The network module [3] has been created.
3 module_manager:147 Failed to create module [1]
3 base_module:130 Module [3] is not initialized
3 module_manager:114 Failed to start module [3]
3 base_module:92 Failed to hook event of module [3]
3 module_manager:93 Failed to init module [3]
3 base_module:96 Failed to init module [3]
3 module_manager:93 Failed to init module [3]
3 base_module:138 Failed to start module [3]
3 module_manager:114 Failed to start module [3]
3 module_manager:189 module: [module:3]
3 module_manager:217 Failed to process request from module [3]
3 module_manager:213 Failed to find module [5]
3 module_manager:246 NULL Event Pointer
3 module_manager:250 Invalid event [event:[1]/ msg:[]]
3 base_event:81 The event [event:[1]/ msg:[]] is not valid.
3 event_table:58 event [3] is invalid
3 module_manager:229 Failed to register event [3] by module [2] with ret=[-1]
3 base_module:64 Failed to hook event [3] of module [2]
3 event_table:62 invalid handler
3 module_manager:229 Failed to register event [1] by module [3] with ret=[-1]
3 event_table:73 The module [3] has been registered.
3 module_manager:229 Failed to register event [1] by module [3] with ret=[-1]
3 module_manager:267 Failed to handler event [1] by module [3] and ret=[7]
3 module_manager:261 NULL pointer for module [2]
3 base_event:40 Failed to notify event[1] to manager
3 base_event:86 Failed to notify event [1] to manager
3 hello_event:30 process by hello event
3 base_event:63 Failed to process event [event:[2]]
3 base_event:63 Failed to process event [event:[2]]
3 base_module:115 Failed to terminate module [3]
3 module_manager:171 Failed to terminiate module [3]
3 module_manager:87 Null module pointer
3 module_manager:109 Null module pointer
)");
}

std::vector<std::string> framed;

TEST_F(Manager, FramesEachRequestHoweverItEnds) {
    Add<MODULE_ROUTE>();
    ModuleManager::FrameRequests(
        {[] { framed.emplace_back("begin"); }, [] { framed.emplace_back("end"); }});
    Json::Value value;
    answer = [](Json::Value&) {
        framed.emplace_back("serve");
        return 0;
    };
    manager.ProcessRequest(MODULE_ROUTE, value, value);
    answer = [](Json::Value&) -> int { throw std::runtime_error("thrown"); };
    EXPECT_ANY_THROW(manager.ProcessRequest(MODULE_ROUTE, value, value));
    EXPECT_THAT(framed, ElementsAre("begin", "serve", "end", "begin", "end"));
    ModuleManager::FrameRequests({[] {}, [] {}});
}

TEST(Table, KeepsTheOrderOfThoseWhoStayAndNoEmptyEvent) {
    EventTable table;
    const auto add = [&table](int event, int module) {
        return table.Add(EVENT_TYPE(event), {MODULE_TYPE(module), kOnEvent});
    };
    const SyslogSpy log;
    for (const auto& [event, module] : {std::pair{0, 1}, {3, 1}, {1, 0}, {1, 6}, {-1, 1}}) {
        EXPECT_EQ(add(event, module), -1) << event << " " << module;
    }
    EXPECT_EQ(add(2, 5) + add(1, 4) + add(1, 2) + add(1, 3), 0);
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[4, 2, 3, ]event[2]/ modules[5, ]");
    EXPECT_EQ(table.ListHandlers(EVENT_HELLO)[1], EventHandler(MODULE_IPV6, kOnEvent));
    EXPECT_EQ(table.Remove(EVENT_HELLO, MODULE_RESERVED), 0) << "who has not subscribed";
    EXPECT_EQ(table.Remove(EVENT_HELLO, MODULE_DEVICE_LIST), 0);
    EXPECT_EQ(table.ToStr(), "event[1]/ modules[2, 3, ]event[2]/ modules[5, ]");
    add(2, 3);
    // The walk goes on behind an event that went with its last module.
    table.Remove(EVENT_HELLO, MODULE_IPV6);
    EXPECT_TRUE(table.RemoveModule(MODULE_ROUTE));
    EXPECT_EQ(table.ToStr(), "event[2]/ modules[5, ]");
    EXPECT_FALSE(table.IsEventExist(EVENT_HELLO));
    EXPECT_THAT(table.ListHandlers(EVENT_HELLO), IsEmpty());
    EXPECT_TRUE(table.RemoveModule(MODULE_RESERVED));
    EXPECT_EQ(table.ToStr(), "");
    EXPECT_TRUE(table.RemoveModule(MODULE_RESERVED)) << "of an empty table";
}

TEST(Demonstration, HearsTheHello) {
    const SyslogSpy spy;
    ModuleManager& manager = ModuleManager::GetInstance();
    manager.AddModule({MODULE_TEST, true, TestModule::Create});
    EXPECT_TRUE(manager.InitModules() && manager.Start());
    EXPECT_EQ(HelloEvent("hi").Process(), 0);
    EXPECT_TRUE(spy.Has("test_module", "TestModule process hello event [event:[1]/ msg:[hi]]"));
    manager.RemoveModule(MODULE_TEST);
    EXPECT_EQ(HelloEvent("hi").Process(), -1) << "its subscription stays";
}

TEST(PidFile, IsOfTheFirst) {
    constexpr char kPath[] = "/tmp/daemon.pid";
    WriteFile(kPath, "a longer text of a former life\n");
    const int fd = vexonetwork::utils::CreatePidFile(kPath);
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC) << "no child holds the lock";
    const auto second = [&] {
        SyslogSpy spy;
        const int before = OpenDescriptors();
        const bool got = vexonetwork::utils::CreatePidFile(kPath) >= 0;
        std::cerr << Logged(spy);
        ::_exit(got || OpenDescriptors() != before ? 1 : 0);
    };
    EXPECT_EXIT(second(), ExitedWithCode(0),
                "3 create_pid_file:54 Unable to lock PID file ./tmp/daemon.pid.\n");
    EXPECT_EQ(ReadFile(kPath), std::to_string(::getpid()) + "\n");
    ::close(fd);
}

}  // namespace
}  // namespace vexotest
