#include <gtest/gtest.h>

#include <array>
#include <map>

#include <vexo/default_gateway.h>
#include <vexo/event_log.h>
#include <vexonetwork/utils/gateway.h>
#include <vexonetwork/utils/get_default_route.h>

#include "support/files.h"
#include "support/process.h"

namespace {

using namespace vexonetwork::utils;
using vexotest::Must;

std::string lastEvent;

}  // namespace

// The event log's entries end here.
extern "C" int VEXOLogSet1(int level, int kind, int event, const char* a1, const char* a2,
                           const char* a3, const char*, const char*, const char*, const char*) {
    lastEvent = std::to_string(level) + " " + std::to_string(kind) + " " + std::to_string(event)
                + " [" + a1 + "] [" + a2 + "]" + a3;
    return 0;
}

namespace {

template <typename Parser>
void ExpectRoutes(const std::map<std::string, std::string>& lines) {
    for (const auto& [line, expected] : lines) {
        std::vector<routeparse::Route> routes;
        Parser()(line.c_str(), routes);
        std::string text;
        for (const auto& [metric, gateway, ifname] : routes) {
            text += std::to_string(metric) + " " + gateway + " " + ifname;
        }
        EXPECT_EQ(text, expected) << line;
    }
}

TEST(DefaultRoute, ParsesLines) {
    ExpectRoutes<routeparse::ParseV4>(
        {{"eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000", "100 192.168.1.1 eth0"},
         {" eth0 0 0101A8C0 +7 0 0 -5", "-5 192.168.1.1 eth0"},
         {"eth0 0 0101A8C0 0001 0 0 0", ""},  // no gateway
         {"eth0 0 0101A8C0 0002 0 0 0", ""},  // down
         {"eth0 0 0101A8C0 0003 0 0", ""},    // cut
         {"eth0 0 0101A8C0 0003 0 0 2147483648", ""},
         // Hexadecimal flags read as decimal: the rest of their word shifts the fields.
         {"eth0 0 0101A8C0 3F 0 7 0 0", "7 192.168.1.1 eth0"}});
    const std::string hop = "0 00 0 00 fe800000000000000000000000000001 ";
    ExpectRoutes<routeparse::ParseV6>({{hop + "400 1 0 3 eth0", "400 fe80::1 eth0"},
                                       {hop + "400 1 0 3 tun1000", ""},
                                       {hop + "400 1 0 3", ""},
                                       {"0 00 0 00 fe80 400 1 0 3 eth0", "400  eth0"},
                                       {hop + "0a 1 3 eth0", "0 fe80::1 eth0"}});
}

/// A network 192.0.2.0/24 whose addresses all can be gateways.
class GatewayTest : public testing::Test {
  protected:
    GatewayTest() {
        vexotest::WriteFile("/etc/sysconfig/network", "");
        Must("ip link add wan0 up type veth peer name far");
        Must("ip link set far up");
        Must("ip addr add 192.0.2.10/24 dev wan0");
    }

    void Arrange(const std::string& current, const std::string& configured) {
        ASSERT_EQ(VEXONetDefaultGatewaySet(current.c_str()), 0);
        ASSERT_EQ(VEXONetDefaultGatewaySetConf(configured.c_str()), 0);
        lastEvent = "";
    }

    Gateway gateway;
};

TEST_F(GatewayTest, SetsTellsAndRestores) {
    const std::string a = "192.0.2.1";
    const std::string b = "192.0.2.2";
    using Case = std::array<std::string, 4>;
    for (const auto& [current, configured, wanted, event] :
         {Case{a, a, a, ""}, Case{a, "", "", "2 1 293606159 [] []"},
          Case{"", "", b, "2 1 293606161 [] [192.0.2.2]"},
          Case{b, a, b, "2 1 293606161 [192.0.2.1] [192.0.2.2]"},
          Case{a, a, "", "2 1 293606160 [192.0.2.1] []"}}) {
        Arrange(current, configured);
        EXPECT_EQ(gateway.Set(wanted), 0);
        EXPECT_EQ(GetDefaultRoute<2>(), wanted);
        EXPECT_EQ(vexotest::ReadFile("/etc/sysconfig/network"), "GATEWAY=" + wanted + "\n");
        EXPECT_EQ(lastEvent, event);
    }
    Arrange(a, a);
    EXPECT_EQ(gateway.Set(std::string("203.0.113.1")), -1);
    EXPECT_EQ(lastEvent, "");

    EXPECT_EQ(gateway.Restore(), -1) << "nothing was backed up";
    Arrange("", "192.0.2.2");
    EXPECT_EQ(gateway.Backup(), 0);
    Arrange("192.0.2.1", "192.0.2.1");
    EXPECT_EQ(gateway.Restore(), 0);
    EXPECT_EQ(GetDefaultRoute<2>(), "192.0.2.2");
}

}  // namespace
