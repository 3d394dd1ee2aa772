#pragma once

#include <net/if.h>
#include <netinet/in.h>

/// IPv4 facts of one interface, read from rtnetlink at each call.
typedef struct VEXONETIFINFO {
    char ifname[IFNAMSIZ];
    char ip[INET_ADDRSTRLEN];       ///< first address; "" when it has none
    char netmask[INET_ADDRSTRLEN];  ///< dotted; "" without an address
    unsigned char mac[6];           ///< zeros when it has none
    unsigned int flags;             ///< IFF_…
    int mtu;
} VEXONETIFINFO;

/// Kinds of interfaces for VEXONetIsDevTypeMatch.
enum {
    VEXO_DEV_ETHERNET = 2,  ///< Ethernet frames: also bonds, VLANs, bridges; no PPP, no tunnels
};

#ifdef __cplusplus
extern "C" {
#endif

/// @param options  reserved; 0
/// @return 0, or -1 when there is no such interface; `info` is then unchanged
int VEXONetIFGetInfo(const char* ifname, VEXONETIFINFO* info, int options);

/// @return 1 when the interface is up and has carrier, 0 when not, -1 when there is no such one
int VEXONetIfIsLink(const char* ifname);

/// @return 1 when the interface is administratively up, 0 when not, -1 when there is no such one
int VEXONetIsIFUp(const char* ifname);

/// @param type  VEXO_DEV_…
/// @return 1 when the interface is of that kind, 0 when not, -1 when there is no such interface or
///         no such kind
int VEXONetIsDevTypeMatch(const char* ifname, int type);

/// Writes the name of the interface of the present PPPoE connection: of the point-to-point
/// interfaces that are up and named ppp…, as pppd names them, the one that was made first.
/// @return 0, or -1 (there is none, or `size` is too small); the buffer is then unchanged
int VEXOPPPoeIntfGet(char* ifname, int size);

/// Whether an IPv4 address has no meaning on the Internet: private (RFC 1918), shared with other
/// customers of a provider (RFC 6598), link-local (RFC 3927) or loopback.
/// @return 1 or 0; -1 when the text is no IPv4 address of four decimal octets
int VEXONetIsPrivateIP(const char* address);

/// Writes the interface's first IPv4 address as text.
/// @return 0, or -1 (no such interface, no address, or `size` too small); the buffer is then
///         unchanged
int VEXOILnxGetIP(const char* ifname, char* ip, int size);

/// @param netmask  dotted, contiguous
/// @return the prefix length 0..32, or -1
int VEXONetNetmaskToPrefix(const char* netmask);

/// Writes the network of "ADDRESS/PREFIX" in the same form.
/// @param size  of `network`; 19 bytes hold every result
/// @return 0, or -1 when the text is no IPv4 address with a prefix; `network` is then unchanged
int VEXONetCalNetwork(const char* addressPrefix, char* network, int size);

/// Adds or removes one address with "/sbin/ip".
/// @param family  "-4" or "-6"
/// @param prefix  length in bits
/// @param action  "add" or "del"
/// @param label   label of an IPv4 address; the interface name or null for none
/// @return 0 or -1
int VEXONetSetIP(const char* family, const char* ifname, const char* address, int prefix,
                 const char* action, const char* label);

#ifdef __cplusplus
}
#endif
