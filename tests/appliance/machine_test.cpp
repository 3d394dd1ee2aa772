// The appliance as it is delivered: installed, booted by systemd, confined, and put through what
// happens to appliances.

#include "machine.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>

#include "support/appliance.h"

namespace vexotest {
namespace {

using std::chrono::seconds;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Lt;
using testing::Not;

constexpr char kHooks[] = "/usr/vexo/hooks/net/";

/// Two uplinks, wan0 first, before and after whatever happens.
class ApplianceWithUplinks : public testing::Test {
  protected:
    void SetUp() override {
        machine.Boot();
        for (const Uplink* uplink : {&wan0, &wan1}) {
            machine.Do("vexonetctl gateway add " + uplink->ifname + " --gateway " + uplink->gateway
                       + " --dns " + uplink->gateway + "53 --class ethernet --priority last");
        }
        lists = machine.Do("vexonetctl gateway list --json");
        ASSERT_THAT(lists, AllOf(HasSubstr("wan0"), HasSubstr("wan1")));
        ExpectTheSame();
    }

    void ExpectTheSame() {
        EXPECT_EQ(machine.Do("vexonetctl gateway list --json"), lists);
        EXPECT_TRUE(Eventually([&] { return !DefaultRoutes("-4").empty(); }));
        EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(HasSubstr("via " + wan0.gateway)));
    }

    /// The kernel forgets its routes with a reboot; the box's network outlives one.
    static void ForgetRoutes() { Must("ip route flush exact default"); }

    static void InstallHook(const std::string& name, const std::string& text) {
        WriteFile(kHooks + name, text);
        ::chmod((kHooks + name).c_str(), 0755);
    }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Machine machine;
    std::string lists;
};

TEST(Appliance, BootsInSecondsAndTellsMembersOfItsGroupOnly) {
    Machine machine;
    const auto start = std::chrono::steady_clock::now();
    machine.Boot();
    EXPECT_THAT(std::chrono::steady_clock::now() - start, Lt(seconds(10)));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");

    Must("useradd --groups vexonet member");
    Must("useradd stranger");
    const auto as = [&](const std::string& user, const std::string& command) {
        return machine.Try("runuser -u " + user + " -- vexonetctl gateway " + command);
    };
    EXPECT_EQ(as("member", "list").status, 0);
    EXPECT_NE(as("member", "add wan0 --gateway 192.0.2.1").status, 0);
    EXPECT_NE(as("stranger", "list").status, 0);
}

TEST_F(ApplianceWithUplinks, AKilledDaemonIsBackAtOnceWithItsListsAndRoute) {
    const std::string former = machine.PidOf("vexonetd");
    machine.Do("kill -KILL " + former);
    ForgetRoutes();
    EXPECT_THAT(machine.AwaitDaemonOtherThan(former), Lt(seconds(3)));
    ExpectTheSame();
}

TEST_F(ApplianceWithUplinks, ADaemonThatHangsIsReplaced) {
    WriteFile("/etc/systemd/system/vexonetd.service.d/soon.conf", "[Service]\nWatchdogSec=1\n");
    machine.Do("systemctl daemon-reload");
    machine.Do("systemctl restart vexonetd");
    const std::string former = machine.PidOf("vexonetd");
    machine.Do("kill -STOP " + former);
    machine.AwaitDaemonOtherThan(former);
    EXPECT_THAT(machine.Do("journalctl --unit vexonetd"), HasSubstr("Watchdog timeout"));
    ExpectTheSame();
}

TEST_F(ApplianceWithUplinks, AKilledBusComesBackWithTheDaemon) {
    const std::string bus = machine.PidOf("vexonet-bus");
    const std::string former = machine.PidOf("vexonetd");
    machine.Do("kill -KILL " + bus);
    EXPECT_THAT(machine.AwaitDaemonOtherThan(former), Lt(seconds(3)));
    EXPECT_NE(machine.PidOf("vexonet-bus"), bus);
    ExpectTheSame();
}

TEST_F(ApplianceWithUplinks, ListsOutliveRebootsAndPowerCuts) {
    machine.Reboot();
    ExpectTheSame();
    ForgetRoutes();
    machine.CutPowerAndBoot();
    ExpectTheSame();
}

TEST(Appliance, ALeaseBecomesAGatewayAndGoesWithItsClient) {
    const Uplink wan0 = MakeUplink(0);
    Must("ip -4 address flush dev wan0");
    WriteFile("/etc/dhcpd.test.conf",
              "subnet 192.0.2.0 netmask 255.255.255.0 {\n"
              "  range 192.0.2.100 192.0.2.100;\n"
              "  option routers 192.0.2.1;\n"
              "  option domain-name-servers 192.0.2.53;\n"
              "}\n");
    WriteFile("/etc/dhcpd.test.leases", "");
    const Process server(Words("ip netns exec isp-wan0 dhcpd -4 -f -cf /etc/dhcpd.test.conf"
                               " -lf /etc/dhcpd.test.leases -pf /tmp/dhcpd.pid far"),
                         "/tmp/dhcpd.log");
    Machine machine;
    machine.Boot();
    machine.Do("systemctl start dhclient4@wan0.service");
    EXPECT_TRUE(Eventually([] { return DefaultRoutes("-4").size() == 1; }))
        << ReadFile("/tmp/dhcpd.log");
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(HasSubstr("via 192.0.2.1 dev wan0")));
    EXPECT_THAT(machine.Do("vexonetctl gateway list"),
                AllOf(HasSubstr("192.0.2.1 "), HasSubstr("192.0.2.53")));

    machine.Do("systemctl stop dhclient4@wan0.service");
    EXPECT_TRUE(Eventually([] { return DefaultRoutes("-4").empty(); }));
    EXPECT_EQ(Must("ip -4 -o address show dev wan0"), "");
}

TEST_F(ApplianceWithUplinks, HooksOfTheAdministratorRunConfined) {
    Must("install -m 755 /usr/share/doc/vexonetwork/examples/gateway_config_change/50-note "
         + std::string(kHooks) + "gateway_config_change/50-note");
    InstallHook("ipv4_change/60-try",
                "#!/bin/sh\n"
                "mkdir /etc/allowed /usr/denied /root/denied\n"
                "echo 1 >/proc/sys/net/ipv4/conf/$IFNAME/arp_ignore\n"
                "logger -t tried \"$IFNAME $NEW_ADDRESS\" $(ls -d /*/allowed /*/denied)\n"
                "systemd-run --quiet --collect mkdir /usr/outside\n");
    machine.Do("ip address add 192.0.2.77/24 dev wan0");
    EXPECT_TRUE(Eventually([] { return ::access("/usr/outside", F_OK) == 0; }));
    EXPECT_THAT(machine.Do("journalctl --output=cat -t tried"),
                AllOf(HasSubstr("wan0 192.0.2.77 /etc/allowed"), Not(HasSubstr("denied"))));
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv4/conf/wan0/arp_ignore"), "1\n");

    machine.Do("vexonetctl gateway add wan0 --gateway 192.0.2.2");
    EXPECT_THAT(machine.Do("journalctl --output=cat -t gateway"),
                HasSubstr("ipv4 of wan0: 192.0.2.1 -> 192.0.2.2"));
}

/// What the daemon must still be able to do: replace a file elsewhere in /etc, and keep whose it
/// is.
TEST_F(ApplianceWithUplinks, TheConfinedDaemonKeepsTheOwnerOfAFileThatItReplaces) {
    Must("systemd-analyze security --offline=true --threshold=30 --no-pager vexonetd.service");
    WriteFile("/etc/vexoinfo.conf", "dns_mode=auto\n");
    WriteFile("/etc/resolv.conf", "search example.test\n");
    Must("chown nobody:adm /etc/resolv.conf");
    Must("chmod 640 /etc/resolv.conf");
    machine.Do("vexonetctl gateway add wan0 --dns 192.0.2.54");
    EXPECT_EQ(ReadFile("/etc/resolv.conf"),
              "search example.test\nnameserver 192.0.2.54\nnameserver 198.51.100.153\n");
    EXPECT_EQ(Must("stat --format=%U:%G:%a /etc/resolv.conf"), "nobody:adm:640\n");
    EXPECT_EQ(machine.Try("journalctl --quiet --unit vexonetd --grep (denied|permitted)").out, "");
}

}  // namespace
}  // namespace vexotest
