#include "support/killed_at.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace vexotest {

namespace {

bool IsAboutToChange(pid_t pid) {
    constexpr std::array kChanges{SYS_rename, SYS_renameat2, SYS_unlink, SYS_unlinkat};
    __ptrace_syscall_info call{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof call, &call);
    return call.op == PTRACE_SYSCALL_INFO_ENTRY
           && std::ranges::find(kChanges, long(call.entry.nr)) != kChanges.end();
}

}  // namespace

bool KilledAt(int step, const std::function<void()>& work) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int signal = 0;
    while (::ptrace(PTRACE_SYSCALL, pid, nullptr, signal) == 0 && ::waitpid(pid, &status, 0) == pid
           && WIFSTOPPED(status)) {
        const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = isCall || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
        if (isCall && IsAboutToChange(pid) && --step == 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            return true;
        }
    }
    return false;
}

}  // namespace vexotest
