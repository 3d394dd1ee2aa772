#include "network/routing/routing_watch.h"

#include <arpa/inet.h>
#include <linux/fib_rules.h>
#include <linux/filter.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include <vexobase/log.h>

#include "network/routing/kernel_route.h"
#include "nftables/ruleset_events.h"

namespace vexonetwork::network {
namespace {

constexpr unsigned Group(unsigned number) {
    return 1U << (number - 1);
}
constexpr unsigned kGroups = Group(RTNLGRP_IPV4_ROUTE) | Group(RTNLGRP_IPV4_RULE)
                             | Group(RTNLGRP_IPV6_ROUTE) | Group(RTNLGRP_IPV6_RULE);

/// Only what is taken away and carries our protocol number: the tables of a router on the Internet
/// change all the time. Filters read in network order, messages are in that of the host.
bool LeaveOutOthers(int fd) {
    constexpr unsigned kType = offsetof(nlmsghdr, nlmsg_type);
    constexpr unsigned kRouteProtocol = NLMSG_HDRLEN + offsetof(rtmsg, rtm_protocol);
    constexpr unsigned kRuleAttributes = NLMSG_HDRLEN + sizeof(fib_rule_hdr);
    constexpr unsigned kFindAttribute = static_cast<unsigned>(SKF_AD_OFF + SKF_AD_NLATTR);
    std::array<sock_filter, 13> program{{
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, kType),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_DELRULE), 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_DELROUTE), 0, 9),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, kRouteProtocol),
        BPF_JUMP(BPF_JMP | BPF_JA, 5, 0, 0),
        BPF_STMT(BPF_LD | BPF_IMM, kRuleAttributes),
        BPF_STMT(BPF_LDX | BPF_IMM, FRA_PROTOCOL),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFindAttribute),
        BPF_STMT(BPF_MISC | BPF_TAX, 0),
        BPF_STMT(BPF_LD | BPF_B | BPF_IND, NLA_HDRLEN),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kOurProtocol, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xffffffff),
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return ::setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
}

vexobase::UniqueFd ListenToRouting() {
    vexobase::UniqueFd socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kGroups;
    if (socket
        && (!LeaveOutOthers(socket.Get())
            || ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address)
                   != 0)) {
        const int error = errno;
        socket.Reset();
        errno = error;
    }
    return socket;
}

/// What is lost for want of room has been there too.
void Empty(const vexobase::UniqueFd& socket) {
    char byte = 0;
    while (socket && (::recv(socket.Get(), &byte, sizeof byte, 0) >= 0 || errno == ENOBUFS)) {
    }
}

}  // namespace

RoutingWatch::RoutingWatch() : all(::epoll_create1(EPOLL_CLOEXEC)) {
    routing = ListenToRouting();
    Add("rules and routes", routing);
    rulesets = nftables::ListenToRulesets();
    Add("nftables", rulesets);
}

void RoutingWatch::Add(const char* what, vexobase::UniqueFd& socket) const {
    epoll_event readable{.events = EPOLLIN, .data = {}};
    if (!socket || ::epoll_ctl(all.Get(), EPOLL_CTL_ADD, socket.Get(), &readable) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to listen to changes of %s: %s", what, ::strerror(errno));
        socket.Reset();
    }
}

void RoutingWatch::Drain() const {
    Empty(routing);
    Empty(rulesets);
}

}  // namespace vexonetwork::network
