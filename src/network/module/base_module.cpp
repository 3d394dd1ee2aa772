#include <vexobase/log.h>
#include <vexonetwork/network/module/base_module.h>
#include <vexonetwork/network/module/module_manager.h>

namespace vexonetwork::network::module {

int BaseModule::ProcessRequest(const Json::Value& /*in*/, Json::Value& /*out*/) {
    return 0;
}

std::string BaseModule::ToStr() const {
    return "module:" + std::to_string(type);
}

int BaseModule::Initialize() {
    if (state == INITIALIZED) {
        return 0;
    }
    if (const int result = HookEvents(); result != 0) {
        VEXO_LOG_AT(92, LOG_ERR, "Failed to hook event of module [%d]", type);
        Terminate();
        return result;
    }
    if (const int result = InitialModule(); result != 0) {
        VEXO_LOG_AT(96, LOG_ERR, "Failed to init module [%d]", type);
        Terminate();
        return result;
    }
    state = INITIALIZED;
    return 0;
}

int BaseModule::Start() {
    if (state != INITIALIZED) {
        VEXO_LOG_AT(130, LOG_ERR, "Module [%d] is not initialized", type);
        return -1;
    }
    if (const int result = StartModule(); result != 0) {
        VEXO_LOG_AT(138, LOG_ERR, "Failed to start module [%d]", type);
        return result;
    }
    state = STARTED;
    return 0;
}

int BaseModule::Terminate() {
    if (const int result = TerminateModule(); result != 0) {
        VEXO_LOG_AT(115, LOG_ERR, "Failed to terminate module [%d]", type);
        return result;
    }
    state = CREATED;
    return 0;
}

int BaseModule::HookEvent(event::EVENT_TYPE eventType, EventFunction function) const {
    const int result = ModuleManager::GetInstance().HookEvent(eventType, type, function);
    if (result != 0) {
        VEXO_LOG_AT(64, LOG_ERR, "Failed to hook event [%d] of module [%d]", eventType, type);
    }
    return result;
}

int BaseModule::UnHookEvent(event::EVENT_TYPE eventType) const {
    const int result = ModuleManager::GetInstance().UnHookEvent(eventType, type);
    if (result != 0) {
        VEXO_LOG_AT(77, LOG_ERR, "Failed to unhook event [%d] of module [%d]", eventType, type);
    }
    return result;
}

}  // namespace vexonetwork::network::module
