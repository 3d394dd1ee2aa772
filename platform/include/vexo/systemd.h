#pragma once

#include <stdbool.h>

/// Units of the system manager, over its D-Bus interface org.freedesktop.systemd1. A unit name
/// without a suffix means a service. Without a running manager every call fails and says so in
/// the log. The calls wait until the manager's job is done.

#ifdef __cplusplus
extern "C" {
#endif

bool VEXOCSystemdEnable(const char* unit);
bool VEXOCSystemdDisable(const char* unit);
bool VEXOCSystemdStart(const char* unit);
bool VEXOCSystemdStop(const char* unit);

/// @return 1 when the unit is active, 0 when not, -1 when the manager cannot be asked
int VEXOCSystemdActiveStatusGet(const char* unit);

#ifdef __cplusplus
}
#endif
