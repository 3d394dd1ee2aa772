#include "vexo/hook_runner.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexobase/unique_handle.h>

namespace vexoplatform {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char kHooks[] = "/usr/vexo/hooks";

void CloseFolder(DIR* folder) {
    ::closedir(folder);
}
using Folder = vexobase::UniqueHandle<DIR, CloseFolder>;

bool IsFolderName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

bool IsUsable(const HookEnvironment& environment) {
    const auto isKeyCharacter = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
    return std::ranges::all_of(environment, [&](const auto& pair) {
        const auto& [key, value] = pair;
        return !key.empty() && std::isdigit(static_cast<unsigned char>(key.front())) == 0
               && std::ranges::all_of(key, isKeyCharacter) && value.find('\0') == value.npos;
    });
}

/// Whoever else could change what runs here would run it as root.
bool OnlyRootWrites(const struct stat& info) {
    return info.st_uid == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool IsTrustedFolder(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && OnlyRootWrites(info)) {
        return true;
    }
    VEXO_LOG(LOG_ERR, "Hook folder [%s] is skipped: it is not root's alone", path.c_str());
    return false;
}

/// Notes beside the hooks and scripts switched off by their mode are left out without a word.
bool IsHook(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || S_ISDIR(info.st_mode)
        || (info.st_mode & S_IXUSR) == 0) {
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        VEXO_LOG(LOG_ERR, "Hook [%s] is skipped: it is no regular file", path.c_str());
        return false;
    }
    if (!OnlyRootWrites(info)) {
        VEXO_LOG(LOG_ERR, "Hook [%s] is skipped: it is not root's alone", path.c_str());
        return false;
    }
    return true;
}

/// The paths of the hooks in byte order, or nothing with errno.
std::optional<std::vector<std::string>> ListHooks(const std::string& path) {
    const Folder folder(::opendir(path.c_str()));
    if (!folder) {
        return std::nullopt;
    }
    const std::string prefix = path + "/";
    std::vector<std::string> hooks;
    errno = 0;
    while (const dirent* entry = ::readdir(folder.Get())) {
        hooks.emplace_back(prefix).append(entry->d_name);
        errno = 0;
    }
    if (errno != 0) {
        return std::nullopt;
    }
    std::erase_if(hooks, [](const std::string& hook) { return !IsHook(hook); });
    std::ranges::sort(hooks);
    return hooks;
}

std::vector<std::string> EnvironmentLines(HookEnvironment environment) {
    environment.try_emplace("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    std::vector<std::string> lines;
    for (const auto& [key, value] : environment) {
        lines.push_back(key + "=" + value);
    }
    return lines;
}

/// How a hook's process is set up.
class SpawnSettings {
  public:
    SpawnSettings() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~SpawnSettings() {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    /// @return 0, or an error number
    int Prepare() {
        SetAttributes();
        int error = 0;
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            if (error == 0) {
                error =
                    ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
            }
        }
        return error != 0 ? error
                          : ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    }

    /// @return 0, or an error number
    int Spawn(const std::string& program, std::vector<std::string>& environment, pid_t& pid) const {
        std::vector<char*> pointers;
        pointers.reserve(environment.size() + 1);
        for (std::string& line : environment) {
            pointers.push_back(line.data());
        }
        pointers.push_back(nullptr);
        std::string name = program;
        char* arguments[] = {name.data(), nullptr};
        return ::posix_spawn(&pid, program.c_str(), &actions, &attributes, arguments,
                             pointers.data());
    }

  private:
    void SetAttributes() {
        sigset_t signals;
        sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
        ::posix_spawnattr_setpgroup(&attributes, 0);
        ::posix_spawnattr_setflags(
            &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

/// @return whether the process ended in time
bool WaitForEnd(pid_t pid, milliseconds timeout) {
    // The C library's own declaration of this call cannot be used from C++.
    const vexobase::UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    const auto deadline = steady_clock::now() + timeout;
    pollfd event{process.Get(), POLLIN, 0};
    while (process) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        const int ready = ::poll(&event, 1, std::max(0, static_cast<int>(left.count())));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
    return false;
}

/// @return the wait status, or nothing when the process was already waited for elsewhere
std::optional<int> Reap(pid_t pid) {
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(pid, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    return reaped == pid ? std::optional(status) : std::nullopt;
}

/// What is wrong with the end of a hook; "" when nothing is.
std::string Complaint(std::optional<int> status) {
    if (!status) {
        return "was waited for by someone else";
    }
    if (WIFSIGNALED(*status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(*status));
    }
    const int exitStatus = WEXITSTATUS(*status);
    return exitStatus == 0 ? "" : "failed with status " + std::to_string(exitStatus);
}

/// @return what went wrong; "" when nothing did
std::string RunHook(const std::string& hook, std::vector<std::string>& environment,
                    milliseconds timeout) {
    pid_t pid = -1;
    SpawnSettings settings;
    int error = settings.Prepare();
    if (error == 0) {
        error = settings.Spawn(hook, environment, pid);
    }
    if (error != 0) {
        return std::string("cannot be started: ") + std::strerror(error);
    }
    if (WaitForEnd(pid, timeout)) {
        return Complaint(Reap(pid));
    }
    ::kill(-pid, SIGKILL);
    Reap(pid);
    return "was killed after " + std::to_string(timeout.count()) + " ms";
}

}  // namespace

int RunHooks(const std::string& category, const std::string& name,
             const HookEnvironment& environment, milliseconds timeout) {
    const std::string categoryPath = std::string(kHooks) + "/" + category;
    const std::string path = categoryPath + "/" + name;
    if (!IsFolderName(category) || !IsFolderName(name) || !IsUsable(environment)) {
        VEXO_LOG(LOG_ERR, "Hook [%s/%s] cannot be run: bad name or environment", category.c_str(),
                 name.c_str());
        return -1;
    }
    if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        return 0;
    }
    for (const std::string& folder : {std::string(kHooks), categoryPath, path}) {
        if (!IsTrustedFolder(folder)) {
            return 0;
        }
    }
    const auto hooks = ListHooks(path);
    if (!hooks) {
        VEXO_LOG(LOG_ERR, "Hook folder [%s] cannot be read: %s", path.c_str(),
                 std::strerror(errno));
        return -1;
    }
    auto lines = EnvironmentLines(environment);
    int result = 0;
    for (const std::string& hook : *hooks) {
        const std::string complaint = RunHook(hook, lines, timeout);
        if (!complaint.empty()) {
            VEXO_LOG(LOG_ERR, "Hook [%s] %s", hook.c_str(), complaint.c_str());
            result = -1;
        }
    }
    return result;
}

}  // namespace vexoplatform
