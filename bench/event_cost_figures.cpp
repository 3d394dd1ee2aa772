// What following the kernel's events costs.

#include <fstream>

#include "ratio.h"
#include "support/appliance.h"
#include "support/event_queue.h"
#include "usage.h"

namespace vexobench {
namespace {

constexpr char kIfname[] = "burst0";

/// A batch of "ip" that adds addresses and takes them away again, a thousand at a time: how long
/// the kernel takes for one grows with how many there are.
std::string WriteBurst(int addresses) {
    constexpr int kFlock = 1'000;
    const std::string path = Scratch() + "/burst.batch";
    std::ofstream lines(path);
    for (int flock = 0; flock < addresses / kFlock; ++flock) {
        for (const char* change : {"add", "del"}) {
            for (int i = 0; i < kFlock; ++i) {
                lines << "addr " << change << " 10." << 100 + flock << "." << i / 250 << "."
                      << i % 250 << "/32 dev " << kIfname << "\n";
            }
        }
    }
    return path;
}

bool Settle(pid_t pid) {
    return vexotest::Eventually([pid] { return vexotest::IsQuiet(pid); });
}

/// What events cost their reader.
struct Cost {
    double milliseconds;
    long dropped;  ///< events that the kernel could not tell it
};

Cost CostOf(pid_t reader, const std::string& batch) {
    Settle(reader);
    const double before = CpuTime(reader);
    vexotest::Must({"ip", "-batch", batch});
    Settle(reader);
    return {CpuTime(reader) - before, vexotest::EventQueueOf(reader).dropped};
}

Cost CostOfDaemon(const std::string& batch) {
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    return CostOf(appliance.Daemon().Pid(), batch);
}

Cost CostOfMonitor(const std::string& batch) {
    const vexotest::TempFolder folder;
    const std::string log = folder / "monitor.log";
    const vexotest::Process monitor({"ip", "monitor", "address"}, log);
    // Its first line says that it listens.
    vexotest::Eventually([&] {
        vexotest::Must("ip addr replace 192.0.2.99/32 dev lo");
        return !vexotest::ReadFile(log).empty();
    });
    return CostOf(monitor.Pid(), batch);
}

/// In turns, each alone: two readers on one machine take each other's processors.
Measurement Burst(int addresses, int rounds) {
    vexotest::Must(std::string("ip link add ") + kIfname + " up type veth");
    const std::string batch = WriteBurst(addresses);
    std::vector<double> ours;
    std::vector<double> raw;
    long dropped = 0;
    long droppedRaw = 0;
    for (int round = 0; round < rounds; ++round) {
        const Cost daemon = CostOfDaemon(batch);
        const Cost monitor = CostOfMonitor(batch);
        ours.push_back(daemon.milliseconds);
        raw.push_back(monitor.milliseconds);
        dropped += daemon.dropped;
        droppedRaw += monitor.dropped;
    }
    vexotest::Must(std::string("ip link del ") + kIfname);
    return {Median(ours), Median(raw), "ms",
            "events dropped in " + std::to_string(rounds) + " rounds: " + std::to_string(dropped)
                + " and " + std::to_string(droppedRaw)};
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
    vexotest::Must({"ip", "-batch", path});
    Settle(daemon);
    return {Pss(daemon), before + kRoom, "KiB"};
}

}  // namespace

std::vector<Figure> EventCostFigures() {
    const std::string monitor = "ip monitor address of the same events";
    return {{"events of 2,000 addresses, CPU", monitor, 1.0, [] { return Burst(2'000, 9); }},
            {"events of 20,000 addresses, CPU", monitor, 1.0, [] { return Burst(20'000, 5); }},
            {"200 interfaces more, memory (PSS)", "the daemon without them, and 1 MiB", 1.0,
             Interfaces}};
}

}  // namespace vexobench
