// Static routes by the thousand, and policy routing that follows addresses.

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <vexonetwork/network/static_routes.h>

#include "ratio.h"
#include "support/appliance.h"
#include "support/event_queue.h"
#include "usage.h"

namespace vexobench {
namespace {

using vexonetwork::network::StaticRoutes;

constexpr int kRoutes = 5'000;
constexpr int kAddresses = 1'000;

std::string Destination(int route) {
    return "10." + std::to_string(100 + route / 250) + "." + std::to_string(route % 250) + ".0/24";
}

/// The same routes as our file and as a batch of "ip"; gives the path of the latter.
std::string WriteRoutes(const vexotest::Uplink& uplink) {
    std::string sections;
    std::string batch;
    for (int i = 0; i < kRoutes; ++i) {
        sections.append("[").append(std::to_string(i)).append("]\n\tdestination=");
        sections.append(Destination(i)).append("\n\tgateway=").append(uplink.gateway);
        sections.append("\n\tifname=").append(uplink.ifname).append("\n");
        batch.append("route add ").append(Destination(i)).append(" via ").append(uplink.gateway);
        batch.append(" dev ").append(uplink.ifname).append(" proto 86\n");
    }
    vexotest::WriteFile("/etc/iproute2/config/static-table", sections);
    vexotest::WriteFile(Scratch() + "/static.batch", batch);
    return Scratch() + "/static.batch";
}

void Clean(const vexotest::Uplink& uplink) {
    vexotest::Must("rm -f /etc/iproute2/config/static-table");
    StaticRoutes().Apply();
    vexotest::Must("ip link del " + uplink.ifname);
    vexotest::Must("ip netns del " + uplink.provider);
}

Measurement Installing() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(0);
    const std::string batch = WriteRoutes(uplink);
    const Measurement result = Alternate(
        9, [] { StaticRoutes().Apply(); },
        [&] {
            vexotest::Must({"ip", "-batch", batch});
        },
        [] { vexotest::Must("ip route flush proto 86"); });
    Clean(uplink);
    return result;
}

Measurement Listing() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(0);
    WriteRoutes(uplink);
    StaticRoutes().Apply();
    const Measurement result = Alternate(
        9,
        [] {
            vexotest::Must({vexotest::CtlProgram(), "route", "list"});
        },
        [] { vexotest::Must("ip route show table main"); });
    Clean(uplink);
    return result;
}

std::string WriteAddresses(const char* change) {
    const std::string path = Scratch() + "/addresses." + change;
    std::ofstream lines(path);
    for (int i = 0; i < kAddresses; ++i) {
        lines << "addr " << change << " 10.99." << i / 250 << "." << i % 250 << "/32 dev wan0\n";
    }
    return path;
}

/// How many such addresses have rules in the kernel: those that fill a prefix share one.
std::size_t AddressesRuled() {
    std::istringstream words(vexotest::Must("ip rule show priority 31110"));
    std::size_t addresses = 0;
    for (std::string word; words >> word;) {
        if (word.starts_with("10.99.")) {
            const auto slash = word.find('/');
            const int length = slash == word.npos ? 32 : std::stoi(word.substr(slash + 1));
            addresses += std::size_t{1} << (32 - length);
        }
    }
    return addresses;
}

/// CPU that a reader spends on 1,000 addresses that come.
double CostOf(pid_t reader, std::size_t ruled) {
    const auto isQuiet = [reader] { return vexotest::IsQuiet(reader); };
    vexotest::Eventually(isQuiet);
    const double before = CpuTime(reader);
    vexotest::Must({"ip", "-batch", WriteAddresses("add")});
    if (!vexotest::Eventually([ruled] { return AddressesRuled() == ruled; })) {
        throw std::runtime_error("the rules do not follow the addresses");
    }
    vexotest::Eventually(isQuiet);
    const double cost = CpuTime(reader) - before;
    vexotest::Must({"ip", "-batch", WriteAddresses("del")});
    vexotest::Eventually([] { return AddressesRuled() == 0; });
    return cost;
}

double CostOfDaemon() {
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    return CostOf(appliance.Daemon().Pid(), kAddresses);
}

double CostOfMonitor() {
    const vexotest::TempFolder folder;
    const std::string log = folder / "monitor.log";
    const vexotest::Process monitor({"ip", "monitor", "address"}, log);
    // Its first line says that it listens.
    vexotest::Eventually([&] {
        vexotest::Must("ip addr replace 192.0.2.99/32 dev lo");
        return !vexotest::ReadFile(log).empty();
    });
    return CostOf(monitor.Pid(), 0);
}

Measurement Following() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(0);
    std::vector<double> ours;
    std::vector<double> raw;
    for (int round = 0; round < 7; ++round) {
        vexotest::MustCtl("policy enable -q wan0");
        ours.push_back(CostOfDaemon());
        vexotest::MustCtl("policy disable -q");
        raw.push_back(CostOfMonitor());
    }
    vexotest::Must("ip link del " + uplink.ifname);
    vexotest::Must("ip netns del " + uplink.provider);
    return {Median(ours), Median(raw), "ms"};
}

}  // namespace

std::vector<Figure> PolicyFigures() {
    return {{"5,000 static routes, installed", "ip -batch with the same routes", 1.2, Installing},
            {"5,000 static routes, listed", "ip route show of the same table", 3.0, Listing},
            {"policy of 1,000 addresses, CPU", "ip monitor address of the same events", 2.0,
             Following}};
}

}  // namespace vexobench
