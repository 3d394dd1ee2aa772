#include "support/appliance.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <iterator>

#include <vexonetsdk/dbus_client.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/utils/json_reader.h>

namespace vexotest {
namespace {

vexobase::UniqueFd ListenForNotifications(const std::string& path) {
    vexobase::UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, path.c_str(), sizeof name.sun_path - 1);
    EXPECT_EQ(::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    return fd;
}

std::string OperState(const std::string& ifname) {
    std::string state = ReadFile("/sys/class/net/" + ifname + "/operstate");
    std::erase(state, '\n');
    return state;
}

std::string Subnet(int number) {
    static constexpr std::array kDocumentation = {"192.0.2.", "198.51.100.", "203.0.113."};
    return number < 3 ? kDocumentation[size_t(number)] : "10." + std::to_string(number) + ".0.";
}

}  // namespace

std::string DaemonProgram() {
    return VEXO_BIN_DIR "/vexonetd";
}
std::string CtlProgram() {
    return VEXO_BIN_DIR "/vexonetctl";
}

Outcome Ctl(const std::string& arguments, const Environment& added) {
    Arguments command = Words(arguments);
    command.insert(command.begin(), CtlProgram());
    return Run(command, added);
}

Outcome CtlAs(const std::string& user, const std::string& arguments) {
    const std::string folder = "/opt/vexonetctl";
    const std::string libraries = VEXO_BIN_DIR "/../lib/";
    Must({"install", "-d", "-m", "755", folder});
    Must({"install", "-m", "755", "-t", folder, CtlProgram(), libraries + "libvexonetwork.so.0",
          libraries + "libvexoplatform.so.0"});
    Arguments command = {
        "runuser", "-u", user, "--", "env", "LD_LIBRARY_PATH=" + folder, folder + "/vexonetctl"};
    std::ranges::move(Words(arguments), std::back_inserter(command));
    return Run(command);
}

void MustCtl(const std::string& arguments) {
    const Outcome outcome = Ctl(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments << ": " << outcome.err;
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vexonetwork::utils::ParseJson(text, value)) << text;
    return value;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        const timespec pause{0, 2'000'000};
        ::nanosleep(&pause, nullptr);
    }
    return true;
}

Uplink MakeUplink(int number) {
    const std::string n = std::to_string(number);
    const Uplink uplink{"wan" + n, Subnet(number) + "10", Subnet(number) + "1", "isp-wan" + n};
    const std::string inside = "ip -n " + uplink.provider;
    Must("ip netns add " + uplink.provider);
    Must(inside + " link set lo up");
    Must("ip link add " + uplink.ifname + " type veth peer name far netns " + uplink.provider);
    WriteFile("/proc/sys/net/ipv6/conf/" + uplink.ifname + "/accept_dad", "0");
    Must(inside + " addr add " + uplink.gateway + "/24 dev far");
    Must(inside + " addr add 2001:db8:" + n + "::1/64 dev far nodad");
    Must("ip addr add " + uplink.address + "/24 dev " + uplink.ifname);
    Must("ip addr add 2001:db8:" + n + "::10/64 dev " + uplink.ifname + " nodad");
    Must("ip link set " + uplink.ifname + " up");
    SetLink(uplink, true);
    return uplink;
}

std::string RouteOf(const Uplink& uplink) {
    return "via " + uplink.gateway + " dev " + uplink.ifname + " src " + uplink.address;
}

void SetLink(const Uplink& uplink, bool up) {
    Must("ip -n " + uplink.provider + " link set far " + (up ? "up" : "down"));
    EXPECT_TRUE(Eventually([&] { return (OperState(uplink.ifname) == "up") == up; }))
        << uplink.ifname;
}

std::vector<std::string> DefaultRoutes(const std::string& family) {
    std::vector<std::string> texts;
    for (const Json::Value& route : Parsed(Must("ip " + family + " -j route show default"))) {
        std::string text;
        for (const auto& [key, word] :
             {std::pair{"gateway", "via "}, {"dev", "dev "}, {"prefsrc", "src "}}) {
            if (route.isMember(key)) {
                text += (text.empty() ? "" : " ") + (word + route[key].asString());
            }
        }
        texts.push_back(text);
    }
    return texts;
}

void ExpectDefaultRoutes(const std::string& family, const std::vector<std::string>& routes) {
    EXPECT_TRUE(Eventually([&] { return DefaultRoutes(family) == routes; }))
        << "not " << testing::PrintToString(routes) << " but "
        << testing::PrintToString(DefaultRoutes(family));
}

Appliance::Appliance() : notifications(ListenForNotifications(folder / "notify")) {
    // What is left is what a program finds that does nothing about the bus.
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::mkdir("/run/vexonet", 0755);
    bus = Process({"dbus-daemon", "--nofork", "--nopidfile", "--print-address",
                   "--config-file=" VEXO_SOURCE_DIR "/appliance/bus/vexonet-bus.conf"},
                  folder / "bus.address", folder / "bus.log", {});
    EXPECT_TRUE(Eventually([this] { return ReadFile(folder / "bus.address").ends_with('\n'); }))
        << ReadFile(folder / "bus.log");
}

Appliance::~Appliance() = default;

void Appliance::StartDaemon(const Arguments& program) {
    daemon = Process(program, folder / "daemon.log", {{"NOTIFY_SOCKET", NotifySocket()}});
    EXPECT_TRUE(IsTold("READY=1")) << Log();
}

bool Appliance::IsTold(const std::string& state) {
    constexpr int kDeadline = 60'000;
    pollfd told{notifications.Get(), POLLIN, 0};
    std::string text;
    while (text.find(state) == text.npos && ::poll(&told, 1, kDeadline) == 1) {
        text.resize(4096);
        ::recv(told.fd, text.data(), text.size(), 0);
    }
    return told.revents != 0;
}

int Appliance::StopDaemon(int signal) {
    daemon.Signal(signal);
    return daemon.Wait();
}

void Appliance::StopBus() {
    bus.Signal(SIGTERM);
    bus.Wait();
}

std::string Appliance::Log() const {
    return ReadFile(folder / "daemon.log");
}

int Appliance::Call(const std::string& method, const std::string& argument, std::string* reply) {
    vexonetsdk::dbus::DBusClient client(vexonetwork::dbus::kBusName, "/",
                                        vexonetwork::dbus::kBusName, 0);
    if (client.NewMessage(method) < 0 || client.Append(argument) < 0
        || client.SendMessage(true, -1) < 0) {
        return -1;
    }
    return reply == nullptr || client.GetReply(*reply) >= 0 ? 0 : -1;
}

void Appliance::ListUplinks() {
    for (const auto& [type, ifname, gateway] : {std::array{"GTYPE_V4", "wan0", "192.0.2.1"},
                                                {"GTYPE_V4", "wan1", "198.51.100.1"},
                                                {"GTYPE_V6", "wan0", "2001:db8:0::1"},
                                                {"GTYPE_V6", "wan1", "2001:db8:1::1"}}) {
        EXPECT_TRUE(vexonetwork::utils::SetGatewayInfo(
            ifname, type, gateway, gateway + std::string("53"), "ethernet", -1, false))
            << Log();
    }
}

Json::Value Appliance::GatewayList(const std::string& type) {
    std::string reply;
    EXPECT_EQ(Call("GetGatewayListData", R"({"type": ")" + type + R"("})", &reply), 0) << Log();
    return Parsed(reply);
}

}  // namespace vexotest
