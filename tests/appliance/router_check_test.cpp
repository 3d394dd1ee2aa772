// Whether a router still answers is asked by programs of the distribution, ndisc6 and ping, from
// within the confinement of the unit that needs to know.

#include <gmock/gmock.h>

#include "machine.h"
#include "support/advertiser.h"
#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

class RouterCheck : public testing::Test {
  protected:
    bool Shows(const std::string& command, const std::string& text) const {
        return machine.Do(command).find(text) != std::string::npos;
    }

    Uplink wan0 = MakeUplink(0);
    Machine machine;
};

TEST_F(RouterCheck, AnAdvertisingRouterStaysAsLongAsItAnswers) {
    Must("ip -n isp-wan0 address add fe80::a/64 dev far nodad");
    machine.Boot();
    Advertiser link("isp-wan0", "far");
    link.Send({.source = "fe80::a"});
    EXPECT_TRUE(Eventually([&] { return Shows("vexonetctl ipv6 status --json", "fe80::a"); }));
    // Again and again: for some seconds after a change another router is not looked at.
    EXPECT_TRUE(Eventually([&] {
        link.Send({.source = "fe80::b"});
        return Shows("journalctl --unit vexonetd", "Original gateway [fe80::a] reachable.");
    }));
    ExpectDefaultRoutes("-6", {"via fe80::a dev wan0"});

    Must("ip -n isp-wan0 address del fe80::a/64 dev far");
    EXPECT_TRUE(Eventually([&] {
        link.Send({.source = "fe80::b"});
        return Shows("vexonetctl ipv6 status --json", "fe80::b");
    }));
}

/// The lease is taken without a server; it goes when there is neither a server nor the router.
TEST_F(RouterCheck, AStoredLeaseServesWhereItsRouterAnswers) {
    Must("ip -4 address flush dev wan0");
    machine.Boot();
    const auto dhclientCalls = [&](const std::string& reason) {
        WriteFile("/etc/systemd/system/dhclient4@wan0.service.d/script.conf",
                  "[Service]\nType=oneshot\nRestart=no\nExecStop=\nExecStart=\n"
                  "ExecStart=/usr/libexec/vexonetwork/dhclient4-script\n"
                  "Environment=interface=wan0 new_ip_address=192.0.2.100\n"
                  "Environment=new_subnet_mask=255.255.255.0 new_expiry=4102444800\n"
                  "Environment=new_routers=192.0.2.1 reason="
                      + reason + "\n");
        machine.Do("systemctl daemon-reload");
        return machine.Try("systemctl start dhclient4@wan0.service").status;
    };
    EXPECT_EQ(dhclientCalls("TIMEOUT"), 0);
    ExpectDefaultRoutes("-4", {"via 192.0.2.1 dev wan0 src 192.0.2.100"});

    Must("ip -n isp-wan0 -4 address flush dev far");
    EXPECT_NE(dhclientCalls("TIMEOUT"), 0);
    EXPECT_EQ(Must("ip -4 -o address show dev wan0"), "");
    EXPECT_EQ(dhclientCalls("FAIL"), 0);
    EXPECT_TRUE(Shows("vexonetctl gateway show wan0 --json", "\"gateway\" : \"\""));

    // What an administrator has set is no lease's.
    machine.Do("vexonetctl gateway add wan0 --gateway 192.0.2.1 --dns 192.0.2.53");
    EXPECT_EQ(dhclientCalls("FAIL"), 0);
    EXPECT_TRUE(Shows("vexonetctl gateway show wan0 --json", "\"gateway\" : \"192.0.2.1\""));
    EXPECT_TRUE(Shows("vexonetctl gateway show wan0 --json", "\"dns\" : \"192.0.2.53\""));
}

}  // namespace
}  // namespace vexotest
