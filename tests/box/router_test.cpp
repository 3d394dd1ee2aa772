#include <gmock/gmock.h>

#include <csignal>

#include "support/advertiser.h"
#include "support/appliance.h"

// Real router advertisement daemons in the providers' namespaces; the routes are read from the
// kernel, the rest as a user would see it.

namespace vexotest {
namespace {

using namespace testing;

/// A router in a namespace that announces itself every three seconds at most.
class Router {
  public:
    Router(const std::string& netns, const std::string& ifname, const std::string& address)
        : space(netns), port(ifname), linkLocal(address) {
        Must("ip netns exec " + space + " sysctl -qw net.ipv6.conf.all.forwarding=1");
        Must("ip -n " + space + " address add " + linkLocal + "/64 dev " + port + " nodad");
    }

    /// Announces with these options of radvd.conf(5), from now on.
    void Announce(const std::string& options) {
        WriteFile(file / "radvd.conf",
                  "interface " + port
                      + " { AdvSendAdvert on; MinRtrAdvInterval 3; MaxRtrAdvInterval 4; "
                        "MinDelayBetweenRAs 3; AdvRASrcAddress { "
                      + linkLocal + "; }; " + options
                      + " prefix 2001:db8:77::/64 { AdvOnLink on; AdvAutonomous on; }; };\n");
        if (radvd.Pid() > 0) {
            radvd.Signal(SIGHUP);
            return;
        }
        radvd = Process({"ip", "netns", "exec", space, "radvd", "-n", "-C", file / "radvd.conf",
                         "-p", file / "radvd.pid", "-m", "stderr"},
                        file / "radvd.log");
    }

    /// Without a farewell.
    void Stop() {
        radvd.Signal(SIGKILL);
        radvd.Wait();
    }

    const std::string& Address() const { return linkLocal; }
    const std::string& Space() const { return space; }

  private:
    std::string space;
    std::string port;
    std::string linkLocal;
    TempFolder file;
    Process radvd;
};

class RouterStory : public testing::Test {
  protected:
    RouterStory() {
        // The routers' own addresses; those that the kernel makes would only be in the way.
        Must("ip -n isp-wan0 address flush dev far scope link");
        Must("ip netns add isp-b");
        Must("ip -n isp-wan0 link add hub type bridge");
        Must("ip -n isp-wan0 link set far master hub");
        Must("ip -n isp-wan0 link set hub up");
        Must("ip -n isp-wan0 link add port-b type veth peer name far netns isp-b");
        Must("ip -n isp-wan0 link set port-b master hub up");
        Must("ip -n isp-b link set far up");
    }

    static std::string Status(const std::string& member) {
        return Parsed(Ctl("ipv6 status --json").out)["wan0"][member].asString();
    }

    static bool BecomesRouter(const Router& router) {
        const std::string route = "via " + router.Address() + " dev wan0";
        return Eventually([&] { return DefaultRoutes("-6") == std::vector{route}; });
    }

    Uplink uplink = MakeUplink(0);
    Appliance appliance;
};

TEST_F(RouterStory, GatewayAndMethodFollowTheNetwork) {
    Router first("isp-wan0", "hub", "fe80::a");
    Router second("isp-b", "far", "fe80::b");
    appliance.StartDaemon();
    for (const auto& [options, state] : {std::pair{"", "slaac"},
                                         {"AdvManagedFlag on;", "managed"},
                                         {"AdvOtherConfigFlag on;", "other"},
                                         {"AdvManagedFlag on; AdvOtherConfigFlag on;", "managed"},
                                         {"", "slaac"}}) {
        first.Announce(options);
        EXPECT_TRUE(Eventually([wanted = state] { return Status("state") == wanted; }))
            << options << appliance.Log();
        EXPECT_TRUE(BecomesRouter(first)) << options;
    }
    EXPECT_EQ(Status("method"), "auto");
    EXPECT_TRUE(Eventually([] {
        return Must("ip -6 address show dev wan0 dynamic").find("2001:db8:77:")
               != std::string::npos;
    }));

    // The second one waits as long as the first answers.
    second.Announce("");
    EXPECT_TRUE(Eventually([&] {
        return appliance.Log().find("Original gateway [fe80::a] reachable.") != std::string::npos;
    }));
    EXPECT_EQ(Status("router"), "fe80::a");
    first.Stop();
    Must("ip -n isp-wan0 address del fe80::a/64 dev hub");
    EXPECT_TRUE(BecomesRouter(second)) << appliance.Log();
    EXPECT_EQ(Status("router"), "fe80::b");

    // Forgotten, it is learnt anew.
    EXPECT_EQ(Ctl("ipv6 reset wan0").status, 0);
    EXPECT_TRUE(Eventually([] { return Status("router") == "fe80::b"; }));
    EXPECT_THAT(Ctl("ipv6 status").out, HasSubstr("fe80::b"));
}

/// Sent by hand, with a hop limit and a sender that no neighbour has.
TEST_F(RouterStory, StrangersAndFloodsAreWithstood) {
    Router router("isp-wan0", "hub", "fe80::a");
    appliance.StartDaemon();
    router.Announce("");
    const auto isSlaac = [] { return Status("state") == "slaac"; };
    EXPECT_TRUE(Eventually(isSlaac));
    Advertiser stranger("isp-b", "far");
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
    EXPECT_TRUE(BecomesRouter(router));
    EXPECT_EQ(Status("router"), "fe80::a");
    EXPECT_THAT(
        vexotest::Run({"pgrep", "-r", "R,S,D", "-P", std::to_string(appliance.Daemon().Pid())}).out,
        IsEmpty());
    EXPECT_EQ(Ctl("status").status, 0);
}

}  // namespace
}  // namespace vexotest
