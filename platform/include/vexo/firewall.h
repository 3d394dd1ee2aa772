#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Has the firewall read its rules again: reload-or-restart of nftables.service when it is active.
/// @return 0, also when it is not active; -1 when the manager refused
int VEXOFwRuleHup(void);

#ifdef __cplusplus
}
#endif
