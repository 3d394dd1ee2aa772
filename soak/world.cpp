#include "world.h"

namespace vexosoak {
namespace {

using vexotest::Must;
using vexotest::Process;

std::vector<Port> AllPorts() {
    const auto port = [](const std::string& name, const std::string& network,
                         const std::string& networkV6, const std::string& host) {
        return Port{name,
                    "isp-" + name,
                    network + host + "/24",
                    network + "1",
                    networkV6 + host + "/64",
                    networkV6 + "1"};
    };
    return {port("wan0", "192.0.2.", "2001:db8::", "10"),
            port("wan1", "198.51.100.", "2001:db8:1::", "10"),
            port("wan2", "203.0.113.", "2001:db8:2::", "10"),
            port("wan3", "192.0.2.", "2001:db8::", "11"),
            port("lan0", "10.9.0.", "2001:db8:9f::", "10")};
}

}  // namespace

World::World() : ports(AllPorts()) {
    // What fills the event socket. The numbers of both ends of some ports differ by it, so that
    // the kernel tells of their carriers at once.
    Must("ip link add spacer0 type veth peer name spacer1");
    // Most uplinks are not among the first 32, which the sweep at start looks at.
    Lines many;
    for (int i = 0; i < 14; ++i) {
        many.lines.push_back("link add type veth");
    }
    Play(many);
    for (const Port& port : ports) {
        Must("ip netns add " + port.netns);
        for (const Lines& lines : Make(port, false)) {
            Play(lines);
        }
    }
    appliance.StartDaemon();
    for (std::size_t i = 0; i < kUplinks; ++i) {
        const Port& port = ports[i];
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
    const std::string netns = lines.netns.empty() ? "" : " -n " + lines.netns;
    return Process(vexotest::Words("ip" + netns + " -force -batch " + batch), "/dev/null");
}

std::vector<Lines> World::Make(const Port& port, bool detectsDuplicates) {
    const std::string& name = port.ifname;
    const std::string dad = detectsDuplicates ? "" : " nodad";
    return {{"", {"link add " + name + " type veth peer name far netns " + port.netns}},
            {port.netns,
             {"link set lo up", "addr replace " + port.gateway + "/24 dev far", "link set far up",
              "addr replace " + port.gatewayV6 + "/64 dev far nodad"}},
            {"",
             {"addr replace " + port.address + " dev " + name, "link set " + name + " up",
              "addr replace " + port.addressV6 + " dev " + name + dad}}};
}

}  // namespace vexosoak
