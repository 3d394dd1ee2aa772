#pragma once

#include "vlib/szlist.h"

/// Announcing configuration changes: the executables under
/// /usr/vexo/hooks/net/gateway_config_change and /usr/vexo/hooks/net/dns_config_change, run in
/// byte order of their names, one after another.

/// When a hook runs.
enum {
    HOOK_STAGE_BEFORE = 4,  ///< the change is about to be made; STAGE=before
    HOOK_STAGE_AFTER = 5,   ///< the change is in force; STAGE=after
};

#ifdef __cplusplus
extern "C" {
#endif

/// Runs net/gateway_config_change with STAGE, PROTOCOL ("ipv4" or "ipv6"), IFNAME, OLD_GATEWAY
/// and NEW_GATEWAY in the environment.
/// @return 0, or -1 when a hook failed
int VEXONetGatewayConfigChangeHook(int stage, const char* protocol, const char* ifname,
                                   const char* oldGateway, const char* newGateway);

/// Runs net/dns_config_change with STAGE, IFNAME and DNS (the servers, separated by blanks).
/// @return 0, or -1 when a hook failed
int VEXONetDnsConfigChangeHook(int stage, const char* ifname, const VLIBSZLIST* servers);

#ifdef __cplusplus
}
#endif
