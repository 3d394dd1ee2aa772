#pragma once

/// The store of the IPv4 default gateway: the one in force is the kernel's main routing table,
/// the configured one is key GATEWAY of /etc/sysconfig/network.

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the gateway of the main table's IPv4 default route of lowest metric (rtnetlink).
/// @param size  of `gateway`; 16 bytes hold every result
/// @return 0 with the address, or with "" when there is no such route; -1 on failure
int VEXONetDefaultGatewayGet(char* gateway, int size);

/// Replaces the main table's IPv4 default routes by one via `gateway`; null or "" removes them.
/// @return 0, or -1 when the kernel refused; a route that could not be replaced is then put back
int VEXONetDefaultGatewaySet(const char* gateway);

/// Reads the configured gateway; a missing file or key is success with "".
/// @return 0 or -1
int VEXONetDefaultGatewayGetConf(char* gateway, int size);

/// Stores the configured gateway; null or "" stores an empty value.
/// @return 0 or -1
int VEXONetDefaultGatewaySetConf(const char* gateway);

#ifdef __cplusplus
}
#endif
