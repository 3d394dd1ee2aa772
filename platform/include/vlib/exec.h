#pragma once

#include <stdio.h>

/// Running programs from an argument vector. No shell is involved anywhere. The child gets the
/// caller's environment. A process that ignores SIGCHLD can run programs but learns no exit
/// status: each counts as not started.

/// What VLIBCExecl takes care of in the child, or-ed together.
enum {
    VLIB_EXEC_CLOSE_FDS = 0x01,      ///< close every descriptor but the standard three
    VLIB_EXEC_RESET_SIGNALS = 0x02,  ///< empty signal mask, default dispositions
    VLIB_EXEC_NULL_STDIN = 0x08,     ///< standard streams on /dev/null
    VLIB_EXEC_NULL_STDOUT = 0x10,
    VLIB_EXEC_NULL_STDERR = 0x20,
    VLIB_EXEC_OWN_GROUP = 0x80,  ///< a process group of its own: no keyboard signal reaches it
    VLIB_EXEC_QUIET = 0xBB,      ///< all of these: what a daemon wants
};

#ifdef __cplusplus
extern "C" {
#endif

/// Runs a program and waits for it.
/// @param options  or of VLIB_EXEC_…
/// @param path     the program (PATH is not searched), also its argument 0; the further arguments
///                 end with a null
/// @return its exit status, 127 when it could not be started, 128+N when signal N ended it
int VLIBCExecl(int options, const char* path, ...) __attribute__((sentinel));

/// The same with VLIB_EXEC_QUIET and the arguments, without argument 0, in a null-ended vector.
int VLIBCExec(const char* path, const char* const arguments[]);

/// VLIBCExec for callers that run with a lowered effective user or group: the child runs with the
/// saved one. Other threads keep theirs. The same as VLIBCExec for a process that has only one.
int VLIBCExec_S(const char* path, const char* const arguments[]);

/// Runs a program with a pipe on its standard output ("r") or input ("w"), else as
/// VLIB_EXEC_QUIET. The path is also argument 0; the further arguments end with a null.
/// @return the stream, to be closed by VLIBCPclose, or null with errno when it cannot start
FILE* VLIBCPopen(const char* path, const char* mode, ...) __attribute__((sentinel));

/// Closes the stream and waits for the program.
/// @return as VLIBCExecl, or -1 when the stream is none of VLIBCPopen's
int VLIBCPclose(FILE* stream);

#ifdef __cplusplus
}
#endif
