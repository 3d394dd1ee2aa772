// IPv6 on the appliance as it is delivered: from an interface's file to the lease.

#include <gmock/gmock.h>

#include "machine.h"
#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kFile[] = "/etc/sysconfig/network-scripts/ifcfg-wan0";
constexpr char kUnit[] = "dhclient6@wan0-na.service";

TEST(ApplianceIpv6, TheFilesMethodIsInForceAfterTheBootAndUntilItIsChanged) {
    const Uplink wan0 = MakeUplink(0);
    WriteFile("/etc/dhcpd.conf",
              "option dhcp6.name-servers 2001:db8::53;"
              "subnet6 2001:db8::/64 { range6 2001:db8::100 2001:db8::100; }");
    WriteFile("/etc/leases", "");
    const Process server(
        Words("ip netns exec isp-wan0 dhcpd -6 -d -cf /etc/dhcpd.conf -lf /etc/leases far"),
        "/tmp/dhcpd.log");
    WriteFile(kFile, "IPV6_METHOD=dhcp\n");
    Machine machine;
    machine.Boot();
    const auto has = [](const std::string& text) {
        return Must("ip -6 -o address show dev wan0").find(text) != std::string::npos;
    };
    EXPECT_TRUE(Eventually([&] { return has("2001:db8::100/128"); }))
        << machine.Do(std::string("journalctl --no-pager --unit ") + kUnit);
    EXPECT_TRUE(Eventually([&] {
        return machine.Do("vexonetctl gateway list -6").find("2001:db8::53") != std::string::npos;
    }));
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/wan0/accept_ra_defrtr"), "0\n");

    SetLink(wan0, false);
    SetLink(wan0, true);
    EXPECT_TRUE(has("2001:db8::100/128")) << "a cable that was pulled for a second";

    WriteFile(kFile, "IPV6_METHOD=auto\n");
    SetLink(wan0, false);
    SetLink(wan0, true);
    EXPECT_TRUE(Eventually([&] { return !has("2001:db8::100"); }));
    EXPECT_TRUE(Eventually(
        [&] { return machine.Try(std::string("systemctl is-active ") + kUnit).status == 3; }));
    EXPECT_THAT(machine.Do("systemctl --failed --no-legend"), Not(HasSubstr("dhclient6")));
}

}  // namespace
}  // namespace vexotest
