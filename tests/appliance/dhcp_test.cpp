// The DHCP client of an interface, with a provider's server at the far end of the cable.

#include <gmock/gmock.h>

#include <filesystem>

#include "dhcp_server.h"
#include "machine.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kLeases[] = "/var/lib/vexonet/dhclient4-wan0.leases";
constexpr char kDns[] = "option domain-name-servers 192.0.2.53;";

class Dhcp : public testing::Test {
  protected:
    Dhcp() {
        Must("ip -4 address flush dev wan0");
        machine.Boot();
    }

    /// A server of one address, whose leases last six seconds.
    void Serve(const std::string& address, const std::string& options) {
        server.Start("-4", "max-lease-time 6; subnet 192.0.2.0 netmask 255.255.255.0 { range "
                               + address + "; option routers 192.0.2.1; " + options + " }");
    }

    void Client(const std::string& verb) {
        machine.Do("systemctl " + verb + " dhclient4@wan0.service");
    }
    AssertionResult Logs(const std::string& text, std::size_t times = 1) {
        const auto log = [&] { return machine.Do("journalctl --unit dhclient4@wan0.service"); };
        const auto isThere = [&] { return Count(log(), text) >= times; };
        return AssertionResult(Eventually(isThere)) << log();
    }
    std::string DaemonLog() { return machine.Do("journalctl --unit vexonetd.service"); }
    std::string Entry() { return machine.Do("vexonetctl gateway show wan0 --json"); }
    static std::string Addresses() { return Must("ip -4 -o address show dev wan0"); }

    Uplink wan0 = MakeUplink(0);
    DhcpServer server;
    Machine machine;
};

TEST_F(Dhcp, ALeaseLivesAndIsGivenBack) {
    Serve("192.0.2.100", kDns + std::string("option interface-mtu 1400;"));
    Client("start");
    ASSERT_TRUE(Logs("bound to 192.0.2.100"));
    EXPECT_THAT(Addresses(), HasSubstr("192.0.2.100/24 brd 192.0.2.255 scope global dynamic"));
    EXPECT_THAT(Must("ip link show wan0"), HasSubstr("mtu 1400"));
    ExpectDefaultRoutes("-4", {"via 192.0.2.1 dev wan0 src 192.0.2.100"});
    EXPECT_THAT(Entry(), HasSubstr("\"class\" : \"ethernet\""));
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"), "nameserver 192.0.2.53\n");

    const std::string log = DaemonLog();
    ASSERT_TRUE(Logs("bound to 192.0.2.100", 2)) << "it is renewed";
    Client("kill --signal=KILL");  // which gives nothing back
    Client("start");
    ASSERT_TRUE(Logs("bound to 192.0.2.100", 3));
    EXPECT_EQ(DaemonLog(), log) << "neither caused an election";

    Serve("192.0.2.200", "");
    ASSERT_TRUE(Logs("bound to 192.0.2.200")) << "the provider has other addresses now";
    EXPECT_THAT(Addresses(), Not(HasSubstr("192.0.2.100")));
    ExpectDefaultRoutes("-4", {"via 192.0.2.1 dev wan0 src 192.0.2.200"});
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"), "");

    Client("stop");
    EXPECT_EQ(Addresses(), "");
    ExpectDefaultRoutes("-4", {});
    EXPECT_THAT(Entry(), HasSubstr("\"gateway\" : \"\""));
}

TEST_F(Dhcp, WhatAHostileServerOffersIsLeftOut) {
    Serve("192.0.2.100",
          "option routers 224.0.0.1; option domain-name-servers 255.255.255.255;"
          "option interface-mtu 68; option host-name \"$(touch /var/lib/vexonet/owned)\";"
          "option domain-name \"x'; touch /var/lib/vexonet/owned; '\";");
    Client("start");
    ASSERT_TRUE(Logs("bound to 192.0.2.100"));
    for (const char* what : {"no host's address: 224.0.0.1", "no host's address: 255.255.255.255",
                             "too small: MTU 68"}) {
        EXPECT_TRUE(Logs(std::string("left out, as it is ") + what));
    }
    EXPECT_THAT(Must("ip link show wan0"), HasSubstr("mtu 1500"));
    EXPECT_THAT(Entry(), HasSubstr("\"gateway\" : \"\""));
    EXPECT_FALSE(std::filesystem::exists("/var/lib/vexonet/owned"));

    Client("stop");
    WriteFile(kLeases, "");
    Serve("192.0.2.101", "option subnet-mask 128.0.0.0;");
    Client("start");
    EXPECT_TRUE(Logs("DHCPDECLINE of 192.0.2.101")) << "half of the Internet is not on this cable";
    EXPECT_THAT(Addresses(), Not(HasSubstr("192.0.2.101")));
}

}  // namespace
}  // namespace vexotest
