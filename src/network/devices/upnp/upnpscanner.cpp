#include "vexonetwork/network/upnpscanner.h"

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <mutex>

#include <vexobase/log.h>
#include <vexobase/log_budget.h>
#include <vexonetwork/network/clientlist.h>

#include "network/devices/bridges.h"
#include "network/devices/scanner_thread.h"
#include "network/devices/upnp/description_fetch.h"
#include "network/devices/upnp/ssdp_socket.h"
#include "network/devices/upnp/upnp_devices.h"

namespace vexonetwork::network {

namespace {

using Clock = UpnpDevices::Clock;

constexpr auto kSearchInterval = std::chrono::minutes(5);
constexpr auto kLookInterval = std::chrono::seconds(10);
constexpr auto kRepetition = std::chrono::seconds(1);

std::string ToText(in_addr host) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &host, text, sizeof text);
}

/// The devices, which the thread fills and anybody reads.
struct SharedDevices {
    std::mutex mutex;
    UpnpDevices devices;
};

/// The work of the thread.
class UpnpWatch {
  public:
    explicit UpnpWatch(SharedDevices& sharedDevices) : shared(sharedDevices) {}

    void Run(int stop) {
        std::vector<pollfd> events;
        do {
            SearchWhereDue();
            Expire();
            StartFetches();
            events = {{stop, POLLIN, 0}};
            fetches.AppendTo(events);
            for (const SsdpSocket& socket : sockets) {
                events.push_back({socket.Announcements(), POLLIN, 0});
                events.push_back({socket.Answers(), POLLIN, 0});
            }
            ::poll(events.data(), events.size(), TimeoutUntil(NextDue()));
            Serve(std::span(events).subspan(1));
        } while (events.front().revents == 0);
    }

  private:
    void SearchWhereDue() {
        const auto now = Clock::now();
        if (now >= nextSearch) {
            // Anew: a bridge that lost its address for a moment has left the group.
            sockets.clear();
            nextSearch = now + kSearchInterval;
            nextLook = now;
            const std::lock_guard guard(shared.mutex);
            shared.devices.RetryFailed(now);
        }
        if (now >= nextRepetition) {
            nextRepetition = Clock::time_point::max();
            SearchAll();
        }
        if (now >= nextLook) {
            nextLook = now + kLookInterval;
            SayWhatWasLeftOut();
            FollowBridges(now);
        }
    }

    void SearchAll() const {
        for (const SsdpSocket& socket : sockets) {
            socket.Search();
        }
    }

    /// Searches on bridges that are new, soon once more: datagrams get lost.
    void FollowBridges(Clock::time_point now) {
        std::vector<Bridge> bridges = FindBridges();
        std::erase_if(sockets, [&](const SsdpSocket& socket) {
            return std::erase(bridges, socket.GetBridge()) == 0;
        });
        for (const Bridge& bridge : bridges) {
            sockets.emplace_back(bridge).Search();
            nextRepetition = now + kRepetition;
        }
    }

    void Expire() {
        const std::lock_guard guard(shared.mutex);
        shared.devices.Expire(Clock::now());
    }

    void StartFetches() {
        while (fetches.HasRoom()) {
            const auto fetch = NextFetch();
            if (!fetch) {
                return;
            }
            auto program = StartFetch(fetch->ifname, fetch->location);
            if (!program) {
                Describe(*fetch, std::nullopt);
                continue;
            }
            fetches.Add(std::move(program),
                        [this, fetch = *fetch](const std::string& output, bool isWhole) {
                            Describe(fetch, isWhole ? ReadFetched(output) : std::nullopt);
                        });
        }
    }

    std::optional<UpnpDevices::Fetch> NextFetch() {
        const std::lock_guard guard(shared.mutex);
        return shared.devices.NextFetch(Clock::now());
    }

    void Describe(const UpnpDevices::Fetch& fetch,
                  const std::optional<DeviceDescription>& description) {
        if (!description) {
            VEXO_LOG(LOG_ERR, "No description of a UPnP device at [%s]; the next search asks again",
                     fetch.location.c_str());
        }
        const std::lock_guard guard(shared.mutex);
        shared.devices.Describe(fetch, description);
    }

    Clock::time_point NextDue() {
        const std::lock_guard guard(shared.mutex);
        const auto nextFetch =
            fetches.HasRoom() ? shared.devices.NextFetchTime() : Clock::time_point::max();
        return std::min({nextSearch, nextLook, nextRepetition, nextFetch, fetches.Deadline(),
                         shared.devices.NextExpiry()});
    }

    /// @param events  of the fetches, then two of each socket
    void Serve(std::span<const pollfd> events) {
        const std::size_t first = events.size() - 2 * sockets.size();
        fetches.Serve(events.first(first));
        events = events.subspan(first);
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i].revents != 0) {
                const Bridge& bridge = sockets[i / 2].GetBridge();
                SsdpSocket::Receive(events[i].fd, [&](std::string_view datagram, in_addr sender) {
                    Hear(bridge, datagram, sender);
                });
            }
        }
    }

    void Hear(const Bridge& bridge, std::string_view datagram, in_addr sender) {
        const auto message = ParseSsdp(datagram);
        if (bridge.Has(sender)) {
            return;
        }
        if (!message) {
            if (IsMalformedSsdp(datagram) && MayLog()) {
                VEXO_LOG(LOG_ERR, "What %s on [%s] says of a UPnP device is malformed",
                         ToText(sender).c_str(), bridge.ifname.c_str());
            }
            return;
        }
        const char* reason = ReasonAgainst(bridge, *message, sender);
        if (reason != nullptr && MayLog()) {
            VEXO_LOG(LOG_ERR, "The UPnP device [%s] at %s on [%s] is left out: %s",
                     message->usn.c_str(), ToText(sender).c_str(), bridge.ifname.c_str(), reason);
        }
    }

    /// Hears the message unless there is a reason not to.
    /// @return the reason, or null
    const char* ReasonAgainst(const Bridge& bridge, const SsdpMessage& message, in_addr sender) {
        if (bridge.NetworkOf(sender) == nullptr) {
            return "it is not of the bridge's networks";
        }
        if (message.kind != SsdpMessage::Kind::kFarewell && !IsServedBy(message.location, sender)) {
            return "its description is not on itself";
        }
        const std::lock_guard guard(shared.mutex);
        const bool hasRoom = shared.devices.Hear(message, sender, bridge.ifname, Clock::now());
        return hasRoom ? nullptr : "there are too many";
    }

    /// Limits log lines caused by datagrams; fetch failures are rare and always logged.
    bool MayLog() {
        SayWhatWasLeftOut();
        return budget.Spend();
    }

    void SayWhatWasLeftOut() {
        if (const unsigned leftOut = budget.TakeLeftOut()) {
            VEXO_LOG(LOG_ERR, "%u lines about UPnP devices were left out", leftOut);
        }
    }

    SharedDevices& shared;
    std::vector<SsdpSocket> sockets;
    SideBySide fetches{kFetchLimits};
    Clock::time_point nextSearch = Clock::now();
    Clock::time_point nextLook = Clock::time_point::max();
    Clock::time_point nextRepetition = Clock::time_point::max();
    vexobase::LogBudget budget;
};

}  // namespace

struct UpnpScanner::State {
    SharedDevices shared;
    ClientList list;  ///< taken with the mutex, as the devices are
    ScannerThread thread;
};

UpnpScanner::UpnpScanner() : state(std::make_unique<State>()) {}

UpnpScanner::~UpnpScanner() = default;

UpnpScanner* UpnpScanner::Inst() {
    static UpnpScanner* const scanner = new UpnpScanner;
    return scanner;
}

int UpnpScanner::Start() {
    return state->thread.Start("upnp-scanner",
                               [this](int stop) { UpnpWatch(state->shared).Run(stop); });
}

void UpnpScanner::Stop() {
    state->thread.Stop();
}

Json::Value UpnpScanner::GetData() {
    const std::lock_guard guard(state->shared.mutex);
    state->list.EraseList();
    state->shared.devices.AppendTo(state->list);
    return state->list.GetClientList();
}

}  // namespace vexonetwork::network
