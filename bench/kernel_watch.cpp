#include "kernel_watch.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <vexobase/unique_fd.h>

namespace vexobench {
namespace {

using vexobase::UniqueFd;

constexpr char kOutside[] = "198.18.0.1";

void Check(bool good, const char* what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// The messages of one datagram.
class Datagram {
  public:
    explicit Datagram(const KernelSocket& socket)
        : length(mnl_socket_recvfrom(socket.Get(), buffer.data(), buffer.size())) {
        Check(length > 0, "nothing heard from the kernel");
    }

    const nlmsghdr* First() const { return reinterpret_cast<const nlmsghdr*>(buffer.data()); }

    template <typename Visit>
    void ForEach(const Visit& visit) const {
        int left = static_cast<int>(length);
        for (const nlmsghdr* m = First(); mnl_nlmsg_ok(m, left); m = mnl_nlmsg_next(m, &left)) {
            visit(*m);
        }
    }

  private:
    alignas(nlmsghdr) std::array<char, 32768> buffer;
    ssize_t length;
};

/// A request with its fixed header, for one acknowledgement or one answer.
class Request {
  public:
    Request(std::uint16_t type, std::uint16_t flags)
        : message(mnl_nlmsg_put_header(buffer.data())) {
        message->nlmsg_type = type;
        message->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    }

    template <typename Header>
    Header& Put() {
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(message, sizeof(Header)));
    }
    void Put(std::uint16_t type, unsigned value) { mnl_attr_put_u32(message, type, value); }

    Datagram Answer(const KernelSocket& socket) const {
        Check(mnl_socket_sendto(socket.Get(), message, message->nlmsg_len) > 0, "not sent");
        return Datagram(socket);
    }

  private:
    alignas(nlmsghdr) std::array<char, 256> buffer{};
    nlmsghdr* message;
};

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
    KernelSocket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    Check(bool(socket) && mnl_socket_bind(socket.Get(), groups, MNL_SOCKET_AUTOPID) == 0,
          "no socket of the kernel");
    constexpr timeval kLongest{.tv_sec = 20, .tv_usec = 0};
    ::setsockopt(mnl_socket_get_fd(socket.Get()), SOL_SOCKET, SO_RCVTIMEO, &kLongest,
                 sizeof kLongest);
    return socket;
}

unsigned RouteToOutside(const KernelSocket& socket) {
    Request request(RTM_GETROUTE, 0);
    auto& header = request.Put<rtmsg>();
    header.rtm_family = AF_INET;
    header.rtm_dst_len = 32;
    request.Put(RTA_DST, ::inet_addr(kOutside));
    const Datagram answer = request.Answer(socket);
    if (answer.First()->nlmsg_type != RTM_NEWROUTE) {
        return 0;
    }
    unsigned index = 0;
    const auto keepOutgoing = [](const nlattr* attribute, void* place) {
        if (mnl_attr_get_type(attribute) == RTA_OIF) {
            *static_cast<unsigned*>(place) = mnl_attr_get_u32(attribute);
        }
        return MNL_CB_OK;
    };
    mnl_attr_parse(answer.First(), sizeof(rtmsg), keepOutgoing, &index);
    return index;
}

void RemoveDefaultRoute(const KernelSocket& socket) {
    Request request(RTM_DELROUTE, NLM_F_ACK);
    auto& header = request.Put<rtmsg>();
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_scope = RT_SCOPE_NOWHERE;
    request.Answer(socket);
}

void KernelWatch::WaitForLink(const std::function<bool(unsigned index, bool running)>& isWanted) {
    for (bool found = false; !found;) {
        Datagram(events).ForEach([&](const nlmsghdr& message) {
            if (message.nlmsg_type == RTM_NEWLINK) {
                const auto* link = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message));
                found |= isWanted(unsigned(link->ifi_index), (link->ifi_flags & IFF_RUNNING) != 0);
            }
        });
    }
}

void KernelWatch::WaitForRouteBy(unsigned index) {
    while (RouteToOutside(requests) != index) {
        Datagram{events};
    }
}

FarEnd::FarEnd(const std::string& provider) {
    const Visit visit(provider);
    socket = OpenKernelSocket();
    index = ::if_nametoindex("far");
}

void FarEnd::Set(bool up) const {
    Request request(RTM_NEWLINK, NLM_F_ACK);
    auto& header = request.Put<ifinfomsg>();
    header.ifi_index = static_cast<int>(index);
    header.ifi_change = IFF_UP;
    header.ifi_flags = up ? IFF_UP : 0;
    request.Answer(socket);
}

}  // namespace vexobench
