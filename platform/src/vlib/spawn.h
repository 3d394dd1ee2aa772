#pragma once

#include <sys/types.h>

#include <optional>

namespace vlib {

/// A descriptor of ours that the child gets as one of its standard streams.
struct Redirection {
    int from = -1;
    int to = -1;
};

/// Starts a program with posix_spawn.
/// @param options      or of VLIB_EXEC_…; a redirected stream is not put on /dev/null
/// @param arguments    null-ended, beginning with the program's path
/// @param environment  null-ended lines NAME=VALUE; null hands on that of this process
/// @return its pid, or -1 with errno and the platform's error
pid_t Spawn(int options, const char* const arguments[], Redirection redirection = {},
            const char* const environment[] = nullptr);

/// Waits for the end of a program.
/// @return its wait status; nothing, with errno, when someone else has waited for it or this
///         process ignores SIGCHLD
std::optional<int> Reap(pid_t pid);

/// While it lives, this thread runs with the saved user and group in place of the effective
/// ones. Other threads keep theirs.
class SavedIdentity {
  public:
    SavedIdentity();
    ~SavedIdentity();
    SavedIdentity(const SavedIdentity&) = delete;
    SavedIdentity& operator=(const SavedIdentity&) = delete;

  private:
    uid_t user;
    uid_t savedUser;
    gid_t group;
    gid_t savedGroup;
};

}  // namespace vlib
