#include "vlib/proc.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string>

#include <vexobase/unique_fd.h>

#include "file_text.h"
#include "vlib/error.h"

namespace {

/// The state letter of /proc/PID/stat. The program's name before it is in parentheses and may
/// itself hold some.
char StateIn(std::string_view stat) {
    const auto nameEnd = stat.rfind(')');
    return nameEnd != stat.npos && nameEnd + 2 < stat.size() ? stat[nameEnd + 2] : '\0';
}

bool IsDead(pid_t pid) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    const auto stat = vlib::ReadFileText(path);
    const char state = stat ? StateIn(stat->View()) : '\0';
    return state == 'Z' || state == 'X';
}

bool WritePid(int fd, pid_t pid) {
    const std::string line = std::to_string(pid) + "\n";
    return ::fchmod(fd, 0644) == 0
           && ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

}  // namespace

extern "C" {

// Pid files stand in folders that others may write to, as /tmp: a link found there is replaced,
// never followed, and neither owner nor mode of what was there is taken over. They do not
// outlive the system, so nothing is synced.
int VLIBCProcPidFileCreate(const char* path) {
    if (path == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::string temporary = std::string(path) + ".XXXXXX";
    const vexobase::UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd && WritePid(fd.Get(), ::getpid()) && ::rename(temporary.c_str(), path) == 0) {
        return 0;
    }
    if (fd) {
        ::unlink(temporary.c_str());
    }
    VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
    return -1;
}

pid_t VLIBCReadPidFile(const char* path) {
    if (path == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const auto file = vlib::ReadFileText(path);
    if (!file) {
        return -1;
    }
    const std::string_view text = file->View();
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    const auto rest = text.substr(static_cast<size_t>(end - text.data()));
    if (error != std::errc() || pid < 1 || rest.find_first_not_of(" \t\r\n") != rest.npos) {
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    return pid;
}

int VLIBCProcAlive(pid_t pid) {
    if (pid < 1 || (::kill(pid, 0) != 0 && errno != EPERM)) {
        return 0;
    }
    return IsDead(pid) ? 0 : 1;
}

int VLIBCProcAliveByPidFile(const char* path) {
    return VLIBCProcAlive(VLIBCReadPidFile(path));
}
}
