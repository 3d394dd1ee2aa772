#include "nftables/ruleset_events.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <cerrno>

namespace vexonetwork::nftables {

vexobase::UniqueFd ListenToRulesets() {
    vexobase::UniqueFd socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_NETFILTER));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1U << (NFNLGRP_NFTABLES - 1);
    if (socket
        && ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        socket.Reset();
        errno = error;
    }
    return socket;
}

void DrainRulesets(const vexobase::UniqueFd& socket) {
    char byte = 0;
    while (socket && (::recv(socket.Get(), &byte, sizeof byte, 0) >= 0 || errno == ENOBUFS)) {
    }
}

}  // namespace vexonetwork::nftables
