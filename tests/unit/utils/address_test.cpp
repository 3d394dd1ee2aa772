#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <map>
#include <sstream>

#include <vexonetwork/utils/ip_address.h>
#include <vexonetwork/utils/mac_address.h>

#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexotest::Must;

IPAddress Ip(const std::string& text) {
    return IPAddress(text);
}

TEST(IPAddress, KeepsWhatIsAnAddress) {
    for (const char* text : {"192.0.2.1", "10.1", "0x7f.1", "fe80::1", "::ffff:192.0.2.1"}) {
        EXPECT_EQ(Ip(text).ToString(), text);
    }
    for (const std::string& text : {std::string("abc"), std::string(), std::string("1.2.3.256"),
                                    std::string("fe80::1%lo"), std::string("10.0.0.1\0x", 10)}) {
        EXPECT_TRUE(Ip(text).IsEmpty()) << text;
    }
    EXPECT_NE(Ip("10.1"), Ip("10.0.0.1"));
    EXPECT_EQ(Ip("10.1").Binary().s_addr, Ip("10.0.0.1").Binary().s_addr);
}

TEST(IPAddress, BinaryFormFollowsIPv4Only) {
    IPAddress address;
    address = std::string("fe80::1");
    EXPECT_EQ(address.Binary().s_addr, INADDR_NONE);
    address = std::string("192.0.2.1");
    address = std::string("no address");
    EXPECT_TRUE(address.IsEmpty());
    EXPECT_EQ(address.Binary().s_addr, Ip("192.0.2.1").Binary().s_addr);

    std::istringstream words(" 10.0.0.1\n");
    words >> address;
    EXPECT_EQ(address, Ip("10.0.0.1"));
    words >> address;
    EXPECT_EQ(address, Ip("10.0.0.1"));
}

TEST(IPAddress, ComputesNetworks) {
    EXPECT_EQ(GetNetwork(Ip("192.168.1.77"), Ip("255.255.255.0")).ToString(), "192.168.1.0");
    EXPECT_EQ(GetIpAddressBegin(Ip("192.168.1.0")).ToString(), "192.168.1.1");
    EXPECT_EQ(GetIpAddressBegin(Ip("10.0.0.255")).ToString(), "10.0.0.0");
    EXPECT_EQ(GetIpAddressEnd(Ip("192.168.1.0"), Ip("255.255.255.0")).ToString(), "192.168.1.254");
    EXPECT_EQ(GetIpAddressEnd(Ip("10.1.0.0"), Ip("255.255.0.0")).ToString(), "10.1.255.254");
    EXPECT_EQ(GetNextNetwork(Ip("10.0.255.0"), Ip("255.255.255.0")).ToString(), "10.1.0.0");
    EXPECT_EQ(GetNextNetwork(Ip("255.255.255.0"), Ip("255.255.255.0")).ToString(), "0.0.0.0");
    EXPECT_TRUE(GetNextNetwork(Ip("10.0.0.0"), Ip("255.0")).IsEmpty());
}

TEST(IPAddress, CountsMaskBits) {
    sockaddr_in mask{};
    mask.sin_addr = Ip("255.0.255.0").Binary();
    EXPECT_EQ(IPAddress::netmaskToPrefixLength<2>(reinterpret_cast<sockaddr*>(&mask)), 16);
    EXPECT_EQ(IPAddress::netmaskToPrefixLength<2>(nullptr), -1);
    sockaddr_in6 mask6{};
    ::inet_pton(AF_INET6, "ffff:fff:ffff::", &mask6.sin6_addr);
    EXPECT_EQ(IPAddress::netmaskToPrefixLength<10>(reinterpret_cast<sockaddr*>(&mask6)), 20);
}

TEST(IPAddress, CutsIPv6Prefixes) {
    const std::string address = "2001:db8:1:ff::5";
    const std::map<int, std::string> networks = {
        {-5, "::"},     {0, "::"},      {57, "2001:db8:1:80::"}, {64, "2001:db8:1:ff::"},
        {128, address}, {1000, address}};
    for (const auto& [length, network] : networks) {
        EXPECT_EQ(IPAddress::GetIPv6NetworkPart(address, length), network);
    }
    vexotest::SyslogSpy spy;
    EXPECT_EQ(IPAddress::GetIPv6NetworkPart("10.0.0.1", 64), "");
    EXPECT_THAT(spy.Messages(), ElementsAre("Unable to convert 10.0.0.1 to binary form"));
}

TEST(IPAddress, ListsAnInterface) {
    vexotest::SyslogSpy spy;
    Must("ip link add lan0 type veth peer name lan00");
    Must("ip addr add 192.0.2.10/24 dev lan0");
    Must("ip addr add 10.9.8.7/22 dev lan0");
    Must("ip addr add 2001:db8::10/62 dev lan0 nodad");
    EXPECT_THAT(IPAddress::GetIPv4Address("lan0"),
                ElementsAre(Pair("192.0.2.10", 24), Pair("10.9.8.7", 22)));
    EXPECT_THAT(IPAddress::GetIPv4Network("lan0"),
                ElementsAre(Pair("192.0.2.0", 24), Pair("10.9.8.0", 22)));
    EXPECT_THAT(IPAddress::GetIPv6Address("lan0"), ElementsAre(Pair("2001:db8::10", 62)));
    EXPECT_THAT(IPAddress::GetIPv6Network("lan0"), ElementsAre(Pair("2001:db8::", 62)));
    EXPECT_THAT(IPAddress::GetIPv4Address("lan"), IsEmpty());
    EXPECT_THAT(spy.Messages(), IsEmpty());
}

TEST(MacAddress, Formalizes) {
    EXPECT_EQ(MacAddress("001122AABBcc").ToString(), "00:11:22:AA:BB:cc");
    EXPECT_TRUE(MacAddress("00:11:22:aA:BB:CC").Formalize());
    for (const char* text : {"00-11-22-33-44-55", "00112233445g", "00:11:22:33:44:5",
                             "00:11:22:33:44:5g", "00:11:22:33:44.55", ""}) {
        MacAddress address(text);
        EXPECT_EQ(address.ToString(), text);
        EXPECT_FALSE(address.IsFormalized() || address.Formalize());
    }
    vexotest::SyslogSpy spy;
    EXPECT_FALSE(MacAddress().IsFormalizable());
    EXPECT_EQ(spy.Lines().front().priority, LOG_DEBUG);
    EXPECT_THAT(spy.Messages(), ElementsAre("Bad mac addr length (0)"));
}

TEST(MacAddress, CountsTheSixthOctetModulo255) {
    const auto sum = [](const char* address, int n) {
        return (MacAddress(address) + n).ToString();
    };
    EXPECT_EQ(sum("00:11:22:33:44:fe", 1), "00:11:22:33:44:00");
    EXPECT_EQ(sum("AA:BB:CC:DD:EE:0F", 0), "aa:bb:cc:dd:ee:0f");
    EXPECT_EQ(sum("00:11:22:33:44:00", -1), "00:11:22:33:44:ffff");
    EXPECT_EQ(sum("00:11:22:33:44:ff", 0x7fffffff), "00:11:22:33:44:7f");
    EXPECT_EQ(sum("00:11:xx", 3), "00:11:00:00:00:03");
}

}  // namespace
