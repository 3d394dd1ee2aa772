// How soon the default route follows a cable.

#include <net/if.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

#include "kernel_watch.h"
#include "ratio.h"
#include "support/appliance.h"
#include "support/event_queue.h"

namespace vexobench {
namespace {

constexpr int kRounds = 50;
constexpr int kBlock = 5;

using Clock = std::chrono::steady_clock;

/// An uplink whose cable can be pulled, gone with this object.
class Cable {
  public:
    explicit Cable(int number)
        : uplink(vexotest::MakeUplink(number)),
          farEnd(uplink.provider),
          index(::if_nametoindex(uplink.ifname.c_str())) {}
    ~Cable() {
        vexotest::Must("ip link del " + uplink.ifname);
        vexotest::Must("ip netns del " + uplink.provider);
    }
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    void Set(bool plugged) { farEnd.Set(plugged); }
    const vexotest::Uplink& Facts() const { return uplink; }
    unsigned Index() const { return index; }

  private:
    vexotest::Uplink uplink;
    FarEnd farEnd;
    unsigned index;
};

/// Microseconds from the messages on the link of the elected uplink to the kernel's choice of the
/// right one.
struct Times {
    std::vector<double> loss;
    std::vector<double> wayBack;
};

/// Two uplinks, and who moves the default route between them: the daemon or the raw limit.
class Race {
  public:
    Times ByDaemon() {
        appliance.StartDaemon();
        return Rounds();
    }

    Times ByFollower() {
        vexotest::Arguments program{VEXO_BIN_DIR "/vexobench-follower"};
        for (Cable* cable : {elected, other}) {
            const vexotest::Uplink& uplink = cable->Facts();
            program.insert(program.end(), {uplink.ifname, uplink.gateway, uplink.address});
        }
        appliance.StartDaemon(program);
        return Rounds();
    }

    void MakeLists() {
        // Lists of the figures before would be elected from too.
        vexotest::Must("rm -rf /etc/iproute2/config");
        appliance.StartDaemon();
        for (Cable* cable : {elected, other}) {
            const vexotest::Uplink& uplink = cable->Facts();
            appliance.Call("AddGatewayData", R"({"type": "GTYPE_V4", "class": "ethernet", "dns": "",
                "priority": -1, "ifname": ")" + uplink.ifname
                                                 + R"(", "gateway": ")" + uplink.gateway + "\"}");
        }
        appliance.StopDaemon();
    }

  private:
    Times Rounds() {
        Times times;
        Settle();
        for (int round = 0; round < kBlock; ++round) {
            times.loss.push_back(Follow(*elected, false, *other));
            Settle();
            other->Set(false);
            Settle();
            times.wayBack.push_back(Follow(*elected, true, *elected));
            Settle();
            other->Set(true);
            Settle();
        }
        appliance.StopDaemon();
        return times;
    }

    static double Follow(Cable& changed, bool plugged, const Cable& expected) {
        KernelWatch watch;
        changed.Set(plugged);
        watch.WaitForLink([&](unsigned index, bool running) {
            return index == changed.Index() && running == plugged;
        });
        const auto start = Clock::now();
        watch.WaitForRouteBy(expected.Index());
        return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    }

    /// Until the kernel has told everything and all that came of it is done.
    void Settle() {
        vexotest::Eventually([&] { return vexotest::IsQuiet(appliance.Daemon().Pid()); });
    }

    vexotest::Appliance appliance;
    // The kernel tells at once of a changed carrier when the two ends have different numbers.
    Cable spacer{4};
    Cable first{5};
    Cable second{6};
    Cable* elected = &first;
    Cable* other = &second;
};

void Append(std::vector<double>& all, const std::vector<double>& more) {
    all.insert(all.end(), more.begin(), more.end());
}

double Worst(const std::vector<double>& values) {
    return *std::ranges::max_element(values);
}

Measurement Compare(std::vector<double> Times::*which) {
    Race race;
    race.MakeLists();
    std::vector<double> ours;
    std::vector<double> raw;
    while (ours.size() < kRounds) {
        Append(ours, race.ByDaemon().*which);
        Append(raw, race.ByFollower().*which);
    }
    char note[64];
    std::snprintf(note, sizeof note, "worst of %d: %.1f and %.1f us", kRounds, Worst(ours),
                  Worst(raw));
    return {Median(ours), Median(raw), "us", note};
}

}  // namespace

std::vector<Figure> LinkFigures() {
    const std::string raw = "a bare loop over the link messages that runs the same /sbin/ip";
    return {
        {"default route leaves a dead link", raw, 1.5, [] { return Compare(&Times::loss); }, 3000},
        {"default route comes back", raw, 1.5, [] { return Compare(&Times::wayBack); }}};
}

}  // namespace vexobench
