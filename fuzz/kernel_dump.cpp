// An input is a datagram of the routing socket. Whatever it says, nothing is read outside of it,
// and a value that was written comes back as it was.

#include <linux/rtnetlink.h>

#include <vexonetlink/exchange.h>
#include <vexonetlink/snapshot.h>

#include "fuzz.h"

namespace {

using namespace vexonetlink;

std::optional<Message> MessageOf(const Request& request) {
    return Messages(request.Message()).Next();
}

/// What only the kernel reports is lost on the first way, nothing on the second.
template <typename Value, typename Read, typename Write>
void ThereAndBack(const Message& message, const Read& read, const Write& write) {
    const std::optional<Value> told = read(message);
    if (!told) {
        return;
    }
    const Request first = write(*told);
    const auto firstMessage = MessageOf(first);
    const auto value = firstMessage ? read(*firstMessage) : std::nullopt;
    Require(value.has_value());
    const Request second = write(*value);
    const auto secondMessage = MessageOf(second);
    Require(secondMessage && read(*secondMessage) == value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const std::vector<std::byte> datagram = Copy(bytes, size);
    Messages messages{Bytes(datagram)};
    while (const auto message = messages.Next()) {
        ReadLink(*message);
        ReadNeighbour(*message);
        ReadError(*message);
        ThereAndBack<InterfaceAddress>(*message, ReadAddress, [](const InterfaceAddress& address) {
            return AddressRequest(RTM_NEWADDR, 0, address);
        });
        ThereAndBack<Route>(*message, ReadRoute, [](const Route& route) {
            return RouteRequest(RTM_NEWROUTE, 0, route);
        });
        ThereAndBack<Rule>(*message, ReadRule,
                           [](const Rule& rule) { return RuleRequest(RTM_NEWRULE, 0, rule); });
    }
    return 0;
}
