#include <gmock/gmock.h>

#include <csignal>

#include "support/advertiser.h"
#include "support/appliance.h"

// Real router advertisement daemons in the providers' namespaces; the routes are read from the
// kernel, the rest as a user would see it.

namespace vexotest {
namespace {

using namespace testing;

/// The provider's router, which announces itself every three seconds at most.
class Router {
  public:
    /// Announces with these options of radvd.conf(5), from now on.
    void Announce(const std::string& options) {
        WriteFile(folder / "radvd.conf",
                  "interface far { AdvSendAdvert on; MinRtrAdvInterval 3; MaxRtrAdvInterval 4; "
                  "MinDelayBetweenRAs 3; AdvRASrcAddress { fe80::a; }; "
                      + options
                      + " prefix 2001:db8:77::/64 { AdvOnLink on; AdvAutonomous on; }; };\n");
        if (radvd.Pid() > 0) {
            radvd.Signal(SIGHUP);
            return;
        }
        radvd = Process({"ip", "netns", "exec", "isp-wan0", "radvd", "-n", "-C",
                         folder / "radvd.conf", "-p", folder / "radvd.pid", "-m", "stderr"},
                        folder / "radvd.log");
    }

  private:
    TempFolder folder;
    Process radvd;
};

class RouterStory : public testing::Test {
  protected:
    RouterStory() {
        // The address that the kernel makes would only be in the way.
        Must("ip -n isp-wan0 address flush dev far scope link");
        Must("ip netns exec isp-wan0 sysctl -qw net.ipv6.conf.all.forwarding=1");
        Must("ip -n isp-wan0 address add fe80::a/64 dev far nodad");
    }

    static std::string Status(const std::string& member, const std::string& ifname = "wan0") {
        return Parsed(Ctl("ipv6 status --json").out)[ifname][member].asString();
    }

    const std::vector<std::string> route = {"via fe80::a dev wan0"};
    Uplink uplink = MakeUplink(0);
    Router router;
    Appliance appliance;
};

TEST_F(RouterStory, GatewayAndMethodFollowTheNetwork) {
    appliance.StartDaemon();
    for (const auto& [options, state] : {std::pair{"", "slaac"},
                                         {"AdvManagedFlag on;", "managed"},
                                         {"AdvOtherConfigFlag on;", "other"},
                                         {"AdvManagedFlag on; AdvOtherConfigFlag on;", "managed"},
                                         {"", "slaac"}}) {
        router.Announce(options);
        EXPECT_TRUE(Eventually([wanted = state] { return Status("state") == wanted; }))
            << options << appliance.Log();
        ExpectDefaultRoutes("-6", route);
    }
    EXPECT_EQ(Status("method"), "auto");
    EXPECT_TRUE(Eventually([] {
        return Must("ip -6 address show dev wan0 dynamic").find("2001:db8:77:")
               != std::string::npos;
    }));

    // Forgotten, it is learnt anew.
    EXPECT_EQ(Ctl("ipv6 reset wan0").status, 0);
    EXPECT_TRUE(Eventually([] { return Status("router") == "fe80::a"; }));
    EXPECT_THAT(Ctl("ipv6 status").out, HasSubstr("fe80::a"));
}

/// Sent by hand, with a hop limit and a sender that no neighbour has.
TEST_F(RouterStory, StrangersAndFloodsAreWithstood) {
    appliance.StartDaemon();
    router.Announce("");
    const auto isSlaac = [] { return Status("state") == "slaac"; };
    EXPECT_TRUE(Eventually(isSlaac));
    Advertiser stranger("isp-wan0", "far");
    for (int i = 0; i < 10'000; ++i) {
        stranger.Send({.source = "fe80::f:" + std::to_string(i % 1'000)});
    }
    stranger.Send({.source = "fe80::a", .hopLimit = 64, .flags = 0x80});
    stranger.Send({.source = "2001:db8::a", .flags = 0x80});
    // What the router itself says counts still, however odd, when its turn has come.
    EXPECT_TRUE(isSlaac());
    EXPECT_TRUE(Eventually([&] {
        stranger.Send({.source = "fe80::a", .flags = 0x80, .options = {0, 0, 0, 0, 0, 0, 0, 0}});
        return Status("state") == "managed";
    }));
    ExpectDefaultRoutes("-6", route);
    EXPECT_EQ(Status("router"), "fe80::a");
    EXPECT_THAT(
        vexotest::Run({"pgrep", "-r", "R,S,D", "-P", std::to_string(appliance.Daemon().Pid())}).out,
        IsEmpty());
    EXPECT_EQ(Ctl("status").status, 0);
}

/// Before the daemon's start the kernel believes everybody. The true router speaks when it is
/// asked.
TEST_F(RouterStory, NoStrangerIsLeftAsARouterAndTheTrueOneIsAsked) {
    Advertiser stranger("isp-wan0", "far");
    // Not more: the kernel's table of neighbours is one for all boxes.
    EXPECT_TRUE(Eventually([&] {
        for (int i = 0; i < 300; ++i) {
            stranger.Send({.source = "fe80::f:" + std::to_string(i)});
        }
        return Count(Must("ip -6 route show default proto ra"), "dev wan0") == 300;
    }));
    router.Announce("UnicastOnly on;");
    appliance.StartDaemon();
    ExpectDefaultRoutes("-6", route);
    EXPECT_EQ(Must("ip -6 route show proto ra default"), "");
    EXPECT_TRUE(Eventually([] { return Status("router") == "fe80::a"; }));

    MakeUplink(1);
    EXPECT_TRUE(Eventually(
        [] { return ReadFile("/proc/sys/net/ipv6/conf/wan1/accept_ra_defrtr") == "0\n"; }));
    Advertiser late("isp-wan1", "far");
    EXPECT_TRUE(Eventually([&] {
        late.Send({.source = "fe80::f"});
        return Status("router", "wan1") == "fe80::f";
    }));
    EXPECT_EQ(Must("ip -6 route show proto ra default"), "");
}

}  // namespace
}  // namespace vexotest
