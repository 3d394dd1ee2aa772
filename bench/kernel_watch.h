#pragma once

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <functional>
#include <string>

#include <vexobase/unique_handle.h>

namespace vexobench {

inline void CloseSocket(mnl_socket* socket) {
    mnl_socket_close(socket);
}
using KernelSocket = vexobase::UniqueHandle<mnl_socket, CloseSocket>;

/// A socket of rtnetlink(7), on which nothing is waited for longer than 20 s. Throws
/// std::runtime_error, as everything here does when the kernel refuses or stays silent.
/// @param groups  RTMGRP_… to listen to
KernelSocket OpenKernelSocket(unsigned groups = 0);

/// Index of the interface by which the kernel routes an address of the Internet; 0 for none.
unsigned RouteToOutside(const KernelSocket& socket);

/// Takes the main table's default route away, if there is one.
void RemoveDefaultRoute(const KernelSocket& socket);

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
    void Set(bool up) const;

  private:
    KernelSocket socket;
    unsigned index;
};

}  // namespace vexobench
