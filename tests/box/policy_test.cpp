// Several uplinks, each with a host of the world behind it, and static routes: connections are made
// from there, while the default route leads by wan0 alone.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>

#include <set>
#include <sstream>

#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/lock.h>

#include "support/advertiser.h"
#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;

/// Takes connections, which the kernel makes without us, on both families.
vexobase::UniqueFd Listen() {
    vexobase::UniqueFd fd(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 name{};
    name.sin6_family = AF_INET6;
    name.sin6_port = htons(7777);
    EXPECT_EQ(::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    EXPECT_EQ(::listen(fd.Get(), 1000), 0);
    return fd;
}

/// The same in a network namespace.
vexobase::UniqueFd ListenIn(const std::string& name) {
    const vexobase::UniqueFd here(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
    const vexobase::UniqueFd there(::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(::setns(there.Get(), CLONE_NEWNET), 0);
    vexobase::UniqueFd fd = Listen();
    EXPECT_EQ(::setns(here.Get(), CLONE_NEWNET), 0);
    return fd;
}

std::string Rules(const std::string& family) {
    return Must("ip -N " + family + " rule show");
}

std::string Table(const std::string& family, const std::string& table) {
    return Run({"ip", family, "route", "show", "table", table}).out;
}

/// What is ours in the main table: the static routes.
std::string Ours(const std::string& family) {
    return Must("ip " + family + " route show table main proto 86");
}

class Uplinks : public Test {
  protected:
    Uplinks() {
        for (int n = 0; n < 3; ++n) {
            uplinks.push_back(MakeUplink(n));
            PutWorldBehind(n);
        }
        appliance.StartDaemon();
        for (int n = 0; n < 3; ++n) {
            MustCtl("gateway add -q wan" + std::to_string(n) + " --gateway "
                    + uplinks[size_t(n)].gateway);
            MustCtl("gateway add -q -6 wan" + std::to_string(n) + " --gateway " + GatewayV6(n));
        }
        ExpectDefaultRoutes("-4", {RouteOf(uplinks[0])});
    }

    static std::string GatewayV6(int n) { return "2001:db8:" + std::to_string(n) + "::1"; }
    static std::string AddressV6(int n) { return "2001:db8:" + std::to_string(n) + "::10"; }

    /// A host 100.64.N.1, 2001:db8:fN::1 whose packets come in by the uplink.
    void PutWorldBehind(int n) {
        const std::string inside = "ip -n " + uplinks[size_t(n)].provider;
        const std::string number = std::to_string(n);
        Must(inside + " addr replace 100.64." + number + ".1/32 dev lo");
        Must(inside + " addr replace 2001:db8:f" + number + "::1/128 dev lo nodad");
        Must(inside + " addr replace " + GatewayV6(n) + "/64 dev far nodad");
        Must(inside + " route replace " + uplinks[size_t(n)].address + "/32 dev far src 100.64."
             + number + ".1");
        Must(inside + " -6 route replace " + AddressV6(n) + "/128 dev far src 2001:db8:f" + number
             + "::1");
    }

    /// Whether a connection from the world behind an uplink to an address of ours comes about.
    static bool Connects(const std::string& provider, const std::string& address,
                         const std::string& port = "7777") {
        const std::string script = "exec 3<>/dev/tcp/" + address + "/" + port;
        return vexotest::Run(
                   {"ip", "netns", "exec", provider, "timeout", "2", "bash", "-c", script})
                   .status
               == 0;
    }
    bool Answers(int n) {
        const Uplink& uplink = uplinks[size_t(n)];
        return Connects(uplink.provider, uplink.address) && Connects(uplink.provider, AddressV6(n));
    }
    void ExpectAnswers(int n) {
        EXPECT_TRUE(Eventually([&] { return Answers(n); })) << n << Rules("-4") << Rules("-6");
    }

    std::vector<Uplink> uplinks;
    vexobase::UniqueFd listener = Listen();
    Appliance appliance;
};

TEST_F(Uplinks, EachAnswersWhoeverCameInByIt) {
    EXPECT_TRUE(Connects("isp-wan0", uplinks[0].address));
    EXPECT_FALSE(Connects("isp-wan1", uplinks[1].address)) << "the answer went by wan0";
    const std::string before = Rules("-4") + Rules("-6");
    EXPECT_EQ(Ctl("policy enable").out, "policy routing is on for: wan0 wan1 wan2\n");
    for (int n = 0; n < 3; ++n) {
        EXPECT_TRUE(Answers(n)) << n << ": at once, by the command's own work";
    }
    ExpectDefaultRoutes("-4", {RouteOf(uplinks[0])});

    SetLink(uplinks[1], false);
    SetLink(uplinks[1], true);
    PutWorldBehind(1);
    ExpectAnswers(1);
    Must("ip link set wan1 down");
    EXPECT_TRUE(Eventually([] { return Rules("-4").find("198.51.100.10") == std::string::npos; }));
    Must("ip link set wan1 up");
    Must("ip addr add " + AddressV6(1) + "/64 dev wan1 nodad");
    ExpectAnswers(1);

    Must("ip addr add 198.51.100.20/24 dev wan1");
    Must("ip -n isp-wan1 route replace 198.51.100.20/32 dev far src 100.64.1.1");
    EXPECT_TRUE(Eventually([] { return Connects("isp-wan1", "198.51.100.20"); }));
    Must("ip addr del 198.51.100.10/24 dev wan1");
    EXPECT_TRUE(Eventually([] { return Rules("-4").find("198.51.100.10") == std::string::npos; }));
    Must("ip addr add 198.51.100.10/24 dev wan1");
    ExpectAnswers(1);

    Must("ip -n isp-wan1 addr del 198.51.100.1/24 dev far");
    Must("ip -n isp-wan1 addr add 198.51.100.2/24 dev far");
    PutWorldBehind(1);
    MustCtl("gateway add -q wan1 --gateway 198.51.100.2");
    EXPECT_THAT(Table("-4", "wan1"), HasSubstr("default via 198.51.100.2"));
    EXPECT_TRUE(Answers(1));
    EXPECT_EQ(appliance.StopDaemon(), 0);
    appliance.StartDaemon();
    EXPECT_TRUE(Answers(1));

    EXPECT_EQ(Ctl("policy disable").out, "policy routing is off\n");
    EXPECT_EQ(Rules("-4") + Rules("-6"), before);
    EXPECT_EQ(Table("-4", "wan1") + Table("-6", "wan1"), "");
    EXPECT_EQ(Count(appliance.Log(), "policy_route"), 0U) << appliance.Log();
}

TEST_F(Uplinks, LiveBesideVpnsGuestsAndOverlappingNetworks) {
    // Both have a neighbour 192.168.1.1, a guest network is kept in, and a VPN wants everything.
    for (const std::string n : {"0", "1"}) {
        Must("ip addr add 192.168.1.1" + n + "/24 dev wan" + n);
        Must("ip -n isp-wan" + n + " addr add 192.168.1.1/24 dev far");
    }
    for (const std::string port : {"guest0", "tun0"}) {
        Must("ip link add " + port + " type veth peer name far-" + port);
        Must("ip link set far-" + port + " up");
        Must("ip link set " + port + " up");
    }
    Must("ip addr add 10.77.0.1/24 dev guest0");
    Must("ip rule add from 10.77.0.0/24 prohibit");
    for (const std::string part :
         {"0.0.0.0/1", "64.0.0.0/2", "192.0.0.0/2", "2000::/4", "fc00::/7"}) {
        Must("ip route add " + part + " dev tun0");
    }
    Must("ip rule add lookup main suppress_prefixlength 0 priority 31001 protocol 86");
    const Uplink bare = MakeUplink(3);
    MustCtl("policy enable -q wan0 wan1 wan3");
    for (const int n : {0, 1}) {
        ExpectAnswers(n);
        EXPECT_TRUE(Connects("isp-wan" + std::to_string(n), "192.168.1.1" + std::to_string(n)))
            << n;
    }
    const auto sends = [](const std::string& way) {
        return vexotest::Run(Words("ip route get " + way)).status == 0;
    };
    EXPECT_FALSE(sends("198.51.100.1 from 10.77.0.5 iif guest0"))
        << "the guests' rule counts, and that of our former version is gone";
    EXPECT_TRUE(Connects(bare.provider, bare.address));
    EXPECT_TRUE(sends("8.8.8.8"));
    EXPECT_FALSE(sends("8.8.8.8 from " + bare.address)) << "it has no gateway of its own";
    Must("ip route add default via 10.3.0.1 dev wan3 metric 900");
    MustCtl("policy enable -q wan3");
    EXPECT_TRUE(sends("8.8.8.8 from " + bare.address)) << "somebody else has given it one";

    // What a VPN or a firewall does on its way takes nothing of ours, or for a second at most.
    const auto state = [] {
        std::istringstream all(Rules("-4") + Rules("-6") + Table("-4", "wan1") + Table("-6", "wan1")
                               + vexotest::Run(Words("nft list table inet vexonet_uplinks")).out);
        std::multiset<std::string> lines;
        for (std::string line; std::getline(all, line);) {
            lines.insert(line);
        }
        return lines;
    };
    const auto whole = state();
    EXPECT_THAT(whole, Contains(HasSubstr("iifname \"wan1\" ct state new ct mark set")));
    EXPECT_NE(vexotest::Run(Words("ip rule del table main suppress_prefixlength 0")).status, 0);
    for (const char* harm :
         {"ip rule del priority 31100", "ip -6 rule del priority 31010",
          "ip route flush table wan1", "ip -6 route flush table wan1", "nft flush ruleset"}) {
        Must(harm);
        EXPECT_TRUE(Eventually([&] { return state() == whole; })) << harm;
    }
    EXPECT_EQ(Count(appliance.Log(), "policy_route"), 0U) << appliance.Log();
    MustCtl("policy disable -q");
    EXPECT_EQ(Count(Rules("-4") + Rules("-6"), "proto 86"), 0U);
    EXPECT_EQ(Must("nft list ruleset"), "");
}

TEST_F(Uplinks, AnswerForContainersAndForTheirPrefixesToo) {
    WriteFile("/proc/sys/net/ipv4/ip_forward", "1");
    Must("ip netns add container");
    Must("ip link add 1lan type veth peer name far netns container");
    Must("ip addr add 172.17.0.1/16 dev 1lan");
    Must("ip link set 1lan up");
    Must("ip -n container addr add 172.17.0.2/16 dev far");
    Must("ip -n container link set far up");
    Must("ip -n container route add default via 172.17.0.1");
    Must("nft add table ip engine");
    Must(
        Arguments{"nft", "add chain ip engine nat { type nat hook prerouting priority dstnat ; }"});
    Must("nft add rule ip engine nat tcp dport 8080 dnat to 172.17.0.2:7777");
    Must(Arguments{"nft",
                   "add chain ip engine own { type filter hook prerouting priority -160 ; }"});
    Must("nft add rule ip engine own ct state new ct mark set 0x5");
    const vexobase::UniqueFd served = ListenIn("container");
    EXPECT_TRUE(Connects("isp-wan0", uplinks[0].address, "8080"));
    EXPECT_FALSE(Connects("isp-wan1", uplinks[1].address, "8080")) << "answered by wan0";
    MustCtl("policy enable -q wan0 wan1");
    EXPECT_TRUE(Connects("isp-wan0", uplinks[0].address, "8080"));
    EXPECT_TRUE(Connects("isp-wan1", uplinks[1].address, "8080"));
    const std::string table = Parsed(Ctl("policy status --json").out)[1]["table"].asString();
    EXPECT_THAT(Must("conntrack -L -p tcp --src 100.64.1.1"),
                HasSubstr("mark=" + std::to_string(std::stoul(table) << 24U | 5U)))
        << "the bits of others stay";

    // A provider takes packets of no other's prefix.
    WriteFile("/etc/sysconfig/networking/ipv6-wan1",
              "[conf]\n\ttype=native\n\twan=wan1\n\tprefix=2001:db8:d1::/56\n");
    WriteFile("/proc/sys/net/ipv6/conf/all/forwarding", "1");
    Must("ip addr add 2001:db8:d1::1/64 dev 1lan nodad");
    const auto way = [](const std::string& to) {
        return vexotest::Run(Words("ip route get " + to + " from 2001:db8:d1::2 iif 1lan")).out;
    };
    EXPECT_TRUE(Eventually([&] {
        return way("2001:db8:f0::1").find("dev wan1") != std::string::npos;
    })) << way("2001:db8:f0::1")
        << Rules("-6");
    EXPECT_THAT(way("2001:db8:d1::9"), HasSubstr("dev 1lan"));

    EXPECT_EQ(Ctl("policy enable lo").status, 1);
    EXPECT_EQ(Ctl("policy enable 1lan").out, "policy routing is on for: wan0 wan1 1lan\n");
    EXPECT_THAT(Rules("-4") + Must("ip rule"), HasSubstr("from 172.17.0.1 lookup 1lan proto 86"));
}

TEST_F(Uplinks, WithoutACarrierAndWithAddressesThatAreTriedTheyAreFollowedToo) {
    MustCtl("policy enable -q wan1");
    SetLink(uplinks[1], false);
    Must("ip link set wan1 down");
    EXPECT_TRUE(Eventually([] { return Rules("-4").find("198.51.100.10") == std::string::npos; }));
    Must("ip link set wan1 up");
    EXPECT_TRUE(Eventually([] {
        return Table("-4", "wan1").starts_with("default via 198.51.100.1")
               && Rules("-4").find("198.51.100.10") != std::string::npos;
    })) << "the kernel has dropped its routes";

    SetLink(uplinks[1], true);
    const std::string settings = "/proc/sys/net/ipv6/conf/wan1/";
    WriteFile(settings + "accept_dad", "1");
    WriteFile(settings + "dad_transmits", "100");
    EXPECT_TRUE(Advertiser("isp-wan1", "far").Send({}));
    EXPECT_TRUE(Eventually([] {
        return Must("ip -6 addr show dev wan1 tentative").find("2001:db8:9:") != std::string::npos;
    }));
    MustCtl("policy enable -q wan1");
    EXPECT_THAT(Rules("-6"), HasSubstr("from 2001:db8:9:"));
    Must("ip -6 addr flush dev wan1 to 2001:db8:9::/64");
    EXPECT_TRUE(Eventually([] { return Rules("-6").find("2001:db8:9:") == std::string::npos; }));
}

TEST_F(Uplinks, NetworksAroundUsAndStaticRoutesGoBefore) {
    Must("ip netns add office");
    Must("ip link add lan0 type veth peer name far netns office");
    Must("ip addr add 10.9.0.1/24 dev lan0");
    Must("ip link set lan0 up");
    Must("ip -n office addr add 10.9.0.2/24 dev far");
    Must("ip -n office link set far up");
    Must("ip -n office link set lo up");
    Must("ip -n office addr add 10.50.0.1/32 dev lo");
    Must("ip -n office route add default via 10.9.0.1");
    MustCtl("policy enable -q wan0 wan1");
    ExpectAnswers(1);
    EXPECT_TRUE(Eventually([] { return Connects("office", "198.51.100.10"); }))
        << "a host of the LAN reaches an uplink's address";
    Must("ip -n office route replace default via 10.9.0.1 src 10.50.0.1");
    EXPECT_FALSE(Connects("office", "198.51.100.10")) << "nobody knows that network yet";
    MustCtl("route add -q 10.50.0.0/16 --gateway 10.9.0.2");
    EXPECT_TRUE(Connects("office", "198.51.100.10"));

    // What others have put there is theirs.
    Must("ip route add 10.60.0.0/16 via 198.51.100.1 table wan1");
    Must("ip rule add from 10.60.0.0/16 lookup wan1 priority 31100");
    Must("ip link add more type veth");
    MustCtl("policy disable -q");
    EXPECT_EQ(Table("-4", "wan1"), "10.60.0.0/16 via 198.51.100.1 dev wan1 \n");
    EXPECT_THAT(Rules("-4"), HasSubstr("31100:\tfrom 10.60.0.0/16 lookup"));
    EXPECT_THAT(Rules("-4"), Not(HasSubstr("198.51.100.10")));
}

TEST_F(Uplinks, WhatIsStoredWhileTheNumbersAreTakenComesLater) {
    vexonetwork::utils::FileLock lock("/run/vexo/rt_tables.lock", true);
    ASSERT_TRUE(lock.Lock());
    const Outcome early = Ctl("policy enable wan1");
    EXPECT_EQ(early.status, 1);
    EXPECT_THAT(early.err, HasSubstr("another process holds [/run/vexo/rt_tables.lock]"));
    ASSERT_TRUE(lock.Unlock());
    EXPECT_TRUE(Eventually([this] { return Answers(1); }));
}

TEST_F(Uplinks, NothingIsLostWhileRoutingChanges) {
    MustCtl("policy enable -q wan0 wan1");
    Must("ip -n isp-wan1 addr add 198.51.100.2/24 dev far");
    Must("ip -n isp-wan1 addr add 2001:db8:1::2/64 dev far nodad");
    ExpectAnswers(1);
    const TempFolder folder;
    std::vector<Process> pings;
    for (const std::string& address : {uplinks[1].address, AddressV6(1)}) {
        pings.emplace_back(Words("ip netns exec isp-wan1 ping -q -i 0.002 -c 1000 " + address),
                           folder / "pings");
    }
    for (int round = 0; round < 5; ++round) {
        const std::string n = std::to_string(round);
        MustCtl("policy enable -q wan2");
        Must("ip addr add 198.51.100.3" + n + "/24 dev wan1");
        const std::string host = round % 2 == 0 ? "2" : "1";
        MustCtl("gateway add -q wan1 --gateway 198.51.100." + host);
        MustCtl("gateway add -q -6 wan1 --gateway 2001:db8:1::" + host);
        MustCtl("route add -q 10.7" + n + ".0.0/16 --interface wan0");
        MustCtl("policy disable -q wan2");
        EXPECT_EQ(appliance.StopDaemon(), 0);
        appliance.StartDaemon();
    }
    for (Process& ping : pings) {
        EXPECT_EQ(ping.Wait(), 0);
    }
    EXPECT_EQ(Count(ReadFile(folder / "pings"), " 1000 received"), 2U)
        << ReadFile(folder / "pings") << appliance.Log();
    EXPECT_EQ(Count(appliance.Log(), "policy_route"), 0U) << appliance.Log();
}

TEST_F(Uplinks, BothFamiliesFailOverBesidePolicyAndStaticDefaults) {
    EXPECT_EQ(Ctl("policy enable").status, 0);
    MustCtl("route add -q default --gateway 198.51.100.1 --metric 10");
    MustCtl("route add -q default --gateway 2001:db8:1::1 --metric 10");
    const auto expect = [this](int n, const std::string& gatewayV6) {
        ExpectDefaultRoutes("-4", {RouteOf(uplinks[size_t(n)])});
        ExpectDefaultRoutes("-6", {"via " + gatewayV6 + " dev wan" + std::to_string(n)});
    };
    expect(0, "2001:db8::1");
    const auto others = [] {
        return Table("-4", "static") + Table("-6", "static") + Table("-6", "wan1")
               + Table("-6", "wan2");
    };
    const std::string before = others();
    SetLink(uplinks[0], false);
    expect(1, GatewayV6(1));
    MustCtl("gateway refresh");
    expect(1, GatewayV6(1));
    MustCtl("gateway add -q wan2 --priority 0");
    MustCtl("gateway add -q -6 wan2 --priority 0");
    expect(2, GatewayV6(2));
    EXPECT_EQ(others(), before);
    EXPECT_EQ(Count(appliance.Log(), "delete default route failed"), 0U) << appliance.Log();
}

TEST_F(Uplinks, StaticRoutesComeBackWithTheirInterface) {
    const auto isInstalled = [](const std::string& destination) {
        return Eventually([&] {
            return Ctl("route list").out.find("waits") == std::string::npos
                   && (Ours("-4") + Ours("-6")).find(destination) != std::string::npos;
        });
    };
    EXPECT_EQ(Ctl("route add 10.20.0.0/16 --gateway 198.51.100.1 --interface wan1").status, 0);
    EXPECT_EQ(Ctl("route add 2001:db8:77::/48 --gateway 2001:db8:1::1").status, 0);
    const Outcome early = Ctl("route add 10.30.0.0/16 --gateway 10.9.0.2 --interface lan0");
    EXPECT_EQ(early.status, 0);
    EXPECT_THAT(early.err, HasSubstr("waits for its interface"));
    for (const char* refused :
         {"10.40.0.0/16 --gateway 203.0.113.1 --interface wan1", "10.20.0.0/16 --interface wan0",
          "10.40.0.1/16 --interface wan0", "2001:db8:99::/48 --gateway 2001:db8:aa::1",
          "10.40.0.0/16 --gateway 192.0.2.10", "2001:db8:99::/48 --gateway fe80::1",
          "127.1.0.0/16 --interface wan0"}) {
        const Outcome outcome = Ctl(std::string("route add ") + refused);
        EXPECT_EQ(outcome.status, 1) << refused;
        EXPECT_NE(outcome.err, "") << refused;
    }
    const std::string static4 = Ours("-4");
    EXPECT_EQ(static4, "10.20.0.0/16 via 198.51.100.1 dev wan1 \n");

    MustCtl("route add -q default --gateway 198.51.100.1 --metric 10");
    const auto state = [] { return Ours("-4") + Table("-4", "static") + Rules("-4"); };
    const std::string whole = state();
    for (const char* harm : {"ip route del 10.20.0.0/16", "ip rule del priority 32765",
                             "ip route flush table static"}) {
        Must(harm);
        EXPECT_TRUE(Eventually([&] { return state() == whole; })) << harm << state();
    }
    MustCtl("route del -q default --metric 10");
    EXPECT_THAT(Rules("-4"), Not(HasSubstr("32765")));

    for (int index = 0; index < 2; ++index) {
        Must("ip link add lan0 type veth peer name lanfar");
        Must("ip addr add 10.9.0.1/24 dev lan0");
        Must("ip link set lanfar up");
        Must("ip link set lan0 up");
        EXPECT_TRUE(isInstalled("10.30.0.0/16 via 10.9.0.2 dev lan0"));
        Must("ip link del lan0");
        EXPECT_TRUE(Eventually([&] { return Ours("-4") == static4; }));
        Must("ip link add other" + std::to_string(index) + " type veth");
    }
    MustCtl("route del -q 10.30.0.0/16");
    Must("ip link set wan1 down");
    EXPECT_EQ(Ours("-4"), "");
    Must("ip link set wan1 up");
    Must("ip addr add " + AddressV6(1) + "/64 dev wan1 nodad");
    EXPECT_TRUE(isInstalled("10.20.0.0/16"));
    EXPECT_TRUE(isInstalled("2001:db8:77::/48"));

    EXPECT_EQ(appliance.StopDaemon(9), 128 + 9);
    Must("ip route flush proto 86");
    WriteFile("/etc/iproute2/config/static-table",
              "# by hand\n[0]\ndestination = 10.21.0.0/16\nifname=wan0\n[bad]\ndestination=10/8\n");
    appliance.StartDaemon();
    EXPECT_EQ(Ours("-4"), "10.21.0.0/16 dev wan0 scope link \n");
    EXPECT_THAT(appliance.Log(), HasSubstr("Bad route [bad]"));
    EXPECT_EQ(Ctl("route change 10.21.0.0/16 --interface wan2").status, 0);
    EXPECT_EQ(Ours("-4"), "10.21.0.0/16 dev wan2 scope link \n");
    EXPECT_EQ(ReadFile("/etc/iproute2/config/static-table"),
              "# by hand\n[0]\ndestination = 10.21.0.0/16\n\tifname=wan2\n[bad]\n"
              "destination=10/8\n");
    EXPECT_THAT(Ctl("route list").out, HasSubstr("bad [bad]"));
}

}  // namespace
}  // namespace vexotest
