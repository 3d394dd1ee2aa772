#include <fstream>

#include <vexonetwork/utils/get_default_route.h>

#include "ratio.h"
#include "support/appliance.h"

namespace vexobench {
namespace {

constexpr int kRoutes = 10'000;

void InstallRoutes(const vexotest::Uplink& uplink) {
    const std::string batch = Scratch() + "/routes.batch";
    std::ofstream lines(batch);
    for (int i = 0; i < kRoutes; ++i) {
        lines << "route add 10." << i / 250 % 250 << "." << i % 250 << ".0/24 via "
              << uplink.gateway << "\n";
    }
    lines << "route add default via " << uplink.gateway << "\n";
    lines.close();
    vexotest::Must({"ip", "-batch", batch});
}

Measurement DefaultRoute() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(0);
    InstallRoutes(uplink);
    const Measurement result = Alternate(
        50, [] { vexonetwork::utils::GetDefaultRoute<AF_INET>(); },
        [] {
            std::ifstream file("/proc/net/route");
            for (char line[1024]; file.getline(line, sizeof line);) {
            }
        });
    // The routes go with their interface: the other figures are measured in a small table.
    vexotest::Must("ip link del " + uplink.ifname);
    vexotest::Must("ip netns del " + uplink.provider);
    return result;
}

}  // namespace

std::vector<Figure> RouteFigures() {
    return {{"GetDefaultRoute, 10,000 routes", "reading /proc/net/route line by line", 1.5,
             DefaultRoute}};
}

}  // namespace vexobench
