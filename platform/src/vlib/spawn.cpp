#include "spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "vlib/error.h"
#include "vlib/exec.h"

namespace vlib {

namespace {

class FileActions {
  public:
    FileActions() { ::posix_spawn_file_actions_init(&actions); }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    /// @return 0 or an error number
    int Prepare(int options, const Redirection& redirection) {
        // First the redirection: its descriptor may itself be one of the standard three.
        int error = redirection.from < 0 ? 0
                                         : ::posix_spawn_file_actions_adddup2(
                                             &actions, redirection.from, redirection.to);
        constexpr int kNullOptions[] = {VLIB_EXEC_NULL_STDIN, VLIB_EXEC_NULL_STDOUT,
                                        VLIB_EXEC_NULL_STDERR};
        for (int fd = 0; fd < 3 && error == 0; ++fd) {
            if ((options & kNullOptions[fd]) != 0 && fd != redirection.to) {
                error = ::posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
            }
        }
        if ((options & VLIB_EXEC_CLOSE_FDS) != 0 && error == 0) {
            error = ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
        }
        return error;
    }

    const posix_spawn_file_actions_t* Get() const { return &actions; }

  private:
    posix_spawn_file_actions_t actions;
};

class Attributes {
  public:
    explicit Attributes(int options) {
        ::posix_spawnattr_init(&attributes);
        short flags = 0;
        if ((options & VLIB_EXEC_RESET_SIGNALS) != 0) {
            sigset_t signals;
            ::sigemptyset(&signals);
            ::posix_spawnattr_setsigmask(&attributes, &signals);
            ::sigfillset(&signals);
            ::posix_spawnattr_setsigdefault(&attributes, &signals);
            flags |= POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        }
        if ((options & VLIB_EXEC_OWN_GROUP) != 0) {
            ::posix_spawnattr_setpgroup(&attributes, 0);
            flags |= POSIX_SPAWN_SETPGROUP;
        }
        ::posix_spawnattr_setflags(&attributes, flags);
    }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const posix_spawnattr_t* Get() const { return &attributes; }

  private:
    posix_spawnattr_t attributes;
};

/// Puts `user` in the place of the effective user and `saved` in that of the saved one, for this
/// thread alone: the library's own call would change them for every thread.
void SetThreadUser(uid_t user, uid_t saved) {
    ::syscall(SYS_setresuid, -1, user, saved);
}
void SetThreadGroup(gid_t group, gid_t saved) {
    ::syscall(SYS_setresgid, -1, group, saved);
}

}  // namespace

pid_t Spawn(int options, const char* const arguments[], Redirection redirection,
            const char* const environment[]) {
    FileActions actions;
    const Attributes attributes(options);
    pid_t pid = -1;
    int error = actions.Prepare(options, redirection);
    if (error == 0) {
        // The call takes pointers to mutable texts for C's sake only; it does not write to them.
        error =
            ::posix_spawn(&pid, arguments[0], actions.Get(), attributes.Get(),
                          const_cast<char* const*>(arguments),
                          environment == nullptr ? environ : const_cast<char* const*>(environment));
    }
    if (error != 0) {
        errno = error;
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    return pid;
}

std::optional<int> Reap(pid_t pid) {
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(pid, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    return reaped == pid ? std::optional(status) : std::nullopt;
}

SavedIdentity::SavedIdentity() {
    uid_t realUser = 0;
    gid_t realGroup = 0;
    ::getresuid(&realUser, &user, &savedUser);
    ::getresgid(&realGroup, &group, &savedGroup);
    if (user != savedUser) {
        SetThreadUser(savedUser, user);
    }
    if (group != savedGroup) {
        SetThreadGroup(savedGroup, group);
    }
}

SavedIdentity::~SavedIdentity() {
    if (group != savedGroup) {
        SetThreadGroup(group, savedGroup);
    }
    if (user != savedUser) {
        SetThreadUser(user, savedUser);
    }
}

}  // namespace vlib
