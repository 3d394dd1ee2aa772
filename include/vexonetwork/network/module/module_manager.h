#pragma once

#include <json/value.h>

#include <map>

#include <vexonetwork/network/module/base_module.h>
#include <vexonetwork/network/module/event_table.h>

namespace vexonetwork::network::module {

/// The process's registry of modules: creates them, drives their life cycle, hands requests to
/// them by type and events to those that hooked them. It takes no lock: modules are added, removed
/// and initialised while nobody else calls. Every failure is logged here and reported; what to do
/// about it is the caller's decision.
class ModuleManager {
  public:
    struct MODULE_INFO {
        MODULE_TYPE type;
        bool enabled;
        BaseModule* (*create)();  ///< makes a module that the manager then holds, or null
    };
    /// What stands around each request, on the thread that serves it.
    struct RequestFrame {
        void (*begin)();
        void (*end)();
    };
    using ModuleMap = std::map<MODULE_TYPE, BaseModule*>;

    ModuleManager(const ModuleManager&) = delete;
    ModuleManager& operator=(const ModuleManager&) = delete;

    /// The one manager. May be called from any thread.
    static ModuleManager& GetInstance();

    /// Creates the enabled modules of the creation table, then initialises all modules. A failure
    /// does not stop the others.
    /// @return whether nothing failed
    bool Initialize();

    /// Creates one module; a disabled one, or one whose type is there already, is left alone.
    /// @return false when the module could not be created
    bool AddModule(const MODULE_INFO& info);

    /// Initialise and start every module, in ascending order of type.
    /// @return whether all modules succeeded
    bool InitModules();
    bool Start();

    ModuleMap::iterator FindModule(MODULE_TYPE type) { return modules.find(type); }
    bool IsModuleExist(MODULE_TYPE type) { return FindModule(type) != modules.end(); }

    /// The module, still held by the manager; null when absent.
    BaseModule* GetModule(MODULE_TYPE type);

    /// Terminates the module and destroys it. Its event subscriptions stay.
    /// @return true when there was no such module; false after a removal, which is no failure
    bool RemoveModule(MODULE_TYPE type);

    /// Logs one line for each module.
    void Dump() const;

    /// Has every request begin and end with the frame's calls, for what is counted or bounded for
    /// each request. To be set before requests are served; the frame is the process's.
    static void FrameRequests(const RequestFrame& frame);

    /// Hands a request to a module. @return the module's result, or -1 when there is none
    int ProcessRequest(MODULE_TYPE type, const Json::Value& request, Json::Value& response);

    /// Subscribes a module's function to an event, or ends that. @return 0 or -1
    int HookEvent(event::EVENT_TYPE eventType, MODULE_TYPE type, EventFunction function);
    int UnHookEvent(event::EVENT_TYPE eventType, MODULE_TYPE type);

    /// Calls every function that hooked the event's type, whatever the others return.
    /// @return the number of those that failed, or -1 for a null or invalid event
    int NotifyEvent(const event::BaseEvent* event);

  private:
    ModuleManager() = default;
    ~ModuleManager() = default;

    bool NotifyModule(const EventHandler& handler, const event::BaseEvent* event);

    static const MODULE_INFO module_info[4];

    ModuleMap modules;
    EventTable events;
};

}  // namespace vexonetwork::network::module
