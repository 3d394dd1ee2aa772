// The IPv6 methods against the kernel, with a router at the far end of the cable.

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>

#include <filesystem>

#include <vexo/ipv6_conf.h>
#include <vexonetlink/socket.h>
#include <vexonetsdk/sdk_s.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace testing;
using vexonetsdk::sdk_s::VLIBNetIfLinkUpEvent_S;

const std::string kFile = "/etc/sysconfig/network-scripts/ifcfg-eth0";

int Set(int method, const char* ifname = "eth0", const char* address = nullptr) {
    return VEXONetIPv6ConfSet(method, ifname, address, 0, nullptr);
}
int Get(const char* ifname = "eth0") {
    int method = -1;
    return VEXONetIPv6ConfGet(ifname, &method, nullptr, 0, nullptr, nullptr, 0) == 0 ? method : -1;
}
std::string Addresses() {
    return Must("ip -6 -o address show dev eth0 scope global");
}
std::string Routes() {
    return Must("ip -6 route show dev eth0");
}
std::string Solicitations() {
    return Must("ip netns exec isp grep Icmp6InRouterSolicits /proc/net/dev_snmp6/far");
}
bool HasAutonomousAddress() {
    return Eventually([] { return Addresses().find("2001:db8:1:") != std::string::npos; });
}

/// Whether the kernel reports nothing of IPv6 or of links; it does before a call has returned.
template <typename Work>
bool IsSilent(Work work) {
    constexpr unsigned kGroups =
        RTMGRP_LINK | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE | RTMGRP_IPV6_IFINFO;
    auto socket = vexonetlink::Socket::Open({.groups = kGroups});
    work();
    return socket->Poll().arrival == vexonetlink::Arrival::kEmpty;
}

/// A machine that forwards, and a router that advertises when it is asked, and hardly by itself.
class Ipv6Conf : public testing::Test {
  protected:
    void StartRouter() {
        Must("ip netns add isp");
        Must("ip link add eth0 type veth peer name far netns isp");
        Must(
            "ip netns exec isp sysctl -qw net.ipv6.conf.all.forwarding=1 "
            "net.ipv6.conf.far.dad_transmits=0");
        Must("sysctl -qw net.ipv6.conf.all.forwarding=1 net.ipv6.conf.eth0.accept_ra=2");
        Must("ip -n isp link set far up");
        Must("ip link set eth0 up");
        const std::string linkLocal = "ip -n isp -6 address show dev far scope link -tentative";
        EXPECT_TRUE(Eventually([&] { return !Must(linkLocal).empty(); }));
        WriteFile("/tmp/radvd.conf",
                  "interface far { AdvSendAdvert on; MinRtrAdvInterval 900; "
                  "MaxRtrAdvInterval 1800; prefix 2001:db8:1::/64 { }; };");
        router = Process(Words("ip netns exec isp radvd -n -C /tmp/radvd.conf -p /tmp/pid"),
                         "/tmp/radvd.log");
        EXPECT_TRUE(Eventually([] { return Routes().find("default") != std::string::npos; }));
        // The kernel asks once by itself.
        EXPECT_TRUE(Eventually([] { return !Solicitations().ends_with("\t0\n"); }));
    }

    Process router;
};

TEST_F(Ipv6Conf, WhatAnAdvertisementHasBroughtGoesWithIt) {
    StartRouter();
    EXPECT_EQ(Get(), VEXO_IPV6_AUTOMATIC);
    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_THAT(Routes(), Not(HasSubstr("default"))) << "the elected route has no rival";
    EXPECT_TRUE(HasAutonomousAddress());
    EXPECT_TRUE(IsSilent([] { EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0); }));

    const SyslogSpy log;
    EXPECT_EQ(Set(VEXO_IPV6_DHCP), -1);
    EXPECT_THAT(log.Messages(), ElementsAre("No system manager is running"));
    EXPECT_EQ(Addresses(), "") << "a leased address takes the place of the autonomous one";
    EXPECT_THAT(Routes(), HasSubstr("2001:db8:1::/64")) << "the prefix is on this link still";

    const std::string asked = Solicitations();
    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_TRUE(Eventually([&] { return Solicitations() != asked; }));
    EXPECT_TRUE(HasAutonomousAddress());
    EXPECT_THAT(Routes(), Not(HasSubstr("default")));
    EXPECT_FALSE(std::filesystem::exists(kFile)) << "anybody can advertise";
}

TEST_F(Ipv6Conf, AStoredMethodIsInForceWhenTheLinkHasCome) {
    WriteFile(kFile, "# office\nIPV6_METHOD=off\n");
    StartRouter();
    EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    EXPECT_EQ(Addresses() + Routes(), "");

    EXPECT_EQ(VEXONetIPv6ConfSet(VEXO_IPV6_MANUAL, "eth0", "2001:db8:7::7", 64, "fe80::1"), 0);
    const std::string stored =
        "# office\nIPV6_METHOD=manual\nIPV6ADDR=2001:db8:7::7\nIPV6PREFIXLENG=64\n"
        "IPV6_DEFAULTGW=fe80::1\n";
    EXPECT_EQ(ReadFile(kFile), stored);
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8:7::7/64 scope global"));
    std::filesystem::create_hard_link(kFile, kFile + ".same");
    EXPECT_TRUE(IsSilent([] { EXPECT_EQ(Set(VEXO_IPV6_MANUAL), 0); }));
    EXPECT_TRUE(IsSilent([] { EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0); }));
    EXPECT_TRUE(std::filesystem::equivalent(kFile, kFile + ".same")) << "it was not written";

    Must("ip address add 2001:db8:9::9/64 dev eth0");
    WriteFile(kFile, "IPV6_METHOD=Manual\nIPV6ADDR=2001:db8:7::8\nIPV6PREFIXLENG=56\n");
    EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    EXPECT_THAT(Addresses(), AllOf(HasSubstr("7::8/56"), Not(HasSubstr("7::7/"))));
    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_TRUE(HasAutonomousAddress());
    EXPECT_THAT(Addresses(), AllOf(Not(HasSubstr("7::8")), HasSubstr("9::9/64")));
    EXPECT_EQ(Set(VEXO_IPV6_MANUAL), 0);
    EXPECT_THAT(Addresses(), AllOf(HasSubstr("7::8/56"), HasSubstr("9::9/64")));
    EXPECT_THAT(Addresses() + Routes(), Not(HasSubstr("2001:db8:1:")));
}

TEST_F(Ipv6Conf, TakesOnlyWhatMakesSense) {
    EXPECT_EQ(Get("lo"), VEXO_IPV6_AUTOMATIC);
    Must("sysctl -qw net.ipv6.conf.lo.accept_ra=0");
    EXPECT_EQ(Get("lo"), VEXO_IPV6_MANUAL) << "nobody has asked it to listen";
    EXPECT_TRUE(IsSilent([] { EXPECT_EQ(VLIBNetIfLinkUpEvent_S("lo"), 0); }));
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/lo/autoconf"), "1\n") << "it was set up by hand";
    const std::string file = "/etc/sysconfig/network-scripts/ifcfg-lo";
    const std::pair<const char*, int> files[] = {
        {"", VEXO_IPV6_AUTOMATIC},
        {"IPV6INIT=no\n", VEXO_IPV6_OFF},
        {"IPV6INIT=no\nIPV6_METHOD=\"SLAAC-DHCP\"  # provider\n", VEXO_IPV6_STATELESS_DHCP},
        {"IPV6_METHOD=dhcp6\n", -1},
    };
    for (const auto& [text, method] : files) {
        WriteFile(file, text);
        EXPECT_EQ(Get("lo"), method) << text;
    }
    for (const char* ifname : {"../conf/lo", "all", "default", "..", "", "a b", "gone0"}) {
        EXPECT_EQ(Set(VEXO_IPV6_OFF, ifname), -1) << ifname;
    }
    for (const char* address : {"192.0.2.1", "ff02::1", "::1", "2001:db8::1/64", "fe80::1%lo"}) {
        EXPECT_EQ(Set(VEXO_IPV6_MANUAL, "lo", address), -1) << address;
    }
    EXPECT_EQ(ReadFile(file), "IPV6_METHOD=dhcp6\n");
}

}  // namespace
}  // namespace vexotest
