// The DHCP client of an interface, with a provider's server at the far end of the cable.

#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>
#include <regex>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kClientLog[] = "/tmp/client.log";
constexpr char kDns[] = "option domain-name-servers 192.0.2.53;";

class Dhcp : public testing::Test {
  protected:
    Dhcp() {
        Must("mkdir -p /usr/libexec /run/dhclient4-wan0 /var/lib/vexonet");
        Must("ln -s " VEXO_SOURCE_DIR "/appliance/dhcp /usr/libexec/vexonetwork");
        Must("ln -s " VEXO_SOURCE_DIR "/appliance/dhcp /usr/share/vexonetwork");
        Must("ln -s " + CtlProgram() + " /usr/bin/vexonetctl");
        Must("ip -4 address flush dev wan0");
        appliance.StartDaemon();
    }

    /// A server of one address, whose leases last six seconds.
    void Serve(const std::string& address, const std::string& options) {
        WriteFile("/tmp/dhcpd.conf",
                  "authoritative; max-lease-time 6; subnet 192.0.2.0 netmask 255.255.255.0 { range "
                      + address + "; option routers 192.0.2.1; " + options + " }");
        WriteFile("/tmp/dhcpd.leases", "");
        server = Process();
        server = Process(Words("ip netns exec isp-wan0 dhcpd -4 -f -q -user root -group root -cf "
                               "/tmp/dhcpd.conf -lf /tmp/dhcpd.leases -pf /tmp/dhcpd.pid far"),
                         "/tmp/dhcpd.log");
    }

    /// As its unit does.
    void StartClient() {
        client = Process(Words("dhclient -4 -d -cf /usr/share/vexonetwork/dhclient4.conf"
                               " -sf /usr/libexec/vexonetwork/dhclient4-script"
                               " -lf /var/lib/vexonet/dhclient4-wan0.leases"
                               " -pf /run/dhclient4-wan0/pid wan0"),
                         kClientLog);
    }
    static testing::AssertionResult Logs(const std::string& text, int times = 1) {
        const std::regex pattern(text);
        const auto isThere = [&] {
            const std::string log = ReadFile(kClientLog);
            return std::distance(std::sregex_iterator(log.begin(), log.end(), pattern), {})
                   >= times;
        };
        return testing::AssertionResult(Eventually(isThere)) << ReadFile(kClientLog);
    }
    static std::string Addresses() { return Must("ip -4 -o address show dev wan0"); }
    static std::string Entry() { return Must(CtlProgram() + " gateway show wan0 --json"); }

    Appliance appliance;
    Uplink wan0 = MakeUplink(0);
    Process server;
    Process client;
};

TEST_F(Dhcp, ALeaseLivesAndIsGivenBack) {
    Serve("192.0.2.100", kDns + std::string("option interface-mtu 1400;"));
    StartClient();
    ASSERT_TRUE(Logs("bound to 192.0.2.100"));
    EXPECT_THAT(Addresses(), HasSubstr("192.0.2.100/24 brd 192.0.2.255 scope global dynamic"));
    EXPECT_THAT(Must("ip link show wan0"), HasSubstr("mtu 1400"));
    ExpectDefaultRoutes("-4", {"via 192.0.2.1 dev wan0 src 192.0.2.100"});
    EXPECT_THAT(Entry(), HasSubstr("\"class\" : \"ethernet\""));
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"), "nameserver 192.0.2.53\n");

    const std::string log = appliance.Log();
    ASSERT_TRUE(Logs("bound to 192.0.2.100", 2)) << "it is renewed";
    client = Process();  // a restart of the unit keeps the lease
    StartClient();
    ASSERT_TRUE(Logs("bound to 192.0.2.100", 3));
    EXPECT_EQ(appliance.Log(), log) << "neither caused an election";

    Serve("192.0.2.200", "");
    ASSERT_TRUE(Logs("bound to 192.0.2.200")) << "the provider has other addresses now";
    EXPECT_THAT(Addresses(), Not(HasSubstr("192.0.2.100")));
    ExpectDefaultRoutes("-4", {"via 192.0.2.1 dev wan0 src 192.0.2.200"});
    EXPECT_EQ(ReadFile("/etc/iproute2/config/resolv4.conf"), "");

    Must("/usr/libexec/vexonetwork/dhclient4-release wan0");
    EXPECT_EQ(Addresses(), "");
    ExpectDefaultRoutes("-4", {});
    EXPECT_THAT(Entry(), HasSubstr("\"gateway\" : \"\""));
}

TEST_F(Dhcp, WhatAHostileServerOffersIsLeftOut) {
    Serve("192.0.2.100",
          "option routers 224.0.0.1; option domain-name-servers 255.255.255.255;"
          "option interface-mtu 68; option host-name \"$(touch /tmp/owned)\";"
          "option domain-name \"x'; touch /tmp/owned; '\";");
    StartClient();
    ASSERT_TRUE(Logs("bound to 192.0.2.100"));
    EXPECT_TRUE(Logs("left out, as it is no host's address: 224.0.0.1"));
    EXPECT_TRUE(Logs("left out, as it is no host's address: 255.255.255.255"));
    EXPECT_TRUE(Logs("left out, as it is too small: MTU 68"));
    EXPECT_THAT(Must("ip link show wan0"), HasSubstr("mtu 1500"));
    EXPECT_THAT(Entry(), HasSubstr("\"gateway\" : \"\""));
    EXPECT_FALSE(std::filesystem::exists("/tmp/owned"));

    client = Process();
    WriteFile("/var/lib/vexonet/dhclient4-wan0.leases", "");
    Serve("192.0.2.101", "option subnet-mask 128.0.0.0;");
    StartClient();
    EXPECT_TRUE(Logs("DHCPDECLINE of 192.0.2.101")) << "half of the Internet is not on this cable";
    EXPECT_THAT(Addresses(), Not(HasSubstr("192.0.2.101")));
}

}  // namespace
}  // namespace vexotest
