#pragma once

#include <sys/types.h>

#include <string>

namespace vexotest {

/// The socket on which a process hears the kernel's events.
struct EventQueue {
    long unread;   ///< bytes
    long dropped;  ///< events for which it had no room
};

/// The routing socket whose port is the pid, as it is for the first one that a process binds. A
/// process without one has an empty queue.
EventQueue EventQueueOf(pid_t pid);

/// The children of all threads, also those that have ended and were not waited for: their pids,
/// each followed by a blank.
std::string ChildrenOf(pid_t pid);

/// Whether a process has read all events, waits for no child and has no thread running.
bool IsQuiet(pid_t pid);

}  // namespace vexotest
