#pragma once

/// What became of the hooks that any process of this machine has run. Reports are told to those
/// who listen at that moment and are kept nowhere. They travel as datagrams of a multicast group
/// of NETLINK_USERSOCK (netlink(7)), which reaches this network namespace only.

#ifdef __cplusplus
extern "C" {
#endif

/// Bytes that hold every report.
enum { VEXO_HOOK_REPORT_MAX = 32768 };

/// Begins to listen.
/// @return a non-blocking descriptor, readable when a report waits, which the caller closes; or -1
///         with errno, which is EPERM without CAP_NET_ADMIN
int VEXOHookReportOpen(void);

/// Takes one report, a JSON object on one line: "hook" ("net/NAME"), "executable" (its file name),
/// "environment" (an object of texts), "duration_ms", and one of "status" (its exit status),
/// "signal" (it was ended by) and "error" (why it has neither). "killed" is true when it was ended
/// for running too long, "truncated" when the environment was too large to be told whole.
/// @param report  takes the text and a NUL
/// @param size    of `report`, at least VEXO_HOOK_REPORT_MAX
/// @return 1; 0 when none waits, or when what came was not from root and was dropped; -1 with
///         errno, which is ENOBUFS when reports were lost because nobody took them
int VEXOHookReportRead(int fd, char* report, int size);

#ifdef __cplusplus
}
#endif
