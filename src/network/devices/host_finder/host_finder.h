#pragma once

#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <vexobase/log_budget.h>

#include "network/devices/bridges.h"
#include "network/devices/host_finder/host_finder_message.h"
#include "network/devices/host_finder/own_appliance.h"
#include "network/devices/lan_socket.h"
#include "network/devices/neighbour_table.h"
#include "network/token_bucket.h"

namespace vexonetwork::network {

/// The talk of the host finder, on one thread: it asks the other appliances on every LAN each
/// minute, and when a LAN has come, gone or changed, and answers their questions all the time.
///
/// Everybody on the LAN sees a question to all, and could answer it in the name of another. So who
/// answers is asked once more, alone, with a token of his own; what he says then counts where the
/// neighbour table, which has an entry of his by that, says the same of his address and his MAC.
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
    using TimePoint = std::chrono::steady_clock::time_point;

    /// The interface and the address in network order.
    using Host = std::pair<unsigned, in_addr_t>;

    bool TalkForARound();
    void OpenPort();
    void AskAll();
    bool ServeUntilLansChange(TimePoint end);
    bool Serve(TimePoint end);
    void Handle(unsigned index, const sockaddr_in& sender, std::string_view datagram);
    bool IsOwn(in_addr sender) const;
    void Answer(const Bridge& lan, const sockaddr_in& asker, const std::string& itsToken);
    void Consider(const Bridge& lan, const sockaddr_in& sender, HostFinderMessage answer);
    bool IsTrue(const Bridge& lan, in_addr sender, const HostFinderMessage& answer,
                const std::string& mac);
    void AskAlone(const Bridge& lan, in_addr host);
    bool IsFound(const std::string& ipAddr) const;
    void Note(HostFinderMessage answer);
    void Ask(const Bridge& lan, const BridgeNetwork& network, in_addr receiver,
             const std::string& itsToken);
    void Send(const Bridge& lan, const BridgeNetwork& network, const sockaddr_in& receiver,
              const HostFinderMessage& message);
    bool MayLog();
    void SayWhatWasLeftOut();

    const int stop;
    const std::function<void(const Answers&)> report;
    Bridges lans;
    LanSocket socket;   ///< not open while the port is somebody else's
    std::string token;  ///< of the last question to all; "" when no answer is waited for
    std::map<Host, std::string> askedAlone;  ///< since then, with their tokens
    std::size_t unknownAsked = 0;            ///< in this round, who were no neighbours
    Answers found;
    OwnAppliance own;
    NeighbourTable neighbours;
    TokenBucket answers;
    TokenBucket parsed;
    vexobase::LogBudget logBudget;
};

}  // namespace vexonetwork::network
