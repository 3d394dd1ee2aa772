#pragma once

#include <netinet/in.h>

/// An IPv6 prefix that is routed to the appliance for its LANs.
typedef struct VEXOLANPREFIX {
    struct in6_addr network;  ///< the bits past the length are zero
    int length;               ///< in bits, 1 to 128
} VEXOLANPREFIX;

#ifdef __cplusplus
extern "C" {
#endif

/// Adds an unreachable route for each prefix, covering what no LAN has, and removes those of other
/// prefixes. Without one a packet would go to and fro with the provider's router until its hops are
/// used up (RFC 7084, WPD-5). The routes are marked by their protocol and have the lowest priority;
/// routes of others stay, and what is so already is not touched.
/// @return 0, or -1 with a log line for each that the kernel refused; the others are done
int VEXONetLanRouteSet(const VEXOLANPREFIX* prefixes, int count);

#ifdef __cplusplus
}
#endif
