#include "network/routing/route_socket.h"

#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "network/routing/route_message.h"

namespace vexonetwork::network {
namespace {

// The kernel fills its dump messages up to the room it was seen to get, at most this much.
constexpr std::size_t kBufferSize = 32768;
constexpr std::size_t kMostInOneGo = kBufferSize / kMostMessageBytes;
constexpr int kMostAttempts = 16;

/// The kernel answers at once, but for an answer that got lost nobody must wait forever.
constexpr timeval kPatience{5, 0};

int ErrorOf(const nlmsghdr& message) {
    const auto* error = static_cast<const int*>(mnl_nlmsg_get_payload(&message));
    return mnl_nlmsg_get_payload_len(&message) < sizeof *error ? EBADMSG : -*error;
}

/// What the kernel says of an error beside its number (NLMSGERR_ATTR_MSG).
std::string ReasonOf(const nlmsghdr& message) {
    std::string reason = ::strerror(ErrorOf(message));
    if ((message.nlmsg_flags & NLM_F_ACK_TLVS) == 0) {
        return reason;
    }
    // With NETLINK_CAP_ACK, only the header of the refused message stands before them.
    ForEachAttribute(message, sizeof(nlmsgerr), [&reason](const nlattr& attribute) {
        if (mnl_attr_get_type(&attribute) == NLMSGERR_ATTR_MSG
            && mnl_attr_validate(&attribute, MNL_TYPE_NUL_STRING) == 0) {
            reason = mnl_attr_get_str(&attribute);
        }
    });
    return reason;
}

/// A table that was never filled is empty, and so is a family that the kernel lacks.
template <typename Values>
std::optional<Values> NoneIfUnknown(std::optional<Values> values) {
    const bool isUnknown = !values && (errno == ENOENT || errno == EAFNOSUPPORT);
    return isUnknown ? std::optional<Values>(std::in_place) : std::move(values);
}

struct MessageKind {
    int type;
    int flags;
};

MessageKind KindOf(const Change& change) {
    const bool isRoute = std::holds_alternative<Route>(change.object);
    switch (change.action) {
        case Action::ADD:
            // With NLM_F_EXCL the kernel compares a rule with all others, and would find a foreign
            // twin, which serves only for as long as its owner likes.
            return isRoute ? MessageKind{RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL}
                           : MessageKind{RTM_NEWRULE, NLM_F_CREATE};
        case Action::REPLACE:
            return {isRoute ? RTM_NEWROUTE : RTM_NEWRULE, NLM_F_CREATE | NLM_F_REPLACE};
        case Action::REMOVE:
            break;
    }
    return {isRoute ? RTM_DELROUTE : RTM_DELRULE, 0};
}

nlmsghdr& PutChange(char* place, const Change& change, std::uint32_t number) {
    nlmsghdr& message = *mnl_nlmsg_put_header(place);
    const MessageKind kind = KindOf(change);
    message.nlmsg_type = static_cast<std::uint16_t>(kind.type);
    message.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | kind.flags);
    message.nlmsg_seq = number;
    if (const Route* route = std::get_if<Route>(&change.object)) {
        PutRoute(message, *route);
    } else {
        PutRule(message, std::get<Rule>(change.object));
    }
    return message;
}

}  // namespace

RouteSocket::RouteSocket()
    : socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC)), buffer(kBufferSize) {
    if (!socket || mnl_socket_bind(socket.Get(), 0, MNL_SOCKET_AUTOPID) != 0) {
        socket = decltype(socket)();
        return;
    }
    int on = 1;
    for (const int option : {NETLINK_GET_STRICT_CHK, NETLINK_CAP_ACK, NETLINK_EXT_ACK}) {
        mnl_socket_setsockopt(socket.Get(), option, &on, sizeof on);
    }
    ::setsockopt(mnl_socket_get_fd(socket.Get()), SOL_SOCKET, SO_RCVTIMEO, &kPatience,
                 sizeof kPatience);
}

/// One datagram; `visit` says whether to go on.
/// @return 0 to go on, 1 at the end, -1 with errno
int RouteSocket::Receive(const Visit& visit) {
    const ssize_t length = mnl_socket_recvfrom(socket.Get(), buffer.data(), buffer.size());
    if (length < 0) {
        return errno == EINTR ? 0 : -1;
    }
    int left = static_cast<int>(length);
    const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
        if (!visit(*message)) {
            return 1;
        }
    }
    return 0;
}

/// @return 0, or an error number; EINTR says that what was dumped changed meanwhile
int RouteSocket::DumpOnce(nlmsghdr& request, const Visit& visit) {
    request.nlmsg_seq = ++sequence;
    if (mnl_socket_sendto(socket.Get(), &request, request.nlmsg_len) < 0) {
        return errno;
    }
    int error = 0;
    bool changed = false;
    int state = 0;
    while (state == 0) {
        state = Receive([&](const nlmsghdr& message) {
            if (message.nlmsg_seq != sequence) {
                return true;
            }
            changed = changed || (message.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
            if (message.nlmsg_type == NLMSG_ERROR || message.nlmsg_type == NLMSG_DONE) {
                error = ErrorOf(message);
                return false;
            }
            return visit(message);
        });
    }
    return state < 0 ? errno : error != 0 ? error : changed ? EINTR : 0;
}

template <typename Value, typename Header>
std::optional<std::vector<Value>> RouteSocket::Dump(std::uint16_t type, const Header& header,
                                                    std::uint32_t table,
                                                    std::optional<Value> (*read)(const nlmsghdr&)) {
    alignas(nlmsghdr) char bytes[kMostMessageBytes];
    nlmsghdr& request = *mnl_nlmsg_put_header(bytes);
    request.nlmsg_type = type;
    request.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    *static_cast<Header*>(mnl_nlmsg_put_extra_header(&request, sizeof header)) = header;
    if (table != 0) {
        mnl_attr_put_u32(&request, RTA_TABLE, table);
    }
    int error = EINTR;
    std::vector<Value> values;
    for (int attempt = 0; IsOpen() && error == EINTR && attempt < kMostAttempts; ++attempt) {
        values.clear();
        error = DumpOnce(request, [&](const nlmsghdr& message) {
            if (auto value = read(message)) {
                values.push_back(std::move(*value));
            }
            return true;
        });
    }
    errno = error;
    return error == 0 ? std::optional(std::move(values)) : std::nullopt;
}

std::optional<std::vector<Route>> RouteSocket::Routes(int family, std::uint32_t table) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(family);
    auto routes = NoneIfUnknown(Dump<Route>(RTM_GETROUTE, header, table, ReadRoute));
    if (routes) {
        // An old kernel tells all tables, and one that lacks a family tells the others.
        std::erase_if(*routes, [family, table](const Route& route) {
            return route.table != table || route.destination.address.family != family;
        });
    }
    return routes;
}

std::optional<std::vector<Route>> RouteSocket::OurRoutes(int family) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(family);
    header.rtm_protocol = kOurProtocol;
    auto routes = NoneIfUnknown(Dump<Route>(RTM_GETROUTE, header, 0, ReadRoute));
    if (routes) {
        std::erase_if(*routes, [family](const Route& route) {
            return route.protocol != kOurProtocol || route.destination.address.family != family;
        });
    }
    return routes;
}

std::optional<std::vector<Rule>> RouteSocket::Rules(int family) {
    fib_rule_hdr header{};
    header.family = static_cast<std::uint8_t>(family);
    return NoneIfUnknown(Dump<Rule>(RTM_GETRULE, header, 0, ReadRule));
}

std::optional<std::vector<InterfaceAddress>> RouteSocket::Addresses(unsigned index) {
    ifaddrmsg header{};
    header.ifa_index = index;
    auto addresses = Dump<InterfaceAddress>(RTM_GETADDR, header, 0, ReadAddress);
    if (!addresses && errno == ENODEV) {
        return std::vector<InterfaceAddress>();  // it has just gone
    }
    if (addresses) {
        std::erase_if(*addresses, [index](const auto& each) { return each.index != index; });
    }
    return addresses;
}

std::vector<Refusal> RouteSocket::Apply(std::span<const Change> changes) {
    std::vector<Refusal> refusals;
    for (std::size_t first = 0; first < changes.size(); first += kMostInOneGo) {
        const auto some = changes.subspan(first, std::min(kMostInOneGo, changes.size() - first));
        if (!IsOpen() || SendChanges(some, first, refusals) != 0) {
            const int error = IsOpen() ? errno : EBADF;
            for (std::size_t i = first; i < changes.size(); ++i) {
                refusals.push_back({i, error, ::strerror(error)});
            }
            break;
        }
    }
    return refusals;
}

/// Only the last of them asks for an answer: the kernel goes through them in order, and what it
/// refuses it tells of without being asked.
int RouteSocket::SendChanges(std::span<const Change> changes, std::size_t first,
                             std::vector<Refusal>& refusals) {
    const std::uint32_t firstNumber = sequence + 1;
    sequence += static_cast<std::uint32_t>(changes.size());
    std::size_t length = 0;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        nlmsghdr& message = PutChange(buffer.data() + length, changes[i],
                                      firstNumber + static_cast<std::uint32_t>(i));
        if (i + 1 == changes.size()) {
            message.nlmsg_flags |= NLM_F_ACK;
        }
        length += MNL_ALIGN(message.nlmsg_len);
    }
    if (mnl_socket_sendto(socket.Get(), buffer.data(), length) < 0) {
        return -1;
    }
    int state = 0;
    while (state == 0) {
        state = Receive([&](const nlmsghdr& message) {
            const std::uint32_t index = message.nlmsg_seq - firstNumber;
            if (message.nlmsg_type != NLMSG_ERROR || index >= changes.size()) {
                return true;
            }
            if (const int error = ErrorOf(message); error != 0) {
                refusals.push_back({first + index, error, ReasonOf(message)});
            }
            return index + 1 != changes.size();
        });
    }
    return state < 0 ? -1 : 0;
}

}  // namespace vexonetwork::network
