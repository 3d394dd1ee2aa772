#include "network/devices/neighbours/netbios_lookups.h"

#include <poll.h>

#include <chrono>
#include <cstdio>

#include <vlib/exec.h>
#include <vlib/net.h>

#include "network/devices/device_texts.h"
#include "network/devices/side_by_side.h"

#define VEXO_LOG_SOURCE "arpscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

using std::chrono::steady_clock;

constexpr char kProgram[] = "/usr/local/bin/nmblookup";
constexpr auto kAskingTime = std::chrono::seconds(15);

/// Then the program is missing: neither time nor lines are spent on each device of the network.
constexpr unsigned kMaxFailures = 10;

/// The output is more than a node with 255 names has to say.
constexpr SideBySide::Limits kLimits = {
    .atOnce = 100, .patience = std::chrono::seconds(5), .output = 65536};

class Lookups {
  public:
    explicit Lookups(const std::vector<std::string>& wanted)
        : addresses(wanted), names(wanted.size(), "") {}

    std::vector<std::optional<std::string>> Run() {
        Start();
        while (!programs.IsIdle()) {
            std::vector<pollfd> events;
            programs.AppendTo(events);
            ::poll(events.data(), events.size(), TimeoutUntil(programs.Deadline()));
            programs.Serve(events);
            Start();
        }
        return std::move(names);
    }

  private:
    void Start() {
        for (; next < addresses.size() && programs.HasRoom(); ++next) {
            const char* address = addresses[next].c_str();
            // What is no address could be taken for an option.
            if (failures >= kMaxFailures || steady_clock::now() >= lastStart
                || BlVLIBIsIpAddr(address) != 1) {
                continue;
            }
            FILE* program = VLIBCPopen(kProgram, "r", "-A", address, nullptr);
            if (program == nullptr) {
                ++failures;
                VEXO_LOG(LOG_ERR, "Failed to execute cmd [%s -A %s]", kProgram, address);
                continue;
            }
            programs.Add(program, [&name = names[next]](const std::string& answer, bool isWhole) {
                name = ParseNodeStatus(answer);
                if (name->empty() && !isWhole) {
                    name.reset();
                }
            });
        }
    }

    const std::vector<std::string>& addresses;
    std::vector<std::optional<std::string>> names;
    SideBySide programs{kLimits};
    std::size_t next = 0;
    unsigned failures = 0;
    const steady_clock::time_point lastStart = steady_clock::now() + kAskingTime;
};

}  // namespace

std::vector<std::optional<std::string>> LookUpNetbiosNames(
    const std::vector<std::string>& addresses) {
    return Lookups(addresses).Run();
}

}  // namespace vexonetwork::network
