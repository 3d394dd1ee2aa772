#include "vexo/hook_runner.h"

#include <dirent.h>
#include <poll.h>
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
#include <string_view>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexobase/unique_handle.h>

#include "vexo/hook_end.h"
#include "vlib/exec.h"
#include "vlib/file.h"
#include "vlib/spawn.h"

namespace vexoplatform {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void CloseFolder(DIR* folder) {
    ::closedir(folder);
}
using Folder = vexobase::UniqueHandle<DIR, CloseFolder>;
using List = vexobase::UniqueHandle<VLIBSZLIST, VLIBCSzListFree>;

/// The kernel's MAX_ARG_STRLEN with its smallest pages, without the NUL: no program is started
/// with a longer line in its environment.
constexpr std::size_t kMostLine = 32 * 4096 - 1;

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
    constexpr int kCapacity = 16;
    constexpr int kFilesAndLinks = 2;
    List names(VLIBCSzListAlloc(kCapacity));
    if (!names || VLIBCFileEnumDir(path.c_str(), "", names.Address(), kFilesAndLinks) < 0) {
        return std::nullopt;
    }
    std::vector<std::string> hooks;
    for (int i = 0; i < names->count; ++i) {
        std::string hook = path + "/" + VLIBCSzListGet(names.Get(), i);
        if (IsHook(hook)) {
            hooks.push_back(std::move(hook));
        }
    }
    return hooks;
}

/// Cuts a list at a comma where no program could be started with all of it. One without a comma
/// stays as it is: a part of it would be something else.
/// @return whether it was cut
bool CutList(std::string& line) {
    const std::size_t comma = line.size() > kMostLine ? line.rfind(',', kMostLine) : line.npos;
    if (comma == line.npos) {
        return false;
    }
    line.resize(comma);
    return true;
}

std::vector<std::string> EnvironmentLines(const std::string& name, HookEnvironment environment) {
    environment.try_emplace("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    std::vector<std::string> lines;
    std::string cut;
    for (const auto& [key, value] : environment) {
        lines.push_back(key + "=" + value);
        if (CutList(lines.back())) {
            cut += " " + key;
        }
    }
    if (!cut.empty()) {
        VEXO_LOG(LOG_WARNING, "Hooks of [%s] get only the beginning of%s", name.c_str(),
                 cut.c_str());
    }
    return lines;
}

/// The lines as programs are started with them.
std::vector<const char*> Pointers(const std::vector<std::string>& lines) {
    std::vector<const char*> pointers;
    pointers.reserve(lines.size() + 1);
    for (const std::string& line : lines) {
        pointers.push_back(line.c_str());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// @param process  a descriptor of the process
bool EndsWithin(int process, milliseconds timeout) {
    const auto deadline = steady_clock::now() + timeout;
    pollfd event{process, POLLIN, 0};
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        const int ready = ::poll(&event, 1, std::max(0, static_cast<int>(left.count())));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

/// A hook that has left its group may have left children behind in it.
void Kill(pid_t pid) {
    ::kill(-pid, SIGKILL);
    ::kill(pid, SIGKILL);
}

std::string Reason(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

HookEnd RunHook(const std::string& hook, const std::vector<const char*>& environment,
                milliseconds timeout) {
    const char* const arguments[] = {hook.c_str(), nullptr};
    HookEnd end;
    const pid_t pid = vlib::Spawn(VLIB_EXEC_QUIET, arguments, {}, environment.data());
    if (pid < 0) {
        end.error = Reason("cannot be started");
        return end;
    }
    // The C library's own declaration of this call cannot be used from C++.
    const vexobase::UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!process) {
        end.error = Reason("cannot be watched");
    }
    end.killed = process && !EndsWithin(process.Get(), timeout);
    if (end.killed || !process) {
        Kill(pid);
    }
    end.status = vlib::Reap(pid);
    if (!end.status && end.error.empty()) {
        end.error = "was waited for by someone else";
    }
    return end;
}

/// What is wrong with the end of a hook; "" when nothing is.
std::string Complaint(const HookEnd& end, milliseconds timeout) {
    if (end.killed) {
        return "was killed after " + std::to_string(timeout.count()) + " ms";
    }
    if (!end.error.empty()) {
        return end.error;
    }
    if (WIFSIGNALED(*end.status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(*end.status));
    }
    const int exitStatus = WEXITSTATUS(*end.status);
    return exitStatus == 0 ? "" : "failed with status " + std::to_string(exitStatus);
}

int RunAll(const std::string& name, const std::vector<std::string>& hooks,
           const HookEnvironment& environment, milliseconds timeout) {
    const auto lines = EnvironmentLines(name, environment);
    const auto pointers = Pointers(lines);
    int result = 0;
    for (const std::string& hook : hooks) {
        const auto start = steady_clock::now();
        const HookEnd end = RunHook(hook, pointers, timeout);
        SendHookReport(name, hook, environment, end, steady_clock::now() - start);
        const std::string complaint = Complaint(end, timeout);
        if (!complaint.empty()) {
            VEXO_LOG(LOG_ERR, "Hook [%s] %s", hook.c_str(), complaint.c_str());
            result = -1;
        }
    }
    return result;
}

}  // namespace

bool MayHoldHooks(const char* path) {
    const Folder folder(::opendir(path));
    if (!folder) {
        return errno != ENOENT;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(folder.Get())) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") {
            return true;
        }
    }
    return errno != 0;
}

int RunHooks(const std::string& category, const std::string& name,
             const HookEnvironment& environment, milliseconds timeout) {
    const std::string categoryPath = std::string(kHookFolder) + "/" + category;
    const std::string path = categoryPath + "/" + name;
    if (!IsFolderName(category) || !IsFolderName(name) || !IsUsable(environment)) {
        VEXO_LOG(LOG_ERR, "Hook [%s/%s] cannot be run: bad name or environment", category.c_str(),
                 name.c_str());
        return -1;
    }
    if (!MayHoldHooks(path.c_str())) {
        return 0;
    }
    for (const std::string& folder : {std::string(kHookFolder), categoryPath, path}) {
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
    return RunAll(category + "/" + name, *hooks, environment, timeout);
}

}  // namespace vexoplatform
