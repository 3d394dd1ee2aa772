// From an interface's file to the lease, with a DHCPv6 server at the far end of the cable.

#include <gmock/gmock.h>

#include "dhcp_server.h"
#include "machine.h"

namespace vexotest {
namespace {

using namespace testing;

constexpr char kFile[] = "/etc/sysconfig/network-scripts/ifcfg-wan0";

class ApplianceIpv6 : public testing::Test {
  protected:
    void Serve(const std::string& address, const std::string& dns) {
        server.Start6("option dhcp6.name-servers " + dns + ";",
                      "range6 " + address + " " + address);
    }

    /// As an administrator does: the file, and the link anew.
    void Configure(const std::string& method) {
        WriteFile(kFile, "IPV6_METHOD=" + method + "\n");
        SetLink(wan0, false);
        SetLink(wan0, true);
    }

    static std::string Addresses() { return Must("ip -6 -o address show dev wan0 scope global"); }
    static std::string Resolver() { return ReadFile("/etc/iproute2/config/resolv6.conf"); }
    /// As long as none has said anything, there is no unit of that name to journalctl.
    std::string Log() const { return machine.Try("journalctl --no-pager --unit dhclient6@*").out; }

    Uplink wan0 = MakeUplink(0);
    DhcpServer server;
    Machine machine;
};

TEST_F(ApplianceIpv6, ALeaseLivesWithTheMethodOfTheFile) {
    Serve("2001:db8::100", "2001:db8::53, 2001:db8::54");
    WriteFile(kFile, "IPV6_METHOD=dhcp\n");
    machine.Boot();
    machine.Do("vexonetctl gateway add wan0 -6 --gateway 2001:db8:0::1 --class ethernet");
    EXPECT_TRUE(Comes("nameserver 2001:db8::53\n", Resolver)) << Log();
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8::100/128 scope global dynamic"));

    const auto lease = [] { return Must("ip -6 address show dev wan0 to 2001:db8::100"); };
    EXPECT_TRUE(Comes("valid_lft 7sec", lease));
    EXPECT_TRUE(Comes("valid_lft 9sec", lease)) << "it is renewed";
    Serve("2001:db8::100", "2001:db8::55");
    EXPECT_TRUE(Comes("nameserver 2001:db8::55\n", Resolver));

    Configure("dhcp");
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8::100")) << "the cable was out for a second only";
    Configure("auto");
    EXPECT_TRUE(Comes("releases address", DhcpServer::Log));
    EXPECT_TRUE(Eventually([] { return Resolver().empty(); }));
    EXPECT_THAT(Addresses(), AllOf(HasSubstr("2001:db8::10/64"), Not(HasSubstr("2001:db8::100"))));
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre(HasSubstr("via 2001:db8::1 dev wan0")));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");
}

TEST_F(ApplianceIpv6, NonsenseAndAnotherHostsAddressAreRefused) {
    Serve("2001:db8::100", "2001:db8::53");
    Must("ip -n isp-wan0 address add 2001:db8::100/64 dev far nodad");
    WriteFile("/proc/sys/net/ipv6/conf/wan0/accept_dad", "1");
    WriteFile(kFile, "IPV6_METHOD=dhcp\n");
    machine.Boot();
    EXPECT_TRUE(Comes("wan0: refused: address 2001:db8::100", [&] { return Log(); }));
    Serve("2001:db8::101", "ff02::1");
    EXPECT_TRUE(Comes("2001:db8::101/128", Addresses));
    EXPECT_TRUE(Comes("left out, as it is no host's address: ff02::1", [&] { return Log(); }));
    EXPECT_EQ(Resolver(), "");

    Serve("2001:db8::102", "2001:db8::53");
    Configure("slaac-dhcp");
    EXPECT_TRUE(Comes("nameserver 2001:db8::53\n", Resolver)) << Log();
    EXPECT_THAT(Addresses(), Not(HasSubstr("/128")));
    EXPECT_EQ(machine.Do("systemctl --failed --no-legend"), "");
    EXPECT_THAT(machine.Try("/usr/libexec/vexonetwork/dhclient6 run w-an0-na").err,
                HasSubstr("w-an0: there is no such interface"));
}

}  // namespace
}  // namespace vexotest
