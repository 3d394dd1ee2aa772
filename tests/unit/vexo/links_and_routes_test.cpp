#include <dlfcn.h>
#include <gmock/gmock.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <vexo/default_gateway.h>
#include <vexo/net_interface.h>
#include <vlib/net.h>

#include "support/process.h"

namespace {

/// Sees each change of a route that the library asks the kernel for; false refuses it.
std::function<bool(int)> seeChange;

}  // namespace

// The library's requests to the kernel pass here.
extern "C" ssize_t send(int socket, const void* request, size_t size, int flags) {
    using Send = ssize_t (*)(int, const void*, size_t, int);
    static const auto next = reinterpret_cast<Send>(::dlsym(RTLD_NEXT, "send"));
    const int type = static_cast<const nlmsghdr*>(request)->nlmsg_type;
    if (seeChange && type != RTM_GETROUTE && !seeChange(type)) {
        errno = EPERM;
        return -1;
    }
    return next(socket, request, size, flags);
}

namespace {

using vexotest::Must;
using Routes = std::vector<std::string>;

class DefaultGateway : public testing::Test {
  protected:
    DefaultGateway() {
        Must("ip link add eth0 up type veth peer name far");
        Must("ip link set far up");
        Must("ip address add 192.0.2.10/24 dev eth0");
        Must("ip nexthop add id 7 via 192.0.2.9 dev eth0");
    }
    ~DefaultGateway() override { seeChange = nullptr; }

    static void Change(const std::string& command, const Routes& routes) {
        for (const std::string& route : routes) {
            Must("ip -4 route " + command + " " + route);
        }
    }

    /// The main table's default routes as `ip` shows them.
    static std::string Shown() { return Must("ip route show default"); }
};

TEST_F(DefaultGateway, GetsTheGatewayOfLowestMetric) {
    const std::pair<Routes, const char*> cases[] = {
        {{"default via 192.0.2.1 metric 3000000000", "default via 192.0.2.2 metric 1"},
         "192.0.2.2"},
        {{"default dev eth0", "default via 192.0.2.1 metric 10"}, "192.0.2.1"},
        {{"blackhole default metric 1", "default via 192.0.2.1 metric 10"}, "192.0.2.1"},
        {{"default via inet6 fe80::1 dev eth0", "default via 192.0.2.1 table 100"}, ""},
        {{"default nexthop via 192.0.2.7 nexthop via 192.0.2.1 weight 9"}, "192.0.2.7"},
    };
    for (const auto& [routes, expected] : cases) {
        Change("append", routes);
        char gateway[16] = "untouched";
        EXPECT_EQ(VEXONetDefaultGatewayGet(gateway, sizeof gateway), 0);
        EXPECT_STREQ(gateway, expected) << routes.front();
        Change("delete", routes);
    }
}

const Routes kManyKinds = {
    "default via 192.0.2.1",
    "default via 192.0.2.2 dev eth0 proto dhcp src 192.0.2.10 metric 10 mtu 1400",
    "default dev eth0 scope link metric 20",
    "default metric 30 nexthop via 192.0.2.3 weight 2 nexthop via 192.0.2.5",
    "default via 203.0.113.1 dev eth0 onlink metric 40",
    "default via inet6 fe80::1 dev eth0 metric 50",
    "default nhid 7 metric 60",
    "default via 192.0.2.4 tos 0x10 metric 70",
};

TEST_F(DefaultGateway, ReplacesRoutesOfEveryKindAndNoOthers) {
    Change("append", kManyKinds);
    const std::string other = "unreachable default metric 4000000000 ";
    Change("append", {other});
    int first = 0;
    seeChange = [&](int type) { return (first = first == 0 ? type : first) != 0; };
    const std::string alone = "default via 192.0.2.7 dev eth0 proto static \n" + other + "\n";
    EXPECT_EQ(VEXONetDefaultGatewaySet("192.0.2.7"), 0);
    EXPECT_EQ(first, RTM_NEWROUTE) << "no packet is without a route";
    for (const char* refused : {"192.0.2.1 ", "0.0.0.0", "2001:db8::1", "203.0.113.1"}) {
        EXPECT_EQ(VEXONetDefaultGatewaySet(refused), -1) << refused;
    }
    EXPECT_EQ(Shown(), alone);
    EXPECT_EQ(VEXONetDefaultGatewaySet(""), 0);
    EXPECT_EQ(Shown(), other + "\n");
}

TEST_F(DefaultGateway, PutsRoutesBackAlsoThoseThatCameInBetween) {
    Change("append", kManyKinds);
    const std::string before = Shown();
    const Routes late = {"default via 192.0.2.8 metric 5"};
    for (const char* gateway : {"192.0.2.7", "192.0.2.1", ""}) {
        for (const int allowed : {0, 3, 6}) {
            int changes = 0, removals = 0;
            seeChange = [&](int type) {
                if (changes++ == 0 && type == RTM_NEWROUTE) {
                    Change("append", late);
                }
                return type != RTM_DELROUTE || removals++ != allowed;
            };
            EXPECT_EQ(VEXONetDefaultGatewaySet(gateway), -1);
            if (*gateway != '\0') {
                Change("delete", late);
            }
            EXPECT_EQ(Shown(), before) << gateway << " after " << allowed;
        }
    }
}

void AddPair(const std::string& number) {
    Must("ip link add a" + number + " address 02:00:00:00:00:0a mtu 1400 type veth peer name b"
         + number);
}

TEST(NetInterface, FollowsTheKernel) {
    AddPair("0");
    VEXONETIFINFO info{};
    EXPECT_EQ(VEXONetIFGetInfo("a0", &info, 0), 0);
    EXPECT_EQ(std::string(info.ifname) + info.ip + info.netmask, "a0");
    EXPECT_TRUE(info.mtu == 1400 && info.mac[0] == 0x02 && info.mac[5] == 0x0a);
    Must("ip address add 10.77.0.10 peer 10.77.0.1/25 dev a0");
    Must("ip link set a0 up");
    EXPECT_EQ(VEXONetIsIFUp("a0"), 1);
    EXPECT_EQ(VEXONetIfIsLink("a0"), 0) << "the peer is down";
    Must("ip link set b0 up");
    EXPECT_EQ(VEXONetIfIsLink("a0"), 1);
    EXPECT_EQ(VEXONetIFGetInfo("a0", &info, 0), 0);
    EXPECT_EQ(info.ip + std::string("/") + info.netmask, "10.77.0.10/255.255.255.128");

    char ip[16];
    EXPECT_EQ(VEXOILnxGetIP("a0", ip, 10), -1) << "one byte too small";
    EXPECT_EQ(VEXOILnxGetIP("b0", ip, sizeof ip), -1) << "it has none";
    EXPECT_EQ(VEXOILnxGetIP("a0", ip, 11), 0);

    Must("ip link property add dev a0 altname uplink");
    for (const char* ifname : {"", "a0 ", "uplink", "sixteen-bytes-xx"}) {
        EXPECT_EQ(VEXONetIFGetInfo(ifname, &info, 0), -1) << ifname;
    }
}

TEST(NetInterface, ListsMoreThanOneMessageHolds) {
    constexpr int kPairs = 60;
    for (int i = 0; i < kPairs; ++i) {
        AddPair(std::to_string(i));
    }
    std::vector<VLIBNETIF> all(200);
    ASSERT_EQ(VLIBNetGetInterfaceInfo(all.data(), 200), 2 * kPairs + 1);
    EXPECT_EQ(all[0].name + std::string(all[0].mac), "lo");
    EXPECT_EQ(all[2].name + std::string(all[2].mac), "a002:00:00:00:00:0a");
    EXPECT_EQ(all[2].linkStatus, VLIB_LINK_DOWN);
}

TEST(NetInterface, CalculatesNetworks) {
    EXPECT_EQ(VEXONetNetmaskToPrefix("0.0.0.0"), 0);
    for (const char* netmask : {"255.0.255.0", "0.255.255.255", "255.255.255", "24"}) {
        EXPECT_EQ(VEXONetNetmaskToPrefix(netmask), -1) << netmask;
    }
    char network[19] = "";
    for (const char* text : {"192.0.2.1/33", "192.0.2.1/-1", "192.0.2.1/", "192.0.2/24"}) {
        EXPECT_EQ(VEXONetCalNetwork(text, network, sizeof network), -1) << text;
    }
    EXPECT_EQ(VEXONetCalNetwork("192.0.2.77/26", network, sizeof network), 0);
    EXPECT_STREQ(network, "192.0.2.64/26");
}

}  // namespace
