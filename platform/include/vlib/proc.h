#pragma once

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Writes the caller's pid and a newline to `path`, replacing at once what stands there, also a
/// symbolic link.
/// @return 0 or -1
int VLIBCProcPidFileCreate(const char* path);

/// @return the pid in the file, or -1 when the file is missing or holds no positive number
pid_t VLIBCReadPidFile(const char* path);

/// @return 1 when a process of that pid exists and is no zombie, 0 when not
int VLIBCProcAlive(pid_t pid);

/// @return 1 when the file names a live process, 0 when not
int VLIBCProcAliveByPidFile(const char* path);

#ifdef __cplusplus
}
#endif
