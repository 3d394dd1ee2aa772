#pragma once

#include <optional>
#include <string>
#include <vector>

#include "facts/family.h"

namespace vexonetctl {

/// In a request: what is stored stays.
inline constexpr char kUnchanged[] = "NULL";

/// What the command line of a gateway command says; each reads what it has declared.
struct GatewayOptions {
    bool v4 = false;
    bool v6 = false;
    bool json = false;
    bool quiet = false;
    std::string ifname;
    std::string destination;
    std::optional<std::string> gateway;
    std::optional<std::string> dns;
    std::string interfaceClass = kUnchanged;
    std::string priority = "keep";
    std::string slave;
    bool deleteSource = false;

    bool IsBoth() const { return !v4 && !v6; }
    const Family& OneFamily() const { return kFamilies[v6 ? 1 : 0]; }
    std::vector<Family> Families() const {
        return IsBoth() ? std::vector(kFamilies.begin(), kFamilies.end())
                        : std::vector{OneFamily()};
    }
};

/// The work of the commands. Each asks the daemon, looks at what came of it, and prints that; a
/// Failure says what was refused.
void ListGateways(const GatewayOptions& options);
void ShowGateway(const GatewayOptions& options);
void ExplainGateways(const GatewayOptions& options);
void AddGateway(const GatewayOptions& options);
void DeleteGateway(const GatewayOptions& options);
void SetSlave(const GatewayOptions& options);
void CopyGateway(const GatewayOptions& options);
void RefreshGateways(const GatewayOptions& options);

}  // namespace vexonetctl
