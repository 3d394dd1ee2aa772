#pragma once

#include <optional>
#include <string>

namespace vexonetctl {

/// What the command line of a route command says; each reads what it has declared.
struct RouteOptions {
    bool v4 = false;
    bool v6 = false;
    bool json = false;
    bool quiet = false;
    std::string destination;
    std::string metric;
    std::optional<std::string> gateway;
    std::optional<std::string> ifname;
    std::optional<std::string> newMetric;
};

/// The work of the commands, done in this process; a Failure says what was refused.
void ListRoutes(const RouteOptions& options);
void AddRoute(const RouteOptions& options);
void ChangeRoute(const RouteOptions& options);
void DeleteRoute(const RouteOptions& options);

/// Ends the command unless the user may change the kernel's routes.
void RequireRoot();

}  // namespace vexonetctl
