#pragma once

#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <vexobase/log_budget.h>
#include <vexobase/unique_fd.h>

#include "network/devices/bridges.h"
#include "network/devices/host_finder/host_finder_message.h"
#include "network/devices/host_finder/own_appliance.h"
#include "network/token_bucket.h"

namespace vexonetwork::network {

/// The talk of the host finder, on one thread: it asks the other appliances on every bridge each
/// minute, and when a bridge has come, gone or changed, and answers their questions all the time.
class HostFinder {
  public:
    /// The answers of one round, each from another address and with another MAC.
    using Answers = std::vector<HostFinderMessage>;

    /// @param stop    a descriptor that becomes readable when this shall end
    /// @param report  takes what a round has found
    HostFinder(int stop, std::function<void(const Answers&)> report);

    /// Talks until the end.
    void Run();

  private:
    struct Port {
        Bridge bridge;
        vexobase::UniqueFd socket;  ///< none when it could not be opened
    };
    using TimePoint = std::chrono::steady_clock::time_point;

    bool TalkForARound();
    void OpenPorts();
    void Ask();
    bool ServeUntilBridgesChange(TimePoint end);
    bool Serve(TimePoint end);
    void Receive(const Port& port);
    void Handle(const Port& port, const sockaddr_in& sender, std::string_view datagram);
    bool MayComeFrom(const Port& port, in_addr sender) const;
    void Answer(const Port& port, const sockaddr_in& asker, const std::string& itsToken);
    void Note(const Port& port, in_addr sender, HostFinderMessage answer);
    void Send(const Port& port, const sockaddr_in& receiver, const HostFinderMessage& message);
    bool MayLog();
    void SayWhatWasLeftOut();

    const int stop;
    const std::function<void(const Answers&)> report;
    std::vector<Bridge> bridges;
    std::vector<Port> ports;
    std::string token;  ///< of the last question; "" when no answer is waited for
    Answers found;
    OwnAppliance own;
    TokenBucket answers;
    TokenBucket parsed;
    vexobase::LogBudget logBudget;
};

}  // namespace vexonetwork::network
