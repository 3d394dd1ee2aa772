#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include <vexonetwork/network/event/base_event.h>
#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network::module {

enum MODULE_TYPE : std::int32_t {
    MODULE_TEST = 1,
    MODULE_IPV6 = 2,
    MODULE_ROUTE = 3,
    MODULE_DEVICE_LIST = 4,
    MODULE_RESERVED = 5,  ///< valid, but no module class has it
};

class BaseModule;

/// A module's member function that handles an event. @return 0 when the event was handled
using EventFunction = int (BaseModule::*)(const event::BaseEvent*);

/// One part of the daemon's work, known by its type. The manager drives its life: Initialize,
/// Start, Terminate; the subclass does the work in InitialModule, StartModule, TerminateModule.
/// All results are 0 for success.
class BaseModule {
  public:
    explicit BaseModule(MODULE_TYPE moduleType) : type(moduleType) {}
    virtual ~BaseModule() = default;
    BaseModule(const BaseModule&) = delete;
    BaseModule& operator=(const BaseModule&) = delete;

    /// Serves one request. It may come from any thread: the module takes its own lock.
    virtual int ProcessRequest(const Json::Value& in, Json::Value& out);

    /// For the log: "module:3".
    virtual std::string ToStr() const;

    virtual int InitialModule() = 0;
    virtual int TerminateModule() = 0;
    virtual int StartModule() = 0;

    /// Subscribes to events by HookEvent; called before InitialModule.
    virtual int HookEvents() const { return 0; }

    /// Hooks the events and initialises the module; does nothing when it is initialised and not
    /// yet started. On failure the module is terminated.
    /// @return 0, or the failing step's result
    int Initialize();

    /// @return 0, -1 when the module is not in the initialised state, or StartModule's result
    int Start();

    /// Back to the created state, from any. Hooked events stay hooked.
    /// @return TerminateModule's result; the state is unchanged when that is not 0
    int Terminate();

    /// Subscribes this module's `function` to an event; at most one function for each event.
    /// @return 0 or -1
    int HookEvent(event::EVENT_TYPE eventType, EventFunction function) const;
    int UnHookEvent(event::EVENT_TYPE eventType) const;

    /// The module's mutex, which is not recursive. @return whether the call succeeded
    bool Lock() { return mutex.Lock(); }
    bool Unlock() { return mutex.Unlock(); }
    bool Trylock() { return mutex.TryLock(); }

    static bool IsValidModule(MODULE_TYPE moduleType) {
        return MODULE_TEST <= moduleType && moduleType <= MODULE_RESERVED;
    }

  private:
    enum State : std::int32_t { CREATED = 1, INITIALIZED = 2, STARTED = 3 };

    State state = CREATED;
    MODULE_TYPE type;
    PthreadMutex mutex;
};

}  // namespace vexonetwork::network::module
