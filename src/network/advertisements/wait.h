#pragma once

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <span>

namespace vexonetwork::network::module {

using SteadyTime = std::chrono::steady_clock::time_point;

/// The earlier one of two times, of which there may be none.
inline std::optional<SteadyTime> Earlier(std::optional<SteadyTime> one,
                                         std::optional<SteadyTime> other) {
    return one && other ? std::min(*one, *other) : one ? one : other;
}

/// Waits for one of the events. The time that is left is at no point a number of milliseconds in
/// an int, which has room for 24 days.
/// @param deadline  nothing for no end
/// @return as poll(2); events that are negative descriptors do not come
inline int WaitFor(std::span<pollfd> events, std::optional<SteadyTime> deadline) {
    for (;;) {
        using std::chrono::nanoseconds;
        using std::chrono::seconds;
        timespec left{};
        if (deadline) {
            const auto duration =
                std::max(nanoseconds(0), nanoseconds(*deadline - std::chrono::steady_clock::now()));
            const auto whole = std::chrono::floor<seconds>(duration);
            left = {whole.count(), (duration - whole).count()};
        }
        const int ready =
            ::ppoll(events.data(), events.size(), deadline ? &left : nullptr, nullptr);
        if (ready >= 0 || errno != EINTR) {
            return ready;
        }
    }
}

}  // namespace vexonetwork::network::module
