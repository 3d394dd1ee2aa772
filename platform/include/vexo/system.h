#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// How far the appliance has booted: the number in /run/vexo/boot_step, 4 (up) when absent.
int VEXOSystemGetBootStep(void);

/// A fact about the appliance: the value of a key of /etc/vexoinfo.conf, as "model" or "serial".
/// @param value  takes it with its NUL
/// @return its length, or -1 when it is absent, over 255 bytes or longer than `size` has room for;
///         `value` is then unchanged
int VEXOSystemInfoGet(const char* key, char* value, int size);

#ifdef __cplusplus
}
#endif
