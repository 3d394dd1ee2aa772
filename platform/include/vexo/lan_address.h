#pragma once

#include <net/if.h>
#include <netinet/in.h>

/// The appliance's own IPv6 address of a prefix that it announces on a LAN.
typedef struct VEXOLANADDRESS {
    char ifname[IFNAMSIZ];
    struct in6_addr address;
    int prefix;  ///< length in bits
} VEXOLANADDRESS;

#ifdef __cplusplus
extern "C" {
#endif

/// Makes these the LAN addresses of the machine: what is missing is put on its interface for good
/// and marked, what has the mark and is none of these goes, all else stays. What is so already is
/// not touched. An interface that is not there gets its address by the next call that finds it.
/// @return 0, or -1 with a log line for each that the kernel refused; the others are done
int VEXONetLanAddressSet(const VEXOLANADDRESS* addresses, int count);

#ifdef __cplusplus
}
#endif
