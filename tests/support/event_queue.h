#pragma once

#include <sys/types.h>

#include <string>

namespace vexotest {

/// The sockets on which a process hears the kernel's events.
struct EventQueue {
    long unread;   ///< bytes
    long dropped;  ///< events for which it had no room
};

/// All routing sockets of a process that are in a group together.
EventQueue EventQueueOf(pid_t pid);

/// The children of all threads, also those that have ended and were not waited for: their pids,
/// each followed by a blank.
std::string ChildrenOf(pid_t pid);

/// Whether a process has read all events, waits for no child and has no thread running.
bool IsQuiet(pid_t pid);

}  // namespace vexotest
