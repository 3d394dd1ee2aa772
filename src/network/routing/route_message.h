#pragma once

#include <libmnl/libmnl.h>
#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

#include <cstddef>
#include <optional>

#include "network/routing/kernel_route.h"

namespace vexonetwork::network {

/// Room that one message of a change may take.
inline constexpr std::size_t kMostMessageBytes = 256;

/// Visits the attributes behind a message's fixed header; each lies inside the message.
template <typename Visit>
void ForEachAttribute(const nlmsghdr& message, std::size_t headerSize, Visit visit) {
    const auto step = [](const nlattr* attribute, void* data) -> int {
        (*static_cast<Visit*>(data))(*attribute);
        return MNL_CB_OK;
    };
    mnl_attr_parse(&message, static_cast<unsigned>(headerSize), step, &visit);
}

// Values of rtnetlink(7) messages. What is not of the kind described in kernel_route.h (other route
// types, rules that look at more than the source) is nothing.

std::optional<Route> ReadRoute(const nlmsghdr& message);
std::optional<Rule> ReadRule(const nlmsghdr& message);
std::optional<InterfaceAddress> ReadAddress(const nlmsghdr& message);

// Append the fixed header and the attributes to a message that has its header.

void PutRoute(nlmsghdr& message, const Route& route);
void PutRule(nlmsghdr& message, const Rule& rule);

}  // namespace vexonetwork::network
