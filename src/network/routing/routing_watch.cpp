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
#include <optional>

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
std::optional<vexonetlink::Socket> ListenToRouting() {
    constexpr unsigned kType = offsetof(nlmsghdr, nlmsg_type);
    constexpr unsigned kRouteProtocol = NLMSG_HDRLEN + offsetof(rtmsg, rtm_protocol);
    constexpr unsigned kRuleAttributes = NLMSG_HDRLEN + sizeof(fib_rule_hdr);
    constexpr unsigned kFindAttribute = static_cast<unsigned>(SKF_AD_OFF + SKF_AD_NLATTR);
    const std::array<sock_filter, 13> program{{
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
    return vexonetlink::Socket::Open({.groups = kGroups, .filter = program});
}

}  // namespace

RoutingWatch::RoutingWatch() : all(::epoll_create1(EPOLL_CLOEXEC)) {
    routing = ListenToRouting();
    Add("rules and routes", routing ? routing->Descriptor() : -1);
    rulesets = nftables::ListenToRulesets();
    Add("nftables", rulesets.Get());
}

void RoutingWatch::Add(const char* what, int socket) const {
    epoll_event readable{.events = EPOLLIN, .data = {}};
    if (socket < 0 || ::epoll_ctl(all.Get(), EPOLL_CTL_ADD, socket, &readable) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to listen to changes of %s: %s", what, ::strerror(errno));
    }
}

void RoutingWatch::Drain() {
    if (routing) {
        routing->Drain();
    }
    nftables::DrainRulesets(rulesets);
}

}  // namespace vexonetwork::network
