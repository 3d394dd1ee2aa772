#include <vexobase/log.h>
#include <vexonetwork/network/module/module_manager.h>

namespace vexonetwork::network::module {
namespace {

ModuleManager::RequestFrame requestFrame = {[] {}, [] {}};

class FramedRequest {
  public:
    FramedRequest() { requestFrame.begin(); }
    ~FramedRequest() { requestFrame.end(); }
    FramedRequest(const FramedRequest&) = delete;
    FramedRequest& operator=(const FramedRequest&) = delete;
};

}  // namespace

ModuleManager& ModuleManager::GetInstance() {
    static ModuleManager instance;
    return instance;
}

bool ModuleManager::Initialize() {
    bool succeeded = true;
    for (const MODULE_INFO& info : module_info) {
        if (!AddModule(info)) {
            VEXO_LOG_AT(65, LOG_ERR, "Failed to initial module [%d]", info.type);
            succeeded = false;
        }
    }
    if (!InitModules()) {
        VEXO_LOG_AT(71, LOG_ERR, "Failed to initial modules");
        succeeded = false;
    }
    return succeeded;
}

bool ModuleManager::InitModules() {
    bool succeeded = true;
    for (const auto& [type, module] : modules) {
        if (module == nullptr) {
            VEXO_LOG_AT(87, LOG_ERR, "Null module pointer");
            succeeded = false;
        } else if (module->Initialize() != 0) {
            VEXO_LOG_AT(93, LOG_ERR, "Failed to init module [%d]", type);
            succeeded = false;
        }
    }
    return succeeded;
}

bool ModuleManager::Start() {
    bool succeeded = true;
    for (const auto& [type, module] : modules) {
        if (module == nullptr) {
            VEXO_LOG_AT(109, LOG_ERR, "Null module pointer");
            succeeded = false;
        } else if (module->Start() != 0) {
            VEXO_LOG_AT(114, LOG_ERR, "Failed to start module [%d]", type);
            succeeded = false;
        }
    }
    return succeeded;
}

bool ModuleManager::AddModule(const MODULE_INFO& info) {
    if (!info.enabled) {
        return true;
    }
    if (IsModuleExist(info.type)) {
        VEXO_LOG_AT(141, LOG_INFO, "The network module [%d] has been created.", info.type);
        return true;
    }
    BaseModule* module = info.create();
    if (module == nullptr) {
        VEXO_LOG_AT(147, LOG_ERR, "Failed to create module [%d]", info.type);
        return false;
    }
    modules.emplace(info.type, module);
    return true;
}

BaseModule* ModuleManager::GetModule(MODULE_TYPE type) {
    const auto entry = FindModule(type);
    return entry == modules.end() ? nullptr : entry->second;
}

bool ModuleManager::RemoveModule(MODULE_TYPE type) {
    const auto entry = FindModule(type);
    if (entry == modules.end()) {
        return true;
    }
    if (entry->second != nullptr) {
        if (entry->second->Terminate() != 0) {
            VEXO_LOG_AT(171, LOG_ERR, "Failed to terminiate module [%d]", type);
        }
        delete entry->second;
    }
    modules.erase(entry);
    return IsModuleExist(type);
}

void ModuleManager::Dump() const {
    for (const auto& [type, module] : modules) {
        if (module != nullptr) {
            VEXO_LOG_AT(189, LOG_ERR, "module: [%s]", module->ToStr().c_str());
        }
    }
}

void ModuleManager::FrameRequests(const RequestFrame& frame) {
    requestFrame = frame;
}

int ModuleManager::ProcessRequest(MODULE_TYPE type, const Json::Value& request,
                                  Json::Value& response) {
    BaseModule* module = GetModule(type);
    if (module == nullptr) {
        VEXO_LOG_AT(213, LOG_ERR, "Failed to find module [%d]", type);
        return -1;
    }
    const FramedRequest framed;
    const int result = module->ProcessRequest(request, response);
    if (result != 0) {
        VEXO_LOG_AT(217, LOG_ERR, "Failed to process request from module [%d]", type);
    }
    return result;
}

int ModuleManager::HookEvent(event::EVENT_TYPE eventType, MODULE_TYPE type,
                             EventFunction function) {
    const int result = events.Add(eventType, EventHandler(type, function));
    if (result != 0) {
        VEXO_LOG_AT(229, LOG_ERR, "Failed to register event [%d] by module [%d] with ret=[%d]",
                    eventType, type, result);
    }
    return result;
}

int ModuleManager::UnHookEvent(event::EVENT_TYPE eventType, MODULE_TYPE type) {
    if (events.Remove(eventType, type) != 0) {
        VEXO_LOG_AT(237, LOG_ERR, "Failed to unregister event [%d] by module [%d]", eventType,
                    type);
        return -1;
    }
    return 0;
}

int ModuleManager::NotifyEvent(const event::BaseEvent* event) {
    if (event == nullptr) {
        VEXO_LOG_AT(246, LOG_ERR, "NULL Event Pointer");
        return -1;
    }
    if (!event->IsValid()) {
        VEXO_LOG_AT(250, LOG_ERR, "Invalid event [%s]", event->ToStr().c_str());
        return -1;
    }
    int failures = 0;
    // A copy, because a handler may hook or unhook while it is called.
    const EventTable::HandlerList handlers = events.ListHandlers(event->Type());
    for (const EventHandler& handler : handlers) {
        failures += NotifyModule(handler, event) ? 0 : 1;
    }
    return failures;
}

bool ModuleManager::NotifyModule(const EventHandler& handler, const event::BaseEvent* event) {
    BaseModule* module = GetModule(handler.module);
    if (module == nullptr) {
        VEXO_LOG_AT(261, LOG_ERR, "NULL pointer for module [%d]", handler.module);
        return false;
    }
    const int result = (module->*handler.handler)(event);
    if (result != 0) {
        VEXO_LOG_AT(267, LOG_ERR, "Failed to handler event [%d] by module [%d] and ret=[%d]",
                    event->Type(), handler.module, result);
    }
    return result == 0;
}

}  // namespace vexonetwork::network::module
