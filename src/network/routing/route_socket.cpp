#include "network/routing/route_socket.h"

#include <linux/if_addr.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <vexonetlink/snapshot.h>

namespace vexonetwork::network {
namespace {

using vexonetlink::Request;

Request RequestFor(Action action, const Route& route) {
    switch (action) {
        case Action::ADD:
            return RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, route);
        case Action::REPLACE:
            return RouteRequest(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, route);
        case Action::REMOVE:
            break;
    }
    return RouteRequest(RTM_DELROUTE, 0, route);
}

/// With NLM_F_EXCL the kernel compares a rule with all others, and would find a foreign twin, which
/// serves only for as long as its owner likes.
Request RequestFor(Action action, const Rule& rule) {
    return action == Action::REMOVE ? RuleRequest(RTM_DELRULE, 0, rule)
                                    : RuleRequest(RTM_NEWRULE, NLM_F_CREATE, rule);
}

ConnectedAddress ToConnected(const vexonetlink::InterfaceAddress& address) {
    return {address.index,
            address.local,
            {address.peer ? address.peer : address.local, address.prefixLength},
            (address.flags & IFA_F_NOPREFIXROUTE) == 0};
}

/// Left without a socket since the beginning.
std::nullopt_t NotOpen() {
    errno = EBADF;
    return std::nullopt;
}

}  // namespace

std::optional<std::vector<Route>> RouteSocket::Routes(int family, std::uint32_t table,
                                                      std::uint8_t protocol) {
    return IsOpen() ? vexonetlink::ListRoutes(
               *socket, {.family = family, .table = table, .protocol = protocol})
                    : NotOpen();
}

std::optional<std::vector<Rule>> RouteSocket::Rules(int family) {
    return IsOpen() ? vexonetlink::ListRules(*socket, family) : NotOpen();
}

std::optional<Address> RouteSocket::MainGateway(int family, unsigned oif) {
    const auto defaults = IsOpen() ? vexonetlink::ListRoutes(*socket, {.family = family,
                                                                       .table = kMainTable,
                                                                       .type = RTN_UNICAST,
                                                                       .oif = oif,
                                                                       .defaultOnly = true})
                                   : std::nullopt;
    if (!defaults) {
        return std::nullopt;
    }
    const auto best = std::ranges::min_element(*defaults, {}, &Route::metric);
    return best == defaults->end()                           ? std::optional<Address>()
           : best->gateway && best->gateway.family == family ? best->gateway
                                                             : Address{family, {}};
}

std::optional<std::vector<ConnectedAddress>> RouteSocket::Addresses(unsigned index) {
    const auto all = IsOpen() ? vexonetlink::ListAddresses(*socket, AF_UNSPEC, index) : NotOpen();
    if (!all) {
        return std::nullopt;
    }
    std::vector<ConnectedAddress> addresses;
    std::ranges::transform(*all, std::back_inserter(addresses), ToConnected);
    return addresses;
}

std::vector<Refusal> RouteSocket::Apply(std::span<const Change> changes) {
    if (!IsOpen()) {
        std::vector<Refusal> all;
        for (std::size_t i = 0; i < changes.size(); ++i) {
            all.push_back({i, {EBADF, ::strerror(EBADF)}});
        }
        return all;
    }
    vexonetlink::Batch batch(*socket);
    for (const Change& change : changes) {
        batch.Add(
            std::visit([&change](const auto& object) { return RequestFor(change.action, object); },
                       change.object));
    }
    return batch.Finish();
}

}  // namespace vexonetwork::network
