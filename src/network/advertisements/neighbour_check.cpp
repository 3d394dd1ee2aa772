#include "network/advertisements/neighbour_check.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "network/advertisements/wait.h"
#include "network/piped_program.h"

namespace vexonetwork::network::module {
namespace {

using std::chrono::steady_clock;

constexpr auto kNdiscTime = std::chrono::seconds(5);
constexpr std::size_t kMaxOutput = 65536;

/// Looks for a text in what is read part by part.
class TextSearch {
  public:
    explicit TextSearch(std::string_view text) : wanted(text) {}

    /// @return whether the text has come up by now
    bool Add(std::string_view part) {
        seen.append(part);
        if (seen.find(wanted) != seen.npos) {
            return true;
        }
        // Only what the text may begin with is still of interest.
        seen.erase(0, seen.size() - std::min(seen.size(), wanted.size() - 1));
        return false;
    }

  private:
    std::string_view wanted;
    std::string seen;
};

/// Whether the output contains `wanted` before the deadline, its end or 64 KiB; nothing when `stop`
/// became readable.
std::optional<bool> OutputContains(int output, std::string_view wanted, SteadyTime deadline,
                                   int stop) {
    TextSearch search(wanted);
    for (std::size_t total = 0; total < kMaxOutput;) {
        std::array<pollfd, 2> events{{{output, POLLIN, 0}, {stop, POLLIN, 0}}};
        const int ready = WaitFor(events, deadline);
        if (events[1].revents != 0) {
            return std::nullopt;
        }
        if (ready <= 0) {
            return false;
        }
        char part[1024];
        const ssize_t length = ::read(output, part, sizeof part);
        if (length <= 0) {
            return false;
        }
        if (search.Add({part, static_cast<std::size_t>(length)})) {
            return true;
        }
        total += static_cast<std::size_t>(length);
    }
    return false;
}

}  // namespace

std::optional<bool> AnswersNeighbourDiscovery(const std::string& gateway, const std::string& ifname,
                                              int stop) {
    const auto deadline = steady_clock::now() + kNdiscTime;
    const auto program = network::StartProgram("/usr/bin/ndisc6", gateway.c_str(), ifname.c_str());
    if (!program) {
        return false;
    }
    return OutputContains(::fileno(program.get()), "Target link-layer address", deadline, stop);
}

}  // namespace vexonetwork::network::module
