#pragma once

/// What became of the hooks that any process of this machine has run. Reports are told to those
/// who listen at that moment and are kept nowhere. They travel as datagrams of a multicast group
/// of NETLINK_USERSOCK (netlink(7)), which reaches this network namespace only and which nobody
/// hears without CAP_NET_ADMIN. Anybody may send to it: only what the kernel says to be root's
/// (SCM_CREDENTIALS) is a report.
///
/// Behind its netlink header a datagram has a JSON object on one line, with a NUL: "hook"
/// ("net/NAME"), "executable" (its file name), "environment" (an object of texts), "duration_ms",
/// and one of "status" (its exit status), "signal" (it was ended by) and "error" (why it has
/// neither). "killed" is true when it was ended for running too long, "truncated" when the
/// environment was too large to be told whole.
enum {
    VEXO_HOOK_REPORT_GROUP = 24,
    VEXO_HOOK_REPORT_TYPE = 0x7678,  ///< of the message; others may use the group too
    VEXO_HOOK_REPORT_MAX = 32768,    ///< bytes that hold every datagram
};
