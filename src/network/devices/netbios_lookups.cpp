#include "network/devices/netbios_lookups.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include <vlib/exec.h>
#include <vlib/net.h>

#include "network/devices/device_texts.h"

#define VEXO_LOG_SOURCE "arpscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char kProgram[] = "/usr/local/bin/nmblookup";
constexpr std::size_t kMostAtOnce = 100;
constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kAskingTime = std::chrono::seconds(15);

/// More than a node with 255 names has to say.
constexpr std::size_t kMostOutput = 65536;

struct KillProgram {
    // It may hang with its output closed, or go on for as long as someone listens.
    void operator()(FILE* stream) const { VLIBCPkill(stream); }
};
using Program = std::unique_ptr<FILE, KillProgram>;

/// One that was asked and is waited for.
struct Lookup {
    std::size_t place;
    Program program;
    steady_clock::time_point deadline;
    std::string answer = {};
};

/// @return whether there is more to come
bool TakeAnswer(Lookup& lookup) {
    char part[4096];
    const ssize_t length = ::read(::fileno(lookup.program.get()), part, sizeof part);
    if (length > 0) {
        lookup.answer.append(part, static_cast<std::size_t>(length));
    }
    return length > 0 && lookup.answer.size() < kMostOutput;
}

class Lookups {
  public:
    explicit Lookups(const std::vector<std::string>& wanted)
        : addresses(wanted), names(wanted.size()) {}

    std::vector<std::string> Run() {
        Start();
        while (!running.empty()) {
            Wait();
            Start();
        }
        return std::move(names);
    }

  private:
    void Start() {
        for (; next < addresses.size() && running.size() < kMostAtOnce; ++next) {
            const char* address = addresses[next].c_str();
            const auto now = steady_clock::now();
            // What is no address could be taken for an option.
            if (now >= lastStart || BlVLIBIsIpAddr(address) != 1) {
                continue;
            }
            Program program(VLIBCPopen(kProgram, "r", "-A", address, nullptr));
            if (program == nullptr) {
                LogFailure(address);
                continue;
            }
            running.push_back({next, std::move(program), now + kPatience});
        }
    }

    /// Where the program is missing this would be a line for each device of the network.
    void LogFailure(const char* address) {
        constexpr unsigned kMostLines = 10;
        if (++failures <= kMostLines) {
            VEXO_LOG(LOG_ERR, "Failed to execute cmd [%s -A %s]", kProgram, address);
        } else if (failures == kMostLines + 1) {
            VEXO_LOG(LOG_ERR, "The devices that are left are not told of one by one");
        }
    }

    /// Waits until one says something or its time is over.
    void Wait() {
        std::vector<pollfd> events;
        auto first = steady_clock::time_point::max();
        for (const Lookup& lookup : running) {
            events.push_back({::fileno(lookup.program.get()), POLLIN, 0});
            first = std::min(first, lookup.deadline);
        }
        const auto left = std::chrono::ceil<milliseconds>(first - steady_clock::now());
        const int timeout = static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
        if (::poll(events.data(), events.size(), timeout) < 0) {
            return;  // interrupted
        }
        const auto now = steady_clock::now();
        std::size_t place = 0;
        std::erase_if(running, [&](Lookup& lookup) {
            const bool speaks = events[place++].revents != 0;
            const bool isOver = now >= lookup.deadline || (speaks && !TakeAnswer(lookup));
            if (isOver) {
                names[lookup.place] = ParseNodeStatus(lookup.answer);
            }
            return isOver;
        });
    }

    const std::vector<std::string>& addresses;
    std::vector<std::string> names;
    std::vector<Lookup> running;
    std::size_t next = 0;
    unsigned failures = 0;
    const steady_clock::time_point lastStart = steady_clock::now() + kAskingTime;
};

}  // namespace

std::vector<std::string> LookUpNetbiosNames(const std::vector<std::string>& addresses) {
    return Lookups(addresses).Run();
}

}  // namespace vexonetwork::network
