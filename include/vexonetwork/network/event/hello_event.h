#pragma once

#include <vexonetwork/network/event/base_event.h>

namespace vexonetwork::network::event {

/// A greeting, for trying out the event machinery.
class HelloEvent : public BaseEvent {
  public:
    explicit HelloEvent(const std::string& message) : BaseEvent(EVENT_HELLO), msg(message) {}

    /// An empty message is no greeting.
    bool IsValid() const override { return !msg.empty(); }
    /// "event:[1]/ msg:[hi]"
    std::string ToStr() const override;
    int ProcessEvent() override;

  private:
    std::string msg;
};

}  // namespace vexonetwork::network::event
