#include "kernel_follower.h"

#include <linux/rtnetlink.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include <vexobase/log.h>
#include <vexonetlink/snapshot.h>

namespace conflictd {
namespace {

using vexonetlink::Arrival;

constexpr int kMaxDatagrams = 64;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

vexonetlink::Socket Listen() {
    auto socket = vexonetlink::Socket::Open({.groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR});
    if (!socket) {
        Fail("cannot follow the kernel's interfaces");
    }
    return std::move(*socket);
}

void Apply(const vexonetlink::Message& message, InterfaceTable& table) {
    if (const auto link = ReadLink(message)) {
        table.Apply(*link);
    } else if (const auto address = ReadAddress(message)) {
        table.Apply(*address);
    }
}

}  // namespace

KernelFollower::KernelFollower() : socket(Listen()) {}

bool KernelFollower::Read(InterfaceTable& table) {
    const bool isDrained = Follow(table);
    // Only now: what waited would undo what is found, and with room left nothing gets lost.
    if (!isWhole && isDrained) {
        TakeAnew(table);
    }
    return isWhole && std::exchange(hasChanged, false);
}

/// @return whether nothing waits any more
bool KernelFollower::Follow(InterfaceTable& table) {
    for (int count = 0; count < kMaxDatagrams; ++count) {
        vexonetlink::Datagram datagram = socket.Poll();
        if (datagram.arrival == Arrival::kEmpty) {
            return true;
        }
        if (datagram.arrival == Arrival::kFailed) {
            Fail("cannot hear the kernel");
        }
        if (datagram.arrival != Arrival::kMessages && std::exchange(isWhole, false)) {
            VEXO_LOG(LOG_NOTICE, "Asking the kernel anew: more happened than could be followed");
        }
        hasChanged = true;
        while (const auto message = datagram.messages.Next()) {
            Apply(*message, table);
        }
    }
    return false;
}

void KernelFollower::TakeAnew(InterfaceTable& table) {
    const auto snapshot = vexonetlink::TakeSnapshot();
    if (!snapshot && errno != EINTR) {
        Fail("the kernel does not tell its interfaces");
    }
    if (!snapshot) {
        return;  // they change all the time; the next turn tries again
    }
    table.Clear();
    for (const vexonetlink::Link& link : snapshot->links) {
        table.Apply(link);
    }
    for (const vexonetlink::InterfaceAddress& address : snapshot->addresses) {
        table.Apply(address);
    }
    isWhole = true;
    hasChanged = true;
}

}  // namespace conflictd
