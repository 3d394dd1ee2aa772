// The devices of a LAN as a user sees them.

#include <gmock/gmock.h>

#include <csignal>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kTvMac[] = "02:00:00:00:00:02";
constexpr char kPcMac[] = "02:00:00:00:00:03";
constexpr char kLeases[] = "/etc/dhcpd/dhcpd.conf.leases";

class Devices : public testing::Test {
  protected:
    void SetUp() override {
        WriteFile("/etc/vexoinfo.conf", "net_topology=3\n");
        // With an address of its own: with a port's it changes, and the kernel forgets neighbours.
        Must("ip link add br0 address 02:00:00:00:00:01 type bridge");
        Must("ip address add 192.0.2.1/24 dev br0");
        Must("ip link set br0 up");
    }

    /// A television that has a lease, and a computer that tells its name itself.
    void MakeHosts() {
        MakeHost("tv", kTvMac, "192.0.2.2");
        MakeHost("pc", kPcMac, "192.0.2.3");
        WriteFile(kLeases, "1 02:00:00:00:00:02 192.0.2.2 television *\n");
        Must("mkdir -p /run/samba");
        Must("ln -s /usr/bin/nmblookup /usr/local/bin/nmblookup");
        WriteFile(folder / "conf", "[global]\nnetbios name = OFFICE-PC\ninterfaces = eth0\n");
        nmbd = Process(Words("ip netns exec pc nmbd -F --no-process-group -s " + (folder / "conf")),
                       folder / "log");
        EXPECT_TRUE(Eventually([] {
            return Must("ip netns exec pc cat /proc/net/udp").find("030200C0:0089")
                   != std::string::npos;
        })) << ReadFile(folder / "log");
        appliance.StartDaemon();
    }

    static void MakeHost(const std::string& name, const std::string& mac,
                         const std::string& address) {
        Must("ip netns add " + name);
        Must("ip link add lan-" + name + " type veth peer name eth0 netns " + name);
        Must("ip link set lan-" + name + " master br0 up");
        Must("ip -n " + name + " link set eth0 address " + mac + " up");
        Must("ip -n " + name + " address add " + address + "/24 brd + dev eth0");
        Must("ping -c 1 " + address);
    }

    static Json::Value List(const std::string& options = "") {
        const Outcome outcome = Ctl("device list --json " + options);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return Parsed(outcome.out);
    }

    /// "NAME/TYPE" as the user has given them to a device; "/" without.
    static std::string LabelOf(const std::string& mac) {
        for (const Json::Value& entry : List()) {
            if (entry["macAddr"] == mac) {
                return entry["userdef_displayName"].asString() + "/"
                       + entry["userdef_deviceType"].asString();
            }
        }
        return "not in the list";
    }

    TempFolder folder;
    Process nmbd;
    Appliance appliance;
};

TEST_F(Devices, AreShownNamedAndForgotten) {
    MakeHosts();
    EXPECT_THAT(Ctl("device list").out, AllOf(ContainsRegex("192.0.2.2 .* television\n"),
                                              ContainsRegex("192.0.2.3 .* OFFICE-PC\n")));
    EXPECT_EQ(Ctl("device label 02-00-00-00-00-03 --name Desk --type pc").status, 0);
    EXPECT_EQ(LabelOf(kPcMac), "Desk/pc");
    EXPECT_THAT(Ctl("device list").out, HasSubstr("Desk"));

    appliance.StopDaemon(SIGKILL);
    appliance.StartDaemon();
    EXPECT_EQ(LabelOf(kPcMac), "Desk/pc");
    Must("ip neigh del 192.0.2.3 dev br0");
    EXPECT_EQ(LabelOf(kPcMac), "Desk/pc") << "a device that has left keeps its name";
    EXPECT_EQ(Ctl(std::string("device forget ") + kPcMac).status, 0);
    EXPECT_EQ(LabelOf(kPcMac), "not in the list");
}

TEST_F(Devices, WhatIsNoneIsRefused) {
    MakeHosts();
    const std::string unknown = "02:00:00:00:00:99";
    for (const auto& [arguments, status, complaint] :
         {std::tuple{"forget " + unknown, 1, "see: vexonetctl device list"},
          {"label " + unknown + " --name a --type b", 1, "see: vexonetctl device list"},
          {"forget tv", 2, "is no MAC address"},
          {"label 020000000002 --name \a --type b", 2, "control characters"},
          {"label 020000000002 --name \xff --type b", 2, "UTF-8"},
          {"label 020000000002 --name a", 2, "--type is required"},
          {"list --source arp", 2, "arp"}}) {
        const Outcome outcome = Ctl("device " + arguments);
        EXPECT_EQ(outcome.status, status) << arguments << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(complaint));
    }
    EXPECT_EQ(LabelOf(kTvMac), "/");
}

TEST_F(Devices, HostileNamesDoNoHarmToATerminal) {
    MakeHosts();
    // A title and a tone, the other direction of writing, nothing to see.
    std::string name = "\x1b]0;title\a\u202e\u200b";
    for (int i = 0; i < 99; ++i) {
        name += "猫";
    }
    WriteFile(kLeases, "1 " + std::string(kTvMac) + " i " + name + " *\n");
    std::string table = Ctl("device list").out;
    for (size_t wide = 0; (wide = table.find("猫")) != table.npos;) {
        table.replace(wide, std::string_view("猫").size(), "##");
    }
    EXPECT_THAT(table, HasSubstr("?]0;title???###"));
    EXPECT_THAT(table, Each(AnyOf('\n', AllOf(Ge(' '), Le('~')))));
    EXPECT_THAT(table, Not(ContainsRegex("[^\n]{81}"))) << "too wide";
}

TEST_F(Devices, AreDatedByTheCalendar) {
    // The daemon's dates bear the year of the ISO week.
    WriteFile("/tmp/connectionlist_upnpscanner.json", R"({"ClientList": [
                  {"macAddr": "m", "asso_time": "12:30:59 2025/12/30"},
                  {"macAddr": "n", "asso_time": "12:30:59 2021/01/02", "displayName": "a\u009bb"}]})");
    appliance.StartDaemon();
    EXPECT_THAT(Ctl("device list").out, AllOf(HasSubstr("  2024-12-30 12:30  -\n"),
                                              HasSubstr("  2022-01-02 12:30  a?b\n")));
}

TEST_F(Devices, ATypoEndsNothing) {
    MakeHosts();
    ASSERT_THAT(List(), SizeIs(2));
    EXPECT_EQ(appliance.Call("SetDeviceListData", R"({"macAddr": "02:00:00:00:00:02",
                  "userdef_displayName": "Big", "userdef_deviceType": "tv"})"),
              0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(appliance.Call("DelDeviceListData", "[]"), -1);
    }
    EXPECT_EQ(appliance.StopDaemon(), 0) << "nothing hangs, and the name that was given is written";
    appliance.StartDaemon();
    EXPECT_EQ(appliance.Call("DelDeviceListData", "[]"), -1);
    EXPECT_EQ(LabelOf(kTvMac), "Big/tv");
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

TEST_F(Devices, TenThousandFitIntoLittleMemoryAndLog) {
    std::string batch = "address add 10.0.0.1/8 dev br0\n";
    char line[100];
    for (int i = 0; i < 10'000; ++i) {
        std::snprintf(line, sizeof line,
                      "neigh add 10.1.%d.%d lladdr 02:00:00:00:%02x:%02x nud permanent dev br0\n",
                      i / 256, i % 256, i / 256, i % 256);
        batch += line;
    }
    WriteFile(folder / "batch", batch);
    Must("ip -batch " + (folder / "batch"));
    appliance.StartDaemon();
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_THAT(List(), SizeIs(10'000));
    }
    EXPECT_THAT(Count(appliance.Log(), "\n"), Lt(50U)) << "nmblookup is missing";
    const std::string text =
        ReadFile("/proc/" + std::to_string(appliance.Daemon().Pid()) + "/status");
    const long peak = std::atol(text.c_str() + text.find("VmHWM:") + sizeof "VmHWM:");
    EXPECT_THAT(peak, AllOf(Gt(0), Lt(64 * 1024))) << "KiB";
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

}  // namespace
}  // namespace vexotest
