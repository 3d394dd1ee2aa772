#pragma once

#include <net/if.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Link state of an interface as VLIBNetGetInterfaceInfo reports it (RFC 2863 ifOperStatus,
/// folded; running is up where the driver does not say).
enum {
    VLIB_LINK_UNKNOWN = 0,  ///< neither
    VLIB_LINK_DOWN = 1,
    VLIB_LINK_UP = 2,
};

typedef struct VLIBNETIF {
    char name[IFNAMSIZ];
    int index;
    unsigned int flags;  ///< IFF_…
    int linkStatus;      ///< VLIB_LINK_…
    int mtu;
    char mac[18];  ///< "" for interfaces without one
} VLIBNETIF;

/// Lists the interfaces of this network namespace in index order (rtnetlink RTM_GETLINK).
/// @param most  entries there is room for
/// @return the number written (at most `most`), or -1
int VLIBNetGetInterfaceInfo(VLIBNETIF* interfaces, int most);

/// @return 1 when the interface is a port of a bridge, 0 when not, -1 when there is no such one
int VLIBNetBridgeIfIsSlave(const char* ifname);

/// The appliance's network role: key `net_topology` of /etc/vexoinfo.conf; 2 when absent or no
/// number from 0 to 255.
/// @param options  reserved; 0
int VLIBNetTopologyGet(int options);

/// @return 1 when the text is an IPv4 address of four decimal octets or an IPv6 address, else 0
int BlVLIBIsIpAddr(const char* text);

/// Splits a dotted IPv4 text into its decimal octets (0..255; no signs, blanks or leading zeros).
/// @return the number of parts found (4 for an address), 0 when a part is no octet or there are
///         more than four; `parts` is then unchanged
int cVLIBISepIP(const char* text, int parts[4]);

/// Turns "ADDRESS/NETMASK" (dotted netmask or prefix length) into "NETWORK/PREFIX".
/// @param subnet  at least 19 bytes
/// @return 0, or -1 when the text is no IPv4 address with a contiguous netmask; `subnet` is then
///         unchanged
int ErrVLIBIpMaskToSubnet(const char* ipMask, char* subnet);

#ifdef __cplusplus
}
#endif
