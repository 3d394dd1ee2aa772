#pragma once

#include <string>

namespace vexonetwork::utils {

// Each makes one request about gateways to the daemon, as NetClient does, over a connection of its
// own: from any thread. `type` is "GTYPE_V4" or "GTYPE_V6". Changes that the daemon's module
// refuses succeed as calls; why they were refused is in the daemon's log.

/// @return the interface's place in the order of gateways, 0 when the reply names none, or -1 when
///         the request failed
int GetGatewayPriority(const std::string& ifname, const std::string& type);

/// Sets what is known of an interface's gateway; "NULL" for `gateway`, `dns` or `gatewayClass`
/// leaves the stored value. The last argument has no effect.
/// @return whether the call succeeded
bool SetGatewayInfo(const std::string& ifname, const std::string& type, const std::string& gateway,
                    const std::string& dns, const std::string& gatewayClass, int priority,
                    bool unused);

/// Forgets an interface's gateway. The last argument has no effect.
/// @return whether the call succeeded
bool DelGatewayInfo(const std::string& ifname, const std::string& type, bool unused);

/// Has the default gateway elected again; `type` may also be "ALL".
/// @return whether the call succeeded
bool RefreshGateway(const std::string& type);

}  // namespace vexonetwork::utils
