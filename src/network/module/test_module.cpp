#include <vexobase/log.h>
#include <vexonetwork/network/module/test_module.h>

namespace vexonetwork::network::module {

TestModule::TestModule() : BaseModule(MODULE_TEST) {
    VEXO_LOG_AT(18, LOG_ERR, "Constructor of Test Module");
}

TestModule::~TestModule() {
    VEXO_LOG(LOG_ERR, "Destructor of Test Module");
}

BaseModule* TestModule::Create() {
    return new TestModule;
}

int TestModule::InitialModule() {
    VEXO_LOG_AT(33, LOG_ERR, "Initial Test Module");
    return 0;
}

int TestModule::TerminateModule() {
    VEXO_LOG_AT(40, LOG_ERR, "Terminate Test Module");
    return 0;
}

int TestModule::StartModule() {
    VEXO_LOG_AT(46, LOG_ERR, "Start Test Module");
    return 0;
}

int TestModule::ProcessRequest(const Json::Value& /*in*/, Json::Value& /*out*/) {
    VEXO_LOG_AT(52, LOG_ERR, "ProcessRequest of Test Module");
    return 0;
}

int TestModule::HookEvents() const {
    const auto onHello = static_cast<EventFunction>(&TestModule::OnHelloEvent);
    if (HookEvent(event::EVENT_HELLO, onHello) != 0) {
        VEXO_LOG_AT(61, LOG_ERR, "Failed to hook hello event by test module");
        return -1;
    }
    VEXO_LOG_AT(64, LOG_ERR, "Success to hook hello event by test module");
    return 0;
}

int TestModule::OnHelloEvent(const event::BaseEvent* event) {
    if (event == nullptr) {
        VEXO_LOG_AT(77, LOG_ERR, "Null event pointer");
        return -1;
    }
    VEXO_LOG_AT(80, LOG_ERR, "TestModule process hello event [%s]", event->ToStr().c_str());
    return 0;
}

}  // namespace vexonetwork::network::module
