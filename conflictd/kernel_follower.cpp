#include "kernel_follower.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <vexobase/log.h>

namespace conflictd {
namespace {

constexpr int kMostDatagrams = 64;

/// No message of the kernel is larger.
struct alignas(nlmsghdr) Buffer : std::array<char, 32768> {};

[[noreturn]] void Fail(const char* what, int error = errno) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

KernelFollower::KernelFollower()
    : fd(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
    if (!fd || ::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        Fail("cannot follow the kernel's interfaces");
    }
    Ask(Stage::kLinks);
}

void KernelFollower::Ask(Stage wanted) {
    alignas(nlmsghdr) std::array<char, NLMSG_SPACE(sizeof(ifinfomsg))> buffer{};
    nlmsghdr* const request = mnl_nlmsg_put_header(buffer.data());
    request->nlmsg_type = wanted == Stage::kLinks ? RTM_GETLINK : RTM_GETADDR;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    if (wanted == Stage::kLinks) {
        mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg));
    } else {
        auto* const header =
            static_cast<ifaddrmsg*>(mnl_nlmsg_put_extra_header(request, sizeof(ifaddrmsg)));
        header->ifa_family = AF_INET;
    }
    if (::send(fd.Get(), request, request->nlmsg_len, 0) < 0) {
        Fail("cannot ask the kernel for its interfaces");
    }
    stage = wanted;
}

bool KernelFollower::Read(InterfaceTable& table) {
    Buffer buffer;
    for (int count = 0; count < kMostDatagrams; ++count) {
        const ssize_t length = ::recv(fd.Get(), buffer.data(), buffer.size(), 0);
        if (length < 0 && errno == EAGAIN) {
            break;
        }
        if (length < 0 && errno != ENOBUFS && errno != EINTR) {
            Fail("cannot hear the kernel");
        }
        if (length < 0) {
            hasLost |= errno == ENOBUFS;
            continue;
        }
        hasChanged = true;
        int left = static_cast<int>(length);
        for (const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
             mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
            Handle(*message, table);
        }
    }
    // The kernel answers one question at a time: while it answers, OnAnswered asks anew.
    if (stage == Stage::kFollowing && std::exchange(hasLost, false)) {
        VEXO_LOG(LOG_NOTICE, "Asking the kernel anew: more happened than could be followed");
        table.Clear();
        Ask(Stage::kLinks);
    }
    return stage == Stage::kFollowing && std::exchange(hasChanged, false);
}

void KernelFollower::Handle(const nlmsghdr& message, InterfaceTable& table) {
    hasLost |= (message.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
    if (message.nlmsg_type == NLMSG_DONE) {
        OnAnswered(table);
    } else if (message.nlmsg_type == NLMSG_ERROR) {
        const auto* const error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(&message));
        Fail("the kernel does not tell its interfaces", -error->error);
    } else if (const auto link = vexonetwork::ReadLinkMessage(&message)) {
        table.Apply(*link);
    } else if (const auto address = vexonetwork::ReadAddressMessage(&message)) {
        table.Apply(*address);
    }
}

void KernelFollower::OnAnswered(InterfaceTable& table) {
    if (std::exchange(hasLost, false)) {
        table.Clear();
        Ask(Stage::kLinks);
    } else if (stage == Stage::kLinks) {
        Ask(Stage::kAddresses);
    } else {
        stage = Stage::kFollowing;
    }
}

}  // namespace conflictd
