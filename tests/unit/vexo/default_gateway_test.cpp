#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include <vexo/default_gateway.h>
#include <vexobase/unique_fd.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

/// How many removals of routes the kernel still takes; -1 for any number.
int removalsAllowed = -1;

}  // namespace

// The libraries' requests to the kernel pass here.
extern "C" ssize_t mnl_socket_sendto(const mnl_socket* socket, const void* request, size_t size) {
    using SendTo = ssize_t (*)(const mnl_socket*, const void*, size_t);
    static const auto next = reinterpret_cast<SendTo>(::dlsym(RTLD_NEXT, "mnl_socket_sendto"));
    if (static_cast<const nlmsghdr*>(request)->nlmsg_type == RTM_DELROUTE && removalsAllowed >= 0
        && removalsAllowed-- == 0) {
        removalsAllowed = -1;
        errno = EPERM;
        return -1;
    }
    return next(socket, request, size);
}

namespace {

using vexotest::Must;
using vexotest::SyslogSpy;

class DefaultGateway : public testing::Test {
  protected:
    DefaultGateway() {
        AddLink("eth0", "192.0.2.10/24");
        AddLink("eth1", "198.51.100.10/24");
    }

    static void AddLink(const std::string& ifname, const std::string& address) {
        Must("ip link add " + ifname + " type veth peer name p" + ifname);
        Must("ip link set p" + ifname + " up");
        Must("ip link set " + ifname + " up");
        Must("ip address add " + address + " dev " + ifname);
    }

    static void AddRoutes(const std::vector<std::string>& routes) {
        for (const std::string& route : routes) {
            Must("ip -4 route append " + route);
        }
    }

    static std::string Get() {
        char gateway[20] = "untouched";
        return VEXONetDefaultGatewayGet(gateway, sizeof gateway) == 0 ? gateway : "failed";
    }

    /// The main table's default routes as `ip` shows them.
    static std::string Shown() { return Must("ip route show default"); }
};

TEST_F(DefaultGateway, GetsTheGatewayOfLowestMetric) {
    const struct {
        std::vector<std::string> routes;
        std::string gateway;
    } cases[] = {
        {{}, ""},
        {{"default via 192.0.2.1 metric 100", "default via 198.51.100.1 metric 50"},
         "198.51.100.1"},
        {{"default via 192.0.2.1 metric 3000000000", "default via 192.0.2.2 metric 1"},
         "192.0.2.2"},
        {{"default dev eth1", "default via 192.0.2.1 metric 10"}, "192.0.2.1"},
        {{"default dev eth1"}, ""},
        {{"blackhole default metric 1", "default via 192.0.2.1 metric 10"}, "192.0.2.1"},
        {{"default via inet6 fe80::1 dev eth0", "default via 192.0.2.1 metric 10"}, "192.0.2.1"},
        {{"default via 192.0.2.1 table 100"}, ""},
        {{"0.0.0.0/1 via 192.0.2.1", "128.0.0.0/1 via 192.0.2.1"}, ""},
        {{"default nexthop via 198.51.100.7 nexthop via 192.0.2.1 weight 9"}, "198.51.100.7"},
    };
    for (const auto& [routes, gateway] : cases) {
        SCOPED_TRACE(routes.empty() ? "none" : routes.front());
        AddRoutes(routes);
        EXPECT_EQ(Get(), gateway);
        for (const std::string& route : routes) {
            Must("ip -4 route delete " + route);
        }
    }
    char small[11] = "untouched";
    AddRoutes({"default via 192.0.2.123"});
    EXPECT_EQ(VEXONetDefaultGatewayGet(small, sizeof small), -1);
    EXPECT_STREQ(small, "untouched");
}

const std::vector<std::string> kManyKinds = {
    "default via 192.0.2.1",
    "default via 192.0.2.2 dev eth0 proto dhcp src 192.0.2.10 metric 10 mtu 1400",
    "default dev eth1 scope link metric 20",
    "default metric 30 nexthop via 192.0.2.3 weight 2 nexthop via 198.51.100.3",
    "default via 203.0.113.1 dev eth0 onlink metric 40",
    "default via inet6 fe80::1 dev eth0 metric 50",
    "default nhid 7 metric 60",
    "default via 192.0.2.4 tos 0x10 metric 70",
};

TEST_F(DefaultGateway, ReplacesRoutesOfEveryKindAndNoOthers) {
    Must("ip nexthop add id 7 via 192.0.2.9 dev eth0");
    AddRoutes(kManyKinds);
    AddRoutes({"default via 192.0.2.1 table 100", "unreachable default metric 4000000000",
               "10.0.0.0/8 via 192.0.2.1"});
    EXPECT_EQ(VEXONetDefaultGatewaySet("192.0.2.7"), 0);
    const std::string unreachable = "unreachable default metric 4000000000 \n";
    EXPECT_EQ(Shown(), "default via 192.0.2.7 dev eth0 proto static \n" + unreachable);
    EXPECT_EQ(Get(), "192.0.2.7");

    EXPECT_EQ(VEXONetDefaultGatewaySet(""), 0);
    EXPECT_EQ(Shown(), unreachable);
    EXPECT_EQ(VEXONetDefaultGatewaySet(nullptr), 0) << "nothing to remove";
    EXPECT_EQ(Must("ip route show table 100"), "default via 192.0.2.1 dev eth0 \n");
    EXPECT_EQ(Must("ip route show 10.0.0.0/8"), "10.0.0.0/8 via 192.0.2.1 dev eth0 \n");
}

TEST_F(DefaultGateway, TakesAGatewayThatIsAlreadyThere) {
    AddRoutes({"default via 192.0.2.1 proto static", "default via 192.0.2.7 proto static",
               "default via 192.0.2.8 metric 5"});
    const std::string alone = "default via 192.0.2.7 dev eth0 proto static \n";
    EXPECT_EQ(VEXONetDefaultGatewaySet("192.0.2.7"), 0);
    EXPECT_EQ(Shown(), alone);
    EXPECT_EQ(VEXONetDefaultGatewaySet("192.0.2.7"), 0);
    EXPECT_EQ(Shown(), alone);
}

TEST_F(DefaultGateway, RefusesBadGatewaysBeforeAnythingGoes) {
    AddRoutes({"default via 192.0.2.1", "default via 198.51.100.1 metric 10"});
    const std::string before = Shown();
    const SyslogSpy log;
    for (const char* gateway : {"192.0.2.256", "192.0.2.1 ", "0.0.0.0", "2001:db8::1", "default",
                                "203.0.113.1" /* not on a link */}) {
        EXPECT_EQ(VEXONetDefaultGatewaySet(gateway), -1) << gateway;
        EXPECT_EQ(Shown(), before) << gateway;
    }
    EXPECT_TRUE(log.Has("default_gateway", "[0.0.0.0] is no address of a default gateway"));
    EXPECT_TRUE(
        log.Has("default_gateway", "Failed to set the default gateway: Network is unreachable"));
}

TEST_F(DefaultGateway, PutsFormerRoutesBack) {
    Must("ip nexthop add id 7 via 192.0.2.9 dev eth0");
    AddRoutes(kManyKinds);
    const std::string before = Shown();
    for (const char* gateway : {"192.0.2.7", "192.0.2.1", ""}) {
        for (const int allowed : {0, 3, 6}) {
            SCOPED_TRACE(gateway + std::string(" after ") + std::to_string(allowed));
            removalsAllowed = allowed;
            EXPECT_EQ(VEXONetDefaultGatewaySet(gateway), -1);
            EXPECT_EQ(Shown(), before);
        }
    }
}

TEST_F(DefaultGateway, LeavesNoPacketWithoutARoute) {
    AddRoutes({"default via 192.0.2.1", "default via 192.0.2.2 metric 10"});
    const vexobase::UniqueFd events(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_ROUTE;
    ASSERT_EQ(::bind(events.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(VEXONetDefaultGatewaySet("198.51.100.1"), 0);

    std::vector<int> seen;
    alignas(nlmsghdr) char message[8192];
    while (::recv(events.Get(), message, sizeof message, 0) > 0) {
        seen.push_back(reinterpret_cast<const nlmsghdr*>(message)->nlmsg_type);
    }
    EXPECT_EQ(seen, (std::vector<int>{RTM_NEWROUTE, RTM_DELROUTE}));
}

TEST(DefaultGatewayWithoutRoutes, IsEmpty) {
    char gateway[20] = "untouched";
    EXPECT_EQ(VEXONetDefaultGatewayGet(gateway, sizeof gateway), 0);
    EXPECT_STREQ(gateway, "");
    EXPECT_EQ(VEXONetDefaultGatewaySet(nullptr), 0);
}

TEST(DefaultGatewayConf, KeepsTheConfiguredGateway) {
    char gateway[20] = "untouched";
    EXPECT_EQ(VEXONetDefaultGatewayGetConf(gateway, sizeof gateway), 0);
    EXPECT_STREQ(gateway, "");
    EXPECT_EQ(VEXONetDefaultGatewaySetConf("192.0.2.1"), 0) << "the folder is made, too";
    vexotest::WriteFile("/etc/sysconfig/network", "HOSTNAME=nas\nGATEWAY=192.0.2.1\n");
    EXPECT_EQ(VEXONetDefaultGatewayGetConf(gateway, sizeof gateway), 0);
    EXPECT_STREQ(gateway, "192.0.2.1");
    EXPECT_EQ(VEXONetDefaultGatewayGetConf(gateway, 9), -1) << "too small, not cut short";

    EXPECT_EQ(VEXONetDefaultGatewaySetConf("192.0.2\nX=1"), -1);
    EXPECT_EQ(VEXONetDefaultGatewaySetConf(nullptr), 0);
    EXPECT_EQ(vexotest::ReadFile("/etc/sysconfig/network"), "HOSTNAME=nas\nGATEWAY=\n");
}

}  // namespace
