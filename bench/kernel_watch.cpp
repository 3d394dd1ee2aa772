#include "kernel_watch.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <vexobase/unique_fd.h>
#include <vexonetlink/exchange.h>
#include <vexonetlink/link.h>
#include <vexonetlink/route.h>

namespace vexobench {
namespace {

using vexobase::UniqueFd;

constexpr char kOutside[] = "198.18.0.1";

void Check(bool good, const char* what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

vexonetlink::Datagram Hear(KernelSocket& socket) {
    vexonetlink::Datagram datagram = socket.Receive();
    Check(datagram.arrival == vexonetlink::Arrival::kMessages, "nothing heard from the kernel");
    return datagram;
}

UniqueFd OpenNamespace(const std::string& path) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    Check(bool(fd), path.c_str());
    return fd;
}

/// This thread in another network namespace.
class Visit {
  public:
    explicit Visit(const std::string& name) : home(OpenNamespace("/proc/thread-self/ns/net")) {
        Check(::setns(OpenNamespace("/run/netns/" + name).Get(), CLONE_NEWNET) == 0, "setns");
    }
    ~Visit() { ::setns(home.Get(), CLONE_NEWNET); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

  private:
    UniqueFd home;
};

}  // namespace

KernelSocket OpenKernelSocket(unsigned groups) {
    auto socket = KernelSocket::Open({.groups = groups, .deadline = std::chrono::seconds(20)});
    Check(socket.has_value(), "no socket of the kernel");
    return std::move(*socket);
}

unsigned RouteToOutside(KernelSocket& socket) {
    auto request =
        vexonetlink::RouteToRequest(vexonetlink::FromInet(in_addr{::inet_addr(kOutside)}));
    unsigned index = 0;
    // An error says that there is none.
    (void)Exchange(socket, request, [&index](const vexonetlink::Message& message) {
        if (const auto route = ReadRoute(message)) {
            index = route->oif;
        }
    });
    return index;
}

void RemoveDefaultRoute(KernelSocket& socket) {
    auto request = vexonetlink::RouteRequest(RTM_DELROUTE, 0,
                                             {.table = RT_TABLE_MAIN,
                                              .destination = {{AF_INET, {}}, 0},
                                              .type = RTN_UNSPEC,
                                              .scope = RT_SCOPE_NOWHERE});
    (void)Exchange(socket, request);
}

void KernelWatch::WaitForLink(const std::function<bool(unsigned index, bool running)>& isWanted) {
    for (bool found = false; !found;) {
        vexonetlink::Datagram datagram = Hear(events);
        while (const auto message = datagram.messages.Next()) {
            const auto link = vexonetlink::FixedHeader<ifinfomsg>(*message);
            if (link && message->type == RTM_NEWLINK) {
                found |= isWanted(unsigned(link->ifi_index), (link->ifi_flags & IFF_RUNNING) != 0);
            }
        }
    }
}

void KernelWatch::WaitForRouteBy(unsigned index) {
    while (RouteToOutside(requests) != index) {
        Hear(events);
    }
}

FarEnd::FarEnd(const std::string& provider) {
    const Visit visit(provider);
    socket.emplace(OpenKernelSocket());
    index = ::if_nametoindex("far");
}

void FarEnd::Set(bool up) {
    auto request = vexonetlink::FlagsRequest(index, up ? IFF_UP : 0, IFF_UP);
    Check(ToStatus(Exchange(*socket, request)) == 0, "the far end stays as it is");
}

}  // namespace vexobench
