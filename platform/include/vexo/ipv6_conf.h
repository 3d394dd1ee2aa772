#pragma once

/// How an interface gets its IPv6 addresses: key IPV6_METHOD of its ifcfg file, and what the kernel
/// and the DHCPv6 client make of it. The default router is not the kernel's choice with any method:
/// it is elected.
enum {
    VEXO_IPV6_AUTOMATIC = 0,       ///< SLAAC (RFC 4862); IPV6_METHOD=auto
    VEXO_IPV6_OFF = 1,             ///< no IPv6; IPV6_METHOD=off
    VEXO_IPV6_DHCP = 2,            ///< stateful DHCPv6 (RFC 8415); IPV6_METHOD=dhcp
    VEXO_IPV6_MANUAL = 3,          ///< IPV6ADDR/IPV6PREFIXLENG; IPV6_METHOD=manual
    VEXO_IPV6_STATELESS_DHCP = 4,  ///< SLAAC, the rest by DHCPv6; IPV6_METHOD=slaac-dhcp
};

/// What VEXOLnxIPv6ProcAction does.
enum {
    VEXO_IPV6_ENABLE = 0,
    VEXO_IPV6_DISABLE = 1,
};

#ifdef __cplusplus
extern "C" {
#endif

/// Reads how an interface is configured; costs a few microseconds. Where no key tells the method,
/// the last advertisement does (see VEXONetIPv6ConfSet), before the first one it is
/// VEXO_IPV6_AUTOMATIC; IPV6INIT=no without IPV6_METHOD is VEXO_IPV6_OFF. An interface without a
/// file that does not listen to advertisements (accept_ra is 0) is VEXO_IPV6_MANUAL: whoever set
/// it up by hand has not asked it to follow routers.
/// @param method   takes VEXO_IPV6_…
/// @param address  takes IPV6ADDR, "" when there is none; null when it is not wanted
/// @param prefix   takes IPV6PREFIXLENG, 0 when there is none; null when it is not wanted
/// @param gateway  takes IPV6_DEFAULTGW, "" when there is none; null when it is not wanted
/// @return 0, or -1 with nothing taken for a name that no interface could have, a method that is
///         none of these, a file that cannot be read, or a text that has no room
int VEXONetIPv6ConfGet(const char* ifname, int* method, char* address, int addressSize, int* prefix,
                       char* gateway, int gatewaySize);

/// Stores the method and applies it: to the kernel's settings below /proc/sys/net/ipv6/conf/,
/// its addresses and routes, and to the DHCPv6 client's unit, which is not waited for. Only what
/// differs is written and changed, also in the kernel. What another method has brought goes;
/// addresses that others have put there stay.
///
/// VEXO_IPV6_AUTOMATIC, …_DHCP and …_STATELESS_DHCP alone are what routers advertise, and anybody
/// can advertise: where no method is stored they are in force until the next boot, and no file is
/// written. An address, prefix or gateway beside them makes them stored.
/// @param address  stored as IPV6ADDR; null leaves what is stored, "" removes it
/// @param prefix   stored as IPV6PREFIXLENG; 0 leaves what is stored
/// @param gateway  stored as IPV6_DEFAULTGW; null leaves what is stored, "" removes it
/// @return 0, or -1 with the platform's error. What the arguments rule out, or an interface
///         without IPv6 in the kernel, changes nothing; of what fails later the rest is done.
int VEXONetIPv6ConfSet(int method, const char* ifname, const char* address, int prefix,
                       const char* gateway);

/// Switches the IPv6 of an interface in the kernel (net.ipv6.conf.NAME.disable_ipv6), until the
/// next boot and whatever is configured.
/// @param action  VEXO_IPV6_ENABLE or VEXO_IPV6_DISABLE
/// @return 0, also when it is so already, or -1 with the platform's error
int VEXOLnxIPv6ProcAction(const char* ifname, int action);

#ifdef __cplusplus
}
#endif
