#include <gtest/gtest.h>
#include <net/if.h>

#include <string>
#include <vector>

#include <vexo/net_interface.h>
#include <vlib/net.h>

#include "support/process.h"

namespace {

using vexotest::Must;

void AddPair(const std::string& ifname, const std::string& peer) {
    Must("ip link add " + ifname + " address 02:00:00:00:00:0a mtu 1400 type veth peer name "
         + peer);
}

TEST(NetInterface, FollowsTheKernel) {
    AddPair("eth0", "peer0");
    VEXONETIFINFO info{};
    ASSERT_EQ(VEXONetIFGetInfo("eth0", &info, 0), 0);
    EXPECT_STREQ(info.ifname, "eth0");
    EXPECT_STREQ(info.ip, "");
    EXPECT_STREQ(info.netmask, "");
    EXPECT_EQ(info.mtu, 1400);
    EXPECT_EQ(info.mac[0], 0x02);
    EXPECT_EQ(info.mac[5], 0x0a);
    EXPECT_EQ(info.flags & IFF_UP, 0u);
    EXPECT_EQ(VEXONetIsIFUp("eth0"), 0);

    Must("ip address add 192.0.2.10/25 dev eth0");
    Must("ip address add 198.51.100.5/24 dev eth0");
    Must("ip link set eth0 up");
    EXPECT_EQ(VEXONetIsIFUp("eth0"), 1);
    EXPECT_EQ(VEXONetIfIsLink("eth0"), 0) << "the peer is down";
    Must("ip link set peer0 up");
    EXPECT_EQ(VEXONetIfIsLink("eth0"), 1);

    ASSERT_EQ(VEXONetIFGetInfo("eth0", &info, 0), 0);
    EXPECT_STREQ(info.ip, "192.0.2.10");
    EXPECT_STREQ(info.netmask, "255.255.255.128");
    EXPECT_NE(info.flags & IFF_UP, 0u);

    char ip[16] = "before";
    EXPECT_EQ(VEXOILnxGetIP("eth0", ip, 10), -1) << "one byte too small";
    EXPECT_EQ(VEXOILnxGetIP("peer0", ip, sizeof ip), -1) << "it has none";
    EXPECT_STREQ(ip, "before");
    EXPECT_EQ(VEXOILnxGetIP("eth0", ip, 11), 0);
    EXPECT_STREQ(ip, "192.0.2.10");
}

TEST(NetInterface, GivesTheOwnAddressOfAPointToPointLink) {
    AddPair("ppp0", "peer0");
    Must("ip address add 10.77.0.10 peer 10.77.0.1/32 dev ppp0");
    VEXONETIFINFO info{};
    ASSERT_EQ(VEXONetIFGetInfo("ppp0", &info, 0), 0);
    EXPECT_STREQ(info.ip, "10.77.0.10");
    EXPECT_STREQ(info.netmask, "255.255.255.255");
}

TEST(NetInterface, KnowsOnlyRealNames) {
    AddPair("eth0", "peer0");
    Must("ip link property add dev eth0 altname uplink");
    Must("ip link property add dev eth0 altname a-longer-name-of-eth0");
    for (const char* ifname : {static_cast<const char*>(nullptr), "", "eth", "eth0 ", "uplink",
                               "a-longer-name-of-eth0", "sixteen-bytes-xx", "../eth0"}) {
        SCOPED_TRACE(ifname == nullptr ? "null" : ifname);
        VEXONETIFINFO info{};
        info.mtu = 77;
        EXPECT_EQ(VEXONetIFGetInfo(ifname, &info, 0), -1);
        EXPECT_EQ(info.mtu, 77);
        EXPECT_EQ(VEXONetIfIsLink(ifname), -1);
        EXPECT_EQ(VEXONetIsIFUp(ifname), -1);
        EXPECT_EQ(VLIBNetBridgeIfIsSlave(ifname), -1);
    }
}

TEST(NetInterface, ListsInIndexOrder) {
    AddPair("zz0", "peer0");
    Must("ip link add name aa0 type bridge");
    Must("ip link set peer0 master aa0");
    VLIBNETIF all[8];
    ASSERT_EQ(VLIBNetGetInterfaceInfo(all, 8), 4);
    EXPECT_STREQ(all[0].name, "lo");
    EXPECT_EQ(all[0].linkStatus, VLIB_LINK_UNKNOWN);
    EXPECT_STREQ(all[0].mac, "");
    EXPECT_STREQ(all[3].name, "aa0");
    for (int i = 1; i < 4; ++i) {
        EXPECT_LT(all[i - 1].index, all[i].index);
        EXPECT_EQ(all[i].linkStatus, VLIB_LINK_DOWN) << all[i].name;
        if (std::string(all[i].name) == "zz0") {
            EXPECT_STREQ(all[i].mac, "02:00:00:00:00:0a");
            EXPECT_EQ(all[i].mtu, 1400);
        }
    }
    all[1].name[0] = '!';
    EXPECT_EQ(VLIBNetGetInterfaceInfo(all, 1), 1);
    EXPECT_EQ(all[1].name[0], '!') << "beyond the room given";

    EXPECT_EQ(VLIBNetBridgeIfIsSlave("peer0"), 1);
    EXPECT_EQ(VLIBNetBridgeIfIsSlave("zz0"), 0);
    EXPECT_EQ(VLIBNetBridgeIfIsSlave("aa0"), 0) << "the bridge itself";
}

TEST(NetInterface, ReportsMoreInterfacesThanOneMessageHolds) {
    constexpr int kPairs = 60;
    for (int i = 0; i < kPairs; ++i) {
        Must("ip link add a" + std::to_string(i) + " type veth peer name b" + std::to_string(i));
    }
    std::vector<VLIBNETIF> all(200);
    EXPECT_EQ(VLIBNetGetInterfaceInfo(all.data(), 200), 2 * kPairs + 1);
}

TEST(NetInterface, CountsTheBitsOfNetmasks) {
    const struct {
        const char* netmask;
        int prefix;
    } cases[] = {{"255.255.255.0", 24},
                 {"0.0.0.0", 0},
                 {"255.255.255.255", 32},
                 {"128.0.0.0", 1},
                 {"255.0.255.0", -1},
                 {"0.255.255.255", -1},
                 {"255.255.255", -1},
                 {"255.255.255.0 ", -1},
                 {"24", -1},
                 {"", -1},
                 {nullptr, -1}};
    for (const auto& [netmask, prefix] : cases) {
        EXPECT_EQ(VEXONetNetmaskToPrefix(netmask), prefix) << (netmask ? netmask : "null");
    }
}

TEST(NetInterface, CalculatesNetworks) {
    const struct {
        const char* text;
        const char* network;  // null: refused
    } cases[] = {{"192.0.2.77/26", "192.0.2.64/26"},
                 {"255.255.255.255/32", "255.255.255.255/32"},
                 {"192.0.2.1/0", "0.0.0.0/0"},
                 {"192.0.2.1/33", nullptr},
                 {"192.0.2.1/-1", nullptr},
                 {"192.0.2.1/", nullptr},
                 {"192.0.2.1/2 4", nullptr},
                 {"192.0.2.1", nullptr},
                 {"192.0.2/24", nullptr},
                 {"2001:db8::1/64", nullptr},
                 {nullptr, nullptr}};
    for (const auto& [text, network] : cases) {
        SCOPED_TRACE(text ? text : "null");
        char result[19] = "before";
        EXPECT_EQ(VEXONetCalNetwork(text, result, sizeof result), network ? 0 : -1);
        EXPECT_STREQ(result, network ? network : "before");
    }
    char small[13] = "before";
    EXPECT_EQ(VEXONetCalNetwork("192.0.2.77/26", small, sizeof small), -1);
    EXPECT_STREQ(small, "before");
}

TEST(NetInterface, SetsAddresses) {
    AddPair("eth0", "peer0");
    EXPECT_EQ(VEXONetSetIP("-4", "eth0", "192.0.2.1", 24, "add", "eth0:1"), 0);
    EXPECT_NE(Must("ip -o -4 address show dev eth0").find("192.0.2.1/24 scope global eth0:1"),
              std::string::npos);
    EXPECT_EQ(VEXONetSetIP("-6", "eth0", "2001:db8::1", 64, "add", "eth0"), 0);
    EXPECT_NE(Must("ip -o -6 address show dev eth0").find("2001:db8::1/64"), std::string::npos);
    EXPECT_EQ(VEXONetSetIP("-6", "eth0", "2001:db8::1", 64, "del", nullptr), 0);
    EXPECT_EQ(VEXONetSetIP("-4", "eth0", "192.0.2.1", 24, "del", nullptr), 0);
    EXPECT_EQ(Must("ip -o address show dev eth0"), "");

    EXPECT_EQ(VEXONetSetIP("-4", "eth0", "192.0.2.1", 24, "del", nullptr), -1) << "it is gone";
    EXPECT_EQ(VEXONetSetIP("-4", "nope", "192.0.2.1", 24, "add", nullptr), -1);
    EXPECT_EQ(VEXONetSetIP("-4", "eth0", "192.0.2.1", 33, "add", nullptr), -1);
    EXPECT_EQ(VEXONetSetIP("-6", "eth0", "192.0.2.1", 24, "add", nullptr), -1);
    EXPECT_EQ(VEXONetSetIP("-4", "eth0", "192.0.2.1", 24, "flush", nullptr), -1);
    EXPECT_EQ(VEXONetSetIP("-4", "eth0", nullptr, 24, "add", nullptr), -1);
    EXPECT_EQ(Must("ip -o address show dev eth0"), "");
}

}  // namespace
