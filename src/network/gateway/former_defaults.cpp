#include "network/gateway/former_defaults.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <string>

#include <vexobase/file_text.h>
#include <vexobase/unique_fd.h>

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

/// As the messages that put the routes back. A part of them is as good as none: it is cut short
/// only before the first route is taken away.
void Write(const char* path, const DefaultRoutes& routes) {
    std::string messages;
    for (const DefaultRoute& route : routes) {
        const auto request = RouteRequest(RTM_NEWROUTE, 0, route);
        messages.append(reinterpret_cast<const char*>(request.Message().data()),
                        request.Message().size());
    }
    const vexobase::UniqueFd fd(
        ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd || ::write(fd.Get(), messages.data(), messages.size()) != ssize_t(messages.size())) {
        VEXO_LOG(LOG_ERR, "Failed to write [%s]: %s", path, ::strerror(errno));
    }
}

DefaultRoutes Read(const char* path) {
    DefaultRoutes routes;
    if (const auto file = vexobase::ReadFileText(path)) {
        vexonetlink::Messages messages(std::as_bytes(std::span(file->View())));
        while (const auto message = messages.Next()) {
            if (auto route = vexonetlink::ReadRoute(*message)) {
                routes.push_back(std::move(*route));
            }
        }
    }
    return routes;
}

/// The routes that the store's gateway may have brought, which has neither metric nor source.
bool IsStored(const DefaultRoute& route, const char* saved) {
    in_addr address{};
    return ::inet_pton(AF_INET, saved, &address) == 1 && route.metric == 0
           && GatewayOf(route) == vexonetlink::FromInet(address);
}

/// Adds what is missing, then removes what the store has put in their place.
void PutBackTo(MainDefaults& kernel, const DefaultRoutes& present, const DefaultRoutes& former,
               const char* saved) {
    for (const DefaultRoute& route : former) {
        if (!Holds(present, route) && !kernel.PutBack(route)) {
            const char* reason = ::strerror(errno);
            VEXO_LOG(LOG_ERR, "Failed to put the default route of [%s] back: %s",
                     InterfaceOf(route).c_str(), reason);
        }
    }
    for (const DefaultRoute& route : present) {
        if (IsStored(route, saved) && !Holds(former, route)) {
            kernel.Remove(route);
        }
    }
}

}  // namespace

FormerDefaults::FormerDefaults(const GatewayFamily& listFamily, MainDefaults& defaults)
    : family(listFamily), kernel(defaults), routes(defaults.List()) {
    if (routes && !routes->empty()) {
        Write(family.formerFile, *routes);
    }
}

FormerDefaults::~FormerDefaults() {
    if (routes && !routes->empty()) {
        ::unlink(family.formerFile);
    }
}

void FormerDefaults::PutBack(const char* saved) {
    const auto present = kernel.List();
    if (!routes || !present) {
        VEXO_LOG(LOG_ERR, "Failed to read the default routes: %s", ::strerror(errno));
        return;
    }
    PutBackTo(kernel, *present, *routes, saved);
}

void PutBackFormer(const GatewayFamily& family) {
    const DefaultRoutes former = Read(family.formerFile);
    if (former.empty()) {
        return;
    }
    MainDefaults kernel(family.number);
    // The store takes the gateway of the first route that has one.
    const auto first = std::ranges::find_if(
        former, [](const DefaultRoute& route) { return bool(GatewayOf(route)); });
    const std::string saved = first == former.end() ? "" : vexonetlink::ToText(GatewayOf(*first));
    const auto present = kernel.List();
    const bool isFree = present && std::ranges::all_of(*present, [&](const DefaultRoute& route) {
                            return Holds(former, route) || IsStored(route, saved.c_str());
                        });
    if (isFree) {
        PutBackTo(kernel, *present, former, saved.c_str());
    }
    ::unlink(family.formerFile);
}

}  // namespace vexonetwork::network::module
