#pragma once

#include <linux/rtnetlink.h>

#include <functional>
#include <optional>
#include <string>

#include <vexonetlink/socket.h>

namespace vexobench {

using KernelSocket = vexonetlink::Socket;

/// A socket of rtnetlink(7), on which nothing is waited for longer than 20 s. Throws
/// std::runtime_error, as everything here does when the kernel refuses or stays silent.
/// @param groups  RTMGRP_… to listen to
KernelSocket OpenKernelSocket(unsigned groups = 0);

/// Index of the interface by which the kernel routes an address of the Internet; 0 for none.
unsigned RouteToOutside(KernelSocket& socket);

/// Takes the main table's default route away, if there is one.
void RemoveDefaultRoute(KernelSocket& socket);

/// What the kernel tells of links and of IPv4 routes.
class KernelWatch {
  public:
    /// Waits until `isWanted` says so of a link and whether it runs.
    void WaitForLink(const std::function<bool(unsigned index, bool running)>& isWanted);

    /// Waits until the kernel routes the Internet by an interface; looks after each message.
    void WaitForRouteBy(unsigned index);

  private:
    KernelSocket events = OpenKernelSocket(RTMGRP_LINK | RTMGRP_IPV4_ROUTE);
    KernelSocket requests = OpenKernelSocket();
};

/// An interface in another network namespace, "far" in that of a provider.
class FarEnd {
  public:
    explicit FarEnd(const std::string& provider);

    /// Has changed it when it returns, without a program that is still busy with its own end.
    void Set(bool up);

  private:
    std::optional<KernelSocket> socket;
    unsigned index;
};

}  // namespace vexobench
