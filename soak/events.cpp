#include "events.h"

#include <csignal>
#include <ctime>

#include "support/advertiser.h"

namespace vexosoak {
namespace {

constexpr char kElect[] = R"({"type": "ALL"})";

/// What the kernel is told about a port: %n is its name, %a its address, %b another one of the
/// same network, %c that of IPv6.
struct Change {
    unsigned share;  ///< in a hundred
    bool isFar;      ///< at the far end
    unsigned turns;  ///< as often at most
    std::vector<std::string> lines;
};

const std::vector<Change>& Changes() {
    static const std::vector<Change> kChanges = {
        {9, true, 1, {"link set far down"}},
        {9, true, 1, {"link set far up"}},
        {7, false, 1, {"link set %n down"}},
        {9, false, 1, {"link set %n up"}},
        {10, true, 5, {"link set far down", "link set far up"}},
        {8, false, 5, {"link set %n down", "link set %n up"}},
        {4, false, 1, {"addr del %a dev %n"}},
        {4, false, 1, {"addr replace %a dev %n"}},
        {5, false, 1, {"addr del %a dev %n", "addr add %a dev %n"}},
        {4, false, 1, {"addr add %b dev %n", "addr del %a dev %n"}},
        {4, false, 1, {"addr replace %a dev %n", "addr del %b dev %n"}},
        {4, false, 1, {"addr del %c dev %n"}},
        {3, false, 1, {"addr del %c dev %n", "addr add %c dev %n nodad"}},
        {4, false, 1, {"addr replace %c dev %n nodad"}},
        {4, false, 1, {"addr replace %c dev %n"}}};
    return kChanges;
}

std::string Filled(std::string line, const std::string& name, const Port& port) {
    std::string other = port.address;
    other.insert(other.find('/'), "0");
    for (const auto& [mark, text] : {std::pair<std::string, std::string>{"%n", name},
                                     {"%a", port.address},
                                     {"%b", other},
                                     {"%c", port.addressV6}}) {
        if (const auto place = line.find(mark); place != line.npos) {
            line.replace(place, mark.size(), text);
        }
    }
    return line;
}

}  // namespace

std::string Generator::NameOf(std::size_t port) const {
    return renamed[port] ? "off" + std::to_string(port) : world.ports[port].ifname;
}

void Generator::Add(std::string text, std::function<void()> play) {
    events.push_back({std::move(text), std::move(play)});
}

void Generator::AddLines(const std::string& netns, std::vector<std::string> lines) {
    std::string text = "ip" + (netns.empty() ? "" : " -n " + netns);
    for (const std::string& line : lines) {
        text += " " + line + ";";
    }
    Add(text, [this, batch = Lines{netns, std::move(lines)}] { world.Play(batch); });
}

void Generator::AddCall(const std::string& method, const std::string& argument) {
    Add(method + " " + argument,
        [this, method, argument] { world.appliance.Call(method, argument); });
}

void Generator::AddCtl(const std::string& arguments) {
    Add("vexonetctl " + arguments, [arguments] { vexotest::Ctl(arguments); });
}

/// Events are to fall into every step of what the daemon does, and into the second that the kernel
/// may take to tell of a carrier.
void Generator::AddPause() {
    static constexpr std::uint32_t kLongest[] = {1, 1, 5, 30, 150, 1'200};
    const long pause = Below(kLongest[Below(std::size(kLongest))]);
    if (pause != 0) {
        Add("pause " + std::to_string(pause) + " ms", [pause] {
            const timespec time{pause / 1'000, pause % 1'000 * 1'000'000};
            ::nanosleep(&time, nullptr);
        });
    }
}

/// More than the event socket holds where nobody reads it.
void Generator::AddFlood(bool alongside) {
    Lines flood;
    const std::uint32_t count = 3'000 + Below(3'000);
    for (std::uint32_t i = 0; i < count; ++i) {
        flood.lines.push_back((i % 2 == 0 ? "addr add 10.99.0." : "addr del 10.99.0.")
                              + std::to_string(i / 2 % 250) + "/32 dev spacer0");
    }
    const std::string text = std::to_string(count) + " foreign addresses";
    if (alongside) {
        Add(text + " alongside", [this, flood] { world.Begin(flood); });
    } else {
        Add(text, [this, flood] { world.Play(flood); });
    }
}

void Generator::DrawKernel() {
    const std::size_t port = Chance(90) ? Below(World::kUplinks) : World::kUplinks;
    unsigned drawn = Below(100);
    for (const Change& change : Changes()) {
        if (drawn >= change.share) {
            drawn -= change.share;
            continue;
        }
        std::vector<std::string> lines;
        for (const std::string& line : change.lines) {
            lines.push_back(Filled(line, NameOf(port), world.ports[port]));
        }
        for (auto left = 1 + Below(change.turns); left > 0; --left) {
            AddLines(change.isFar ? world.ports[port].netns : "", lines);
        }
        return;
    }
    Chance(60) ? DrawMadeAnew(port) : DrawRename(port);
}

void Generator::DrawMadeAnew(std::size_t port) {
    AddLines("", {"link del " + NameOf(port)});
    AddPause();
    renamed[port] = false;
    for (const Lines& lines : World::Make(world.ports[port], Chance(30))) {
        AddLines(lines.netns, lines.lines);
    }
}

void Generator::DrawRename(std::size_t port) {
    const std::string former = NameOf(port);
    renamed[port] = !renamed[port];
    AddLines("", {"link set " + former + " name " + NameOf(port)});
}

void Generator::DrawListRequest() {
    const bool v4 = Chance(50);
    const Port& port = world.ports[Below(World::kUplinks)];
    const std::string start = std::string(R"({"type": "GTYPE_)") + (v4 ? "V4" : "V6") + R"(", )";
    const std::string ifname = R"("ifname": ")" + port.ifname + R"(", )";
    const std::string& gateway = v4 ? port.gateway : port.gatewayV6;
    const std::uint32_t kind = Below(6);
    needsElection = needsElection || kind == 1 || kind == 2;
    if (kind == 0) {
        AddCall("DelGatewayData", start + ifname + R"("x": 0})");
    } else if (kind == 1) {
        AddCall("SetSlaveData",
                start + ifname + R"("slave": )" + (Chance(30) ? "true}" : "false}"));
    } else if (kind == 2) {
        AddCall("CopyGatewayData", start + R"("interface_source": ")" + port.ifname
                                       + R"(", "interface_destination": ")"
                                       + world.ports[Below(World::kUplinks)].ifname
                                       + R"(", "interface_source_delete": false})");
    } else {
        AddCall("AddGatewayData", start + ifname + R"("class": "ethernet", "gateway": ")" + gateway
                                      + R"(", "dns": ")" + gateway + R"(53", "priority": )"
                                      + std::to_string(int(Below(6)) - 2) + "}");
    }
}

/// Routes of others: nobody elects for their sake.
void Generator::DrawStranger() {
    static const std::string kRoutes[] = {
        "route del default", "-6 route del default",
        "route add default via 10.9.0.1 dev lan0 metric 10",
        "-6 route add default via 2001:db8:9f::1 dev lan0 metric 10"};
    needsElection = true;
    AddLines("", {kRoutes[Below(std::size(kRoutes))]});
}

void Generator::DrawAdvertisement() {
    static constexpr unsigned char kFlags[] = {0, 0, 0x40, 0x80};
    const std::string netns = world.ports[Below(World::kUplinks)].netns;
    const unsigned char flags = kFlags[Below(std::size(kFlags))];
    Add("advertisement in " + netns + ", flags " + std::to_string(flags), [netns, flags] {
        // Nobody can send where the port is down or has gone.
        const std::string far = vexotest::Run({"ip", "-n", netns, "link", "show", "far"}).out;
        if (far.find("state UP") != far.npos) {
            vexotest::Advertiser(netns, "far").Send({.flags = flags});
        }
    });
}

void Generator::DrawRequest() {
    const std::string ifname = world.ports[Below(World::kUplinks)].ifname;
    const std::string network = "10.50." + std::to_string(Below(8)) + ".0/24";
    switch (Below(11)) {
        case 0:
            return AddCall("RefreshGateway", kElect);
        case 1:
            return AddCall("ResetIPv6Module", ifname);
        case 2:
        case 3:
            return AddCtl("policy enable " + ifname);
        case 4:
            return AddCtl("policy disable " + ifname);
        case 5:
            return AddCtl("route add -q " + network + " --gateway 10.9.0.1 --interface lan0");
        case 6:
            return AddCtl("route del -q " + network);
        case 7:
            return DrawAdvertisement();
        case 8:
            return DrawStranger();
        default:
            return DrawListRequest();
    }
}

/// What happens meanwhile comes to the daemon at once, or is lost.
void Generator::DrawStopped() {
    Add("stop the daemon's process", [this] { world.appliance.Daemon().Signal(SIGSTOP); });
    if (Chance(70)) {
        AddFlood(false);
    }
    for (auto left = 1 + Below(3); left > 0; --left) {
        DrawKernel();
    }
    if (Chance(30)) {
        AddFlood(false);
    }
    Add("let it go on", [this] { world.appliance.Daemon().Signal(SIGCONT); });
}

void Generator::DrawRestart() {
    const int signal = Chance(50) ? SIGKILL : SIGTERM;
    Add("end the daemon by signal " + std::to_string(signal),
        [this, signal] { world.appliance.StopDaemon(signal); });
    for (auto left = Below(4); left > 0; --left) {
        DrawKernel();
    }
    Add("start the daemon", [this] { world.appliance.StartDaemon(); });
}

/// Brings a port to what it had at start, so that there are some to choose from.
void Generator::Heal() {
    const std::size_t port = Below(World::kPorts);
    if (renamed[port]) {
        DrawRename(port);
    }
    for (const Lines& lines : World::Make(world.ports[port], false)) {
        AddLines(lines.netns, lines.lines);
    }
    if (port < World::kUplinks) {
        const std::string add = "gateway add -q --class ethernet " + world.ports[port].ifname;
        AddCtl(add + " --gateway " + world.ports[port].gateway);
        AddCtl(add + " -6 --gateway " + world.ports[port].gatewayV6);
    }
}

std::vector<Event> Generator::Draw() {
    events.clear();
    needsElection = false;
    if (Chance(40)) {
        Heal();
    }
    const bool alongside = Chance(10);
    if (alongside) {
        AddFlood(true);
    }
    const std::uint32_t kind = Below(100);
    for (auto left = 1 + Below(6); left > 0; --left) {
        kind >= 60 && Chance(50) ? DrawRequest() : DrawKernel();
        AddPause();
    }
    if (kind >= 30 && kind < 60) {
        DrawStopped();
    } else if (kind >= 95) {
        DrawRestart();
    }
    if (alongside) {
        Add("wait for the foreign addresses", [this] { world.EndWhatBegan(); });
    }
    if (needsElection) {
        AddCall("RefreshGateway", kElect);
    }
    return std::move(events);
}

}  // namespace vexosoak
