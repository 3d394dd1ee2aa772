#include "vexonetwork/network/upnpscanner.h"

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include <vexobase/log.h>
#include <vexobase/log_budget.h>
#include <vexonetwork/network/clientlist.h>

#include "network/devices/bridges.h"
#include "network/devices/neighbour_table.h"
#include "network/devices/scanner_thread.h"
#include "network/devices/upnp/description_fetch.h"
#include "network/devices/upnp/ssdp_sockets.h"
#include "network/devices/upnp/upnp_devices.h"
#include "network/token_bucket.h"

namespace vexonetwork::network {

namespace {

using Clock = UpnpDevices::Clock;

constexpr auto kAnewInterval = std::chrono::minutes(5);
constexpr auto kLookInterval = std::chrono::seconds(10);
constexpr auto kRepetition = std::chrono::seconds(1);

/// Between searches on a bridge for those who have announced themselves.
constexpr auto kSearchInterval = std::chrono::seconds(10);

/// Of hosts that answer and are no neighbours yet.
constexpr double kQuestionsPerSecond = 10;

std::string ToText(in_addr host) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &host, text, sizeof text);
}

/// The devices, which the thread fills and anybody reads.
struct SharedDevices {
    std::mutex mutex;
    UpnpDevices devices;
};

/// A bridge, and when it is searched.
struct Watched {
    Bridge bridge;
    Clock::time_point nextSearch;
    Clock::time_point lastSearch = {};
    bool isFirst = true;
};

/// The work of the thread.
///
/// Whoever is on a LAN can announce any number of devices, at other hosts too. So what is announced
/// only has the bridge searched, and what answers counts where it comes from a neighbour: an
/// address for which the kernel knows the MAC. One that is unknown is asked alone, by which the
/// kernel gets to know it.
class UpnpWatch {
  public:
    explicit UpnpWatch(SharedDevices& sharedDevices) : shared(sharedDevices) {}

    void Run(int stop) {
        std::vector<pollfd> events;
        do {
            FollowBridges();
            SearchWhereDue();
            Expire();
            StartFetches();
            events = {{stop, POLLIN, 0}};
            sockets->AppendTo(events);
            const std::size_t fetchEvents = events.size();
            fetches.AppendTo(events);
            ::poll(events.data(), events.size(), TimeoutUntil(NextDue()));
            const std::span<const pollfd> all(events);
            sockets->Receive(
                all.subspan(1, fetchEvents - 1),
                [this](unsigned index, in_addr sender, bool isAnswer, std::string_view datagram) {
                    Hear(index, sender, isAnswer, datagram);
                });
            fetches.Serve(all.subspan(fetchEvents));
        } while (events.front().revents == 0);
    }

  private:
    void FollowBridges() {
        const auto now = Clock::now();
        if (now >= nextBeginning) {
            BeginAnew(now);
        }
        if (now >= nextLook) {
            nextLook = now + kLookInterval;
            SayWhatWasLeftOut();
            if (auto bridges = FindBridges()) {
                Follow(std::move(*bridges), now);
            }
        }
    }

    /// A bridge that lost its address for a moment has left the group.
    void BeginAnew(Clock::time_point now) {
        sockets.emplace();
        watched.clear();
        nextBeginning = now + kAnewInterval;
        nextLook = now;
        const std::lock_guard guard(shared.mutex);
        shared.devices.ForgetFailed(now);
    }

    void Follow(Bridges bridges, Clock::time_point now) {
        sockets->HearOnly(bridges);
        std::erase_if(watched, [&](const Watched& each) {
            const bool isGone = std::erase(bridges, each.bridge) == 0;
            if (isGone) {
                sockets->Leave(each.bridge);
            }
            return isGone;
        });
        for (const Bridge& bridge : bridges) {
            sockets->Join(bridge);
            watched.push_back({bridge, now});
        }
    }

    /// On new bridges soon once more: datagrams get lost.
    void SearchWhereDue() {
        const auto now = Clock::now();
        for (Watched& each : watched) {
            if (now >= each.nextSearch) {
                sockets->Search(each.bridge);
                each.lastSearch = now;
                each.nextSearch = each.isFirst ? now + kRepetition : Clock::time_point::max();
                each.isFirst = false;
            }
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
                if (MayLog()) {
                    VEXO_LOG(LOG_ERR, "Failed to execute cmd [%s --url %s]", kFetchProgram,
                             fetch->location.c_str());
                }
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
        if (!description && MayLog()) {
            VEXO_LOG(LOG_ERR, "No description of a UPnP device at [%s]; the next search asks again",
                     fetch.location.c_str());
        }
        const std::lock_guard guard(shared.mutex);
        shared.devices.Describe(fetch, description);
    }

    Clock::time_point NextDue() {
        auto next = std::min({nextBeginning, nextLook, fetches.Deadline()});
        for (const Watched& each : watched) {
            next = std::min(next, each.nextSearch);
        }
        const std::lock_guard guard(shared.mutex);
        if (fetches.HasRoom()) {
            next = std::min(next, shared.devices.NextFetchTime());
        }
        return std::min(next, shared.devices.NextExpiry());
    }

    void Hear(unsigned index, in_addr sender, bool isAnswer, std::string_view datagram) {
        const auto found = std::find_if(watched.begin(), watched.end(), [&](const Watched& each) {
            return each.bridge.index == index;
        });
        if (found == watched.end() || found->bridge.Has(sender)) {
            return;
        }
        const Bridge& bridge = found->bridge;
        const auto message = ParseSsdp(datagram);
        if (!message) {
            if (IsMalformedSsdp(datagram) && MayLog()) {
                VEXO_LOG(LOG_ERR, "What %s on [%s] says of a UPnP device is malformed",
                         ToText(sender).c_str(), bridge.ifname.c_str());
            }
            return;
        }
        const bool hasAnswered = isAnswer && message->kind == SsdpMessage::Kind::kAnswer;
        const char* reason = ReasonAgainst(*found, *message, sender, hasAnswered);
        if (reason != nullptr && MayLog()) {
            VEXO_LOG(LOG_ERR, "The UPnP device [%s] at %s on [%s] is left out: %s",
                     message->usn.c_str(), ToText(sender).c_str(), bridge.ifname.c_str(), reason);
        }
    }

    /// Hears the message unless there is a reason not to, or more has to be known first.
    /// @return the reason, or null
    const char* ReasonAgainst(Watched& place, const SsdpMessage& message, in_addr sender,
                              bool isAnswer) {
        const Bridge& bridge = place.bridge;
        const BridgeNetwork* const network = bridge.NetworkOf(sender);
        if (network == nullptr) {
            return "it is not of the bridge's networks";
        }
        const bool isFarewell = message.kind == SsdpMessage::Kind::kFarewell;
        if (!isFarewell && !IsServedBy(message.location, sender)) {
            return "its description is not on itself";
        }
        if (!isAnswer && !IsKnown(message, sender)) {
            place.nextSearch = std::min(place.nextSearch, place.lastSearch + kSearchInterval);
            return nullptr;
        }
        if (!isFarewell && neighbours.MacOf(bridge.index, sender).empty()) {
            if (questions.Spend()) {
                sockets->SearchAt(bridge, *network, sender);
            }
            return nullptr;
        }
        const std::lock_guard guard(shared.mutex);
        const bool hasRoom = shared.devices.Hear(message, sender, bridge.ifname, Clock::now());
        return hasRoom ? nullptr : "there are too many";
    }

    bool IsKnown(const SsdpMessage& message, in_addr sender) {
        const std::lock_guard guard(shared.mutex);
        return shared.devices.Knows(message, sender);
    }

    /// Each line that a stranger can cause without end asks first.
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
    std::optional<SsdpSockets> sockets;  ///< from the first beginning on
    std::vector<Watched> watched;
    NeighbourTable neighbours;
    TokenBucket questions{kQuestionsPerSecond};
    SideBySide fetches{kFetchLimits};
    Clock::time_point nextBeginning = Clock::now();
    Clock::time_point nextLook = Clock::time_point::max();
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
