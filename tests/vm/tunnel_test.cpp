// IPv6 by tunnels: a broker's and the relay's, with packets that go through.

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

#include <vexonetwork/ipv6/router/router6_factory.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace vexo::network::ipv6::router;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kInternet[] = "2001:db8:ff::1";  ///< a host behind the far end
constexpr char kIfcfg[] = "/etc/sysconfig/network-scripts/ifcfg-wan1";

/// The daemon behind a provider of IPv4 alone, who is also the far end of tunnels.
class Tunnel : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories("/etc/sysconfig/networking");
        Must(far + "addr add " + kInternet + "/128 dev lo nodad");
        appliance.StartDaemon();
    }

    /// The far end's device, and the way back to the near end.
    void MakeFarEnd(const std::string& local, const std::string& prefix) const {
        Must(far + "tunnel add back mode sit remote " + uplink.address + " local " + local);
        Must(far + "link set back up");
        Must(far + "-6 route add " + prefix + " dev back");
    }

    /// Makes the router, sends packets through it both ways, and takes it down.
    void ExpectTraffic(const std::string& type, const std::string& members,
                       const std::string& address) {
        Router6Factory factory;
        const std::unique_ptr<Router6Base> router(factory.newRouterV6Instance(
            type, Parsed(R"({"wan": "wan1", "is_default_gateway": true)" + members + "}")));
        ASSERT_TRUE(router) << appliance.Log();
        ASSERT_TRUE(router->Create()) << appliance.Log();
        EXPECT_THAT(Must("ip -6 addr show dev 6in4-wan1"), HasSubstr("inet6 " + address));
        ExpectDefaultRoutes("-6", {"dev 6in4-wan1"});
        EXPECT_TRUE(Eventually([] {
            return vexotest::Run({"ping", "-6", "-c1", "-W1", kInternet}).status == 0;
        }));

        const std::unique_ptr<Router6Base> loaded(
            factory.newRouterV6Instance(Parsed(R"({"wan": "wan1"})")));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(*loaded, *router);
        EXPECT_TRUE(loaded->Destroy());
        ExpectDefaultRoutes("-6", {});
        EXPECT_THAT(Must("ip -o link"), Not(HasSubstr("6in4")));
        EXPECT_THAT(Must("find /etc/sysconfig/networking -type f"), IsEmpty());
        EXPECT_EQ(ReadFile(kIfcfg), "IPV6ROUTER=no\n");
    }

    Uplink uplink = MakeUplink(1);
    const std::string far = "ip -n " + uplink.provider + " ";
    Appliance appliance;
};

TEST_F(Tunnel, ToABrokerAndToTheRelayCarryPackets) {
    WriteFile(kIfcfg, "");
    MakeFarEnd(uplink.gateway, "2001:db8:f::/64");
    ExpectTraffic("6in4",
                  R"(, "prefix": "2001:db8:5::/48", "remote_addr_v4": "198.51.100.1",
                     "local_addr_v6": "2001:db8:f::2/64")",
                  "2001:db8:f::2/64");

    Must(far + "tunnel del back");
    Must(far + "addr add 192.88.99.1/32 dev far");
    Must("ip route add 192.88.99.1 via " + uplink.gateway);
    MakeFarEnd("192.88.99.1", "2002:c633:640a::/48");
    ExpectTraffic("6to4", "", "2002:c633:640a::1/16");
}

}  // namespace
}  // namespace vexotest
