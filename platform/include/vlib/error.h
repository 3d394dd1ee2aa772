#pragma once

/// The last error of a platform call on this thread: a number and where it was noticed.

#ifdef __cplusplus
extern "C" {
#endif

#define VLIBCErrSet(code) VLIBCErrSetEx((code), __FILE__, __LINE__)

/// @param file  a string that lives as long as the program, as __FILE__ does
void VLIBCErrSetEx(int code, const char* file, int line);

int VLIBCErrGet(void);           ///< 0 when no error was recorded on this thread
const char* VLIBCErrFile(void);  ///< "" when none
int VLIBCErrLine(void);          ///< 0 when none

/// Numbers used by the platform itself.
enum {
    VLIB_ERR_BAD_PARAMETER = 0x0100,
    VLIB_ERR_NO_MEMORY = 0x0200,
    VLIB_ERR_NOT_FOUND = 0x0300,
    VLIB_ERR_OPEN_FAILED = 0x0400,
    VLIB_ERR_WRITE_FAILED = 0x0500,
    VLIB_ERR_UNWRITABLE = 0x0600,  ///< a text that would not be read back unchanged
    VLIB_ERR_NETLINK_FAILED = 0x0700,
    VLIB_ERR_EXEC_FAILED = 0x0800,
    VLIB_ERR_SYSTEMD_FAILED = 0x0900,
};

#ifdef __cplusplus
}
#endif
