// What following the kernel's events costs.

#include <cstdio>
#include <fstream>

#include "ratio.h"
#include "support/appliance.h"
#include "support/event_queue.h"
#include "usage.h"

namespace vexobench {
namespace {

constexpr char kIfname[] = "burst0";

/// A batch of "ip" that adds addresses and takes them away again.
std::string WriteBurst(int addresses) {
    const std::string path = Scratch() + "/burst.batch";
    std::ofstream lines(path);
    for (const char* change : {"add", "del"}) {
        for (int i = 0; i < addresses; ++i) {
            lines << "addr " << change << " 10.99." << i / 250 << "." << i % 250 + 1 << "/32 dev "
                  << kIfname << "\n";
        }
    }
    return path;
}

bool Settle(pid_t pid) {
    return vexotest::Eventually([pid] { return vexotest::IsQuiet(pid); });
}

/// Both follow the very same events.
Measurement Burst(int addresses) {
    const vexotest::TempFolder folder;
    vexotest::Must(std::string("ip link add ") + kIfname + " up type veth");
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    const vexotest::Process monitor({"ip", "monitor", "address"}, folder / "monitor.log");
    const std::string batch = WriteBurst(addresses);
    // Its first line says that it listens.
    vexotest::Eventually([&] {
        vexotest::Must("ip addr replace 192.0.2.99/32 dev lo");
        return !vexotest::ReadFile(folder / "monitor.log").empty();
    });
    const pid_t daemon = appliance.Daemon().Pid();
    Settle(daemon);
    Settle(monitor.Pid());
    const double before = CpuTime(daemon);
    const double monitorBefore = CpuTime(monitor.Pid());
    vexotest::Must("ip -batch " + batch);
    Settle(daemon);
    Settle(monitor.Pid());
    const Measurement result{
        CpuTime(daemon) - before, CpuTime(monitor.Pid()) - monitorBefore, "ms",
        "dropped by the kernel: " + std::to_string(vexotest::EventQueueOf(daemon).dropped) + " and "
            + std::to_string(vexotest::EventQueueOf(monitor.Pid()).dropped) + " events"};
    vexotest::Must(std::string("ip link del ") + kIfname);
    return result;
}

Measurement Interfaces() {
    constexpr int kPairs = 100;
    constexpr double kRoom = 1024;
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    const pid_t daemon = appliance.Daemon().Pid();
    Settle(daemon);
    const double before = Pss(daemon);
    const std::string path = Scratch() + "/interfaces.batch";
    std::ofstream lines(path);
    for (int i = 0; i < kPairs; ++i) {
        const std::string n = std::to_string(i);
        lines << "link add many" << i << " up type veth peer name more" << i << "\n"
              << "link set more" << i << " up\naddr add 10.98." << i << ".1/24 dev many" << i
              << "\naddr add 10.97." << i << ".1/24 dev more" << i << "\n";
    }
    lines.close();
    vexotest::Must("ip -batch " + path);
    Settle(daemon);
    return {Pss(daemon), before + kRoom, "KiB"};
}

}  // namespace

std::vector<Figure> EventCostFigures() {
    const std::string monitor = "ip monitor address of the same events";
    return {{"events of 2,000 addresses, CPU", monitor, 1.0, [] { return Burst(2'000); }},
            {"events of 20,000 addresses, CPU", monitor, 1.0, [] { return Burst(20'000); }},
            {"200 interfaces more, memory (PSS)", "the daemon without them, and 1 MiB", 1.0,
             Interfaces}};
}

}  // namespace vexobench
