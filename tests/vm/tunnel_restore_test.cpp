// Tunnels outlive a boot and a change of address.

#include <gmock/gmock.h>

#include <filesystem>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;

TEST(TunnelRestore, ATunnelIsThereAgainAndFollowsItsAddress) {
    std::filesystem::create_directories("/etc/sysconfig/networking");
    std::filesystem::create_directories("/etc/sysconfig/network-scripts");
    const Uplink uplink = MakeUplink(1);
    Appliance appliance;
    appliance.StartDaemon();
    const auto restore = [&] {
        const Outcome outcome = Ctl("router6 restore");
        return outcome.out + outcome.err;
    };
    // This kernel has no nftables for IPv6 that could guard the LAN.
    const Outcome created = Ctl("router6 create 6to4 wan1 --default --open");
    ASSERT_EQ(created.status, 0) << created.err;
    ExpectDefaultRoutes("-6", {"dev 6in4-wan1"});
    // Without a system manager nothing is announced; the LAN has it nevertheless.
    Must("ip link add br0 up type bridge");
    EXPECT_THAT(Ctl("prefix allocate 2002:c633:640a:1:: br0").err, HasSubstr("router6 restore"));
    EXPECT_THAT(Must("ip -6 address show dev br0"), HasSubstr("2002:c633:640a:1::1/64"));

    // As a boot leaves it: the daemon has forgotten the device that is not there.
    const std::string configuration = ReadFile("/etc/sysconfig/networking/ipv6-wan1");
    EXPECT_EQ(appliance.StopDaemon(), 0);
    Must("ip tunnel del 6in4-wan1");
    EXPECT_THAT(restore(), HasSubstr("the router of wan1 is not there")) << "without the daemon";
    appliance.StartDaemon();
    EXPECT_THAT(restore(), HasSubstr("the router of wan1 is there"));
    ExpectDefaultRoutes("-6", {"dev 6in4-wan1"});
    EXPECT_EQ(ReadFile("/etc/sysconfig/networking/ipv6-wan1"), configuration);
    EXPECT_THAT(restore(), testing::Not(HasSubstr("the router of"))) << "it is there already";

    Must("ip -4 address flush dev wan1");
    EXPECT_THAT(restore(), HasSubstr("the router of wan1 waits for its WAN"));
    Must("ip address add 198.51.100.77/24 dev wan1");
    EXPECT_THAT(restore(), HasSubstr("the router of wan1 is there"));
    EXPECT_THAT(Must("ip tunnel show 6in4-wan1"), HasSubstr("local 198.51.100.77"));
    EXPECT_THAT(Ctl("prefix list").out, HasSubstr("2002:c633:644d:1::/64  wan1  br0"));
    EXPECT_THAT(Must("ip -6 address show dev br0"),
                testing::AllOf(HasSubstr("2002:c633:644d:1::1/64"),
                               testing::Not(HasSubstr("2002:c633:640a"))));
    Ctl("router6 destroy wan1");
    EXPECT_FALSE(std::filesystem::exists("/etc/sysconfig/networking/ipv6-wan1"));
    EXPECT_EQ(Must("ip -6 address show dev br0 scope global"), "");
}

}  // namespace
}  // namespace vexotest
