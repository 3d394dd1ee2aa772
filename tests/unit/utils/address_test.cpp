#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <vexonetwork/utils/ip_address.h>
#include <vexonetwork/utils/mac_address.h>

#include "support/process.h"

namespace {

using namespace vexonetwork::utils;
using namespace testing;

using Ip = IPAddress;

TEST(IPAddress, KeepsWhatIsAnAddressAndComputesNetworks) {
    for (const char* text : {"abc", "1.2.3.256", "fe80::1%lo"}) {
        EXPECT_TRUE(Ip(text).IsEmpty()) << text;
    }
    EXPECT_TRUE(Ip(std::string("10.0.0.1\0x", 10)).IsEmpty());
    EXPECT_NE(Ip("10.1"), Ip("10.0.0.1"));
    EXPECT_EQ(Ip("10.1").Binary().s_addr, Ip("10.0.0.1").Binary().s_addr);
    EXPECT_EQ(Ip("fe80::1").ToString(), "fe80::1");
    EXPECT_EQ(Ip("fe80::1").Binary().s_addr, INADDR_NONE);

    EXPECT_EQ(GetIpAddressBegin(Ip("10.0.0.255")).ToString(), "10.0.0.0");
    EXPECT_EQ(GetIpAddressEnd(Ip("10.1.0.0"), Ip("255.255.0.0")).ToString(), "10.1.255.254");
    EXPECT_EQ(GetNextNetwork(Ip("10.0.255.0"), Ip("255.255.255.0")).ToString(), "10.1.0.0");
    EXPECT_TRUE(GetNextNetwork(Ip("10.0.0.0"), Ip("255.0")).IsEmpty());
}

TEST(IPAddress, CountsMaskBitsAndCutsPrefixes) {
    sockaddr_in6 mask{};
    ::inet_pton(AF_INET6, "ffff:fff:ffff::", &mask.sin6_addr);
    EXPECT_EQ(IPAddress::netmaskToPrefixLength<10>(reinterpret_cast<sockaddr*>(&mask)), 20);
    const std::string address = "2001:db8:1:ff::5";
    EXPECT_EQ(IPAddress::GetIPv6NetworkPart(address, -5), "::");
    EXPECT_EQ(IPAddress::GetIPv6NetworkPart(address, 57), "2001:db8:1:80::");
    EXPECT_EQ(IPAddress::GetIPv6NetworkPart(address, 1000), address);
    EXPECT_EQ(IPAddress::GetIPv6NetworkPart("10.0.0.1", 64), "");
}

TEST(IPAddress, ListsAnInterface) {
    vexotest::Must("ip link add lan0 type veth peer name lan00");
    vexotest::Must("ip addr add 10.9.8.7/22 dev lan0");
    vexotest::Must("ip addr add 2001:db8::10/62 dev lan0 nodad");
    EXPECT_THAT(IPAddress::GetIPv4Address("lan0"), ElementsAre(Pair("10.9.8.7", 22)));
    EXPECT_THAT(IPAddress::GetIPv4Network("lan0"), ElementsAre(Pair("10.9.8.0", 22)));
    EXPECT_THAT(IPAddress::GetIPv6Network("lan0"), ElementsAre(Pair("2001:db8::", 62)));
}

TEST(MacAddress, FormalizesAndCountsTheSixthOctetModulo255) {
    EXPECT_EQ(MacAddress("001122AABBcc").ToString(), "00:11:22:AA:BB:cc");
    for (const char* text :
         {"00-11-22-33-44-55", "00:11:22:33:44:5g", "00112233445g", "00:11:22:33:44::5", ""}) {
        EXPECT_FALSE(MacAddress(text).IsFormalized());
        EXPECT_EQ(MacAddress(text).ToString(), text);
    }

    EXPECT_EQ((MacAddress("00:11:22:33:44:fe") + 1).ToString(), "00:11:22:33:44:00");
    EXPECT_EQ((MacAddress("AA:BB:CC:DD:EE:0F") + 0).ToString(), "aa:bb:cc:dd:ee:0f");
    EXPECT_EQ((MacAddress("00:11:22:33:44:00") + -1).ToString(), "00:11:22:33:44:ffff");
}

}  // namespace
