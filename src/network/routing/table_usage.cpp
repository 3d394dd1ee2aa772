#include "network/routing/table_usage.h"

#include <sys/socket.h>

#include <algorithm>

#include <vexonetlink/snapshot.h>

#include "network/routing/kernel_route.h"

namespace vexonetwork::network {
namespace {

constexpr int kFamilies[] = {AF_INET, AF_INET6};

std::optional<std::set<std::uint32_t>> TablesOfRules(vexonetlink::Socket& socket) {
    std::set<std::uint32_t> tables;
    for (const int family : kFamilies) {
        const auto rules = vexonetlink::ListRules(socket, family);
        if (!rules) {
            return std::nullopt;
        }
        for (const Rule& rule : *rules) {
            if (rule.protocol != kOurProtocol) {
                tables.insert(rule.table);
            }
        }
    }
    return tables;
}

}  // namespace

TableUsage::TableUsage()
    : socket(vexonetlink::Socket::Open()), ruled(socket ? TablesOfRules(*socket) : std::nullopt) {}

bool TableUsage::IsUsed(std::uint32_t table) {
    return !ruled || ruled->contains(table)
           || std::ranges::any_of(kFamilies, [&](int family) { return HasRoutes(family, table); });
}

bool TableUsage::HasRoutes(int family, std::uint32_t table) {
    const auto routes =
        vexonetlink::ListRoutes(*socket, {.family = family, .table = table, .type = 0});
    return !routes || std::ranges::any_of(*routes, [](const Route& route) {
        return route.protocol != kOurProtocol;
    });
}

}  // namespace vexonetwork::network
