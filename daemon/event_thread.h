#pragma once

#include <thread>

#include <vexonetwork/emitter/network_event_emitter.h>

namespace vexonetd {

/// The thread on which kernel events are followed, for as long as this lives. To be made after the
/// modules, which it calls, and to end before them.
class EventThread {
  public:
    /// Throws std::runtime_error when the kernel gives no socket.
    /// @param gateways  is told of changes; null for whatever module looks after gateways then
    explicit EventThread(vexonetwork::network::module::GatewayFollower* gateways);

    /// Waits for the event that is being handled; a hook in it may take its time.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

  private:
    vexonetwork::NetworkEventEmitter emitter;
    std::thread thread;
};

}  // namespace vexonetd
