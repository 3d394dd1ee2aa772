// ifcfg files against the kernel: what they say is put, what does not differ is not touched.

#include <gmock/gmock.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include <vexonetlink/socket.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"
#include "vexo/interfaces/dhcp_client.h"
#include "vexonetsdk/sdk_s.h"

namespace {

using namespace testing;
using vexonetsdk::sdk_s::BlVEXOLnxIsDHCP_S;
using vexonetsdk::sdk_s::VLIBNetIfLinkUpEvent_S;
using namespace vexotest;

/// Configures an interface by a new file, or by the former one.
int SetCard(const std::string& text = "", const char* ifname = "eth0") {
    if (!text.empty()) {
        vexotest::WriteFile(std::string("/etc/sysconfig/network-scripts/ifcfg-") + ifname, text);
    }
    VEXONETIFINFO info{};
    std::snprintf(info.ifname, sizeof info.ifname, "%s", ifname);
    return vexonetsdk::sdk_s::VEXONetSetCard1_S(&info);
}

std::string Addresses() {
    return Must("ip -4 -o address show dev eth0");
}

class InterfaceSetup : public testing::Test {
  protected:
    InterfaceSetup() {
        Must("ip link add eth0 up type veth peer name far");
        Must("ip link set far up");
    }

    /// What the kernel has reported since the last call. It reports a change before it
    /// acknowledges the request, so nothing is still to come when a call has returned.
    std::vector<int> Events() {
        std::vector<int> types;
        // The kernel tells each change in a datagram of its own.
        while (auto message = kernel.Poll().messages.Next()) {
            types.push_back(message->type);
        }
        return types;
    }

    vexonetlink::Socket kernel = *vexonetlink::Socket::Open(
        {.groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE});
};

TEST_F(InterfaceSetup, PutsWhatDiffersAndIsSilentOtherwise) {
    EXPECT_EQ(SetCard("# office\r\n  BOOTPROTO = \"Static\"\r\nIPADDR='192.0.2.10'  # uplink\r\n"
                      "NETMASK=255.255.255.0\r\nMTU=1400\r\nGATEWAY=192.0.2.1\r\nPREFIX=\r\n"),
              0);
    EXPECT_THAT(Addresses(), HasSubstr("192.0.2.10/24 brd 192.0.2.255 scope global eth0"));
    EXPECT_THAT(Must("ip link show eth0"), HasSubstr("mtu 1400"));
    Must("ip address add 203.0.113.1/32 dev eth0");

    Events();
    EXPECT_EQ(SetCard(), 0);
    EXPECT_EQ(VLIBNetIfLinkUpEvent_S("eth0"), 0);
    EXPECT_EQ(SetCard("", "absent"), 0) << "an interface without a file is as it should be";
    EXPECT_THAT(Events(), ElementsAre());
    Must("ip address replace 192.0.2.10/24 dev eth0 valid_lft 99 preferred_lft 9");
    EXPECT_EQ(SetCard(), 0);
    EXPECT_THAT(Addresses(), Not(HasSubstr("dynamic"))) << "it would run out";
}

TEST_F(InterfaceSetup, AChangedAddressTakesNothingElseAlong) {
    for (const char* promote : {"0", "1"}) {
        vexotest::WriteFile("/proc/sys/net/ipv4/conf/eth0/promote_secondaries", promote);
        ASSERT_EQ(SetCard("IPADDR=192.0.2.10\nPREFIX=24\n"), 0);
        Must("ip route replace default via 192.0.2.1 src 192.0.2.10");
        Must("ip route replace 10.0.0.0/8 via 192.0.2.1");
        EXPECT_EQ(SetCard("IPADDR=192.0.2.20\nPREFIX=24\n"), 0);
        EXPECT_EQ(Must("ip -4 route show via 192.0.2.1"),
                  "default dev eth0 \n10.0.0.0/8 dev eth0 \n");

        Must("ip address add 192.0.2.100/24 dev eth0 label eth0:ha valid_lft 99 preferred_lft 9");
        Must("ip address add 198.51.100.1/24 dev eth0");
        EXPECT_EQ(SetCard("IPADDR=192.0.2.30\nPREFIX=24\n"), 0);
        EXPECT_EQ(Events().back(), RTM_NEWADDR) << "who keeps one address keeps the new one";
        for (const char* kept : {"192.0.2.30/24", "198.51.100.1/24", "dynamic eth0:ha"}) {
            EXPECT_THAT(Addresses(), HasSubstr(kept));
        }
        for (const char* gone : {"192.0.2.10/24", "192.0.2.20/24", "/32"}) {
            EXPECT_THAT(Addresses(), Not(HasSubstr(gone)));
        }
        EXPECT_EQ(SetCard("BOOTPROTO=none\n"), 0);
        EXPECT_THAT(Addresses(), Not(HasSubstr("192.0.2.30")));
        Must("ip address flush dev eth0");
    }
}

TEST_F(InterfaceSetup, WhatAFileSaysAmissIsToldAndTheRestIsDone) {
    ASSERT_EQ(SetCard("IPADDR=192.0.2.10\nPREFIX=24\nMTU=1400\n"), 0);
    const std::string before = Addresses();
    const std::array<std::string, 3> cases[] = {
        {"IPADDR=192.0.2.300", "PREFIX=24\n", "it is no IPv4 address of an interface"},
        {"IPADDR", "IPADDR=192.0.2.20\n", "neither PREFIX nor NETMASK is given"},
        {"PREFIX=33", "IPADDR=192.0.2.20\nNETMASK=255.255.255.0\n",
         "it is no prefix length and no netmask"},
        {"MTU=67", "IPADDR=192.0.2.10\nPREFIX=24\n", "it is no number from 68 to 65535"},
        {"BOOTPROTO=bootp", "IPADDR=192.0.2.10\nPREFIX=24\n",
         "it is none of dhcp, static and none"},
    };
    for (const auto& [line, others, reason] : cases) {
        const SyslogSpy log;
        EXPECT_EQ(SetCard(line + "\n" + others), 0) << line;
        EXPECT_THAT(log.Messages(),
                    ElementsAre("Interface [eth0]: " + line + " is left out: " + reason));
        EXPECT_EQ(Addresses(), before) << line;
    }
    EXPECT_EQ(SetCard("MTU=1400\n", "nope"), -1) << "there is none";
}

TEST_F(InterfaceSetup, AsksForDhcpWhereTheFileDoes) {
    EXPECT_EQ(SetCard("IPADDR=192.0.2.10\nPREFIX=24\n"), 0);
    for (const char* ifname : {"eth0", "absent", "../../passwd", ""}) {
        EXPECT_FALSE(BlVEXOLnxIsDHCP_S(ifname)) << ifname;
    }
    const SyslogSpy log;
    EXPECT_EQ(SetCard("BOOTPROTO=DHCP\nIPADDR=192.0.2.10\nPREFIX=24\n"), -1);
    EXPECT_TRUE(BlVEXOLnxIsDHCP_S("eth0"));
    EXPECT_EQ(Addresses(), "") << "the static address goes";
    EXPECT_EQ(SetCard("BOOTPROTO=dhcp\nSLAVE=yes\nMTU=1400\n"), 0);
    EXPECT_FALSE(BlVEXOLnxIsDHCP_S("eth0"));
    EXPECT_THAT(Must("ip link show eth0"), HasSubstr("mtu 1400"));
    EXPECT_THAT(log.Messages(),
                ElementsAre("No system manager is running",
                            "Interface [eth0]: BOOTPROTO and IPADDR are left out: SLAVE=yes"));
    EXPECT_EQ(vexoplatform::RestartDhcpClient("-r"), -1);
}

}  // namespace
