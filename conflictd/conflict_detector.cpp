#include "conflict_detector.h"

#include <poll.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

#include <vexobase/log.h>

namespace conflictd {
namespace {

/// What was short for a socket, such as descriptors, comes back without a word of the kernel.
constexpr std::chrono::seconds kRetry(5);

/// As poll(2) takes it.
int MillisecondsTo(Clock::time_point time, Clock::time_point now) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - now);
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(0, left.count()));
}

}  // namespace

ConflictDetector::ConflictDetector(Draw randomTime) : draw(std::move(randomTime)) {
    constexpr unsigned kAnyInterface = 0;
    const ArpSocket mayBeOpened(kAnyInterface);
}

void ConflictDetector::Turn(Clock::time_point until, int wake) {
    const auto readable = Wait(until, wake);
    const auto now = Clock::now();
    const auto tell = [this, now](const Conflict& conflict) { report.Tell(conflict, now); };
    for (InterfaceWatch* watch : readable) {
        watch->Receive(now, ownMacs, tell);
    }
    FollowKernel(now);
    for (auto& [index, watch] : watches) {
        watch.Advance(now);
    }
}

std::vector<InterfaceWatch*> ConflictDetector::Wait(Clock::time_point until, int wake) {
    const auto now = Clock::now();
    until = follower.IsWhole() ? std::min(until, retry) : now;
    std::vector<InterfaceWatch*> listening;
    std::vector<pollfd> events;
    for (auto& [index, watch] : watches) {
        until = std::min(until, watch.Due(now));
        if (watch.IsListening(now)) {
            listening.push_back(&watch);
            events.push_back({watch.Descriptor(), POLLIN, 0});
        }
    }
    events.push_back({wake, POLLIN, 0});
    events.push_back({follower.Descriptor(), POLLIN, 0});
    if (::poll(events.data(), events.size(), MillisecondsTo(until, now)) <= 0) {
        return {};
    }
    std::vector<InterfaceWatch*> readable;
    for (std::size_t i = 0; i < listening.size(); ++i) {
        if (events[i].revents != 0) {
            readable.push_back(listening[i]);
        }
    }
    return readable;
}

void ConflictDetector::FollowKernel(Clock::time_point now) {
    // A socket whose interface came back before the kernel's word was read says so only after it.
    const bool isBroken =
        std::ranges::any_of(watches, [](const auto& entry) { return entry.second.IsBroken(); });
    if (!follower.Read(table) && !((isBroken || now >= retry) && follower.IsWhole())) {
        return;
    }
    retry = Clock::time_point::max();
    isReady = true;
    ownMacs = table.Macs();
    const auto& interfaces = table.Interfaces();
    const auto isGone = [&interfaces](unsigned index) {
        const auto found = interfaces.find(index);
        return found == interfaces.end() || !found->second.IsWatchable();
    };
    std::erase_if(watches, [&isGone](const auto& entry) {
        return entry.second.IsBroken() || isGone(entry.first);
    });
    std::erase_if(unwatched, isGone);
    for (const auto& [index, interface] : interfaces) {
        if (interface.IsWatchable()) {
            Follow(index, interface, now);
        }
    }
}

void ConflictDetector::Follow(unsigned index, const Interface& interface, Clock::time_point now) {
    try {
        watches.try_emplace(index, index, draw).first->second.Update(interface, now);
        unwatched.erase(index);
    } catch (const std::system_error& error) {
        // One that is gone already will be told to be.
        if (error.code() != std::errc::no_such_device) {
            retry = now + kRetry;
            if (unwatched.insert(index).second) {
                VEXO_LOG(LOG_ERR, "Interface [%s] is not watched: %s", interface.ifname.c_str(),
                         error.what());
            }
        }
        watches.erase(index);
    }
}

}  // namespace conflictd
