#include "vexo/hooks/hook_runner.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include <vexobase/hook_folder.h>
#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

#include "vexo/hooks/hook_end.h"
#include "vexo/hooks/hook_folder.h"
#include "vexo/hooks/hook_limits.h"
#include "vlib/exec.h"
#include "vlib/spawn.h"

namespace vexoplatform {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The kernel's MAX_ARG_STRLEN with its smallest pages, without the NUL: no program is started
/// with a longer line in its environment.
constexpr std::size_t kMaxLine = 32 * 4096 - 1;

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

/// Cuts a list at a comma where no program could be started with all of it. One without a comma
/// stays as it is: a part of it would be something else.
/// @return whether it was cut
bool CutList(std::string& line) {
    const std::size_t comma = line.size() > kMaxLine ? line.rfind(',', kMaxLine) : line.npos;
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

/// A hook that has left its group may have left children behind in it.
void Kill(pid_t pid) {
    ::kill(-pid, SIGKILL);
    ::kill(pid, SIGKILL);
}

std::string Error(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

HookEnd RunHook(const std::string& hook, const std::vector<const char*>& environment,
                milliseconds timeout) {
    const char* const arguments[] = {hook.c_str(), nullptr};
    HookEnd end;
    const pid_t pid = vlib::Spawn(VLIB_EXEC_QUIET, arguments, {}, environment.data());
    if (pid < 0) {
        end.error = Error("cannot be started");
        return end;
    }
    // The C library's own declaration of this call cannot be used from C++.
    const vexobase::UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!process) {
        end.error = Error("cannot be watched");
    }
    end.killed = process ? AwaitHook(process.Get(), timeout) : HookLimit::kNone;
    if (end.killed != HookLimit::kNone || !process) {
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
    if (end.killed != HookLimit::kNone) {
        const milliseconds time = end.killed == HookLimit::kOwn ? timeout : end.duration;
        return "was killed after " + std::to_string(time.count()) + " ms" + Reason(end.killed);
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

/// One event, told to its hooks.
class HookCall {
  public:
    HookCall(const std::string& category, const std::string& eventName,
             const HookEnvironment& hookEnvironment)
        : name(category + "/" + eventName),
          path(std::string(vexobase::kHookFolder) + "/" + name),
          environment(hookEnvironment) {}

    /// @return whether no hook failed and none was left out
    bool Make(milliseconds timeout) const {
        const HookFolder folder(path);
        if (!folder) {
            return true;
        }
        const auto hooks = folder.List();
        return hooks && TellAll(*hooks, timeout);
    }

  private:
    bool TellAll(const std::vector<std::string>& hooks, milliseconds timeout) const {
        const auto lines = EnvironmentLines(name, environment);
        const auto pointers = Pointers(lines);
        bool succeeded = true;
        for (std::size_t i = 0; i < hooks.size(); ++i) {
            if (const HookLimit limit = LimitNow(); limit != HookLimit::kNone) {
                LogLeftOut(hooks.size() - i, limit);
                return false;
            }
            // Looked at again, as the hooks before may have taken their time.
            const HookFolder folder(path);
            if (folder && folder.IsHook(hooks[i])) {
                succeeded = Tell(path + "/" + hooks[i], pointers, timeout) && succeeded;
            }
        }
        return succeeded;
    }

    bool Tell(const std::string& hook, const std::vector<const char*>& pointers,
              milliseconds timeout) const {
        const auto start = steady_clock::now();
        HookEnd end = RunHook(hook, pointers, timeout);
        end.duration = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
        SendHookReport(name, hook, environment, end);
        const std::string complaint = Complaint(end, timeout);
        if (!complaint.empty()) {
            VEXO_LOG(LOG_ERR, "Hook [%s] %s", hook.c_str(), complaint.c_str());
        }
        return complaint.empty();
    }

    /// Nobody hears of what has happened: it must at least be found in the log.
    void LogLeftOut(std::size_t count, HookLimit limit) const {
        const auto stage = environment.find("STAGE");
        VEXO_LOG(LOG_ERR, "%zu hooks of [%s]%s%s are left out%s", count, name.c_str(),
                 stage == environment.end() ? "" : " of stage ",
                 stage == environment.end() ? "" : stage->second.c_str(), Reason(limit).c_str());
    }

    std::string name;
    std::string path;
    const HookEnvironment& environment;
};

}  // namespace

int RunHooks(const std::string& category, const std::string& name,
             const HookEnvironment& environment, milliseconds timeout) {
    if (!IsFolderName(category) || !IsFolderName(name) || !IsUsable(environment)) {
        VEXO_LOG(LOG_ERR, "Hook [%s/%s] cannot be run: bad name or environment", category.c_str(),
                 name.c_str());
        return -1;
    }
    const bool isDone = !vexobase::MayHaveHooks(category.c_str(), name.c_str())
                        || HookCall(category, name, environment).Make(timeout);
    return isDone ? 0 : -1;
}

}  // namespace vexoplatform
