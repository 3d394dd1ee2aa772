#pragma once

#include <cstdint>
#include <string>

namespace vexonetwork::network::event {

enum EVENT_TYPE : std::int32_t {
    EVENT_HELLO = 1,
    EVENT_RESERVED = 2,  ///< valid, but no event class has it
};

/// Something that happened, told to every module that hooked its type and then followed up by the
/// event itself. Used by one thread at a time; dispatch runs on the thread that calls Process.
class BaseEvent {
  public:
    explicit BaseEvent(EVENT_TYPE eventType) : type(eventType) {}
    virtual ~BaseEvent() = default;

    /// Whether the event is complete enough to be told to anybody.
    virtual bool IsValid() const = 0;

    /// For the log: "event:[1]".
    virtual std::string ToStr() const;

    /// The event's own follow-up. @return 0 when it is done
    virtual int ProcessEvent() { return 0; }

    /// Notifies the modules, then follows up, whether or not all modules handled the event. Each
    /// stage that succeeded is not repeated by a later call; a failed notification is repeated to
    /// all modules.
    /// @return 0, or -1 for an invalid event or when a stage failed
    int Process();

    /// First stage of Process. @return 0, or -1 when a handler failed
    int NotifyModuleManager();

    /// Second stage of Process. @return the result of ProcessEvent
    int PostProcess();

    EVENT_TYPE Type() const { return type; }

    static bool IsValidEvent(EVENT_TYPE eventType) {
        return EVENT_HELLO <= eventType && eventType <= EVENT_RESERVED;
    }

  private:
    EVENT_TYPE type;
    bool notified = false;
    bool processed = false;
};

}  // namespace vexonetwork::network::event
