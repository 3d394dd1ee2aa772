#pragma once

/// High availability, as /usr/vexo/etc/ha.conf says.

#ifdef __cplusplus
extern "C" {
#endif

/// @return 1 when key `running` is "yes", 0 when not or when there is no such file
int VEXOHAIsRunning(void);

/// Writes the name of the interface that carries the heartbeat, key `heartbeat_if`.
/// @return 0, or -1 when none is set or `size` is too small
int VEXOHAGetHeartbeatIF(char* ifname, int size);

#ifdef __cplusplus
}
#endif
