#include "events.h"

#include <csignal>
#include <ctime>
#include <utility>

#include "support/advertiser.h"

namespace vexosoak {
namespace {

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "; ") + line;
    }
    return text;
}

const char* UpOrDown(bool up) {
    return up ? "up" : "down";
}

void Pause(long milliseconds) {
    const timespec pause{milliseconds / 1'000, milliseconds % 1'000 * 1'000'000};
    ::nanosleep(&pause, nullptr);
}

/// The second address of an uplink, in the network of the first one.
std::string Other(std::string address) {
    return address.insert(address.find('/'), "0");
}

}  // namespace

Generator::Generator(World& theWorld, std::uint32_t seed) : world(theWorld), random(seed) {}

std::string Generator::NameOf(std::size_t uplink) const {
    return renamed[uplink] ? "off" + std::to_string(uplink) : world.uplinks[uplink].ifname;
}

void Generator::Add(std::string text, std::function<void()> play) {
    events.push_back({std::move(text), std::move(play)});
}

void Generator::AddLines(const std::string& netns, std::vector<std::string> lines) {
    const std::string text = "ip " + (netns.empty() ? "" : "-n " + netns + " ") + Joined(lines);
    Add(text, [this, lines = Lines{netns, std::move(lines)}] { world.Play(lines); });
}

void Generator::AddCall(const std::string& method, const Json::Value& argument) {
    std::string text = argument.isString() ? argument.asString() : argument.toStyledString();
    std::erase(text, '\n');
    Add(method + " " + text, [this, method, text] { world.appliance.Call(method, text); });
}

void Generator::AddCtl(const std::string& arguments) {
    Add("vexonetctl " + arguments, [arguments] { vexotest::Ctl(arguments); });
}

/// Events fall into every step of what the daemon does, and into the second that the kernel may
/// take to tell of a carrier.
void Generator::AddPause() {
    static constexpr long kLongest[] = {0, 0, 5, 30, 150, 1'200};
    const long longest = kLongest[Below(std::size(kLongest))];
    const long pause = longest == 0 ? 0 : static_cast<long>(Below(std::uint32_t(longest)));
    if (pause != 0) {
        Add("pause " + std::to_string(pause) + " ms", [pause] { Pause(pause); });
    }
}

/// More than the event socket holds where nobody reads it.
void Generator::AddFlood(bool alongside) {
    std::vector<std::string> lines;
    const std::uint32_t count = 3'000 + Below(3'000);
    for (std::uint32_t i = 0; i < count; ++i) {
        lines.push_back((i % 2 == 0 ? "addr add 10.99.0." : "addr del 10.99.0.")
                        + std::to_string(i / 2 % 250) + "/32 dev spacer0");
    }
    const std::string text = std::to_string(count) + " foreign addresses";
    if (alongside) {
        Add(text + " alongside", [this, lines] { world.Begin({"", lines}); });
    } else {
        Add(text, [this, lines] { world.Play({"", lines}); });
    }
}

void Generator::DrawLink() {
    const std::size_t n = AnyUplink();
    const std::string state = UpOrDown(Chance(55));
    Chance(60) ? AddLines(world.uplinks[n].netns, {"link set far " + state})
               : AddLines("", {"link set " + NameOf(n) + " " + state});
}

void Generator::DrawFlap() {
    const std::size_t n = AnyUplink();
    const bool far = Chance(60);
    const std::string line = "link set " + (far ? "far" : NameOf(n)) + " ";
    const std::uint32_t turns = 1 + Below(5);
    for (std::uint32_t turn = 0; turn < turns; ++turn) {
        AddLines(far ? world.uplinks[n].netns : "", {line + "down", line + "up"});
        if (Chance(30)) {
            AddPause();
        }
    }
}

void Generator::DrawAddress() {
    const std::size_t n = AnyUplink();
    const std::string of = " dev " + NameOf(n);
    const std::string& first = world.uplinks[n].address;
    const std::string second = Other(first);
    switch (Below(5)) {
        case 0:
            return AddLines("", {"addr del " + first + of});
        case 1:
            return AddLines("", {"addr replace " + first + of});
        case 2:
            return AddLines("", {"addr del " + first + of, "addr add " + first + of});
        case 3:
            return AddLines("", {"addr add " + second + of, "addr del " + first + of});
        default:
            return AddLines("", {"addr replace " + first + of, "addr del " + second + of});
    }
}

void Generator::DrawAddressV6() {
    const std::size_t n = AnyUplink();
    const std::string of = " dev " + NameOf(n);
    const std::string& address = world.uplinks[n].addressV6;
    const std::string dad = Chance(70) ? " nodad" : "";
    switch (Below(4)) {
        case 0:
            return AddLines("", {"addr del " + address + of});
        case 1:
            return AddLines("", {"addr del " + address + of, "addr add " + address + of + dad});
        default:
            return AddLines("", {"addr replace " + address + of + dad});
    }
}

void Generator::DrawMadeAnew() {
    const std::size_t n = AnyUplink();
    AddLines("", {"link del " + NameOf(n)});
    AddPause();
    renamed[n] = false;
    for (const Lines& lines : World::Make(world.uplinks[n], Chance(30))) {
        AddLines(lines.netns, lines.lines);
    }
}

void Generator::DrawRename() {
    const std::size_t n = AnyUplink();
    const std::string former = NameOf(n);
    renamed[n] = !renamed[n];
    AddLines("", {"link set " + former + " name " + NameOf(n)});
}

void Generator::DrawStranger() {
    needsElection = true;
    switch (Below(4)) {
        case 0:
            return AddLines("", {"route del default"});
        case 1:
            return AddLines("", {"-6 route del default"});
        case 2:
            return AddLines("", {"route add default via 10.9.0.2 dev lan0 metric 10"});
        default:
            return AddLines("", {"-6 route add default via 2001:db8:9f::2 dev lan0 metric 10"});
    }
}

void Generator::DrawLan() {
    switch (Below(3)) {
        case 0:
            return AddLines("", {std::string("link set lan0 ") + UpOrDown(Chance(60))});
        case 1:
            return AddLines(world.lan.netns, {std::string("link set far ") + UpOrDown(Chance(60))});
        default:
            return AddLines("", {(Chance(30) ? "addr del " : "addr replace ") + world.lan.address
                                 + " dev lan0"});
    }
}

void Generator::DrawKernel() {
    static constexpr std::pair<int, void (Generator::*)()> kShares[] = {
        {30, &Generator::DrawLink},     {45, &Generator::DrawFlap},
        {65, &Generator::DrawAddress},  {80, &Generator::DrawAddressV6},
        {86, &Generator::DrawMadeAnew}, {92, &Generator::DrawRename},
        {95, &Generator::DrawLan},      {100, &Generator::AddPause}};
    const auto drawn = static_cast<int>(Below(100));
    for (const auto& [share, draw] : kShares) {
        if (drawn < share) {
            return (this->*draw)();
        }
    }
}

void Generator::DrawListRequest() {
    const bool v4 = Chance(50);
    const Port& port = world.uplinks[AnyUplink()];
    Json::Value request;
    request["type"] = v4 ? "GTYPE_V4" : "GTYPE_V6";
    request["ifname"] = port.ifname;
    switch (Below(6)) {
        case 0:
            return AddCall("DelGatewayData", request);
        case 1:
            needsElection = true;
            request["slave"] = Chance(30);
            return AddCall("SetSlaveData", request);
        case 2:
            needsElection = true;
            request["interface_source"] = port.ifname;
            request["interface_destination"] = world.uplinks[AnyUplink()].ifname;
            request["interface_source_delete"] = Chance(50);
            return AddCall("CopyGatewayData", request);
        default:
            request["priority"] = static_cast<int>(Below(6)) - 2;
            request["gateway"] = v4 ? port.gateway : port.gatewayV6;
            request["dns"] = (v4 ? port.gateway : port.gatewayV6) + "53";
            request["class"] = "ethernet";
            return AddCall("AddGatewayData", request);
    }
}

void Generator::DrawPolicy() {
    const std::string ifname = world.uplinks[AnyUplink()].ifname;
    AddCtl((Chance(65) ? "policy enable " : "policy disable ") + ifname);
}

void Generator::DrawStaticRoute() {
    const std::string network = "10.50." + std::to_string(Below(8)) + ".0/24";
    AddCtl(Chance(40) ? "route del -q " + network
                      : "route add -q " + network + " --gateway " + world.lan.gateway
                            + " --interface lan0");
}

void Generator::DrawAdvertisement() {
    static constexpr unsigned char kFlags[] = {0, 0, 0x40, 0x80};
    const std::string netns = world.uplinks[AnyUplink()].netns;
    const unsigned char flags = kFlags[Below(std::size(kFlags))];
    Add("advertisement in " + netns + ", flags " + std::to_string(flags), [netns, flags] {
        // Nobody can send where the port is down or has gone.
        if (vexotest::Run({"ip", "-n", netns, "link", "show", "far", "up"}).out.find("state UP")
            != std::string::npos) {
            vexotest::Advertiser(netns, "far").Send({.flags = flags});
        }
    });
}

void Generator::DrawRequest() {
    switch (Below(10)) {
        case 0:
            return AddCall("RefreshGateway", vexotest::Parsed(R"({"type": "ALL"})"));
        case 1:
            return AddCall("ResetIPv6Module", world.uplinks[AnyUplink()].ifname);
        case 2:
        case 3:
            return DrawPolicy();
        case 4:
            return DrawStaticRoute();
        case 5:
            return DrawAdvertisement();
        case 6:
            return DrawStranger();
        default:
            return DrawListRequest();
    }
}

void Generator::DrawRestart() {
    const bool killed = Chance(50);
    Add(killed ? "kill the daemon" : "end the daemon",
        [this, killed] { world.appliance.StopDaemon(killed ? SIGKILL : SIGTERM); });
    for (auto left = Below(4); left > 0; --left) {
        DrawKernel();
    }
    Add("start the daemon", [this] { world.appliance.StartDaemon(); });
}

/// What happens meanwhile comes to the daemon at once, or not at all.
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

/// Brings an uplink to what it had at start, so that there are some to choose from.
void Generator::Heal() {
    const std::size_t n = AnyUplink();
    if (renamed[n]) {
        const std::string former = NameOf(n);
        renamed[n] = false;
        AddLines("", {"link set " + former + " name " + NameOf(n)});
    }
    for (const Lines& lines : World::Make(world.uplinks[n], false)) {
        AddLines(lines.netns, lines.lines);
    }
    const Port& port = world.uplinks[n];
    for (const bool v4 : {true, false}) {
        Json::Value request;
        request["type"] = v4 ? "GTYPE_V4" : "GTYPE_V6";
        request["ifname"] = port.ifname;
        request["priority"] = static_cast<int>(Below(4));
        request["gateway"] = v4 ? port.gateway : port.gatewayV6;
        request["class"] = "ethernet";
        AddCall("AddGatewayData", request);
    }
}

std::vector<Event> Generator::Draw() {
    events.clear();
    needsElection = false;
    if (Chance(35)) {
        Heal();
    }
    const bool alongside = Chance(10);
    if (alongside) {
        AddFlood(true);
    }
    const std::uint32_t kind = Below(100);
    for (auto left = 1 + Below(7); left > 0; --left) {
        kind >= 60 && Chance(50) ? DrawRequest() : DrawKernel();
        AddPause();
    }
    if (kind >= 30 && kind < 60) {
        DrawStopped();
    } else if (kind >= 96) {
        DrawRestart();
    }
    if (alongside) {
        Add("wait for the foreign addresses", [this] { world.EndWhatBegan(); });
    }
    if (needsElection) {
        AddCall("RefreshGateway", vexotest::Parsed(R"({"type": "ALL"})"));
    }
    return std::move(events);
}

}  // namespace vexosoak
