#include <net/if.h>

#include <csignal>

#include <vexo/default_gateway.h>
#include <vlib/exec.h>

#include "kernel_watch.h"
#include "ratio.h"
#include "support/appliance.h"
#include "usage.h"

namespace vexobench {
namespace {

constexpr int kStarts = 40;

std::string EmptyProgram() {
    return VEXO_BIN_DIR "/vexobench-empty";
}

double PssOf(const vexotest::Arguments& program) {
    vexotest::Appliance appliance;
    appliance.StartDaemon(program);
    return Pss(appliance.Daemon().Pid());
}

Measurement Memory() {
    return {PssOf({vexotest::DaemonProgram()}), PssOf({EmptyProgram()}), "KiB"};
}

double StartTime(vexotest::Appliance& appliance, const vexotest::Arguments& program) {
    const double seconds = Seconds([&] { appliance.StartDaemon(program); });
    appliance.StopDaemon();
    return seconds * 1e6;
}

Measurement Start() {
    vexotest::Appliance appliance;
    std::vector<double> ours;
    std::vector<double> raw;
    for (int i = 0; i < kStarts; ++i) {
        ours.push_back(StartTime(appliance, {vexotest::DaemonProgram()}));
        raw.push_back(StartTime(appliance, {EmptyProgram()}));
    }
    return {Median(ours), Median(raw), "us"};
}

/// What a machine without a default route waits for after a boot or a kill.
Measurement StartToRoute() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(8);
    const unsigned index = ::if_nametoindex(uplink.ifname.c_str());
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    vexotest::MustCtl("gateway add wan8 --quiet --class ethernet --gateway " + uplink.gateway);
    const auto time = [&](const std::function<void()>& start) {
        appliance.StopDaemon(SIGKILL);
        VEXONetDefaultGatewaySet(nullptr);
        KernelWatch watch;
        return 1e6 * Seconds([&] {
                   start();
                   watch.WaitForRouteBy(index);
               });
    };
    std::vector<double> ours;
    std::vector<double> raw;
    for (int i = 0; i < kStarts; ++i) {
        ours.push_back(time([&] { appliance.StartDaemon(); }));
        raw.push_back(time([&] {
            appliance.StartDaemon({EmptyProgram()});
            VLIBCExecl(VLIB_EXEC_QUIET, "/sbin/ip", "route", "add", "default", "via",
                       uplink.gateway.c_str(), "dev", "wan8", nullptr);
        }));
    }
    vexotest::Must("ip link del wan8");
    vexotest::Must("ip netns del " + uplink.provider);
    return {Median(ours), Median(raw), "us"};
}

}  // namespace

std::vector<Figure> DaemonFigures() {
    const std::string raw = "an empty program with the same libraries on the same bus";
    return {{"idle daemon, memory (PSS)", raw, 1.5, Memory},
            {"start to owned bus name", raw, 1.5, Start},
            {"kill to default route", raw + ", and the same /sbin/ip run", 1.5, StartToRoute}};
}

}  // namespace vexobench
