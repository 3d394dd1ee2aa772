#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// How far the appliance has booted: the number in /run/vexo/boot_step, 4 (up) when absent.
int VEXOSystemGetBootStep(void);

#ifdef __cplusplus
}
#endif
