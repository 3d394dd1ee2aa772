#include "network/devices/neighbours/netbios_names.h"

#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>

#include <vlib/net.h>

#include "network/devices/device_texts.h"

#define VEXO_LOG_SOURCE "arpscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

constexpr char kProgram[] = "/usr/local/bin/nmblookup";

/// Nobody looks at a list any more that was wanted before that.
constexpr auto kAskingTime = std::chrono::seconds(15);
constexpr auto kSilence = std::chrono::minutes(1);

/// Then the program is missing: neither time nor lines are spent on each device of the network.
constexpr unsigned kMaxFailures = 10;

/// The output is more than a node with 255 names has to say.
constexpr SideBySide::Limits kLimits = {
    .atOnce = 100, .patience = std::chrono::seconds(5), .output = 65536};

}  // namespace

/// However the thread ends: what it asks for will not be answered.
struct NetbiosNames::End {
    NetbiosNames& names;

    ~End() {
        const std::lock_guard guard(names.mutex);
        names.DropWaiting();
        for (auto& [address, device] : names.devices) {
            device.isAsked = false;
        }
    }
};

std::vector<std::string> NetbiosNames::Find(const std::vector<std::string>& addresses,
                                            Clock::duration patience) {
    std::unique_lock lock(mutex);
    ForgetOthers(addresses);
    Queue(DueOf(addresses));
    const auto begin = Clock::now() - patience;
    const auto isAnswered = [&, next = addresses.begin()]() mutable {
        next = std::find_if(next, addresses.end(), [&](const auto& address) {
            return devices[address].isAsked && devices[address].asked > begin;
        });
        return next == addresses.end();
    };
    answered.wait_for(lock, patience, isAnswered);
    std::vector<std::string> names;
    names.reserve(addresses.size());
    for (const std::string& address : addresses) {
        names.push_back(devices[address].name);
    }
    return names;
}

void NetbiosNames::ForgetOthers(const std::vector<std::string>& addresses) {
    const std::set<std::string> wanted(addresses.begin(), addresses.end());
    std::erase_if(devices, [&](const auto& each) {
        return !each.second.isAsked && !wanted.contains(each.first);
    });
}

/// In the order in which they were asked before, or never, so that all have their turn.
std::vector<std::string> NetbiosNames::DueOf(const std::vector<std::string>& addresses) {
    const auto now = Clock::now();
    std::vector<std::string> due;
    for (const std::string& address : addresses) {
        const Device& device = devices[address];
        const bool rests = device.isSilent && now < device.asked + kSilence;
        // What is no address could be taken for an option.
        if (!device.isAsked && !rests && BlVLIBIsIpAddr(address.c_str()) == 1) {
            due.push_back(address);
        }
    }
    std::ranges::stable_sort(due, {},
                             [this](const auto& address) { return devices[address].asked; });
    return due;
}

void NetbiosNames::Queue(const std::vector<std::string>& addresses) {
    lastStart = Clock::now() + kAskingTime;
    failures = 0;
    if (addresses.empty() || !Wake()) {
        return;
    }
    for (const std::string& address : addresses) {
        devices[address].isAsked = true;
        devices[address].asked = Clock::now();
        waiting.push_back(address);
    }
}

/// Has the thread look for questions. @return whether it runs
bool NetbiosNames::Wake() {
    if (!wake) {
        wake.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    if (!wake) {
        VEXO_LOG(LOG_ERR, "Failed to ask the devices for their names: %s", ::strerror(errno));
        return false;
    }
    ::eventfd_write(wake.Get(), 1);
    return thread.Start("device-names", [this](int stop) { Run(stop); }) == 0;
}

void NetbiosNames::Run(int stop) {
    const End end{*this};
    SideBySide programs(kLimits);
    for (;;) {
        StartQuestions(programs);
        std::vector<pollfd> events = {{stop, POLLIN, 0}, {wake.Get(), POLLIN, 0}};
        programs.AppendTo(events);
        ::poll(events.data(), events.size(), TimeoutUntil(programs.Deadline()));
        if (events[0].revents != 0) {
            return;
        }
        eventfd_t count = 0;
        ::eventfd_read(wake.Get(), &count);
        programs.Serve(std::span(events).subspan(2));
    }
}

void NetbiosNames::StartQuestions(SideBySide& programs) {
    while (programs.HasRoom()) {
        const auto address = NextQuestion();
        if (!address) {
            return;
        }
        auto program = StartProgram(kProgram, "-A", address->c_str());
        if (!program) {
            VEXO_LOG(LOG_ERR, "Failed to execute cmd [%s -A %s]", kProgram, address->c_str());
            Note(*address, "", false);
            const std::lock_guard guard(mutex);
            ++failures;
            continue;
        }
        programs.Add(std::move(program),
                     [this, address = *address](const std::string& answer, bool isWhole) {
                         const std::string name = ParseNodeStatus(answer);
                         Note(address, name, name.empty() && !isWhole);
                     });
    }
}

std::optional<std::string> NetbiosNames::NextQuestion() {
    const std::lock_guard guard(mutex);
    if (failures >= kMaxFailures || Clock::now() >= lastStart) {
        DropWaiting();
    }
    if (waiting.empty()) {
        return std::nullopt;
    }
    std::string address = std::move(waiting.front());
    waiting.pop_front();
    return address;
}

void NetbiosNames::DropWaiting() {
    for (const std::string& address : waiting) {
        devices[address].isAsked = false;
        devices[address].asked = {};
    }
    waiting.clear();
    answered.notify_all();
}

void NetbiosNames::Note(const std::string& address, const std::string& name, bool isSilent) {
    const std::lock_guard guard(mutex);
    Device& device = devices[address];
    device.name = name;
    device.isAsked = false;
    device.isSilent = isSilent;
    answered.notify_all();
}

}  // namespace vexonetwork::network
