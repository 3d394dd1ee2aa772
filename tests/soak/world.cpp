#include "world.h"

#include <array>

namespace vexosoak {
namespace {

using vexotest::Process;

Port MakeUplinkPort(std::size_t number) {
    static constexpr std::array kNetworks = {"192.0.2.", "198.51.100.", "203.0.113.", "192.0.2."};
    const bool overlaps = number == 3;
    const std::string network = kNetworks[number];
    const std::string networkV6 =
        number % 3 == 0 ? std::string("2001:db8::") : "2001:db8:" + std::to_string(number) + "::";
    const std::string host = overlaps ? "11" : "10";
    const std::string ifname = "wan" + std::to_string(number);
    return {ifname,        "isp-" + ifname,          network + host + "/24",
            network + "1", networkV6 + host + "/64", networkV6 + "1"};
}

}  // namespace

World::World() {
    for (std::size_t number = 0; number < kUplinks; ++number) {
        uplinks.push_back(MakeUplinkPort(number));
    }
    lan = {"lan0", "office", "10.9.0.1/24", "10.9.0.2", "2001:db8:9f::1/64", "2001:db8:9f::2"};
    // What fills the event socket, and keeps the numbers of both ends apart for some ports.
    vexotest::Must("ip link add spacer0 type veth peer name spacer1");
    for (const Port& port : uplinks) {
        vexotest::Must("ip netns add " + port.netns);
    }
    vexotest::Must("ip netns add " + lan.netns);
    for (const Port* port : {&uplinks[0], &uplinks[1], &uplinks[2], &uplinks[3], &lan}) {
        for (const Lines& lines : Make(*port, false)) {
            Play(lines);
        }
    }
    appliance.StartDaemon();
    for (const Port& port : uplinks) {
        vexotest::MustCtl("gateway add -q " + port.ifname + " --class ethernet --gateway "
                          + port.gateway + " --dns " + port.gateway + "53");
        vexotest::MustCtl("gateway add -q -6 " + port.ifname + " --class ethernet --gateway "
                          + port.gatewayV6 + " --dns " + port.gatewayV6 + "53");
    }
}

void World::Play(const Lines& lines) {
    Command(lines).Wait(std::chrono::minutes(1));
}

void World::Begin(const Lines& lines) {
    background = Command(lines);
}

void World::EndWhatBegan() {
    background.Wait(std::chrono::minutes(1));
}

Process World::Command(const Lines& lines) {
    const std::string batch = folder / ("batch" + std::to_string(++batches % 2));
    std::string text;
    for (const std::string& line : lines.lines) {
        text += line + '\n';
    }
    vexotest::WriteFile(batch, text);
    vexotest::Arguments command{"ip"};
    if (!lines.netns.empty()) {
        command.insert(command.end(), {"-n", lines.netns});
    }
    command.insert(command.end(), {"-force", "-batch", batch});
    return Process(command, "/dev/null");
}

std::vector<Lines> World::Make(const Port& port, bool withDetection) {
    const std::string& name = port.ifname;
    const std::string dad = withDetection ? "" : " nodad";
    return {{"", {"link add " + name + " type veth peer name far netns " + port.netns}},
            {port.netns,
             {"link set lo up", "addr replace " + port.gateway + "/24 dev far", "link set far up",
              "addr replace " + port.gatewayV6 + "/64 dev far nodad"}},
            {"",
             {"addr replace " + port.address + " dev " + name, "link set " + name + " up",
              "addr replace " + port.addressV6 + " dev " + name + dad}}};
}

}  // namespace vexosoak
