#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Puts the name servers of /etc/iproute2/config/resolv4.conf, then resolv6.conf, each once, in
/// the place of those in /etc/resolv.conf; its other lines stay. The file is replaced at once.
/// @return 0 or -1
int VEXONetDNSUpdate_S(void);

#ifdef __cplusplus
}
#endif
