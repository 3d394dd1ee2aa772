#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>

#include "network/advertisements/wait.h"

namespace vexonetwork::network::module {

/// When the routers of which link are to be asked to advertise themselves (RFC 4861 section 6.3.7):
/// three times, four seconds apart, until one does. What could not be sent is tried again every
/// second for a while: the address of a link that has come up cannot be used yet, and a stranger
/// may have filled the kernel's table of neighbours. Knows no socket and no clock.
class Solicitations {
  public:
    static constexpr int kMaxTries = 3;
    static constexpr int kMaxFailures = 30;
    static constexpr auto kInterval = std::chrono::seconds(4);
    static constexpr auto kAfterFailure = std::chrono::seconds(1);

    /// A link has come up: its routers are to be asked from `now` on.
    void Begin(unsigned index, SteadyTime now) { links[index] = {.next = now}; }

    /// A router has advertised itself, or the link is down or gone.
    void End(unsigned index) { links.erase(index); }

    /// Asks where the time has come.
    /// @param solicit  sends one; 0, or anything else where that failed
    void Run(SteadyTime now, const std::function<int(unsigned index)>& solicit) {
        std::erase_if(links, [&](const auto& each) { return each.second.IsOver(); });
        for (auto& [index, state] : links) {
            if (state.next > now) {
                continue;
            }
            const bool isSent = solicit(index) == 0;
            --(isSent ? state.tries : state.failures);
            state.next = now + (isSent ? kInterval : kAfterFailure);
        }
    }

    /// When Run is to be called next; nothing while nobody is to be asked.
    std::optional<SteadyTime> NextDue() const {
        std::optional<SteadyTime> earliest;
        for (const auto& [index, state] : links) {
            earliest = state.IsOver() ? earliest : Earlier(earliest, state.next);
        }
        return earliest;
    }

  private:
    struct State {
        SteadyTime next;
        int tries = kMaxTries;
        int failures = kMaxFailures;

        bool IsOver() const { return tries == 0 || failures == 0; }
    };

    std::map<unsigned, State> links;  ///< by index
};

}  // namespace vexonetwork::network::module
