// The IPv6 methods against the kernel, with a router at the far end of the cable.

#include <gmock/gmock.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/stat.h>

#include <array>
#include <functional>
#include <string>

#include <vexo/ipv6_conf.h>
#include <vexonetsdk/sdk_s.h>
#include <vlib/error.h>

#include "support/appliance.h"
#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vexonetsdk::sdk_s::VLIBNetIfLinkUpEvent_S;
using vexotest::Eventually;
using vexotest::Must;
using vexotest::ReadFile;
using vexotest::SyslogSpy;
using vexotest::WriteFile;

const std::string kFile = "/etc/sysconfig/network-scripts/ifcfg-eth0";
const std::string kSettings = "/proc/sys/net/ipv6/conf/eth0/";

int Set(int method) {
    return VEXONetIPv6ConfSet(method, "eth0", nullptr, 0, nullptr);
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

/// Whether the kernel reports anything of IPv6 or of links; it does before a call has returned.
bool IsSilent(const std::function<void()>& work) {
    mnl_socket* socket = mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC);
    constexpr unsigned kGroups =
        RTMGRP_LINK | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE | RTMGRP_IPV6_IFINFO;
    EXPECT_EQ(mnl_socket_bind(socket, kGroups, MNL_SOCKET_AUTOPID), 0);
    work();
    std::array<char, 32768> buffer;
    const bool silent = mnl_socket_recvfrom(socket, buffer.data(), buffer.size()) < 0;
    mnl_socket_close(socket);
    return silent;
}

/// A router that advertises 2001:db8:1::/64 when it is asked, and hardly by itself.
class Ipv6Conf : public testing::Test {
  protected:
    Ipv6Conf() {
        Must("ip netns add isp");
        Must("ip link add eth0 type veth peer name far netns isp");
        Must("ip -n isp link set far up");
        for (const char* netns : {"", "ip netns exec isp "}) {
            Must(netns + std::string("sysctl -qw net.ipv6.conf.all.forwarding=1"));
        }
    }

    /// Up as a machine comes up: the kernel follows advertisements as it likes.
    void Up() {
        WriteFile(kSettings + "accept_ra", "2");
        Must("ip netns exec isp sysctl -qw net.ipv6.conf.far.dad_transmits=0");
        Must("ip link set eth0 up");
        EXPECT_TRUE(Eventually([] {
            return !Must("ip -n isp -6 address show dev far scope link -tentative").empty();
        }));
        WriteFile("/tmp/radvd.conf",
                  "interface far { AdvSendAdvert on; MinRtrAdvInterval 900; MaxRtrAdvInterval "
                  "1800; prefix 2001:db8:1::/64 { }; };");
        router = vexotest::Process(
            vexotest::Words("ip netns exec isp radvd -n -C /tmp/radvd.conf -p /tmp/radvd.pid"
                            " -m stderr"),
            "/tmp/radvd.log");
        EXPECT_TRUE(Eventually([] {
            return Routes().find("default") != std::string::npos
                   && Addresses().find("dynamic") != std::string::npos;
        }));
    }
    static bool HasAutonomousAddress() {
        return Eventually([] { return Addresses().find("2001:db8:1:") != std::string::npos; });
    }

    vexotest::Process router;
};

TEST_F(Ipv6Conf, WhatAnAdvertisementCausesIsGoneWithIt) {
    Up();
    EXPECT_EQ(Get(), VEXO_IPV6_AUTOMATIC);
    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_THAT(Routes(), Not(HasSubstr("default"))) << "the elected route has no rival";
    EXPECT_TRUE(HasAutonomousAddress());
    EXPECT_EQ(ReadFile(kSettings + "accept_ra"), "2\n") << "it forwards and listens";
    EXPECT_TRUE(IsSilent([] { EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0); }));

    const SyslogSpy log;
    EXPECT_EQ(Set(VEXO_IPV6_DHCP), -1);
    EXPECT_THAT(log.Messages(), ElementsAre("No system manager is running"));
    EXPECT_EQ(Addresses(), "") << "a leased address takes the place of the autonomous one";
    EXPECT_THAT(Routes(), HasSubstr("2001:db8:1::/64")) << "the prefix is on this link still";

    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_TRUE(HasAutonomousAddress()) << "the router was asked";
    EXPECT_THAT(Routes(), Not(HasSubstr("default")));
    EXPECT_EQ(ReadFile(kFile), "") << "anybody can advertise";
}

TEST_F(Ipv6Conf, AStoredMethodIsInForceAfterTheLinkCame) {
    WriteFile(kFile, "# office\nBOOTPROTO=none\nIPV6_METHOD=off\n");
    Up();
    EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    EXPECT_EQ(ReadFile(kSettings + "disable_ipv6"), "1\n");
    EXPECT_EQ(Addresses() + Routes(), "");

    EXPECT_EQ(VEXONetIPv6ConfSet(VEXO_IPV6_MANUAL, "eth0", "2001:db8:7::7", 64, "fe80::1"), 0);
    EXPECT_EQ(ReadFile(kFile),
              "# office\nBOOTPROTO=none\nIPV6_METHOD=manual\nIPV6ADDR=2001:db8:7::7\n"
              "IPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n");
    EXPECT_THAT(Addresses(), HasSubstr("2001:db8:7::7/64 scope global"));
    struct stat before {};
    struct stat after {};
    ::stat(kFile.c_str(), &before);
    EXPECT_TRUE(IsSilent([] {
        EXPECT_EQ(Set(VEXO_IPV6_MANUAL), 0);
        EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    }));
    ::stat(kFile.c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino) << "a file that is written is another file";

    Must("ip address add 2001:db8:9::9/64 dev eth0");
    WriteFile(kFile, "IPV6_METHOD=Manual\nIPV6ADDR=2001:db8:7::8\nIPV6PREFIXLENG=56\n");
    EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    EXPECT_THAT(Addresses(), AllOf(HasSubstr("2001:db8:7::8/56"), Not(HasSubstr("7::7/")),
                                   HasSubstr("2001:db8:9::9/64")));
    EXPECT_EQ(Set(VEXO_IPV6_AUTOMATIC), 0);
    EXPECT_TRUE(HasAutonomousAddress());
    EXPECT_THAT(Addresses(), AllOf(Not(HasSubstr("7::8")), HasSubstr("2001:db8:9::9/64")));

    EXPECT_EQ(Set(VEXO_IPV6_MANUAL), 0) << "and back: nothing of the router's is left";
    EXPECT_THAT(Addresses(), AllOf(HasSubstr("7::8/56"), Not(HasSubstr("2001:db8:1:"))));
    EXPECT_THAT(Routes(), AllOf(Not(HasSubstr("2001:db8:1:")), Not(HasSubstr("default"))));
}

TEST_F(Ipv6Conf, SaysWhatIsConfigured) {
    const std::pair<std::string, int> files[] = {
        {"", VEXO_IPV6_AUTOMATIC},
        {"IPV6INIT=no\n", VEXO_IPV6_OFF},
        {"IPV6INIT=no\nIPV6_METHOD=\"SLAAC-DHCP\"  # provider\n", VEXO_IPV6_STATELESS_DHCP},
        {"IPV6_METHOD=dhcp\n", VEXO_IPV6_DHCP},
        {"IPV6_METHOD=dhcp6\n", -1},
    };
    for (const auto& [text, method] : files) {
        WriteFile(kFile, text);
        EXPECT_EQ(Get(), method) << text;
    }
    for (const char* ifname :
         {"../../passwd", "all", "default", "..", "", "a b", "tolongtobeanint"}) {
        EXPECT_EQ(VEXONetIPv6ConfSet(VEXO_IPV6_OFF, ifname, nullptr, 0, nullptr), -1) << ifname;
    }
    EXPECT_EQ(Get("../../passwd"), -1);
    EXPECT_EQ(Get(nullptr), -1);
    EXPECT_EQ(ReadFile("/proc/sys/net/ipv6/conf/all/disable_ipv6"), "0\n");

    WriteFile(kFile, "IPV6ADDR=2001:db8:7::7\nIPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n");
    char address[16] = "?";
    char gateway[8] = "?";
    int prefix = -1;
    int method = -1;
    EXPECT_EQ(VEXONetIPv6ConfGet("eth0", &method, address, 13, &prefix, gateway, 8), -1);
    EXPECT_EQ(address + std::string(gateway), "??") << "no room, nothing done";
    EXPECT_EQ(VEXONetIPv6ConfGet("eth0", &method, address, 16, &prefix, gateway, 8), 0);
    EXPECT_EQ(address + std::to_string(prefix) + gateway, "2001:db8:7::764fe80::1");
}

TEST_F(Ipv6Conf, RefusesWhatCannotBeDone) {
    const SyslogSpy log;
    EXPECT_EQ(VEXONetIPv6ConfSet(VEXO_IPV6_OFF, "gone0", nullptr, 0, nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
    EXPECT_EQ(Set(5) + Set(-1), -2);
    for (const char* text : {"192.0.2.1", "ff02::1", "::1", "2001:db8::1/64", "fe80::1%eth0"}) {
        EXPECT_EQ(VEXONetIPv6ConfSet(VEXO_IPV6_MANUAL, "eth0", text, 64, nullptr), -1) << text;
    }
    EXPECT_EQ(ReadFile(kFile), "");
    log.Messages();

    Must("mount -o bind,ro /proc/sys /proc/sys");
    EXPECT_EQ(Set(VEXO_IPV6_OFF), -1);
    EXPECT_EQ(log.Messages().back(),
              "Failed to set net.ipv6.conf.eth0.disable_ipv6 to 1: Read-only file system");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_WRITE_FAILED);
}

}  // namespace
