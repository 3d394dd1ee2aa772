#pragma once

#include <sys/types.h>

namespace vlib {

/// A descriptor of ours that the child gets as one of its standard streams.
struct Redirection {
    int from = -1;
    int to = -1;
};

/// Starts a program with posix_spawn.
/// @param options    or of VLIB_EXEC_…; a redirected stream is not put on /dev/null
/// @param arguments  null-ended, beginning with the program's path
/// @return its pid, or -1 with errno and the platform's error
pid_t Spawn(int options, const char* const arguments[], Redirection redirection = {});

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
