#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <future>
#include <set>
#include <stdexcept>
#include <thread>

#include <vexonetwork/network/arpscanner.h>
#include <vlib/exec.h>

#include "network/devices/device_texts.h"
#include "network/devices/neighbours/netbios_names.h"
#include "network/devices/scanner_thread.h"
#include "network/devices/side_by_side.h"
#include "support/appliance.h"
#include "support/event_queue.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace vexonetwork::network;
using testing::ElementsAre;

constexpr char kNmblookup[] = "/usr/local/bin/nmblookup";
constexpr char kLeases[] = "/etc/dhcpd/dhcpd.conf.leases";

TEST(DeviceTextsTest, WhatHasAnotherFormGivesNothing) {
    for (const char* line :
         {"1 2 3 m * eth0", "1 2 3 m br0", "", "192.0.2.9  0x1  0x0  00:00:00:00:00:00  *  br0"}) {
        EXPECT_FALSE(ParseArpLine(line)) << line;
    }
    EXPECT_EQ(ParseArpLine("1 2 3 m\t* lbr1 more")->mac, "m");

    const std::pair<std::string, std::string> answers[] = {
        {"status of 192.0.2.2\n\tNAS  <00> -  B <ACTIVE> \n\tNAS2 <03> B <ACTIVE>", "NAS"},
        {"\tLAB <00> - #GROUP$ B #ACTIVE$\n\tNAS <00> - B #ACTIVE$\n", "NAS"},
        {std::string("x\0 <ACTIVE>\n\tA\"\x1b[31m\xff <ACTIVE>", 30), "A\"\x1b[31m\xff"}};
    for (const auto& [answer, name] : answers) {
        EXPECT_EQ(ParseNodeStatus(answer), name) << answer;
    }
}

/// The device 192.0.2.2, of which the kernel was only told, and 192.0.2.3, which answers.
Process MakeLan(const TempFolder& folder) {
    for (const char* command :
         {"ip link add br0 type bridge", "ip address add 192.0.2.1/24 dev br0",
          "ip link set br0 up", "ip netns add pc",
          "ip link add lan0 type veth peer name eth0 netns pc", "ip link set lan0 master br0 up",
          "ip -n pc link set eth0 address 02:00:00:00:00:03 up",
          "ip -n pc address add 192.0.2.3/24 brd + dev eth0",
          "ip neigh add 192.0.2.2 lladdr 02:00:00:00:00:02 nud permanent dev br0",
          "ping -c 1 192.0.2.3", "mkdir -p /run/samba"}) {
        Must(command);
    }
    WriteFile(folder / "conf", "[global]\nnetbios name = OFFICE-PC\ninterfaces = eth0\n");
    Process nmbd(Words("ip netns exec pc nmbd -F --no-process-group -s " + (folder / "conf")),
                 folder / "log");
    EXPECT_TRUE(Eventually([] {
        return Must("ip netns exec pc cat /proc/net/udp").find("030200C0:0089")
               != std::string::npos;
    })) << ReadFile(folder / "log");
    return nmbd;
}

/// "ADDRESS MAC NAME" of each device.
std::set<std::string> Scan(const std::string& role) {
    WriteFile("/etc/vexoinfo.conf", "net_topology=" + role + "\n");
    const Json::Value list = ArpScanner::Inst()->GetData();
    std::set<std::string> devices;
    for (const Json::Value& entry : list["ClientList"]) {
        devices.insert(entry["ipAddr"].asString() + " " + entry["macAddr"].asString() + " "
                       + entry["friendlyName"].asString());
    }
    return devices;
}

TEST(ArpScannerTest, NamesComeFromLeasesOrFromTheDevicesThemselves) {
    const TempFolder folder;
    const Process nmbd = MakeLan(folder);
    WriteFile(kLeases, "1 02:00:00:00:00:02 192.0.2.2 television *\n");
    WriteScript(kNmblookup, "echo $2 >>/tmp/asked\nexec /usr/bin/nmblookup \"$@\"");
    const std::string tv = "192.0.2.2 02:00:00:00:00:02 ";
    const std::string pc = "192.0.2.3 02:00:00:00:00:03 ";
    EXPECT_THAT(Scan("1"), ElementsAre());
    EXPECT_THAT(Scan("2"), ElementsAre(tv, pc + "OFFICE-PC"));
    EXPECT_THAT(Scan("2"), ElementsAre(tv, pc + "OFFICE-PC"));
    EXPECT_EQ(Count(ReadFile("/tmp/asked"), "192.0.2.2\n"), 1U) << "it is silent";
    EXPECT_EQ(Count(ReadFile("/tmp/asked"), "192.0.2.3\n"), 2U);
    EXPECT_THAT(Scan("3"), ElementsAre(tv + "television", pc + "OFFICE-PC"));
    const SyslogSpy log;
    ::unlink(kNmblookup);
    ::unlink(kLeases);
    EXPECT_THAT(Scan("3"), ElementsAre(tv, pc));
    EXPECT_THAT(log.Messages(),
                testing::UnorderedElementsAre(
                    "Failed to open dhcp leases file",
                    "Failed to execute cmd [/usr/local/bin/nmblookup -A 192.0.2.3]"));

    // Opens, and fails with EIO when it is read.
    ASSERT_EQ(::mount("none", "/proc/self/net", "tmpfs", 0, nullptr), 0);
    ASSERT_EQ(::symlink("/proc/self/mem", "/proc/self/net/arp"), 0);
    EXPECT_THAT(Scan("2"), ElementsAre());
    EXPECT_EQ(ArpScanner::Inst()->GetArpTable(), -1);
    EXPECT_TRUE(log.Has("arpscanner", "failed to open file (/proc/net/arp)"));
}

TEST(ArpScannerTest, ProgramsThatHangOrFloodAreGivenUpTogether) {
    // The sixth answers when all have begun.
    WriteScript(kNmblookup,
                "echo >>/tmp/begun\ncase $2 in\n*.2) exec yes rubbish ;;\n"
                "*.3) exec >&- sleep 1000 ;;\n*.4) echo ' LATE <ACTIVE>'; exec sleep 1000 ;;\n"
                "*.5) exec cat /dev/urandom ;;\n*.6) until [ $(wc -l </tmp/begun) = 6 ]; do "
                "sleep 0.01; done; echo -n 'SIX <ACTIVE>' ;;\n*) exec sleep 1000 ;;\nesac");
    const Arguments addresses =
        Words("192.0.2.2 192.0.2.3 192.0.2.4 192.0.2.5 192.0.2.6 192.0.2.7 --option");
    const int descriptors = OpenDescriptors();
    {
        NetbiosNames names;
        EXPECT_THAT(names.Find(addresses, std::chrono::minutes(1)),
                    ElementsAre("", "", "LATE", "", "SIX", "", ""));
        EXPECT_EQ(ChildrenOf(::getpid()), "");
        EXPECT_THAT(names.Find({"192.0.2.7"}, std::chrono::hours(1)), ElementsAre(""));
        EXPECT_EQ(ReadFile("/tmp/begun").size(), 6U) << "it is silent";
        std::thread end([&names] {
            EXPECT_TRUE(Eventually([] { return ReadFile("/tmp/begun").size() == 7; }));
            names.Stop();
        });
        EXPECT_THAT(names.Find({"192.0.2.8"}, std::chrono::hours(1)), ElementsAre(""));
        end.join();
    }
    EXPECT_EQ(ChildrenOf(::getpid()), "");
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(SideBySideTest, AFailedReadIsNoWholeAnswer) {
    SideBySide programs({.atOnce = 1, .patience = std::chrono::hours(1), .output = 100});
    bool isWhole = true;
    // The end that is written to cannot be read, and tells that when the program has ended.
    programs.Add(PipedProgram(VLIBCPopen("/bin/true", "w", nullptr)),
                 [&](const std::string&, bool whole) { isWhole = whole; });
    std::vector<pollfd> events;
    programs.AppendTo(events);
    ASSERT_EQ(::poll(events.data(), 1, 60'000), 1);
    programs.Serve(events);
    EXPECT_TRUE(programs.IsIdle() && !isWhole);
}

TEST(ScannerThreadTest, WorkThatFailsIsBegunAnew) {
    const SyslogSpy log;
    std::promise<void> third;
    ScannerThread thread;
    thread.Start("scanner", [&third, turn = 0](int /*stop*/) mutable {
        if (++turn < 3) {
            throw std::runtime_error("no memory");
        }
        third.set_value();
    });
    EXPECT_EQ(third.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_THAT(log.Messages(), ElementsAre("scanner has failed and begins anew: no memory",
                                            "scanner has failed and begins anew: no memory"));
}

}  // namespace
}  // namespace vexotest
