#include <vexobase/log.h>
#include <vexonetwork/network/event/base_event.h>
#include <vexonetwork/network/module/module_manager.h>

namespace vexonetwork::network::event {

std::string BaseEvent::ToStr() const {
    return "event:[" + std::to_string(type) + "]";
}

int BaseEvent::Process() {
    if (notified && processed) {
        return 0;
    }
    if (!IsValid()) {
        VEXO_LOG_AT(81, LOG_ERR, "The event [%s] is not valid.", ToStr().c_str());
        return -1;
    }
    int result = 0;
    if (NotifyModuleManager() != 0) {
        VEXO_LOG_AT(86, LOG_ERR, "Failed to notify event [%d] to manager", type);
        result = -1;
    }
    return PostProcess() != 0 ? -1 : result;
}

int BaseEvent::NotifyModuleManager() {
    if (notified) {
        return 0;
    }
    if (module::ModuleManager::GetInstance().NotifyEvent(this) != 0) {
        VEXO_LOG_AT(40, LOG_ERR, "Failed to notify event[%d] to manager", type);
        return -1;
    }
    notified = true;
    return 0;
}

int BaseEvent::PostProcess() {
    if (processed) {
        return 0;
    }
    if (const int result = ProcessEvent(); result != 0) {
        VEXO_LOG_AT(63, LOG_ERR, "Failed to process event [%s]", ToStr().c_str());
        return result;
    }
    processed = true;
    return 0;
}

}  // namespace vexonetwork::network::event
