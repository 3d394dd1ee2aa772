// The DHCPv6 clients of an interface, with a provider's server at the far end of the cable.

#include <gmock/gmock.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kClientLog[] = "/tmp/client.log";
constexpr char kResolver[] = "/etc/iproute2/config/resolv6.conf";

class Dhcp6 : public testing::Test {
  protected:
    Dhcp6() {
        Must(
            "mkdir -p /usr/libexec /run/dhclient6-wan0-na /run/dhclient6-w-an0-info"
            " /var/lib/vexonet");
        Must("ln -s " VEXO_SOURCE_DIR "/appliance/dhcp /usr/libexec/vexonetwork");
        Must("ln -s " VEXO_SOURCE_DIR "/appliance/dhcp /usr/share/vexonetwork");
        Must("ln -s " + CtlProgram() + " /usr/bin/vexonetctl");
        appliance.StartDaemon();
        Must(CtlProgram() + " gateway add wan0 -6 --gateway 2001:db8:0::1 --class ethernet");
    }

    /// A server of few addresses, whose leases last nine seconds and are renewed after two.
    void Serve(const std::string& range, const std::string& dns) {
        WriteFile("/tmp/dhcpd.conf",
                  "authoritative; default-lease-time 9; preferred-lifetime 6;"
                  "option dhcp-renewal-time 2; option dhcp-rebinding-time 5;"
                  "option dhcp6.name-servers "
                      + dns + "; subnet6 2001:db8::/64 { range6 " + range + "; }");
        WriteFile("/tmp/dhcpd.leases", "");
        server = Process();
        server = Process(Words("ip netns exec isp-wan0 dhcpd -6 -d -user root -group root -cf "
                               "/tmp/dhcpd.conf -lf /tmp/dhcpd.leases -pf /tmp/dhcpd.pid far"),
                         "/tmp/dhcpd.log");
    }

    void StartClient(const std::string& instance) {
        client = Process({"/usr/libexec/vexonetwork/dhclient6", "run", instance}, kClientLog);
    }
    static void StopClient(const std::string& instance) {
        Must("/usr/libexec/vexonetwork/dhclient6 stop " + instance);
    }
    static std::string Addresses() { return Must("ip -6 -o address show scope global"); }
    static testing::AssertionResult Comes(const std::string& text, std::string (*where)()) {
        const bool comes = Eventually([&] { return where().find(text) != std::string::npos; });
        return testing::AssertionResult(comes) << where() << ReadFile(kClientLog);
    }
    static std::string Resolver() { return ReadFile(kResolver); }
    static std::string ServerLog() { return ReadFile("/tmp/dhcpd.log"); }
    static std::string Log() { return ReadFile(kClientLog); }

    Appliance appliance;
    Uplink wan0 = MakeUplink(0);
    Process server;
    Process client;
};

TEST_F(Dhcp6, AnAddressIsLeasedRenewedAndGivenBack) {
    Serve("2001:db8::100 2001:db8::100", "2001:db8::53, 2001:db8::54");
    StartClient("wan0-na");
    ASSERT_TRUE(Comes("nameserver 2001:db8::53\n", Resolver));
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8::100/128 scope global dynamic"));
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8::10/64")) << "the static one stays";
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre(HasSubstr("via 2001:db8::1 dev wan0")));

    const std::string log = appliance.Log();
    const auto lasts = [] { return Must("ip -6 address show dev wan0 to 2001:db8::100"); };
    ASSERT_TRUE(Eventually([&] { return lasts().find("valid_lft 7sec") != std::string::npos; }));
    ASSERT_TRUE(Eventually([&] { return lasts().find("valid_lft 9sec") != std::string::npos; }))
        << "it is renewed";
    EXPECT_EQ(appliance.Log(), log) << "which is nobody else's business";

    Serve("2001:db8::100 2001:db8::100", "2001:db8::55");
    ASSERT_TRUE(Comes("nameserver 2001:db8::55\n", Resolver));

    StopClient("wan0-na");
    EXPECT_THAT(Addresses(), AllOf(Not(HasSubstr("2001:db8::100")), HasSubstr("2001:db8::10/64")));
    EXPECT_EQ(Resolver(), "");
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre(HasSubstr("via 2001:db8::1 dev wan0")));
    EXPECT_TRUE(Comes("releases address 2001:db8::100", ServerLog));
}

TEST_F(Dhcp6, AnotherHostsAddressAndANonsensicalServerAreRefused) {
    WriteFile("/proc/sys/net/ipv6/conf/wan0/accept_dad", "1");
    Serve("2001:db8::100 2001:db8::100", "2001:db8::53");
    ASSERT_TRUE(Comes("Server starting service", ServerLog));
    Must("ip -n isp-wan0 address add 2001:db8::100/64 dev far nodad");
    StartClient("wan0-na");
    ASSERT_TRUE(Comes("wan0: refused: address 2001:db8::100", Log));
    EXPECT_THAT(Addresses(), Not(HasSubstr("2001:db8::100")));
    EXPECT_EQ(Resolver(), "");

    Serve("2001:db8::101 2001:db8::101", "ff02::1");
    ASSERT_TRUE(Comes("2001:db8::101/128", Addresses));
    EXPECT_TRUE(Comes("left out, as it is no host's address: ff02::1", Log));
    EXPECT_EQ(Resolver(), "");
}

TEST_F(Dhcp6, WithoutAnAddressTheDnsServerIsAskedFor) {
    Must("ip link set wan0 down");
    Must("ip link set wan0 name w-an0");
    Serve("2001:db8::100 2001:db8::100", "2001:db8::53");
    StartClient("w-an0-info");  // takes the interface up and waits for its link-local address
    ASSERT_TRUE(Comes("nameserver 2001:db8::53\n", Resolver));
    EXPECT_THAT(Addresses(), Not(HasSubstr("2001:db8::100")));
    StopClient("w-an0-info");
    EXPECT_EQ(Resolver(), "");

    for (const char* instance : {"wan0-pd", "gone0-na", "wan0"}) {
        StartClient(instance);
        EXPECT_EQ(client.Wait(), 2) << instance;
    }
}

}  // namespace
}  // namespace vexotest
